// Singly linked list with shared, reference-counted nodes.
//
// A `cow_List<T>` owns its size and one link to its first node; every node owns its element and
// a link to its successor. Links are `cow_ArrayCOW` handles, so nodes are shared between lists
// that were copied from one another, between a list and the lists appended to it, and with
// iterators. Copying a list takes one reference. A write copies the shared nodes on the path
// from the head to the point of change and nothing beyond; reads never copy.
//
// Equality, search and sorting exist only for element types that have `==` (and `<` for
// sorting). Counters are plain integers: lists that share nodes belong to one thread at a time.
//
// `begin()`/`end()` of a const list read the nodes in place and copy nothing. Those of a
// non-const list hand out writable elements: the walk makes each shared node private when it
// reaches it (a node copied once, never per access), so the list stops sharing the nodes it
// walked through with its copies.
//
// After a broken precondition has been reported the operation stops safely: reads out of range
// see a value-initialised element, out-of-range inserts insert nothing.
#pragma once

#include "cow_CountedHld.h"
#include "cow_String.h"
#include "crt_Assert.h"
#include "vlt_Export.h"
#include "vlt_Iterator.h"

#include <cmath>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <type_traits>
#include <vector>

namespace vlt::detail {
inline constexpr char cow_ListPath[] = "include/cow_List";
inline constexpr char cow_ListEqualityPath[] = "include/cow_ListEquality";
inline constexpr char cow_ListComparePath[] = "include/cow_ListCompare";

template <class T>
concept cow_ListEquatable = requires(const T& a, const T& b) {
    { a == b } -> std::convertible_to<bool>;
    { a != b } -> std::convertible_to<bool>;
};

template <class T>
concept cow_ListOrderable = cow_ListEquatable<T> && requires(const T& a, const T& b) {
    { a < b } -> std::convertible_to<bool>;
};

// The order of Sort: -1 if a < b, 1 if a != b, else 0.
template <class T>
int cow_ListOrder(const T& a, const T& b) {
    if (a < b) {
        return -1;
    }
    return a != b ? 1 : 0;
}

// A NaN is not greater than or equal to anything and sorts as smaller. It is placed below every
// number on both sides of the comparison, so that qsort sees one consistent order.
inline int cow_ListOrder(float a, float b) {
    const bool aIsNaN = std::isnan(a);
    const bool bIsNaN = std::isnan(b);
    if (aIsNaN || bIsNaN) {
        return static_cast<int>(bIsNaN) - static_cast<int>(aIsNaN);
    }
    return cow_ListOrder<float>(a, b);
}

// Lets the tests reach the checks that guard against an inconsistent list.
template <class T>
struct cow_ListInternals;

// Where a standard iterator of a list stands: a node, or none at the end.
template <class T, bool Writable>
class cow_ListCursor;
} // namespace vlt::detail

template <class T>
class cow_List;
template <class T>
class cow_ListIter;

namespace vlt::detail {
// The equality, search and difference operations, and sorting, live in bases of `cow_List`
// that are empty for element types without `==` (or `<`). Unlike constrained members, an
// empty base keeps an explicit instantiation of the whole list valid for such types.
template <class T, bool = cow_ListEquatable<T>>
class cow_ListEquality {};
template <class T, bool = cow_ListOrderable<T>>
class cow_ListCompare {};
} // namespace vlt::detail

template <class T>
class cow_ListNode {
public:
    using Link = cow_ArrayCOW<cow_ListNode, cow_Direct<cow_ListNode>>;

    explicit cow_ListNode(const T& x) : element(x) {}
    cow_ListNode(const T& x, const Link& successor) : element(x), next(successor) {}
    // Making a shared node private copies the element and shares the successor.
    cow_ListNode(const cow_ListNode&) = default;
    cow_ListNode& operator=(const cow_ListNode&) = delete;

    // Releases the successors this node holds alone one at a time, so that dropping the last
    // reference to a long chain (by assignment, by an iterator, by a node) never recurses once
    // per node: each successor is destroyed while its own successor has a second reference.
    ~cow_ListNode() {
        while (next.HasValue() && next.References() == 1) {
            const Link afterNext(next->next);
            next = afterNext;
        }
    }

private:
    friend class cow_List<T>;
    friend class cow_ListIter<T>;
    friend class vlt::detail::cow_ListEquality<T>;
    friend class vlt::detail::cow_ListCompare<T>;
    friend class vlt::detail::cow_ListCursor<T, false>;
    friend class vlt::detail::cow_ListCursor<T, true>;

    T element;
    Link next;
};

