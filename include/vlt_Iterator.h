// The standard iterators of the library's containers.
//
// Each container walks itself with a small cursor of its own (where it stands, how it reads the
// element there, how it moves on); `vlt_ForwardIterator` turns any such cursor into a forward
// iterator that range-for, the standard algorithms and the ranges library accept; a cursor that
// can also step back (`Retreat`) makes it a bidirectional iterator, which `std::reverse_iterator`
// accepts. The cursor
// owns nothing: an iterator refers into its container, which must outlive it, and a write to
// the container through anything but the iterator itself ends its validity, as for the
// standard containers. Two iterators compare equal when their cursors stand at the same place;
// an ended cursor stands nowhere, so one default-made end serves every walk.
//
// Entries of keyed containers are read as a pair of references (`.first` the key, `.second`
// the value), made fresh at each read: the containers keep key and value in their own layout,
// not as a pair that a reference could reach.
#pragma once

#include <concepts>
#include <cstddef>
#include <iterator>
#include <memory>
#include <type_traits>
#include <utility>

namespace vlt::detail {

// What a cursor provides: a default (ended) state, equality of places, a read and a step.
template <class C>
concept vlt_Cursor = std::semiregular<C> && std::equality_comparable<C> && requires(C c) {
    c.Read();
    c.Advance();
};

template <class C>
concept vlt_BidirectionalCursor = vlt_Cursor<C> && requires(C c) {
    c.Retreat();
};

// The target of `->` for an entry made at each read: it keeps the entry alive for the call.
template <class Entry>
class vlt_ArrowProxy {
public:
    explicit vlt_ArrowProxy(Entry e) : entry(std::move(e)) {}
    const Entry* operator->() const { return std::addressof(entry); }

private:
    Entry entry;
};

// The cursor is checked where the iterator is made, not where its type is named: a container
// names its iterator type in its own body, where the cursor may not be complete yet.
template <class C>
class vlt_ForwardIterator {
    static_assert(vlt_Cursor<C>);

public:
    using Cursor = C;
    using reference = decltype(std::declval<const Cursor&>().Read());
    using value_type = std::remove_cvref_t<reference>;
    using difference_type = std::ptrdiff_t;
    using pointer = std::conditional_t<std::is_lvalue_reference_v<reference>,
                                       std::add_pointer_t<reference>, vlt_ArrowProxy<value_type>>;
    using iterator_concept =
        std::conditional_t<vlt_BidirectionalCursor<C>, std::bidirectional_iterator_tag,
                           std::forward_iterator_tag>;
    // An entry made at each read is no lvalue, which the classic forward category demands.
    using iterator_category =
        std::conditional_t<std::is_lvalue_reference_v<reference>, std::forward_iterator_tag,
                           std::input_iterator_tag>;

    vlt_ForwardIterator() = default;
    explicit vlt_ForwardIterator(Cursor c) : cursor(std::move(c)) {}

    reference operator*() const { return cursor.Read(); }
    pointer operator->() const {
        if constexpr (std::is_lvalue_reference_v<reference>) {
            return std::addressof(cursor.Read());
        } else {
            return pointer(cursor.Read());
        }
    }
    vlt_ForwardIterator& operator++() {
        cursor.Advance();
        return *this;
    }
    vlt_ForwardIterator operator++(int) {
        vlt_ForwardIterator before(*this);
        cursor.Advance();
        return before;
    }
    vlt_ForwardIterator& operator--() requires vlt_BidirectionalCursor<C> {
        cursor.Retreat();
        return *this;
    }
    vlt_ForwardIterator operator--(int) requires vlt_BidirectionalCursor<C> {
        vlt_ForwardIterator before(*this);
        cursor.Retreat();
        return before;
    }
    friend bool operator==(const vlt_ForwardIterator& a, const vlt_ForwardIterator& b) {
        return a.cursor == b.cursor;
    }

private:
    Cursor cursor;
};

// The node a link leads to: a writable walk makes a shared one private first, a read-only walk
// only looks. Null at the end of a chain.
template <bool Writable, class Link>
auto* vlt_ReachNode(Link& link) {
    if constexpr (Writable) {
        return link.HasValue() ? &link.Get() : nullptr;
    } else {
        return link.ConstPtr();
    }
}

// A key and its value, for the keyed containers' iterators.
template <class K, class V>
using vlt_Entry = std::pair<const K&, V&>;

} // namespace vlt::detail
