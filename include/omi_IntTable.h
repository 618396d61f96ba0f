// Sparse tables keyed by signed integers.
//
// `omi_IntTable` holds two `omi_UintTable`s: negative keys live in one under their magnitude,
// zero and positive keys in the other. `omi_IntTableIterator` visits every key in ascending
// signed order; sorted iteration (with a comparison function) is supported only while no key
// is negative. The table owns both halves; copies are made with `Copy`. It is not shared and
// takes no locks. `begin()`/`end()` walk the keys in ascending signed order with that iterator,
// reading each entry as a pair of the key and a reference to its value in the table.
#pragma once

#include "crt_Assert.h"
#include "omi_BlkBitVect.h"
#include "omi_UintTable.h"
#include "vlt_Export.h"
#include "vlt_Iterator.h"

#include <cstddef>
#include <utility>

namespace vlt::detail {
inline constexpr char omi_IntTablePath[] = "include/omi_IntTable";
} // namespace vlt::detail

template <class T>
class omi_IntTableIterator;

template <class T>
class omi_IntTable {
public:
    using size_type = std::size_t;
    using iterator =
        vlt::detail::vlt_ForwardIterator<vlt::detail::omi_TableCursor<omi_IntTableIterator<T>, T>>;
    using const_iterator = vlt::detail::vlt_ForwardIterator<
        vlt::detail::omi_TableCursor<omi_IntTableIterator<T>, const T>>;

    omi_IntTable() = default;
    // The shape of both halves (see `omi_UintTable`).
    omi_IntTable(unsigned highBits, unsigned middleBits, unsigned initialInnerBlockCount)
        : negative(highBits, middleBits, initialInnerBlockCount),
          nonNegative(highBits, middleBits, initialInnerBlockCount) {}
    omi_IntTable& operator=(const omi_IntTable&) = delete;
    virtual ~omi_IntTable() = default;

    // Stores value under key (replacing any); true when the key is new.
    bool Insert(int key, const T& value) { return HalfOf(key).Insert(Magnitude(key), value); }
    // True when the key was present.
    bool Remove(int key) { return HalfOf(key).Remove(Magnitude(key)); }
    void Clear() {
        negative.Clear();
        nonNegative.Clear();
    }
    // A new deep copy, owned by the caller.
    omi_IntTable* Copy() const { return new omi_IntTable(*this); }

    bool IsMember(int key) const { return HalfOf(key).IsMember(Magnitude(key)); }
    // The value stored under key, or null when the key is absent.
    const T* ConstGet(int key) const { return HalfOf(key).ConstGet(Magnitude(key)); }
    T* Get(int key) { return HalfOf(key).Get(Magnitude(key)); }
    // The number of keys present.
    int Count() const { return negative.Count() + nonNegative.Count(); }
    size_type size() const { return static_cast<size_type>(Count()); }
    bool empty() const { return Count() == 0; }

    const_iterator begin() const { return const_iterator(typename const_iterator::Cursor(*this)); }
    const_iterator end() const { return {}; }
    const_iterator cbegin() const { return begin(); }
    const_iterator cend() const { return end(); }
    iterator begin() { return iterator(typename iterator::Cursor(*this)); }
    iterator end() { return {}; }

    // The table block that would hold key, or null.
    const omi_UintTableBlock<T>* FindTableBlock(int key) const {
        return HalfOf(key).FindTableBlock(Magnitude(key));
    }

protected:
    omi_IntTable(const omi_IntTable& other) = default;

private:
    friend class omi_IntTableIterator<T>;

    static unsigned Magnitude(int key) { return vlt::detail::omi_Magnitude(key); }
    omi_UintTable<T>& HalfOf(int key) { return key < 0 ? negative : nonNegative; }
    const omi_UintTable<T>& HalfOf(int key) const { return key < 0 ? negative : nonNegative; }

    omi_UintTable<T> negative;
    omi_UintTable<T> nonNegative;
};

template <class T>
class omi_IntTableIterator {
public:
    typedef typename omi_UintTableIterator<T>::Pair Pair;
    typedef typename omi_UintTableIterator<T>::CompareFunction CompareFunction;

    explicit omi_IntTableIterator(const omi_IntTable<T>& table);
    // Sorted iteration; the table must hold no negative key.
    omi_IntTableIterator(const omi_IntTable<T>& table, CompareFunction compare);

    void First();
    void Next();
    bool IsDone() const { return negativeLeft == 0 && nonNegativeIt.IsDone(); }
    int CurrentKey() const;
    T CurrentValue() const {
        return negativeLeft != 0 ? negativeIt.CurrentValue() : nonNegativeIt.CurrentValue();
    }

private:
    template <class Iterator, class Value>
    friend class vlt::detail::omi_TableCursor;

    const T* CurrentAddress() const {
        return negativeLeft != 0 ? negativeIt.CurrentAddress() : nonNegativeIt.CurrentAddress();
    }

    const omi_IntTable<T>* table;
    int negativeLeft;
    int totalNegative;
    omi_UintTableIterator<T> negativeIt;
    omi_UintTableIterator<T> nonNegativeIt; // holds the comparison function
};

template <class T>
omi_IntTableIterator<T>::omi_IntTableIterator(const omi_IntTable<T>& table_)
    : table(&table_), negativeLeft(0), totalNegative(table_.negative.Count()),
      negativeIt(table_.negative), nonNegativeIt(table_.nonNegative) {}

// After the report, the negative keys are still visited first, in numeric order.
template <class T>
omi_IntTableIterator<T>::omi_IntTableIterator(const omi_IntTable<T>& table_,
                                              CompareFunction compare_)
    : table(&table_), negativeLeft(0), totalNegative(table_.negative.Count()),
      negativeIt(table_.negative), nonNegativeIt(table_.nonNegative, compare_) {
    CRT_CHECK(totalNegative == 0,
              "totalNegative == 0 || \"Special sort integer table iterator unimplemented\" == 0",
              vlt::detail::omi_IntTablePath);
}

template <class T>
void omi_IntTableIterator<T>::First() {
    totalNegative = table->negative.Count();
    negativeLeft = totalNegative;
    negativeIt.Last();
    nonNegativeIt.First();
}

template <class T>
void omi_IntTableIterator<T>::Next() {
    if (negativeLeft != 0) {
        --negativeLeft;
        negativeIt.Previous();
    } else {
        nonNegativeIt.Next();
    }
}

template <class T>
int omi_IntTableIterator<T>::CurrentKey() const {
    if (negativeLeft != 0) {
        return static_cast<int>(0u - negativeIt.CurrentKey());
    }
    return static_cast<int>(nonNegativeIt.CurrentKey());
}

extern template class VLTUTL_API omi_IntTable<int>;
extern template class VLTUTL_API omi_IntTable<double>;
extern template class VLTUTL_API omi_IntTable<void*>;
extern template class VLTUTL_API omi_IntTableIterator<int>;
extern template class VLTUTL_API omi_IntTableIterator<double>;
extern template class VLTUTL_API omi_IntTableIterator<void*>;
