#include "omi_UseCount.h"
#include "vlt_Modules.h"

namespace {
omi_UseCount useCount;
} // namespace

void cow_initialize(int& tally) {
    useCount.Initialize(tally);
}

void cow_finalize(int& tally) {
    useCount.Finalize(tally);
}
