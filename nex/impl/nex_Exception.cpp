#include "nex_Exception.h"

#include "crt_Assert.h"
#include "nex_Serialise.h"

#include <exception>

namespace {

constexpr char nex_ExceptionPath[] = "nex/impl/nex_Exception";

// Every printed exception is one indented group: "(HEADING" and its items, each after a blank
// and an optional break, then ")".
pnt_PrettyPrint& openGroup(pnt_PrettyPrint& pp, const char* heading) {
    return pp << pnt_IndentIn << pnt_GroupOpen << heading;
}

pnt_PrettyPrint& nextItem(pnt_PrettyPrint& pp) {
    return pp << " " << pnt_OptionalBreak;
}

pnt_PrettyPrint& closeGroup(pnt_PrettyPrint& pp) {
    return pp << ")" << pnt_GroupClose << pnt_IndentOut;
}

} // namespace

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

void* nex_Exception::CtorFunc(bio_Ifilter&, void*) {
    CRT_CHECK_AT(false,
                 "! \"nex_Exception::CtorFunc(): Illegal call to abstract class constructor.\"",
                 nex_ExceptionPath, 121);
    return nullptr;
}

void nex_Exception::DtorFunc(void* object) {
    delete static_cast<nex_Exception*>(object);
}

void nex_Exception::ReadData(bio_Ifilter& in, void* object) {
    nex_Exception& e = vlt::detail::nex_Object<nex_Exception>(object);
    in >> e.fileName_ >> e.line_;
}

bio_Ofilter& nex_Exception::WriteData(bio_Ofilter& out, const void* object) {
    const nex_Exception& e = vlt::detail::nex_Object<nex_Exception>(object);
    return out << e.fileName_ << e.line_;
}

pnt_PrettyPrint& nex_Exception::PrintData(pnt_PrettyPrint& pp, const void* object) {
    const nex_Exception& e = vlt::detail::nex_Object<nex_Exception>(object);
    openGroup(pp, "(nex_Exception");
    nextItem(pp) << e.fileName_;
    nextItem(pp) << static_cast<int>(e.line_);
    return closeGroup(pp);
}

pnt_PrettyPrint& vlt::detail::nex_PrintNamed(pnt_PrettyPrint& pp, const void* object) {
    // "(NAME" rather than the class's name is deliberate: readers of these prints expect it.
    openGroup(pp, "(NAME");
    nextItem(pp);
    nex_Exception::PrintData(pp, object);
    nextItem(pp) << nex_Object<nex_Exception>(object).AsString();
    nextItem(pp);
    return closeGroup(pp);
}

pnt_PrettyPrint& vlt::detail::nex_PrintCommand(pnt_PrettyPrint& pp, const void* object) {
    openGroup(pp, "(nex_CommandException");
    nextItem(pp);
    nex_Exception::PrintData(pp, object);
    nextItem(pp);
    return closeGroup(pp);
}
