#include "bio_IOmemFilter.h"

#include "bio_Defaults.h"
#include "bio_Wire.h"
#include "crt_Assert.h"
#include "omi_FatalError.h"

#include <cstdlib>
#include <cstring>
#include <new>

using namespace vlt::detail;

namespace {

constexpr char path[] = "bio/impl/bio_IOmemFilter";

// A zeroed block, so that reading past what was written (which is not detected) reads zeros.
// calloc gives large blocks as fresh zero pages, without a pass over them.
char* newBlock(std::size_t size) {
    return static_cast<char*>(std::calloc(size != 0 ? size : 1, 1));
}

} // namespace

bio_IOmemFilter::bio_IOmemFilter(unsigned size)
    : bio_Ofilter(bio_DefaultOdevice()), bio_Ifilter(bio_DefaultIdevice()),
      buffBeg_(newBlock(size)), buffEnd_(buffBeg_ != nullptr ? buffBeg_ + size : nullptr),
      putPtr_(buffBeg_), getPtr_(buffBeg_), granule_(size) {
    CRT_CHECK(buffBeg_ != nullptr, "buffBeg_ != 0", path);
}

bio_IOmemFilter::~bio_IOmemFilter() {
    std::free(buffBeg_);
}

void bio_IOmemFilter::Grow(unsigned n) {
    GrowBy(n);
}

// The new size is the whole capacity plus the request, not the bytes in use plus the request:
// deliberate, clients size their granules on it. A granule of 0 rounds to the byte.
void bio_IOmemFilter::GrowBy(std::size_t n) {
    if (n <= static_cast<std::size_t>(buffEnd_ - putPtr_)) {
        return;
    }
    const std::size_t granule = granule_ != 0 ? granule_ : 1;
    const std::size_t capacity = Capacity();
    const std::size_t size = (capacity + n + granule - 1) / granule * granule;
    char* block = newBlock(size);
    CRT_CHECK_AT(block != nullptr, "buffBeg_ != 0", path, 124);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    const std::size_t written = Written();
    const std::size_t read = Read();
    // Past the put pointer both blocks hold the zeros they were made with.
    if (written != 0) {
        std::memcpy(block, buffBeg_, written);
    }
    putPtr_ = block + written;
    getPtr_ = block + read;
    std::free(buffBeg_);
    buffBeg_ = block;
    buffEnd_ = block + size;
}

void bio_IOmemFilter::ReadPastEnd(const char* text, int line) {
    crt_Assert(text, path, line);
    throw omi_FatalError(omi_ReadPastEndMessage, 0);
}

template <class T>
void bio_IOmemFilter::AppendScalar(const T& v) {
    const bio_StreamForm<T> s = bio_ToStream(v);
    Append(&s, sizeof s);
}

template <class T>
void bio_IOmemFilter::AppendVector(const T* v, unsigned n) {
    bio_PutVector(v, std::size_t{n} * sizeof(bio_StreamForm<T>),
                  [this](const char* p, unsigned k) { Append(p, k); });
}

template <class T>
void bio_IOmemFilter::Take(T& v, const char* text, int line) {
    bio_StreamForm<T> s;
    Fetch(reinterpret_cast<char*>(&s), sizeof s, text, line);
    v = bio_FromStream<T>(s);
}

template <class T>
void bio_IOmemFilter::TakeVector(T* v, unsigned n) {
    bio_GetVector(v, n, [this](char* p, unsigned k) { bio_IOmemFilter::longMove(p, k); });
}

void bio_IOmemFilter::insert(const char* s) {
    bio_InsertString(*this, s);
}

void bio_IOmemFilter::longMove(const char* src, unsigned n) {
    Append(src, n);
}

void bio_IOmemFilter::shortMove(const char* src, unsigned n) {
    Append(src, n);
}

// Forwards to the plain copy: this filter never swaps.
void bio_IOmemFilter::shortSwap(const char* src, unsigned n) {
    Append(src, n);
}

// The stream forms of these differ from their memory forms.
void bio_IOmemFilter::insert(const unsigned long& v) {
    AppendScalar(v);
}
void bio_IOmemFilter::insert(const long& v) {
    AppendScalar(v);
}
void bio_IOmemFilter::insert(const bool& v) {
    AppendScalar(v);
}

#define BIO_IOMEM_OUTPUT(T)                                                                        \
    void bio_IOmemFilter::insertVector(const T* v, unsigned n) {                                   \
        AppendVector(v, n);                                                                        \
    }                                                                                              \
    void bio_IOmemFilter::extractVector(T* v, unsigned n) {                                        \
        TakeVector(v, n);                                                                          \
    }
BIO_FOR_EACH_VALUE_TYPE(BIO_IOMEM_OUTPUT)
#undef BIO_IOMEM_OUTPUT

// Two of the bounds carry published lines; the others report where they stand.
void bio_IOmemFilter::extract(bool& v) {
    Take(v, "getPtr_ + sizeof(bool) <= buffEnd_", 294);
}
void bio_IOmemFilter::extract(int& v) {
    Take(v, "getPtr_ + sizeof(int) <= buffEnd_", 321);
}
void bio_IOmemFilter::extract(double& v) {
    Take(v, "getPtr_ + sizeof(double) <= buffEnd_", __LINE__);
}
void bio_IOmemFilter::extract(float& v) {
    Take(v, "getPtr_ + sizeof(float) <= buffEnd_", __LINE__);
}
void bio_IOmemFilter::extract(unsigned long& v) {
    Take(v, "getPtr_ + sizeof(unsigned long) <= buffEnd_", __LINE__);
}
void bio_IOmemFilter::extract(long& v) {
    Take(v, "getPtr_ + sizeof(long) <= buffEnd_", __LINE__);
}
void bio_IOmemFilter::extract(unsigned int& v) {
    Take(v, "getPtr_ + sizeof(unsigned int) <= buffEnd_", __LINE__);
}
void bio_IOmemFilter::extract(unsigned short& v) {
    Take(v, "getPtr_ + sizeof(unsigned short) <= buffEnd_", __LINE__);
}
void bio_IOmemFilter::extract(short& v) {
    Take(v, "getPtr_ + sizeof(short) <= buffEnd_", __LINE__);
}
void bio_IOmemFilter::extract(unsigned char& v) {
    Take(v, "getPtr_ + sizeof(unsigned char) <= buffEnd_", __LINE__);
}
void bio_IOmemFilter::extract(char& v) {
    Take(v, "getPtr_ + sizeof(char) <= buffEnd_", __LINE__);
}

void bio_IOmemFilter::extract(char*& dst, unsigned n) {
    Fetch(dst, n, "getPtr_ + len <= buffEnd_", 366);
}

void bio_IOmemFilter::longMove(char* dst, unsigned n) {
    Fetch(dst, n, "getPtr_ + n <= buffEnd_", __LINE__);
}

void bio_IOmemFilter::shortMove(char* dst, unsigned n) {
    bio_IOmemFilter::longMove(dst, n);
}

void bio_IOmemFilter::shortSwap(char* dst, unsigned n) {
    bio_IOmemFilter::longMove(dst, n);
}

bool bio_IOmemFilter::holdsBytes(unsigned n) {
    if (n > static_cast<std::size_t>(buffEnd_ - getPtr_)) {
        ReadPastEnd("getPtr_ + len <= buffEnd_", 366);
    }
    return true;
}
