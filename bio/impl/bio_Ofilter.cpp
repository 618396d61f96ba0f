#include "bio_Ofilter.h"

#include "bio_Failures.h"
#include "bio_Moves.h"
#include "crt_Assert.h"

#include <algorithm>
#include <fstream>

namespace {

constexpr char path[] = "bio/impl/bio_Ofilter";
constexpr unsigned pointerLogBuckets = 2047;

// The validation log of the process: open between BeginErrorLogging and EndErrorLogging.
std::ofstream* ofs = nullptr;

} // namespace

bio_Ofilter::bio_Ofilter(bio_Odevice* device) : pointerLog_(pointerLogBuckets), odev_(device) {}

bio_Ofilter::~bio_Ofilter() = default;

unsigned bio_Ofilter::Room(char*& where) {
    CRT_CHECK(odev_ != nullptr, "odev_ != 0", path);
    // A device without room would make the moves spin: it is taken as a lost connection.
    const unsigned room = odev_ != nullptr ? odev_->oRemnant(where) : 0;
    if (room == 0) {
        vlt::detail::bio_ThrowBrokenConnection();
    }
    return room;
}

// Hands the device's buffers to copy(where, done, k), which fills k bytes at where with bytes
// [done, done + k) of the request, until n bytes are placed.
template <class Copy>
void bio_Ofilter::Pour(unsigned n, Copy copy) {
    for (unsigned done = 0; done < n;) {
        char* where = nullptr;
        const unsigned k = std::min(Room(where), n - done);
        copy(where, done, k);
        odev_->oConsume(k);
        done += k;
    }
}

void bio_Ofilter::longMove(const char* src, unsigned n) {
    Pour(n, [src](char* where, unsigned done, unsigned k) { std::memcpy(where, src + done, k); });
}

void bio_Ofilter::shortMove(const char* src, unsigned n) {
    Pour(n, [src](char* where, unsigned done, unsigned k) {
        vlt::detail::bio_CopySmall(where, src + done, k);
    });
}

void bio_Ofilter::shortSwap(const char* src, unsigned n) {
    Pour(n, [src, n](char* where, unsigned done, unsigned k) {
        vlt::detail::bio_CopyReversed(where, src + (n - 1 - done), k);
    });
}

void bio_Ofilter::BeginErrorLogging(const char* file) {
    if (ofs != nullptr) {
        return;
    }
    ofs = new std::ofstream;
    if (file != nullptr) {
        ofs->open(file);
    } else {
        ofs->setstate(std::ios::failbit);
    }
    CRT_CHECK_AT(!ofs->fail(), "! ofs->fail()", path, 252);
}

void bio_Ofilter::LogWrite(const char* tag) {
    CRT_CHECK_AT(ofs != nullptr, "ofs != 0", path, 273);
    if (ofs != nullptr) {
        *ofs << (tag != nullptr ? tag : "") << ' ';
    }
}

void bio_Ofilter::EndErrorLogging() {
    delete ofs;
    ofs = nullptr;
}
