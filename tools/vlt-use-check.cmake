# Runs vlt-use as a person would: the committed example run gives the committed CSV; a run that
# died is read and said to have died; an empty, a foreign and a cut file give status 1 with the
# line and the reason; a missing file gives 2.
#
#     cmake -DUSE=<vlt-use> -DEXAMPLES=<docs/examples> -DWORK=<dir> [-DEMULATOR=<runner>] -P ...
file(REMOVE_RECURSE "${WORK}")
file(MAKE_DIRECTORY "${WORK}")

include(${CMAKE_CURRENT_LIST_DIR}/ToolCheck.cmake)

run_checked(0 "10 marks, 4 timers" ${USE} ${EXAMPLES}/solver.use --csv ${WORK}/solver.csv
            --svg ${WORK}/solver.svg)
file(READ "${EXAMPLES}/solver.csv" expected)
file(READ "${WORK}/solver.csv" made)
if(NOT made STREQUAL expected)
    message(FATAL_ERROR "the CSV of the example differs from docs/examples/solver.csv")
endif()
file(READ "${WORK}/solver.svg" chart)
if(NOT chart MATCHES "^<svg xmlns=\"http://www.w3.org/2000/svg\".*matrix assembled.*</svg>\n$")
    message(FATAL_ERROR "the chart of the example is no whole SVG with the mark labels")
endif()

file(STRINGS "${EXAMPLES}/solver.use" rows LIMIT_COUNT 4)
list(JOIN rows "\n" died)
file(WRITE "${WORK}/died.use" "${died}\n")
run_checked(0 "died.use: the run did not end: its last mark is \"matrix assembled\" and the column header is missing"
            ${USE} ${WORK}/died.use)
file(WRITE "${WORK}/cut.use" "${died}")
run_checked(1 "cut.use:4: the line is cut short" ${USE} ${WORK}/cut.use)
file(WRITE "${WORK}/empty.use" "")
run_checked(1 "empty.use:0: the file is empty" ${USE} ${WORK}/empty.use)
file(WRITE "${WORK}/text.use" "hello, world\n")
run_checked(1 "text.use:1: not a row of a .use file" ${USE} ${WORK}/text.use)
run_checked(2 "missing.use: cannot be opened" ${USE} ${WORK}/missing.use)
