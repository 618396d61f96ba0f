// The moves between a filter and its device, shared by the filters' virtual moves and by the
// internal filters' scalar path.
#pragma once

#include "bio_Device.h"

#include <algorithm>
#include <cstring>

namespace vlt::detail {

// Stop a move that cannot go on, so that it never spins: no device (reported), or a device
// with no room left or nothing left to read (the peer has gone). Both throw the
// broken-connection `omi_FatalError`.
[[noreturn]] void bio_NoRoom(const bio_Odevice* device);
[[noreturn]] void bio_NoData(const bio_Idevice* device);

// A copy of the few bytes of a scalar, with the usual widths spelt out so that each becomes
// one load and one store.
inline void bio_CopySmall(char* dst, const char* src, unsigned n) {
    switch (n) {
    case 8:
        std::memcpy(dst, src, 8);
        break;
    case 4:
        std::memcpy(dst, src, 4);
        break;
    case 2:
        std::memcpy(dst, src, 2);
        break;
    case 1:
        *dst = *src;
        break;
    default:
        std::memcpy(dst, src, n);
        break;
    }
}

// Hands the device's buffers to copy(where, done, k), which fills k bytes at where with bytes
// [done, done + k) of the request, until n bytes are placed. A value may thus be split.
template <class Copy>
void bio_Pour(bio_Odevice* device, unsigned n, Copy copy) {
    for (unsigned done = 0; done < n;) {
        char* where = nullptr;
        const unsigned room = device != nullptr ? device->oRemnant(where) : 0;
        if (room == 0) {
            bio_NoRoom(device);
        }
        const unsigned k = std::min(room, n - done);
        copy(where, done, k);
        device->oConsume(k);
        done += k;
    }
}

// Takes bytes from the device's buffers through copy(where, done, k), which moves k bytes from
// where into bytes [done, done + k) of the destination, until n bytes are taken.
template <class Copy>
void bio_Drain(bio_Idevice* device, unsigned n, Copy copy) {
    for (unsigned done = 0; done < n;) {
        char* where = nullptr;
        const unsigned unread = device != nullptr ? device->iRemnant(where) : 0;
        if (unread == 0) {
            bio_NoData(device);
        }
        const unsigned k = std::min(unread, n - done);
        copy(where, done, k);
        device->iConsume(k);
        done += k;
    }
}

// Most scalars fit in the current buffer: one copy, and the general loop only for a value
// that straddles buffers or a device that has stopped. The remnant asked for here is asked
// for again by the loop, which then gets the same buffer back.
inline void bio_ShortMoveOut(bio_Odevice* device, const char* src, unsigned n) {
    char* where = nullptr;
    const unsigned room = device != nullptr ? device->oRemnant(where) : 0;
    if (room != 0 && n <= room) {
        bio_CopySmall(where, src, n);
        device->oConsume(n);
        return;
    }
    bio_Pour(device, n, [src](char* where, unsigned done, unsigned k) {
        bio_CopySmall(where, src + done, k);
    });
}

// An empty buffer from the device is the broken connection at once: asking again could block
// on a peer that has gone, and the error number must be the one of this moment.
inline void bio_ShortMoveIn(bio_Idevice* device, char* dst, unsigned n) {
    char* where = nullptr;
    const unsigned unread = device != nullptr ? device->iRemnant(where) : 0;
    if (unread == 0) {
        bio_NoData(device);
    }
    if (n <= unread) {
        bio_CopySmall(dst, where, n);
        device->iConsume(n);
        return;
    }
    bio_Drain(device, n, [dst](const char* where, unsigned done, unsigned k) {
        bio_CopySmall(dst + done, where, k);
    });
}

} // namespace vlt::detail
