#include "bio_Ofilter.h"

#include "bio_Failures.h"
#include "bio_Moves.h"
#include "crt_Assert.h"

#include <fstream>

using namespace vlt::detail;

namespace {

constexpr char path[] = "bio/impl/bio_Ofilter";

// The validation log of the process: open between BeginErrorLogging and EndErrorLogging.
std::ofstream* ofs = nullptr;

} // namespace

bio_Ofilter::bio_Ofilter(bio_Odevice* device) : odev_(device) {}

bio_Ofilter::~bio_Ofilter() = default;

void vlt::detail::bio_NoRoom(const bio_Odevice* device) {
    CRT_CHECK(device != nullptr, "odev_ != 0", path);
    bio_ThrowBrokenConnection();
}

void bio_Ofilter::longMove(const char* src, unsigned n) {
    bio_Pour(odev_, n,
             [src](char* where, unsigned done, unsigned k) { std::memcpy(where, src + done, k); });
}

void bio_Ofilter::shortMove(const char* src, unsigned n) {
    bio_ShortMoveOut(odev_, src, n);
}

// Byte i of the request comes from the value's byte n - 1 - i.
void bio_Ofilter::shortSwap(const char* src, unsigned n) {
    bio_Pour(odev_, n, [src, n](char* where, unsigned done, unsigned k) {
        for (unsigned i = 0; i < k; ++i) {
            where[i] = src[n - 1 - (done + i)];
        }
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
