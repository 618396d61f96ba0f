# A module's sources are the files of <module>/impl. Files ending in _posix or _win32 are the
# operating-system halves of the platform split; only the host's half is compiled.
function(vlt_add_module_sources target module)
    file(GLOB sources CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/${module}/impl/*.cpp")
    if(WIN32)
        list(FILTER sources EXCLUDE REGEX "_posix\\.cpp$")
    else()
        list(FILTER sources EXCLUDE REGEX "_win32\\.cpp$")
    endif()
    target_sources(${target} PRIVATE ${sources})
    target_include_directories(${target} PRIVATE "${PROJECT_SOURCE_DIR}/${module}/impl")
endfunction()
