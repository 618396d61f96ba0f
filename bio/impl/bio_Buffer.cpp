#include "bio_Buffer.h"

#include "crt_Assert.h"

#include <new>

namespace {
constexpr char path[] = "bio/impl/bio_Buffer";
constexpr unsigned defaultSize = 4096;
} // namespace

bio_Buffer::bio_Buffer(unsigned size)
    : len_(size != 0 ? size : defaultSize), data_(new (std::nothrow) char[len_]), bufptr_(data_) {
    CRT_CHECK_AT(bufptr_ != nullptr, "bufptr != 0", path, 21);
    if (bufptr_ == nullptr) {
        len_ = 0;
    }
}

bio_Buffer::~bio_Buffer() = default;
