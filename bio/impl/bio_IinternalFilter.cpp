#include "bio_InternalFilter.h"

#include "bio_Wire.h"

using namespace vlt::detail;

bio_IinternalFilter::~bio_IinternalFilter() = default;

void bio_IinternalFilter::extract(char*& dst, unsigned n) {
    longMove(dst, n);
}

#define BIO_IINTERNAL_VALUE(T)                                                                     \
    void bio_IinternalFilter::extract(T& v) {                                                      \
        bio_ShortExtract(*this, v);                                                                \
    }                                                                                              \
    void bio_IinternalFilter::extractVector(T* v, unsigned n) {                                    \
        bio_GetVector(v, n, [this](char* p, unsigned k) { longMove(p, k); });                      \
    }
BIO_FOR_EACH_VALUE_TYPE(BIO_IINTERNAL_VALUE)
#undef BIO_IINTERNAL_VALUE
