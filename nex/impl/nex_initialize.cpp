#include "omi_UseCount.h"
#include "utl_Modules.h"

namespace {
omi_UseCount useCount;
} // namespace

void nex_initialize(int& tally) {
    useCount.Initialize(tally);
}

void nex_finalize(int& tally) {
    useCount.Finalize(tally);
}
