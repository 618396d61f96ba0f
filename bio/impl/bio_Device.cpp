#include "bio_Device.h"

#include "bio_Failures.h"
#include "crt_Assert.h"
#include "omi_FatalError.h"
#include "omn_System.h"

#include <algorithm>

namespace {
constexpr char path[] = "bio/impl/bio_Device";
} // namespace

void vlt::detail::bio_ThrowBrokenConnection() {
    throw omi_FatalError::Copied(omi_BrokenConnectionMessage, vlt::detail::SystemLastError());
}

bio_Odevice::~bio_Odevice() = default;

void bio_Odevice::donePushing() {}

unsigned bio_Odevice::NextEmpty(char*& where) {
    if (ocurrent != nullptr) {
        pushFull();
    }
    ocurrent = &pullEmpty();
    // A device that hands out an overfilled buffer offers no room rather than room outside it.
    const unsigned room =
        ocurrent->wr_off < ocurrent->buffLen() ? ocurrent->buffLen() - ocurrent->wr_off : 0;
    where = ocurrent->Data() + (room != 0 ? ocurrent->wr_off : 0);
    return room;
}

void bio_Odevice::ConsumeBeyondRoom(unsigned n) {
    CRT_CHECK(ocurrent != nullptr, "ocurrent != 0", path);
    if (ocurrent == nullptr) {
        return;
    }
    CRT_CHECK(n <= ocurrent->buffLen() - ocurrent->wr_off,
              "n <= ocurrent->buffLen() - ocurrent->wr_off", path);
    ocurrent->wr_off = ocurrent->buffLen();
}

bio_Idevice::~bio_Idevice() = default;

void bio_Idevice::donePulling() {}

unsigned bio_Idevice::NextFull(char*& where) {
    if (icurrent != nullptr) {
        pushEmpty();
    }
    icurrent = &pullFull();
    // Bytes past the capacity were never in the block: they are not offered.
    const uint32_t end = std::min(icurrent->wr_off, icurrent->buffLen());
    const unsigned unread = icurrent->rd_off < end ? end - icurrent->rd_off : 0;
    where = icurrent->Data() + (unread != 0 ? icurrent->rd_off : 0);
    return unread;
}

void bio_Idevice::ConsumeBeyondData(unsigned n) {
    CRT_CHECK(icurrent != nullptr, "icurrent != 0", path);
    if (icurrent == nullptr) {
        return;
    }
    CRT_CHECK(n <= icurrent->wr_off - icurrent->rd_off, "n <= icurrent->wr_off - icurrent->rd_off",
              path);
    icurrent->rd_off = icurrent->wr_off;
}
