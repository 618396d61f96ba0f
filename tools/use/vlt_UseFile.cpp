#include "vlt_UseFile.h"

#include <charconv>
#include <cstdlib>

namespace vlt::tools {

const std::vector<UseColumn> useColumns = {
    {"phase", "Phase"},
    {"wall_s", "Wall"},
    {"label", "Mark"},
    {"user_cpu_s", "UserCPU"},
    {"system_cpu_s", "SysCPU"},
    {"peak_working_set_bytes", "WSP"},
    {"working_set_bytes", "WS"},
    {"cpu_s", "CPU"},
    {"quota_peak_paged_pool_bytes", "QPPP"},
    {"quota_paged_pool_bytes", "QPP"},
    {"quota_peak_nonpaged_pool_bytes", "QNPPP"},
    {"quota_nonpaged_pool_bytes", "QNPP"},
    {"page_faults", "PageFaults"},
    {"peak_pagefile_usage_bytes", "PeakPageFileUsage"},
    {"unused_1", "0"},
    {"unused_2", "0"},
    {"unused_3", "0"},
    {"process_id", "ProcessID"},
};

namespace {

constexpr std::size_t figureCount = 15;
constexpr std::string_view blanks = " \t";

std::string_view Trim(std::string_view text) {
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

bool ReadNumber(std::string_view text, double& value) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc{} && end == text.data() + text.size();
}

bool IsNumber(std::string_view text) {
    double value = 0;
    return ReadNumber(text, value);
}

// Splits off the last word of `text`; empty when there is none.
std::string_view TakeLastWord(std::string_view& text) {
    text = Trim(text);
    const std::size_t blank = text.find_last_of(blanks);
    const std::string_view word = blank == std::string_view::npos ? text : text.substr(blank + 1);
    text = blank == std::string_view::npos ? std::string_view{} : text.substr(0, blank);
    return word;
}

std::string ExpectedHeader() {
    std::string header = "!";
    for (const UseColumn& column : useColumns) {
        header += column.headerName;
        header += ',';
    }
    header.pop_back();
    return header;
}

bool ReadRow(std::string_view line, UseRow& row) {
    std::string_view rest = line;
    std::vector<std::string> figures(figureCount);
    for (std::size_t index = figureCount; index-- > 0;) {
        const std::string_view word = TakeLastWord(rest);
        if (!IsNumber(word)) {
            return false;
        }
        figures[index] = std::string(word);
    }
    rest = Trim(rest);
    const std::size_t phaseEnd = rest.find_first_of(blanks);
    if (phaseEnd == std::string_view::npos || rest.substr(0, phaseEnd).find('.') == 0) {
        return false;
    }
    row.phase = std::string(rest.substr(0, phaseEnd));
    std::string_view afterPhase = Trim(rest.substr(phaseEnd));
    const std::size_t wallEnd = std::min(afterPhase.find_first_of(blanks), afterPhase.size());
    const std::string_view wall = afterPhase.substr(0, wallEnd);
    const auto [end, error] =
        std::from_chars(wall.data(), wall.data() + wall.size(), row.wallSeconds);
    if (error != std::errc{} || end != wall.data() + wall.size() ||
        row.phase.find('.') == std::string::npos) {
        return false;
    }
    row.label = std::string(Trim(afterPhase.substr(wallEnd)));
    row.figures = std::move(figures);
    return true;
}

bool ReadTimer(std::string_view line, UseTimer& timer) {
    constexpr std::string_view prefix = "!Timer ";
    const std::size_t colon = line.find(':');
    if (line.substr(0, prefix.size()) != prefix || colon == std::string_view::npos) {
        return false;
    }
    const std::string_view index = Trim(line.substr(prefix.size(), colon - prefix.size()));
    std::string_view rest = line.substr(colon + 1);
    double numbers[4] = {};
    for (int position = 3; position >= 0; --position) {
        if (!ReadNumber(TakeLastWord(rest), numbers[position])) {
            return false;
        }
    }
    // A count that no long long holds is no timer line (and converting it would be undefined).
    constexpr double countLimit = 9.0e18;
    if (!(numbers[0] >= 0 && numbers[0] < countLimit)) {
        return false;
    }
    const auto [end, error] =
        std::from_chars(index.data(), index.data() + index.size(), timer.index);
    timer.name = std::string(Trim(rest));
    timer.calls = static_cast<long long>(numbers[0]);
    timer.cpuPerCall = numbers[1];
    timer.cpu = numbers[2];
    timer.elapsed = numbers[3];
    return error == std::errc{} && end == index.data() + index.size();
}

} // namespace

double UseRow::Figure(std::size_t index) const {
    return index < figures.size() ? std::strtod(figures[index].c_str(), nullptr) : 0.0;
}

UseReading ReadUseFile(std::string_view text) {
    UseReading reading;
    const auto fail = [&reading](std::size_t line, std::string why) {
        reading.errorLine = line;
        reading.error = std::move(why);
        return reading;
    };
    if (text.empty()) {
        return fail(0, "the file is empty");
    }
    const std::string header = ExpectedHeader();
    std::size_t number = 0;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t newline = text.find('\n', start);
        ++number;
        if (newline == std::string_view::npos) {
            return fail(number, "the line is cut short: the file ends without a line end");
        }
        std::string_view line = text.substr(start, newline - start);
        start = newline + 1;
        if (!line.empty() && line.back() == '\r') {
            line.remove_suffix(1);
        }
        UseRow row;
        UseTimer timer;
        if (Trim(line).empty() || line.substr(0, 14) == "!Timer Summary") {
            continue;
        }
        if (line == header) {
            reading.run.hasHeader = true;
        } else if (ReadTimer(line, timer)) {
            reading.run.timers.push_back(std::move(timer));
        } else if (!reading.run.hasHeader && ReadRow(line, row)) {
            reading.run.rows.push_back(std::move(row));
        } else {
            return fail(number, line.substr(0, 1) == "!" || reading.run.hasHeader
                                    ? "not a line of a .use file's header or timer summary"
                                    : "not a row of a .use file");
        }
    }
    if (reading.run.rows.empty()) {
        return fail(number, "no row of a .use file");
    }
    const std::string& last = reading.run.rows.back().label;
    reading.run.ended = last.size() >= 4 && last.compare(last.size() - 4, 4, "-End") == 0;
    return reading;
}

} // namespace vlt::tools
