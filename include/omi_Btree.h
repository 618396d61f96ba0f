// Mutable ordered map from string keys to values, for the name tables of large models.
//
// An `omi_Btree<V>` is a B+-tree: the entries lie in leaves of up to 64, linked both ways in key
// order, and inner nodes of up to 64 separators route a search. Keys are byte strings ordered
// as `std::string` orders them (unsigned bytes, a prefix before its extensions); they are taken
// as `std::string_view`, so a `cow_String`, a `std::string` or a `const char*` finds an entry
// without a string being built.
//
// How keys are stored: every node is one allocation holding, per key, its first 8 bytes as a
// big-endian integer (the prefix), the key's offset and length in a byte arena at the end of the
// node, and (in leaves) its value in an array beside them. A search compares prefixes first, as
// integers in one contiguous array, and reads the arena only when two prefixes are equal. Key
// bytes are stored whole in the arena, so that an iterator reads a key as a view without
// copying it. A key longer than 256 bytes is held in a block of its own, which the arena points
// to. Inner nodes keep the shortest separator that tells their children apart, usually a few
// bytes. A leaf that falls below a quarter full merges with a neighbour when both fit in one.
//
// The tree owns its nodes, keys and values, and copying it copies all of them: it is not
// shared, holds no counters and takes no locks. It belongs to one thread at a time.
//
// Iterators are bidirectional (`begin()`/`end()`, `rbegin()`/`rend()`, `LowerBound`, `Find`,
// `PrefixRange`) and read each entry as a pair of the key, a `std::string_view` into the tree,
// and a reference to the value. They walk the leaves in place: any insertion or removal ends the
// validity of every iterator and of every key view taken from the tree; writing a value through
// an iterator or `Get` does not. The entries are made at each read, so the iterators' classic
// category is input: step back with `std::ranges::prev`, not `std::prev`.
//
// Edge cases, all defined:
// - The empty key is a key like any other and sorts first. Keys may hold NUL bytes (a view or a
//   `cow_String` carries them; a `const char*` ends at its first NUL).
// - A key of any length is accepted; one above 256 bytes costs an allocation of its own. An
//   allocation that fails throws `std::bad_alloc` with the tree unchanged, with one exception: a
//   split that must store a separator above 256 bytes (neighbouring keys that share their first
//   256 bytes) may fail half done, and the tree is then fit only to be cleared or destroyed.
// - A tree more than 48 levels deep, which would take far more keys than memory holds, refuses
//   the insertion after an assertion report.
// - `Remove` of an absent key answers false and changes nothing; `ConstGet` and `Get` of an
//   absent key answer null; `Insert` of a present key replaces its value and answers false.
// - Reading, advancing or stepping back from an iterator past either end is reported through
//   the assertion handler; the iterator stays where it is, and a read sees an empty key and the
//   tree's own default value.
#pragma once

#include "cow_String.h"
#include "crt_Assert.h"
#include "vlt_Export.h"
#include "vlt_Iterator.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <ranges>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace vlt::detail {
inline constexpr char omi_BtreePath[] = "include/omi_Btree";

// Keys longer than this are held in a block of their own; an arena is at least four times as
// large, so that the halves of a split node always take one more key.
inline constexpr unsigned omi_BtreeInlineLimit = 256;
// The length recorded for a held key: the arena holds the block's address.
inline constexpr uint16_t omi_BtreeHeld = 0xFFFF;
inline constexpr unsigned omi_BtreeSlots = 64;

// A key with its prefix, computed once per search.
struct omi_BtreeProbe {
    explicit omi_BtreeProbe(std::string_view k) : key(k), prefix(PrefixOf(k)) {}

    // The first 8 bytes, zero padded, as an integer that orders as the bytes do.
    static uint64_t PrefixOf(std::string_view k) {
        unsigned char bytes[8] = {};
        if (!k.empty()) {
            std::memcpy(bytes, k.data(), k.size() < 8 ? k.size() : 8);
        }
        uint64_t value;
        std::memcpy(&value, bytes, 8);
        if constexpr (std::endian::native == std::endian::little) {
            value = __builtin_bswap64(value);
        }
        return value;
    }

    std::string_view key;
    uint64_t prefix;
};

// The keys of one node: prefixes, offsets and lengths in parallel arrays, bytes in the arena.
// Removing a key leaves a hole in the arena, which the next insertion that needs the room
// closes by compacting.
template <unsigned ArenaBytes>
class omi_BtreeKeys {
    static_assert(ArenaBytes >= 4 * omi_BtreeInlineLimit && ArenaBytes < omi_BtreeHeld);

public:
    omi_BtreeKeys() = default;
    // Held keys get blocks of their own.
    omi_BtreeKeys(const omi_BtreeKeys& other);
    omi_BtreeKeys& operator=(const omi_BtreeKeys&) = delete;
    ~omi_BtreeKeys() { ReleaseHeld(); }

    unsigned Count() const { return count; }
    std::string_view Key(unsigned i) const {
        const char* at = arena + offset[i];
        if (length[i] != omi_BtreeHeld) [[likely]] {
            return {at, length[i]};
        }
        return HeldKey(at);
    }
    std::string_view Last() const { return Key(count - 1u); }

