// Object and pointer marshalling: writing, reading, printing and deep-copying objects of any
// registered type through its type id alone.
//
// A type registers a row in the type table (typ_ArchCompTable.h) with its constructor from a
// stream, reader, writer, printer and destructor. The functions here find those by type id, so
// a pointer to a base class travels as its dynamic type. Records on a stream (32-bit values):
//
//   null pointer             0                       (no marker follows)
//   pointer, first time      type id, marker m > 0, the object's data
//   pointer, seen before     type id, marker m      (no data)
//   object by value          type id, 0, the object's data
//
// Markers are numbered from 1 per output filter in order of first occurrence; the filters'
// pointer logs map address to marker on output and marker to new object on input, so a graph
// with sharing comes back with the same sharing. Objects read through a pointer belong to the
// caller, together with every object a back-reference resolved to: a caller that frees them
// must stop reading from that filter, whose log still names them.
//
// Misuse (a type that does not match, a missing function, an exhausted marker counter) prints
// its message on standard error and raises an assertion report; the operation then stops
// safely: a pointer read stays null, an object read leaves an empty object of the expected
// type. The module's debug level (facility "obj", 23) turns on traces: output at level 2 on the
// debug printer, input at level 1 on standard error. Single-threaded, like the filters.
#pragma once

#include "typ_ArchCompTable.h"
#include "vlt_Export.h"

class bio_Ifilter;
class bio_Ofilter;
class pnt_PrettyPrint;

// The facility number of this module in the type table and the debug flags.
inline constexpr unsigned short obj_Facility = 23;

// A pointer record: the null record for a null p; else the type id, the marker and, the first
// time this filter sees p, the data.
VLTUTL_API bio_Ofilter& obj_OutputP0Ptr(bio_Ofilter& out, const void* p, unsigned type);
// An object record: type id, marker 0, data. The object is not entered in the pointer log.
VLTUTL_API bio_Ofilter& obj_OutputP0Obj(bio_Ofilter& out, const void* p, unsigned type);

// Reads a pointer record into *p: null for the null record, the object met earlier for a
// back-reference, otherwise a new object of the record's type, which must be `expected` or
// descend from it. `actual` gets the record's type id.
VLTUTL_API bio_Ifilter& obj_InputP0Ptr(bio_Ifilter& in, void** p, unsigned expected,
                                       unsigned& actual);
VLTUTL_API bio_Ifilter& obj_InputP0Ptr(bio_Ifilter& in, void** p, unsigned expected);
// Reads an object record of exactly the expected type, constructing it in the raw storage p
// (which must not hold a live object). After a return p always holds an object of the expected
// type; after a type mismatch it is the empty one made from the stream's constructor.
VLTUTL_API bio_Ifilter& obj_InputP0Obj(bio_Ifilter& in, void* p, unsigned expected);

// "(NULL)", a back-reference to an object printed before, or the marker and the object.
VLTUTL_API pnt_PrettyPrint& obj_PrintP0Ptr(pnt_PrettyPrint& pp, const void* p, unsigned type);
// The object, without a marker.
VLTUTL_API pnt_PrettyPrint& obj_PrintP0Obj(pnt_PrettyPrint& pp, const void* p, unsigned type);

// A new copy of the graph under p, made by writing it to memory and reading it back; the
// caller owns it. Sharing inside the graph is preserved.
VLTUTL_API void* obj_DeepCopyP0Ptr(const void* p, unsigned type);

namespace vlt::detail {
// The steps of obj_InputP0Ptr that come before the record's data: *p gets null, or the object
// a back-reference names. The answer is the read function of the record's type when its data
// follows (nothing has been created for it yet), otherwise null. For readers that put the data
// somewhere other than a new object.
VLTUTL_API typ_ReadFunc obj_InputP0PtrHead(bio_Ifilter& in, void** p, unsigned expected,
                                           unsigned& actual, unsigned& marker);
// obj_InputP0Ptr that also gives the record's marker and whether *p is an object this call
// created (rather than null or a back-reference), for callers that own only what they create.
VLTUTL_API bio_Ifilter& obj_InputP0PtrOwned(bio_Ifilter& in, void** p, unsigned expected,
                                            unsigned& actual, unsigned& marker, bool& created);
// obj_InputP0Obj that also says whether p now holds an object, so that a typed caller can
// destroy it when an exception leaves the read half done, and which type the record named.
VLTUTL_API bio_Ifilter& obj_InputP0ObjInto(bio_Ifilter& in, void* p, unsigned expected,
                                           bool& constructed, unsigned& actual);
} // namespace vlt::detail
