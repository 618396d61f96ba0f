#include "obj_p0Interface.h"

#include "bio_IOmemFilter.h"
#include "bio_Ifilter.h"
#include "bio_Ofilter.h"
#include "crt_Assert.h"
#include "omi_FatalError.h"
#include "pnt_PrettyPrint.h"
#include "typ_ArchCompTable.h"
#include "typ_DebugFlags.h"

#include <atomic>
#include <cstdio>

namespace {

constexpr char obj_p0InterfacePath[] = "obj/impl/obj_p0Interface";

// The block and growth granule of a deep copy's memory filter.
constexpr unsigned deepCopyGranule = 8192;

// Set while a deep copy runs: its write and read are not traced.
bool deepCopying = false;

int debugLevel() {
    return typ_DebugFlags::GetDebugFlags(static_cast<unsigned>(obj_Facility));
}

bool traceOutput() {
    return !deepCopying && debugLevel() >= 2;
}

bool traceInput() {
    return !deepCopying && debugLevel() >= 1;
}

// A row may leave its name null (row 0 of a facility); messages print it as empty, and an id
// that names no row too, without a report of its own.
const char* nameOf(unsigned type) {
    const char* name = typ_ArchCompTable::Knows(type) ? typ_ArchCompTable::GetName(type) : nullptr;
    return name != nullptr ? name : "";
}

void traceOutputPtr(const void* p, unsigned type) {
    pnt_PrettyPrint& pp = pnt_debugPrint();
    pp.StartDebug(obj_p0InterfacePath, __LINE__);
    pp << p << " " << (type == 0 ? "(NULL)" : nameOf(type));
    pp.EndDebug();
}

// Writes the record's marker; true when the data must follow (p is new to the filter).
bool writeMarker(bio_Ofilter& out, const void* p) {
    bool first = false;
    const unsigned marker = out.MarkPointer(p, first);
    out << marker;
    return first;
}

// Reads a record's marker and resolves a back-reference; true when *p was resolved so, with the
// type of the object it names (0 when unknown).
bool readMarker(bio_Ifilter& in, void** p, unsigned& marker, unsigned& knownType) {
    in >> marker;
    knownType = 0;
    return marker != 0 && in.FindMarker(marker, *p, knownType);
}

void reportPtrMismatch(unsigned actual, unsigned expected) {
    std::fprintf(stderr,
                 "Error: obj_InputP0Ptr(): Trying to construct from stream but '%s' with tag "
                 "'%x'\n       is not derived from '%s' with tag '%x'. Aborting...\n",
                 nameOf(actual), actual, nameOf(expected), expected);
    CRT_CHECK_AT(false, "typ_ArchCompTable::IsParent(actual, expected)", obj_p0InterfacePath, 216);
}

void reportObjMismatch(unsigned actual, unsigned expected) {
    std::fprintf(stderr,
                 "Error: obj_InputP0Obj(): Trying to construct from stream. Expecting type '%s' "
                 "with tag '%x'.\n       Received type '%s' with tag '%x'. Aborting...\n",
                 nameOf(expected), expected, nameOf(actual), actual);
    CRT_CHECK_AT(false, "actual == expected", obj_p0InterfacePath, 292);
}

// A back-reference to an object of a type other than the one expected is refused like a record
// of that type, and reads null: a crafted stream cannot pass one type off as another. An object
// of unknown type (recorded in the log by someone else) is trusted.
void checkBackReference(void** p, unsigned knownType, unsigned expected) {
    if (*p != nullptr && knownType != 0 && !typ_ArchCompTable::IsParent(knownType, expected)) {
        reportPtrMismatch(knownType, expected);
        *p = nullptr;
    }
}

// Reads the data of a new object; an exception leaves nothing behind: the object is destroyed
// and its marker, if it has one, resolves to null from then on.
void readNewObject(bio_Ifilter& in, void** p, unsigned actual, unsigned marker,
                   typ_ReadFunc readData) {
    try {
        readData(in, *p);
    } catch (...) {
        typ_DtorFunc dtor = typ_ArchCompTable::GetDtorFunc(actual);
        if (dtor != nullptr) {
            dtor(*p);
        }
        *p = nullptr;
        if (marker != 0) {
            in.RecordMarker(marker, nullptr);
        }
        throw;
    }
}

// A client that streams before starting the library meets an empty type table: every record
// would fail its look-up with a report of its own and the stream would stay silently empty.
// One report names the missing call, and each such record fails as a stream does.
void requireStarted() {
    if (typ_ArchCompTable::Size() != 0) {
        return;
    }
    static std::atomic<bool> reported{false};
    if (!reported.exchange(true)) {
        crt_Assert("utl_initialize() before the first record of a registered type",
                   obj_p0InterfacePath, __LINE__);
    }
    throw omi_FatalError(omi_NotStartedMessage, 0);
}

} // namespace

