// The last stage of the printer: writes decided text and line breaks to the sink and keeps
// the column. Blanks are held back until something other than a line end follows them, so
// that no line ends in blanks and the indentation of a line that stays empty is never written.
#pragma once

#include "pnt_Sink.h"

#include <cstddef>

namespace vlt::detail {

class pnt_LineWriter {
public:
    explicit pnt_LineWriter(pnt_Sink& sink) : sink_(sink) {}

    // Text without line ends, `columns` wide.
    void Write(const char* text, std::size_t n, std::size_t columns);
    // Starts a new line at column `indent`. A break that is not `forced` only moves the
    // indentation when nothing but blanks has been written since the line began.
    void LineBreak(std::size_t indent, bool forced);
    void Flush() { sink_.Flush(); }

    // Columns used on the current line, held-back blanks included.
    std::size_t Column() const { return column_; }
    bool AtLineStart() const { return lineEmpty_; }

private:
    void writeHeldBlanks();

    pnt_Sink& sink_;
    std::size_t column_ = 0;
    std::size_t heldBlanks_ = 0;
    bool lineEmpty_ = true;
};

} // namespace vlt::detail
