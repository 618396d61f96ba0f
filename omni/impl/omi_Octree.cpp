#include "omi_Octree.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace vlt::detail {

namespace {
constexpr unsigned kDigitBits = 11;
constexpr unsigned kDigits = 6; // 66 bits cover the 63 of a code
constexpr std::size_t kBuckets = std::size_t{1} << kDigitBits;

unsigned DigitOf(uint64_t code, unsigned digit) {
    return static_cast<unsigned>(code >> (digit * kDigitBits)) & (kBuckets - 1);
}
} // namespace

// Least significant digit first, all histograms from one pass; a digit that every code shares
// (high digits of a small model, or of one clustered in a corner) costs no pass.
void omi_SortByCode(std::vector<omi_CodedIndex>& keyed) {
    std::vector<std::array<std::size_t, kBuckets>> counts(kDigits);
    for (auto& histogram : counts) {
        histogram.fill(0);
    }
    for (const omi_CodedIndex& entry : keyed) {
        for (unsigned digit = 0; digit < kDigits; ++digit) {
            ++counts[digit][DigitOf(entry.code, digit)];
        }
    }
    std::vector<omi_CodedIndex> other(keyed.size());
    for (unsigned digit = 0; digit < kDigits; ++digit) {
        std::array<std::size_t, kBuckets>& histogram = counts[digit];
        if (histogram[DigitOf(keyed.front().code, digit)] == keyed.size()) {
            continue;
        }
        std::size_t offset = 0;
        for (std::size_t& bucket : histogram) {
            const std::size_t size = bucket;
            bucket = offset;
            offset += size;
        }
        for (const omi_CodedIndex& entry : keyed) {
            other[histogram[DigitOf(entry.code, digit)]++] = entry;
        }
        keyed.swap(other);
    }
}

} // namespace vlt::detail

template class omi_Octree<omi_OctreePointItem>;
template class omi_Octree<omi_OctreeBoxItem>;
