// Spatial search over the points or the boxes of a large model: which items lie in a box, which
// contain a point, the k nearest to a point, those within a radius, and those a line crosses,
// in order along it.
//
// `omi_Octree<Item>` holds `omi_OctreePointItem`s (`omi_PointOctree`) or `omi_OctreeBoxItem`s
// (`omi_BoxOctree`), each a copy of the client's geometry with the client's id; ids need not be
// unique. The octree divides its root box into octants, down to `DepthLimit()` levels, and a
// leaf splits when an insertion would take it past `BucketSize()` items (leaves at the depth
// limit grow without bound: coincident points end there). An item is stored once, in the leaf
// that its centre falls in; every cell and leaf keeps the bounds of what it holds, and queries
// prune by those bounds, so an item that spans octants or lies outside the root box is still
// found (one outside the root box is filed in the border octant nearest to its centre, and
// queries near it only get slower). Removal finds an item by its id and geometry, as inserted,
// and never merges cells; `Build` or `Clear` gives the room back.
//
// The octree owns its pool (`omi_OctreePool`), where every cell, leaf and item lives; a copy is
// deep and costs the copy of that pool. It is not shared and takes no locks; queries are const
// and may run side by side while nothing modifies the tree.
//
// Bad input is reported through crt_Assert and then has a safe result:
// - a root box with a NaN or infinite coordinate or min above max: the unit cube stands in;
//   a bucket size of 0: 1; a depth limit above `MaxDepth`: `MaxDepth`;
// - an item with a NaN or infinite coordinate, or a box with min above max: not inserted
//   (Insert, Move and Remove answer false; Build skips it, with one report for the whole build);
// - a query box, point, radius or line with a NaN or infinite coordinate, a box with min
//   above max, a negative radius, a line whose end is negative or NaN: nothing is found.
// Defined answers, without a report: a point outside the root box is accepted (above); k = 0
// finds nothing and k above the count finds every item; a zero direction (a zero-length
// segment) is the point query along the line, hit at t = 0; removing an item that is not there
// answers false.
#pragma once

#include "crt_Assert.h"
#include "omi_OctreeItem.h"
#include "omi_OctreePool.h"
#include "vlt_Export.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <new>
#include <span>
#include <utility>
#include <vector>

// One answer of a nearest search: the distance from the query point to the item (zero inside a
// box item).
struct omi_OctreeNeighbour {
    int32_t id;
    double distance;
};

// The first item along a line: where the line enters it (0 when the line starts inside it).
struct omi_OctreeHit {
    bool found;
    int32_t id;
    double t;
};

template <class Item>
class omi_OctreeLineTraversal;

namespace vlt::detail {

inline constexpr char omi_OctreePath[] = "include/omi_Octree";

// Levels of the Morton code: 21 bits per axis fill 63 bits.
inline constexpr unsigned omi_OctreeLevels = 21;

// Deep enough for a depth-first walk: each level leaves at most seven siblings behind.
inline constexpr unsigned omi_OctreeStackSize = 8 * (omi_OctreeLevels + 1);

struct omi_CodedIndex {
    uint64_t code;
    uint32_t index;
};

// Sorts by code (radix sort: a bulk build of millions of items spends most of its time here).
VLTUTL_API void omi_SortByCode(std::vector<omi_CodedIndex>& keyed);

// Spreads the low 21 bits of v to every third bit.
inline uint64_t omi_SpreadBits(uint64_t v) {
    v &= 0x1FFFFFu;
    v = (v | v << 32) & 0x1F00000000FFFFull;
    v = (v | v << 16) & 0x1F0000FF0000FFull;
    v = (v | v << 8) & 0x100F00F00F00F00Full;
    v = (v | v << 4) & 0x10C30C30C30C30C3ull;
    v = (v | v << 2) & 0x1249249249249249ull;
    return v;
}

// The octant of a code at a depth: x in bit 0, y in bit 1, z in bit 2.
inline unsigned omi_Octant(uint64_t code, unsigned depth) {
    return static_cast<unsigned>(code >> (3 * (omi_OctreeLevels - 1 - depth))) & 7u;
}

// Where a point falls on the root box's grid of 2^21 steps per axis, clamped into the box.
// Insertion, removal and the bulk build all descend by this code, so that they agree on the
// octant of every item to the last bit.
class omi_OctreeGrid {
public:
    explicit omi_OctreeGrid(const omi_OctreeBox& root) : origin(root.min) {
        for (int axis = 0; axis < 3; ++axis) {
            // Halves first: max - min of finite coordinates may overflow.
            const double halfExtent = 0.5 * root.max.coord[axis] - 0.5 * root.min.coord[axis];
            scale[axis] = halfExtent > 0 ? kSteps / halfExtent : 0.0;
        }
    }

