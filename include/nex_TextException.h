// The exceptions that carry one text and report it unchanged.
//
// `nex_TextException` is what the library throws for a failure that needs no class of its
// own, notably an operating-system failure ("%s: %s" of a context naming the member and the
// system's message). `nex_AssertException` carries the message of a failed check that is
// turned into a recoverable error, `nex_BadCastException` a refused checked cast (see
// nex_BadCastException.h for the checks), `nex_InvalidObjException` an object found in an
// invalid state. The last three are siblings of `nex_TextException`, not derivations: each
// repeats the text field, has its own type id and is caught only as itself or as
// `nex_Exception`.
#pragma once

#include "nex_Exception.h"

// One class of the family, all alike but for its name and type id. DtorFunc is the root's.
#define NEX_TEXT_EXCEPTION(Class, typeId)                                                          \
    class VLTUTL_API Class : public nex_Exception {                                                \
    public:                                                                                        \
        explicit Class(const cow_String& text);                                                    \
        /* Empty: the fields are filled in afterwards by ReadData. */                              \
        explicit Class(bio_Ifilter& in);                                                           \
        Class(const Class&) = default;                                                             \
        Class& operator=(const Class&) = default;                                                  \
        ~Class() override;                                                                         \
                                                                                                   \
        cow_String AsString() const override;                                                      \
        [[noreturn]] void Propagate() const override;                                              \
        nex_Exception* Copy() const override;                                                      \
        unsigned DynTypeId() const override;                                                       \
                                                                                                   \
        const cow_String& Text() const { return text_; }                                           \
                                                                                                   \
        static constexpr unsigned TypeId() { return typeId; }                                      \
        static void* CtorFunc(bio_Ifilter& in, void* place);                                       \
        static void ReadData(bio_Ifilter& in, void* object);                                       \
        static bio_Ofilter& WriteData(bio_Ofilter& out, const void* object);                       \
        static pnt_PrettyPrint& PrintData(pnt_PrettyPrint& pp, const void* object);                \
                                                                                                   \
    private:                                                                                       \
        cow_String text_;                                                                          \
    };

NEX_TEXT_EXCEPTION(nex_TextException, 0x1f0002u)
NEX_TEXT_EXCEPTION(nex_AssertException, 0x1f0004u)
NEX_TEXT_EXCEPTION(nex_BadCastException, 0x1f0005u)
NEX_TEXT_EXCEPTION(nex_InvalidObjException, 0x1f0007u)

#undef NEX_TEXT_EXCEPTION
