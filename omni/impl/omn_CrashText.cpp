// Composing text for the crash report path: fixed buffer, own digits, nothing that locks.
#include "omn_CrashText.h"

namespace vlt::detail {

std::size_t CrashLength(const char* text) {
    std::size_t length = 0;
    while (text[length] != '\0') {
        ++length;
    }
    return length;
}

const char* CrashBaseName(const char* path) {
    const char* base = path;
    for (const char* c = path; *c != '\0'; ++c) {
        if (*c == '/' || *c == '\\') {
            base = c + 1;
        }
    }
    return base;
}

CrashComposer& CrashComposer::Append(const char* part) {
    return AppendCut(part, CrashTextSize);
}

CrashComposer& CrashComposer::AppendCut(const char* part, std::size_t count) {
    for (std::size_t i = 0; i < count && part[i] != '\0' && length + 1 < CrashTextSize; ++i) {
        text[length++] = part[i];
    }
    text[length] = '\0';
    return *this;
}

CrashComposer& CrashComposer::AppendHex(uint64_t value, int width) {
    return AppendDigits(value, 16, width);
}

CrashComposer& CrashComposer::AppendDecimal(uint64_t value, int width) {
    return AppendDigits(value, 10, width);
}

CrashComposer& CrashComposer::AppendDigits(uint64_t value, unsigned base, int width) {
    constexpr char digitChars[] = "0123456789ABCDEF";
    char digits[24];
    int count = 0;
    do {
        digits[count++] = digitChars[value % base];
        value /= base;
    } while (value != 0);
    while (count < width && count < static_cast<int>(sizeof digits)) {
        digits[count++] = '0';
    }
    char reversed[sizeof digits + 1];
    for (int i = 0; i < count; ++i) {
        reversed[i] = digits[count - 1 - i];
    }
    reversed[count] = '\0';
    return Append(reversed);
}

} // namespace vlt::detail
