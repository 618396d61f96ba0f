#include "nex_CommandException.h"

#include "crt_Assert.h"
#include "nex_Serialise.h"

namespace {
constexpr char nex_CommandExceptionPath[] = "nex/impl/nex_CommandException";
} // namespace

nex_CommandException::~nex_CommandException() = default;

cow_String nex_CommandException::AsString() const {
    return CommandHeading() + ": " + CommandDetail();
}

unsigned nex_CommandException::DynTypeId() const {
    return TypeId();
}

void* nex_CommandException::CtorFunc(bio_Ifilter&, void*) {
    CRT_CHECK_AT(false,
                 "! \"nex_CommandException::CtorFunc(): Illegal call to abstract class "
                 "constructor.\"",
                 nex_CommandExceptionPath, 91);
    return nullptr;
}

// A command exception adds no fields of its own.
void nex_CommandException::ReadData(bio_Ifilter& in, void* object) {
    nex_Exception::ReadData(in, object);
}

bio_Ofilter& nex_CommandException::WriteData(bio_Ofilter& out, const void* object) {
    return nex_Exception::WriteData(out, object);
}

pnt_PrettyPrint& nex_CommandException::PrintData(pnt_PrettyPrint& pp, const void* object) {
    return vlt::detail::nex_PrintCommand(pp, object);
}

bio_Ofilter& operator<<(bio_Ofilter& out, const nex_CommandException* e) {
    return vlt::detail::nex_WritePointer(out, e);
}

bio_Ofilter& operator<<(bio_Ofilter& out, const nex_CommandException& e) {
    return vlt::detail::nex_WriteObject(out, e);
}

bio_Ifilter& operator>>(bio_Ifilter& in, nex_CommandException*& e) {
    return vlt::detail::nex_ReadPointer(in, e);
}

pnt_PrettyPrint& operator<<(pnt_PrettyPrint& pp, const nex_CommandException* e) {
    return vlt::detail::nex_PrintPointer(pp, e);
}

pnt_PrettyPrint& operator<<(pnt_PrettyPrint& pp, const nex_CommandException& e) {
    return vlt::detail::nex_PrintObject(pp, e);
}
