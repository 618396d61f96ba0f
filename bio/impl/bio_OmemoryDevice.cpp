#include "bio_MemoryDevice.h"

#include "omi_FatalError.h"

#include <cstring>

bio_OmemoryDevice::~bio_OmemoryDevice() = default;

// The buffer stays where it is: the input device of the loopback reads it in place.
void bio_OmemoryDevice::pushFull() {}

bio_Buffer& bio_OmemoryDevice::pullEmpty() {
    bio_Buffer* buffer = ocurrent;
    if (buffer != nullptr && buffer->wr_off <= buffer->rd_off) {
        buffer->wr_off = 0;
        buffer->rd_off = 0;
        return *buffer;
    }
    if (buffer != nullptr && buffer->rd_off > 0) {
        const uint32_t unread = buffer->wr_off - buffer->rd_off;
        std::memmove(buffer->Data(), buffer->Data() + buffer->rd_off, unread);
        buffer->wr_off = unread;
        buffer->rd_off = 0;
        return *buffer;
    }
    throw omi_FatalError(omi_BufferOverflowMessage, 0);
}
