#include "omi_UseCount.h"
#include "utl_Modules.h"

namespace {
omi_UseCount useCount;
} // namespace

void typ_initialize(int& tally) {
    useCount.Initialize(tally);
}

void typ_finalize(int& tally) {
    useCount.Finalize(tally);
}
