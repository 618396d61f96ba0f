#include "omi_UseCount.h"
#include "utl_Modules.h"

namespace {
omi_UseCount useCount;
} // namespace

void pnt_initialize(int& tally) {
    useCount.Initialize(tally);
}

void pnt_finalize(int& tally) {
    useCount.Finalize(tally);
}
