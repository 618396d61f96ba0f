#include "bio_Defaults.h"
#include "bio_MemoryDevice.h"
#include "omi_UseCount.h"
#include "vlt_Modules.h"

namespace {

omi_UseCount useCount;
bio_Buffer* defaultBuffer = nullptr;
bio_OmemoryDevice* defaultOdevice = nullptr;
bio_ImemoryDevice* defaultIdevice = nullptr;

} // namespace

bio_Odevice* vlt::detail::bio_DefaultOdevice() {
    return defaultOdevice;
}

bio_Idevice* vlt::detail::bio_DefaultIdevice() {
    return defaultIdevice;
}

void bio_initialize(int& tally) {
    if (useCount.Initialize(tally)) {
        defaultBuffer = new bio_Buffer(0);
        defaultOdevice = new bio_OmemoryDevice(*defaultBuffer);
        defaultIdevice = new bio_ImemoryDevice(*defaultBuffer);
    }
}

// The buffer goes first: the devices never touch it on their way out.
void bio_finalize(int& tally) {
    if (useCount.Finalize(tally)) {
        delete defaultBuffer;
        defaultBuffer = nullptr;
        delete defaultOdevice;
        defaultOdevice = nullptr;
        delete defaultIdevice;
        defaultIdevice = nullptr;
    }
}
