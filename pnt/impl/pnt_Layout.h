// The line-breaking engine of the printer: Oppen's algorithm with a bounded lookahead.
//
// The scanning side takes text, group opens and closes, indentation steps and breaks in
// order, and measures them. What cannot be decided yet (a group whose close has not come, a
// break whose following section has not ended) waits in a queue with everything after it,
// together with the running width of the queue. The printing side takes decided entries from
// the front of the queue. An entry is decided when its extent is known, or at once as
// "does not fit" when the queue already holds more than the rest of the line can take, or more
// entries or bytes than the limits allow; so the queue never grows beyond the limits, and
// every entry is queued and dequeued once.
#pragma once

#include "pnt_LineWriter.h"
#include "pnt_PrettyPrint.h"
#include "pnt_Sink.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

namespace vlt::detail {

enum class pnt_BreakKind : std::uint8_t { Optional, Conditional, NewLine };

class pnt_Layout {
public:
    // A width of 0 counts as 1.
    pnt_Layout(pnt_Sink& sink, unsigned width, unsigned indentStep);

    // Text without line ends.
    void Text(const char* text, std::size_t n);
    void Open();
    void Close();
    void Indent();
    void Unindent();
    void Break(pnt_BreakKind kind);
    // Decides everything pending from what has been seen, prints it and flushes the sink.
    void Flush();

    // Whether the current line holds nothing but blanks; exact after `Flush`.
    bool AtLineStart() const { return writer_.AtLineStart(); }
    unsigned Width() const { return width_; }
    void SetIndentStep(unsigned columns) { indentStep_ = columns; }
    pnt_PrettyPrint::BufferUse Limit() const { return {tokenLimit_, textLimit_}; }
    pnt_PrettyPrint::BufferUse HighWater() const { return highWater_; }

private:
    enum class Kind : std::uint8_t { Text, Open, Close, Indent, Break };

    struct Token {
        Kind kind;
        pnt_BreakKind breakKind;
        bool decided;
        bool closed; // an open whose group has closed
        // Width of the text, of the group, or of the section after the break; while
        // undecided, the scanned width at which the entry began.
        std::int64_t size;
        std::size_t length; // bytes of text
        int steps;          // indentation change
        unsigned depth;     // the group opened, or the group a break belongs to
    };

    std::int64_t space() const;
    Token& at(std::uint64_t index) { return tokens_[index - frontIndex_]; }
    void push(const Token& token);
    void pushPending(Token token);
    void appendText(const char* text, std::size_t n);
    void noteTrailingBlanks(const char* text, std::size_t n);
    std::size_t textBytes() const { return text_.size() - textHead_; }
    void indent(int steps);
    // Decides the front entry as not fitting and prints what that releases.
    void decideFront();
    void decide(std::uint64_t index);
    // Decides the pending entries whose extent ends at a break of the group at `depth`. The
    // extent of a break, and of a group, runs past the closes of its group and of the groups
    // inside to the next break at its depth or less, so that it holds the closing brackets and
    // separators that must stay on its line.
    void endSections(unsigned depth);
    void markClosed(unsigned depth);
    void decideWhileTooWide();
    void advance();
    void print(const Token& token);
    void printBreak(const Token& token);
    void noteUse();

    pnt_LineWriter writer_;
    unsigned width_;
    unsigned indentStep_;
    std::size_t tokenLimit_;
    std::size_t textLimit_;
    std::size_t pieceLimit_;

    // Scanning side.
    std::deque<Token> tokens_;
    std::uint64_t frontIndex_ = 0; // index of tokens_.front() since the printer began
    std::deque<std::uint64_t> pending_;
    std::string text_; // text of the queued Text entries, from textHead_
    std::size_t textHead_ = 0;
    std::int64_t leftTotal_ = 0;      // width printed of everything ever queued
    std::int64_t rightTotal_ = 0;     // width of everything ever queued
    std::int64_t trailingBlanks_ = 0; // blank columns that end the text scanned so far
    unsigned depth_ = 0;
    unsigned indentSteps_ = 0;
    pnt_PrettyPrint::BufferUse highWater_{0, 0};

    // Printing side: one entry per printed open group, true when it is broken.
    std::vector<bool> groups_;
    unsigned printIndent_ = 0;
};

} // namespace vlt::detail