    // The first position whose key is not below the probe; found tells whether it is equal.
    unsigned LowerBound(const omi_BtreeProbe& probe, bool& found) const {
        unsigned low = FirstPrefixNotBelow(probe.prefix);
        found = false;
        if (low == count || prefix[low] != probe.prefix) {
            return low;
        }
        unsigned high = FirstPrefixAbove(probe.prefix, low);
        while (low < high) {
            const unsigned middle = (low + high) / 2;
            const int order = CompareTail(probe, middle);
            if (order > 0) {
                low = middle + 1;
            } else {
                found = found || order == 0;
                high = middle;
            }
        }
        return low;
    }
    // The first position whose key is above the probe: the child of an inner node to descend.
    unsigned UpperBound(const omi_BtreeProbe& probe) const {
        unsigned low = FirstPrefixNotBelow(probe.prefix);
        if (low == count || prefix[low] != probe.prefix) {
            return low;
        }
        unsigned high = FirstPrefixAbove(probe.prefix, low);
        while (low < high) {
            const unsigned middle = (low + high) / 2;
            if (CompareTail(probe, middle) >= 0) {
                low = middle + 1;
            } else {
                high = middle;
            }
        }
        return low;
    }

    bool HasRoomFor(std::size_t keyLength) const {
        return count < omi_BtreeSlots && live + ArenaCost(keyLength) <= ArenaBytes;
    }
    // Whether other's keys would fit beside these, with extra bytes more.
    bool CanTake(const omi_BtreeKeys& other, unsigned extraKeys, std::size_t extraBytes) const {
        return count + other.count + extraKeys <= omi_BtreeSlots &&
               live + other.live + extraBytes <= ArenaBytes;
    }
    // Below a quarter of either capacity: worth merging with a neighbour.
    bool IsSparse() const { return 4 * count < omi_BtreeSlots || 4 * live < ArenaBytes; }

    // The caller has checked HasRoomFor(key.size()).
    void Insert(unsigned at, std::string_view key);
    void Erase(unsigned at);
    // Appends keys [from, Count()) to the end of other, which has the room; these keep [0, from).
    void MoveTailTo(unsigned from, omi_BtreeKeys& other);
    // Where to split a full node so that both halves have room for a key: the first position of
    // the upper half, balancing the bytes, within [lowest, highest].
    unsigned SplitPoint(unsigned lowest, unsigned highest) const;
    // The bytes of the blocks of held keys.
    std::size_t HeldBytes() const;

    static unsigned ArenaCost(std::size_t keyLength) {
        return keyLength > omi_BtreeInlineLimit ? unsigned{sizeof(char*)}
                                                : static_cast<unsigned>(keyLength);
    }

private:
    static std::string_view HeldKey(const char* at) {
        const char* block;
        std::memcpy(&block, at, sizeof block);
        std::size_t n;
        std::memcpy(&n, block, sizeof n);
        return {block + sizeof n, n};
    }
    unsigned CostAt(unsigned i) const {
        return length[i] == omi_BtreeHeld ? unsigned{sizeof(char*)} : length[i];
    }
    // Branch-free over the contiguous prefixes: the loop runs log2(count) times whatever the data.
    unsigned FirstPrefixNotBelow(uint64_t p) const {
        const uint64_t* first = prefix;
        unsigned n = count;
        while (n > 1) {
            const unsigned half = n / 2;
            first = first[half] < p ? first + half : first;
            n -= half;
        }
        return static_cast<unsigned>(first - prefix) + (n == 1 && *first < p ? 1u : 0u);
    }
    unsigned FirstPrefixAbove(uint64_t p, unsigned from) const {
        while (from < count && prefix[from] == p) {
            ++from;
        }
        return from;
    }
    // The order of the probe against key i, whose prefix is equal: the bytes past the first 8,
    // then the lengths (a shorter key's padding is zeros, so equal prefixes with one key shorter
    // than 8 bytes mean that it starts the other).
    int CompareTail(const omi_BtreeProbe& probe, unsigned i) const {
        const std::string_view key = Key(i);
        const std::size_t common = std::min(probe.key.size(), key.size());
        if (common > 8) {
            const int order = std::memcmp(probe.key.data() + 8, key.data() + 8, common - 8);
            if (order != 0) {
                return order < 0 ? -1 : 1;
            }
        }
        return probe.key.size() < key.size() ? -1 : (probe.key.size() > key.size() ? 1 : 0);
    }
    void Compact();
    void ReleaseHeld();

    uint64_t prefix[omi_BtreeSlots];
    uint16_t offset[omi_BtreeSlots];
    uint16_t length[omi_BtreeSlots];
    uint16_t count = 0;
    // Arena bytes written (holes included), and those still in use.
    uint16_t used = 0;
    uint16_t live = 0;
    char arena[ArenaBytes];
};

using omi_BtreeLeafKeys = omi_BtreeKeys<1536>;
using omi_BtreeInnerKeys = omi_BtreeKeys<1024>;
// Instantiated in the library (omni/impl/omi_Btree.cpp): declared before the nodes use them.
extern template class VLTUTL_API omi_BtreeKeys<1536>;
extern template class VLTUTL_API omi_BtreeKeys<1024>;

// Separators and children: child i holds the keys below separator i and not below separator
// i - 1. The levels below are counted by the tree, so a child is untyped.
struct omi_BtreeInner {
    omi_BtreeInnerKeys keys;
    void* children[omi_BtreeSlots + 1];

    // Separator at position at, and child after it; the caller has checked HasRoomFor.
    void InsertAt(unsigned at, std::string_view separator, void* child) {
        keys.Insert(at, separator);
        std::copy_backward(children + at + 1, children + keys.Count(), children + keys.Count() + 1);
        children[at + 1] = child;
    }
    // Removes separator at and the child after it.
    void EraseAt(unsigned at) {
        std::copy(children + at + 2, children + keys.Count() + 1, children + at + 1);
        keys.Erase(at);
    }
};

