// Ordered dictionary kept as a height-balanced binary search tree of shared nodes.
//
// A `cow_Btree<K, V>` owns a heap handle to its root node, its size and one value of its own.
// Every node owns its key, its value and heap handles to its two children; the handles are
// `cow_COW`, so subtrees are shared between trees copied from one another. Copying a tree copies
// the root node alone. A write (insert, remove, writable lookup) makes private the nodes on the
// path it walks and the nodes a rotation moves; every other subtree stays shared. Reads never
// copy.
//
// Rebalancing makes single rotations only, and the balance test counts an absent child and a
// leaf alike: both are deliberate, and clients rely on the shapes they give. The tree is
// therefore only loosely balanced, though its height stays logarithmic in practice.
//
// An iterator walks the tree it was made from in place, in ascending or descending key order;
// changing the tree invalidates it. The standard iterators (`begin()`/`end()`) walk in ascending
// order and read each entry as a pair of its key and value: those of a const tree copy nothing,
// those of a non-const tree hand out writable values and make each shared node private when the
// walk reaches it. Counters are plain integers: trees that share nodes belong
// to one thread at a time.
//
// After a broken precondition has been reported the operation stops safely: a lookup of an
// absent key, or a read from an iterator that has ended, sees a default key and the tree's own
// value.
#pragma once

#include "cow_1DArray.h"
#include "cow_BtreeBlock.h"
#include "cow_CountedHld.h"
#include "cow_String.h"
#include "crt_Assert.h"
#include "vlt_Export.h"
#include "vlt_Iterator.h"

#include <compare>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <type_traits>
#include <vector>

namespace vlt::detail {
inline constexpr char cow_BtreePath[] = "include/cow_Btree";

// Which side a key goes to from a node: negative for the smaller side, 0 for this node.
// Integers compare directly rather than by the sign of a wrapping difference.
template <class K>
int cow_BtreeOrder(const K& key, const K& nodeKey) {
    const auto order = key <=> nodeKey;
    return order < 0 ? -1 : (order > 0 ? 1 : 0);
}

// A hint to start loading p; null is allowed. The empty statement marks the hint as an effect:
// without it the compiler may judge a function of loads and hints pure, and drop its calls.
inline void cow_BtreePrefetch(const void* p) {
#if defined(__GNUC__)
    __builtin_prefetch(p);
    __asm__ volatile("" : : "r"(p));
#else
    static_cast<void>(p);
#endif
}

// The bytes a comparison with key reads: a string's shared text, or the key itself.
template <class K>
const void* cow_BtreeKeyBytes(const K& key) {
    return &key;
}
inline const void* cow_BtreeKeyBytes(const cow_String& key) {
    return key.c_str();
}

// Lets the tests reach the root and the nodes.
template <class K, class V>
struct cow_BtreeInternals;

template <class K, class V, bool Writable>
class cow_BtreeCursor;
} // namespace vlt::detail

template <class K, class V>
class cow_Btree;
template <class K, class V>
class cow_BtreeIterator;

template <class K, class V>
class cow_BtreeNode {
public:
    using Handle = cow_COW<cow_BtreeNode, cow_Direct<cow_BtreeNode>>;

    cow_BtreeNode(const K& k, const V& v) : value(v), key(k) {}
    // Making a shared node private: the copy's new child handles share the same children.
    cow_BtreeNode(const cow_BtreeNode& other)
        : value(other.value), key(other.key), smaller(Share(other.smaller)),
          larger(Share(other.larger)), height(other.height) {}
    cow_BtreeNode& operator=(const cow_BtreeNode&) = delete;
    ~cow_BtreeNode() {
        FreeHandle(smaller);
        FreeHandle(larger);
    }
    // Every node lives in a block with room for its handle beside it.
    static void* operator new(std::size_t) { return Block::NewNode(); }
    static void operator delete(void* node) noexcept { Block::FreeNode(node); }

