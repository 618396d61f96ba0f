// The stream and print operators shared by every class that the cio module registers with the
// type table (the string and the 1D array lists): each is a thin typed wrapper around the
// object and pointer records of obj_p0Interface.h.
//
// A class X used here has a static `TypeId()` and is registered under it. Objects read through
// a pointer belong to the caller (delete them with X::DtorFunc or delete). Reading into an
// existing object replaces its value; after a type mismatch it gets the empty value.
#pragma once

#include "obj_p0Interface.h"

#include <new>
#include <utility>

namespace vlt::detail {

// The null record for a null pointer, otherwise a pointer record.
template <class X>
bio_Ofilter& cio_WritePointer(bio_Ofilter& out, const X* p) {
    return obj_OutputP0Ptr(out, p, p != nullptr ? X::TypeId() : 0u);
}

template <class X>
bio_Ifilter& cio_ReadPointer(bio_Ifilter& in, X*& p) {
    void* read = nullptr;
    obj_InputP0Ptr(in, &read, X::TypeId());
    p = static_cast<X*>(read);
    return in;
}

// Builds the record's object in storage of its own, then moves it into `target` (X itself or a
// base of X that X adds no fields to): the target is never left half-read, and an exception
// from the record's data destroys what was built. `actual` gets the type the record named.
template <class X, class Target>
bio_Ifilter& cio_ReadObject(bio_Ifilter& in, Target& target, unsigned& actual) {
    struct Slot {
        alignas(X) unsigned char raw[sizeof(X)];
        bool constructed = false;
        X* Object() { return std::launder(reinterpret_cast<X*>(raw)); }
        ~Slot() {
            if (constructed) {
                Object()->~X();
            }
        }
    } slot;
    obj_InputP0ObjInto(in, slot.raw, X::TypeId(), slot.constructed, actual);
    if (slot.constructed) {
        target = std::move(static_cast<Target&>(*slot.Object()));
    }
    return in;
}

template <class X, class Target>
bio_Ifilter& cio_ReadObject(bio_Ifilter& in, Target& target) {
    unsigned actual = 0;
    return cio_ReadObject<X>(in, target, actual);
}

// The serialisable-type convention's constructor and destructor functions.
template <class X>
void* cio_Construct(bio_Ifilter& in, void* storage) {
    if (storage != nullptr) {
        return new (storage) X(in);
    }
    return new (std::nothrow) X(in);
}

template <class X>
void cio_Destroy(void* object) {
    delete static_cast<X*>(object);
}

} // namespace vlt::detail
