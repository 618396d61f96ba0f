// Buffered text on a file of any size or on a standard stream: numbers, strings and every
// printable value out, lines in.
//
// A `utl_Stream` owns one file opened in one of the library's modes (utl_File.h: the same
// sharing, 64-bit positions), or borrows one of the process's standard streams. It is an
// output stream or an input stream, decided when it is made: a file opened for reading is
// read line by line; a file opened for update or writing, standard output and standard error
// are written. Writing to an input stream, reading from an output stream, and either after
// `Close` throw `nex_TextException` before anything is transferred.
//
// Ownership: a stream is a move-only owner of its file and of its buffer (64 KiB); moving
// hands both over and leaves the source closed. A standard stream is never closed by the
// library: `Close` only flushes and lets it go. A stream belongs to one thread at a time.
//
// What is written, byte for byte:
// - integers of every width in decimal (`signed char` and `unsigned char` are numbers; `char`
//   is a character; `bool` is "true" or "false");
// - `double` and `float` in their shortest form that reads back to the same value, as
//   `std::to_chars` gives it ("0.1", "1e+300", "5e-324", "-0"); infinities are "inf" and
//   "-inf", a NaN "nan" or "-nan" by its sign bit. `utl_Fixed` and `utl_Scientific` give a
//   number of digits after the point instead ("%.*f" and "%.*e");
// - strings and characters as their bytes, NULs among them; a `const char*` up to its NUL;
// - any other value the pretty printer prints (containers through their `cio_` header,
//   exceptions): laid out by a printer at `PrintFormat()`, 80 columns and 6 significant digits
//   unless told otherwise. Plain strings are not laid out: their escape bytes stay bytes.
// Line ends are written as "\n" on every platform.
//
// What is read: a line ends at "\n" or "\r\n", and neither is part of it; a "\r" elsewhere,
// even at the very end of the input, is a byte of the line, and so is a NUL. A last line
// without its line end is a line. A line may be of any length that a `cow_String` holds: it
// is read straight into the string, through the stream's fixed buffer, and a longer one
// throws rather than being cut.
//
// Failures: a failed system call throws `nex_TextException` "utl_Stream::<member>: <system
// message>"; the bytes that could not be written are dropped, so that the same failure is
// not met again by the next flush. `Flush` hands the buffer to the system (it does not force
// it onto the disk: `utl_File::Flush` does). The destructor flushes and closes but never
// throws: a failure there is written to standard error as one line, "utl_Stream::~utl_Stream:
// " and the exception's text, since no caller is left to receive it. Call `Close` to see it.
//
// Standard streams: a stream on standard output or error writes to the system's handle, not
// through C's `stdout` or `std::cout`, and keeps the order of output this way: before it hands
// bytes to the system it flushes `stdout` and `std::cout`, so what they held goes first; what
// it holds itself goes out only at its own `Flush` (or when its buffer fills), so call `Flush`
// before printing through them again. A stream on standard error writes at once, after every
// insertion, as C's `stderr` does. A stream on standard input reads the system's handle: bytes
// that C's `stdin` or `std::cin` have already buffered are not seen, so read standard input
// through one of them only.
#pragma once

#include "cow_String.h"
#include "pnt_PrettyPrint.h"
#include "utl_File.h"
#include "vlt_Export.h"

#include <concepts>
#include <cstddef>
#include <cstring>
#include <memory>
#include <string_view>
#include <type_traits>

enum class utl_StandardStream { Input, Output, Error };

// `stream << utl_Fixed(x, 3)` writes x with 3 digits after the point, as "%.3f" does.
struct utl_Fixed {
    utl_Fixed(double number, int digits) : value(number), precision(digits) {}
    double value;
    int precision;
};

// `stream << utl_Scientific(x, 3)` writes one digit, the point, 3 digits and the exponent, as
// "%.3e" does.
struct utl_Scientific {
    utl_Scientific(double number, int digits) : value(number), precision(digits) {}
    double value;
    int precision;
};

namespace vlt::detail {

template <class T>
concept utl_StreamInteger = std::integral<T> && !std::same_as<T, bool> && !std::same_as<T, char> &&
                            !std::same_as<T, wchar_t> && !std::same_as<T, char8_t> &&
                            !std::same_as<T, char16_t> && !std::same_as<T, char32_t>;

// What goes to the stream through the printer: whatever it prints that the stream does not
// write itself.
template <class T>
concept utl_StreamPrintable =
    !std::is_arithmetic_v<T> && !std::is_convertible_v<const T&, std::string_view> &&
    requires(pnt_PrettyPrint & pp, const T& value) {
    pp << value;
};

} // namespace vlt::detail

class VLTUTL_API utl_Stream {
public:
    // Digits after the point of `utl_Fixed` and `utl_Scientific` (enough to write every
    // double exactly); a precision outside 0 to this is reported and taken as the nearest.
    static constexpr int MaxPrecision = 1074;

