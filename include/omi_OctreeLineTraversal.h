// The walk of an octree along a segment or a ray: the leaves whose bounds the line crosses, in
// increasing order of where the line enters them.
//
// `omi_OctreeLineTraversal<Item>` is a cursor in the house manner (First, Next, IsDone): it
// borrows the octree, which must outlive it and stay unmodified while it walks, and owns only
// its queue of cells and leaves still to enter (a few dozen entries for a ray through millions
// of items). Cells are entered by the slab test against their bounds and queued by their entry
// parameter, so the order holds even where bounds overlap; `Clip` shortens the line, which is
// how a search for the first hit stops as soon as no leaf ahead can hold a nearer one. A line
// with a NaN or infinite origin or direction, or a negative or NaN end, is reported and walks
// nothing. Not shared; no locks.
#pragma once

#include "omi_Octree.h"

#include <algorithm>
#include <span>
#include <vector>

template <class Item>
class omi_OctreeLineTraversal {
public:
    omi_OctreeLineTraversal(const omi_Octree<Item>& tree, const omi_OctreeLine& line);

    void First();
    void Next();
    bool IsDone() const { return current == nullptr; }

    const omi_OctreeLeaf& CurrentLeaf() const { return *current; }
    std::span<const Item> CurrentItems() const {
        return {tree->Pool().ItemsOf(*current), current->count};
    }
    // Where the line enters and leaves the current leaf's bounds.
    double CurrentEnter() const { return enter; }
    double CurrentExit() const { return exit; }

    // Leaves the line enters beyond `end` are no longer visited.
    void Clip(double end) { limit = end < limit ? end : limit; }
    double Limit() const { return limit; }
    const vlt::detail::omi_PreparedLine& Line() const { return line; }

private:
    struct Pending {
        double enter;
        double exit;
        omi_OctreeLink link;
        // The heap keeps the smallest entry on top.
        bool operator<(const Pending& other) const { return enter > other.enter; }
    };

    void Offer(omi_OctreeLink link);
    const omi_OctreeBox& BoundsOf(omi_OctreeLink link) const;

    const omi_Octree<Item>* tree;
    vlt::detail::omi_PreparedLine line;
    bool valid;
    double limit = 0;
    std::vector<Pending> queue;
    const omi_OctreeLeaf* current = nullptr;
    double enter = 0;
    double exit = 0;
};

namespace vlt::detail {
inline bool omi_IsValid(const omi_OctreeLine& line) {
    return omi_IsFinite(line.origin) && omi_IsFinite(line.direction) && line.end >= 0;
}
} // namespace vlt::detail

template <class Item>
omi_OctreeLineTraversal<Item>::omi_OctreeLineTraversal(const omi_Octree<Item>& tree_,
                                                       const omi_OctreeLine& line_)
    : tree(&tree_), line(line_), valid(vlt::detail::omi_IsValid(line_)) {
    CRT_CHECK(valid, "omi_IsValid(line)", vlt::detail::omi_OctreePath);
}

template <class Item>
void omi_OctreeLineTraversal<Item>::First() {
    queue.clear();
    current = nullptr;
    limit = line.end;
    if (valid && tree->Root() != vlt::detail::omi_NoLink) {
        Offer(tree->Root());
        Next();
    }
}

// Enters queued nodes, nearest first, until one is a leaf with items.
template <class Item>
void omi_OctreeLineTraversal<Item>::Next() {
    using namespace vlt::detail;
    current = nullptr;
    while (!queue.empty() && queue.front().enter <= limit) {
        std::pop_heap(queue.begin(), queue.end());
        const Pending next = queue.back();
        queue.pop_back();
        if (omi_IsLeafLink(next.link)) {
            current = &tree->Pool().Leaf(omi_LinkIndex(next.link));
            enter = next.enter;
            exit = next.exit;
            return;
        }
        omi_ForEachChild(tree->Pool().Cell(next.link),
                         [this](omi_OctreeLink child) { Offer(child); });
    }
}

template <class Item>
void omi_OctreeLineTraversal<Item>::Offer(omi_OctreeLink link) {
    using namespace vlt::detail;
    if (omi_IsLeafLink(link) && tree->Pool().Leaf(omi_LinkIndex(link)).count == 0) {
        return;
    }
    double entry;
    double leaving;
    if (line.MayCross(BoundsOf(link), limit, entry, leaving)) {
        queue.push_back({entry, leaving, link});
        std::push_heap(queue.begin(), queue.end());
    }
}

template <class Item>
const omi_OctreeBox& omi_OctreeLineTraversal<Item>::BoundsOf(omi_OctreeLink link) const {
    using namespace vlt::detail;
    return omi_IsLeafLink(link) ? tree->Pool().Leaf(omi_LinkIndex(link)).bounds
                                : tree->Pool().Cell(link).bounds;
}
