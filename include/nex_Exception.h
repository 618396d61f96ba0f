// The root of the library's exception family.
//
// Every recoverable error of the library is thrown as a `nex_Exception` derivation. An
// exception knows the source file and line at which it was raised (filled in by `Throw`),
// renders itself for a user and for a developer, clones itself (`Copy`) so that a
// `cow_COW<nex_Exception, cow_Virtual<nex_Exception>>` can keep it, and rethrows itself as
// its own most-derived class (`Propagate`), also when it is reached through a base pointer or
// a handle.
//
// Exceptions are values: a copy shares the representations of its strings. Like every string,
// an exception belongs to one thread at a time.
#pragma once

#include "cow_CountedHld.h"
#include "cow_String.h"
#include "vlt_Export.h"

#include <cstdint>

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

    static constexpr unsigned TypeId() { return 0x1f0001u; }

protected:
    nex_Exception() = default;
    nex_Exception(const nex_Exception&) = default;
    nex_Exception& operator=(const nex_Exception&) = default;

private:
    cow_String fileName_;
    int32_t line_ = 0;
};

// The exception handle clones through the family's own clone operation, `Copy`.
template <>
struct cow_Virtual<nex_Exception> {
    static nex_Exception* Copy(const nex_Exception& e) { return e.Copy(); }
};
