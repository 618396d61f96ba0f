#include "cio_1DArrayList.h"
#include "cio_String.h"
#include "typ_ArchCompTable.h"

namespace {

template <class X>
constexpr typ_Entry registered(const char* name) {
    return typ_Entry{.kind = typ_ClassTT,
                     .length = sizeof(X),
                     .parent = typ_none,
                     .name = name,
                     .ctor = &X::CtorFunc,
                     .read = &X::ReadData,
                     .write = &X::WriteData,
                     .print = &X::PrintData,
                     .dtor = &X::DtorFunc};
}

// Indexed by class number; row 0 is the facility's empty row.
const typ_Entry rows[] = {
    typ_Entry{.parent = typ_none, .name = ""},
    registered<cio_String>("cow_String"),
    registered<cio_1DArrayList<float, float>>("cow_1DArrayListFloat"),
    registered<cio_1DArrayList<unsigned int, unsigned int>>("cow_1DArrayListUint"),
    registered<cio_1DArrayList<int, int>>("cow_1DArrayListInt"),
    registered<cio_1DArrayList<cow_String, cow_String>>("cow_1DArrayListString"),
    registered<cio_1DArrayList<double, double>>("cow_1DArrayListDouble"),
};

} // namespace

typ_ArchCompEntry cio_ArchEntry() {
    return typ_ArchCompEntry(rows, sizeof(rows) / sizeof(rows[0]));
}
