#include "nex_TextException.h"

nex_TextException::nex_TextException(const cow_String& text) : text_(text) {}

nex_TextException::~nex_TextException() = default;

cow_String nex_TextException::AsString() const {
    return text_;
}

void nex_TextException::Propagate() const {
    throw nex_TextException(*this);
}

nex_Exception* nex_TextException::Copy() const {
    return new nex_TextException(*this);
}

unsigned nex_TextException::DynTypeId() const {
    return TypeId();
}
