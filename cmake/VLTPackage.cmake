# Debian packages of the install components (cpack -G DEB in the build directory):
#
#   libvltutl0       Runtime      libVLTutl, libVLTthr, libVLTcrt under their SONAMEs (.so.0)
#   libvltutl-dev    Development  headers, link names, CMake package, pkg-config file, Fortran
#                                 module; depends on libvltutl0 of the same version
#   vltutl-tools     Tools        vlt-dump, vlt-use; depends on libvltutl0 of the same version
#
# The packages install under /usr. Their dependencies on the system's libraries come from
# dpkg-shlibdeps (Debian's dpkg-dev and file); the libraries of this build are named by the
# dependencies between the three packages instead.
if(WIN32)
    return()
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vltutl)
set(CPACK_PACKAGE_VENDOR "KESTRA")
set(CPACK_PACKAGE_CONTACT "VLTutl developers <vltutl@kestra.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL Runtime Development Tools)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS
    "${PROJECT_BINARY_DIR};${PROJECT_BINARY_DIR}/thr;${PROJECT_BINARY_DIR}/crt")
set(VLT_DEB_SAME_RUNTIME "libvltutl0 (= ${PROJECT_VERSION}-1)")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libvltutl0)
# The crash report loads libdw when it is there, for the function names and lines of a trace.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS libdw1)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "Foundation library of the KESTRA simulation suite
 Copy-on-write strings and containers, structures for large models, exceptions, binary
 serialisation, a pretty printer and system services.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libvltutl-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${VLT_DEB_SAME_RUNTIME}")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "Development files of the VLTutl library
 Headers, link names, the CMake package VLTutl, the pkg-config file VLTutl.pc and the Fortran
 module source vlt_commandline.f90.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME vltutl-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${VLT_DEB_SAME_RUNTIME}")
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "Tools for the files of the VLTutl library
 vlt-dump prints a binary stream file record by record; vlt-use turns a resource monitor's
 .use file into a CSV table and an SVG chart.")

include(CPack)
