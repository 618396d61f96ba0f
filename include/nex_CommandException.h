// The abstract root of the exceptions raised by commands: a heading (which command) and a
// detail (what went wrong), reported as "HEADING: DETAIL".
//
// A concrete command exception supplies Propagate, Copy, CommandDetail and CommandHeading,
// and registers a row of its own if it is to travel on a stream.
#pragma once

#include "nex_Exception.h"

class VLTUTL_API nex_CommandException : public nex_Exception {
public:
    ~nex_CommandException() override;

    // CommandHeading() + ": " + CommandDetail().
    cow_String AsString() const override;
    [[noreturn]] void Propagate() const override = 0;
    nex_Exception* Copy() const override = 0;
    unsigned DynTypeId() const override;
    virtual cow_String CommandDetail() const = 0;
    virtual cow_String CommandHeading() const = 0;

    static constexpr unsigned TypeId() { return 0x1f0003u; }
    // The class is abstract: reported, and null.
    static void* CtorFunc(bio_Ifilter& in, void* place);
    static void ReadData(bio_Ifilter& in, void* object);
    static bio_Ofilter& WriteData(bio_Ofilter& out, const void* object);
    static pnt_PrettyPrint& PrintData(pnt_PrettyPrint& pp, const void* object);

protected:
    nex_CommandException() = default;
    explicit nex_CommandException(bio_Ifilter& in) : nex_Exception(in) {}
    nex_CommandException(const nex_CommandException&) = default;
    nex_CommandException& operator=(const nex_CommandException&) = default;
};

// As for nex_Exception; reading accepts only command exceptions.
VLTUTL_API bio_Ofilter& operator<<(bio_Ofilter& out, const nex_CommandException* e);
VLTUTL_API bio_Ofilter& operator<<(bio_Ofilter& out, const nex_CommandException& e);
VLTUTL_API bio_Ifilter& operator>>(bio_Ifilter& in, nex_CommandException*& e);
VLTUTL_API pnt_PrettyPrint& operator<<(pnt_PrettyPrint& pp, const nex_CommandException* e);
VLTUTL_API pnt_PrettyPrint& operator<<(pnt_PrettyPrint& pp, const nex_CommandException& e);