template <class V>
struct omi_BtreeLeaf {
    omi_BtreeLeaf() = default;
    // The links are the copier's to set.
    omi_BtreeLeaf(const omi_BtreeLeaf& other) : keys(other.keys) {
        std::copy_n(other.values, other.keys.Count(), values);
    }
    omi_BtreeLeaf& operator=(const omi_BtreeLeaf&) = delete;

    void InsertAt(unsigned at, std::string_view key, const V& value) {
        const unsigned n = keys.Count();
        keys.Insert(at, key);
        std::move_backward(values + at, values + n, values + n + 1);
        values[at] = value;
    }
    // The value's resources go with it.
    void EraseAt(unsigned at) {
        const unsigned n = keys.Count();
        std::move(values + at + 1, values + n, values + at);
        values[n - 1] = V();
        keys.Erase(at);
    }
    // Appends entries [from, Count()) to the end of other.
    void MoveTailTo(unsigned from, omi_BtreeLeaf& other) {
        const unsigned n = keys.Count();
        const unsigned base = other.keys.Count();
        for (unsigned i = from; i < n; ++i) {
            other.values[base + i - from] = std::move(values[i]);
            values[i] = V();
        }
        keys.MoveTailTo(from, other.keys);
    }

    omi_BtreeLeaf* previous = nullptr;
    omi_BtreeLeaf* next = nullptr;
    omi_BtreeLeafKeys keys;
    V values[omi_BtreeSlots];
};

// The shortest prefix of upper that is above lower, where lower < upper: a separator that
// routes both keys as they are.
inline std::string_view omi_BtreeSeparator(std::string_view lower, std::string_view upper) {
    const std::size_t n = std::min(lower.size(), upper.size());
    std::size_t common = 0;
    while (common < n && lower[common] == upper[common]) {
        ++common;
    }
    return upper.substr(0, common + 1);
}

// The first leaf from leaf on that holds an entry, or null. A leaf is empty only when every
// neighbour it could merge with was full; the walks step over it.
template <class Leaf>
Leaf* omi_BtreeSkipForward(Leaf* leaf) {
    while (leaf != nullptr && leaf->keys.Count() == 0) {
        leaf = leaf->next;
    }
    return leaf;
}
template <class Leaf>
Leaf* omi_BtreeSkipBackward(Leaf* leaf) {
    while (leaf != nullptr && leaf->keys.Count() == 0) {
        leaf = leaf->previous;
    }
    return leaf;
}

template <class V, bool Writable>
class omi_BtreeCursor;
} // namespace vlt::detail

template <class V>
class omi_Btree;

namespace vlt::detail {
// Where an iterator stands: a leaf and a position in it; the end has no leaf. The tree is kept
// for stepping back from the end and for the value read after a misuse.
template <class V, bool Writable>
class omi_BtreeCursor {
    using Tree = std::conditional_t<Writable, omi_Btree<V>, const omi_Btree<V>>;
    using Leaf = std::conditional_t<Writable, omi_BtreeLeaf<V>, const omi_BtreeLeaf<V>>;
    using Value = std::conditional_t<Writable, V, const V>;

public:
    omi_BtreeCursor() = default;
    omi_BtreeCursor(Tree* t, Leaf* l, unsigned i) : tree(t), leaf(l), index(i) {}

    std::pair<std::string_view, Value&> Read() const {
        if (leaf == nullptr) [[unlikely]] {
            crt_Assert("leaf != 0", omi_BtreePath, __LINE__);
            return {std::string_view(), MissingValue()};
        }
        return {leaf->keys.Key(index), leaf->values[index]};
    }
    void Advance() {
        if (leaf == nullptr) [[unlikely]] {
            crt_Assert("leaf != 0", omi_BtreePath, __LINE__);
            return;
        }
        if (++index == leaf->keys.Count()) {
            leaf = omi_BtreeSkipForward(leaf->next);
            index = 0;
        }
    }
    void Retreat();
    bool operator==(const omi_BtreeCursor& other) const {
        return leaf == other.leaf && index == other.index;
    }

private:
    Value& MissingValue() const;

    Tree* tree = nullptr;
    Leaf* leaf = nullptr;
    unsigned index = 0;
};
} // namespace vlt::detail

template <class V>
class omi_Btree {
    using Leaf = vlt::detail::omi_BtreeLeaf<V>;
    using Inner = vlt::detail::omi_BtreeInner;
    using Keys = vlt::detail::omi_BtreeInnerKeys;
    using Probe = vlt::detail::omi_BtreeProbe;
    template <bool Writable>
    using Cursor = vlt::detail::omi_BtreeCursor<V, Writable>;

public:
    using key_type = std::string_view;
    using mapped_type = V;
    using size_type = std::size_t;
    using iterator = vlt::detail::vlt_ForwardIterator<Cursor<true>>;
    using const_iterator = vlt::detail::vlt_ForwardIterator<Cursor<false>>;
    using reverse_iterator = std::reverse_iterator<iterator>;
    using const_reverse_iterator = std::reverse_iterator<const_iterator>;