    uint64_t Code(const omi_OctreePoint& p) const {
        uint64_t code = 0;
        for (int axis = 0; axis < 3; ++axis) {
            double step = (0.5 * p.coord[axis] - 0.5 * origin.coord[axis]) * scale[axis];
            step = step > 0 ? step : 0.0; // also turns NaN from 0 times infinity into 0
            step = step < kSteps - 1 ? step : kSteps - 1;
            code |= omi_SpreadBits(static_cast<uint64_t>(step)) << axis;
        }
        return code;
    }

private:
    static constexpr double kSteps = 1u << omi_OctreeLevels;
    omi_OctreePoint origin;
    double scale[3];
};

// Whether the octant's leaf is shared with a neighbouring octant.
inline bool omi_IsShared(const omi_OctreeCell& cell, unsigned octant) {
    const omi_OctreeLink link = cell.child[octant];
    return (octant > 0 && cell.child[octant - 1] == link) ||
           (octant < 7 && cell.child[octant + 1] == link);
}

// How far ahead a bulk build asks for the items it gathers in code order.
inline constexpr std::size_t omi_GatherAhead = 16;

// Nearest-first order with ties by id, so that a query has one answer.
inline bool omi_Closer(const omi_OctreeNeighbour& a, const omi_OctreeNeighbour& b) {
    return a.distance < b.distance || (a.distance == b.distance && a.id < b.id);
}

} // namespace vlt::detail

template <class Item>
class omi_Octree {
public:
    static constexpr unsigned DefaultBucketSize = 48;
    static constexpr unsigned MaxDepth = vlt::detail::omi_OctreeLevels;

    explicit omi_Octree(const omi_OctreeBox& rootBox, unsigned bucketSize = DefaultBucketSize,
                        unsigned depthLimit = MaxDepth);

    // False when the item was refused (reported).
    bool Insert(const Item& item);
    // Removes one item equal to `item` (id and geometry, as inserted); false when none is.
    bool Remove(const Item& item);
    // Removes `from` and inserts `to`; false, and nothing changes, when `from` is not there or
    // `to` is refused.
    bool Move(const Item& from, const Item& to);
    void Clear();
    // Replaces the content by these items, sorted along a Morton curve and built bottom-up
    // into full leaves: far faster than inserting them one by one, and denser.
    void Build(const Item* items, std::size_t count);
    void Build(const std::vector<Item>& items) { Build(items.data(), items.size()); }

    std::size_t Count() const { return count; }
    const omi_OctreeBox& RootBox() const { return rootBox; }
    unsigned BucketSize() const { return bucketSize; }
    unsigned DepthLimit() const { return depthLimit; }
    // The bytes the octree holds, its pool included.
    std::size_t MemoryBytes() const { return sizeof(*this) + pool.Bytes(); }

