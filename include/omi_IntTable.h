// Sparse tables keyed by signed integers.
//
// `omi_IntTable` holds two `omi_UintTable`s: negative keys live in one under their magnitude,
// zero and positive keys in the other. `omi_IntTableIterator` visits every key in ascending
// signed order; sorted iteration (with a comparison function) is supported only while no key
// is negative. The table owns both halves; copies are made with `Copy`. It is not shared and
// takes no locks.
#pragma once

#include "crt_Assert.h"
#include "omi_BlkBitVect.h"
#include "omi_UintTable.h"
#include "vlt_Export.h"

#include <utility>

namespace vlt::detail {
inline constexpr char omi_IntTablePath[] = "include/omi_IntTable";
} // namespace vlt::detail

template <class T>
class omi_IntTableIterator;

template <class T>
class omi_IntTable {
public:
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