    omi_Btree() = default;
    omi_Btree(const omi_Btree& other);
    omi_Btree(omi_Btree&& other) noexcept { Swap(other); }
    omi_Btree& operator=(const omi_Btree& other);
    omi_Btree& operator=(omi_Btree&& other) noexcept {
        Swap(other);
        return *this;
    }
    ~omi_Btree() { Clear(); }

    // A new deep copy, owned by the caller.
    omi_Btree* Copy() const { return new omi_Btree(*this); }

    // Stores value under key, replacing any; true when the key is new.
    bool Insert(std::string_view key, const V& value);
    // True when the key was present.
    bool Remove(std::string_view key);
    void Clear();

    bool IsMember(std::string_view key) const { return ConstGet(key) != nullptr; }
    // The value stored under key, or null when the key is absent.
    const V* ConstGet(std::string_view key) const;
    V* Get(std::string_view key) { return const_cast<V*>(std::as_const(*this).ConstGet(key)); }

    std::size_t Count() const { return count; }
    size_type size() const { return count; }
    bool empty() const { return count == 0; }

    const_iterator begin() const { return At<false>(First(), 0); }
    const_iterator end() const { return At<false>(nullptr, 0); }
    const_iterator cbegin() const { return begin(); }
    const_iterator cend() const { return end(); }
    iterator begin() { return At<true>(First(), 0); }
    iterator end() { return At<true>(nullptr, 0); }
    const_reverse_iterator rbegin() const { return const_reverse_iterator(end()); }
    const_reverse_iterator rend() const { return const_reverse_iterator(begin()); }
    reverse_iterator rbegin() { return reverse_iterator(end()); }
    reverse_iterator rend() { return reverse_iterator(begin()); }

    // The first entry whose key is not below key; end() when there is none.
    const_iterator LowerBound(std::string_view key) const {
        const auto [leaf, at] = LowerBoundPlace(key);
        return At<false>(leaf, at);
    }
    iterator LowerBound(std::string_view key) {
        const auto [leaf, at] = LowerBoundPlace(key);
        return At<true>(const_cast<Leaf*>(leaf), at);
    }
    // The entry of key, or end().
    const_iterator Find(std::string_view key) const { return FindFrom(*this, key); }
    iterator Find(std::string_view key) { return FindFrom(*this, key); }
    // The entries whose keys start with prefix, in key order; every entry for an empty prefix.
    std::ranges::subrange<const_iterator> PrefixRange(std::string_view prefix) const {
        return {LowerBound(prefix), PrefixEnd(*this, prefix)};
    }
    std::ranges::subrange<iterator> PrefixRange(std::string_view prefix) {
        return {LowerBound(prefix), PrefixEnd(*this, prefix)};
    }

    // The bytes the tree holds on the heap: its nodes and the blocks of long keys, without the
    // values' own resources.
    std::size_t MemoryBytes() const;
    // Inner levels above the leaves (0 for a single leaf).
    unsigned Height() const { return height; }

private:
    friend class vlt::detail::omi_BtreeCursor<V, false>;
    friend class vlt::detail::omi_BtreeCursor<V, true>;

    // The inner nodes on the way down and the child taken at each.
    struct Path {
        static constexpr unsigned kDepth = 48;
        Inner* nodes[kDepth];
        unsigned slots[kDepth];
    };

    template <bool Writable>
    auto At(const Leaf* leaf, unsigned at) const {
        using Tree = std::conditional_t<Writable, omi_Btree, const omi_Btree>;
        using L = std::conditional_t<Writable, Leaf, const Leaf>;
        auto* self = const_cast<Tree*>(this);
        return vlt::detail::vlt_ForwardIterator<Cursor<Writable>>(
            Cursor<Writable>(self, const_cast<L*>(leaf), at));
    }
    template <class Self>
    static auto FindFrom(Self& self, std::string_view key) {
        auto it = self.LowerBound(key);
        return it != self.end() && (*it).first == key ? it : self.end();
    }
    // The first entry past every key that starts with prefix.
    template <class Self>
    static auto PrefixEnd(Self& self, std::string_view prefix) {
        std::string past(prefix);
        while (!past.empty() && static_cast<unsigned char>(past.back()) == 0xFF) {
            past.pop_back();
        }
        if (past.empty()) {
            return self.end();
        }
        past.back() = static_cast<char>(static_cast<unsigned char>(past.back()) + 1);
        return self.LowerBound(past);
    }

    const Leaf* First() const;
    const Leaf* Last() const;
    std::pair<const Leaf*, unsigned> LowerBoundPlace(std::string_view key) const;
    Leaf* Descend(const Probe& probe, Path& path) const;
    // Makes room for key at position at of a full leaf; answers the leaf and position it goes to.
    // Inner nodes made ahead of a split.
    struct Spares {
        Spares(const Path& path, unsigned height);
        Inner* Take() { return nodes[--taken].release(); }

        std::unique_ptr<Inner> nodes[Path::kDepth + 1];
        unsigned taken = 0;
    };

    std::pair<Leaf*, unsigned> SplitLeaf(Path& path, Leaf* leaf, unsigned at, std::string_view key);
    // Hands separator and the new node after the child at level down to the parent there.
    void AddSeparator(Path& path, unsigned level, std::string_view separator, void* child,
                      Spares& spares);
    bool OnRightEdge(const Path& path, unsigned level) const;
    void MergeLeaf(Path& path, Leaf* leaf);
    void MergeInner(Path& path, unsigned level);
    void Swap(omi_Btree& other) noexcept {
        std::swap(root, other.root);
        std::swap(height, other.height);
        std::swap(count, other.count);
    }
    static void Destroy(void* node, unsigned levels);
    static void* CopyNode(const void* node, unsigned levels, Leaf*& lastLeaf);

