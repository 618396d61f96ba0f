// The copies inside the moves of both filter directions.
#pragma once

#include <cstring>

namespace vlt::detail {

// A copy of the few bytes of a scalar, with the usual widths spelt out so that each becomes
// one load and one store.
inline void bio_CopySmall(char* dst, const char* src, unsigned n) {
    switch (n) {
    case 8:
        std::memcpy(dst, src, 8);
        break;
    case 4:
        std::memcpy(dst, src, 4);
        break;
    case 2:
        std::memcpy(dst, src, 2);
        break;
    case 1:
        *dst = *src;
        break;
    default:
        std::memcpy(dst, src, n);
        break;
    }
}

// Copies n bytes of a value whose bytes run from `last` backwards: byte i of dst is byte
// (last - i) of the value.
inline void bio_CopyReversed(char* dst, const char* last, unsigned n) {
    for (unsigned i = 0; i < n; ++i) {
        dst[i] = *(last - i);
    }
}

} // namespace vlt::detail
