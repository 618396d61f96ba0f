#include "omi_UseCount.h"
#include "vlt_Modules.h"

namespace {
omi_UseCount useCount;
} // namespace

void obj_initialize(int& tally) {
    useCount.Initialize(tally);
}

void obj_finalize(int& tally) {
    useCount.Finalize(tally);
}
