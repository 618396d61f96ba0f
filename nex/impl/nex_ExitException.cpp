#include "nex_ExitException.h"

#include "nex_Serialise.h"

using vlt::detail::nex_Object;

nex_ExitException::nex_ExitException(const cow_String& message, int32_t exitCode)
    : message_(message), exitCode_(exitCode) {}

nex_ExitException::nex_ExitException(bio_Ifilter& in) : nex_Exception(in) {}

nex_ExitException::~nex_ExitException() = default;

cow_String nex_ExitException::AsString() const {
    if (message_.Length() != 0) {
        return message_;
    }
    return cow_String("Exit code: ") + cow_String(static_cast<int>(exitCode_));
}

void nex_ExitException::Propagate() const {
    throw nex_ExitException(*this);
}

nex_Exception* nex_ExitException::Copy() const {
    return new nex_ExitException(*this);
}

unsigned nex_ExitException::DynTypeId() const {
    return TypeId();
}

void* nex_ExitException::CtorFunc(bio_Ifilter& in, void* place) {
    return vlt::detail::nex_Construct<nex_ExitException>(in, place);
}

void nex_ExitException::ReadData(bio_Ifilter& in, void* object) {
    nex_Exception::ReadData(in, object);
    nex_ExitException& e = nex_Object<nex_ExitException>(object);
    in >> e.message_ >> e.exitCode_;
}

bio_Ofilter& nex_ExitException::WriteData(bio_Ofilter& out, const void* object) {
    nex_Exception::WriteData(out, object);
    const nex_ExitException& e = nex_Object<nex_ExitException>(object);
    return out << e.message_ << e.exitCode_;
}

pnt_PrettyPrint& nex_ExitException::PrintData(pnt_PrettyPrint& pp, const void* object) {
    return vlt::detail::nex_PrintNamed(pp, object);
}
