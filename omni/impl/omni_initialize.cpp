#include "omi_UseCount.h"
#include "utl_Modules.h"

namespace {
omi_UseCount useCount;
} // namespace

void omni_initialize(int& tally) {
    useCount.Initialize(tally);
}

void omni_finalize(int& tally) {
    useCount.Finalize(tally);
}
