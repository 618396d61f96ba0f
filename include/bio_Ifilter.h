// The abstract binary input stream: the library's binary encoding in, typed values out (the
// encoding is described in bio_Ofilter.h).
//
// Concrete filters implement `extract` and `extractVector`; the three moves, which drain the
// input device buffer by buffer, are implemented here. A device that runs dry (an empty
// buffer: the peer has gone) ends the read with the broken-connection `omi_FatalError`, whose
// code is the system's error number at that moment. A bool is read as true for any non-zero
// byte. The pointer log maps the markers met on the stream to the objects created for them. A
// filter is used by one thread at a time.
//
// Validation log: a reader opens the file a writer filled with `bio_Ofilter::LogWrite` and
// calls `CheckLog` with its own tag at each logical read; the first disagreement is written to
// standard error with its read number and raised as an assertion report.
#pragma once

#include "bio_Device.h"
#include "omi_PointerLog.h"
#include "vlt_Export.h"

#include <cstdint>

class VLTUTL_API bio_Ifilter {
public:
    explicit bio_Ifilter(bio_Idevice* device);
    bio_Ifilter(const bio_Ifilter&) = delete;
    bio_Ifilter& operator=(const bio_Ifilter&) = delete;
    virtual ~bio_Ifilter();

    // n raw bytes into the existing array at dst.
    virtual void extract(char*& dst, unsigned n) = 0;
    virtual void extract(double& v) = 0;
    virtual void extract(float& v) = 0;
    virtual void extract(unsigned long& v) = 0;
    virtual void extract(long& v) = 0;
    virtual void extract(unsigned int& v) = 0;
    virtual void extract(int& v) = 0;
    virtual void extract(unsigned short& v) = 0;
    virtual void extract(short& v) = 0;
    virtual void extract(unsigned char& v) = 0;
    virtual void extract(char& v) = 0;
    virtual void extract(bool& v) = 0;

    virtual void extractVector(double* v, unsigned n) = 0;
    virtual void extractVector(float* v, unsigned n) = 0;
    virtual void extractVector(unsigned long* v, unsigned n) = 0;
    virtual void extractVector(long* v, unsigned n) = 0;
    virtual void extractVector(unsigned int* v, unsigned n) = 0;
    virtual void extractVector(int* v, unsigned n) = 0;
    virtual void extractVector(unsigned short* v, unsigned n) = 0;
    virtual void extractVector(short* v, unsigned n) = 0;
    virtual void extractVector(unsigned char* v, unsigned n) = 0;
    virtual void extractVector(char* v, unsigned n) = 0;
    virtual void extractVector(bool* v, unsigned n) = 0;

    // n bytes into dst, buffer by buffer.
    virtual void longMove(char* dst, unsigned n);
    // The same, for the few bytes of a scalar.
    virtual void shortMove(char* dst, unsigned n);
    // The same with the bytes in reverse order (for values of up to 8 bytes).
    virtual void shortSwap(char* dst, unsigned n);

    // Asked before a length read from the stream sizes an allocation. True when the filter
    // knows that n more bytes are there; a filter that knows they are not reports it and
    // throws `omi_FatalError`; false when it cannot tell (a device stream), in which case the
    // caller reads in bounded chunks.
    virtual bool holdsBytes(unsigned n);

    // What a reader asks before n elements, n read from the stream, size an allocation; each
    // element takes at least `minBytes` bytes on the stream. The product is computed without
    // overflow, and a product past what one stream record can hold counts as not held.
    // `HoldsElements`: true when the stream holds them; false when the filter cannot tell (the
    // caller then reads in bounded pieces); a memory filter that knows they are not there
    // reports it and throws `omi_FatalError`.
    bool HoldsElements(uint64_t n, unsigned minBytes);
    // The same for a reader that allocates all n at once: a stream that cannot tell is
    // trusted up to `unvouchedLimit` bytes, and beyond it the record is refused with
    // `omi_FatalError` (`omi_RecordTooLongMessage`).
    void VouchForElements(uint64_t n, unsigned minBytes);
    static constexpr uint64_t unvouchedLimit = uint64_t{64} << 20;

    // Reads a string record into a new array of length + 1 bytes, NUL-terminated, which the
    // caller owns (delete[]). A negative length is reported and read as the empty string.
    bio_Ifilter& operator>>(char*& s);
    // The same record in two steps, for a reader that keeps the bytes in storage of its own.
    // `ExtractStringLength` reads the length (a negative one reported and read as 0) and is
    // true when the filter vouches for the bytes behind it: they may then go straight into
    // storage of that size with `extract`. Otherwise `ExtractStringBytes` reads them in bounded
    // pieces into a new NUL-terminated array, as `operator>>` does.
    bool ExtractStringLength(unsigned& n);
    char* ExtractStringBytes(unsigned n);
    bio_Ifilter& operator>>(double& v) { return Get(v); }
    bio_Ifilter& operator>>(float& v) { return Get(v); }
    bio_Ifilter& operator>>(unsigned long& v) { return Get(v); }
    bio_Ifilter& operator>>(long& v) { return Get(v); }
    bio_Ifilter& operator>>(unsigned int& v) { return Get(v); }
    bio_Ifilter& operator>>(int& v) { return Get(v); }
    bio_Ifilter& operator>>(unsigned short& v) { return Get(v); }
    bio_Ifilter& operator>>(short& v) { return Get(v); }
    bio_Ifilter& operator>>(unsigned char& v) { return Get(v); }
    bio_Ifilter& operator>>(char& v) { return Get(v); }
    bio_Ifilter& operator>>(bool& v) { return Get(v); }

    // The object recorded for a marker met earlier on this stream, with its type id (0 when
    // unknown).
    bool FindMarker(unsigned marker, void*& p) const {
        unsigned type = 0;
        return pointerLog_.Find(marker, p, type);
    }
    bool FindMarker(unsigned marker, void*& p, unsigned& type) const {
        return pointerLog_.Find(marker, p, type);
    }
    void RecordMarker(unsigned marker, void* p, unsigned type = 0) {
        pointerLog_.Insert(marker, p, type);
    }

    static void BeginErrorChecking(const char* file);
    static void CheckLog(const char* tag);
    static void EndErrorChecking();

protected:
    bio_Idevice* Device() const { return idev_; }

private:
    template <class T>
    bio_Ifilter& Get(T& v) {
        extract(v);
        return *this;
    }
    vlt::detail::omi_MarkerLog pointerLog_;
    bio_Idevice* idev_;
};

// Each allocates one value (a bool starts false), stores its address in p and reads the value
// into it. The caller owns the value (delete). These read a single value, not an array.
VLTUTL_API bio_Ifilter& operator>>(bio_Ifilter& f, bool*& p);
VLTUTL_API bio_Ifilter& operator>>(bio_Ifilter& f, short*& p);
VLTUTL_API bio_Ifilter& operator>>(bio_Ifilter& f, unsigned short*& p);
VLTUTL_API bio_Ifilter& operator>>(bio_Ifilter& f, int*& p);
VLTUTL_API bio_Ifilter& operator>>(bio_Ifilter& f, unsigned int*& p);
VLTUTL_API bio_Ifilter& operator>>(bio_Ifilter& f, long*& p);
VLTUTL_API bio_Ifilter& operator>>(bio_Ifilter& f, unsigned long*& p);
VLTUTL_API bio_Ifilter& operator>>(bio_Ifilter& f, float*& p);
VLTUTL_API bio_Ifilter& operator>>(bio_Ifilter& f, double*& p);
