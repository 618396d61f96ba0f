// One block of bytes with a write offset and a read offset: the unit that devices hand out
// and take back.
//
// Bytes [0, wr_off) have been filled, bytes [0, rd_off) of those have been consumed; the
// invariant is rd_off <= wr_off <= buffLen(). The buffer owns its block and frees it when it
// goes; devices only lend buffers. Not shared between threads.
#pragma once

#include "vlt_Export.h"

#include <cstdint>
#include <memory>

class VLTUTL_API bio_Buffer {
public:
    // A capacity of 0 asks for the default, 4096 bytes.
    explicit bio_Buffer(unsigned size);
    bio_Buffer(const bio_Buffer&) = delete;
    bio_Buffer& operator=(const bio_Buffer&) = delete;
    ~bio_Buffer();

    unsigned buffLen() const { return len_; }
    char* Data() { return data_; }
    const char* Data() const { return data_; }

    uint32_t wr_off = 0;
    uint32_t rd_off = 0;

private:
    uint32_t len_;
    char* data_;
    std::unique_ptr<char[]> bufptr_;
};
