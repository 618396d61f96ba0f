// Ordered map from keys to values: a digital search tree with shared, reference-counted nodes.
//
// Each node holds one entry and two links. The path from the root to a key is decided by the
// key's own bits (its branch bits), never by ordering comparisons: descent only tests keys for
// equality. A `cow_Map<K, V>` owns its size and one link to the root node; every node owns its
// key, its value and the links to its two children. Links are `cow_COW` handles, so a copied map
// shares every node with its source, and a write copies the nodes on the path from the root to
// the entry written while every other subtree stays shared. Reads never copy.
//
// `cow_ConstMapIterator` walks a snapshot in tree order (fast, order unspecified to users);
// `cow_ConstMapSortedIt` walks it sorted by key. `cow_MapUtils` lists keys and values.
//
// `begin()`/`end()` walk the map itself in the same tree order, reading each entry as a pair of
// its key and value. Those of a const map copy nothing; those of a non-const map hand out
// writable values and make each shared node private when the walk reaches it, so that one walk
// un-shares the map once.
//
// Counters are plain integers: maps that share nodes belong to one thread at a time.
//
// After a broken precondition has been reported the operation stops safely: a lookup of an
// absent key sees a value-initialised value, an iterator used before First() is at its end.
#pragma once

#include "cow_1DArray.h"
#include "cow_CountedHld.h"
#include "cow_FixedArray.h"
#include "cow_List.h"
#include "cow_String.h"
#include "crt_Assert.h"
#include "vlt_Export.h"
#include "vlt_Iterator.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <type_traits>
#include <utility>
#include <vector>

namespace vlt::detail {
inline constexpr char cow_MapPath[] = "include/cow_Map";

// The branch bit of a key at each depth of the tree (the root is depth 0).
template <class K>
class cow_MapBranchBits;

// Integer keys: bit (depth mod 32), counting from the least significant bit.
template <class K>
requires(std::is_integral_v<K> && sizeof(K) == 4) class cow_MapBranchBits<K> {
public:
    explicit cow_MapBranchBits(K key) : bits(static_cast<uint32_t>(key)) {}
    unsigned operator()(uint32_t depth) const { return (bits >> (depth % 32)) & 1u; }

private:
    uint32_t bits;
};

// String keys take their bits alternately from the front and the back of the text (first byte,
// last byte, second byte, second-to-last byte, ...), the lowest bit of each byte; past the
// length every bit is 0. The empty key reads its terminating 0 at depth 0. A key of n bytes thus
// has n + 1 bits of its own, and keys that agree in all of them continue along one 0-branch
// chain: deliberate, large maps need keys long enough to tell them apart.
template <>
class cow_MapBranchBits<cow_String> {
public:
    explicit cow_MapBranchBits(const cow_String& key)
        : text(reinterpret_cast<const unsigned char*>(key.c_str())), length(key.Length()) {}
    unsigned operator()(uint32_t depth) const {
        if (depth > length) {
            return 0;
        }
        const uint32_t index = depth % 2 == 0 ? depth / 2 : length - 1 - (depth - 1) / 2;
        return text[index] & 1u;
    }

private:
    const unsigned char* text;
    uint32_t length;
};

// Lets the tests reach the tree's shape and the checks that guard against an inconsistent map.
template <class K, class V>
struct cow_MapInternals;
} // namespace vlt::detail

template <class K, class V>
class cow_Map;
template <class K, class V>
class cow_ConstMapIterator;

// One entry and its two children; child[b] is the b-branch link, empty when there is no such
// child. Making a shared node private copies key and value and shares both children.
template <class K, class V>
struct cow_MapNode {
    using Link = cow_COW<cow_MapNode, cow_Direct<cow_MapNode>>;

    // The new node's empty links share the counter of `empty`, the empty link the node is about
    // to fill, so that a leaf costs no counter allocations of its own.
    cow_MapNode(const K& k, const V& v, const Link& empty)
        : key(k), value(v), child{empty, empty} {}
    cow_MapNode(const cow_MapNode&) = default;
    cow_MapNode& operator=(const cow_MapNode&) = delete;
    ~cow_MapNode();