    void* root = nullptr;
    unsigned height = 0;
    std::size_t count = 0;
    // Read through an iterator that stands nowhere.
    V missing{};
};

namespace vlt::detail {

template <class V, bool Writable>
void omi_BtreeCursor<V, Writable>::Retreat() {
    if (leaf == nullptr) {
        Leaf* last = tree != nullptr ? const_cast<Leaf*>(tree->Last()) : nullptr;
        if (last == nullptr) {
            crt_Assert("tree is not empty", omi_BtreePath, __LINE__);
            return;
        }
        leaf = last;
        index = last->keys.Count() - 1u;
    } else if (index > 0) {
        --index;
    } else if (Leaf* before = omi_BtreeSkipBackward(leaf->previous); before != nullptr) {
        leaf = before;
        index = leaf->keys.Count() - 1u;
    } else {
        crt_Assert("not at the first entry", omi_BtreePath, __LINE__);
    }
}

template <class V, bool Writable>
auto omi_BtreeCursor<V, Writable>::MissingValue() const -> Value& {
    static V orphan{};
    return tree != nullptr ? tree->missing : orphan;
}

template <unsigned ArenaBytes>
omi_BtreeKeys<ArenaBytes>::omi_BtreeKeys(const omi_BtreeKeys& other)
    : count(other.count), used(other.used), live(other.live) {
    std::copy_n(other.prefix, count, prefix);
    std::copy_n(other.offset, count, offset);
    std::copy_n(other.length, count, length);
    std::memcpy(arena, other.arena, used);
    for (unsigned i = 0; i < count; ++i) {
        if (length[i] == omi_BtreeHeld) {
            // Blocks not yet copied are the other's: forget them should a copy fail.
            const std::string_view key = HeldKey(arena + offset[i]);
            char* block = nullptr;
            try {
                block = new char[sizeof(std::size_t) + key.size()];
            } catch (...) {
                count = static_cast<uint16_t>(i);
                ReleaseHeld();
                throw;
            }
            const std::size_t n = key.size();
            std::memcpy(block, &n, sizeof n);
            std::memcpy(block + sizeof n, key.data(), n);
            std::memcpy(arena + offset[i], &block, sizeof block);
        }
    }
}

template <unsigned ArenaBytes>
void omi_BtreeKeys<ArenaBytes>::ReleaseHeld() {
    for (unsigned i = 0; i < count; ++i) {
        if (length[i] == omi_BtreeHeld) {
            char* block;
            std::memcpy(&block, arena + offset[i], sizeof block);
            delete[] block;
        }
    }
}

template <unsigned ArenaBytes>
void omi_BtreeKeys<ArenaBytes>::Insert(unsigned at, std::string_view key) {
    const unsigned cost = ArenaCost(key.size());
    char* block = nullptr;
    if (key.size() > omi_BtreeInlineLimit) {
        block = new char[sizeof(std::size_t) + key.size()];
        const std::size_t n = key.size();
        std::memcpy(block, &n, sizeof n);
        std::memcpy(block + sizeof n, key.data(), n);
    }
    if (used + cost > ArenaBytes) {
        Compact();
    }
    if (block != nullptr) {
        std::memcpy(arena + used, &block, sizeof block);
    } else if (cost != 0) {
        std::memcpy(arena + used, key.data(), cost);
    }
    std::copy_backward(prefix + at, prefix + count, prefix + count + 1);
    std::copy_backward(offset + at, offset + count, offset + count + 1);
    std::copy_backward(length + at, length + count, length + count + 1);
    prefix[at] = omi_BtreeProbe::PrefixOf(key);
    offset[at] = used;
    length[at] = block != nullptr ? omi_BtreeHeld : static_cast<uint16_t>(cost);
    used = static_cast<uint16_t>(used + cost);
    live = static_cast<uint16_t>(live + cost);
    ++count;
}

template <unsigned ArenaBytes>
void omi_BtreeKeys<ArenaBytes>::Erase(unsigned at) {
    if (length[at] == omi_BtreeHeld) {
        char* block;
        std::memcpy(&block, arena + offset[at], sizeof block);
        delete[] block;
    }
    live = static_cast<uint16_t>(live - CostAt(at));
    std::copy(prefix + at + 1, prefix + count, prefix + at);
    std::copy(offset + at + 1, offset + count, offset + at);
    std::copy(length + at + 1, length + count, length + at);
    if (--count == 0) {
        used = 0;
    }
}

template <unsigned ArenaBytes>
void omi_BtreeKeys<ArenaBytes>::MoveTailTo(unsigned from, omi_BtreeKeys& other) {
    unsigned moved = 0;
    for (unsigned i = from; i < count; ++i) {
        moved += CostAt(i);
    }
    if (other.used + moved > ArenaBytes) {
        other.Compact();
    }
    for (unsigned i = from; i < count; ++i) {
        const unsigned cost = CostAt(i);
        const unsigned j = other.count++;
        std::memcpy(other.arena + other.used, arena + offset[i], cost);
        other.prefix[j] = prefix[i];
        other.offset[j] = other.used;
        other.length[j] = length[i];
        other.used = static_cast<uint16_t>(other.used + cost);
    }
    other.live = static_cast<uint16_t>(other.live + moved);
    live = static_cast<uint16_t>(live - moved);
    count = static_cast<uint16_t>(from);
    if (count == 0) {
        used = 0;
    }
}

template <unsigned ArenaBytes>
void omi_BtreeKeys<ArenaBytes>::Compact() {
    char packed[ArenaBytes];
    unsigned end = 0;
    for (unsigned i = 0; i < count; ++i) {
        const unsigned cost = CostAt(i);
        std::memcpy(packed + end, arena + offset[i], cost);
        offset[i] = static_cast<uint16_t>(end);
        end += cost;
    }
    std::memcpy(arena, packed, end);
    used = static_cast<uint16_t>(end);
}

template <unsigned ArenaBytes>
unsigned omi_BtreeKeys<ArenaBytes>::SplitPoint(unsigned lowest, unsigned highest) const {
    unsigned before = 0;
    unsigned at = 0;
    while (at < count && 2 * before < live) {
        before += CostAt(at++);
    }
    return std::clamp(at, lowest, highest);
}

template <unsigned ArenaBytes>
std::size_t omi_BtreeKeys<ArenaBytes>::HeldBytes() const {
    std::size_t bytes = 0;
    for (unsigned i = 0; i < count; ++i) {
        if (length[i] == omi_BtreeHeld) {
            bytes += sizeof(std::size_t) + Key(i).size();
        }
    }
    return bytes;
}

} // namespace vlt::detail