namespace vlt::detail {
// A writable cursor makes each node private on arrival, through the link that holds it, so that
// the element it hands out belongs to this list alone.
template <class T, bool Writable>
class cow_ListCursor {
    using Node = std::conditional_t<Writable, cow_ListNode<T>, const cow_ListNode<T>>;
    using Link = std::conditional_t<Writable, typename cow_ListNode<T>::Link,
                                    const typename cow_ListNode<T>::Link>;

public:
    cow_ListCursor() = default;
    explicit cow_ListCursor(Link& link) : node(Reach(link)) {}

    auto& Read() const { return node->element; }
    void Advance() { node = Reach(node->next); }
    bool operator==(const cow_ListCursor&) const = default;

private:
    static Node* Reach(Link& link) { return vlt_ReachNode<Writable>(link); }

    Node* node = nullptr;
};
} // namespace vlt::detail

template <class T>
class cow_List : public vlt::detail::cow_ListEquality<T>, public vlt::detail::cow_ListCompare<T> {
    using Node = cow_ListNode<T>;
    using Link = typename Node::Link;

public:
    using value_type = T;
    using size_type = std::size_t;
    using iterator = vlt::detail::vlt_ForwardIterator<vlt::detail::cow_ListCursor<T, true>>;
    using const_iterator = vlt::detail::vlt_ForwardIterator<vlt::detail::cow_ListCursor<T, false>>;

    cow_List() = default;
    // The elements in the order given.
    cow_List(std::initializer_list<T> items);
    cow_List(const cow_List&) = default;
    // Releasing the old chain here cascades node by node, unlike Clear (as published).
    cow_List& operator=(const cow_List& other) {
        elementCount = other.elementCount;
        first = other.first;
        return *this;
    }
    ~cow_List() { ReleaseUnsharedHead(); }

    uint32_t Size() const { return elementCount; }
    size_type size() const { return elementCount; }
    bool empty() const { return elementCount == 0; }

    const_iterator begin() const {
        return const_iterator(vlt::detail::cow_ListCursor<T, false>(first));
    }
    const_iterator end() const { return {}; }
    const_iterator cbegin() const { return begin(); }
    const_iterator cend() const { return end(); }
    iterator begin() { return iterator(vlt::detail::cow_ListCursor<T, true>(first)); }
    iterator end() { return {}; }

    cow_List& Clear();
    cow_List& Append(const T& x);
    cow_List& Append(const cow_List& other);
    cow_List& Prepend(const T& x);
    cow_List& InsertAfter(long index, const T& x);
    const T& ConstGet(unsigned index) const;

private:
    friend class cow_ListIter<T>;
    friend class vlt::detail::cow_ListEquality<T>;
    friend class vlt::detail::cow_ListCompare<T>;
    friend struct vlt::detail::cow_ListInternals<T>;

    Link& GetNode(unsigned index);
    void ReleaseUnsharedHead();
    const Node* NodeAt(uint32_t index) const;

    // What a read out of range sees after its report.
    static const T& Missing() {
        static const T missing{};
        return missing;
    }

    uint32_t elementCount = 0;
    Link first;
};

namespace vlt::detail {
template <class T>
class cow_ListEquality<T, true> {
    using List = cow_List<T>;
    using Link = typename cow_ListNode<T>::Link;

public:
    bool IsMember(const T& x) const { return IndexOf(x) < Self().elementCount; }
    // The index of the first element equal to x, or -1.
    int Position(const T& x) const {
        const uint32_t index = IndexOf(x);
        return index < Self().elementCount ? static_cast<int>(index) : -1;
    }
    // Removes the first element equal to x, if any.
    List& Remove(const T& x);
    List& AppendUnlessMember(const T& x) {
        if (!IsMember(x)) {
            Self().Append(x);
        }
        return Self();
    }
    bool IsEqual(const List& other) const;
    // The elements, in order, that are not members of other.
    List operator-(const List& other) const;

private:
    const List& Self() const { return static_cast<const List&>(*this); }
    List& Self() { return static_cast<List&>(*this); }
    uint32_t IndexOf(const T& x) const;
};

template <class T>
class cow_ListCompare<T, true> {
    using List = cow_List<T>;
    using Link = typename cow_ListNode<T>::Link;

public:
    // Ascending; not stable.
    List& Sort();

private:
    // qsort's comparison over the detached handles (pointers to them, see Sort).
    static int SortCmp(const void* a, const void* b) {
        const Link& x = **static_cast<Link* const*>(a);
        const Link& y = **static_cast<Link* const*>(b);
        return cow_ListOrder(x->element, y->element);
    }
};
} // namespace vlt::detail