    const K& Key() const { return key; }
    const V& Value() const { return value; }
    V& Value() { return value; }
    int32_t Height() const { return height; }
    // The children's handles, null when absent.
    const Handle* Smaller() const { return smaller; }
    const Handle* Larger() const { return larger; }

    // Rotates once when the children's heights differ by 2 or more; self is the handle that
    // holds this node. Returns the handle of the subtree's new root, or null when unchanged.
    Handle* Balance(Handle* self);
    bool Insert(const K& k, const V& v);
    // Removes k from this subtree; parent is the node whose child this node is.
    bool Remove(const K& k, cow_BtreeNode& parent);
    // The node holding k, with the path to it made private; null when absent.
    cow_BtreeNode* Find(const K& k);
    const cow_BtreeNode* ConstFind(const K& k) const;

private:
    friend class cow_Btree<K, V>;
    friend class cow_BtreeIterator<K, V>;
    friend class vlt::detail::cow_BtreeCursor<K, V, false>;
    friend class vlt::detail::cow_BtreeCursor<K, V, true>;

    // The temporary parent of the root during a removal: no key of its own.
    explicit cow_BtreeNode(const V& v) : value(v) {}

    using Block = vlt::detail::cow_BtreeBlock<cow_BtreeNode, Handle>;

    static Handle* Share(const Handle* child) {
        return child != nullptr ? Block::NewHandle(child->ConstPtr(), *child) : nullptr;
    }
    // A new handle that owns node; node is freed if the handle cannot be made.
    static Handle* Adopt(std::unique_ptr<cow_BtreeNode> node) {
        auto* handle = Block::NewHandle(node.get(), node.get());
        node.release();
        return handle;
    }
    // Null is allowed.
    static void FreeHandle(Handle* handle) noexcept { Block::FreeHandle(handle); }
    static Handle* NewLeaf(const K& k, const V& v) {
        return Adopt(std::make_unique<cow_BtreeNode>(k, v));
    }
    static int32_t HeightOf(const Handle* child) { return child != nullptr ? (*child)->height : 0; }
    // Larger-side height minus smaller-side height, an absent child counting as a leaf.
    int32_t Skew() const { return HeightOf(larger) - HeightOf(smaller); }
    // Balances the node held by link in place; the node is made private only to rotate it.
    static void Rebalance(Handle*& link);
    Handle* Rotate(Handle* self, Handle* cow_BtreeNode::*lowered, Handle* cow_BtreeNode::*raised);
    void UpdateHeight();
    // A walk down the tree waits on a chain of loads per level: the child's handle, the node,
    // the key's representation and its text. While this node's key is compared, both children
    // are read ahead (their keys' texts and their own children's handles), so that the next
    // level finds its chain loaded or on the way. The siblings read here also serve the balance
    // test on the way back up.
    void ReadAhead() const {
        ReadAhead(smaller);
        ReadAhead(larger);
    }
    static void ReadAhead(const Handle* child) {
        if (child != nullptr) {
            const cow_BtreeNode& next = **child;
            vlt::detail::cow_BtreePrefetch(next.smaller);
            vlt::detail::cow_BtreePrefetch(next.larger);
            vlt::detail::cow_BtreePrefetch(vlt::detail::cow_BtreeKeyBytes(next.key));
        }
    }
    Handle*& Side(int order) { return order < 0 ? smaller : larger; }
    Handle* TakeReplacement();
    Handle* DetachSmallest();
    void RemoveNode(cow_BtreeNode* child, Handle* replacement);

    V value;
    K key{};
    Handle* smaller = nullptr;
    Handle* larger = nullptr;
    int32_t height = 0;
};

namespace vlt::detail {
// Where a standard iterator of a tree stands: the top of a stack of the nodes still to visit,
// the current node and those of its ancestors that come after it. A writable cursor makes each
// node private when it is pushed, through the handle that holds it.
template <class K, class V, bool Writable>
class cow_BtreeCursor {
    using Node = std::conditional_t<Writable, cow_BtreeNode<K, V>, const cow_BtreeNode<K, V>>;
    using Handle = std::conditional_t<Writable, typename cow_BtreeNode<K, V>::Handle,
                                      const typename cow_BtreeNode<K, V>::Handle>;

public:
    cow_BtreeCursor() = default;
    explicit cow_BtreeCursor(Handle* root) { PushSmallerPath(root); }

