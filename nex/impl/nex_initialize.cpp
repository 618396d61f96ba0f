#include "nex_Exception.h"
#include "omi_UseCount.h"
#include "typ_ArchCompTable.h"
#include "vlt_Modules.h"

namespace {
omi_UseCount useCount;
} // namespace

// The rows need the type table, which typ_initialize makes first.
void nex_initialize(int& tally) {
    if (useCount.Initialize(tally)) {
        typ_ArchCompTable::InsertEntry(nex_Facility, nex_ArchEntry());
    }
}

// Stopping the module deliberately leaves its rows registered.
void nex_finalize(int& tally) {
    useCount.Finalize(tally);
}
