#include "omi_UseCount.h"
#include "omn_Crash.h"
#include "omn_Interrupt.h"
#include "vlt_Modules.h"

namespace {
omi_UseCount useCount;
} // namespace

void omni_initialize(int& tally) {
    if (useCount.Initialize(tally)) {
        omn_enableFPE();
        omi_SetExceptionFilter();
    }
}

void omni_finalize(int& tally) {
    useCount.Finalize(tally);
}