bio_Ofilter& obj_OutputP0Ptr(bio_Ofilter& out, const void* p, unsigned type) {
    if (p == nullptr) {
        const int none = 0;
        out << none;
        return out;
    }
    requireStarted();
    typ_WriteFunc marshall = typ_ArchCompTable::GetWriteFunc(type);
    out << type;
    if (traceOutput()) {
        traceOutputPtr(p, type);
    }
    if (!writeMarker(out, p)) {
        return out;
    }
    CRT_CHECK_AT(marshall != nullptr, "marshall != 0", obj_p0InterfacePath, 76);
    if (marshall != nullptr) {
        marshall(out, p);
    }
    return out;
}

bio_Ofilter& obj_OutputP0Obj(bio_Ofilter& out, const void* p, unsigned type) {
    requireStarted();
    typ_WriteFunc marshall = typ_ArchCompTable::GetWriteFunc(type);
    CRT_CHECK_AT(marshall != nullptr, "marshall != 0", obj_p0InterfacePath, 91);
    const unsigned byValue = 0;
    out << type << byValue;
    if (traceOutput()) {
        pnt_PrettyPrint& pp = pnt_debugPrint();
        pp.StartDebug(obj_p0InterfacePath, __LINE__);
        pp << "Writing " << nameOf(type) << " at addr: " << p;
        pp.EndDebug();
    }
    if (marshall != nullptr) {
        marshall(out, p);
    }
    return out;
}

typ_ReadFunc vlt::detail::obj_InputP0PtrHead(bio_Ifilter& in, void** p, unsigned expected,
                                             unsigned& actual, unsigned& marker) {
    *p = nullptr;
    marker = 0;
    in >> actual;
    if (traceInput()) {
        if (actual == 0) {
            std::fprintf(stderr, "Read a NULL pointer to a %s\n", nameOf(expected));
        } else {
            std::fprintf(stderr, "Reading Ptr. %s (actual=%x, expected=%x)\n", nameOf(actual),
                         actual, expected);
        }
    }
    if (actual == 0) {
        return nullptr;
    }
    requireStarted();
    // A foreign id is refused with the one report of a mismatch, not one per look-up.
    if (!typ_ArchCompTable::Knows(actual) || !typ_ArchCompTable::IsParent(actual, expected)) {
        reportPtrMismatch(actual, expected);
        return nullptr;
    }
    typ_ReadFunc readData = typ_ArchCompTable::GetReadFunc(actual);
    CRT_CHECK_AT(readData != nullptr, "readData != 0", obj_p0InterfacePath, 220);
    unsigned knownType = 0;
    if (readMarker(in, p, marker, knownType)) {
        checkBackReference(p, knownType, expected);
        return nullptr;
    }
    return readData;
}

bio_Ifilter& vlt::detail::obj_InputP0PtrOwned(bio_Ifilter& in, void** p, unsigned expected,
                                              unsigned& actual, unsigned& marker, bool& created) {
    created = false;
    const typ_ReadFunc readData = obj_InputP0PtrHead(in, p, expected, actual, marker);
    if (readData == nullptr) {
        return in;
    }
    typ_CtorFunc ctor = typ_ArchCompTable::GetCtorFunc(actual);
    *p = ctor != nullptr ? ctor(in, nullptr) : nullptr;
    if (*p == nullptr) {
        return in;
    }
    created = true;
    if (marker != 0) {
        in.RecordMarker(marker, *p, actual);
    }
    readNewObject(in, p, actual, marker, readData);
    return in;
}