    vlt_Entry<K, std::conditional_t<Writable, V, const V>> Read() const {
        return {pending.back()->key, pending.back()->value};
    }
    void Advance() {
        Node* visited = pending.back();
        pending.pop_back();
        PushSmallerPath(visited->larger);
    }
    bool operator==(const cow_BtreeCursor& other) const { return Top() == other.Top(); }

private:
    Node* Top() const { return pending.empty() ? nullptr : pending.back(); }
    void PushSmallerPath(Handle* handle) {
        for (; handle != nullptr; handle = pending.back()->smaller) {
            if constexpr (Writable) {
                pending.push_back(&handle->Get());
            } else {
                pending.push_back(handle->ConstPtr());
            }
        }
    }

    std::vector<Node*> pending;
};
} // namespace vlt::detail

template <class K, class V>
class cow_Btree {
    using Node = cow_BtreeNode<K, V>;
    using Handle = typename Node::Handle;

public:
    using key_type = K;
    using mapped_type = V;
    using size_type = std::size_t;
    using iterator = vlt::detail::vlt_ForwardIterator<vlt::detail::cow_BtreeCursor<K, V, true>>;
    using const_iterator =
        vlt::detail::vlt_ForwardIterator<vlt::detail::cow_BtreeCursor<K, V, false>>;

    cow_Btree() = default;
    cow_Btree(const cow_Btree& other)
        : root(CopyRoot(other.root)), entryCount(other.entryCount), value(other.value) {}
    cow_Btree& operator=(const cow_Btree& other);
    ~cow_Btree() { Node::FreeHandle(root); }

    // A new heap copy, owned by the caller.
    cow_Btree* Copy() const { return new cow_Btree(*this); }

    uint32_t Size() const { return entryCount; }
    size_type size() const { return entryCount; }
    bool empty() const { return entryCount == 0; }

    const_iterator begin() const {
        return const_iterator(vlt::detail::cow_BtreeCursor<K, V, false>(root));
    }
    const_iterator end() const { return {}; }
    const_iterator cbegin() const { return begin(); }
    const_iterator cend() const { return end(); }
    iterator begin() { return iterator(vlt::detail::cow_BtreeCursor<K, V, true>(root)); }
    iterator end() { return {}; }
    // Adds the entry unless the key is present, whose value is then kept.
    bool Insert(const K& k, const V& v);
    // Like every write, makes private the path it walks, even when k turns out to be absent.
    bool Remove(const K& k);

    bool IsMember(const K& k) const { return ConstFind(k) != nullptr; }
    const V& ConstGet(const K& k) const {
        const Node* node = ConstFind(k);
        CRT_CHECK(node != nullptr, "node != 0", vlt::detail::cow_BtreePath);
        return node != nullptr ? node->Value() : value;
    }
    // The writable value, with the path to it made private. Never inserts.
    V& Get(const K& k) {
        Node* node = Find(k);
        CRT_CHECK(node != nullptr, "node != 0", vlt::detail::cow_BtreePath);
        return node != nullptr ? node->Value() : value;
    }

private:
    friend class cow_BtreeIterator<K, V>;
    friend struct vlt::detail::cow_BtreeInternals<K, V>;

    // A private copy of the root node, whose children stay shared.
    static Handle* CopyRoot(const Handle* other) {
        return other != nullptr ? Node::Adopt(std::make_unique<Node>(**other)) : nullptr;
    }

    Node* Find(const K& k) { return root != nullptr ? root->Get().Find(k) : nullptr; }
    const Node* ConstFind(const K& k) const {
        return root != nullptr ? (*root)->ConstFind(k) : nullptr;
    }

    Handle* root = nullptr;
    uint32_t entryCount = 0;
    // Read in place of a missing value, and the value of the temporary parent in Remove.
    V value{};
};

