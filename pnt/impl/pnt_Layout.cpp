#include "pnt_Layout.h"

#include "crt_Assert.h"

#include <algorithm>
#include <limits>

namespace vlt::detail {

namespace {

constexpr char pnt_LayoutPath[] = "pnt/impl/pnt_Layout";

// The size of what cannot fit on any line: a forced decision or a section with a line end.
constexpr std::int64_t tooWide = std::numeric_limits<std::int64_t>::max() / 4;

// Below this many consumed bytes the text queue is not worth moving down.
constexpr std::size_t textCompactionFloor = 4096;

std::size_t columnsOf(const char* text, std::size_t n) {
    std::size_t columns = 0;
    for (std::size_t i = 0; i < n; ++i) {
        columns += (static_cast<unsigned char>(text[i]) & 0xC0) != 0x80;
    }
    return columns;
}

} // namespace

// The limits allow about three lines of entries: far more than any line of real output
// needs, so that only text wider than the line decides a group early.
pnt_Layout::pnt_Layout(pnt_Sink& sink, unsigned width, unsigned indentStep)
    : writer_(sink), width_(std::max(width, 1u)), indentStep_(indentStep),
      tokenLimit_(3 * std::size_t{width_} + 32), textLimit_(6 * std::size_t{width_} + 64),
      pieceLimit_(std::size_t{width_} + 1) {}

void pnt_Layout::Text(const char* text, std::size_t n) {
    noteTrailingBlanks(text, n);
    while (n > 0) {
        if (pending_.empty()) {
            writer_.Write(text, n, columnsOf(text, n));
            return;
        }
        // Long text goes in pieces, so that the queue holds at most one piece beyond a line.
        const std::size_t piece = std::min(n, pieceLimit_);
        while (!pending_.empty() && textBytes() + piece > textLimit_) {
            decideFront();
        }
        if (pending_.empty()) {
            continue;
        }
        appendText(text, piece);
        text += piece;
        n -= piece;
        decideWhileTooWide();
    }
}

void pnt_Layout::Open() {
    ++depth_;
    pushPending(Token{Kind::Open, pnt_BreakKind::Optional, false, false, 0, 0, 0, depth_});
}

void pnt_Layout::Close() {
    CRT_CHECK(depth_ > 0, "depth > 0", pnt_LayoutPath);
    if (depth_ == 0) {
        return;
    }
    const Token close{Kind::Close, pnt_BreakKind::Optional, true, false, 0, 0, 0, depth_};
    if (pending_.empty()) {
        print(close);
    } else {
        markClosed(depth_);
        push(close);
    }
    --depth_;
}

void pnt_Layout::Indent() {
    ++indentSteps_;
    indent(1);
}

void pnt_Layout::Unindent() {
    CRT_CHECK(indentSteps_ > 0, "indentSteps > 0", pnt_LayoutPath);
    if (indentSteps_ == 0) {
        return;
    }
    --indentSteps_;
    indent(-1);
}

void pnt_Layout::Break(pnt_BreakKind kind) {
    endSections(depth_);
    trailingBlanks_ = 0;
    const Token token{Kind::Break, kind, kind == pnt_BreakKind::NewLine, false, 0, 0, 0, depth_};
    if (kind != pnt_BreakKind::NewLine) {
        pushPending(token);
        return;
    }
    // Nothing around a line end fits on one line.
    for (const std::uint64_t index : pending_) {
        at(index).size = tooWide;
        at(index).decided = true;
    }
    pending_.clear();
    advance();
    print(token);
}

void pnt_Layout::Flush() {
    for (const std::uint64_t index : pending_) {
        decide(index);
    }
    pending_.clear();
    advance();
    writer_.Flush();
}

std::int64_t pnt_Layout::space() const {
    return static_cast<std::int64_t>(width_) - static_cast<std::int64_t>(writer_.Column());
}

void pnt_Layout::push(const Token& token) {
    while (!pending_.empty() && tokens_.size() >= tokenLimit_) {
        decideFront();
    }
    tokens_.push_back(token);
    noteUse();
    advance();
}

void pnt_Layout::pushPending(Token token) {
    token.decided = false;
    token.size = rightTotal_;
    push(token);
    pending_.push_back(frontIndex_ + tokens_.size() - 1);
}

void pnt_Layout::noteTrailingBlanks(const char* text, std::size_t n) {
    std::size_t kept = n;
    while (kept > 0 && text[kept - 1] == ' ') {
        --kept;
    }
    const auto blanks = static_cast<std::int64_t>(n - kept);
    trailingBlanks_ = kept == 0 ? trailingBlanks_ + blanks : blanks;
}

void pnt_Layout::appendText(const char* text, std::size_t n) {
    const auto columns = static_cast<std::int64_t>(columnsOf(text, n));
    text_.append(text, n);
    rightTotal_ += columns;
    if (!tokens_.empty() && tokens_.back().kind == Kind::Text) {
        tokens_.back().size += columns;
        tokens_.back().length += n;
        noteUse();
    } else {
        push(Token{Kind::Text, pnt_BreakKind::Optional, true, false, columns, n, 0, 0});
    }
}

void pnt_Layout::indent(int steps) {
    if (pending_.empty()) {
        printIndent_ += steps;
        return;
    }
    // With something pending the queue's back is never its front, so it may be dropped.
    if (tokens_.back().kind == Kind::Indent) {
        tokens_.back().steps += steps;
        if (tokens_.back().steps == 0) {
            tokens_.pop_back();
        }
        return;
    }
    push(Token{Kind::Indent, pnt_BreakKind::Optional, true, false, 0, 0, steps, 0});
}

void pnt_Layout::decideFront() {
    at(pending_.front()).size = tooWide;
    at(pending_.front()).decided = true;
    pending_.pop_front();
    advance();
}

void pnt_Layout::decide(std::uint64_t index) {
    Token& token = at(index);
    token.size = rightTotal_ - token.size;
    token.decided = true;
}

// Pending entries of depth `depth` or more that come after the last one of a group around it
// are the breaks of the current group and of the groups closed since, and the opens of those
// closed groups: this break ends all of their extents. The current group's open stays.
void pnt_Layout::endSections(unsigned depth) {
    std::uint64_t keep = 0;
    bool keeping = false;
    bool decided = false;
    while (!pending_.empty() && at(pending_.back()).depth >= depth) {
        Token& token = at(pending_.back());
        if (token.kind == Kind::Open && !token.closed) {
            keep = pending_.back();
            keeping = true;
        } else {
            decide(pending_.back());
            // A line that breaks here drops its last blanks, so they need no room.
            token.size = std::max<std::int64_t>(token.size - trailingBlanks_, 0);
            decided = true;
        }
        pending_.pop_back();
    }
    if (keeping) {
        pending_.push_back(keep);
    }
    if (decided) {
        advance();
    }
}

// The group's open is the last pending open of its depth not yet closed, unless it is decided.
void pnt_Layout::markClosed(unsigned depth) {
    for (auto entry = pending_.rbegin(); entry != pending_.rend(); ++entry) {
        Token& token = at(*entry);
        if (token.depth < depth) {
            return;
        }
        if (token.kind == Kind::Open && token.depth == depth && !token.closed) {
            token.closed = true;
            return;
        }
    }
}

void pnt_Layout::decideWhileTooWide() {
    while (!pending_.empty() && rightTotal_ - leftTotal_ - trailingBlanks_ > space()) {
        decideFront();
    }
}

void pnt_Layout::advance() {
    while (!tokens_.empty() && tokens_.front().decided) {
        print(tokens_.front());
        tokens_.pop_front();
        ++frontIndex_;
    }
    if (textHead_ == text_.size()) {
        text_.clear();
        textHead_ = 0;
    } else if (textHead_ > textCompactionFloor && textHead_ * 2 > text_.size()) {
        text_.erase(0, textHead_);
        textHead_ = 0;
    }
}

void pnt_Layout::print(const Token& token) {
    switch (token.kind) {
    case Kind::Text:
        writer_.Write(text_.data() + textHead_, token.length, static_cast<std::size_t>(token.size));
        textHead_ += token.length;
        leftTotal_ += token.size;
        break;
    case Kind::Open:
        groups_.push_back(token.size > std::max<std::int64_t>(space(), 0));
        break;
    case Kind::Close:
        if (!groups_.empty()) {
            groups_.pop_back();
        }
        break;
    case Kind::Indent:
        printIndent_ += token.steps;
        break;
    case Kind::Break:
        printBreak(token);
        break;
    }
}

void pnt_Layout::printBreak(const Token& token) {
    bool lineBreak = true;
    switch (token.breakKind) {
    case pnt_BreakKind::NewLine:
        break;
    case pnt_BreakKind::Optional:
    case pnt_BreakKind::Conditional:
        // A fill break: only a broken group (or no group) breaks, and only where the next item
        // would pass the width. A break that would not move the item left gains nothing.
        lineBreak = (groups_.empty() || groups_.back()) && token.size > space() &&
                    std::size_t{printIndent_} * indentStep_ < writer_.Column();
        break;
    }
    if (lineBreak) {
        writer_.LineBreak(std::size_t{printIndent_} * indentStep_,
                          token.breakKind == pnt_BreakKind::NewLine);
    }
}

void pnt_Layout::noteUse() {
    highWater_.tokens = std::max(highWater_.tokens, tokens_.size());
    highWater_.textBytes = std::max(highWater_.textBytes, textBytes());
}

} // namespace vlt::detail
