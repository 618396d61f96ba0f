#include "nex_Exception.h"

#include <exception>

nex_Exception::~nex_Exception() = default;

cow_String nex_Exception::DeveloperReport() const {
    return cow_String("Exception: ") + UserReport() + " in file " + fileName_ + " at line " +
           cow_String(static_cast<int>(line_));
}

cow_String nex_Exception::UserReport() const {
    return AsString();
}

unsigned nex_Exception::DynTypeId() const {
    return TypeId();
}

void nex_Exception::Throw(const char* file, int line) {
    fileName_ = cow_String(file);
    line_ = line;
    Propagate();
    // Only a client derivation whose Propagate forgets to throw gets here.
    std::terminate();
}
