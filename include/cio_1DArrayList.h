// The 1D array lists as registered classes: `cio_1DArrayList<T, T>` is a
// `cow_1DArrayList<T, T>` with the type-table functions that let it travel as an object record.
//
//   0x1a0002 "cow_1DArrayListFloat"   float         0x1a0005 "cow_1DArrayListString"  cow_String
//   0x1a0003 "cow_1DArrayListUint"    unsigned int  0x1a0006 "cow_1DArrayListDouble"  double
//   0x1a0004 "cow_1DArrayListInt"     int
//
// The record's data is the list's length (u32), then its storage as cow_1DArray<T>::WriteData
// writes it, whole blocks included. The `cow_1DArrayList` operators here write and read the
// same records, so a plain list travels as well.
#pragma once

#include "cio_1DArray.h"
#include "cio_Record.h"
#include "typ_ArchCompTable.h"
#include "vlt_Export.h"

namespace vlt::detail {
template <class T>
struct cio_1DArrayListType;
template <>
struct cio_1DArrayListType<float> {
    static constexpr unsigned id = 0x1a0002;
};
template <>
struct cio_1DArrayListType<unsigned int> {
    static constexpr unsigned id = 0x1a0003;
};
template <>
struct cio_1DArrayListType<int> {
    static constexpr unsigned id = 0x1a0004;
};
template <>
struct cio_1DArrayListType<cow_String> {
    static constexpr unsigned id = 0x1a0005;
};
template <>
struct cio_1DArrayListType<double> {
    static constexpr unsigned id = 0x1a0006;
};
} // namespace vlt::detail

template <class T, class A>
class cio_1DArrayList : public cow_1DArrayList<T, A> {
public:
    using cow_1DArrayList<T, A>::cow_1DArrayList;
    cio_1DArrayList() = default;
    cio_1DArrayList(const cow_1DArrayList<T, A>& list) : cow_1DArrayList<T, A>(list) {}
    // Length 0 over default storage; the data is read afterwards by ReadData.
    explicit cio_1DArrayList(bio_Ifilter&) {}

    static constexpr unsigned TypeId() { return vlt::detail::cio_1DArrayListType<T>::id; }
    static void* CtorFunc(bio_Ifilter& in, void* storage) {
        return vlt::detail::cio_Construct<cio_1DArrayList>(in, storage);
    }
    static void DtorFunc(void* object) { vlt::detail::cio_Destroy<cio_1DArrayList>(object); }
    static void ReadData(bio_Ifilter& in, void* object) {
        vlt::detail::cio_1DArrayListAccess::Read(in, *static_cast<cio_1DArrayList*>(object));
    }
    static bio_Ofilter& WriteData(bio_Ofilter& out, const void* object) {
        vlt::detail::cio_1DArrayListAccess::Write(out,
                                                  *static_cast<const cio_1DArrayList*>(object));
        return out;
    }
    static pnt_PrettyPrint& PrintData(pnt_PrettyPrint& pp, const void* object) {
        return vlt::detail::cio_1DArrayListAccess::Print(
            pp, *static_cast<const cio_1DArrayList*>(object));
    }
};

template <class T>
bio_Ofilter& operator<<(bio_Ofilter& out, const cio_1DArrayList<T, T>* p) {
    return vlt::detail::cio_WritePointer(out, p);
}
template <class T>
bio_Ofilter& operator<<(bio_Ofilter& out, const cow_1DArrayList<T, T>& list) {
    return obj_OutputP0Obj(out, &list, cio_1DArrayList<T, T>::TypeId());
}
template <class T>
bio_Ifilter& operator>>(bio_Ifilter& in, cio_1DArrayList<T, T>*& p) {
    return vlt::detail::cio_ReadPointer(in, p);
}
template <class T>
bio_Ifilter& operator>>(bio_Ifilter& in, cow_1DArrayList<T, T>& list) {
    return vlt::detail::cio_ReadObject<cio_1DArrayList<T, T>>(in, list);
}
template <class T>
pnt_PrettyPrint& operator<<(pnt_PrettyPrint& pp, const cio_1DArrayList<T, T>* p) {
    return obj_PrintP0Ptr(pp, p, cio_1DArrayList<T, T>::TypeId());
}
template <class T>
pnt_PrettyPrint& operator<<(pnt_PrettyPrint& pp, const cow_1DArrayList<T, T>& list) {
    return obj_PrintP0Obj(pp, &list, cio_1DArrayList<T, T>::TypeId());
}

template <class T>
std::ostream& operator<<(std::ostream& out, const cow_1DArrayList<T, T>& list) {
    return pnt_PrintOn(out, list);
}

// The module's rows of the type table (facility 26), which cio_initialize inserts.
inline constexpr unsigned short cio_Facility = 26;
VLTUTL_API typ_ArchCompEntry cio_ArchEntry();

#define VLT_CIO_1DARRAYLIST_DECLARE(T)                                                             \
    extern template class VLTUTL_API cio_1DArrayList<T, T>;                                        \
    extern template VLTUTL_API bio_Ofilter& operator<<(bio_Ofilter&,                               \
                                                       const cio_1DArrayList<T, T>*);              \
    extern template VLTUTL_API bio_Ofilter& operator<<(bio_Ofilter&,                               \
                                                       const cow_1DArrayList<T, T>&);              \
    extern template VLTUTL_API bio_Ifilter& operator>>(bio_Ifilter&, cio_1DArrayList<T, T>*&);     \
    extern template VLTUTL_API bio_Ifilter& operator>>(bio_Ifilter&, cow_1DArrayList<T, T>&);      \
    extern template VLTUTL_API pnt_PrettyPrint& operator<<(pnt_PrettyPrint&,                       \
                                                           const cio_1DArrayList<T, T>*);          \
    extern template VLTUTL_API pnt_PrettyPrint& operator<<(pnt_PrettyPrint&,                       \
                                                           const cow_1DArrayList<T, T>&)
#define VLT_CIO_1DARRAYLIST_DEFINE(T)                                                              \
    template class cio_1DArrayList<T, T>;                                                          \
    template bio_Ofilter& operator<<(bio_Ofilter&, const cio_1DArrayList<T, T>*);                  \
    template bio_Ofilter& operator<<(bio_Ofilter&, const cow_1DArrayList<T, T>&);                  \
    template bio_Ifilter& operator>>(bio_Ifilter&, cio_1DArrayList<T, T>*&);                       \
    template bio_Ifilter& operator>>(bio_Ifilter&, cow_1DArrayList<T, T>&);                        \
    template pnt_PrettyPrint& operator<<(pnt_PrettyPrint&, const cio_1DArrayList<T, T>*);          \
    template pnt_PrettyPrint& operator<<(pnt_PrettyPrint&, const cow_1DArrayList<T, T>&)

VLT_CIO_1DARRAYLIST_DECLARE(float);
VLT_CIO_1DARRAYLIST_DECLARE(unsigned int);
VLT_CIO_1DARRAYLIST_DECLARE(int);
VLT_CIO_1DARRAYLIST_DECLARE(cow_String);
VLT_CIO_1DARRAYLIST_DECLARE(double);
