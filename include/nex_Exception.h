// The root of the library's exception family.
//
// Every recoverable error of the library is thrown as a `nex_Exception` derivation. An
// exception knows the source file and line at which it was raised (filled in by `Throw`),
// renders itself for a user and for a developer, clones itself (`Copy`) so that a
// `cow_COW<nex_Exception, cow_Virtual<nex_Exception>>` can keep it, and rethrows itself as
// its own most-derived class (`Propagate`), also when it is reached through a base pointer or
// a handle.
//
// Every class of the family is a registered serialisable type of facility 0x1f ("nex"): an
// exception written to a binary stream is re-created on the reading side with its dynamic
// type and can be rethrown there. The type table passes the family's objects around as the
// address of their `nex_Exception` part. An exception read through a pointer belongs to the
// caller.
//
// Exceptions are values: a copy shares the representations of its strings. Like every string,
// an exception belongs to one thread at a time.
#pragma once

#include "cow_CountedHld.h"
#include "cow_String.h"
#include "vlt_Export.h"

#include <cstdint>
#include <iosfwd>

class bio_Ifilter;
class bio_Ofilter;
class pnt_PrettyPrint;
struct typ_ArchCompEntry;

class VLTUTL_API nex_Exception {
public:
    virtual ~nex_Exception();

    // "Exception: " + UserReport() + " in file " + file + " at line " + line.
    virtual cow_String DeveloperReport() const;
    // AsString(), unless a derivation words it differently for a user.
    virtual cow_String UserReport() const;
    virtual cow_String AsString() const = 0;
    // Throws a copy of the most-derived object by value.
    [[noreturn]] virtual void Propagate() const = 0;
    // A new heap copy of the most-derived object, owned by the caller.
    virtual nex_Exception* Copy() const = 0;
    virtual unsigned DynTypeId() const;

    // Records where the exception is raised, then propagates it. A null file counts as empty.
    [[noreturn]] void Throw(const char* file, int line);

    // Where the exception was last raised: empty and 0 until the first `Throw`.
    const cow_String& FileName() const { return fileName_; }
    int32_t Line() const { return line_; }

    // The serialisable-type functions registered with the type table.
    static constexpr unsigned TypeId() { return 0x1f0001u; }
    // The class is abstract: reported, and null.
    static void* CtorFunc(bio_Ifilter& in, void* place);
    // Destroys and frees any exception of the family through its virtual destructor.
    static void DtorFunc(void* object);
    static void ReadData(bio_Ifilter& in, void* object);
    static bio_Ofilter& WriteData(bio_Ofilter& out, const void* object);
    static pnt_PrettyPrint& PrintData(pnt_PrettyPrint& pp, const void* object);

protected:
    nex_Exception() = default;
    // Reads nothing: the fields are filled in afterwards by ReadData.
    explicit nex_Exception(bio_Ifilter&) {}
    nex_Exception(const nex_Exception&) = default;
    nex_Exception& operator=(const nex_Exception&) = default;

private:
    cow_String fileName_;
    int32_t line_ = 0;
};

// Binary records: a pointer record (the null record for a null pointer) or an object record
// of the exception's dynamic type. Reading creates an exception of whatever class of the
// family the record names; a record of any other type is refused (reported, left null).
VLTUTL_API bio_Ofilter& operator<<(bio_Ofilter& out, const nex_Exception* e);
VLTUTL_API bio_Ofilter& operator<<(bio_Ofilter& out, const nex_Exception& e);
VLTUTL_API bio_Ifilter& operator>>(bio_Ifilter& in, nex_Exception*& e);
// The exception with its marker, or a back-reference. A null pointer is a caller error; it
// prints as the marshalling layer prints null.
VLTUTL_API pnt_PrettyPrint& operator<<(pnt_PrettyPrint& pp, const nex_Exception* e);
VLTUTL_API pnt_PrettyPrint& operator<<(pnt_PrettyPrint& pp, const nex_Exception& e);

// The handle: a held exception is written as an object record, an empty handle as the 32-bit
// integer 0. Deliberately asymmetric: reading goes through the pointer record, for which 0 is
// null, so an empty handle comes back empty.
VLTUTL_API bio_Ofilter& operator<<(bio_Ofilter& out,
                                   const cow_COW<nex_Exception, cow_Virtual<nex_Exception>>& h);
// Replaces what the handle held by the exception read.
VLTUTL_API bio_Ifilter& operator>>(bio_Ifilter& in,
                                   cow_COW<nex_Exception, cow_Virtual<nex_Exception>>& h);
// Allocates a new handle, owned by the caller, and reads into it.
VLTUTL_API bio_Ifilter& operator>>(bio_Ifilter& in,
                                   cow_COW<nex_Exception, cow_Virtual<nex_Exception>>*& h);
// The held exception as an object, or "(NULL)".
VLTUTL_API pnt_PrettyPrint& operator<<(pnt_PrettyPrint& pp,
                                       const cow_COW<nex_Exception, cow_Virtual<nex_Exception>>& h);

// The printed forms above on a standard stream, through a printer on it.
VLTUTL_API std::ostream& operator<<(std::ostream& out, const nex_Exception& e);
VLTUTL_API std::ostream& operator<<(std::ostream& out,
                                    const cow_COW<nex_Exception, cow_Virtual<nex_Exception>>& h);

// The module's facility and its rows of the type table: row 0 empty, then the seven classes
// of the family by class number. `nex_initialize` registers them; they are never withdrawn.
inline constexpr unsigned short nex_Facility = 0x1f;
VLTUTL_API typ_ArchCompEntry nex_ArchEntry();