template <class V>
omi_Btree<V>::omi_Btree(const omi_Btree& other) : count(other.count) {
    if (other.root != nullptr) {
        Leaf* lastLeaf = nullptr;
        root = CopyNode(other.root, other.height, lastLeaf);
        height = other.height;
    }
}

// The copy is made before the old tree goes, so assigning a tree to itself keeps it.
template <class V>
omi_Btree<V>& omi_Btree<V>::operator=(const omi_Btree& other) {
    omi_Btree copy(other);
    Swap(copy);
    return *this;
}

// A failed allocation frees what was copied so far: the children not yet reached are null.
template <class V>
void* omi_Btree<V>::CopyNode(const void* node, unsigned levels, Leaf*& lastLeaf) {
    if (levels == 0) {
        Leaf* leaf = new Leaf(*static_cast<const Leaf*>(node));
        leaf->previous = lastLeaf;
        if (lastLeaf != nullptr) {
            lastLeaf->next = leaf;
        }
        lastLeaf = leaf;
        return leaf;
    }
    const Inner& source = *static_cast<const Inner*>(node);
    Inner* inner = new Inner{source.keys, {}};
    try {
        for (unsigned i = 0; i <= source.keys.Count(); ++i) {
            inner->children[i] = CopyNode(source.children[i], levels - 1, lastLeaf);
        }
    } catch (...) {
        Destroy(inner, levels);
        throw;
    }
    return inner;
}

template <class V>
void omi_Btree<V>::Destroy(void* node, unsigned levels) {
    if (node == nullptr) {
        return;
    }
    if (levels == 0) {
        delete static_cast<Leaf*>(node);
        return;
    }
    Inner* inner = static_cast<Inner*>(node);
    for (unsigned i = 0; i <= inner->keys.Count(); ++i) {
        Destroy(inner->children[i], levels - 1);
    }
    delete inner;
}

template <class V>
void omi_Btree<V>::Clear() {
    Destroy(root, height);
    root = nullptr;
    height = 0;
    count = 0;
}

template <class V>
const typename omi_Btree<V>::Leaf* omi_Btree<V>::First() const {
    const void* node = root;
    for (unsigned level = 0; node != nullptr && level < height; ++level) {
        node = static_cast<const Inner*>(node)->children[0];
    }
    return vlt::detail::omi_BtreeSkipForward(static_cast<const Leaf*>(node));
}

template <class V>
const typename omi_Btree<V>::Leaf* omi_Btree<V>::Last() const {
    const void* node = root;
    for (unsigned level = 0; node != nullptr && level < height; ++level) {
        const Inner* inner = static_cast<const Inner*>(node);
        node = inner->children[inner->keys.Count()];
    }
    return vlt::detail::omi_BtreeSkipBackward(static_cast<const Leaf*>(node));
}

template <class V>
typename omi_Btree<V>::Leaf* omi_Btree<V>::Descend(const Probe& probe, Path& path) const {
    void* node = root;
    for (unsigned level = 0; level < height; ++level) {
        Inner* inner = static_cast<Inner*>(node);
        const unsigned slot = inner->keys.UpperBound(probe);
        path.nodes[level] = inner;
        path.slots[level] = slot;
        node = inner->children[slot];
    }
    return static_cast<Leaf*>(node);
}

template <class V>
const V* omi_Btree<V>::ConstGet(std::string_view key) const {
    if (root == nullptr) {
        return nullptr;
    }
    const Probe probe(key);
    const void* node = root;
    for (unsigned level = 0; level < height; ++level) {
        const Inner* inner = static_cast<const Inner*>(node);
        node = inner->children[inner->keys.UpperBound(probe)];
    }
    const Leaf* leaf = static_cast<const Leaf*>(node);
    bool found;
    const unsigned at = leaf->keys.LowerBound(probe, found);
    return found ? &leaf->values[at] : nullptr;
}

