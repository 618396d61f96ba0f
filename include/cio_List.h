// Stream and print operators of the linked lists, written raw (no record around them).
//
// Encoding: i32 count, then the elements from head to tail, each in its own encoding (a
// string element as its object record). Reading appends to the list without clearing it first
// (deliberate): each element is read as the pointer form of its input operator reads it, but
// in place, then appended. A count below 1 reads nothing more.
// Printed compact: "{ 1, 2, 3 }" on as few lines as the width allows (see cio_PrintCompact).
#pragma once

#include "cio_1DArray.h"
#include "cow_List.h"
#include "vlt_Export.h"

template <class T>
bio_Ofilter& operator<<(bio_Ofilter& out, const cow_List<T>& list) {
    const int count = static_cast<int>(list.Size());
    out << count;
    for (cow_ListIter<T> it(list); !it.IsDone(); it.Next()) {
        vlt::detail::cio_WriteElement(out, it.CurrentItem());
    }
    return out;
}

template <class T>
bio_Ifilter& operator>>(bio_Ifilter& in, cow_List<T>& list) {
    int count = 0;
    in >> count;
    for (int i = 0; i < count; ++i) {
        T element{};
        vlt::detail::cio_ReadTemporary(in, element);
        list.Append(element);
    }
    return in;
}

template <class T>
pnt_PrettyPrint& operator<<(pnt_PrettyPrint& pp, const cow_List<T>& list) {
    cow_ListIter<T> it(list);
    return vlt::detail::cio_PrintCompact(pp, "{", ",", "}", list.Size(), [&](uint64_t) {
        vlt::detail::cio_PrintElement(pp, it.CurrentItem());
        it.Next();
    });
}

template <class T>
std::ostream& operator<<(std::ostream& out, const cow_List<T>& list) {
    return pnt_PrintOn(out, list);
}

#define VLT_CIO_LIST_DECLARE(T)                                                                    \
    extern template VLTUTL_API bio_Ofilter& operator<<(bio_Ofilter&, const cow_List<T>&);          \
    extern template VLTUTL_API bio_Ifilter& operator>>(bio_Ifilter&, cow_List<T>&);                \
    extern template VLTUTL_API pnt_PrettyPrint& operator<<(pnt_PrettyPrint&, const cow_List<T>&)
#define VLT_CIO_LIST_DEFINE(T)                                                                     \
    template bio_Ofilter& operator<<(bio_Ofilter&, const cow_List<T>&);                            \
    template bio_Ifilter& operator>>(bio_Ifilter&, cow_List<T>&);                                  \
    template pnt_PrettyPrint& operator<<(pnt_PrettyPrint&, const cow_List<T>&)

VLT_CIO_LIST_DECLARE(int);
VLT_CIO_LIST_DECLARE(unsigned int);
VLT_CIO_LIST_DECLARE(float);
VLT_CIO_LIST_DECLARE(cow_String);
