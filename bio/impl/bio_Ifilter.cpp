#include "bio_Ifilter.h"

#include "bio_Failures.h"
#include "bio_Moves.h"
#include "crt_Assert.h"
#include "omi_FatalError.h"

#include <algorithm>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>

namespace {

constexpr char path[] = "bio/impl/bio_Ifilter";
// A string from a stream that cannot vouch for its length is read in pieces of at least this
// size, each at most as large as what has arrived so far, so that a forged length never sizes
// an allocation much beyond the bytes really received.
constexpr std::size_t stringChunk = std::size_t{1} << 16;

// The check file of the process and the number of tags read from it.
std::ifstream* ifs = nullptr;
unsigned long readCount = 0;

} // namespace

using namespace vlt::detail;

bio_Ifilter::bio_Ifilter(bio_Idevice* device) : idev_(device) {}

bio_Ifilter::~bio_Ifilter() = default;

void vlt::detail::bio_NoData(const bio_Idevice* device) {
    CRT_CHECK(device != nullptr, "idev_ != 0", path);
    bio_ThrowBrokenConnection();
}

void bio_Ifilter::longMove(char* dst, unsigned n) {
    bio_Drain(idev_, n, [dst](const char* where, unsigned done, unsigned k) {
        std::memcpy(dst + done, where, k);
    });
}

void bio_Ifilter::shortMove(char* dst, unsigned n) {
    bio_ShortMoveIn(idev_, dst, n);
}

// Byte i of the stream lands at dst[n - 1 - i].
void bio_Ifilter::shortSwap(char* dst, unsigned n) {
    bio_Drain(idev_, n, [dst, n](const char* where, unsigned done, unsigned k) {
        for (unsigned i = 0; i < k; ++i) {
            dst[n - 1 - (done + i)] = where[i];
        }
    });
}

bool bio_Ifilter::holdsBytes(unsigned) {
    return false;
}

namespace {

// The least number of stream bytes of n elements of at least k bytes each, saturated at
// UINT64_MAX so that a forged count cannot wrap to a small figure.
constexpr uint64_t leastBytes(uint64_t n, unsigned k) {
    return k != 0 && n > UINT64_MAX / k ? UINT64_MAX : n * k;
}
static_assert(leastBytes(uint64_t{1} << 62, 16) == UINT64_MAX);
static_assert(leastBytes(3, 4) == 12);

} // namespace

bool bio_Ifilter::HoldsElements(uint64_t n, unsigned minBytes) {
    const uint64_t bytes = leastBytes(n, minBytes);
    // No record of a stream is longer than a 32-bit count of bytes: asking for the most a
    // filter can hold makes a memory filter report and throw.
    const bool fits = bytes <= UINT32_MAX;
    return holdsBytes(fits ? static_cast<unsigned>(bytes) : UINT32_MAX) && fits;
}

void bio_Ifilter::VouchForElements(uint64_t n, unsigned minBytes) {
    if (!HoldsElements(n, minBytes) && leastBytes(n, minBytes) > unvouchedLimit) {
        throw omi_FatalError(omi_RecordTooLongMessage, 0);
    }
}

bio_Ifilter& bio_Ifilter::operator>>(char*& s) {
    unsigned n = 0;
    if (!ExtractStringLength(n)) {
        s = ExtractStringBytes(n);
        return *this;
    }
    std::unique_ptr<char[]> text(new char[std::size_t{n} + 1]);
    char* bytes = text.get();
    extract(bytes, n);
    text[n] = '\0';
    s = text.release();
    return *this;
}

bool bio_Ifilter::ExtractStringLength(unsigned& n) {
    int length = 0;
    extract(length);
    CRT_CHECK(length >= 0, "len >= 0", path);
    n = length > 0 ? static_cast<unsigned>(length) : 0;
    return HoldsElements(n, 1);
}

// A forged length sizes no allocation much beyond the bytes really received (see stringChunk).
char* bio_Ifilter::ExtractStringBytes(unsigned n) {
    std::unique_ptr<char[]> text(new char[std::min<std::size_t>(n, stringChunk) + 1]);
    std::size_t have = 0;
    while (have < n) {
        const std::size_t step = std::min<std::size_t>(n - have, std::max(stringChunk, have));
        if (have != 0) {
            std::unique_ptr<char[]> longer(new char[have + step + 1]);
            std::memcpy(longer.get(), text.get(), have);
            text = std::move(longer);
        }
        char* bytes = text.get() + have;
        extract(bytes, static_cast<unsigned>(step));
        have += step;
    }
    text[n] = '\0';
    return text.release();
}

namespace {

// The value is handed over only once it has been read, so a failed read leaks nothing.
template <class T>
bio_Ifilter& readNew(bio_Ifilter& f, T*& p) {
    std::unique_ptr<T> value(new T());
    f >> *value;
    p = value.release();
    return f;
}

} // namespace

bio_Ifilter& operator>>(bio_Ifilter& f, bool*& p) {
    return readNew(f, p);
}
bio_Ifilter& operator>>(bio_Ifilter& f, short*& p) {
    return readNew(f, p);
}
bio_Ifilter& operator>>(bio_Ifilter& f, unsigned short*& p) {
    return readNew(f, p);
}
bio_Ifilter& operator>>(bio_Ifilter& f, int*& p) {
    return readNew(f, p);
}
bio_Ifilter& operator>>(bio_Ifilter& f, unsigned int*& p) {
    return readNew(f, p);
}
bio_Ifilter& operator>>(bio_Ifilter& f, long*& p) {
    return readNew(f, p);
}
bio_Ifilter& operator>>(bio_Ifilter& f, unsigned long*& p) {
    return readNew(f, p);
}
bio_Ifilter& operator>>(bio_Ifilter& f, float*& p) {
    return readNew(f, p);
}
bio_Ifilter& operator>>(bio_Ifilter& f, double*& p) {
    return readNew(f, p);
}

// Read numbers count from the opening of the check file.
void bio_Ifilter::BeginErrorChecking(const char* file) {
    if (ifs != nullptr) {
        return;
    }
    ifs = new std::ifstream;
    if (file != nullptr) {
        ifs->open(file);
    } else {
        ifs->setstate(std::ios::failbit);
    }
    readCount = 0;
    CRT_CHECK_AT(!ifs->fail(), "! ifs->fail()", path, 269);
}

void bio_Ifilter::CheckLog(const char* tag) {
    if (ifs == nullptr || ifs->fail() || ifs->bad()) {
        return;
    }
    std::string written;
    if (!(*ifs >> written)) {
        return;
    }
    ++readCount;
    const std::string read = tag != nullptr ? tag : "";
    if (written != read) {
        std::cerr << "Error: CheckLog(): wrote '" << written << "' but read '" << read
                  << "' on read number " << readCount << std::endl;
        crt_Assert("! \"Validation Error\"", path, 302);
    }
}

void bio_Ifilter::EndErrorChecking() {
    delete ifs;
    ifs = nullptr;
}
