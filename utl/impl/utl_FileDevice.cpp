#include "utl_FileDevice.h"

#include "nex_Exception.h"

#include <cstdio>

namespace {

constexpr unsigned defaultBufferSize = 64 * 1024;

unsigned BufferSize(unsigned size) {
    return size != 0 ? size : defaultBufferSize;
}

} // namespace

utl_OfileDevice::utl_OfileDevice(const cow_String& name, utl_FileAccess access, unsigned size)
    : owned_(std::make_unique<utl_File>(name, access)), file_(owned_.get()),
      buffer_(BufferSize(size)) {}

utl_OfileDevice::utl_OfileDevice(utl_File& file, unsigned size)
    : file_(&file), buffer_(BufferSize(size)) {}

utl_OfileDevice::~utl_OfileDevice() {
    try {
        pushFull();
    } catch (const nex_Exception& failure) {
        std::fprintf(stderr, "%s\n", failure.AsString().c_str());
    }
}

void utl_OfileDevice::donePushing() {
    pushFull();
}

// The buffer is emptied before the write, so that a failure is reported once and the bytes it
// could not write are not tried again at the end.
void utl_OfileDevice::pushFull() {
    const unsigned first = buffer_.rd_off;
    const unsigned count = buffer_.wr_off - first;
    buffer_.wr_off = 0;
    buffer_.rd_off = 0;
    if (count != 0) {
        file_->Write(buffer_.Data() + first, static_cast<int>(count));
    }
}

bio_Buffer& utl_OfileDevice::pullEmpty() {
    buffer_.wr_off = 0;
    buffer_.rd_off = 0;
    return buffer_;
}

utl_IfileDevice::utl_IfileDevice(const cow_String& name, unsigned size)
    : owned_(std::make_unique<utl_File>(name, utl_FileAccessRead)), file_(owned_.get()),
      buffer_(BufferSize(size)) {}

utl_IfileDevice::utl_IfileDevice(utl_File& file, unsigned size)
    : file_(&file), buffer_(BufferSize(size)) {}

utl_IfileDevice::~utl_IfileDevice() = default;

void utl_IfileDevice::pushEmpty() {}

bio_Buffer& utl_IfileDevice::pullFull() {
    buffer_.rd_off = 0;
    buffer_.wr_off = 0;
    const int got = file_->Read(buffer_.Data(), static_cast<int>(buffer_.buffLen()));
    buffer_.wr_off = got > 0 ? static_cast<unsigned>(got) : 0;
    return buffer_;
}
