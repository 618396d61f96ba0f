// The octree's cells, leaves and the memory pool they come from.
//
// An `omi_OctreeCell` is an inner node: the bounds of everything below it and a link to each of
// its eight octants. Neighbouring octants (in Morton order) may link to one leaf, so that a
// bulk build fills its leaves instead of leaving a few items in each octant; such a leaf is
// shared out among its octants when it overflows. An `omi_OctreeLeaf` is a bucket: the bounds of
// its items and the range of the pool's item array that holds them, in ascending order of their
// lowest x, so that a query stops reading a leaf at the first item that starts beyond it. Bounds
// are tight around what was inserted (they may stay larger after a removal), so a query prunes by
// where the items are, not by the octant's region: an item that spans several octants is stored
// once, in the leaf its centre falls in.
//
// `omi_OctreePool<Item>` owns every cell, leaf and item of one octree in three flat arrays and
// links them by 32-bit index, never by pointer: a model of millions of items costs a few dozen
// allocations, a copy of the pool is three block copies with nothing to fix up, and `Clear`
// frees everything at once. Item ranges freed when a leaf grows or splits are kept on free lists
// by size class and handed out again. The pool is owned by its octree, copied in full with it,
// not shared, and takes no locks. More than 2^31 cells or leaves, or 2^32 - 1 item slots, throw
// std::bad_alloc.
#pragma once

#include "omi_OctreeItem.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>
#include <vector>

// A link to a child: a cell index, a leaf index with the top bit set, or none.
using omi_OctreeLink = uint32_t;

struct omi_OctreeCell {
    omi_OctreeBox bounds;
    omi_OctreeLink child[8];
};

struct omi_OctreeLeaf {
    omi_OctreeBox bounds;
    uint32_t first;    // the first item slot in the pool
    uint32_t count;    // items held
    uint32_t capacity; // slots reserved from `first` on
};

namespace vlt::detail {

inline constexpr omi_OctreeLink omi_NoLink = 0xFFFFFFFFu;
inline constexpr omi_OctreeLink omi_LeafBit = 0x80000000u;

inline bool omi_IsLeafLink(omi_OctreeLink link) {
    return (link & omi_LeafBit) != 0;
}
inline omi_OctreeLink omi_LeafLink(uint32_t leaf) {
    return leaf | omi_LeafBit;
}
inline uint32_t omi_LinkIndex(omi_OctreeLink link) {
    return link & ~omi_LeafBit;
}

inline void omi_Prefetch(const void* address) {
#if defined(__GNUC__)
    __builtin_prefetch(address);
#else
    static_cast<void>(address);
#endif
}

// Calls visit(link) once for each child of the cell: the octants that share a leaf are
// neighbours, so the repeats follow one another.
template <class Visit>
void omi_ForEachChild(const omi_OctreeCell& cell, Visit&& visit) {
    omi_OctreeLink previous = omi_NoLink;
    for (const omi_OctreeLink child : cell.child) {
        if (child != omi_NoLink && child != previous) {
            visit(child);
        }
        previous = child;
    }
}

// The size class of a range: floor(log2(capacity)).
inline unsigned omi_SizeClass(uint32_t capacity) {
    unsigned sizeClass = 0;
    while ((capacity >>= 1) != 0) {
        ++sizeClass;
    }
    return sizeClass;
}

// The index the next element of `array` would get, refused past `limit`.
template <class T>
uint32_t omi_NextIndex(const std::vector<T>& array, std::size_t limit) {
    if (array.size() >= limit) {
        throw std::bad_alloc();
    }
    return static_cast<uint32_t>(array.size());
}

} // namespace vlt::detail

template <class Item>
class omi_OctreePool {
public:
    uint32_t NewCell() {
        const uint32_t index = vlt::detail::omi_NextIndex(cells, vlt::detail::omi_LeafBit);
        omi_OctreeCell& cell = cells.emplace_back();
        cell.bounds = vlt::detail::omi_EmptyBox();
        for (omi_OctreeLink& link : cell.child) {
            link = vlt::detail::omi_NoLink;
        }
        return index;
    }

    // An empty leaf with room for `capacity` items.
    uint32_t NewLeaf(uint32_t capacity) {
        uint32_t index;
        if (!freeLeaves.empty()) {
            index = freeLeaves.back();
            freeLeaves.pop_back();
        } else {
            index = vlt::detail::omi_NextIndex(leaves, vlt::detail::omi_LeafBit);
            leaves.emplace_back();
        }
        omi_OctreeLeaf& leaf = leaves[index];
        leaf.bounds = vlt::detail::omi_EmptyBox();
        leaf.count = 0;
        leaf.first = capacity != 0 ? NewRange(capacity) : 0;
        leaf.capacity = capacity;
        return index;
    }

