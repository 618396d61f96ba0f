// Stream and print operators of the ordered maps, written raw (no record around them).
//
// Encoding: i32 entry count, then per entry in the map's plain (tree) iteration order the key,
// then the value. Reading inserts into the map without clearing it first: a key already there
// gets the new value, other entries stay. Keys and values are read as the pointer forms of
// their input operators read them, but in place, without a temporary of their own. A count
// below 1 reads nothing more.
// Printed compact and in key order: "{ a: 1, b: 2 }" on as few lines as the width allows.
#pragma once

#include "cio_1DArray.h"
#include "cow_Map.h"
#include "vlt_Export.h"

template <class K, class V>
bio_Ofilter& operator<<(bio_Ofilter& out, const cow_Map<K, V>& map) {
    const int count = static_cast<int>(map.Size());
    out << count;
    cow_ConstMapIterator<K, V> it(map);
    for (it.First(); !it.IsDone(); it.Next()) {
        vlt::detail::cio_WriteElement(out, it.CurrentKey());
        vlt::detail::cio_WriteElement(out, it.CurrentValue());
    }
    return out;
}

template <class K, class V>
bio_Ifilter& operator>>(bio_Ifilter& in, cow_Map<K, V>& map) {
    int count = 0;
    in >> count;
    for (int i = 0; i < count; ++i) {
        K key{};
        V value{};
        vlt::detail::cio_ReadTemporary(in, key);
        vlt::detail::cio_ReadTemporary(in, value);
        map.Insert(key, value);
    }
    return in;
}

// Printed in key order, so that equal maps print alike.
template <class K, class V>
pnt_PrettyPrint& operator<<(pnt_PrettyPrint& pp, const cow_Map<K, V>& map) {
    cow_ConstMapSortedIt<K, V> it(map);
    it.First();
    return vlt::detail::cio_PrintCompact(pp, "{", ",", "}", map.Size(), [&](uint64_t) {
        vlt::detail::cio_PrintElement(pp, it.CurrentKey());
        pp << ": ";
        vlt::detail::cio_PrintElement(pp, it.CurrentValue());
        it.Next();
    });
}

template <class K, class V>
std::ostream& operator<<(std::ostream& out, const cow_Map<K, V>& map) {
    return pnt_PrintOn(out, map);
}

#define VLT_CIO_MAP_DECLARE(K, V)                                                                  \
    extern template VLTUTL_API bio_Ofilter& operator<<(bio_Ofilter&, const cow_Map<K, V>&);        \
    extern template VLTUTL_API bio_Ifilter& operator>>(bio_Ifilter&, cow_Map<K, V>&);              \
    extern template VLTUTL_API pnt_PrettyPrint& operator<<(pnt_PrettyPrint&, const cow_Map<K, V>&)
#define VLT_CIO_MAP_DEFINE(K, V)                                                                   \
    template bio_Ofilter& operator<<(bio_Ofilter&, const cow_Map<K, V>&);                          \
    template bio_Ifilter& operator>>(bio_Ifilter&, cow_Map<K, V>&);                                \
    template pnt_PrettyPrint& operator<<(pnt_PrettyPrint&, const cow_Map<K, V>&)

VLT_CIO_MAP_DECLARE(cow_String, float);
VLT_CIO_MAP_DECLARE(cow_String, unsigned int);
VLT_CIO_MAP_DECLARE(unsigned int, cow_String);
VLT_CIO_MAP_DECLARE(unsigned int, unsigned int);