template <class V>
std::pair<const typename omi_Btree<V>::Leaf*, unsigned>
omi_Btree<V>::LowerBoundPlace(std::string_view key) const {
    if (root == nullptr) {
        return {nullptr, 0};
    }
    const Probe probe(key);
    Path path;
    const Leaf* leaf = Descend(probe, path);
    bool found;
    const unsigned at = leaf->keys.LowerBound(probe, found);
    if (at < leaf->keys.Count()) {
        return {leaf, at};
    }
    // Past the last key of its leaf: the next leaf starts at or above the separator, above key.
    return {vlt::detail::omi_BtreeSkipForward(leaf->next), 0};
}

template <class V>
bool omi_Btree<V>::Insert(std::string_view key, const V& value) {
    if (root == nullptr) {
        root = new Leaf;
    }
    const Probe probe(key);
    Path path;
    Leaf* leaf = Descend(probe, path);
    bool found;
    unsigned at = leaf->keys.LowerBound(probe, found);
    if (found) {
        leaf->values[at] = value;
        return false;
    }
    if (!leaf->keys.HasRoomFor(key.size())) {
        if (height == Path::kDepth) {
            crt_Assert("height < Path::kDepth", vlt::detail::omi_BtreePath, __LINE__);
            return false;
        }
        std::tie(leaf, at) = SplitLeaf(path, leaf, at, key);
    }
    leaf->InsertAt(at, key, value);
    ++count;
    return true;
}

// Takes every node that a split may need before anything changes, so that a failed allocation
// leaves the tree as it was: one inner node for each full level above the leaf, and a new root
// when every level is full.
template <class V>
omi_Btree<V>::Spares::Spares(const Path& path, unsigned height) {
    unsigned level = height;
    while (level > 0 &&
           !path.nodes[level - 1]->keys.HasRoomFor(vlt::detail::omi_BtreeInlineLimit)) {
        nodes[taken++] = std::make_unique<Inner>();
        --level;
    }
    if (level == 0) {
        nodes[taken++] = std::make_unique<Inner>();
    }
}

// A leaf full at the right edge of the tree keeps its entries and the key starts a new leaf,
// so that keys arriving in ascending order fill their leaves.
template <class V>
std::pair<typename omi_Btree<V>::Leaf*, unsigned>
omi_Btree<V>::SplitLeaf(Path& path, Leaf* leaf, unsigned at, std::string_view key) {
    auto made = std::make_unique<Leaf>();
    Spares spares(path, height);
    Leaf* right = made.release();
    const unsigned n = leaf->keys.Count();
    const unsigned middle =
        (at == n && leaf->next == nullptr) ? n : leaf->keys.SplitPoint(1, n - 1);
    leaf->MoveTailTo(middle, *right);
    right->previous = leaf;
    right->next = leaf->next;
    if (right->next != nullptr) {
        right->next->previous = right;
    }
    leaf->next = right;
    // The key goes right when it falls between the halves, and then starts the upper half.
    const std::string_view upperFirst = at == middle ? key : right->keys.Key(0);
    AddSeparator(path, height, vlt::detail::omi_BtreeSeparator(leaf->keys.Last(), upperFirst),
                 right, spares);
    return at < middle ? std::pair{leaf, at} : std::pair{right, at - middle};
}

template <class V>
bool omi_Btree<V>::OnRightEdge(const Path& path, unsigned level) const {
    for (unsigned up = 0; up < level; ++up) {
        if (path.slots[up] != path.nodes[up]->keys.Count()) {
            return false;
        }
    }
    return true;
}

// A full parent splits around a middle separator, which goes up in turn; at the right edge the
// last separator goes up, so that ascending keys fill inner nodes too.
template <class V>
void omi_Btree<V>::AddSeparator(Path& path, unsigned level, std::string_view separator, void* child,
                                Spares& spares) {
    constexpr std::size_t omi_BtreeInlineLimitCopy = vlt::detail::omi_BtreeInlineLimit;
    char carried[2][omi_BtreeInlineLimitCopy];
    std::string heldCarried[2];
    int turn = 0;
    for (;;) {
        if (level == 0) {
            Inner* top = spares.Take();
            top->keys.Insert(0, separator);
            top->children[0] = root;
            top->children[1] = child;
            root = top;
            ++height;
            return;
        }
        Inner* parent = path.nodes[level - 1];
        const unsigned slot = path.slots[level - 1];
        if (parent->keys.HasRoomFor(separator.size())) {
            parent->InsertAt(slot, separator, child);
            return;
        }
        const unsigned n = parent->keys.Count();
        const unsigned middle =
            (slot == n && OnRightEdge(path, level - 1)) ? n - 1 : parent->keys.SplitPoint(1, n - 2);
        Inner* right = spares.Take();
        parent->keys.MoveTailTo(middle + 1, right->keys);
        std::copy(parent->children + middle + 1, parent->children + n + 1, right->children);
        // The separator going up is copied out before it leaves the parent, into the buffer that
        // the one coming from below does not use.
        const std::string_view leaving = parent->keys.Key(middle);
        std::string_view up;
        if (leaving.size() <= omi_BtreeInlineLimitCopy) {
            std::copy(leaving.begin(), leaving.end(), carried[turn]);
            up = std::string_view(carried[turn], leaving.size());
        } else {
            heldCarried[turn].assign(leaving);
            up = heldCarried[turn];
        }
        parent->keys.Erase(middle);
        if (slot <= middle) {
            parent->InsertAt(slot, separator, child);
        } else {
            right->InsertAt(slot - middle - 1, separator, child);
        }
        separator = up;
        turn = 1 - turn;
        child = right;
        --level;
    }
}