    // Releases the subtree at `link`, when `link` is its last holder, one node at a time: each
    // node goes while its 1-branch child waits in `pending` and its 0-branch child is held by
    // `link` itself, so its own destructor finds nothing to release.
    static void Dismantle(Link& link, std::vector<Link>& pending) {
        while (link.HasValue() && link.References() == 1) {
            const cow_MapNode& node = *link;
            if (node.child[1].HasValue()) {
                pending.push_back(node.child[1]);
            }
            const Link zero(node.child[0]);
            link = zero;
        }
    }

    K key;
    V value;
    Link child[2];
};

// Dropping the last reference to a deep tree (string keys that agree in all their bits form long
// chains) must not recurse once per level, so the subtrees this node holds alone are dismantled
// here iteratively.
template <class K, class V>
cow_MapNode<K, V>::~cow_MapNode() {
    const auto holdsAlone = [](const Link& link) {
        return link.HasValue() && link.References() == 1;
    };
    if (!holdsAlone(child[0]) && !holdsAlone(child[1])) {
        return;
    }
    std::vector<Link> pending;
    Dismantle(child[0], pending);
    Dismantle(child[1], pending);
    while (!pending.empty()) {
        Link next(pending.back());
        pending.pop_back();
        Dismantle(next, pending);
    }
}

namespace vlt::detail {
// Where a standard iterator of a map stands: a node in tree order (the order of
// `cow_ConstMapIterator`), with the 1-branch subtrees still to visit waiting on a stack.
// A writable cursor makes each node private on arrival, through the link that holds it.
template <class K, class V, bool Writable>
class cow_MapCursor {
    using Node = std::conditional_t<Writable, cow_MapNode<K, V>, const cow_MapNode<K, V>>;
    using Link = std::conditional_t<Writable, typename cow_MapNode<K, V>::Link,
                                    const typename cow_MapNode<K, V>::Link>;

public:
    cow_MapCursor() = default;
    explicit cow_MapCursor(Link& root) : node(Reach(root)) {}

    vlt_Entry<K, std::conditional_t<Writable, V, const V>> Read() const {
        return {node->key, node->value};
    }
    void Advance() {
        if (node->child[1].HasValue()) {
            pending.push_back(&node->child[1]);
        }
        if (node->child[0].HasValue()) {
            node = Reach(node->child[0]);
        } else if (!pending.empty()) {
            node = Reach(*pending.back());
            pending.pop_back();
        } else {
            node = nullptr;
        }
    }
    // The pending stack follows from the node: comparing it would add nothing.
    bool operator==(const cow_MapCursor& other) const { return node == other.node; }

private:
    static Node* Reach(Link& link) { return vlt_ReachNode<Writable>(link); }

    Node* node = nullptr;
    std::vector<Link*> pending;
};
} // namespace vlt::detail

template <class K, class V>
class cow_Map {
public:
    using Node = cow_MapNode<K, V>;
    using Link = typename Node::Link;
    using key_type = K;
    using mapped_type = V;
    using size_type = std::size_t;
    using iterator = vlt::detail::vlt_ForwardIterator<vlt::detail::cow_MapCursor<K, V, true>>;
    using const_iterator =
        vlt::detail::vlt_ForwardIterator<vlt::detail::cow_MapCursor<K, V, false>>;

    cow_Map() : root(static_cast<Node*>(nullptr)) {}
    // Inserted in the order given: a repeated key keeps its last value, as Insert does.
    cow_Map(std::initializer_list<std::pair<K, V>> entries) : cow_Map() {
        for (const auto& [key, value] : entries) {
            Insert(key, value);
        }
    }
    cow_Map(const cow_Map&) = default;
    cow_Map& operator=(const cow_Map&) = default;
    ~cow_Map() = default;

