// The string as a registered class: `cio_String` is a `cow_String` with the type-table
// functions that let strings travel as object records (type id 0x1a0001, "cow_String").
//
// A string on a stream is always an object record: 0x1a0001, marker 0, its length as an
// unsigned 32-bit value, then its characters as a stream string (signed 32-bit length again,
// then the bytes). The length is deliberately written twice. Reading keeps the characters of
// the stream string, clipped to the first length (a disagreement is reported).
//
// The `cow_String` operators here are what every container uses for its string elements.
// A string printed alone is its text, without grouping.
#pragma once

#include "bio_Ifilter.h"
#include "bio_Ofilter.h"
#include "cow_String.h"
#include "vlt_Export.h"

class pnt_PrettyPrint;

class VLTUTL_API cio_String : public cow_String {
public:
    using cow_String::cow_String;
    cio_String() = default;
    cio_String(const cow_String& s) : cow_String(s) {}
    // The empty string; the data is read afterwards by ReadData.
    explicit cio_String(bio_Ifilter&) {}

    static constexpr unsigned TypeId() { return 0x1a0001u; }
    static void* CtorFunc(bio_Ifilter& in, void* storage);
    static void DtorFunc(void* object);
    // The object may be a cio_String or a plain cow_String: the layouts are the same.
    static void ReadData(bio_Ifilter& in, void* object);
    static bio_Ofilter& WriteData(bio_Ofilter& out, const void* object);
    static pnt_PrettyPrint& PrintData(pnt_PrettyPrint& pp, const void* object);
};

VLTUTL_API bio_Ofilter& operator<<(bio_Ofilter& out, const cio_String* p);
VLTUTL_API bio_Ofilter& operator<<(bio_Ofilter& out, const cow_String& s);
VLTUTL_API bio_Ifilter& operator>>(bio_Ifilter& in, cio_String*& p);
VLTUTL_API bio_Ifilter& operator>>(bio_Ifilter& in, cow_String& s);
VLTUTL_API pnt_PrettyPrint& operator<<(pnt_PrettyPrint& pp, const cio_String* p);

namespace vlt::detail {
// A string element of a container read as the pointer form reads its record, with the data
// going straight into `into` instead of a new object. A marker the record gives names null, so
// that a later back-reference cannot reach an object that was never made.
VLTUTL_API void cio_ReadTemporary(bio_Ifilter& in, cow_String& into);
// A string element of an array, read as its object record; a record of another type ends the
// read with `omi_FatalError`, like a list's or a map's.
VLTUTL_API void cio_ReadStringElement(bio_Ifilter& in, cow_String& into);
} // namespace vlt::detail
