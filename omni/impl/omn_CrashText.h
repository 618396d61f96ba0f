// Composing text into a fixed buffer without the heap or stdio, for the crash report path.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vlt::detail {

inline constexpr std::size_t CrashTextSize = 1024;

// Appends to a caller-owned buffer of CrashTextSize characters; everything beyond the last
// character is dropped, and the text is always NUL-terminated.
class CrashComposer {
public:
    explicit CrashComposer(char* buffer) : text(buffer) { text[0] = '\0'; }

    std::size_t Length() const { return length; }
    const char* Text() const { return text; }

    CrashComposer& Append(const char* part);
    // At most `count` characters of `part`.
    CrashComposer& AppendCut(const char* part, std::size_t count);
    // Upper-case hexadecimal, zero-padded to `width` digits.
    CrashComposer& AppendHex(uint64_t value, int width);
    // Decimal, zero-padded to `width` digits.
    CrashComposer& AppendDecimal(uint64_t value, int width);

private:
    CrashComposer& AppendDigits(uint64_t value, unsigned base, int width);

    char* text;
    std::size_t length = 0;
};

// The digits of an address: as many as the platform's pointers need.
inline constexpr int CrashAddressDigits = static_cast<int>(2 * sizeof(void*));

std::size_t CrashLength(const char* text);
// The part of `path` after its last separator, '/' or '\\' (a Windows path may use either).
const char* CrashBaseName(const char* path);

} // namespace vlt::detail
