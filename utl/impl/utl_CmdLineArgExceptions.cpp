#include "utl_CmdLineArgExceptions.h"

namespace {
const char argumentOpening[] = "Command line argument ";
} // namespace

utl_MissingCmdLineArgException::utl_MissingCmdLineArgException(const cow_String& argumentName)
    : nex_TextException(argumentName) {}

utl_MissingCmdLineArgException::~utl_MissingCmdLineArgException() = default;

cow_String utl_MissingCmdLineArgException::AsString() const {
    return cow_String(argumentOpening) + Text() + " is required.";
}

void utl_MissingCmdLineArgException::Propagate() const {
    throw utl_MissingCmdLineArgException(*this);
}

nex_Exception* utl_MissingCmdLineArgException::Copy() const {
    return new utl_MissingCmdLineArgException(*this);
}

utl_CmdLineArgFormatException::utl_CmdLineArgFormatException(const cow_String& argumentName,
                                                             const cow_String& typeName)
    : nex_TextException(argumentName), typeName_(typeName) {}

utl_CmdLineArgFormatException::~utl_CmdLineArgFormatException() = default;

cow_String utl_CmdLineArgFormatException::AsString() const {
    return cow_String(argumentOpening) + Text() + " must have type " + typeName_ + ".";
}

void utl_CmdLineArgFormatException::Propagate() const {
    throw utl_CmdLineArgFormatException(*this);
}

nex_Exception* utl_CmdLineArgFormatException::Copy() const {
    return new utl_CmdLineArgFormatException(*this);
}