    // Calls visit(item) for every item whose geometry meets the closed box, in no set order.
    template <class Visit>
    void VisitInBox(const omi_OctreeBox& box, Visit&& visit) const;
    // Calls visit(item) for every item whose geometry contains the point.
    template <class Visit>
    void VisitContaining(const omi_OctreePoint& point, Visit&& visit) const {
        VisitInBox(omi_OctreeBox{point, point}, visit);
    }
    // Calls visit(item) for every item at most `radius` from the centre.
    template <class Visit>
    void VisitWithinRadius(const omi_OctreePoint& centre, double radius, Visit&& visit) const;
    // The k items nearest to the point, nearest first, ties by id. The second form reuses the
    // caller's vector, which a loop of queries should do.
    std::vector<omi_OctreeNeighbour> FindNearest(const omi_OctreePoint& point,
                                                 std::size_t k) const {
        std::vector<omi_OctreeNeighbour> nearest;
        FindNearest(point, k, nearest);
        return nearest;
    }
    void FindNearest(const omi_OctreePoint& point, std::size_t k,
                     std::vector<omi_OctreeNeighbour>& nearest) const;
    // Calls visit(leaf, items, enter, exit) for each non-empty leaf whose bounds the line
    // crosses, in increasing order of `enter` (the first t in the leaf's bounds); the walk stops
    // when visit answers true. An item lies in one leaf only, and the bounds of leaves may
    // overlap, so an item of a later leaf can be crossed before one of an earlier leaf: a
    // search for the first hit goes on until the next leaf starts beyond its best hit, as
    // `FirstHit` does with `omi_OctreeLineTraversal::Clip`.
    template <class Visit>
    void TraverseLine(const omi_OctreeLine& line, Visit&& visit) const;
    // The item the line enters first, ties by id.
    omi_OctreeHit FirstHit(const omi_OctreeLine& line) const;

    // The root (none while the octree was never filled) and the pool, for walks of one's own.
    omi_OctreeLink Root() const { return root; }
    const omi_OctreePool<Item>& Pool() const { return pool; }

private:
    const omi_OctreeBox& BoundsOf(omi_OctreeLink link) const {
        return vlt::detail::omi_IsLeafLink(link)
                   ? pool.Leaf(vlt::detail::omi_LinkIndex(link)).bounds
                   : pool.Cell(link).bounds;
    }
    // Asks for the bounds of every child at once, so that their cache misses overlap.
    void PrefetchChildren(const omi_OctreeCell& cell) const {
        vlt::detail::omi_ForEachChild(
            cell, [this](omi_OctreeLink child) { vlt::detail::omi_Prefetch(&BoundsOf(child)); });
    }
    uint64_t CodeOf(const Item& item) const { return grid.Code(vlt::detail::omi_CenterOf(item)); }
    bool Accept(const Item& item) const;
    void Append(uint32_t leaf, const Item& item);
    omi_OctreeLink Split(uint32_t leaf, unsigned depth);
    void Unshare(uint32_t cell, unsigned octant, unsigned depth);
    omi_OctreeLink ChildOrNewLeaf(uint32_t cell, unsigned octant);
    void Distribute(uint32_t cell, uint32_t leaf, unsigned depth);
    omi_OctreeLink BuildNode(const vlt::detail::omi_CodedIndex* keyed, std::size_t first,
                             std::size_t size, unsigned depth);

    omi_OctreeBox rootBox;
    unsigned bucketSize;
    unsigned depthLimit;
    vlt::detail::omi_OctreeGrid grid;
    omi_OctreeLink root = vlt::detail::omi_NoLink;
    std::size_t count = 0;
    omi_OctreePool<Item> pool;
};

using omi_PointOctree = omi_Octree<omi_OctreePointItem>;
using omi_BoxOctree = omi_Octree<omi_OctreeBoxItem>;

namespace vlt::detail {
inline omi_OctreeBox omi_ValidRootBox(const omi_OctreeBox& box) {
    const bool valid = omi_IsValid(box);
    CRT_CHECK(valid, "omi_IsValid(rootBox)", omi_OctreePath);
    return valid ? box : omi_OctreeBox{{{0, 0, 0}}, {{1, 1, 1}}};
}
} // namespace vlt::detail

template <class Item>
omi_Octree<Item>::omi_Octree(const omi_OctreeBox& rootBox_, unsigned bucketSize_,
                             unsigned depthLimit_)
    : rootBox(vlt::detail::omi_ValidRootBox(rootBox_)), bucketSize(bucketSize_),
      depthLimit(depthLimit_), grid(rootBox) {
    CRT_CHECK(bucketSize > 0, "bucketSize > 0", vlt::detail::omi_OctreePath);
    CRT_CHECK(depthLimit <= MaxDepth, "depthLimit <= MaxDepth", vlt::detail::omi_OctreePath);
    bucketSize = std::max(bucketSize, 1u);
    depthLimit = std::min(depthLimit, MaxDepth);
}

