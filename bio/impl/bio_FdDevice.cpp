#include "bio_FdDevice.h"

#include "bio_Failures.h"
#include "omn_System.h"

#include <cstddef>

using namespace vlt::detail;

bio_OfdDevice::bio_OfdDevice(int fd, unsigned size) : fd_(fd), buffer_(size) {}

bio_OfdDevice::~bio_OfdDevice() = default;

void bio_OfdDevice::donePushing() {
    if (ocurrent != nullptr) {
        pushFull();
    }
}

// Sends the filled part of the buffer and empties it; what a failure left unsent stays.
void bio_OfdDevice::pushFull() {
    const uint32_t count = buffer_.wr_off - buffer_.rd_off;
    const std::size_t sent = SystemWrite(fd_, buffer_.Data() + buffer_.rd_off, count);
    buffer_.rd_off += static_cast<uint32_t>(sent);
    if (sent < count) {
        bio_ThrowBrokenConnection();
    }
    buffer_.wr_off = 0;
    buffer_.rd_off = 0;
}

bio_Buffer& bio_OfdDevice::pullEmpty() {
    buffer_.wr_off = 0;
    buffer_.rd_off = 0;
    return buffer_;
}

bio_IfdDevice::bio_IfdDevice(int fd, unsigned size) : fd_(fd), buffer_(size) {}

bio_IfdDevice::~bio_IfdDevice() = default;

void bio_IfdDevice::pushEmpty() {}

// End of file leaves the last error at 0, so the broken-connection error then carries code 0;
// a failed read leaves the system's error number.
bio_Buffer& bio_IfdDevice::pullFull() {
    buffer_.wr_off = 0;
    buffer_.rd_off = 0;
    SystemSetLastError(0);
    const long got = SystemReadSome(fd_, buffer_.Data(), buffer_.buffLen());
    if (got > 0) {
        buffer_.wr_off = static_cast<uint32_t>(got);
    }
    return buffer_;
}
