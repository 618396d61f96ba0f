# Warnings and sanitizers shared by every target of the project.
set(VLT_SANITIZE "" CACHE STRING "Sanitizers to build with: address, thread or empty")

function(vlt_compile_options target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic)
    if(VLT_WERROR)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
endfunction()

if(VLT_SANITIZE STREQUAL "address")
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all
                        -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
elseif(VLT_SANITIZE STREQUAL "thread")
    add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
    add_link_options(-fsanitize=thread)
elseif(NOT VLT_SANITIZE STREQUAL "")
    message(FATAL_ERROR "VLT_SANITIZE must be address, thread or empty")
endif()