template <class Item>
bool omi_Octree<Item>::Accept(const Item& item) const {
    const bool valid = vlt::detail::omi_IsValid(item);
    CRT_CHECK(valid, "omi_IsValid(item)", vlt::detail::omi_OctreePath);
    return valid;
}

template <class Item>
bool omi_Octree<Item>::Insert(const Item& item) {
    using namespace vlt::detail;
    if (!Accept(item)) {
        return false;
    }
    const uint64_t code = CodeOf(item);
    const omi_OctreeBox bounds = omi_BoundsOf(item);
    if (root == omi_NoLink) {
        root = omi_LeafLink(pool.NewLeaf(0));
    }
    uint32_t parent = omi_NoLink;
    unsigned octant = 0;
    omi_OctreeLink link = root;
    for (unsigned depth = 0;;) {
        if (!omi_IsLeafLink(link)) {
            omi_Expand(pool.Cell(link).bounds, bounds);
            parent = link;
            octant = omi_Octant(code, depth++);
            link = ChildOrNewLeaf(parent, octant);
        } else if (pool.Leaf(omi_LinkIndex(link)).count < bucketSize || depth >= depthLimit) {
            Append(omi_LinkIndex(link), item);
            ++count;
            return true;
        } else if (parent != omi_NoLink && omi_IsShared(pool.Cell(parent), octant)) {
            Unshare(parent, octant, depth - 1);
            link = ChildOrNewLeaf(parent, octant);
        } else {
            link = Split(omi_LinkIndex(link), depth);
            (parent == omi_NoLink ? root : pool.Cell(parent).child[octant]) = link;
        }
    }
}

// The octant's child; an empty leaf is made for an octant that has none.
template <class Item>
omi_OctreeLink omi_Octree<Item>::ChildOrNewLeaf(uint32_t cell, unsigned octant) {
    if (pool.Cell(cell).child[octant] == vlt::detail::omi_NoLink) {
        const uint32_t made = pool.NewLeaf(0);
        pool.Cell(cell).child[octant] = vlt::detail::omi_LeafLink(made);
    }
    return pool.Cell(cell).child[octant];
}

template <class Item>
void omi_Octree<Item>::Append(uint32_t leafIndex, const Item& item) {
    pool.MakeRoom(leafIndex);
    omi_OctreeLeaf& leaf = pool.Leaf(leafIndex);
    Item* items = pool.ItemsOf(leaf);
    Item* at = items + leaf.count++;
    for (; at != items && vlt::detail::omi_XBefore(item, *(at - 1)); --at) {
        *at = *(at - 1);
    }
    *at = item;
    vlt::detail::omi_Expand(leaf.bounds, vlt::detail::omi_BoundsOf(item));
}

// Turns a full leaf into a cell whose octants share out its items.
template <class Item>
omi_OctreeLink omi_Octree<Item>::Split(uint32_t leaf, unsigned depth) {
    const uint32_t cell = pool.NewCell();
    pool.Cell(cell).bounds = pool.Leaf(leaf).bounds;
    Distribute(cell, leaf, depth);
    return cell;
}

// Gives each octant that shares the leaf at `octant` a leaf of its own.
template <class Item>
void omi_Octree<Item>::Unshare(uint32_t cell, unsigned octant, unsigned depth) {
    omi_OctreeLink* child = pool.Cell(cell).child;
    const omi_OctreeLink shared = child[octant];
    for (unsigned i = 0; i < 8; ++i) {
        child[i] = child[i] == shared ? vlt::detail::omi_NoLink : child[i];
    }
    Distribute(cell, vlt::detail::omi_LinkIndex(shared), depth);
}

// Moves the items of a leaf into the leaves of the cell's octants (made where missing), and
// frees the leaf.
template <class Item>
void omi_Octree<Item>::Distribute(uint32_t cell, uint32_t leaf, unsigned depth) {
    using namespace vlt::detail;
    const omi_OctreeLeaf old = pool.Leaf(leaf);
    for (uint32_t i = 0; i < old.count; ++i) {
        // A copy: appending may move the pool's items.
        const Item moved = pool.ItemsOf(old)[i];
        Append(omi_LinkIndex(ChildOrNewLeaf(cell, omi_Octant(CodeOf(moved), depth))), moved);
    }
    pool.FreeLeaf(leaf);
}