bio_Ifilter& obj_InputP0Ptr(bio_Ifilter& in, void** p, unsigned expected, unsigned& actual) {
    unsigned marker = 0;
    bool created = false;
    return vlt::detail::obj_InputP0PtrOwned(in, p, expected, actual, marker, created);
}

bio_Ifilter& obj_InputP0Ptr(bio_Ifilter& in, void** p, unsigned expected) {
    unsigned actual = 0;
    return obj_InputP0Ptr(in, p, expected, actual);
}

// A known non-zero marker names an object read before; an object record carries its data in
// full whatever its marker, so the data is read into the new object all the same.
bio_Ifilter& vlt::detail::obj_InputP0ObjInto(bio_Ifilter& in, void* p, unsigned expected,
                                             bool& constructed, unsigned& actual) {
    constructed = false;
    actual = 0;
    requireStarted();
    unsigned marker = 0;
    void* known = nullptr;
    unsigned knownType = 0;
    in >> actual;
    readMarker(in, &known, marker, knownType);
    if (traceInput()) {
        std::fprintf(stderr, "Reading Obj. %s (%x)\n", nameOf(actual), actual);
    }
    const bool matches = actual == expected;
    if (!matches) {
        reportObjMismatch(actual, expected);
    }
    typ_ReadFunc readData = typ_ArchCompTable::GetReadFunc(expected);
    if (matches) {
        CRT_CHECK_AT(readData != nullptr, "readData != 0", obj_p0InterfacePath, 296);
    }
    typ_CtorFunc ctor = typ_ArchCompTable::GetCtorFunc(expected);
    if (ctor == nullptr || ctor(in, p) == nullptr) {
        return in;
    }
    constructed = true;
    if (matches && readData != nullptr) {
        readData(in, p);
    }
    return in;
}

bio_Ifilter& obj_InputP0Obj(bio_Ifilter& in, void* p, unsigned expected) {
    bool constructed = false;
    unsigned actual = 0;
    return vlt::detail::obj_InputP0ObjInto(in, p, expected, constructed, actual);
}

pnt_PrettyPrint& obj_PrintP0Ptr(pnt_PrettyPrint& pp, const void* p, unsigned type) {
    if (p == nullptr) {
        return pp << "(NULL)";
    }
    unsigned marker = 0;
    if (pp.FindMarker(p, marker)) {
        pp.PrintPtr(marker);
        return pp;
    }
    marker = pp.NewMarker(p);
    pp.PrintMarker(marker);
    typ_PrintFunc print = typ_ArchCompTable::GetPrintFunc(type);
    CRT_CHECK_AT(print != nullptr, "print != 0", obj_p0InterfacePath, 136);
    return print != nullptr ? print(pp, p) : pp;
}

pnt_PrettyPrint& obj_PrintP0Obj(pnt_PrettyPrint& pp, const void* p, unsigned type) {
    CRT_CHECK_AT(p != nullptr, "objPtr != 0", obj_p0InterfacePath, 150);
    typ_PrintFunc print = typ_ArchCompTable::GetPrintFunc(type);
    CRT_CHECK_AT(print != nullptr, "print != 0", obj_p0InterfacePath, 154);
    return p != nullptr && print != nullptr ? print(pp, p) : pp;
}

void* obj_DeepCopyP0Ptr(const void* p, unsigned type) {
    struct Untraced {
        Untraced() { deepCopying = true; }
        ~Untraced() { deepCopying = false; }
    } untraced;
    bio_IOmemFilter memory(deepCopyGranule);
    obj_OutputP0Ptr(memory, p, type);
    void* copy = nullptr;
    obj_InputP0Ptr(memory, &copy, type);
    return copy;
}