template <class V>
bool omi_Btree<V>::Remove(std::string_view key) {
    if (root == nullptr) {
        return false;
    }
    const Probe probe(key);
    Path path;
    Leaf* leaf = Descend(probe, path);
    bool found;
    const unsigned at = leaf->keys.LowerBound(probe, found);
    if (!found) {
        return false;
    }
    leaf->EraseAt(at);
    if (--count == 0) {
        Clear();
    } else if (height > 0 && leaf->keys.IsSparse()) {
        MergeLeaf(path, leaf);
    }
    return true;
}

// Merges a sparse leaf with its right neighbour under the same parent, or else its left one,
// when the two fit in one leaf; the parent may then become sparse in turn.
template <class V>
void omi_Btree<V>::MergeLeaf(Path& path, Leaf* leaf) {
    Inner* parent = path.nodes[height - 1];
    const unsigned slot = path.slots[height - 1];
    unsigned separator;
    Leaf* left;
    Leaf* right;
    if (slot < parent->keys.Count() &&
        leaf->keys.CanTake(static_cast<Leaf*>(parent->children[slot + 1])->keys, 0, 0)) {
        separator = slot;
        left = leaf;
        right = static_cast<Leaf*>(parent->children[slot + 1]);
    } else if (slot > 0 &&
               static_cast<Leaf*>(parent->children[slot - 1])->keys.CanTake(leaf->keys, 0, 0)) {
        separator = slot - 1;
        left = static_cast<Leaf*>(parent->children[slot - 1]);
        right = leaf;
    } else {
        return;
    }
    right->MoveTailTo(0, *left);
    left->next = right->next;
    if (left->next != nullptr) {
        left->next->previous = left;
    }
    delete right;
    parent->EraseAt(separator);
    MergeInner(path, height - 1);
}

// The inner node at level after it lost a child: the root gives way to its only child; a sparse
// node merges with a neighbour, taking the parent's separator between them.
template <class V>
void omi_Btree<V>::MergeInner(Path& path, unsigned level) {
    for (;; --level) {
        Inner* node = path.nodes[level];
        if (level == 0) {
            while (height > 0 && static_cast<Inner*>(root)->keys.Count() == 0) {
                Inner* top = static_cast<Inner*>(root);
                root = top->children[0];
                --height;
                delete top;
            }
            return;
        }
        if (!node->keys.IsSparse()) {
            return;
        }
        Inner* parent = path.nodes[level - 1];
        const unsigned slot = path.slots[level - 1];
        unsigned separator;
        if (slot < parent->keys.Count() &&
            node->keys.CanTake(static_cast<Inner*>(parent->children[slot + 1])->keys, 1,
                               Keys::ArenaCost(parent->keys.Key(slot).size()))) {
            separator = slot;
        } else if (slot > 0 &&
                   static_cast<Inner*>(parent->children[slot - 1])
                       ->keys.CanTake(node->keys, 1,
                                      Keys::ArenaCost(parent->keys.Key(slot - 1).size()))) {
            separator = slot - 1;
        } else {
            return;
        }
        Inner* left = static_cast<Inner*>(parent->children[separator]);
        Inner* right = static_cast<Inner*>(parent->children[separator + 1]);
        const unsigned n = left->keys.Count();
        left->keys.Insert(n, parent->keys.Key(separator));
        right->keys.MoveTailTo(0, left->keys);
        std::copy(right->children, right->children + (left->keys.Count() - n),
                  left->children + n + 1);
        delete right;
        parent->EraseAt(separator);
    }
}

template <class V>
std::size_t omi_Btree<V>::MemoryBytes() const {
    std::size_t bytes = 0;
    // Every node, level by level: inner nodes through a walk of their own, leaves by their links.
    struct Walk {
        static std::size_t InnerBytes(const void* node, unsigned levels) {
            if (levels == 0) {
                return 0;
            }
            const auto* inner = static_cast<const vlt::detail::omi_BtreeInner*>(node);
            std::size_t sum = sizeof *inner + inner->keys.HeldBytes();
            for (unsigned i = 0; i <= inner->keys.Count(); ++i) {
                sum += InnerBytes(inner->children[i], levels - 1);
            }
            return sum;
        }
    };
    if (root != nullptr) {
        bytes += Walk::InnerBytes(root, height);
        for (const Leaf* leaf = First(); leaf != nullptr; leaf = leaf->next) {
            bytes += sizeof *leaf + leaf->keys.HeldBytes();
        }
    }
    return bytes;
}

// The library's instances: declared here, with the library's export attribute, so that clients
// link them instead of instantiating their own; defined in omni/impl/omi_Btree.cpp.
#define VLT_OMI_BTREE_DECLARE(V)                                                                   \
    extern template class VLTUTL_API vlt::detail::omi_BtreeCursor<V, false>;                       \
    extern template class VLTUTL_API vlt::detail::omi_BtreeCursor<V, true>;                        \
    extern template class VLTUTL_API omi_Btree<V>
#define VLT_OMI_BTREE_DEFINE(V)                                                                    \
    template class omi_Btree<V>;                                                                   \
    template class vlt::detail::omi_BtreeCursor<V, false>;                                         \
    template class vlt::detail::omi_BtreeCursor<V, true>

VLT_OMI_BTREE_DECLARE(int);
VLT_OMI_BTREE_DECLARE(unsigned);
VLT_OMI_BTREE_DECLARE(double);
VLT_OMI_BTREE_DECLARE(void*);
VLT_OMI_BTREE_DECLARE(cow_String);
