// The reader behind vlt-use: a resource monitor's ".use" file as rows, timers and columns.
//
// The file holds one space-separated row per mark ("<run>.<n> <wall> <label> <user> <system>
// ..."), then, when the run ended, the comma-separated column header ("!Phase,Wall,...") and the
// timer summary ("!Timer <i> : <name> <calls> <cpu per call> <cpu> <elapsed>"). Labels may hold
// blanks (the full-label form), so a row is read from both ends: the phase and the wall time
// first, the fifteen figures last, the label between them. A run that died leaves rows only;
// the reader takes them and says the run did not end.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vlt::tools {

// The columns of a row, in order: the names the CSV gives them, and the header's own.
struct UseColumn {
    const char* csvName;
    const char* headerName;
};
extern const std::vector<UseColumn> useColumns;

struct UseRow {
    std::string phase;
    long long wallSeconds = 0;
    std::string label;
    // The fifteen figures after the label, in the order of the columns, as written.
    std::vector<std::string> figures;
    double Figure(std::size_t index) const;
};

struct UseTimer {
    int index = 0;
    std::string name;
    long long calls = 0;
    double cpuPerCall = 0;
    double cpu = 0;
    double elapsed = 0;
};

struct UseRun {
    std::vector<UseRow> rows;
    std::vector<UseTimer> timers;
    bool hasHeader = false;
    bool ended = false; // the last row is the run's "-End" mark
};

// Figure indexes of the columns the chart draws.
enum UseFigure : std::size_t {
    useUserCpu = 0,
    useSystemCpu = 1,
    usePeakWorkingSet = 2,
    useWorkingSet = 3,
};

struct UseReading {
    UseRun run;
    // Empty when the whole text was read; else what is wrong, and on which line (from 1).
    std::string error;
    std::size_t errorLine = 0;
};

UseReading ReadUseFile(std::string_view text);

} // namespace vlt::tools
