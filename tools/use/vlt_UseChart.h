// What vlt-use makes of a run: a CSV table and a self-contained SVG chart.
//
// The CSV has one header row with the names of `useColumns`, then the rows in the order of the
// file, figures as written. The chart shows, against the marks (labelled with their labels),
// the wall, user and system times, the working set and its peak, and the timer summary as
// bars; it needs nothing but the SVG file itself (no script, no font or style from elsewhere).
#pragma once

#include "vlt_UseFile.h"

#include <ostream>
#include <string>

namespace vlt::tools {

void WriteUseCsv(const UseRun& run, std::ostream& out);
// `title` heads the chart (the file's name, say).
void WriteUseSvg(const UseRun& run, const std::string& title, std::ostream& out);

} // namespace vlt::tools
