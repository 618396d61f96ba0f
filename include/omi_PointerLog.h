// The pointer logs of the binary filters and of the printer: object address to marker on
// output, marker to object on input. Internal to the library (namespace vlt::detail); they sit
// below both users so that the printer needs no stream header.
//
// They replace the published chained `HashTable` (fixed 2047 buckets, which stays published and
// tested) as the filters' pointer log on purpose: a log holds one entry per object of a stream,
// which may be millions, and at that size the fixed table walks chains hundreds of entries long.
// Measured: it made writing and reading 1M pointers 9x to 20x slower.
// - `omi_AddressLog` is an open-addressing table with linear probing that doubles at half load;
// - `omi_MarkerLog` is an array indexed by marker, because a writer hands markers out as 1, 2,
//   3... in the order a reader meets them; markers that a malformed stream names out of order
//   go to a small side table. Each entry also keeps the type id of the object it names (0 when
//   unknown), so that a back-reference can be checked against what the reader expects.
// Neither log owns the objects it names. One thread at a time, like the filters.
#pragma once

#include "vlt_Export.h"

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

namespace vlt::detail {

class VLTUTL_API omi_AddressLog {
public:
    omi_AddressLog() : slots_(initialCapacity) {}

    // True, with its marker, when p has one.
    bool Find(const void* p, unsigned& marker) const {
        const Slot& slot = slots_[Probe(p)];
        if (slot.used) {
            marker = slot.marker;
        }
        return slot.used;
    }
    // The marker of p; when p has none, gives it `marker` and sets `inserted`.
    unsigned FindOrInsert(const void* p, unsigned marker, bool& inserted) {
        Slot* slot = &slots_[Probe(p)];
        inserted = !slot->used;
        if (inserted) {
            if (2 * (count_ + 1) > slots_.size()) {
                Grow();
                slot = &slots_[Probe(p)];
            }
            *slot = Slot{p, marker, true};
            ++count_;
        }
        return slot->marker;
    }
    // Forgets every address; the table keeps its size.
    void Clear();
    std::size_t Size() const { return count_; }

private:
    static constexpr std::size_t initialCapacity = 64;

    struct Slot {
        const void* key = nullptr;
        unsigned marker = 0;
        bool used = false;
    };

    // The slot that holds p, or the empty one where it would go.
    std::size_t Probe(const void* p) const {
        const std::size_t mask = slots_.size() - 1;
        // Fibonacci hashing of the address without its alignment bits.
        std::size_t i =
            static_cast<std::size_t>(
                (reinterpret_cast<std::uintptr_t>(p) >> 3) * 0x9E3779B97F4A7C15ull >> 32) &
            mask;
        while (slots_[i].used && slots_[i].key != p) {
            i = (i + 1) & mask;
        }
        return i;
    }
    void Grow();

    std::vector<Slot> slots_;
    std::size_t count_ = 0;
};

class VLTUTL_API omi_MarkerLog {
public:
    // True, with the object and its type id (0 when unknown), when the marker is recorded.
    bool Find(unsigned marker, void*& p, unsigned& type) const {
        if (marker - 1u < dense_.size()) {
            p = dense_[marker - 1].object;
            type = dense_[marker - 1].type;
            return true;
        }
        return FindSparse(marker, p, type);
    }
    // Records (or replaces) what the marker names.
    void Insert(unsigned marker, void* p, unsigned type) {
        if (marker - 1u < dense_.size()) {
            dense_[marker - 1] = Entry{p, type};
        } else if (marker != 0 && marker - 1u == dense_.size()) {
            dense_.push_back(Entry{p, type});
            sparse_.erase(marker);
        } else {
            sparse_[marker] = Entry{p, type};
        }
    }

private:
    struct Entry {
        void* object;
        unsigned type;
    };

    bool FindSparse(unsigned marker, void*& p, unsigned& type) const;

    std::vector<Entry> dense_; // marker m at m - 1
    std::unordered_map<unsigned, Entry> sparse_;
};

} // namespace vlt::detail
