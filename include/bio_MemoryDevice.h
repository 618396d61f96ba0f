// The in-memory devices: an output and an input device over one caller-owned buffer.
//
// Built over the same `bio_Buffer`, the two form a loopback: what is written through the
// output device is read back through the input device. The loopback holds at most one
// buffer's capacity of unread bytes; writing more throws "buffer overflow in oMemoryDevice",
// unless some bytes were read in between, in which case the unread rest moves to the front of
// the buffer and writing continues. Reading more than was written is a programming error (an
// assertion report), not an end of stream. The devices never own the buffer.
#pragma once

#include "bio_Device.h"
#include "vlt_Export.h"

class VLTUTL_API bio_OmemoryDevice : public bio_Odevice {
public:
    explicit bio_OmemoryDevice(bio_Buffer& buffer) : bio_Odevice(&buffer) {}
    ~bio_OmemoryDevice() override;
    void pushFull() override;
    bio_Buffer& pullEmpty() override;
};

class VLTUTL_API bio_ImemoryDevice : public bio_Idevice {
public:
    explicit bio_ImemoryDevice(bio_Buffer& buffer) : bio_Idevice(&buffer) {}
    ~bio_ImemoryDevice() override;
    void pushEmpty() override;
    bio_Buffer& pullFull() override;
};
