#include "bio_InternalFilter.h"

#include "bio_Moves.h"
#include "bio_Wire.h"

#include <typeinfo>

using namespace vlt::detail;

namespace {

// Each scalar comes through shortMove with its width; the library's own filter makes the base
// move in place (see the output side).
template <class T>
void extractScalar(bio_IinternalFilter& f, bio_Idevice* device, T& v) {
    bio_StreamForm<T> s{};
    char* bytes = reinterpret_cast<char*>(&s);
    if (typeid(f) == typeid(bio_IinternalFilter)) {
        bio_ShortMoveIn(device, bytes, sizeof s);
    } else {
        f.shortMove(bytes, sizeof s);
    }
    v = bio_FromStream<T>(s);
}

} // namespace

bio_IinternalFilter::~bio_IinternalFilter() = default;

void bio_IinternalFilter::extract(char*& dst, unsigned n) {
    longMove(dst, n);
}

#define BIO_IINTERNAL_VALUE(T)                                                                     \
    void bio_IinternalFilter::extract(T& v) {                                                      \
        extractScalar(*this, Device(), v);                                                         \
    }                                                                                              \
    void bio_IinternalFilter::extractVector(T* v, unsigned n) {                                    \
        bio_GetVector(v, n, [this](char* p, unsigned k) { longMove(p, k); });                      \
    }
BIO_FOR_EACH_VALUE_TYPE(BIO_IINTERNAL_VALUE)
#undef BIO_IINTERNAL_VALUE
