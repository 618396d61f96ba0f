# Installs the three libraries, the public headers, a CMake package (find_package(VLTutl)
# gives VLTutl::VLTutl) and a pkg-config file. Each file belongs to one install component, which
# is also one Debian package (cmake/VLTPackage.cmake): Runtime holds the shared libraries,
# Development the headers, the link names, the CMake and pkg-config packages and the Fortran
# module, Tools the programs.
include(CMakePackageConfigHelpers)

set(VLT_CMAKE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/VLTutl")

# Installed libraries find each other in their own directory.
set_target_properties(VLTcrt VLTthr VLTutl PROPERTIES INSTALL_RPATH "$ORIGIN")
install(TARGETS VLTcrt VLTthr VLTutl EXPORT VLTutlTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Runtime
                NAMELINK_COMPONENT Development
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Development
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Runtime)
install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/VLTutl COMPONENT Development
        FILES_MATCHING PATTERN "*.h")
install(EXPORT VLTutlTargets NAMESPACE VLTutl:: DESTINATION ${VLT_CMAKE_DIR}
        COMPONENT Development)

set(VLT_FORTRAN_MODULE_SOURCE "${CMAKE_INSTALL_INCLUDEDIR}/VLTutl/vlt_commandline.f90")
configure_package_config_file(cmake/VLTutlConfig.cmake.in
    "${PROJECT_BINARY_DIR}/VLTutlConfig.cmake" INSTALL_DESTINATION ${VLT_CMAKE_DIR}
    PATH_VARS VLT_FORTRAN_MODULE_SOURCE)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/VLTutlConfigVersion.cmake"
    COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/VLTutlConfig.cmake"
              "${PROJECT_BINARY_DIR}/VLTutlConfigVersion.cmake"
        DESTINATION ${VLT_CMAKE_DIR} COMPONENT Development)

# The pkg-config file finds its prefix from its own place, so that the tree can be relocated.
file(RELATIVE_PATH VLT_PC_TO_PREFIX "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
configure_file(cmake/VLTutl.pc.in "${PROJECT_BINARY_DIR}/VLTutl.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/VLTutl.pc" DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
        COMPONENT Development)
