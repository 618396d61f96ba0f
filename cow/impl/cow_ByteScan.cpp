// Three versions of the scan: AVX2 and SSE2 on x86-64, chosen once by what the processor has,
// and a portable loop for the tail and for other processors. The vector versions read whole
// vectors only while they lie inside the range, so they never touch a byte beyond it.
#include "cow_ByteScan.h"

#include <bit>
#include <cstdint>
#include <cstring>

#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
#define COW_BYTESCAN_X86 1
#include <immintrin.h>
#else
#define COW_BYTESCAN_X86 0
#endif

namespace {

const char* ScanBytes(const char* first, const char* last, char byte) {
    for (; first != last; ++first) {
        if (*first == byte || *first == '\0') {
            return first;
        }
    }
    return last;
}

#if COW_BYTESCAN_X86

// Per 128 bytes: four compares with the byte, and the minimum of the four vectors compared
// with zero for the NUL; the exact position is looked for only in the block that has a hit.
[[gnu::target("avx2")]] uint32_t HitMask(__m256i v, __m256i wanted) {
    const __m256i hit =
        _mm256_or_si256(_mm256_cmpeq_epi8(v, wanted), _mm256_cmpeq_epi8(v, _mm256_setzero_si256()));
    return static_cast<uint32_t>(_mm256_movemask_epi8(hit));
}

[[gnu::target("avx2")]] const char* ScanAvx2(const char* first, const char* last, char byte) {
    const __m256i wanted = _mm256_set1_epi8(byte);
    const __m256i zero = _mm256_setzero_si256();
    for (; last - first >= 128; first += 128) {
        const auto* p = reinterpret_cast<const __m256i*>(first);
        const __m256i a = _mm256_loadu_si256(p);
        const __m256i b = _mm256_loadu_si256(p + 1);
        const __m256i c = _mm256_loadu_si256(p + 2);
        const __m256i d = _mm256_loadu_si256(p + 3);
        const __m256i low = _mm256_min_epu8(_mm256_min_epu8(a, b), _mm256_min_epu8(c, d));
        const __m256i any = _mm256_or_si256(
            _mm256_or_si256(_mm256_cmpeq_epi8(a, wanted), _mm256_cmpeq_epi8(b, wanted)),
            _mm256_or_si256(_mm256_cmpeq_epi8(c, wanted), _mm256_cmpeq_epi8(d, wanted)));
        if (_mm256_movemask_epi8(_mm256_or_si256(any, _mm256_cmpeq_epi8(low, zero))) == 0) {
            continue;
        }
        const __m256i vectors[] = {a, b, c, d};
        for (const __m256i& v : vectors) {
            const uint32_t mask = HitMask(v, wanted);
            if (mask != 0) {
                return first + std::countr_zero(mask);
            }
            first += 32;
        }
    }
    for (; last - first >= 32; first += 32) {
        const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(first));
        const uint32_t mask = HitMask(v, wanted);
        if (mask != 0) {
            return first + std::countr_zero(mask);
        }
    }
    return ScanBytes(first, last, byte);
}

const char* ScanSse2(const char* first, const char* last, char byte) {
    const __m128i wanted = _mm_set1_epi8(byte);
    const __m128i zero = _mm_setzero_si128();
    for (; last - first >= 16; first += 16) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(first));
        const __m128i hit = _mm_or_si128(_mm_cmpeq_epi8(v, wanted), _mm_cmpeq_epi8(v, zero));
        const auto mask = static_cast<uint32_t>(_mm_movemask_epi8(hit));
        if (mask != 0) {
            return first + std::countr_zero(mask);
        }
    }
    return ScanBytes(first, last, byte);
}

using Scan = const char* (*)(const char*, const char*, char);

Scan ChooseScan() {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") ? &ScanAvx2 : &ScanSse2;
}

#endif

} // namespace

namespace vlt::detail {

const char* cow_FindByteOrNul(const char* first, const char* last, char byte) {
#if COW_BYTESCAN_X86
    static const Scan scan = ChooseScan();
    return scan(first, last, byte);
#else
    return ScanBytes(first, last, byte);
#endif
}

} // namespace vlt::detail