    uint32_t Size() const { return entryCount; }
    size_type size() const { return entryCount; }
    bool empty() const { return entryCount == 0; }

    const_iterator begin() const {
        return const_iterator(vlt::detail::cow_MapCursor<K, V, false>(root));
    }
    const_iterator end() const { return {}; }
    const_iterator cbegin() const { return begin(); }
    const_iterator cend() const { return end(); }
    iterator begin() { return iterator(vlt::detail::cow_MapCursor<K, V, true>(root)); }
    iterator end() { return {}; }

    bool IsMember(const K& key) const { return Find(key) != nullptr; }
    // Adds the entry or replaces the value of an existing key (whose stored key is kept). Always
    // true, deliberately: callers cannot tell an addition from a replacement.
    bool Insert(const K& key, const V& value);
    // False, leaving the map untouched and unshared, when the key is absent.
    bool Remove(const K& key);
    const V& ConstGet(const K& key) const;
    // The writable value with the path to it made private. Never inserts.
    V& Get(const K& key);

private:
    friend class cow_ConstMapIterator<K, V>;
    friend struct vlt::detail::cow_MapInternals<K, V>;
    using Bits = vlt::detail::cow_MapBranchBits<K>;

    const Node* Find(const K& key) const;
    Link& PrivatePath(const K& key);
    static void Empty(Link& leaf);

    // What a read of an absent key sees after its report.
    static const V& Missing() {
        static const V missing{};
        return missing;
    }
    // What a write to an absent key reaches after its report: a fresh value each time, private to
    // the thread, so that the write lands nowhere.
    static V& Scratch() {
        thread_local V scratch{};
        scratch = V{};
        return scratch;
    }

    Link root;
    uint32_t entryCount = 0;
};

// Reads go through plain pointers: the map's own links keep every node alive meanwhile.
template <class K, class V>
const cow_MapNode<K, V>* cow_Map<K, V>::Find(const K& key) const {
    const Bits bits(key);
    const Node* node = root.ConstPtr();
    for (uint32_t depth = 0; node != nullptr && !(node->key == key); ++depth) {
        node = node->child[bits(depth)].ConstPtr();
    }
    return node;
}

// Walks with Get(), so every shared node on the way is copied and the path is private to this
// map. Returns the link that holds key, or the empty link where key belongs.
template <class K, class V>
typename cow_Map<K, V>::Link& cow_Map<K, V>::PrivatePath(const K& key) {
    const Bits bits(key);
    Link* link = &root;
    for (uint32_t depth = 0; link->HasValue(); ++depth) {
        Node& node = link->Get();
        if (node.key == key) {
            break;
        }
        link = &node.child[bits(depth)];
    }
    return *link;
}

// Storing through the raw-pointer assignment gives the filled link a fresh counter when its empty
// counter is shared (always, since the new node's children share it).
template <class K, class V>
bool cow_Map<K, V>::Insert(const K& key, const V& value) {
    Link& link = PrivatePath(key);
    if (link.HasValue()) {
        link.Get().value = value;
        return true;
    }
    link = new Node(key, value, link);
    ++entryCount;
    return true;
}

// Empties the link of a leaf by sharing one of the leaf's own empty links: no counter to
// allocate.
template <class K, class V>
void cow_Map<K, V>::Empty(Link& leaf) {
    const Link empty(leaf->child[0]);
    leaf = empty;
}

// The removed entry is overwritten by a descendant's (the 1-branch child's when there is one),
// whose place is filled in turn, down to a leaf, which goes. A descendant agrees with every
// branch bit on the path above it, so moving it up keeps the tree invariant.
template <class K, class V>
bool cow_Map<K, V>::Remove(const K& key) {
    if (!IsMember(key)) {
        return false;
    }
    Link* link = &PrivatePath(key);
    while ((*link)->child[0].HasValue() || (*link)->child[1].HasValue()) {
        Node& node = link->Get();
        Link& heir = node.child[1].HasValue() ? node.child[1] : node.child[0];
        node.key = heir->key;
        node.value = heir->value;
        link = &heir;
    }
    Empty(*link);
    --entryCount;
    return true;
}

