// The indenting text printer that every printable type writes to.
//
// A `pnt_PrettyPrint` lays text out within a line width (80 columns unless told otherwise) and
// writes it to its sink: a C `FILE*`, a `std::ostream`, or a text of its own (`Text()`). The
// layout is driven by two-byte escape sequences inside the text, ESC (0x1B) then a letter:
//
//   ESC {   open a group. A group stays on one line when the whole of it, with what follows
//           it up to the next break around it, fits in the rest of the line; otherwise it is
//           broken, and its breaks may become line breaks.
//   ESC }   close the innermost group.
//   ESC t   indent one step (2 columns unless `SetIndentStep` says otherwise). Indentation is
//           absolute: a line break starts its line at the current number of steps.
//   ESC u   undo one indent step.
//   ESC o   optional break, which fills lines: in a broken group, a line break only when the
//           item that follows it does not fit in the rest of the line; nothing in a group
//           that fits. The item runs to the next break of its group or of a group around it,
//           so that it holds the closing brackets and separators that must stay on its line.
//   ESC n   newline: always a line break. It breaks every group around it, since they
//           cannot fit on one line.
//   ESC c   conditional break: the same as ESC o.
//
// Outside any group the breaks act as in a broken one. A plain '\n' in the text is ESC n. An
// ESC with any other letter is written unchanged. Breaks write no blank of their own: a caller
// that wants items separated when the line does not break writes " " before the break. Blanks
// that end a line are not written, and an optional or conditional break at the start of a line
// (after nothing but indentation) does not start another one. Widths count characters: every
// byte except a UTF-8 continuation byte is one column. A sequence may be split between two
// calls.
//
// The layout is Oppen's, with fill breaks: linear in the length of the text, and the printer
// holds back at most about three lines' worth of text and escapes (`BufferLimit`) plus one
// entry per open group, however long the output. A group or item still undecided when that
// much is pending is broken (its text is wider than the line, or it has more breaks and groups
// than a line can show).
//
// The printer also keeps the pointer log of object printing: an address gets a marker number
// when it is first printed (`NewMarker`, numbered from 1), and the object is written after
// "#N=" (`PrintMarker`); a later reference to the same address prints "#N#" (`PrintPtr`).
//
// A printer belongs to one thread; `pnt_debugPrint()` is one shared printer on standard error.
#pragma once

#include "cow_String.h"
#include "crt_Assert.h"
#include "omi_PointerLog.h"
#include "vlt_Export.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <iosfwd>
#include <memory>
#include <string>

namespace vlt::detail {
inline constexpr char pnt_PrettyPrintPath[] = "include/pnt_PrettyPrint";
class pnt_Layout;
class pnt_Sink;
class pnt_StringSink;
} // namespace vlt::detail

// The escape sequences, ready to insert: `pp << pnt_GroupOpen << "(" ...`.
inline constexpr char pnt_Escape = '\x1b';
inline constexpr char pnt_GroupOpen[] = "\x1b{";
inline constexpr char pnt_GroupClose[] = "\x1b}";
inline constexpr char pnt_IndentIn[] = "\x1bt";
inline constexpr char pnt_IndentOut[] = "\x1bu";
inline constexpr char pnt_OptionalBreak[] = "\x1bo";
inline constexpr char pnt_NewLine[] = "\x1bn";
// Split so that the letter is not read as a further hexadecimal digit of the escape.
inline constexpr char pnt_ConditionalBreak[] = "\x1b"
                                               "c";

class VLTUTL_API pnt_PrettyPrint {
public:
    static constexpr unsigned DefaultWidth = 80;
    static constexpr unsigned DefaultIndentStep = 2;
    static constexpr int DefaultPrecision = 6;
    static constexpr int MaxPrecision = 40;

    // How much the printer holds back: escape tokens and bytes of text.
    struct BufferUse {
        std::size_t tokens;
        std::size_t textBytes;
    };

    // A printer into its own text (see `Text`). A width of 0 counts as 1.
    explicit pnt_PrettyPrint(unsigned width = DefaultWidth);
    // A printer onto a file or a stream, which stay the caller's; they must outlive it. A
    // printer on a stream takes the stream's precision.
    explicit pnt_PrettyPrint(std::FILE* file, unsigned width = DefaultWidth);
    explicit pnt_PrettyPrint(std::ostream& out, unsigned width = DefaultWidth);
    pnt_PrettyPrint(const pnt_PrettyPrint&) = delete;
    pnt_PrettyPrint& operator=(const pnt_PrettyPrint&) = delete;
    // Writes what is still pending, as `Flush` does.
    ~pnt_PrettyPrint();

    // Raw text output: the bytes as they are, with their escape sequences and line ends
    // acting as described above. A null text prints nothing.
    pnt_PrettyPrint& Output(const char* text);
    pnt_PrettyPrint& Output(const char* text, std::size_t n);

