# Warnings and sanitizers shared by every target of the project.
set(VLT_SANITIZE "" CACHE STRING "Sanitizers to build with: address, thread or empty")

function(vlt_compile_options target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic)
    # Calls between a library's own exported functions need not go through the PLT: nobody
    # interposes them.
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        target_compile_options(${target} PRIVATE -fno-semantic-interposition)
    endif()
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

# vlt_add_library(<name> <export-define> <sources>...): one of the project's shared libraries,
# with the public headers, its export macro's build define and the project's version.
function(vlt_add_library name export_define)
    add_library(${name} SHARED ${ARGN})
    add_library(VLTutl::${name} ALIAS ${name})
    target_include_directories(${name} PUBLIC
        $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
        $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/VLTutl>)
    target_compile_definitions(${name} PRIVATE ${export_define})
    # The headers need C++20: a client that links the target gets it without asking.
    target_compile_features(${name} PUBLIC cxx_std_20)
    set_target_properties(${name} PROPERTIES VERSION ${PROJECT_VERSION}
                                             SOVERSION ${PROJECT_VERSION_MAJOR})
    vlt_compile_options(${name})
    if(WIN32)
        # GCC exports neither the inline members of an explicitly instantiated template nor
        # its inline statics, which clients of the library's instances link against: the DLL
        # exports every symbol, as a shared object does.
        target_link_options(${name} PRIVATE LINKER:--export-all-symbols)
    endif()
endfunction()
