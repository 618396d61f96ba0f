#include "bio_MemoryDevice.h"

#include "bio_Failures.h"
#include "crt_Assert.h"

namespace {
constexpr char path[] = "bio/impl/bio_ImemoryDevice";
} // namespace

bio_ImemoryDevice::~bio_ImemoryDevice() = default;

void bio_ImemoryDevice::pushEmpty() {}

// Reading more than was written is a programming error; after the report the drained buffer
// is handed out all the same, and the filter stops on its empty remnant.
bio_Buffer& bio_ImemoryDevice::pullFull() {
    CRT_CHECK_AT(icurrent != nullptr, "icurrent != 0", path, 117);
    if (icurrent == nullptr) {
        vlt::detail::bio_ThrowBrokenConnection();
    }
    CRT_CHECK_AT(icurrent->wr_off > icurrent->rd_off, "icurrent->wr_off > icurrent->rd_off", path,
                 118);
    return *icurrent;
}
