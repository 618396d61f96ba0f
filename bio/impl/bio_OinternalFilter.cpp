#include "bio_InternalFilter.h"

#include "bio_Wire.h"

using namespace vlt::detail;

bio_OinternalFilter::~bio_OinternalFilter() = default;

void bio_OinternalFilter::insert(const char* s) {
    bio_InsertString(*this, s);
}

// n counts bytes whatever T is: deliberate, callers of the wider types rely on it.
#define BIO_OINTERNAL_VALUE(T)                                                                     \
    void bio_OinternalFilter::insert(const T& v) {                                                 \
        bio_ShortInsert(*this, v);                                                                 \
    }                                                                                              \
    void bio_OinternalFilter::insertVector(const T* v, unsigned n) {                               \
        bio_PutVector(v, n, [this](const char* p, unsigned k) { longMove(p, k); });                \
    }
BIO_FOR_EACH_VALUE_TYPE(BIO_OINTERNAL_VALUE)
#undef BIO_OINTERNAL_VALUE
