#include "omi_UseCount.h"
#include "typ_ArchCompTable.h"
#include "typ_DebugFlags.h"
#include "vlt_Modules.h"

namespace {

omi_UseCount useCount;

constexpr int facilitySlots = 1024;

} // namespace

void typ_initialize(int& tally) {
    if (useCount.Initialize(tally)) {
        typ_ArchCompTable::initialize(facilitySlots);
        typ_DebugFlags::initialize();
    }
}

// The debug levels and names outlive the table: deliberate, they are settings, not rows.
void typ_finalize(int& tally) {
    if (useCount.Finalize(tally)) {
        typ_ArchCompTable::finalize();
    }
}