template <class K, class V>
const V& cow_Map<K, V>::ConstGet(const K& key) const {
    const Node* node = Find(key);
    CRT_CHECK(node != nullptr, "x.HasValue()", vlt::detail::cow_MapPath);
    return node != nullptr ? node->value : Missing();
}

template <class K, class V>
V& cow_Map<K, V>::Get(const K& key) {
    Link& link = PrivatePath(key);
    CRT_CHECK(link.HasValue(), "x->HasValue()", vlt::detail::cow_MapPath);
    return link.HasValue() ? link.Get().value : Scratch();
}

// Iterates in tree order over a snapshot: it holds its own copy of the map, so later writes to
// the map un-share the nodes they touch and never reach the iterator. First() builds the array
// of the snapshot's nodes and must come before any access.
template <class K, class V>
class cow_ConstMapIterator {
public:
    using Node = cow_MapNode<K, V>;

    explicit cow_ConstMapIterator(const cow_Map<K, V>& iterated) : map(iterated) {}
    // The node array belongs to this iterator.
    cow_ConstMapIterator(const cow_ConstMapIterator&) = delete;
    cow_ConstMapIterator& operator=(const cow_ConstMapIterator&) = delete;
    ~cow_ConstMapIterator() { delete[] nodes; }

    void First() { Collect(); }
    bool IsDone() const { return !Started() || nodes[index] == nullptr; }
    void Next() {
        if (Started() && nodes[index] != nullptr) {
            ++index;
        }
    }
    const K& CurrentKey() const {
        const Node* node = Current();
        return node != nullptr ? node->key : MissingKey();
    }
    const V& CurrentValue() const {
        const Node* node = Current();
        return node != nullptr ? node->value : cow_Map<K, V>::Missing();
    }

protected:
    // Collects the snapshot's nodes in tree order, ends the array with a null entry and starts
    // over at index 0. Returns the number of entries stored.
    uint32_t Collect();

    cow_Map<K, V> map;
    uint32_t index = 0;
    const Node** nodes = nullptr;

private:
    bool Started() const {
        CRT_CHECK(nodes != nullptr, "nodes && \"Need to call First() on iterator.\"",
                  vlt::detail::cow_MapPath);
        return nodes != nullptr;
    }
    const Node* Current() const {
        if (!Started()) {
            return nullptr;
        }
        CRT_CHECK(nodes[index] != nullptr, "!IsDone()", vlt::detail::cow_MapPath);
        return nodes[index];
    }
    uint64_t Nodes(const typename Node::Link& link, uint32_t capacity);

    static const K& MissingKey() {
        static const K missing{};
        return missing;
    }
};

// Pre-order: each node, then its 0-branch subtree, then its 1-branch subtree. The pending
// 1-branch children wait on an explicit stack rather than in recursion, because string keys can
// build arbitrarily long 0-branch chains. Stores at most `capacity` nodes and counts them all.
template <class K, class V>
uint64_t cow_ConstMapIterator<K, V>::Nodes(const typename Node::Link& link, uint32_t capacity) {
    uint64_t count = 0;
    std::vector<const Node*> pending;
    for (const Node* node = link.ConstPtr(); node != nullptr || !pending.empty(); ++count) {
        if (node == nullptr) {
            node = pending.back();
            pending.pop_back();
        }
        if (count < capacity) {
            nodes[count] = node;
        }
        if (node->child[1].HasValue()) {
            pending.push_back(node->child[1].ConstPtr());
        }
        node = node->child[0].ConstPtr();
    }
    return count;
}

