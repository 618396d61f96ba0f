#include "vlt_UseChart.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

namespace vlt::tools {

namespace {

// The chart's layout, in SVG user units.
constexpr double width = 960;
constexpr double left = 80;
constexpr double right = 180; // room for the legend
constexpr double panelHeight = 220;
constexpr double panelGap = 60;
constexpr double labelRoom = 100; // mark labels under the second panel
constexpr double barHeight = 14;
constexpr std::size_t mostMarkLabels = 40;

struct Series {
    const char* name;
    const char* colour;
    std::vector<double> values;
    // Dashed lines stay visible where they run over another.
    bool dashed = false;
};

std::string Escaped(const std::string& text) {
    std::string out;
    for (const char c : text) {
        switch (c) {
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '&':
            out += "&amp;";
            break;
        case '"':
            out += "&quot;";
            break;
        default:
            out += c;
        }
    }
    return out;
}

std::string Number(double value, int decimals = 1) {
    char text[32];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

std::string CsvField(const std::string& text) {
    if (text.find_first_of(",\"\n") == std::string::npos) {
        return text;
    }
    std::string quoted = "\"";
    for (const char c : text) {
        quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
    }
    return quoted + '"';
}

// A round step that cuts [0, top] into at most five or so intervals.
double TickStep(double top) {
    if (top <= 0) {
        return 1;
    }
    const double rough = top / 5;
    const double power = std::pow(10.0, std::floor(std::log10(rough)));
    for (const double factor : {1.0, 2.0, 5.0, 10.0}) {
        if (factor * power >= rough) {
            return factor * power;
        }
    }
    return 10 * power;
}

class Chart {
public:
    Chart(const UseRun& run, std::ostream& out) : run_(run), out_(out) {}

    double LinePanel(double top, const char* title, const std::vector<Series>& series);
    void MarkLabels(double top);
    double TimerBars(double top);

private:
    double X(std::size_t mark) const {
        const std::size_t marks = run_.rows.size();
        const double span = width - left - right;
        return marks < 2 ? left + span / 2
                         : left + span * static_cast<double>(mark) / static_cast<double>(marks - 1);
    }

    const UseRun& run_;
    std::ostream& out_;
};

double Chart::LinePanel(double top, const char* title, const std::vector<Series>& series) {
    double highest = 0;
    for (const Series& line : series) {
        for (const double value : line.values) {
            highest = std::max(highest, value);
        }
    }
    const double step = TickStep(highest);
    const double ceiling = std::max(step, std::ceil(highest / step) * step);
    const double bottom = top + panelHeight;
    const auto y = [&](double value) { return bottom - panelHeight * value / ceiling; };
    out_ << "<text x=\"" << left << "\" y=\"" << top - 10 << "\" class=\"title\">" << title
         << "</text>\n";
    for (double tick = 0; tick <= ceiling + step / 2; tick += step) {
        out_ << "<line x1=\"" << left << "\" x2=\"" << width - right << "\" y1=\"" << y(tick)
             << "\" y2=\"" << y(tick) << "\" class=\"grid\"/>\n"
             << "<text x=\"" << left - 6 << "\" y=\"" << y(tick) + 4 << "\" text-anchor=\"end\">"
             << Number(tick, step < 1 ? 1 : 0) << "</text>\n";
    }
    for (std::size_t mark = 0; mark < run_.rows.size(); ++mark) {
        out_ << "<line x1=\"" << X(mark) << "\" x2=\"" << X(mark) << "\" y1=\"" << top << "\" y2=\""
             << bottom << "\" class=\"grid\"/>\n";
    }
    double legendY = top + 10;
    for (const Series& line : series) {
        out_ << "<polyline fill=\"none\" stroke=\"" << line.colour << "\" stroke-width=\"2\""
             << (line.dashed ? " stroke-dasharray=\"6,4\"" : "") << " points=\"";
        for (std::size_t mark = 0; mark < line.values.size(); ++mark) {
            out_ << Number(X(mark)) << ',' << Number(y(line.values[mark])) << ' ';
        }
        out_ << "\"/>\n";
        for (std::size_t mark = 0; mark < line.values.size(); ++mark) {
            out_ << "<circle cx=\"" << Number(X(mark)) << "\" cy=\"" << Number(y(line.values[mark]))
                 << "\" r=\"3\" fill=\"" << line.colour << "\"><title>" << line.name << ": "
                 << Number(line.values[mark], 2) << "</title></circle>\n";
        }
        out_ << "<rect x=\"" << width - right + 16 << "\" y=\"" << legendY - 9
             << "\" width=\"14\" height=\"4\" fill=\"" << line.colour << "\"/>\n"
             << "<text x=\"" << width - right + 36 << "\" y=\"" << legendY << "\">" << line.name
             << "</text>\n";
        legendY += 18;
    }
    return bottom;
}

// Every mark's label when they fit, else every n-th, slanted under the x axis.
void Chart::MarkLabels(double top) {
    const std::size_t marks = run_.rows.size();
    const std::size_t every = (marks + mostMarkLabels - 1) / mostMarkLabels;
    for (std::size_t mark = 0; mark < marks; mark += every) {
        std::string label = run_.rows[mark].label;
        if (label.size() > 24) {
            label = label.substr(0, 11) + "..." + label.substr(label.size() - 10);
        }
        out_ << "<text transform=\"translate(" << Number(X(mark)) << ',' << top + 12
             << ") rotate(-40)\" text-anchor=\"end\">" << Escaped(label) << "</text>\n";
    }
}

double Chart::TimerBars(double top) {
    if (run_.timers.empty()) {
        return top;
    }
    double longest = 0;
    for (const UseTimer& timer : run_.timers) {
        longest = std::max({longest, timer.cpu, timer.elapsed});
    }
    const double scale = longest > 0 ? (width - left - right - 140) / longest : 0;
    const double barsLeft = left + 140;
    out_ << "<text x=\"" << left << "\" y=\"" << top - 10
         << "\" class=\"title\">Timers: processor and elapsed seconds (calls)</text>\n";
    double y = top;
    for (const UseTimer& timer : run_.timers) {
        out_ << "<text x=\"" << barsLeft - 6 << "\" y=\"" << y + barHeight
             << "\" text-anchor=\"end\">" << timer.index << ": " << Escaped(timer.name) << " ("
             << timer.calls << ")</text>\n";
        const std::pair<double, const char*> bars[] = {{timer.cpu, "#1f77b4"},
                                                       {timer.elapsed, "#ff7f0e"}};
        for (const auto& [seconds, colour] : bars) {
            out_ << "<rect x=\"" << barsLeft << "\" y=\"" << y << "\" width=\""
                 << Number(std::max(seconds * scale, 1.0)) << "\" height=\"" << barHeight - 2
                 << "\" fill=\"" << colour << "\"/>\n"
                 << "<text x=\"" << barsLeft + std::max(seconds * scale, 1.0) + 4 << "\" y=\""
                 << y + barHeight - 4 << "\">" << Number(seconds, 4) << "</text>\n";
            y += barHeight;
        }
        y += 6;
    }
    out_ << "<rect x=\"" << width - right + 16 << "\" y=\"" << top
         << "\" width=\"14\" height=\"8\" "
         << "fill=\"#1f77b4\"/><text x=\"" << width - right + 36 << "\" y=\"" << top + 8
         << "\">processor</text>\n<rect x=\"" << width - right + 16 << "\" y=\"" << top + 18
         << "\" width=\"14\" height=\"8\" fill=\"#ff7f0e\"/><text x=\"" << width - right + 36
         << "\" y=\"" << top + 26 << "\">elapsed</text>\n";
    return y;
}

std::vector<double> FigureOf(const UseRun& run, std::size_t figure, double scale) {
    std::vector<double> values;
    for (const UseRow& row : run.rows) {
        values.push_back(row.Figure(figure) * scale);
    }
    return values;
}

} // namespace

void WriteUseCsv(const UseRun& run, std::ostream& out) {
    for (std::size_t column = 0; column < useColumns.size(); ++column) {
        out << (column == 0 ? "" : ",") << useColumns[column].csvName;
    }
    out << '\n';
    for (const UseRow& row : run.rows) {
        out << CsvField(row.phase) << ',' << row.wallSeconds << ',' << CsvField(row.label);
        for (const std::string& figure : row.figures) {
            out << ',' << figure;
        }
        out << '\n';
    }
}

void WriteUseSvg(const UseRun& run, const std::string& title, std::ostream& out) {
    constexpr double mebibyte = 1.0 / (1024 * 1024);
    std::vector<double> wall;
    for (const UseRow& row : run.rows) {
        wall.push_back(static_cast<double>(row.wallSeconds));
    }
    const double timersHeight =
        run.timers.empty()
            ? 0
            : panelGap + static_cast<double>(run.timers.size()) * (2 * barHeight + 6);
    const double height = 50 + 2 * panelHeight + panelGap + labelRoom + timersHeight + 40;
    out << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << width << "\" height=\"" << height
        << "\" viewBox=\"0 0 " << width << ' ' << height << "\">\n"
        << "<style>text{font-family:sans-serif;font-size:11px;fill:#222}"
           ".title{font-size:13px;font-weight:bold}.grid{stroke:#ddd;stroke-width:1}</style>\n"
        << "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n"
        << "<text x=\"" << left << "\" y=\"22\" class=\"title\">" << Escaped(title) << " ("
        << run.rows.size() << " marks" << (run.ended ? "" : "; the run did not end")
        << ")</text>\n";
    Chart chart(run, out);
    double bottom = chart.LinePanel(60, "Time (seconds)",
                                    {{"wall", "#2ca02c", wall},
                                     {"user CPU", "#1f77b4", FigureOf(run, useUserCpu, 1)},
                                     {"system CPU", "#d62728", FigureOf(run, useSystemCpu, 1)}});
    bottom = chart.LinePanel(
        bottom + panelGap, "Memory (MiB)",
        {{"working set", "#9467bd", FigureOf(run, useWorkingSet, mebibyte)},
         {"peak working set", "#8c564b", FigureOf(run, usePeakWorkingSet, mebibyte), true}});
    chart.MarkLabels(bottom);
    chart.TimerBars(bottom + labelRoom + panelGap);
    out << "</svg>\n";
}

} // namespace vlt::tools