// Walks the tree in place: the tree must not change while the iterator is in use. Made ended;
// First() or Last() starts it.
template <class K, class V>
class cow_BtreeIterator {
    using Node = cow_BtreeNode<K, V>;
    using Handle = typename Node::Handle;

public:
    explicit cow_BtreeIterator(const cow_Btree<K, V>& iterated) : tree(iterated) {}
    cow_BtreeIterator(const cow_BtreeIterator&) = delete;
    cow_BtreeIterator& operator=(const cow_BtreeIterator&) = delete;
    ~cow_BtreeIterator();

    // Ascending order: First, then Next until IsDone.
    void First() { Restart(&Node::smaller); }
    void Next() { Step(&Node::smaller, &Node::larger); }
    // Descending order: Last, then Previous until IsDone.
    void Last() { Restart(&Node::larger); }
    void Previous() { Step(&Node::larger, &Node::smaller); }

    bool IsDone() const { return top == nullptr; }
    const K& CurrentKey() const {
        CRT_CHECK(!IsDone(), "!IsDone()", vlt::detail::cow_BtreePath);
        return IsDone() ? MissingKey() : Current().Key();
    }
    const V& CurrentValue() const {
        CRT_CHECK(!IsDone(), "!IsDone()", vlt::detail::cow_BtreePath);
        return IsDone() ? tree.value : Current().Value();
    }

private:
    using Link = Handle* Node::*;

    struct Frame {
        const Handle* handle;
        Frame* below;
    };

    static const K& MissingKey() {
        static const K missing{};
        return missing;
    }

    const Node& Current() const { return **top->handle; }
    void Restart(Link toward);
    void Step(Link toward, Link away);
    // Pushes handle and then the path below it along the given side.
    void PushPath(const Handle* handle, Link toward);
    void Push(const Handle* handle);
    const Handle* Pop();

    const cow_Btree<K, V>& tree;
    Frame* top = nullptr;
    // Frames popped earlier, kept for the next pushes.
    Frame* spare = nullptr;
};

template <class K, class V>
typename cow_BtreeNode<K, V>::Handle* cow_BtreeNode<K, V>::Balance(Handle* self) {
    const int32_t skew = Skew();
    if (skew >= 2) {
        return Rotate(self, &cow_BtreeNode::smaller, &cow_BtreeNode::larger);
    }
    if (skew <= -2) {
        return Rotate(self, &cow_BtreeNode::larger, &cow_BtreeNode::smaller);
    }
    return nullptr;
}

// The child on the raised side becomes the subtree's root; its inner child moves across to this
// node, and this node goes down on the lowered side. A single rotation, never a double one, on
// purpose.
template <class K, class V>
typename cow_BtreeNode<K, V>::Handle* cow_BtreeNode<K, V>::Rotate(Handle* self,
                                                                  Handle* cow_BtreeNode::*lowered,
                                                                  Handle* cow_BtreeNode::*raised) {
    Handle* risen = this->*raised;
    cow_BtreeNode& child = risen->Get();
    this->*raised = child.*lowered;
    child.*lowered = self;
    UpdateHeight();
    child.UpdateHeight();
    return risen;
}

template <class K, class V>
void cow_BtreeNode<K, V>::Rebalance(Handle*& link) {
    const int32_t skew = (*link)->Skew();
    if (skew > -2 && skew < 2) {
        return;
    }
    Handle* risen = link->Get().Balance(link);
    if (risen != nullptr) {
        link = risen;
    }
}

template <class K, class V>
void cow_BtreeNode<K, V>::UpdateHeight() {
    const int32_t viaSmaller = smaller != nullptr ? (*smaller)->height + 1 : 0;
    const int32_t viaLarger = larger != nullptr ? (*larger)->height + 1 : 0;
    height = viaSmaller > viaLarger ? viaSmaller : viaLarger;
}

