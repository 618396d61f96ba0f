// The type table: what every serialisable type of the suite is, found by its 32-bit type id.
//
// A type id holds a facility number (one per module of the suite) in its upper 16 bits and a
// class number below 0x1000 in its lower 16 bits. Each module owns a static array of rows
// (`typ_Entry`) for its facility, row 0 empty, and inserts it at start-up as a
// `typ_ArchCompEntry`; the table keeps only the pointer and the row count, so the rows must
// live as long as the table uses them. Ids 1 to 4 are the built-in pseudo-types "typ_none",
// "typ_any", "typ_obj" and "typ_ado"; facility 0 holds no rows.
//
// The table is one process-wide array, created by `typ_initialize` with 1024 facility slots.
// It takes no locks: modules register at start-up, on one thread, before any lookup.
//
// A lookup of an id that names no row prints a message on standard error and reports an
// assertion; it then answers an empty row (kind 0, no functions, the empty name, parent
// "typ_none") so that callers carry on safely.
#pragma once

#include "vlt_Export.h"

#include <cstdint>
#include <iosfwd>

class bio_Ifilter;
class bio_Ofilter;
class pnt_PrettyPrint;

// Kinds of row.
enum typ_Kind : unsigned {
    typ_EmptyTT = 0,    // row 0 of a facility
    typ_ClassTT = 4,    // an ordinary class
    typ_ArrayTT = 5,    // an array type: element type and element form are filled
    typ_UnrootedTT = 7, // a type that never descends from "typ_any"
};

// The built-in pseudo-types.
inline constexpr unsigned typ_none = 1;
inline constexpr unsigned typ_any = 2;
inline constexpr unsigned typ_obj = 3;
inline constexpr unsigned typ_ado = 4;

// The functions a row names, by which the marshalling layer handles an object it knows only
// by address and type id.
// Constructs an object from the filter in `storage`, or allocates one when `storage` is null;
// returns its address.
typedef void* (*typ_CtorFunc)(bio_Ifilter& in, void* storage);
typedef void (*typ_ReadFunc)(bio_Ifilter& in, void* object);
typedef bio_Ofilter& (*typ_WriteFunc)(bio_Ofilter& out, const void* object);
typedef pnt_PrettyPrint& (*typ_PrintFunc)(pnt_PrettyPrint& pp, const void* object);
// Destroys and frees the object; null is ignored.
typedef void (*typ_DtorFunc)(void* object);
// Slots of the row layout for the suite's object-pointer class; nothing in this library fills
// or calls them.
typedef void* (*typ_MsgCtorFunc)(const char* message);
typedef pnt_PrettyPrint& (*typ_PPrintFunc)(pnt_PrettyPrint& pp, const void* objectPtr);
typedef bio_Ofilter& (*typ_MarshallFunc)(bio_Ofilter& out, const void* objectPtr);

// One row: the fields in their published order. Every field defaults to zero, so that a
// module's table can name only the fields its rows use.
struct typ_Entry {
    unsigned kind = typ_EmptyTT;
    unsigned length = 0;
    const unsigned char* pointers = nullptr; // which words hold pointers; null when none do
    typ_MsgCtorFunc msgCtor = nullptr;
    typ_PPrintFunc pprint = nullptr;
    typ_MarshallFunc marshall = nullptr;
    unsigned parent = 0;
    unsigned reserved = 0;
    const char* name = nullptr;
    unsigned arrayElemType = 0;         // array kind only
    bool arrayElemsArePointers = false; // array kind only
    typ_CtorFunc ctor = nullptr;
    typ_ReadFunc read = nullptr;
    typ_WriteFunc write = nullptr;
    typ_PrintFunc print = nullptr;
    typ_DtorFunc dtor = nullptr;
};

// A facility's rows: its first row and how many there are.
struct typ_ArchCompEntry {
    typ_ArchCompEntry() = default;
    typ_ArchCompEntry(const typ_Entry* entries_, unsigned size_) : entries(entries_), size(size_) {}

    const typ_Entry* entries = nullptr;
    unsigned size = 0;
};

class VLTUTL_API typ_ArchCompTable {
public:
    // Makes the table with n empty slots, dropping any earlier one.
    static void initialize(int n);
    static void finalize();
    // Facility slots of the table; 0 when there is none.
    static unsigned Size() { return tbsize; }

    static void InsertEntry(unsigned short facility, typ_ArchCompEntry entry);
    static const typ_Entry& GetEntry(unsigned id);

    static unsigned GetLength(unsigned id);
    static const unsigned char* GetPointers(unsigned id);
    static bool HasPointers(unsigned id);
    static typ_MsgCtorFunc GetMsgCtor(unsigned id);
    static typ_PPrintFunc GetPPrint(unsigned id);
    static typ_MarshallFunc GetMarshall(unsigned id);
    // "typ_any" and "typ_obj" answer "typ_any" without a lookup.
    static unsigned GetParent(unsigned id);
    // The pseudo-types answer their names without a lookup.
    static const char* GetName(unsigned id);
    static typ_CtorFunc GetCtorFunc(unsigned id);
    static typ_ReadFunc GetReadFunc(unsigned id);
    static typ_WriteFunc GetWriteFunc(unsigned id);
    static typ_PrintFunc GetPrintFunc(unsigned id);
    static typ_DtorFunc GetDtorFunc(unsigned id);
    // For array rows; another row is reported and answers its (unused) field.
    static unsigned GetArrayElemTypeTag(unsigned id);
    static bool ArrayElemsArePointers(unsigned id);
    // Not supported: always reported, always null.
    static typ_CtorFunc GetHandleCtor(unsigned id);
    // A destroy function for rows whose objects need none.
    static void DtorDummy(void* object);

    // Whether `id` is a pseudo-type or names a row of an inserted facility; asks quietly, so
    // that a reader can refuse a foreign id with one report instead of one per look-up.
    static bool Knows(unsigned id);

    // Whether `child` is `ancestor` or descends from it. Every class descends from "typ_obj";
    // from "typ_any" too, unless it is of the unrooted kind.
    static bool IsParent(unsigned child, unsigned ancestor);

private:
    static typ_ArchCompEntry* table;
    static unsigned tbsize;
};

// Not implemented, deliberately: prints nothing and reports.
VLTUTL_API std::ostream& operator<<(std::ostream& out, const typ_ArchCompEntry& entry);
