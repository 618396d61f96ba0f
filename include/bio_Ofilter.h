// The abstract binary output stream: typed values in, the library's one binary encoding out.
//
// Encoding: no tags, no padding, little-endian. bool, char and unsigned char take 1 byte,
// short 2, int, long, float and their unsigned forms 4 (a long that does not fit in 32 bits is
// an assertion report, then it is clipped to the 32-bit range), double 8. A string is its signed
// 32-bit length, then its bytes without the terminator. A vector is its values back to back,
// without a count.
//
// Concrete filters implement `insert` and `insertVector`; the three moves, which stream bytes
// through the output device buffer by buffer (so a value may be split across buffers), are
// implemented here. The pointer log maps object addresses to the markers the object
// marshalling gives them, numbered from 1 per filter. A filter is used by one thread at a time.
//
// The validation log lets a writer record one tag word per logical write into a text file (one
// per process), which a reader checks its own tags against (see bio_Ifilter).
#pragma once

#include "bio_Device.h"
#include "crt_Assert.h"
#include "omi_PointerLog.h"
#include "vlt_Export.h"

namespace vlt::detail {
inline constexpr char bio_OfilterPath[] = "include/bio_Ofilter";
} // namespace vlt::detail

class VLTUTL_API bio_Ofilter {
public:
    explicit bio_Ofilter(bio_Odevice* device);
    bio_Ofilter(const bio_Ofilter&) = delete;
    bio_Ofilter& operator=(const bio_Ofilter&) = delete;
    virtual ~bio_Ofilter();

    // A null string is written as the empty one.
    virtual void insert(const char* s) = 0;
    virtual void insert(const double& v) = 0;
    virtual void insert(const float& v) = 0;
    virtual void insert(const unsigned long& v) = 0;
    virtual void insert(const long& v) = 0;
    virtual void insert(const unsigned int& v) = 0;
    virtual void insert(const int& v) = 0;
    virtual void insert(const unsigned short& v) = 0;
    virtual void insert(const short& v) = 0;
    virtual void insert(const unsigned char& v) = 0;
    virtual void insert(const char& v) = 0;
    virtual void insert(const bool& v) = 0;

    // n bytes from src, buffer by buffer.
    virtual void longMove(const char* src, unsigned n);
    // The same, for the few bytes of a scalar.
    virtual void shortMove(const char* src, unsigned n);
    // The same with the bytes in reverse order (for values of up to 8 bytes).
    virtual void shortSwap(const char* src, unsigned n);

    virtual void insertVector(const double* v, unsigned n) = 0;
    virtual void insertVector(const float* v, unsigned n) = 0;
    virtual void insertVector(const unsigned long* v, unsigned n) = 0;
    virtual void insertVector(const long* v, unsigned n) = 0;
    virtual void insertVector(const unsigned int* v, unsigned n) = 0;
    virtual void insertVector(const int* v, unsigned n) = 0;
    virtual void insertVector(const unsigned short* v, unsigned n) = 0;
    virtual void insertVector(const short* v, unsigned n) = 0;
    virtual void insertVector(const unsigned char* v, unsigned n) = 0;
    virtual void insertVector(const char* v, unsigned n) = 0;
    virtual void insertVector(const bool* v, unsigned n) = 0;

    bio_Ofilter& operator<<(const char* s) { return Put(s); }
    bio_Ofilter& operator<<(const double& v) { return Put(v); }
    bio_Ofilter& operator<<(const float& v) { return Put(v); }
    bio_Ofilter& operator<<(const unsigned long& v) { return Put(v); }
    bio_Ofilter& operator<<(const long& v) { return Put(v); }
    bio_Ofilter& operator<<(const unsigned int& v) { return Put(v); }
    bio_Ofilter& operator<<(const int& v) { return Put(v); }
    bio_Ofilter& operator<<(const unsigned short& v) { return Put(v); }
    bio_Ofilter& operator<<(const short& v) { return Put(v); }
    bio_Ofilter& operator<<(const unsigned char& v) { return Put(v); }
    bio_Ofilter& operator<<(const char& v) { return Put(v); }
    bio_Ofilter& operator<<(const bool& v) { return Put(v); }

    // The marker of p in the pointer log. A pointer seen for the first time gets the next
    // marker and `first` is set: its data must follow on the stream.
    unsigned MarkPointer(const void* p, bool& first) {
        const unsigned marker = pointerLog_.FindOrInsert(p, nextmarker_, first);
        if (first) {
            CRT_CHECK_AT(nextmarker_ != 0, "nextmarker_ != 0", vlt::detail::bio_OfilterPath, 47);
            ++nextmarker_;
        }
        return marker;
    }

    static void BeginErrorLogging(const char* file);
    static void LogWrite(const char* tag);
    static void EndErrorLogging();

protected:
    bio_Odevice* Device() const { return odev_; }

private:
    template <class T>
    bio_Ofilter& Put(const T& v) {
        insert(v);
        return *this;
    }

    vlt::detail::omi_AddressLog pointerLog_;
    uint32_t nextmarker_ = 1;
    bio_Odevice* odev_;
};
