#include "typ_ArchCompTable.h"

#include "crt_Assert.h"
#include "typ_DebugFlags.h"

#include <cstdio>
#include <new>

typ_ArchCompEntry* typ_ArchCompTable::table = nullptr;
unsigned typ_ArchCompTable::tbsize = 0;

namespace {

constexpr char typ_ArchCompTablePath[] = "typ/impl/typ_ArchCompTable";

// What a failed lookup answers after its report: a row with nothing to call, whose parent
// ends every walk up the parent chain.
constexpr typ_Entry noEntry{.kind = typ_EmptyTT, .parent = typ_none, .name = ""};

// A parent chain longer than this runs in a circle: every real chain is far shorter.
constexpr unsigned longestParentChain = 1u << 16;

bool isRoot(unsigned id) {
    return id == typ_any || id == typ_obj;
}

const typ_Entry& arrayEntry(unsigned id, int line) {
    const typ_Entry& ent = typ_ArchCompTable::GetEntry(id);
    CRT_CHECK_AT(ent.kind == typ_ArrayTT, "ent.kind == typ_ArrayTT", typ_ArchCompTablePath, line);
    return ent;
}

} // namespace

void typ_ArchCompTable::initialize(int n) {
    finalize();
    if (n <= 0) {
        return;
    }
    table = new (std::nothrow) typ_ArchCompEntry[static_cast<unsigned>(n)];
    tbsize = table != nullptr ? static_cast<unsigned>(n) : 0;
}

void typ_ArchCompTable::finalize() {
    delete[] table;
    table = nullptr;
    tbsize = 0;
}

void typ_ArchCompTable::InsertEntry(unsigned short facility, typ_ArchCompEntry entry) {
    const unsigned ix = facility;
    CRT_CHECK_AT(ix < tbsize, "ix < tbsize", typ_ArchCompTablePath, 146);
    if (ix < tbsize) {
        table[ix] = entry;
    }
}

const typ_Entry& typ_ArchCompTable::GetEntry(unsigned id) {
    const unsigned fac = id >> 16;
    const unsigned cls = id & 0xffff;
    if (fac == 0 || fac >= tbsize) {
        std::fprintf(stderr, "Facility number %x out of range\n", fac);
        CRT_CHECK(false, "0 < fac && fac < tbsize", typ_ArchCompTablePath);
        return noEntry;
    }
    const typ_ArchCompEntry& ace = table[fac];
    if (ace.entries == nullptr) {
        std::fprintf(stderr, "Type Tables not inserted for facility %s\n",
                     typ_DebugFlags::GetFacilityName(fac));
    } else if (cls >= ace.size) {
        std::fprintf(stderr, "No type %x in facility %x\n", cls, fac);
    }
    const bool found = cls < ace.size && ace.entries != nullptr;
    CRT_CHECK(found, "cls < ace.size && ace.entries != NULL", typ_ArchCompTablePath);
    CRT_CHECK((cls & 0xf000) == 0, "(cls & 0xf000) == 0", typ_ArchCompTablePath);
    return found ? ace.entries[cls] : noEntry;
}

unsigned typ_ArchCompTable::GetLength(unsigned id) {
    return GetEntry(id).length;
}

const unsigned char* typ_ArchCompTable::GetPointers(unsigned id) {
    return GetEntry(id).pointers;
}

bool typ_ArchCompTable::HasPointers(unsigned id) {
    return GetEntry(id).pointers != nullptr;
}

typ_MsgCtorFunc typ_ArchCompTable::GetMsgCtor(unsigned id) {
    return GetEntry(id).msgCtor;
}

typ_PPrintFunc typ_ArchCompTable::GetPPrint(unsigned id) {
    return GetEntry(id).pprint;
}

typ_MarshallFunc typ_ArchCompTable::GetMarshall(unsigned id) {
    return GetEntry(id).marshall;
}

unsigned typ_ArchCompTable::GetParent(unsigned id) {
    return isRoot(id) ? typ_any : GetEntry(id).parent;
}

bool typ_ArchCompTable::Knows(unsigned id) {
    if (id >= typ_none && id <= typ_ado) {
        return true;
    }
    const unsigned fac = id >> 16;
    const unsigned cls = id & 0xffff;
    return fac != 0 && fac < tbsize && table[fac].entries != nullptr && cls < table[fac].size &&
           (cls & 0xf000) == 0;
}

const char* typ_ArchCompTable::GetName(unsigned id) {
    switch (id) {
    case typ_none:
        return "typ_none";
    case typ_any:
        return "typ_any";
    case typ_obj:
        return "typ_obj";
    case typ_ado:
        return "typ_ado";
    default:
        return GetEntry(id).name;
    }
}

typ_CtorFunc typ_ArchCompTable::GetCtorFunc(unsigned id) {
    return GetEntry(id).ctor;
}

typ_ReadFunc typ_ArchCompTable::GetReadFunc(unsigned id) {
    return GetEntry(id).read;
}

typ_WriteFunc typ_ArchCompTable::GetWriteFunc(unsigned id) {
    return GetEntry(id).write;
}

typ_PrintFunc typ_ArchCompTable::GetPrintFunc(unsigned id) {
    return GetEntry(id).print;
}

typ_DtorFunc typ_ArchCompTable::GetDtorFunc(unsigned id) {
    return GetEntry(id).dtor;
}

unsigned typ_ArchCompTable::GetArrayElemTypeTag(unsigned id) {
    return arrayEntry(id, 166).arrayElemType;
}

bool typ_ArchCompTable::ArrayElemsArePointers(unsigned id) {
    return arrayEntry(id, 156).arrayElemsArePointers;
}

typ_CtorFunc typ_ArchCompTable::GetHandleCtor(unsigned) {
    CRT_CHECK_AT(false, "! \"GetHandleCtor is not supported\"", typ_ArchCompTablePath, 206);
    return nullptr;
}

void typ_ArchCompTable::DtorDummy(void*) {}

bool typ_ArchCompTable::IsParent(unsigned child, unsigned ancestor) {
    if (child == ancestor) {
        return true;
    }
    // The roots descend only from each other. (A child "typ_obj" is answered here, before the
    // walk that would otherwise have to exclude it.)
    if (isRoot(child)) {
        return isRoot(ancestor);
    }
    if (GetEntry(child).kind == typ_UnrootedTT && ancestor == typ_any) {
        return false;
    }
    if (isRoot(ancestor)) {
        return true;
    }
    unsigned id = child;
    for (unsigned step = 0; step < longestParentChain; ++step) {
        id = GetParent(id);
        if (id == ancestor) {
            return true;
        }
        if (id == typ_none || isRoot(id)) {
            return false;
        }
    }
    CRT_CHECK(false, "! \"parent chain ends\"", typ_ArchCompTablePath);
    return false;
}

std::ostream& operator<<(std::ostream& out, const typ_ArchCompEntry&) {
    CRT_CHECK_AT(false, "\"TYPE TABLE PRINT NOT YET IMPLEMENTED\" == 0", typ_ArchCompTablePath,
                 373);
    return out;
}
