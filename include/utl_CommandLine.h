// The process's command-line arguments, held once for the whole process.
//
// `utl_CommandLine` answers whether an option was given, its value as text or as a whole
// number, and the raw argument at a position. Options are single-dash words, each optionally
// followed by one value word: "prog -a 1 -b -c" gives a = "1", b and c empty. A word that
// starts with '-' always opens a new option (there is no sign handling and no name=value form),
// so "-n -5" gives the two options "n" and "5". A repeated option keeps its last value. Names
// are compared byte by byte; case matters.
//
// Handing the arguments over. The library owns no `main` and cannot see the host's argument
// vector. Linux has no reliable way for a shared library to ask the system for the process's
// command line: /proc/self/cmdline is Linux-only, missing where /proc is not mounted, and shows
// the words the process was started with, not the vector the host hands on after its
// framework (an MPI launcher, a toolkit) has taken its own options out. So the one published
// way is explicit: the host calls, once at start-up and before any thread reads,
//
//     int main(int argc, char** argv) {
//         utl_setCommandLine(argc, argv);
//
// `utl_setCommandLine` stores argv[0] as the program name and parses the rest; calling it
// again appends (deliberate: the arguments accumulate). It has C linkage so that Fortran hosts
// reach it through ISO_C_BINDING (the module `vlt_commandline` wraps it). A host that keeps its
// arguments as a list without a program name uses `utl_setCommandLineList` instead, which
// replaces the raw arguments and parses every element, the first one included.
//
// Sharing: a `thr_GlobalSingleton`, created by the first `Instance()` and released by
// `utl_finalize`. Every read holds the class's lock and returns copies with representations of
// their own, which the reader may keep and drop on any thread; storing the arguments takes no
// lock, which is why it belongs before the first reader thread starts.
#pragma once

#include "cow_1DArray.h"
#include "cow_List.h"
#include "cow_Map.h"
#include "cow_String.h"
#include "thr_GlobalSingleton.h"
#include "vlt_Export.h"

#include <cstdint>

extern "C" VLTUTL_API void utl_setCommandLine(int argc, char** argv);
VLTUTL_API void utl_setCommandLineList(const cow_1DArrayList<cow_String, cow_String>& args);

class utl_CommandLine;
namespace vlt::detail {
struct utl_CommandLineSetter;
} // namespace vlt::detail
// The instance lives in the library: one per process, also across a DLL boundary.
extern template class VLTUTL_API thr_GlobalSingletonBase<utl_CommandLine>;

class VLTUTL_API utl_CommandLine : public thr_GlobalSingleton<utl_CommandLine> {
public:
    ~utl_CommandLine();

    // The value of the option; throws `utl_MissingCmdLineArgException` when it is absent.
    cow_String ConstGetValue(const cow_String& key) const;
    // The value of the option, or the default when it is absent.
    cow_String ConstGetValue(const cow_String& key, const cow_String& fallback) const;
    // The value as a whole number: decimal digits only (an empty value is 0). Throws
    // `utl_MissingCmdLineArgException` when absent and `utl_CmdLineArgFormatException` for
    // anything else, signs and blanks included; overflow is what atoi gives.
    int ConstGetValueAsInt(const cow_String& key) const;
    // The default when absent; a malformed value still throws.
    int ConstGetValueAsInt(const cow_String& key, int fallback) const;
    // As the int forms, converted with atol (32 bits on every platform the suite runs on).
    long ConstGetValueAsLong(const cow_String& key) const;
    long ConstGetValueAsLong(const cow_String& key, long fallback) const;
    // True when the option was given, with or without a value.
    bool IsMember(const cow_String& key) const;
    // The i-th raw argument; position 0 is the program name after `utl_setCommandLine`.
    cow_String ConstGet(int i) const;
    // The number of raw arguments stored.
    int Size() const;
    // The words that are neither options nor option values, in order: "prog wing.inp -n 2 out"
    // gives "wing.inp" and "out".
    cow_List<cow_String> PlainArguments() const;

private:
    friend class thr_GlobalSingleton<utl_CommandLine>;
    // The setters behind utl_setCommandLine and utl_setCommandLineList (a friend function
    // would be a second declaration of an exported one, which a DLL build refuses).
    friend struct vlt::detail::utl_CommandLineSetter;

    class ReadLock;

    utl_CommandLine();

    void SetArgs(int argc, char** argv);
    void SetArgsList(cow_1DArrayList<cow_String, cow_String> args);
    // The option scan shared by both setters, over the raw arguments from `first` on.
    void Parse(int first);
    // Copies the value under the lock; false when the option is absent.
    bool Lookup(const cow_String& key, cow_String& value) const;
    // The value of a present option, digits checked; the absent case is the caller's.
    cow_String DigitsOf(const cow_String& key, const cow_String& value) const;

    cow_Map<cow_String, cow_String> options;
    int32_t count = 0;
    cow_1DArrayList<cow_String, cow_String> raw;
    cow_List<cow_String> plain;
};

// Flat entry points for numerical code that passes unterminated strings, each followed by its
// length as an unsigned 32-bit value. They are plain, undecorated C symbols: x86-64 has one C
// calling convention, so no callee-cleans variant exists. Fortran reaches them through the
// module `vlt_commandline` (fortran/vlt_commandline.f90, installed beside this header), which
// passes the lengths explicitly because gfortran would otherwise append them after the last
// argument. Names are trimmed of blanks at both ends; none of them throws for an absent option.
extern "C" {
// Stores the option's value as a whole number, or 0 when it is absent. A malformed value
// throws `utl_CmdLineArgFormatException` to the caller.
VLTUTL_API void UTL_COMMANDLINEINTEGER(const char* name, uint32_t nameLength, int* result);
// Stores 0 when the option IS present and 1 when it is absent: a status code (0 = found), not
// a truth value. Deliberate; callers test for 0.
VLTUTL_API void UTL_COMMANDLINEISMEMBER(const char* name, uint32_t nameLength, int* result);
// Stores what `utl_CommandLineStringC` returns for the trimmed name.
VLTUTL_API void UTL_COMMANDLINESTRING(const char* name, uint32_t nameLength, char* buffer,
                                      uint32_t bufferLength, int* result);
// Writes the value blank-padded to n bytes, unterminated, and returns its length. An absent
// option, or a value longer than n, returns 0 and leaves the buffer untouched.
VLTUTL_API int utl_CommandLineStringC(const char* name, char* buffer, unsigned n);
// Copies the value with its terminating zero into out (the caller provides room) and returns
// its length; an absent option returns 0 and leaves out alone.
VLTUTL_API int utl_getArgs(const char* name, char* out);

// For callers that cannot catch a C++ exception (the Fortran module): the readers as status
// codes. Names are trimmed as above; nothing here throws for a bad value.
enum { utl_OptionFound = 0, utl_OptionAbsent = 1, utl_OptionMalformed = 2, utl_OptionTooLong = 3 };
// Stores the value as a whole number (0 unless found) and returns the status.
VLTUTL_API int utl_CommandLineIntegerStatus(const char* name, uint32_t nameLength, int* result);
// Writes the value blank-padded to bufferLength bytes when it fits (else leaves the buffer
// alone), stores its length whenever the option is present, and returns the status.
VLTUTL_API int utl_CommandLineStringStatus(const char* name, uint32_t nameLength, char* buffer,
                                           uint32_t bufferLength, int* length);
}
