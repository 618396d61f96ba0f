# vlt_require_debian_packages(<package>...): installs the Debian packages that are missing
# (apt-get, as root), so that a bench build on a fresh machine needs no preparation.
function(vlt_require_debian_packages)
    set(missing "")
    foreach(package ${ARGN})
        execute_process(COMMAND dpkg-query -W -f=\${Status} ${package}
                        OUTPUT_VARIABLE status ERROR_QUIET)
        if(NOT status MATCHES "ok installed")
            list(APPEND missing ${package})
        endif()
    endforeach()
    if(NOT missing)
        return()
    endif()
    message(STATUS "Installing Debian packages: ${missing}")
    execute_process(COMMAND apt-get update -q RESULT_VARIABLE status)
    execute_process(COMMAND ${CMAKE_COMMAND} -E env DEBIAN_FRONTEND=noninteractive
                            apt-get install -y -q --no-install-recommends ${missing}
                    RESULT_VARIABLE status)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "Could not install ${missing}; install them as root and configure again")
    endif()
endfunction()