template <class K, class V>
bool cow_BtreeNode<K, V>::Insert(const K& k, const V& v) {
    ReadAhead();
    const int order = vlt::detail::cow_BtreeOrder(k, key);
    if (order == 0) {
        return false;
    }
    Handle*& child = Side(order);
    bool inserted = true;
    if (child != nullptr) {
        inserted = child->Get().Insert(k, v);
        if (inserted) {
            Rebalance(child);
        }
    } else {
        child = NewLeaf(k, v);
    }
    UpdateHeight();
    return inserted;
}

template <class K, class V>
bool cow_BtreeNode<K, V>::Remove(const K& k, cow_BtreeNode& parent) {
    ReadAhead();
    const int order = vlt::detail::cow_BtreeOrder(k, key);
    if (order != 0) {
        Handle*& child = Side(order);
        if (child == nullptr) {
            return false;
        }
        // The child may be replaced, or go, while it removes itself from this node.
        const bool removed = child->Get().Remove(k, *this);
        if (removed && child != nullptr) {
            Rebalance(child);
        }
        UpdateHeight();
        return removed;
    }
    Handle* replacement = TakeReplacement();
    smaller = nullptr;
    larger = nullptr;
    parent.RemoveNode(this, replacement); // destroys this node
    return true;
}

// The subtree that takes this node's place: a lone child, or else the smallest node of the
// larger side, which takes over both children.
template <class K, class V>
typename cow_BtreeNode<K, V>::Handle* cow_BtreeNode<K, V>::TakeReplacement() {
    if (larger == nullptr) {
        return smaller;
    }
    if (smaller == nullptr) {
        return larger;
    }
    Handle* least = larger;
    cow_BtreeNode& first = larger->Get();
    if (first.smaller != nullptr) {
        least = first.DetachSmallest();
        least->Get().larger = larger;
    }
    cow_BtreeNode& leastNode = least->Get();
    leastNode.smaller = smaller;
    leastNode.UpdateHeight();
    return least;
}

// Called on a private node with a smaller-side child: unlinks the smallest node below, whose
// parent takes its larger-side child, and returns its handle. Every node on the way is made
// private, and their heights are kept exact.
template <class K, class V>
typename cow_BtreeNode<K, V>::Handle* cow_BtreeNode<K, V>::DetachSmallest() {
    cow_BtreeNode& next = smaller->Get();
    Handle* least = smaller;
    if (next.smaller != nullptr) {
        least = next.DetachSmallest();
    } else {
        smaller = next.larger;
        next.larger = nullptr;
    }
    UpdateHeight();
    return least;
}

// The published side rule: the smaller side when there is no larger-side child, else the side
// that holds child.
template <class K, class V>
void cow_BtreeNode<K, V>::RemoveNode(cow_BtreeNode* child, Handle* replacement) {
    Handle*& slot = (larger != nullptr && larger->ConstPtr() == child) ? larger : smaller;
    FreeHandle(slot);
    slot = replacement;
    UpdateHeight();
}

template <class K, class V>
cow_BtreeNode<K, V>* cow_BtreeNode<K, V>::Find(const K& k) {
    cow_BtreeNode* node = this;
    for (;;) {
        node->ReadAhead();
        const int order = vlt::detail::cow_BtreeOrder(k, node->key);
        if (order == 0) {
            return node;
        }
        Handle* child = node->Side(order);
        if (child == nullptr) {
            return nullptr;
        }
        node = &child->Get();
    }
}

template <class K, class V>
const cow_BtreeNode<K, V>* cow_BtreeNode<K, V>::ConstFind(const K& k) const {
    const cow_BtreeNode* node = this;
    for (;;) {
        node->ReadAhead();
        const int order = vlt::detail::cow_BtreeOrder(k, node->key);
        if (order == 0) {
            return node;
        }
        const Handle* child = order < 0 ? node->smaller : node->larger;
        if (child == nullptr) {
            return nullptr;
        }
        node = child->ConstPtr();
    }
}

