# What the tools' check scripts share: run_checked(status regex command...) runs a command (under
# EMULATOR when the build is a cross build) and fails the script unless it ends with `status` and
# its standard output and error together match `regex`.
function(run_checked expected_status output_regex)
    execute_process(COMMAND ${EMULATOR} ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE out
                    ERROR_VARIABLE err)
    if(NOT status EQUAL expected_status OR NOT "${out}${err}" MATCHES "${output_regex}")
        message(FATAL_ERROR "${ARGN}: status ${status}, wanted ${expected_status}; "
                            "output:\n${out}${err}\nwanted to match: ${output_regex}")
    endif()
endfunction()
