// How values take their stream form, shared by every concrete filter.
//
// The stream is the host's byte order, which must be little-endian. bool travels as its byte,
// long and unsigned long as 32 bits even where they are wider (a value that does not fit is an
// assertion report, then clipped to the 32-bit range). Everything else travels as its memory
// bytes. On input a bool is true for any non-zero byte, so that no invalid bool is ever made.
#pragma once

#include "bio_FilterOverrides.h"
#include "bio_Ifilter.h"
#include "bio_Ofilter.h"
#include "crt_Assert.h"

#include <algorithm>
#include <bit>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

static_assert(std::endian::native == std::endian::little,
              "the binary encoding is little-endian and is written without swapping");

namespace vlt::detail {

inline constexpr char bio_WirePath[] = "bio/impl/bio_Wire";

template <class T>
struct bio_StreamFormOf {
    using type = T;
};
template <>
struct bio_StreamFormOf<bool> {
    using type = unsigned char;
};
template <>
struct bio_StreamFormOf<long> {
    using type = std::conditional_t<sizeof(long) == 4, long, int32_t>;
};
template <>
struct bio_StreamFormOf<unsigned long> {
    using type = std::conditional_t<sizeof(unsigned long) == 4, unsigned long, uint32_t>;
};
template <class T>
using bio_StreamForm = typename bio_StreamFormOf<T>::type;

// The stream bytes of an array of T are its memory bytes (bool included, on output only).
template <class T>
inline constexpr bool bio_RawOut = sizeof(T) == sizeof(bio_StreamForm<T>);
template <class T>
inline constexpr bool bio_RawIn = std::is_same_v<T, bio_StreamForm<T>>;

inline int32_t bio_ClipSigned(long long v) {
    const bool fits = INT32_MIN <= v && v <= INT32_MAX;
    CRT_CHECK(fits, "INT32_MIN <= v && v <= INT32_MAX", bio_WirePath);
    return fits ? static_cast<int32_t>(v) : (v < 0 ? INT32_MIN : INT32_MAX);
}

inline uint32_t bio_ClipUnsigned(unsigned long long v) {
    CRT_CHECK(v <= UINT32_MAX, "v <= UINT32_MAX", bio_WirePath);
    return v <= UINT32_MAX ? static_cast<uint32_t>(v) : UINT32_MAX;
}

template <class T>
bio_StreamForm<T> bio_ToStream(const T& v) {
    if constexpr (std::is_same_v<T, bio_StreamForm<T>>) {
        return v;
    } else if constexpr (std::is_same_v<T, bool>) {
        return static_cast<unsigned char>(v);
    } else if constexpr (std::is_signed_v<T>) {
        return bio_ClipSigned(v);
    } else {
        return bio_ClipUnsigned(v);
    }
}

template <class T>
T bio_FromStream(const bio_StreamForm<T>& s) {
    if constexpr (std::is_same_v<T, bool>) {
        return s != 0;
    } else {
        return static_cast<T>(s);
    }
}

// Calls move(piece, count) over [p, p + n) in pieces that an unsigned count can hold.
template <class Byte, class Move>
void bio_InPieces(Byte* p, std::size_t n, Move move) {
    constexpr std::size_t piece = std::size_t{1} << 30;
    while (n > 0) {
        const std::size_t k = std::min(n, piece);
        move(p, static_cast<unsigned>(k));
        p += k;
        n -= k;
    }
}

// Streams the first `bytes` bytes of the stream form of v through put(const char*, unsigned).
template <class T, class Put>
void bio_PutVector(const T* v, std::size_t bytes, Put put) {
    if constexpr (bio_RawOut<T>) {
        bio_InPieces(reinterpret_cast<const char*>(v), bytes, put);
    } else {
        constexpr std::size_t width = sizeof(bio_StreamForm<T>);
        bio_StreamForm<T> chunk[256];
        for (std::size_t done = 0; done < bytes; done += sizeof chunk) {
            const std::size_t k = std::min(bytes - done, sizeof chunk);
            const T* first = v + done / width;
            std::transform(first, first + (k + width - 1) / width, chunk, bio_ToStream<T>);
            put(reinterpret_cast<const char*>(chunk), static_cast<unsigned>(k));
        }
    }
}

// Reads n values of T in their stream form through get(char*, unsigned).
template <class T, class Get>
void bio_GetVector(T* v, std::size_t n, Get get) {
    if constexpr (bio_RawIn<T>) {
        bio_InPieces(reinterpret_cast<char*>(v), n * sizeof(T), get);
    } else {
        bio_StreamForm<T> chunk[256];
        for (std::size_t done = 0; done < n; done += std::size(chunk)) {
            const std::size_t k = std::min(n - done, std::size(chunk));
            get(reinterpret_cast<char*>(chunk), static_cast<unsigned>(k * sizeof chunk[0]));
            std::transform(chunk, chunk + k, v + done, bio_FromStream<T>);
        }
    }
}

// A string record: signed 32-bit length, then the bytes without the terminator.
inline void bio_InsertString(bio_Ofilter& f, const char* s) {
    const int length = bio_ClipSigned(s != nullptr ? static_cast<long long>(std::strlen(s)) : 0);
    f.insert(length);
    f.longMove(s, static_cast<unsigned>(length));
}

} // namespace vlt::detail
