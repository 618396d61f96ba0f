// The abstract devices: sources and sinks of buffers underneath the internal filters.
//
// A `bio_Odevice` hands out buffers with room to write (`pullEmpty`) and takes back the filled
// ones (`pushFull`); a `bio_Idevice` hands out buffers holding unread bytes (`pullFull`) and
// takes back the drained ones (`pushEmpty`). A filter only talks to the remnant/consume pair,
// which asks the device for a new buffer when the current one is used up. Devices lend buffers,
// they do not own the ones they hand out unless a concrete device says so. An input device
// signals that its peer has gone by handing out an empty buffer: the filter turns that into
// the broken-connection `omi_FatalError`. One thread at a time.
#pragma once

#include "bio_Buffer.h"
#include "vlt_Export.h"

class VLTUTL_API bio_Odevice {
public:
    explicit bio_Odevice(bio_Buffer* initial = nullptr) : ocurrent(initial) {}
    bio_Odevice(const bio_Odevice&) = delete;
    bio_Odevice& operator=(const bio_Odevice&) = delete;
    virtual ~bio_Odevice();
    // Called by the writer at the end of a message.
    virtual void donePushing();
    // Takes back the current, filled buffer.
    virtual void pushFull() = 0;
    // Hands out a buffer with room to write.
    virtual bio_Buffer& pullEmpty() = 0;

    // The room left in the current buffer, at `where`; a full buffer is pushed and the next
    // one pulled first.
    unsigned oRemnant(char*& where) {
        if (ocurrent != nullptr && ocurrent->wr_off < ocurrent->buffLen()) {
            where = ocurrent->Data() + ocurrent->wr_off;
            return ocurrent->buffLen() - ocurrent->wr_off;
        }
        return NextEmpty(where);
    }
    // Records that n bytes were written at the remnant.
    void oConsume(unsigned n) {
        if (ocurrent != nullptr && n <= ocurrent->buffLen() - ocurrent->wr_off) {
            ocurrent->wr_off += n;
        } else {
            ConsumeBeyondRoom(n);
        }
    }

protected:
    bio_Buffer* ocurrent;

private:
    unsigned NextEmpty(char*& where);
    void ConsumeBeyondRoom(unsigned n);
};

class VLTUTL_API bio_Idevice {
public:
    explicit bio_Idevice(bio_Buffer* initial = nullptr) : icurrent(initial) {}
    bio_Idevice(const bio_Idevice&) = delete;
    bio_Idevice& operator=(const bio_Idevice&) = delete;
    virtual ~bio_Idevice();
    // Called by the reader at the end of a message.
    virtual void donePulling();
    // Takes back the drained buffer.
    virtual void pushEmpty() = 0;
    // Hands out a buffer holding unread bytes (an empty one when the peer has gone).
    virtual bio_Buffer& pullFull() = 0;

    // The unread bytes of the current buffer, at `where`; a drained buffer is pushed and the
    // next one pulled first. 0 means the stream has ended.
    unsigned iRemnant(char*& where) {
        if (icurrent != nullptr && icurrent->rd_off < icurrent->wr_off) {
            where = icurrent->Data() + icurrent->rd_off;
            return icurrent->wr_off - icurrent->rd_off;
        }
        return NextFull(where);
    }
    // Records that n bytes were read at the remnant.
    void iConsume(unsigned n) {
        if (icurrent != nullptr && n <= icurrent->wr_off - icurrent->rd_off) {
            icurrent->rd_off += n;
        } else {
            ConsumeBeyondData(n);
        }
    }

protected:
    bio_Buffer* icurrent;

private:
    unsigned NextFull(char*& where);
    void ConsumeBeyondData(unsigned n);
};