    pnt_PrettyPrint& operator<<(const char* text) { return Output(text); }
    pnt_PrettyPrint& operator<<(char c) { return Output(&c, 1); }
    pnt_PrettyPrint& operator<<(const cow_String& text) {
        return Output(text.c_str(), text.Length());
    }
    // Decimal integers.
    pnt_PrettyPrint& operator<<(int value);
    pnt_PrettyPrint& operator<<(long value);
    pnt_PrettyPrint& operator<<(long long value);
    pnt_PrettyPrint& operator<<(unsigned value);
    pnt_PrettyPrint& operator<<(unsigned long value);
    pnt_PrettyPrint& operator<<(unsigned long long value);
    // With `Precision()` significant digits, as "%.*g" formats it; at the default precision
    // the text of `cow_String(double)`.
    pnt_PrettyPrint& operator<<(double value);
    // "0x" and the address in lower-case hexadecimal.
    pnt_PrettyPrint& operator<<(const void* address);

    // Decides every group and break still pending from the text seen so far, writes it and
    // flushes the sink. Blanks at the end of the last line wait for what follows them.
    void Flush();
    // Everything printed so far into a printer's own text (after a `Flush`); the empty text
    // for a printer on a file or a stream.
    cow_String Text();

    // The same as a standard string.
    std::string StdText();

    unsigned Width() const;
    // Significant digits of the floating-point values printed from now on, from 1 to
    // `MaxPrecision`; a value outside counts as the nearest end.
    int Precision() const { return precision_; }
    // Compared by value: a reference to the constant (std::min) would need its definition,
    // which a Windows client cannot import from the DLL.
    void SetPrecision(int digits) {
        precision_ = digits < 1 ? 1 : (digits > MaxPrecision ? MaxPrecision : digits);
    }
    // Columns per indent step, from the next line break on.
    void SetIndentStep(unsigned columns);

    // The most the printer will hold back, and the most it has held back so far.
    BufferUse BufferLimit() const;
    BufferUse BufferHighWater() const;

    // Pointer log. True, with its marker, when p has been given one.
    bool FindMarker(const void* p, unsigned& marker) const { return pointerLog_.Find(p, marker); }
    // Gives p the next marker and returns it. After the counter has wrapped, reports and
    // returns 0 without recording p.
    unsigned NewMarker(const void* p) {
        CRT_CHECK_AT(nextmarker_ != 0, "nextmarker_ != 0", vlt::detail::pnt_PrettyPrintPath, 58);
        if (nextmarker_ == 0) {
            return 0;
        }
        bool inserted = false;
        pointerLog_.FindOrInsert(p, nextmarker_, inserted);
        return nextmarker_++;
    }
    // Forgets every address; markers start again from 1.
    void ClearPointerLog();
    // "#N=": the object given marker N follows.
    void PrintMarker(unsigned marker);
    // "#N#": a reference to the object printed after "#N=".
    void PrintPtr(unsigned marker);

    // A debug record: starts on a fresh line with "file:line: ", and its body is one group
    // indented one step. `EndDebug` ends the line and flushes the sink; at the end of the
    // outermost record the pointer log is cleared, so that no record refers to another.
    void StartDebug(const char* file, int line);
    void EndDebug();

private:
    void outputText(const char* text, std::size_t n);
    void escape(char letter);

    std::unique_ptr<vlt::detail::pnt_Sink> sink_;
    vlt::detail::pnt_StringSink* text_; // the sink when the printer has its own text
    std::unique_ptr<vlt::detail::pnt_Layout> layout_;
    vlt::detail::omi_AddressLog pointerLog_;
    unsigned nextmarker_ = 1;
    unsigned debugDepth_ = 0;
    int precision_ = DefaultPrecision;
    bool escapePending_ = false;
};

// The library's shared debug printer, on standard error; created on first use and destroyed
// by the last `pnt_finalize`. One thread at a time.
VLTUTL_API pnt_PrettyPrint& pnt_debugPrint();

// How `pnt_ToString` and `pnt_ToStdString` lay a value out.
struct pnt_Format {
    unsigned width = pnt_PrettyPrint::DefaultWidth;
    int precision = pnt_PrettyPrint::DefaultPrecision;
};

// A value printed into a text of its own, in one call: `pnt_ToString(map, {.width = 40})`.
template <class T>
cow_String pnt_ToString(const T& value, pnt_Format format = {}) {
    pnt_PrettyPrint pp(format.width);
    pp.SetPrecision(format.precision);
    pp << value;
    return pp.Text();
}
template <class T>
std::string pnt_ToStdString(const T& value, pnt_Format format = {}) {
    pnt_PrettyPrint pp(format.width);
    pp.SetPrecision(format.precision);
    pp << value;
    return pp.StdText();
}

// The standard stream output of the library's printable types: the value goes through a
// printer of the default width on the stream, at the stream's precision.
template <class T>
std::ostream& pnt_PrintOn(std::ostream& out, const T& value) {
    pnt_PrettyPrint pp(out);
    pp << value;
    return out;
}
