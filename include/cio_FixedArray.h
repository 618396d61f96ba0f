// Stream and print operators of the fixed arrays, written raw (no record).
//
// Encoding: i32 length, then the elements in order. Reading makes a new representation of
// the length read, fills it and makes it the array's; a negative length reads as empty.
// Printed: "[", the elements separated by ",", "]".
#pragma once

#include "cio_Element.h"
#include "cow_FixedArray.h"
#include "vlt_Export.h"

template <class T>
bio_Ofilter& operator<<(bio_Ofilter& out, const cow_FixedArray<T>& array) {
    const int length = array.Length();
    out << length;
    vlt::detail::cio_WriteRun(out, array.ConstData(), static_cast<unsigned>(length));
    return out;
}

template <class T>
bio_Ifilter& operator>>(bio_Ifilter& in, cow_FixedArray<T>& array) {
    int length = 0;
    in >> length;
    length = std::max(length, 0);
    in.VouchForElements(static_cast<uint64_t>(length), vlt::detail::cio_MinBytes<T>);
    cow_FixedArray<T> fresh(length, T{});
    if (length != 0) {
        vlt::detail::cio_ReadRun(in, &fresh.Get(0), static_cast<unsigned>(length));
    }
    array = fresh;
    return in;
}

template <class T>
pnt_PrettyPrint& operator<<(pnt_PrettyPrint& pp, const cow_FixedArray<T>& array) {
    return vlt::detail::cio_PrintSequence(pp, "[", ",", "]", array.Length(), [&](uint64_t i) {
        vlt::detail::cio_PrintElement(pp, array.ConstData()[i]);
    });
}

template <class T>
std::ostream& operator<<(std::ostream& out, const cow_FixedArray<T>& array) {
    return pnt_PrintOn(out, array);
}

#define VLT_CIO_FIXEDARRAY_DECLARE(T)                                                              \
    extern template VLTUTL_API bio_Ofilter& operator<<(bio_Ofilter&, const cow_FixedArray<T>&);    \
    extern template VLTUTL_API bio_Ifilter& operator>>(bio_Ifilter&, cow_FixedArray<T>&);          \
    extern template VLTUTL_API pnt_PrettyPrint& operator<<(pnt_PrettyPrint&,                       \
                                                           const cow_FixedArray<T>&)
#define VLT_CIO_FIXEDARRAY_DEFINE(T)                                                               \
    template bio_Ofilter& operator<<(bio_Ofilter&, const cow_FixedArray<T>&);                      \
    template bio_Ifilter& operator>>(bio_Ifilter&, cow_FixedArray<T>&);                            \
    template pnt_PrettyPrint& operator<<(pnt_PrettyPrint&, const cow_FixedArray<T>&)

VLT_CIO_FIXEDARRAY_DECLARE(int);
VLT_CIO_FIXEDARRAY_DECLARE(float);
VLT_CIO_FIXEDARRAY_DECLARE(double);
