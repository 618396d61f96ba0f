// Rectangular tables of rows and columns.
//
// A `cow_2DArray<T>` is one copy-on-write handle (`cow_COW`) to a `cow_2DArrayRep<T>` that owns
// the dimensions and one contiguous block in row-major order: the element at row r and column
// c is at position r * columns + c. Copies share the representation; the first write through a
// shared handle copies the whole block. Reads never copy.
//
// Comparison compares the elements even when both tables share one representation, so a float
// or double table holding a NaN is unequal to itself. Counters are plain integers: tables that
// share a representation belong to one thread at a time.
//
// The standard iterators are pointers over every element in row-major order. Those of a const
// table read the shared block; those of a non-const table un-share it once, when `begin()` or
// `end()` is first called, and stay valid until the table is copied or assigned.
#pragma once

#include "cow_CountedHld.h"
#include "cow_OutOfRange.h"
#include "cow_String.h"
#include "crt_Assert.h"
#include "vlt_Export.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace vlt::detail {
inline constexpr char cow_2DArrayPath[] = "include/cow_2DArray";
} // namespace vlt::detail

template <class T>
struct cow_2DArrayRep {
    // Negative dimensions count as 0. There is no block when either dimension is 0.
    cow_2DArrayRep(int32_t rows_, int32_t columns_)
        : rows(std::max(rows_, 0)), columns(std::max(columns_, 0)), data(Allocate(Count())) {}
    cow_2DArrayRep(const cow_2DArrayRep& other)
        : rows(other.rows), columns(other.columns), data(Allocate(other.Count())) {
        std::copy(other.data.get(), other.data.get() + Count(), data.get());
    }
    // Frees its own block before copying. Handles never assign a representation to itself;
    // the guard only keeps that harmless.
    cow_2DArrayRep& operator=(const cow_2DArrayRep& other) {
        if (this != &other) {
            data.reset();
            rows = columns = 0;
            data = Allocate(other.Count());
            std::copy(other.data.get(), other.data.get() + other.Count(), data.get());
            rows = other.rows;
            columns = other.columns;
        }
        return *this;
    }
    ~cow_2DArrayRep() = default;

    std::size_t Count() const { return static_cast<std::size_t>(rows) * columns; }

    bool operator==(const cow_2DArrayRep& other) const {
        return rows == other.rows && columns == other.columns &&
               std::equal(data.get(), data.get() + Count(), other.data.get());
    }
    bool operator!=(const cow_2DArrayRep& other) const { return !(*this == other); }

    int32_t rows;
    int32_t columns;
    std::unique_ptr<T[]> data;

private:
    static std::unique_ptr<T[]> Allocate(std::size_t count) {
        return count != 0 ? std::unique_ptr<T[]>(new T[count]) : nullptr;
    }
};

template <class T>
class cow_2DArray {
    using Rep = cow_2DArrayRep<T>;

public:
    using value_type = T;
    using size_type = std::size_t;
    using iterator = T*;
    using const_iterator = const T*;

    cow_2DArray() : rep(new Rep(0, 0)) {}
    // Every element is written with init, row by row.
    cow_2DArray(int rows, int columns, const T& init) : rep(new Rep(rows, columns)) {
        for (int row = 0; row < Rows(); ++row) {
            for (int column = 0; column < Columns(); ++column) {
                Get(row, column) = init;
            }
        }
    }

    int Rows() const { return rep->rows; }
    int Columns() const { return rep->columns; }
    // The number of elements, rows times columns.
    size_type size() const { return rep->Count(); }
    bool empty() const { return rep->Count() == 0; }
    // The elements in row-major order, or null for an empty table; valid until the next
    // write through this handle.
    const T* ConstData() const { return rep->data.get(); }

    const T* begin() const { return ConstData(); }
    const T* end() const { return ConstData() + rep->Count(); }
    const T* cbegin() const { return begin(); }
    const T* cend() const { return end(); }
    T* begin() { return rep.Get().data.get(); }
    T* end() { return begin() + rep->Count(); }

    // A position outside the table is reported; the read then sees a value-initialised
    // element.
    const T& ConstGet(int row, int column) const {
        return InRange(row, column) ? rep->data[Position(row, column)]
                                    : vlt::detail::cow_OutOfRangeRead<T>();
    }
    // Un-shares the whole block first. A position outside the table is reported and the
    // write is lost.
    T& Get(int row, int column) {
        Rep& own = rep.Get();
        return InRange(row, column) ? own.data[Position(row, column)]
                                    : vlt::detail::cow_OutOfRangeWrite<T>();
    }

    // No shortcut for a shared representation: NaN elements make a table unequal to itself
    // (deliberate).
    bool operator==(const cow_2DArray& other) const { return *rep == *other.rep; }
    bool operator!=(const cow_2DArray& other) const { return *rep != *other.rep; }

private:
    bool InRange(int row, int column) const {
        const bool inRange = row >= 0 && row < Rows() && column >= 0 && column < Columns();
        CRT_CHECK(inRange, "(row>=0) && (row<Rows()) && (column>=0) && (column<Columns())",
                  vlt::detail::cow_2DArrayPath);
        return inRange;
    }
    std::size_t Position(int row, int column) const {
        return static_cast<std::size_t>(row) * Columns() + column;
    }

    cow_COW<Rep, cow_Direct<Rep>> rep;
};

// The library's instances; defined in cow/impl/cow_2DArray.cpp.
#define VLT_COW_2DARRAY_DECLARE(T)                                                                 \
    extern template struct VLTUTL_API cow_2DArrayRep<T>;                                           \
    extern template class VLTUTL_API cow_2DArray<T>

VLT_COW_2DARRAY_DECLARE(int);
VLT_COW_2DARRAY_DECLARE(float);
VLT_COW_2DARRAY_DECLARE(double);
VLT_COW_2DARRAY_DECLARE(cow_String);