// The new root is built before the old one goes, so assigning a tree to itself keeps it.
template <class K, class V>
cow_Btree<K, V>& cow_Btree<K, V>::operator=(const cow_Btree& other) {
    Handle* copied = CopyRoot(other.root);
    Node::FreeHandle(root);
    root = copied;
    entryCount = other.entryCount;
    value = other.value;
    return *this;
}

template <class K, class V>
bool cow_Btree<K, V>::Insert(const K& k, const V& v) {
    if (root == nullptr) {
        root = Node::NewLeaf(k, v);
        entryCount = 1;
        return true;
    }
    if (!root->Get().Insert(k, v)) {
        return false;
    }
    ++entryCount;
    Node::Rebalance(root);
    return true;
}

// The root is removed like any other node: a temporary parent holds it on its smaller side.
template <class K, class V>
bool cow_Btree<K, V>::Remove(const K& k) {
    if (root == nullptr) {
        return false;
    }
    Node parent(value); // outside any block: no handle is ever made for it
    parent.smaller = root;
    const bool removed = root->Get().Remove(k, parent);
    root = parent.smaller;
    parent.smaller = nullptr;
    if (removed) {
        --entryCount;
        if (root != nullptr) {
            Node::Rebalance(root);
        }
    }
    return removed;
}

template <class K, class V>
cow_BtreeIterator<K, V>::~cow_BtreeIterator() {
    for (Frame* chain : {top, spare}) {
        while (chain != nullptr) {
            Frame* below = chain->below;
            delete chain;
            chain = below;
        }
    }
}

template <class K, class V>
void cow_BtreeIterator<K, V>::Restart(Link toward) {
    while (top != nullptr) {
        Pop();
    }
    if (tree.root != nullptr) {
        PushPath(tree.root, toward);
    }
}

// Moves to the next node in the direction away from the `toward` side: down the `away` child's
// path, or up past every frame that was reached through an `away` link.
template <class K, class V>
void cow_BtreeIterator<K, V>::Step(Link toward, Link away) {
    if (IsDone()) {
        return;
    }
    const Handle* next = Current().*away;
    if (next != nullptr) {
        PushPath(next, toward);
        return;
    }
    const Handle* popped = Pop();
    while (top != nullptr && Current().*away == popped) {
        popped = Pop();
    }
}

template <class K, class V>
void cow_BtreeIterator<K, V>::PushPath(const Handle* handle, Link toward) {
    for (; handle != nullptr; handle = (**handle).*toward) {
        Push(handle);
    }
}

template <class K, class V>
void cow_BtreeIterator<K, V>::Push(const Handle* handle) {
    Frame* frame = spare;
    if (frame != nullptr) {
        spare = frame->below;
    } else {
        frame = new Frame;
    }
    frame->handle = handle;
    frame->below = top;
    top = frame;
}

template <class K, class V>
const typename cow_BtreeIterator<K, V>::Handle* cow_BtreeIterator<K, V>::Pop() {
    Frame* frame = top;
    top = frame->below;
    frame->below = spare;
    spare = frame;
    return frame->handle;
}

// The library's instances: declared here, with the library's export attribute, so that clients
// link them instead of instantiating their own; defined in cow/impl/cow_Btree.cpp.
#define VLT_COW_BTREE_DECLARE(K, ...)                                                              \
    extern template class VLTUTL_API cow_BtreeNode<K, __VA_ARGS__>;                                \
    extern template class VLTUTL_API cow_Btree<K, __VA_ARGS__>;                                    \
    extern template class VLTUTL_API cow_BtreeIterator<K, __VA_ARGS__>
#define VLT_COW_BTREE_DEFINE(K, ...)                                                               \
    template class cow_BtreeNode<K, __VA_ARGS__>;                                                  \
    template class cow_Btree<K, __VA_ARGS__>;                                                      \
    template class cow_BtreeIterator<K, __VA_ARGS__>

VLT_COW_BTREE_DECLARE(int, cow_1DArrayList<int, int>);
VLT_COW_BTREE_DECLARE(cow_String, int);
VLT_COW_BTREE_DECLARE(cow_String, cow_1DArrayList<int, int>);
