#include "cio_1DArrayList.h"
#include "omi_UseCount.h"
#include "typ_ArchCompTable.h"
#include "vlt_Modules.h"

namespace {
omi_UseCount useCount;
} // namespace

// The rows need the type table, which typ_initialize makes first.
void cio_initialize(int& tally) {
    if (useCount.Initialize(tally)) {
        typ_ArchCompTable::InsertEntry(cio_Facility, cio_ArchEntry());
    }
}

// Withdraws the rows unless the table has gone already.
void cio_finalize(int& tally) {
    if (useCount.Finalize(tally) && cio_Facility < typ_ArchCompTable::Size()) {
        typ_ArchCompTable::InsertEntry(cio_Facility, typ_ArchCompEntry());
    }
}
