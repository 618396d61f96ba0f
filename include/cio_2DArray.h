// Stream and print operators of the two-dimensional arrays, written raw (no record).
//
// Encoding: i32 rows, i32 columns, then rows x columns elements in row-major order (a string
// element as its object record). Reading mirrors it and replaces the table; a table without
// elements (a dimension 0 or negative) reads as the 0 x 0 table. Printed: "[", one "[...]" item per
// row, "]".
#pragma once

#include "cio_Element.h"
#include "cow_2DArray.h"
#include "vlt_Export.h"

template <class T>
bio_Ofilter& operator<<(bio_Ofilter& out, const cow_2DArray<T>& table) {
    const int rows = table.Rows();
    const int columns = table.Columns();
    out << rows << columns;
    vlt::detail::cio_WriteRun(out, table.ConstData(),
                              static_cast<unsigned>(static_cast<uint64_t>(rows) * columns));
    return out;
}

template <class T>
bio_Ifilter& operator>>(bio_Ifilter& in, cow_2DArray<T>& table) {
    int rows = 0;
    int columns = 0;
    in >> rows >> columns;
    rows = std::max(rows, 0);
    columns = std::max(columns, 0);
    const uint64_t count = static_cast<uint64_t>(rows) * static_cast<uint64_t>(columns);
    in.VouchForElements(count, vlt::detail::cio_MinBytes<T>);
    // A table without elements reads as 0 x 0: its constructor would walk every empty row.
    cow_2DArray<T> fresh(count != 0 ? rows : 0, count != 0 ? columns : 0, T{});
    if (count != 0) {
        vlt::detail::cio_ReadRun(in, &fresh.Get(0, 0), static_cast<unsigned>(count));
    }
    table = fresh;
    return in;
}

template <class T>
pnt_PrettyPrint& operator<<(pnt_PrettyPrint& pp, const cow_2DArray<T>& table) {
    const unsigned columns = static_cast<unsigned>(table.Columns());
    return vlt::detail::cio_PrintSequence(pp, "[", ",", "]", table.Rows(), [&](uint64_t row) {
        const T* first = table.ConstData() + row * columns;
        vlt::detail::cio_PrintSequence(pp, "[", ",", "]", columns, [&](uint64_t column) {
            vlt::detail::cio_PrintElement(pp, first[column]);
        });
    });
}

template <class T>
std::ostream& operator<<(std::ostream& out, const cow_2DArray<T>& table) {
    return pnt_PrintOn(out, table);
}

#define VLT_CIO_2DARRAY_DECLARE(T)                                                                 \
    extern template VLTUTL_API bio_Ofilter& operator<<(bio_Ofilter&, const cow_2DArray<T>&);       \
    extern template VLTUTL_API bio_Ifilter& operator>>(bio_Ifilter&, cow_2DArray<T>&);             \
    extern template VLTUTL_API pnt_PrettyPrint& operator<<(pnt_PrettyPrint&, const cow_2DArray<T>&)
#define VLT_CIO_2DARRAY_DEFINE(T)                                                                  \
    template bio_Ofilter& operator<<(bio_Ofilter&, const cow_2DArray<T>&);                         \
    template bio_Ifilter& operator>>(bio_Ifilter&, cow_2DArray<T>&);                               \
    template pnt_PrettyPrint& operator<<(pnt_PrettyPrint&, const cow_2DArray<T>&)

VLT_CIO_2DARRAY_DECLARE(int);
VLT_CIO_2DARRAY_DECLARE(float);
VLT_CIO_2DARRAY_DECLARE(double);
VLT_CIO_2DARRAY_DECLARE(cow_String);