template <class Item>
bool omi_Octree<Item>::Remove(const Item& item) {
    using namespace vlt::detail;
    if (!Accept(item) || root == omi_NoLink) {
        return false;
    }
    const uint64_t code = CodeOf(item);
    omi_OctreeLink link = root;
    for (unsigned depth = 0; !omi_IsLeafLink(link); ++depth) {
        link = pool.Cell(link).child[omi_Octant(code, depth)];
        if (link == omi_NoLink) {
            return false;
        }
    }
    omi_OctreeLeaf& leaf = pool.Leaf(omi_LinkIndex(link));
    Item* items = pool.ItemsOf(leaf);
    Item* const end = items + leaf.count;
    Item* const found =
        std::find_if(items, end, [&item](const Item& held) { return omi_SameItem(held, item); });
    if (found == end) {
        return false;
    }
    std::copy(found + 1, end, found);
    --leaf.count;
    leaf.bounds = omi_EmptyBox();
    for (uint32_t i = 0; i < leaf.count; ++i) {
        omi_Expand(leaf.bounds, omi_BoundsOf(items[i]));
    }
    --count;
    return true;
}

template <class Item>
bool omi_Octree<Item>::Move(const Item& from, const Item& to) {
    return Accept(to) && Remove(from) && Insert(to);
}

template <class Item>
void omi_Octree<Item>::Clear() {
    pool.Clear();
    root = vlt::detail::omi_NoLink;
    count = 0;
}

template <class Item>
void omi_Octree<Item>::Build(const Item* items, std::size_t size) {
    using namespace vlt::detail;
    Clear();
    if (size > UINT32_MAX) {
        throw std::bad_alloc();
    }
    std::vector<omi_CodedIndex> keyed;
    keyed.reserve(size);
    for (std::size_t i = 0; i < size; ++i) {
        if (omi_IsValid(items[i])) {
            keyed.push_back({CodeOf(items[i]), static_cast<uint32_t>(i)});
        }
    }
    CRT_CHECK(keyed.size() == size, "omi_IsValid(items[i])", omi_OctreePath);
    if (keyed.empty()) {
        return;
    }
    omi_SortByCode(keyed);
    // Leaves take their items in code order, so the sorted items are the pool's item array.
    std::vector<Item> sorted;
    sorted.reserve(keyed.size());
    for (std::size_t i = 0; i < keyed.size(); ++i) {
        if (i + omi_GatherAhead < keyed.size()) {
            omi_Prefetch(&items[keyed[i + omi_GatherAhead].index]);
        }
        sorted.push_back(items[keyed[i].index]);
    }
    pool.AdoptItems(std::move(sorted));
    root = BuildNode(keyed.data(), 0, keyed.size(), 0);
    pool.Trim();
    count = keyed.size();
}

