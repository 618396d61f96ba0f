// Shared by the exception suites: the modules they need, one exception of every class, and a
// command exception, since the library has no concrete one.
#pragma once

#include "../cio/cio_TestStream.h"
#include "nex_CommandException.h"
#include "nex_ExitException.h"
#include "nex_TextException.h"
#include "utl_CmdLineArgExceptions.h"

#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <typeinfo>

namespace vlt::test {

inline std::string Str(const cow_String& s) {
    return std::string(s.c_str(), s.Length());
}

// typeid of a reference: no side effects for the compilers to warn about.
inline const std::type_info& DynamicType(const nex_Exception& e) {
    return typeid(e);
}

class MeshCommandException : public nex_CommandException {
public:
    MeshCommandException() = default;
    cow_String CommandHeading() const override { return "Mesh"; }
    cow_String CommandDetail() const override { return "no nodes"; }
    [[noreturn]] void Propagate() const override { throw MeshCommandException(*this); }
    nex_Exception* Copy() const override { return new MeshCommandException(*this); }
};

// The type table, the streams and the exception rows (nested starts are harmless).
class ExceptionStreamTest : public StreamTest {
protected:
    static void SetUpTestSuite() {
        StreamTest::SetUpTestSuite();
        int tally = 0;
        nex_initialize(tally);
    }
};

// One exception of a class, what it reports, and what a stream turns it into.
struct ExceptionCase {
    std::string name;
    std::function<nex_Exception*()> make;
    std::string asString;
    unsigned typeId;
    // The class and text it comes back with from a stream.
    const std::type_info* readType;
    std::string readAsString;
};

inline std::ostream& operator<<(std::ostream& out, const ExceptionCase& c) {
    return out << c.name;
}

inline std::string CaseName(const testing::TestParamInfo<ExceptionCase>& info) {
    return info.param.name;
}

// Every concrete class of the library's family, and the command-line exceptions.
inline std::vector<ExceptionCase> LibraryCases() {
    return {
        {"Text", [] { return new nex_TextException("disk full"); }, "disk full", 0x1f0002,
         &typeid(nex_TextException), "disk full"},
        {"Assert", [] { return new nex_AssertException("i < n"); }, "i < n", 0x1f0004,
         &typeid(nex_AssertException), "i < n"},
        {"BadCast", [] { return new nex_BadCastException("cast"); }, "cast", 0x1f0005,
         &typeid(nex_BadCastException), "cast"},
        {"InvalidObj", [] { return new nex_InvalidObjException("no nodes"); }, "no nodes", 0x1f0007,
         &typeid(nex_InvalidObjException), "no nodes"},
        {"ExitWithoutMessage", [] { return new nex_ExitException("", -3); }, "Exit code: -3",
         0x1f0006, &typeid(nex_ExitException), "Exit code: -3"},
        {"ExitWithMessage", [] { return new nex_ExitException("stopped", 5); }, "stopped", 0x1f0006,
         &typeid(nex_ExitException), "stopped"},
        {"MissingArgument", [] { return new utl_MissingCmdLineArgException("n"); },
         "Command line argument n is required.", 0x1f0002, &typeid(nex_TextException), "n"},
        {"ArgumentFormat", [] { return new utl_CmdLineArgFormatException("steps", "integer"); },
         "Command line argument steps must have type integer.", 0x1f0002,
         &typeid(nex_TextException), "steps"},
    };
}

} // namespace vlt::test
