// What the classes of the exception family share in their type-table functions and stream
// operators. The type table hands the family's objects around as the address of their
// nex_Exception part, whichever class a row names; these helpers keep to that rule.
#pragma once

#include "bio_Ifilter.h"
#include "bio_Ofilter.h"
#include "cio_String.h"
#include "nex_Exception.h"
#include "obj_p0Interface.h"
#include "pnt_PrettyPrint.h"

#include <new>

namespace vlt::detail {

template <class T>
const T& nex_Object(const void* object) {
    return static_cast<const T&>(*static_cast<const nex_Exception*>(object));
}

template <class T>
T& nex_Object(void* object) {
    return static_cast<T&>(*static_cast<nex_Exception*>(object));
}

// The constructor function of a concrete class: in `place` when given, else on the heap.
template <class T>
void* nex_Construct(bio_Ifilter& in, void* place) {
    T* made = place != nullptr ? new (place) T(in) : new (std::nothrow) T(in);
    return static_cast<nex_Exception*>(made);
}

// The print function of the classes that print as "(NAME": the nex_Exception part, then the
// virtual AsString().
pnt_PrettyPrint& nex_PrintNamed(pnt_PrettyPrint& pp, const void* object);
// The print function of nex_CommandException: the nex_Exception part alone.
pnt_PrettyPrint& nex_PrintCommand(pnt_PrettyPrint& pp, const void* object);

// The stream operators of nex_Exception and nex_CommandException; Root names the type that a
// record read must be or descend from.
template <class Root>
bio_Ofilter& nex_WritePointer(bio_Ofilter& out, const Root* p) {
    const nex_Exception* e = p;
    return obj_OutputP0Ptr(out, e, e != nullptr ? e->DynTypeId() : 0u);
}

template <class Root>
bio_Ofilter& nex_WriteObject(bio_Ofilter& out, const Root& r) {
    const nex_Exception& e = r;
    return obj_OutputP0Obj(out, &e, e.DynTypeId());
}

template <class Root>
bio_Ifilter& nex_ReadPointer(bio_Ifilter& in, Root*& p) {
    void* read = nullptr;
    obj_InputP0Ptr(in, &read, Root::TypeId());
    p = static_cast<Root*>(static_cast<nex_Exception*>(read));
    return in;
}

template <class Root>
pnt_PrettyPrint& nex_PrintPointer(pnt_PrettyPrint& pp, const Root* p) {
    const nex_Exception* e = p;
    return obj_PrintP0Ptr(pp, e, e != nullptr ? e->DynTypeId() : 0u);
}

template <class Root>
pnt_PrettyPrint& nex_PrintObject(pnt_PrettyPrint& pp, const Root& r) {
    const nex_Exception& e = r;
    return obj_PrintP0Obj(pp, &e, e.DynTypeId());
}

} // namespace vlt::detail