// A tree that disagrees with the size is reported and clipped to the size.
template <class K, class V>
uint32_t cow_ConstMapIterator<K, V>::Collect() {
    delete[] nodes;
    const uint32_t size = map.Size();
    nodes = new const Node*[static_cast<std::size_t>(size) + 1];
    const uint64_t count = Nodes(map.root, size);
    CRT_CHECK(count == map.Size(), "count == map.Size()", vlt::detail::cow_MapPath);
    const uint32_t stored = count < size ? static_cast<uint32_t>(count) : size;
    std::fill(nodes + stored, nodes + size + 1, nullptr);
    index = 0;
    return stored;
}

enum class cow_MapSortOrder { Ascending, Descending };

// Iterates over a snapshot in key order; the direction is chosen when the iterator is made.
// String keys compare in byte-wise unsigned order.
template <class K, class V>
class cow_ConstMapSortedIt : public cow_ConstMapIterator<K, V> {
    using Node = cow_MapNode<K, V>;
    using Compare = int (*)(const void*, const void*);

public:
    explicit cow_ConstMapSortedIt(const cow_Map<K, V>& iterated,
                                  cow_MapSortOrder order = cow_MapSortOrder::Ascending)
        : cow_ConstMapIterator<K, V>(iterated),
          compare(order == cow_MapSortOrder::Ascending ? &AscSortCmp : &DescSortCmp) {}

    void First() {
        const uint32_t count = this->Collect();
        std::qsort(this->nodes, count, sizeof(const Node*), compare);
    }

    // qsort's comparisons over two entries of the node array: -1 when the first key comes
    // first, 1 when the keys differ otherwise, 0 when they are equal.
    static int AscSortCmp(const void* a, const void* b) {
        return vlt::detail::cow_ListOrder(KeyOf(a), KeyOf(b));
    }
    static int DescSortCmp(const void* a, const void* b) {
        return vlt::detail::cow_ListOrder(KeyOf(b), KeyOf(a));
    }

private:
    static const K& KeyOf(const void* entry) {
        return (*static_cast<const Node* const*>(entry))->key;
    }

    Compare compare;
};

// Keys and values in tree order, so that the two lists correspond position by position.
template <class K, class V>
class cow_MapUtils {
public:
    static cow_List<K> cow_Keys(const cow_Map<K, V>& map) {
        return Listed<K>(map, [](const Iterator& it) { return &it.CurrentKey(); });
    }
    static cow_List<V> cow_Values(const cow_Map<K, V>& map) {
        return Listed<V>(map, [](const Iterator& it) { return &it.CurrentValue(); });
    }

private:
    using Iterator = cow_ConstMapIterator<K, V>;

    // The list is built from the back with Prepend: appending would walk the list each time.
    template <class T, class Pick>
    static cow_List<T> Listed(const cow_Map<K, V>& map, Pick pick) {
        std::vector<const T*> items;
        items.reserve(map.Size());
        Iterator it(map);
        for (it.First(); !it.IsDone(); it.Next()) {
            items.push_back(pick(it));
        }
        cow_List<T> list;
        for (auto item = items.rbegin(); item != items.rend(); ++item) {
            list.Prepend(**item);
        }
        return list;
    }
};

// The library's instances: declared here, with the library's export attribute, so that clients
// link them instead of instantiating their own; defined in cow/impl/ with the _DEFINE macros.
// The value type comes last because it may contain a comma.
#define VLT_COW_MAP_DECLARE(K, ...)                                                                \
    extern template struct VLTUTL_API cow_MapNode<K, __VA_ARGS__>;                                 \
    extern template class VLTUTL_API cow_Map<K, __VA_ARGS__>;                                      \
    extern template class VLTUTL_API cow_ConstMapIterator<K, __VA_ARGS__>
#define VLT_COW_MAP_DEFINE(K, ...)                                                                 \
    template struct cow_MapNode<K, __VA_ARGS__>;                                                   \
    template class cow_Map<K, __VA_ARGS__>;                                                        \
    template class cow_ConstMapIterator<K, __VA_ARGS__>
#define VLT_COW_MAP_SORTED_DECLARE(K, ...)                                                         \
    extern template class VLTUTL_API cow_ConstMapSortedIt<K, __VA_ARGS__>
