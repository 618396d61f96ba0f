#include "pnt_LineWriter.h"

#include <algorithm>

namespace vlt::detail {

void pnt_LineWriter::Write(const char* text, std::size_t n, std::size_t columns) {
    std::size_t kept = n;
    while (kept > 0 && text[kept - 1] == ' ') {
        --kept;
    }
    if (kept > 0) {
        writeHeldBlanks();
        sink_.Write(text, kept);
        lineEmpty_ = false;
    }
    heldBlanks_ += n - kept;
    column_ += columns;
}

void pnt_LineWriter::LineBreak(std::size_t indent, bool forced) {
    if (forced || !lineEmpty_) {
        sink_.Write("\n", 1);
        lineEmpty_ = true;
    }
    heldBlanks_ = indent;
    column_ = indent;
}

void pnt_LineWriter::writeHeldBlanks() {
    static const char blanks[] = "                                ";
    constexpr std::size_t chunk = sizeof blanks - 1;
    while (heldBlanks_ > 0) {
        const std::size_t n = std::min(heldBlanks_, chunk);
        sink_.Write(blanks, n);
        heldBlanks_ -= n;
    }
}

} // namespace vlt::detail
