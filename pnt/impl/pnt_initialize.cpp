#include "omi_UseCount.h"
#include "pnt_DebugPrint.h"
#include "vlt_Modules.h"

namespace {
omi_UseCount useCount;
} // namespace

void pnt_initialize(int& tally) {
    useCount.Initialize(tally);
}

void pnt_finalize(int& tally) {
    if (useCount.Finalize(tally)) {
        vlt::detail::pnt_releaseDebugPrint();
    }
}
