# vlt_add_module(<module> [USES <module>...]): the module's object library vlt_<module>, built
# from the files of <module>/impl. Only the module's own impl/ folder is on its include path, so
# a module reaches another through include/ alone and the build refuses any other private
# header. A module's internal/ folder holds what it lends to the library's other modules (never
# installed); USES gives a module the internal/ folders of the modules it names.
#
# Files ending in _posix or _win32 are the operating-system halves of the platform split; only
# the host's half is compiled.
function(vlt_add_module module)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "USES")
    file(GLOB sources CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/${module}/impl/*.cpp")
    if(WIN32)
        list(FILTER sources EXCLUDE REGEX "_posix\\.cpp$")
    else()
        list(FILTER sources EXCLUDE REGEX "_win32\\.cpp$")
    endif()
    set(target vlt_${module})
    add_library(${target} OBJECT ${sources})
    target_include_directories(${target} PRIVATE "${PROJECT_SOURCE_DIR}/${module}/impl")
    foreach(lender ${module} ${arg_USES})
        if(EXISTS "${PROJECT_SOURCE_DIR}/${lender}/internal")
            target_include_directories(${target} PRIVATE "${PROJECT_SOURCE_DIR}/${lender}/internal")
        elseif(NOT lender STREQUAL module)
            message(FATAL_ERROR "${module} uses ${lender}/internal, which does not exist")
        endif()
    endforeach()
    # The public headers and their C++ level come with the libraries the modules sit on.
    target_link_libraries(${target} PRIVATE VLTutl::VLTthr)
    target_compile_definitions(${target} PRIVATE VLTUTL_BUILD)
    if(WIN32)
        target_compile_definitions(${target} PRIVATE WIN32_LEAN_AND_MEAN NOMINMAX)
    endif()
    vlt_compile_options(${target})
endfunction()