// The node over the `size` items from `first` on, of one octant at `depth`, sorted by code.
template <class Item>
omi_OctreeLink omi_Octree<Item>::BuildNode(const vlt::detail::omi_CodedIndex* keyed,
                                           std::size_t first, std::size_t size, unsigned depth) {
    using namespace vlt::detail;
    if (size <= bucketSize || depth >= depthLimit) {
        return omi_LeafLink(
            pool.NewLeafOver(static_cast<uint32_t>(first), static_cast<uint32_t>(size)));
    }
    // Neighbouring octants that together fit in a bucket share one leaf. The cell's leaves are
    // made before its subtrees, so that they lie side by side in the pool.
    struct Group {
        std::size_t from;
        std::size_t to;
        unsigned firstOctant;
        unsigned lastOctant;
        omi_OctreeLink link;
    };
    Group groups[8];
    unsigned groupCount = 0;
    const omi_CodedIndex* codes = keyed + first;
    for (std::size_t from = 0; from < size; from = groups[groupCount++].to) {
        Group& group = groups[groupCount];
        group = {from, from, omi_Octant(codes[from].code, depth), 0, omi_NoLink};
        for (std::size_t next = from; next < size; group.to = next) {
            const unsigned octant = omi_Octant(codes[next].code, depth);
            while (next < size && omi_Octant(codes[next].code, depth) == octant) {
                ++next;
            }
            if (group.to != from && next - from > bucketSize) {
                break;
            }
            group.lastOctant = octant;
        }
    }
    for (unsigned i = 0; i < groupCount; ++i) {
        if (groups[i].to - groups[i].from <= bucketSize) {
            groups[i].link =
                BuildNode(keyed, first + groups[i].from, groups[i].to - groups[i].from, depth + 1);
        }
    }
    for (unsigned i = 0; i < groupCount; ++i) {
        if (groups[i].link == omi_NoLink) {
            groups[i].link =
                BuildNode(keyed, first + groups[i].from, groups[i].to - groups[i].from, depth + 1);
        }
    }
    const uint32_t cell = pool.NewCell();
    omi_OctreeBox bounds = omi_EmptyBox();
    for (unsigned i = 0; i < groupCount; ++i) {
        for (unsigned octant = groups[i].firstOctant; octant <= groups[i].lastOctant; ++octant) {
            pool.Cell(cell).child[octant] = groups[i].link;
        }
        omi_Expand(bounds, BoundsOf(groups[i].link));
    }
    pool.Cell(cell).bounds = bounds;
    return cell;
}

template <class Item>
template <class Visit>
void omi_Octree<Item>::VisitInBox(const omi_OctreeBox& box, Visit&& visit) const {
    using namespace vlt::detail;
    const bool valid = omi_IsValid(box);
    CRT_CHECK(valid, "omi_IsValid(box)", omi_OctreePath);
    if (!valid || root == omi_NoLink || !omi_Overlaps(BoundsOf(root), box)) {
        return;
    }
    omi_OctreeLink stack[omi_OctreeStackSize];
    unsigned top = 0;
    stack[top++] = root;
    while (top != 0) {
        const omi_OctreeLink link = stack[--top];
        if (omi_IsLeafLink(link)) {
            const omi_OctreeLeaf& leaf = pool.Leaf(omi_LinkIndex(link));
            const Item* items = pool.ItemsOf(leaf);
            // A leaf wholly inside the box needs no test per item.
            const bool inside = omi_Encloses(box, leaf.bounds);
            for (uint32_t i = 0; i < leaf.count && omi_MinX(items[i]) <= box.max.coord[0]; ++i) {
                if (inside || omi_Overlaps(items[i], box)) {
                    visit(items[i]);
                }
            }
            continue;
        }
        PrefetchChildren(pool.Cell(link));
        omi_ForEachChild(pool.Cell(link), [&](omi_OctreeLink child) {
            if (omi_Overlaps(BoundsOf(child), box)) {
                stack[top++] = child;
            }
        });
    }
}

template <class Item>
template <class Visit>
void omi_Octree<Item>::VisitWithinRadius(const omi_OctreePoint& centre, double radius,
                                         Visit&& visit) const {
    using namespace vlt::detail;
    const bool valid = omi_IsFinite(centre) && radius >= 0 && std::isfinite(radius);
    CRT_CHECK(valid, "omi_IsFinite(centre) && radius >= 0", omi_OctreePath);
    if (!valid || root == omi_NoLink) {
        return;
    }
    const double limit = radius * radius;
    omi_OctreeLink stack[omi_OctreeStackSize];
    unsigned top = 0;
    stack[top++] = root;
    while (top != 0) {
        const omi_OctreeLink link = stack[--top];
        if (omi_DistanceSquared(BoundsOf(link), centre) > limit) {
            continue;
        }
        if (omi_IsLeafLink(link)) {
            const omi_OctreeLeaf& leaf = pool.Leaf(omi_LinkIndex(link));
            const Item* items = pool.ItemsOf(leaf);
            const double beyond = centre.coord[0] + radius;
            for (uint32_t i = 0; i < leaf.count && omi_MinX(items[i]) <= beyond; ++i) {
                if (omi_DistanceSquared(items[i], centre) <= limit) {
                    visit(items[i]);
                }
            }
            continue;
        }
        PrefetchChildren(pool.Cell(link));
        omi_ForEachChild(pool.Cell(link), [&](omi_OctreeLink child) { stack[top++] = child; });
    }
}

