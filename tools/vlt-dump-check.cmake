# Runs vlt-dump as a person would and checks its exit status and messages: the round-trip
# example's stream dumps in full; a truncated copy, an empty file and a text file each end with
# the offset and the reason and status 1; a missing file and a wrong option give status 2.
#
#     cmake -DDUMP=<vlt-dump> -DROUNDTRIP=<roundtrip> -DWORK=<dir> [-DEMULATOR=<runner>] -P ...
file(REMOVE_RECURSE "${WORK}")
file(MAKE_DIRECTORY "${WORK}")

include(${CMAKE_CURRENT_LIST_DIR}/ToolCheck.cmake)

run_checked(0 "" ${ROUNDTRIP} -values 3 -save ${WORK}/roundtrip.bin)
run_checked(0 "00000004  cow_String 0x001a0001 object\n          density\n.*pressure.*ff ff ff ff.*nex_ExitException 0x001f0006 object"
            ${DUMP} ${WORK}/roundtrip.bin)
run_checked(0 "^0000000c  " ${DUMP} --offset 12 --count 1 ${WORK}/roundtrip.bin)

# The build host is Linux for both platforms' builds.
execute_process(COMMAND head -c 16 ${WORK}/roundtrip.bin OUTPUT_FILE ${WORK}/cut.bin)
file(WRITE "${WORK}/empty.bin" "")
file(WRITE "${WORK}/text.bin" "plain text, not a stream\n")
run_checked(1 "cut.bin: offset 0x00000004: the stream ends inside a cow_String record" ${DUMP} ${WORK}/cut.bin)
run_checked(1 "empty.bin: offset 0x00000000: the stream is empty" ${DUMP} ${WORK}/empty.bin)
run_checked(1 "text.bin: offset 0x00000000: no record of a binary stream" ${DUMP}
            ${WORK}/text.bin)
run_checked(2 "vlt-dump: .*missing.bin" ${DUMP} ${WORK}/missing.bin)
run_checked(2 "--count wants a number, not \"many\"\nusage: vlt-dump" ${DUMP} --count many
            ${WORK}/text.bin)
