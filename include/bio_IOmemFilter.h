// A filter that is both an output and an input stream over one growable memory block of its
// own: values are appended at the put pointer and read back from the get pointer.
//
// The block starts at the size given to the constructor, which is also the growth granule.
// When a write does not fit, the block grows to its current capacity plus the request, rounded
// up to a multiple of the granule (a generous rule, deliberately so: a 16-byte filter that
// receives 20 bytes grows to 48). Reads are bounded by the end of the block, not by the put
// pointer: reading beyond what was written but inside the block is deliberately not detected
// (the unwritten part of the block reads as zeros). A read past the end of the block is an
// assertion report followed by `omi_FatalError`. Nothing is ever byte-swapped: the three moves
// all copy straight. The filter owns its block; its filter bases are given the module's
// default memory devices, which it never uses. One thread at a time.
#pragma once

#include "bio_FilterOverrides.h"
#include "bio_Ifilter.h"
#include "bio_Ofilter.h"
#include "vlt_Export.h"

#include <cstddef>
#include <cstring>

class VLTUTL_API bio_IOmemFilter : public bio_Ofilter, public bio_Ifilter {
public:
    explicit bio_IOmemFilter(unsigned size);
    ~bio_IOmemFilter() override;

    // Makes room for n more bytes at the put pointer.
    void Grow(unsigned n);

    void insert(const char* s) override;
    // A scalar whose stream form is its memory form is appended inline, so that a caller that
    // knows the filter's type writes it without a call.
    void insert(const double& v) override { Append(&v, sizeof v); }
    void insert(const float& v) override { Append(&v, sizeof v); }
    void insert(const unsigned long& v) override;
    void insert(const long& v) override;
    void insert(const unsigned int& v) override { Append(&v, sizeof v); }
    void insert(const int& v) override { Append(&v, sizeof v); }
    void insert(const unsigned short& v) override { Append(&v, sizeof v); }
    void insert(const short& v) override { Append(&v, sizeof v); }
    void insert(const unsigned char& v) override { Append(&v, sizeof v); }
    void insert(const char& v) override { Append(&v, sizeof v); }
    void insert(const bool& v) override;
    BIO_FOR_EACH_VALUE_TYPE(BIO_DECLARE_INSERT_VECTOR_OVERRIDE)

    void longMove(const char* src, unsigned n) override;
    void shortMove(const char* src, unsigned n) override;
    void shortSwap(const char* src, unsigned n) override;

    BIO_IFILTER_VALUE_OVERRIDES

    void longMove(char* dst, unsigned n) override;
    void shortMove(char* dst, unsigned n) override;
    void shortSwap(char* dst, unsigned n) override;

    bool holdsBytes(unsigned n) override;

    // The block's size, the bytes written and the bytes read so far.
    std::size_t Capacity() const { return static_cast<std::size_t>(buffEnd_ - buffBeg_); }
    std::size_t Written() const { return static_cast<std::size_t>(putPtr_ - buffBeg_); }
    std::size_t Read() const { return static_cast<std::size_t>(getPtr_ - buffBeg_); }
    const char* Data() const { return buffBeg_; }

private:
    // The hot paths stay inline: the class is exported, so an out-of-line call would go
    // through the dynamic linker's indirection.
    void Append(const void* src, std::size_t n) {
        if (n > static_cast<std::size_t>(buffEnd_ - putPtr_)) {
            GrowBy(n);
        }
        if (n != 0) {
            std::memcpy(putPtr_, src, n);
            putPtr_ += n;
        }
    }
    // n bytes from the get pointer into dst; past the end of the block, reports `text` at
    // `line` and throws.
    void Fetch(char* dst, std::size_t n, const char* text, int line) {
        if (n > static_cast<std::size_t>(buffEnd_ - getPtr_)) {
            ReadPastEnd(text, line);
        }
        if (n != 0) {
            std::memcpy(dst, getPtr_, n);
            getPtr_ += n;
        }
    }
    void GrowBy(std::size_t n);
    [[noreturn]] static void ReadPastEnd(const char* text, int line);
    template <class T>
    void Take(T& v, const char* text, int line);
    template <class T>
    void AppendScalar(const T& v);
    template <class T>
    void AppendVector(const T* v, unsigned n);
    template <class T>
    void TakeVector(T* v, unsigned n);

    char* buffBeg_;
    char* buffEnd_;
    char* putPtr_;
    char* getPtr_;
    uint32_t granule_;
};
