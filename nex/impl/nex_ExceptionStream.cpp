#include "nex_Exception.h"
#include "nex_Serialise.h"

namespace {
using Handle = cow_COW<nex_Exception, cow_Virtual<nex_Exception>>;
} // namespace

bio_Ofilter& operator<<(bio_Ofilter& out, const nex_Exception* e) {
    return vlt::detail::nex_WritePointer(out, e);
}

bio_Ofilter& operator<<(bio_Ofilter& out, const nex_Exception& e) {
    return vlt::detail::nex_WriteObject(out, e);
}

bio_Ifilter& operator>>(bio_Ifilter& in, nex_Exception*& e) {
    return vlt::detail::nex_ReadPointer(in, e);
}

pnt_PrettyPrint& operator<<(pnt_PrettyPrint& pp, const nex_Exception* e) {
    return vlt::detail::nex_PrintPointer(pp, e);
}

pnt_PrettyPrint& operator<<(pnt_PrettyPrint& pp, const nex_Exception& e) {
    return vlt::detail::nex_PrintObject(pp, e);
}

bio_Ofilter& operator<<(bio_Ofilter& out, const Handle& h) {
    if (!h.HasValue()) {
        const int32_t none = 0;
        return out << none;
    }
    return out << *h;
}

bio_Ifilter& operator>>(bio_Ifilter& in, Handle& h) {
    nex_Exception* read = nullptr;
    in >> read;
    h = read;
    return in;
}

bio_Ifilter& operator>>(bio_Ifilter& in, Handle*& h) {
    h = new Handle(static_cast<nex_Exception*>(nullptr));
    return in >> *h;
}

pnt_PrettyPrint& operator<<(pnt_PrettyPrint& pp, const Handle& h) {
    if (!h.HasValue()) {
        return pp << "(NULL)";
    }
    return pp << *h;
}

std::ostream& operator<<(std::ostream& out, const nex_Exception& e) {
    return pnt_PrintOn(out, e);
}

std::ostream& operator<<(std::ostream& out, const Handle& h) {
    return pnt_PrintOn(out, h);
}