#define VLT_COW_MAP_SORTED_DEFINE(K, ...) template class cow_ConstMapSortedIt<K, __VA_ARGS__>
#define VLT_COW_MAP_UTILS_DECLARE(K, ...)                                                          \
    extern template class VLTUTL_API cow_MapUtils<K, __VA_ARGS__>
#define VLT_COW_MAP_UTILS_DEFINE(K, ...) template class cow_MapUtils<K, __VA_ARGS__>

VLT_COW_MAP_DECLARE(cow_String, int);
VLT_COW_MAP_DECLARE(cow_String, unsigned int);
VLT_COW_MAP_DECLARE(cow_String, float);
VLT_COW_MAP_DECLARE(cow_String, cow_String);
VLT_COW_MAP_DECLARE(cow_String, cow_List<int>);
VLT_COW_MAP_DECLARE(cow_String, cow_List<cow_String>);
VLT_COW_MAP_DECLARE(cow_String, cow_FixedArray<double>);
VLT_COW_MAP_DECLARE(cow_String, cow_1DArrayList<int, int>);
VLT_COW_MAP_DECLARE(cow_String, cow_1DArrayList<float, float>);
VLT_COW_MAP_DECLARE(cow_String, cow_1DArrayList<cow_String, cow_String>);
VLT_COW_MAP_DECLARE(int, int);
VLT_COW_MAP_DECLARE(int, cow_String);
VLT_COW_MAP_DECLARE(int, cow_FixedArray<int>);
VLT_COW_MAP_DECLARE(int, cow_FixedArray<double>);
VLT_COW_MAP_DECLARE(int, cow_1DArrayList<int, int>);
VLT_COW_MAP_DECLARE(int, cow_1DArrayList<float, float>);
VLT_COW_MAP_DECLARE(int, cow_1DArrayList<cow_String, cow_String>);
VLT_COW_MAP_DECLARE(unsigned int, int);
VLT_COW_MAP_DECLARE(unsigned int, unsigned int);
VLT_COW_MAP_DECLARE(unsigned int, cow_String);

VLT_COW_MAP_SORTED_DECLARE(int, int);
VLT_COW_MAP_SORTED_DECLARE(cow_String, float);
VLT_COW_MAP_SORTED_DECLARE(cow_String, cow_String);
VLT_COW_MAP_SORTED_DECLARE(cow_String, cow_List<cow_String>);

VLT_COW_MAP_UTILS_DECLARE(cow_String, int);
VLT_COW_MAP_UTILS_DECLARE(cow_String, unsigned int);
VLT_COW_MAP_UTILS_DECLARE(cow_String, float);
VLT_COW_MAP_UTILS_DECLARE(cow_String, cow_String);
VLT_COW_MAP_UTILS_DECLARE(cow_String, cow_List<int>);
VLT_COW_MAP_UTILS_DECLARE(cow_String, cow_FixedArray<double>);
VLT_COW_MAP_UTILS_DECLARE(cow_String, cow_1DArrayList<int, int>);
VLT_COW_MAP_UTILS_DECLARE(cow_String, cow_1DArrayList<float, float>);
VLT_COW_MAP_UTILS_DECLARE(cow_String, cow_1DArrayList<cow_String, cow_String>);
VLT_COW_MAP_UTILS_DECLARE(int, cow_String);
VLT_COW_MAP_UTILS_DECLARE(int, cow_FixedArray<int>);
VLT_COW_MAP_UTILS_DECLARE(int, cow_FixedArray<double>);
VLT_COW_MAP_UTILS_DECLARE(int, cow_1DArrayList<int, int>);
VLT_COW_MAP_UTILS_DECLARE(int, cow_1DArrayList<float, float>);
VLT_COW_MAP_UTILS_DECLARE(int, cow_1DArrayList<cow_String, cow_String>);
VLT_COW_MAP_UTILS_DECLARE(unsigned int, int);
VLT_COW_MAP_UTILS_DECLARE(unsigned int, cow_String);