    // A full leaf over `count` adopted items from `first` on.
    uint32_t NewLeafOver(uint32_t first, uint32_t count) {
        const uint32_t index = NewLeaf(0);
        omi_OctreeLeaf& leaf = leaves[index];
        leaf.first = first;
        leaf.count = leaf.capacity = count;
        Item* const begin = items.data() + first;
        std::sort(begin, begin + count, vlt::detail::omi_XBefore<Item>);
        for (uint32_t i = first; i < first + count; ++i) {
            vlt::detail::omi_Expand(leaf.bounds, vlt::detail::omi_BoundsOf(items[i]));
        }
        return index;
    }

    void FreeLeaf(uint32_t index) {
        omi_OctreeLeaf& leaf = leaves[index];
        FreeRange(leaf.first, leaf.capacity);
        leaf.capacity = leaf.count = 0;
        freeLeaves.push_back(index);
    }

    // Makes room for one more item in the leaf, moving its items to a range twice as large
    // when the leaf is full.
    void MakeRoom(uint32_t index) {
        if (leaves[index].count < leaves[index].capacity) {
            return;
        }
        const uint32_t capacity = leaves[index].capacity == 0 ? 1 : 2 * leaves[index].capacity;
        const uint32_t first = NewRange(capacity);
        omi_OctreeLeaf& leaf = leaves[index];
        std::copy(items.begin() + leaf.first, items.begin() + leaf.first + leaf.count,
                  items.begin() + first);
        FreeRange(leaf.first, leaf.capacity);
        leaf.first = first;
        leaf.capacity = capacity;
    }

    omi_OctreeCell& Cell(uint32_t index) { return cells[index]; }
    const omi_OctreeCell& Cell(uint32_t index) const { return cells[index]; }
    omi_OctreeLeaf& Leaf(uint32_t index) { return leaves[index]; }
    const omi_OctreeLeaf& Leaf(uint32_t index) const { return leaves[index]; }
    Item* ItemsOf(const omi_OctreeLeaf& leaf) { return items.data() + leaf.first; }
    const Item* ItemsOf(const omi_OctreeLeaf& leaf) const { return items.data() + leaf.first; }

    // Takes the items of a bulk build, in the order its leaves will cover them, into an empty
    // pool.
    void AdoptItems(std::vector<Item>&& sorted) {
        items = std::move(sorted);
        cells.reserve(items.size() / 16);
        leaves.reserve(items.size() / 8);
    }

    // Gives back the room that growing cells and leaves one by one left unused.
    void Trim() {
        cells.shrink_to_fit();
        leaves.shrink_to_fit();
    }

    // Frees every cell, leaf and item at once.
    void Clear() {
        cells = {};
        leaves = {};
        items = {};
        freeLeaves = {};
        freeRanges = {};
    }

    // The bytes the pool holds, free lists and reserved room included.
    std::size_t Bytes() const {
        std::size_t bytes = cells.capacity() * sizeof(omi_OctreeCell) +
                            leaves.capacity() * sizeof(omi_OctreeLeaf) +
                            items.capacity() * sizeof(Item) + freeLeaves.capacity() * 4;
        for (const std::vector<uint32_t>& ranges : freeRanges) {
            bytes += ranges.capacity() * 4;
        }
        return bytes;
    }

    std::size_t CellCount() const { return cells.size(); }
    std::size_t LeafCount() const { return leaves.size() - freeLeaves.size(); }

private:
    // A range of at least `capacity` slots: a freed one of the same size class, or new ones at
    // the end of the item array. A freed range of class k holds at least 2^k slots.
    uint32_t NewRange(uint32_t capacity) {
        const unsigned sizeClass = vlt::detail::omi_SizeClass(capacity);
        const bool exact = capacity == (1u << sizeClass);
        std::vector<uint32_t>& free = freeRanges[sizeClass];
        if (exact && !free.empty()) {
            const uint32_t first = free.back();
            free.pop_back();
            return first;
        }
        const uint32_t first = vlt::detail::omi_NextIndex(items, UINT32_MAX - capacity);
        items.resize(items.size() + capacity);
        return first;
    }

    void FreeRange(uint32_t first, uint32_t capacity) {
        if (capacity != 0) {
            freeRanges[vlt::detail::omi_SizeClass(capacity)].push_back(first);
        }
    }

    std::vector<omi_OctreeCell> cells;
    std::vector<omi_OctreeLeaf> leaves;
    std::vector<Item> items;
    std::vector<uint32_t> freeLeaves;
    std::array<std::vector<uint32_t>, 32> freeRanges;
};
