#include "bio_InternalFilter.h"

#include "bio_Moves.h"
#include "bio_Wire.h"

#include <typeinfo>

using namespace vlt::detail;

namespace {

// Each scalar goes through shortMove with its width. The library's own filter (not a client's
// subclass, which may override shortMove) makes the base move in place, without the virtual
// call: the same bytes, and a virtual call less per value.
template <class T>
void insertScalar(bio_OinternalFilter& f, bio_Odevice* device, const T& v) {
    const bio_StreamForm<T> s = bio_ToStream(v);
    const char* bytes = reinterpret_cast<const char*>(&s);
    if (typeid(f) == typeid(bio_OinternalFilter)) {
        bio_ShortMoveOut(device, bytes, sizeof s);
    } else {
        f.shortMove(bytes, sizeof s);
    }
}

} // namespace

bio_OinternalFilter::~bio_OinternalFilter() = default;

void bio_OinternalFilter::insert(const char* s) {
    bio_InsertString(*this, s);
}

// n counts bytes whatever T is: deliberate, callers of the wider types rely on it.
#define BIO_OINTERNAL_VALUE(T)                                                                     \
    void bio_OinternalFilter::insert(const T& v) {                                                 \
        insertScalar(*this, Device(), v);                                                          \
    }                                                                                              \
    void bio_OinternalFilter::insertVector(const T* v, unsigned n) {                               \
        bio_PutVector(v, n, [this](const char* p, unsigned k) { longMove(p, k); });                \
    }
BIO_FOR_EACH_VALUE_TYPE(BIO_OINTERNAL_VALUE)
#undef BIO_OINTERNAL_VALUE
