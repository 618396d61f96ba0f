#include "bio_FdDevice.h"

#include "bio_Failures.h"
#include "bio_FdPlatform.h"

#include <cerrno>

using namespace vlt::detail;

bio_OfdDevice::bio_OfdDevice(int fd, unsigned size) : fd_(fd), buffer_(size) {}

bio_OfdDevice::~bio_OfdDevice() = default;

void bio_OfdDevice::donePushing() {
    if (ocurrent != nullptr) {
        pushFull();
    }
}

// Sends the filled part of the buffer, however many writes it takes, and empties it.
void bio_OfdDevice::pushFull() {
    const char* data = buffer_.Data();
    uint32_t sent = buffer_.rd_off;
    while (sent < buffer_.wr_off) {
        const long written = bio_FdWrite(fd_, data + sent, buffer_.wr_off - sent);
        if (written <= 0) {
            if (written == 0) {
                errno = EPIPE;
            }
            bio_ThrowBrokenConnection();
        }
        sent += static_cast<uint32_t>(written);
        buffer_.rd_off = sent;
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

// End of file leaves errno at 0, so the broken-connection error then carries code 0; a failed
// read leaves the system's error number.
bio_Buffer& bio_IfdDevice::pullFull() {
    buffer_.wr_off = 0;
    buffer_.rd_off = 0;
    errno = 0;
    const long got = bio_FdRead(fd_, buffer_.Data(), buffer_.buffLen());
    if (got > 0) {
        buffer_.wr_off = static_cast<uint32_t>(got);
    }
    return buffer_;
}
