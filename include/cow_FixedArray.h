// One-dimensional arrays whose length is fixed when they are made.
//
// A `cow_FixedArray<T>` is one copy-on-write handle (`cow_COW`) to a `cow_FixedArrayRep<T>`
// that owns the length and one contiguous block of elements. Copies share the representation;
// the first write through a shared handle copies the whole block. Reads never copy.
//
// Comparison compares the elements even when both arrays share one representation, so a
// float or double array holding a NaN is unequal to itself. Counters are plain integers:
// arrays that share a representation belong to one thread at a time.
//
// The elements are contiguous, so the standard iterators are plain pointers. Those of a const
// array read the shared block; those of a non-const array un-share it once, when `begin()` or
// `end()` is first called, and stay valid until the array is copied or assigned.
#pragma once

#include "cow_CountedHld.h"
#include "cow_List.h"
#include "cow_OutOfRange.h"
#include "cow_String.h"
#include "crt_Assert.h"
#include "vlt_Export.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>

namespace vlt::detail {
inline constexpr char cow_FixedArrayPath[] = "include/cow_FixedArray";
} // namespace vlt::detail

template <class T>
struct cow_FixedArrayRep {
    // A negative length makes an empty array. The block exists even for length 0.
    explicit cow_FixedArrayRep(int32_t n) : length(std::max(n, 0)), data(new T[length]) {}
    cow_FixedArrayRep(const cow_FixedArrayRep& other)
        : length(other.length), data(new T[other.length]) {
        std::copy(other.data.get(), other.data.get() + length, data.get());
    }
    // Frees its own block before copying. Handles never assign a representation to itself;
    // the guard only keeps that harmless.
    cow_FixedArrayRep& operator=(const cow_FixedArrayRep& other) {
        if (this != &other) {
            data.reset();
            length = 0;
            data.reset(new T[other.length]);
            std::copy(other.data.get(), other.data.get() + other.length, data.get());
            length = other.length;
        }
        return *this;
    }
    ~cow_FixedArrayRep() = default;

    bool operator==(const cow_FixedArrayRep& other) const {
        return length == other.length &&
               std::equal(data.get(), data.get() + length, other.data.get());
    }
    bool operator!=(const cow_FixedArrayRep& other) const { return !(*this == other); }

    int32_t length;
    std::unique_ptr<T[]> data;
};

template <class T>
class cow_FixedArray {
    using Rep = cow_FixedArrayRep<T>;

public:
    using value_type = T;
    using size_type = std::size_t;
    using iterator = T*;
    using const_iterator = const T*;

    cow_FixedArray() : rep(new Rep(0)) {}
    // As long as the list, with its elements in order.
    cow_FixedArray(std::initializer_list<T> items)
        : rep(new Rep(static_cast<int32_t>(items.size()))) {
        std::copy(items.begin(), items.end(), rep.Get().data.get());
    }
    // Every element is written with init, from index 0 upwards.
    cow_FixedArray(int length, const T& init) : rep(new Rep(length)) {
        for (int index = 0; index < Length(); ++index) {
            Get(index) = init;
        }
    }

    int Length() const { return rep->length; }
    size_type size() const { return static_cast<size_type>(Length()); }
    bool empty() const { return Length() == 0; }

    const T* begin() const { return ConstData(); }
    const T* end() const { return ConstData() + Length(); }
    const T* cbegin() const { return begin(); }
    const T* cend() const { return end(); }
    T* begin() { return rep.Get().data.get(); }
    T* end() { return begin() + Length(); }
    // The elements in order; valid until the next write through this handle.
    const T* ConstData() const { return rep->data.get(); }

    // An index out of range is reported; the read then sees a value-initialised element.
    const T& ConstGet(int index) const {
        return InRange(index) ? rep->data[index] : vlt::detail::cow_OutOfRangeRead<T>();
    }
    // Un-shares the whole block first. An index out of range is reported and the write is
    // lost.
    T& Get(int index) {
        Rep& own = rep.Get();
        return InRange(index) ? own.data[index] : vlt::detail::cow_OutOfRangeWrite<T>();
    }

    // No shortcut for a shared representation: NaN elements make an array unequal to itself
    // (deliberate).
    bool operator==(const cow_FixedArray& other) const { return *rep == *other.rep; }
    bool operator!=(const cow_FixedArray& other) const { return *rep != *other.rep; }

private:
    bool InRange(int index) const {
        const bool inRange = index >= 0 && index < Length();
        CRT_CHECK(inRange, "index<Length()", vlt::detail::cow_FixedArrayPath);
        return inRange;
    }

    cow_COW<Rep, cow_Direct<Rep>> rep;
};

// The library's instances; defined in cow/impl/cow_FixedArray.cpp.
#define VLT_COW_FIXEDARRAY_DECLARE(T)                                                              \
    extern template struct VLTUTL_API cow_FixedArrayRep<T>;                                        \
    extern template class VLTUTL_API cow_FixedArray<T>

VLT_COW_FIXEDARRAY_DECLARE(int);
VLT_COW_FIXEDARRAY_DECLARE(float);
VLT_COW_FIXEDARRAY_DECLARE(double);
VLT_COW_FIXEDARRAY_DECLARE(cow_String);

VLT_COW_LIST_DECLARE(cow_FixedArray<int>);
VLT_COW_LIST_DECLARE(cow_FixedArray<double>);
