// The operating-system operations behind the crash handler (omn_Crash.h).
//
// The portable sources decide what a report says and in which order; each platform implements
// these in omn_Crash*_<os>.cpp. Everything except CrashPrepare runs inside a fault filter: no
// heap, no stdio, no lazy symbol binding, no faults.
#pragma once

#include "omn_Crash.h"

#include <cstddef>
#include <cstdint>

namespace vlt::detail {

// Loads and resolves everything the report path calls and gives the calling thread an
// alternate signal stack. Idempotent; false when stack walks cannot be made.
bool CrashPrepare();
// CrashPrepare's share of the symbol side (omn_CrashSymbols_<os>.cpp): loads the walker and the
// symbol helpers, once per process; false when walks cannot be made.
bool CrashPrepareSymbols();

// Probes that never fault.
bool CrashReadable(const void* address, std::size_t size);
bool CrashWritable(void* address, std::size_t size);
bool CrashExecutable(const void* address);

// The process-wide filter and what happens when it answers "continue the search".
omn_ExceptionFilter CrashSetProcessFilter(omn_ExceptionFilter filter);
void CrashSetErrorMode(unsigned mode);
inline constexpr unsigned CrashNoFaultBox = 2;

// The registers of a context, in the order of the register dump.
struct CrashRegisters {
    uint64_t general[16]; // RAX RBX RCX RDX RSI RDI RBP RSP R8 .. R15
    uint64_t pc;
    uint64_t flags;
    uint16_t cs, ds, ss, es, fs, gs;
};
void CrashReadRegisters(const void* context, CrashRegisters& registers);
// The bytes of a context record.
std::size_t CrashContextSize();

// One frame of a walk: pc is a return address for every frame but an interrupted one.
struct CrashFrame {
    uintptr_t pc;
    uintptr_t frame;
    bool returnAddress;
};
// Walks the stack of `context` into `frames`; the number of frames.
std::size_t CrashWalk(const void* context, CrashFrame* frames, std::size_t capacity);

// Modules: a handle (null when no loaded object contains the address), names, enumeration.
void* CrashModuleOf(const void* address);
// Copies the full path of `module` (null: the main program) into `path`, cut to `size` - 1.
std::size_t CrashModulePath(void* module, char* path, std::size_t size);
using CrashModuleVisitor = void (*)(void* state, void* module, const char* path, uintptr_t begin,
                                    uintptr_t end);
void CrashEachModule(CrashModuleVisitor visit, void* state);
int CrashProcessId();
// Whether modules can be listed and named (Windows needs its process-status library for it).
bool CrashModulesAvailable();

// The system error codes that the module queries leave behind.
struct CrashModuleErrors {
    int noLibrary;    // the modules cannot be listed here
    int moreModules;  // more modules than the caller has room for
    int otherProcess; // a process other than this one
};
extern const CrashModuleErrors crashModuleErrors;

// Symbols and source lines. Slots hold the answers for `count` addresses starting at `first`.
inline constexpr std::size_t CrashSymbolLimit = 488;
inline constexpr std::size_t CrashFileLimit = 1023;
struct CrashSourceInfo {
    bool hasSymbol;
    bool hasLine;
    uintptr_t symbolStart;
    uintptr_t lineStart;
    uint32_t line;
    char symbol[CrashSymbolLimit + 1];
    char file[CrashFileLimit + 1];
};
inline constexpr std::size_t CrashSlotCount = 1025;
void CrashResolve(const uintptr_t* addresses, std::size_t count, std::size_t first);
const CrashSourceInfo& CrashResolved(std::size_t slot);

// The text of a code that has no standard name, or null.
const char* CrashSystemMessage(uint32_t code);

// Whether an environment variable is defined (read before any fault).
bool CrashEnvironmentDefined(const char* name);

// Gives the calling thread what the report needs to run after its stack has overflowed.
void CrashPrepareThread();

// The report file: created or truncated; -1 when it cannot be opened.
int CrashOpenReport(const char* name);
void CrashWrite(int file, const char* text);
void CrashClose(int file);
// The absolute path of `name` in the current directory, into a CrashTextSize buffer; false
// when the directory cannot be told.
bool CrashAbsolutePath(const char* name, char* path);
// A text on standard error, unbuffered.
void CrashWriteStandardError(const char* text);

} // namespace vlt::detail