// Iterates over a snapshot: it holds its own copy of the list, so later writes to the list
// un-share the nodes and never reach the iterator.
template <class T>
class cow_ListIter {
    using Link = typename cow_ListNode<T>::Link;

public:
    explicit cow_ListIter(const cow_List<T>& iterated) : list(iterated), current(&list.first) {}
    // The current link may point into this iterator's own list copy.
    cow_ListIter(const cow_ListIter&) = delete;
    cow_ListIter& operator=(const cow_ListIter&) = delete;
    ~cow_ListIter() = default;

    void First() { current = &list.first; }
    void Next() {
        if (!IsDone()) {
            current = &(*current)->next;
        }
    }
    bool IsDone() const { return !current->HasValue(); }
    const T& CurrentItem() const {
        CRT_CHECK(!IsDone(), "!IsDone()", vlt::detail::cow_ListPath);
        return IsDone() ? cow_List<T>::Missing() : (*current)->element;
    }

private:
    cow_List<T> list;
    const Link* current;
};

// Walks with Get(), so every shared node on the way is copied and the link returned is private
// to this list. An index past the end is reported and clipped to the end link.
template <class T>
typename cow_List<T>::Link& cow_List<T>::GetNode(unsigned index) {
    CRT_CHECK(!(index > elementCount), "!(index > size)", vlt::detail::cow_ListPath);
    Link* link = &first;
    for (unsigned step = 0; step < index && link->HasValue(); ++step) {
        link = &link->Get().next;
    }
    return *link;
}

// Built front to back through a private tail link.
template <class T>
cow_List<T>::cow_List(std::initializer_list<T> items) {
    Link* tail = &first;
    for (const T& item : items) {
        *tail = new Node(item);
        tail = &tail->Get().next;
    }
    elementCount = static_cast<uint32_t>(items.size());
}

template <class T>
const cow_ListNode<T>* cow_List<T>::NodeAt(uint32_t index) const {
    const Link* link = &first;
    for (; index > 0 && link->HasValue(); --index) {
        link = &(*link)->next;
    }
    return link->ConstPtr();
}

// Releases the nodes this list holds alone, one at a time with constant stack depth: the extra
// reference on the successor keeps the release of the first node from cascading down the
// chain. It stops at the first shared node: that node, and so everything after it, lives on
// with its other holders, and walking further would only move their counts up and down again.
template <class T>
void cow_List<T>::ReleaseUnsharedHead() {
    while (elementCount > 0 && first.HasValue() && first.References() == 1) {
        Link head(first->next);
        first.Swap(head); // now head holds the old first node alone, and its end deletes it
        --elementCount;
    }
}

template <class T>
cow_List<T>& cow_List<T>::Clear() {
    ReleaseUnsharedHead();
    if (first.HasValue()) {
        first = Link();
    }
    elementCount = 0;
    return *this;
}

// Storing into a link through its raw-pointer assignment leaves a shared empty end link with
// the other lists and gives this one a fresh counter.
template <class T>
cow_List<T>& cow_List<T>::Append(const T& x) {
    GetNode(elementCount) = new Node(x);
    ++elementCount;
    return *this;
}

// The appended nodes stay shared with other. Holding other through a copy first makes
// appending a list to itself copy this chain rather than link it into a ring.
template <class T>
cow_List<T>& cow_List<T>::Append(const cow_List& other) {
    const cow_List appended(other);
    GetNode(elementCount) = appended.first;
    elementCount += appended.elementCount;
    return *this;
}

template <class T>
cow_List<T>& cow_List<T>::Prepend(const T& x) {
    first = new Node(x, first);
    ++elementCount;
    return *this;
}

template <class T>
cow_List<T>& cow_List<T>::InsertAfter(long index, const T& x) {
    const bool inRange = (index >= 0) && (static_cast<uint64_t>(index) < elementCount);
    CRT_CHECK(inRange, "(index<size) && (index>=0)", vlt::detail::cow_ListPath);
    if (!inRange) {
        return *this;
    }
    Node& node = GetNode(static_cast<unsigned>(index)).Get();
    node.next = new Node(x, node.next);
    ++elementCount;
    return *this;
}

template <class T>
const T& cow_List<T>::ConstGet(unsigned index) const {
    CRT_CHECK(!((!first.HasValue()) || (index >= elementCount)),
              "!((!first.HasValue()) || (index >= size))", vlt::detail::cow_ListPath);
    const Node* node = index < elementCount ? NodeAt(index) : nullptr;
    return node != nullptr ? node->element : Missing();
}

