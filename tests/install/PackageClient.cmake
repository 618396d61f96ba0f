# cmake -P script: makes the Debian packages of BUILD_DIR, unpacks them into a scratch root,
# checks their names, dependencies and SONAMEs, then builds CLIENT_DIR against that root alone
# and runs it, and runs the tools from the root.
include(${CMAKE_CURRENT_LIST_DIR}/RunChecked.cmake)

function(expect text regex what)
    if(NOT text MATCHES "${regex}")
        message(FATAL_ERROR "${what}: \"${text}\" does not match \"${regex}\"")
    endif()
endfunction()

file(REMOVE_RECURSE "${WORK_DIR}")
run(cpack -G DEB --config "${BUILD_DIR}/CPackConfig.cmake" -B "${WORK_DIR}/packages")
set(root "${WORK_DIR}/root")
set(same_runtime "libvltutl0 \\(= ${VERSION}-1\\)")
foreach(package libvltutl0 libvltutl-dev vltutl-tools)
    file(GLOB deb "${WORK_DIR}/packages/${package}_${VERSION}-1_*.deb")
    if(NOT deb)
        message(FATAL_ERROR "no package ${package} in ${WORK_DIR}/packages")
    endif()
    run(dpkg-deb -f "${deb}" Depends)
    if(package STREQUAL "libvltutl0")
        expect("${last_output}" "libstdc\\+\\+6" "${package} depends")
    else()
        expect("${last_output}" "${same_runtime}" "${package} depends")
    endif()
    run(dpkg-deb -x "${deb}" "${root}")
endforeach()

foreach(library VLTutl VLTthr VLTcrt)
    run(readelf -d "${root}/usr/lib/lib${library}.so.0")
    expect("${last_output}" "SONAME\\)[^\n]*\\[lib${library}\\.so\\.0\\]" "lib${library} SONAME")
endforeach()

run(${CMAKE_COMMAND} -S "${CLIENT_DIR}" -B "${WORK_DIR}/client" -G Ninja
    -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_PREFIX_PATH=${root}/usr
    -DVLTutl_DIR=${root}/usr/lib/cmake/VLTutl -DCLIENT_METHOD=cmake)
run(${CMAKE_COMMAND} --build "${WORK_DIR}/client")
run(${CMAKE_COMMAND} -E env "LD_LIBRARY_PATH=${root}/usr/lib" "${WORK_DIR}/client/vlt_client"
    -steps 4)
expect("${last_output}" "VLTutl [0-9]+\\.[0-9]+\\.[0-9]+ steps 4 dt 0.5" "client output")
execute_process(COMMAND ${CMAKE_COMMAND} -E env "LD_LIBRARY_PATH=${root}/usr/lib"
                        "${root}/usr/bin/vlt-use" RESULT_VARIABLE status ERROR_VARIABLE out)
expect("${status}:${out}" "^2:vlt-use: which .use file" "vlt-use from the package")
