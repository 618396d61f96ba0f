#include "nex_CommandException.h"
#include "nex_ExitException.h"
#include "nex_TextException.h"
#include "typ_ArchCompTable.h"

namespace {

template <class T>
constexpr typ_Entry registered(const char* name, unsigned parent) {
    return typ_Entry{.kind = typ_ClassTT,
                     .length = sizeof(T),
                     .parent = parent,
                     .name = name,
                     .ctor = &T::CtorFunc,
                     .read = &T::ReadData,
                     .write = &T::WriteData,
                     .print = &T::PrintData,
                     .dtor = &T::DtorFunc};
}

constexpr unsigned root = nex_Exception::TypeId();

// Indexed by class number; row 0 is the facility's empty row.
const typ_Entry rows[] = {
    typ_Entry{.parent = typ_none, .name = ""},
    registered<nex_Exception>("nex_Exception", typ_none),
    registered<nex_TextException>("nex_TextException", root),
    registered<nex_CommandException>("nex_CommandException", root),
    registered<nex_AssertException>("nex_AssertException", root),
    registered<nex_BadCastException>("nex_BadCastException", root),
    registered<nex_ExitException>("nex_ExitException", root),
    registered<nex_InvalidObjException>("nex_InvalidObjException", root),
};

} // namespace

typ_ArchCompEntry nex_ArchEntry() {
    return typ_ArchCompEntry(rows, sizeof(rows) / sizeof(rows[0]));
}
