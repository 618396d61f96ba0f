#include "omi_UseCount.h"
#include "utl_Modules.h"

namespace {
omi_UseCount useCount;
} // namespace

void bio_initialize(int& tally) {
    useCount.Initialize(tally);
}

void bio_finalize(int& tally) {
    useCount.Finalize(tally);
}
