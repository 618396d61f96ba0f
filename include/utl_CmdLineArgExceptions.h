// The two failures of the command-line reader: a required argument that is absent, and an
// argument whose value does not parse as its declared type.
//
// Both keep the argument's name as the text of their `nex_TextException` base and word the
// sentence only in `AsString`. They deliberately have no type id of their own: on a binary
// stream they travel, and are re-created, as plain `nex_TextException` objects carrying the
// argument's name alone.
#pragma once

#include "nex_TextException.h"

class VLTUTL_API utl_MissingCmdLineArgException : public nex_TextException {
public:
    explicit utl_MissingCmdLineArgException(const cow_String& argumentName);
    explicit utl_MissingCmdLineArgException(bio_Ifilter& in) : nex_TextException(in) {}
    utl_MissingCmdLineArgException(const utl_MissingCmdLineArgException&) = default;
    utl_MissingCmdLineArgException& operator=(const utl_MissingCmdLineArgException&) = default;
    ~utl_MissingCmdLineArgException() override;

    // "Command line argument NAME is required."
    cow_String AsString() const override;
    [[noreturn]] void Propagate() const override;
    nex_Exception* Copy() const override;
};

class VLTUTL_API utl_CmdLineArgFormatException : public nex_TextException {
public:
    utl_CmdLineArgFormatException(const cow_String& argumentName, const cow_String& typeName);
    explicit utl_CmdLineArgFormatException(bio_Ifilter& in) : nex_TextException(in) {}
    utl_CmdLineArgFormatException(const utl_CmdLineArgFormatException&) = default;
    utl_CmdLineArgFormatException& operator=(const utl_CmdLineArgFormatException&) = default;
    ~utl_CmdLineArgFormatException() override;

    // "Command line argument NAME must have type TYPE."
    cow_String AsString() const override;
    [[noreturn]] void Propagate() const override;
    nex_Exception* Copy() const override;

    const cow_String& TypeName() const { return typeName_; }

private:
    cow_String typeName_;
};
