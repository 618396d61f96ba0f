#include "nex_TextException.h"

#include "nex_Serialise.h"

// The members of one text-carrying class; the four differ only in name.
#define NEX_DEFINE_TEXT_EXCEPTION(Class)                                                           \
    Class::Class(const cow_String& text) : text_(text) {}                                          \
    Class::Class(bio_Ifilter& in) : nex_Exception(in) {}                                           \
    Class::~Class() = default;                                                                     \
                                                                                                   \
    cow_String Class::AsString() const {                                                           \
        return text_;                                                                              \
    }                                                                                              \
    void Class::Propagate() const {                                                                \
        throw Class(*this);                                                                        \
    }                                                                                              \
    nex_Exception* Class::Copy() const {                                                           \
        return new Class(*this);                                                                   \
    }                                                                                              \
    unsigned Class::DynTypeId() const {                                                            \
        return TypeId();                                                                           \
    }                                                                                              \
                                                                                                   \
    void* Class::CtorFunc(bio_Ifilter& in, void* place) {                                          \
        return vlt::detail::nex_Construct<Class>(in, place);                                       \
    }                                                                                              \
    void Class::ReadData(bio_Ifilter& in, void* object) {                                          \
        nex_Exception::ReadData(in, object);                                                       \
        in >> vlt::detail::nex_Object<Class>(object).text_;                                        \
    }                                                                                              \
    bio_Ofilter& Class::WriteData(bio_Ofilter& out, const void* object) {                          \
        nex_Exception::WriteData(out, object);                                                     \
        return out << vlt::detail::nex_Object<Class>(object).text_;                                \
    }                                                                                              \
    pnt_PrettyPrint& Class::PrintData(pnt_PrettyPrint& pp, const void* object) {                   \
        return vlt::detail::nex_PrintNamed(pp, object);                                            \
    }

NEX_DEFINE_TEXT_EXCEPTION(nex_TextException)
NEX_DEFINE_TEXT_EXCEPTION(nex_AssertException)
NEX_DEFINE_TEXT_EXCEPTION(nex_BadCastException)
NEX_DEFINE_TEXT_EXCEPTION(nex_InvalidObjException)
