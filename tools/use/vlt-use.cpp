// vlt-use: a resource monitor's ".use" file as a CSV table and an SVG chart.
//
//     vlt-use FILE.use [--csv OUT.csv] [--svg OUT.svg]
//
// Without --csv or --svg the outputs go beside the input, with the extensions .csv and .svg.
// Exit status: 0 when both were written (a run that did not end is said on standard error); 1
// for an empty, foreign, truncated or oversized file (the line and the reason on standard
// error); 2 for a wrong command line or a file that cannot be read or written.
#include "vlt_UseChart.h"
#include "vlt_UseFile.h"

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

namespace {

// A monitor writes a row of some 150 bytes per mark: this is millions of marks.
constexpr std::streamoff sizeLimit = std::streamoff{256} << 20;

constexpr char usage[] = "usage: vlt-use FILE.use [--csv OUT.csv] [--svg OUT.svg]\n";

int Fail(int status, const std::string& text) {
    std::fprintf(stderr, "vlt-use: %s\n%s", text.c_str(), status == 2 ? usage : "");
    return status;
}

std::string Beside(const std::string& input, const char* extension) {
    const std::size_t dot = input.rfind('.');
    const std::size_t slash = input.find_last_of("/\\");
    const bool hasExtension =
        dot != std::string::npos && (slash == std::string::npos || dot > slash);
    return (hasExtension ? input.substr(0, dot) : input) + extension;
}

bool WriteFile(const std::string& path, const std::string& content) {
    std::ofstream out(path, std::ios::binary);
    out << content;
    out.close();
    return !out.fail();
}

} // namespace

int main(int argc, char** argv) {
    std::string input;
    std::string csvPath;
    std::string svgPath;
    for (int index = 1; index < argc; ++index) {
        const std::string argument = argv[index];
        if ((argument == "--csv" || argument == "--svg") && index + 1 < argc) {
            (argument == "--csv" ? csvPath : svgPath) = argv[++index];
        } else if (argument.empty() || argument[0] == '-' || !input.empty()) {
            return Fail(2, "unexpected argument \"" + argument + "\"");
        } else {
            input = argument;
        }
    }
    if (input.empty()) {
        return Fail(2, "which .use file?");
    }
    std::ifstream file(input, std::ios::binary | std::ios::ate);
    if (!file) {
        return Fail(2, input + ": cannot be opened");
    }
    if (file.tellg() > sizeLimit) {
        return Fail(1, input + ": larger than " + std::to_string(sizeLimit) +
                           " bytes, which is no .use file of a run");
    }
    file.seekg(0);
    std::ostringstream text;
    text << file.rdbuf();
    const vlt::tools::UseReading reading = vlt::tools::ReadUseFile(text.str());
    if (!reading.error.empty()) {
        return Fail(1, input + ":" + std::to_string(reading.errorLine) + ": " + reading.error);
    }
    csvPath = csvPath.empty() ? Beside(input, ".csv") : csvPath;
    svgPath = svgPath.empty() ? Beside(input, ".svg") : svgPath;
    std::ostringstream csv;
    std::ostringstream svg;
    vlt::tools::WriteUseCsv(reading.run, csv);
    vlt::tools::WriteUseSvg(reading.run, input, svg);
    if (!WriteFile(csvPath, csv.str()) || !WriteFile(svgPath, svg.str())) {
        return Fail(2, "cannot write " + csvPath + " or " + svgPath);
    }
    if (!reading.run.ended) {
        std::fprintf(stderr, "vlt-use: %s: the run did not end: its last mark is \"%s\"%s\n",
                     input.c_str(), reading.run.rows.back().label.c_str(),
                     reading.run.hasHeader ? "" : " and the column header is missing");
    }
    std::printf("%s: %zu marks, %zu timers -> %s, %s\n", input.c_str(), reading.run.rows.size(),
                reading.run.timers.size(), csvPath.c_str(), svgPath.c_str());
    return 0;
}
