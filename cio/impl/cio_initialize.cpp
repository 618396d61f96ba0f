#include "omi_UseCount.h"
#include "utl_Modules.h"

namespace {
omi_UseCount useCount;
} // namespace

void cio_initialize(int& tally) {
    useCount.Initialize(tally);
}

void cio_finalize(int& tally) {
    useCount.Finalize(tally);
}