namespace vlt::detail {
// The index of the first element equal to x; the size when there is none.
template <class T>
uint32_t cow_ListEquality<T, true>::IndexOf(const T& x) const {
    uint32_t index = 0;
    for (const Link* link = &Self().first; link->HasValue(); link = &(*link)->next, ++index) {
        if ((*link)->element == x) {
            return index;
        }
    }
    return Self().elementCount;
}

template <class T>
cow_List<T>& cow_ListEquality<T, true>::Remove(const T& x) {
    List& list = Self();
    if (!IsMember(x)) {
        return list;
    }
    Link* curr = &list.first;
    while (curr->HasValue() && !((*curr)->element == x)) {
        curr = &curr->Get().next;
    }
    CRT_CHECK(curr->HasValue(), "curr->HasValue()", cow_ListEqualityPath);
    if (!curr->HasValue()) {
        return list;
    }
    const Link successor(curr->Get().next);
    *curr = successor;
    --list.elementCount;
    return list;
}

template <class T>
bool cow_ListEquality<T, true>::IsEqual(const List& other) const {
    const List& list = Self();
    if (!list.first.HasValue() && !other.first.HasValue()) {
        return true;
    }
    if (list.elementCount != other.elementCount) {
        return false;
    }
    const Link* mine = &list.first;
    const Link* theirs = &other.first;
    for (; mine->HasValue() && theirs->HasValue();
         mine = &(*mine)->next, theirs = &(*theirs)->next) {
        // The same node at the same position: the rest of both chains is shared.
        if (mine->ConstPtr() == theirs->ConstPtr()) {
            return true;
        }
        if ((*mine)->element != (*theirs)->element) {
            return false;
        }
    }
    return true;
}

// Built front to back through a private tail link: linear apart from the membership tests.
template <class T>
cow_List<T> cow_ListEquality<T, true>::operator-(const List& other) const {
    List result;
    Link* tail = &result.first;
    for (const Link* link = &Self().first; link->HasValue(); link = &(*link)->next) {
        if (!other.IsMember((*link)->element)) {
            *tail = new cow_ListNode<T>((*link)->element);
            tail = &tail->Get().next;
            ++result.elementCount;
        }
    }
    return result;
}

// The nodes are detached into private handles, sorted by qsort and relinked, so every node is
// private afterwards. qsort permutes pointers to the handles: the handles themselves are not
// trivially copyable.
template <class T>
cow_List<T>& cow_ListCompare<T, true>::Sort() {
    List& list = static_cast<List&>(*this);
    if (list.elementCount < 2) {
        return list;
    }
    CRT_CHECK(list.first.HasValue(), "first.HasValue()", cow_ListComparePath);
    if (!list.first.HasValue()) {
        list.elementCount = 0;
        return list;
    }
    std::vector<Link> detached;
    detached.reserve(list.elementCount);
    while (detached.size() < list.elementCount && list.first.HasValue()) {
        detached.push_back(list.first);
        list.first = detached.back()->next;
        detached.back().Get().next = nullptr;
    }
    std::vector<Link*> order;
    order.reserve(detached.size());
    for (Link& handle : detached) {
        order.push_back(&handle);
    }
    std::qsort(order.data(), order.size(), sizeof(Link*), &SortCmp);
    for (auto entry = order.rbegin(); entry != order.rend(); ++entry) {
        (*entry)->Get().next = list.first;
        list.first = **entry;
    }
    list.elementCount = static_cast<uint32_t>(detached.size());
    return list;
}
} // namespace vlt::detail

// The library's instances: declared here, with the library's export attribute, so that clients
// link them instead of instantiating their own; defined in cow/impl/cow_List.cpp with
// VLT_COW_LIST_DEFINE (the definition inherits the attribute of this declaration).
#define VLT_COW_LIST_DECLARE(T)                                                                    \
    extern template class VLTUTL_API cow_ListNode<T>;                                              \
    extern template class VLTUTL_API vlt::detail::cow_ListEquality<T>;                             \
    extern template class VLTUTL_API vlt::detail::cow_ListCompare<T>;                              \
    extern template class VLTUTL_API cow_List<T>;                                                  \
    extern template class VLTUTL_API cow_ListIter<T>
#define VLT_COW_LIST_DEFINE(T)                                                                     \
    template class cow_ListNode<T>;                                                                \
    template class vlt::detail::cow_ListEquality<T>;                                               \
    template class vlt::detail::cow_ListCompare<T>;                                                \
    template class cow_List<T>;                                                                    \
    template class cow_ListIter<T>

VLT_COW_LIST_DECLARE(int);
VLT_COW_LIST_DECLARE(unsigned int);
VLT_COW_LIST_DECLARE(float);
VLT_COW_LIST_DECLARE(cow_String);
VLT_COW_LIST_DECLARE(cow_List<int>);

// The smallest and the largest Length() of the strings of a list; 0 for an empty list.
VLTUTL_API unsigned GetLengthShortestString(const cow_List<cow_String>& list);
VLTUTL_API unsigned GetLengthLongestString(const cow_List<cow_String>& list);
