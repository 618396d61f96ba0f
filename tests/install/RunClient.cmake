# cmake -P script: install BUILD_DIR into WORK_DIR/prefix, build the client with METHOD
# (cmake, pkgconfig or fortran) and run it.
include(${CMAKE_CURRENT_LIST_DIR}/RunChecked.cmake)

set(prefix "${WORK_DIR}/prefix")
set(package "-DVLTutl_DIR=${prefix}/lib/cmake/VLTutl")
set(client "${WORK_DIR}/client/vlt_client")
set(cross "")
if(TOOLCHAIN)
    # The client runs under the emulator, with the installed DLLs on its search path.
    set(cross "-DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN}")
    set(client ${CMAKE_COMMAND} -E env "WINEPATH=${prefix}/bin" ${EMULATOR} "${client}.exe")
endif()
file(REMOVE_RECURSE "${WORK_DIR}")
run(${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${prefix}")
if(METHOD STREQUAL "fortran")
    # The source tree's Fortran test, built against the package and run with its arguments.
    run(${CMAKE_COMMAND} -S "${CLIENT_DIR}" -B "${WORK_DIR}/client" -G Ninja
        -DCMAKE_PREFIX_PATH=${prefix} ${package} ${cross}
        -DCLIENT_TEST_SOURCE=${FORTRAN_TEST}
        "-DCMAKE_Fortran_FLAGS=${CLIENT_FLAGS}"
        "-DCMAKE_EXE_LINKER_FLAGS=${CLIENT_FLAGS}")
    run(${CMAKE_COMMAND} --build "${WORK_DIR}/client")
    run(${client} -n 42 -name abc -flag -long twelve_chars -steps x2)
    return()
endif()
run(${CMAKE_COMMAND} -S "${CLIENT_DIR}" -B "${WORK_DIR}/client" -G Ninja
    -DCMAKE_CXX_COMPILER=${CXX}
    -DCMAKE_PREFIX_PATH=${prefix} ${package} ${cross}
    -DCLIENT_METHOD=${METHOD}
    "-DCMAKE_CXX_FLAGS=${CLIENT_FLAGS}"
    "-DCMAKE_EXE_LINKER_FLAGS=${CLIENT_FLAGS}")
run(${CMAKE_COMMAND} --build "${WORK_DIR}/client")
run(${client} -steps 4)
if(NOT last_output MATCHES "VLTutl [0-9]+\\.[0-9]+\\.[0-9]+ steps 4 dt 0.5")
    message(FATAL_ERROR "unexpected client output: ${last_output}")
endif()