    // Opens `name` as utl_File does for the mode (a failed open throws its text). Read makes
    // an input stream, update (from the start of the existing file) and write output streams;
    // any other mode is reported and makes a closed stream.
    utl_Stream(const cow_String& name, utl_FileAccess access);
    // Borrows a standard stream of the process.
    explicit utl_Stream(utl_StandardStream which);
    utl_Stream(utl_Stream&& other) noexcept;
    // Closes this stream first (which may throw), then takes over `other`.
    utl_Stream& operator=(utl_Stream&& other);
    utl_Stream(const utl_Stream&) = delete;
    utl_Stream& operator=(const utl_Stream&) = delete;
    // Flushes and closes; a failure goes to standard error (see above).
    ~utl_Stream();

    utl_Stream& operator<<(double value);
    utl_Stream& operator<<(float value);
    utl_Stream& operator<<(utl_Fixed number);
    utl_Stream& operator<<(utl_Scientific number);
    utl_Stream& operator<<(bool value);
    utl_Stream& operator<<(char c) {
        if (m_Pending < m_Limit) {
            m_Buffer[m_Pending++] = c;
            return *this;
        }
        return WriteSlowly(&c, 1);
    }
    // A null pointer writes nothing.
    utl_Stream& operator<<(const char* text);
    utl_Stream& operator<<(std::string_view text) { return Write(text.data(), text.size()); }
    utl_Stream& operator<<(const cow_String& text) { return Write(text.c_str(), text.Length()); }
    template <vlt::detail::utl_StreamInteger T>
    utl_Stream& operator<<(T value) {
        if constexpr (std::is_signed_v<T>) {
            return WriteSigned(value);
        } else {
            return WriteUnsigned(value);
        }
    }
    template <vlt::detail::utl_StreamPrintable T>
    utl_Stream& operator<<(const T& value) {
        Print([](pnt_PrettyPrint& pp, const void* v) { pp << *static_cast<const T*>(v); }, &value);
        return *this;
    }

    // The `count` bytes at `bytes`, as they are.
    utl_Stream& Write(const char* bytes, std::size_t count) {
        if (count < m_Limit - m_Pending) {
            std::memcpy(m_Buffer.get() + m_Pending, bytes, count);
            m_Pending += count;
            return *this;
        }
        return WriteSlowly(bytes, count);
    }

    // The next line into `line`, without its line end. False, with `line` empty, when the
    // input has ended.
    bool ReadLine(cow_String& line);

    // Hands the buffered output to the system. Does nothing on an input or closed stream.
    void Flush();
    // Flushes, then closes the file (a standard stream stays open); the stream is closed even
    // when this throws. Closing a closed stream does nothing.
    void Close();
    // Moves to a byte position of the file, after flushing the output or dropping the input
    // read ahead.
    void Seek(const utl_FileOffset& offset);

    bool IsInput() const { return m_Direction == Direction::Input; }
    bool IsOutput() const { return m_Direction == Direction::Output; }

    // How printable values are laid out from now on.
    const pnt_Format& PrintFormat() const { return m_PrintFormat; }
    void SetPrintFormat(const pnt_Format& format) { m_PrintFormat = format; }

private:
    enum class Direction { Input, Output, Closed };
    using PrintFunction = void (*)(pnt_PrettyPrint&, const void*);

    utl_Stream& WriteSigned(long long value);
    utl_Stream& WriteUnsigned(unsigned long long value);
    void Print(PrintFunction print, const void* value);

    // At least `count` free bytes at the end of the output buffer, and the end of what was
    // written there.
    char* Room(std::size_t count) {
        return count < m_Limit - m_Pending ? m_Buffer.get() + m_Pending : MakeRoom(count);
    }
    void Commit(const char* end) {
        m_Pending = static_cast<std::size_t>(end - m_Buffer.get());
        if (m_Pending > m_Limit) {
            Drain();
        }
    }
    // What the buffer's fast paths leave to the rest: a full buffer, a misused stream, a
    // stream that writes through.
    utl_Stream& WriteSlowly(const char* bytes, std::size_t count);
    char* MakeRoom(std::size_t count);
    void RequireOutput();
    void Drain();
    bool Fill();
    void AppendToLine(cow_String& line, const char* bytes, std::size_t count, bool first);
    void TakeOver(utl_Stream& other) noexcept;
    // Lets the handle go, closing it when the stream owns it.
    void Release(bool report);

    std::unique_ptr<char[]> m_Buffer;
    std::intptr_t m_Handle;
    Direction m_Direction;
    bool m_OwnsHandle;
    bool m_Standard = false;
    // Where the fast paths stop: the buffer's size on a buffered output stream, 0 on any other,
    // so that a misused stream and one that writes through take the slow paths.
    std::size_t m_Limit = 0;
    // Output: the bytes not yet written, from the buffer's start. Input: the bytes not yet read
    // are [m_Begin, m_End).
    std::size_t m_Pending = 0;
    std::size_t m_Begin = 0;
    std::size_t m_End = 0;
    pnt_Format m_PrintFormat;
};