template <class Item>
void omi_Octree<Item>::FindNearest(const omi_OctreePoint& point, std::size_t k,
                                   std::vector<omi_OctreeNeighbour>& nearest) const {
    using namespace vlt::detail;
    nearest.clear();
    const bool valid = omi_IsFinite(point);
    CRT_CHECK(valid, "omi_IsFinite(point)", omi_OctreePath);
    if (!valid || k == 0 || root == omi_NoLink) {
        return;
    }
    // `nearest` is a max-heap of squared distances while the search runs.
    struct Pending {
        omi_OctreeLink link;
        double distance;
    };
    Pending stack[omi_OctreeStackSize];
    unsigned top = 0;
    stack[top++] = {root, omi_DistanceSquared(BoundsOf(root), point)};
    while (top != 0) {
        const Pending next = stack[--top];
        if (nearest.size() == k && next.distance > nearest.front().distance) {
            continue;
        }
        if (omi_IsLeafLink(next.link)) {
            const omi_OctreeLeaf& leaf = pool.Leaf(omi_LinkIndex(next.link));
            const Item* items = pool.ItemsOf(leaf);
            for (uint32_t i = 0; i < leaf.count; ++i) {
                const omi_OctreeNeighbour found{items[i].id, omi_DistanceSquared(items[i], point)};
                if (nearest.size() < k) {
                    nearest.push_back(found);
                    std::push_heap(nearest.begin(), nearest.end(), omi_Closer);
                } else if (omi_Closer(found, nearest.front())) {
                    std::pop_heap(nearest.begin(), nearest.end(), omi_Closer);
                    nearest.back() = found;
                    std::push_heap(nearest.begin(), nearest.end(), omi_Closer);
                }
            }
            continue;
        }
        // Farthest child pushed first, so that the nearest is searched first and shrinks the
        // radius that prunes its siblings.
        const unsigned first = top;
        PrefetchChildren(pool.Cell(next.link));
        omi_ForEachChild(pool.Cell(next.link), [&](omi_OctreeLink child) {
            const Pending pending{child, omi_DistanceSquared(BoundsOf(child), point)};
            if (nearest.size() == k && pending.distance > nearest.front().distance) {
                return;
            }
            unsigned at = top++;
            for (; at > first && stack[at - 1].distance < pending.distance; --at) {
                stack[at] = stack[at - 1];
            }
            stack[at] = pending;
        });
    }
    std::sort_heap(nearest.begin(), nearest.end(), omi_Closer);
    for (omi_OctreeNeighbour& neighbour : nearest) {
        neighbour.distance = std::sqrt(neighbour.distance);
    }
}

// The line traversal comes with the octree: its members below walk the tree with it.
#include "omi_OctreeLineTraversal.h"

template <class Item>
template <class Visit>
void omi_Octree<Item>::TraverseLine(const omi_OctreeLine& line, Visit&& visit) const {
    omi_OctreeLineTraversal<Item> walk(*this, line);
    for (walk.First(); !walk.IsDone(); walk.Next()) {
        if (visit(walk.CurrentLeaf(), walk.CurrentItems(), walk.CurrentEnter(),
                  walk.CurrentExit())) {
            return;
        }
    }
}

template <class Item>
omi_OctreeHit omi_Octree<Item>::FirstHit(const omi_OctreeLine& line) const {
    omi_OctreeHit best{false, 0, 0.0};
    omi_OctreeLineTraversal<Item> walk(*this, line);
    for (walk.First(); !walk.IsDone(); walk.Next()) {
        for (const Item& item : walk.CurrentItems()) {
            double enter;
            double exit;
            if (walk.Line().Crosses(vlt::detail::omi_BoundsOf(item), walk.Limit(), enter, exit) &&
                (!best.found || enter < best.t || (enter == best.t && item.id < best.id))) {
                best = {true, item.id, enter};
            }
        }
        if (best.found) {
            walk.Clip(best.t);
        }
    }
    return best;
}

extern template class VLTUTL_API omi_Octree<omi_OctreePointItem>;
extern template class VLTUTL_API omi_Octree<omi_OctreeBoxItem>;
