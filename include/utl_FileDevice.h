// Devices of the binary streams over a file, so that a model goes to a file and comes back
// through the internal filters:
//
//     utl_OfileDevice sink("model.bin");        utl_IfileDevice source("model.bin");
//     bio_OinternalFilter out(sink);            bio_IinternalFilter in(source);
//     out << model;                             in >> model;
//
// A device either opens the file by name and owns it (closed when the device ends), or lends
// itself to a utl_File the caller keeps open, writing or reading from the file's position on:
// that is how several streams share one file. Files of any size, the library's open modes and
// its sharing rules are utl_File's.
//
// The output device writes a full buffer, and the rest when the writer calls donePushing() and
// when it ends (writing is the system's write: the file's Flush is what waits for the disk). A
// failed write throws utl_File's nex_TextException naming the file, once: the bytes it could not
// write are dropped. A writer ends with donePushing() to hear of a failure; what the device still
// holds at its end is written too, and since a destructor cannot throw, a failure there goes to
// standard error. The
// input device hands out what the file holds buffer by buffer and an empty buffer at its end, which
// a filter reading on turns into the broken-connection omi_FatalError, as for a peer that has gone.
// Each device owns its one buffer. One thread at a time.
#pragma once

#include "bio_Buffer.h"
#include "bio_Device.h"
#include "utl_File.h"
#include "vlt_Export.h"

#include <memory>

class VLTUTL_API utl_OfileDevice : public bio_Odevice {
public:
    // A size of 0 gives the default buffer of 64 KiB.
    explicit utl_OfileDevice(const cow_String& name, utl_FileAccess access = utl_FileAccessWrite,
                             unsigned size = 0);
    explicit utl_OfileDevice(utl_File& file, unsigned size = 0);
    ~utl_OfileDevice() override;

    // Writes what the buffer holds.
    void donePushing() override;
    void pushFull() override;
    bio_Buffer& pullEmpty() override;

    utl_File& File() const { return *file_; }

private:
    std::unique_ptr<utl_File> owned_;
    utl_File* file_;
    bio_Buffer buffer_;
};

class VLTUTL_API utl_IfileDevice : public bio_Idevice {
public:
    // A size of 0 gives the default buffer of 64 KiB.
    explicit utl_IfileDevice(const cow_String& name, unsigned size = 0);
    explicit utl_IfileDevice(utl_File& file, unsigned size = 0);
    ~utl_IfileDevice() override;

    void pushEmpty() override;
    bio_Buffer& pullFull() override;

    utl_File& File() const { return *file_; }

private:
    std::unique_ptr<utl_File> owned_;
    utl_File* file_;
    bio_Buffer buffer_;
};
