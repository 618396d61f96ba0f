// Devices over a file descriptor (a pipe, a socket or a file), so that a stream can cross to
// another process or land in a file.
//
// Each device owns one buffer of its own; the descriptor stays the caller's (the devices never
// close it). The output device sends a buffer when it is full and when the writer calls
// `donePushing()`; its destructor sends nothing, so a writer ends every message with
// `donePushing()`. A failed send throws the broken-connection `omi_FatalError` with the
// system's error number; a peer that has gone away does not kill the process with a signal.
// The input device reads whatever the descriptor has ready, up to its capacity; when the peer
// has gone (end of file) or the read fails, it hands out an empty buffer, which the filter
// turns into the broken-connection `omi_FatalError`. One thread at a time.
#pragma once

#include "bio_Device.h"
#include "vlt_Export.h"

class VLTUTL_API bio_OfdDevice : public bio_Odevice {
public:
    // A size of 0 gives the default buffer of 4096 bytes.
    explicit bio_OfdDevice(int fd, unsigned size = 0);
    ~bio_OfdDevice() override;
    // Sends what the current buffer holds.
    void donePushing() override;
    void pushFull() override;
    bio_Buffer& pullEmpty() override;

private:
    int fd_;
    bio_Buffer buffer_;
};

class VLTUTL_API bio_IfdDevice : public bio_Idevice {
public:
    // A size of 0 gives the default buffer of 4096 bytes.
    explicit bio_IfdDevice(int fd, unsigned size = 0);
    ~bio_IfdDevice() override;
    void pushEmpty() override;
    bio_Buffer& pullFull() override;

private:
    int fd_;
    bio_Buffer buffer_;
};
