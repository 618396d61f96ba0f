// Numbers on a text stream, formatted straight into its buffer.
#include "utl_Stream.h"

#include "crt_Assert.h"

#include <algorithm>
#include <charconv>
#include <string>

namespace {

constexpr char numbersPath[] = "utl/impl/utl_StreamNumbers";
// "-18446744073709551615" and "-2.2250738585072014e-308" both fit.
constexpr std::size_t longestNumber = 32;
// The sign, the digits of DBL_MAX before the point, the point, and an exponent's "e+308".
constexpr std::size_t fixedOverhead = 1 + 309 + 1;
constexpr std::size_t scientificOverhead = 3 + 5;

int CheckedPrecision(int precision) {
    CRT_CHECK(precision >= 0 && precision <= utl_Stream::MaxPrecision,
              "precision >= 0 && precision <= MaxPrecision", numbersPath);
    return std::clamp(precision, 0, utl_Stream::MaxPrecision);
}

} // namespace

utl_Stream& utl_Stream::operator<<(double value) {
    char* at = Room(longestNumber);
    Commit(std::to_chars(at, at + longestNumber, value).ptr);
    return *this;
}

utl_Stream& utl_Stream::operator<<(float value) {
    char* at = Room(longestNumber);
    Commit(std::to_chars(at, at + longestNumber, value).ptr);
    return *this;
}

utl_Stream& utl_Stream::operator<<(utl_Fixed number) {
    const int precision = CheckedPrecision(number.precision);
    const std::size_t room = fixedOverhead + static_cast<std::size_t>(precision);
    char* at = Room(room);
    Commit(std::to_chars(at, at + room, number.value, std::chars_format::fixed, precision).ptr);
    return *this;
}

utl_Stream& utl_Stream::operator<<(utl_Scientific number) {
    const int precision = CheckedPrecision(number.precision);
    const std::size_t room = scientificOverhead + static_cast<std::size_t>(precision);
    char* at = Room(room);
    Commit(
        std::to_chars(at, at + room, number.value, std::chars_format::scientific, precision).ptr);
    return *this;
}

utl_Stream& utl_Stream::operator<<(bool value) {
    return value ? Write("true", 4) : Write("false", 5);
}

utl_Stream& utl_Stream::operator<<(const char* text) {
    return text != nullptr ? Write(text, std::char_traits<char>::length(text)) : *this;
}

utl_Stream& utl_Stream::WriteSigned(long long value) {
    char* at = Room(longestNumber);
    Commit(std::to_chars(at, at + longestNumber, value).ptr);
    return *this;
}

utl_Stream& utl_Stream::WriteUnsigned(unsigned long long value) {
    char* at = Room(longestNumber);
    Commit(std::to_chars(at, at + longestNumber, value).ptr);
    return *this;
}
