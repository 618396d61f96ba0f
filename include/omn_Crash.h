// Crash handler and stack trace: turns a fault of the process into readable text.
//
// Two front ends share the text producers. A program installs its own filter with
// omn_SetCrashHandlerFilter and may restrict it to a set of limit modules: a fault elsewhere goes
// to the filter that was installed before. omi_SetExceptionFilter (called by omni_initialize)
// installs the built-in report, which writes the main module's name + ".dmp" into the current
// directory: the fault reason, at most 200 stack lines over the life of the process, and the
// loaded modules; "VLT_DEBUG_POPUP" decides whether the system's own fault handling follows.
//
// Process-wide state, no locking: the text producers share one static 1024-character buffer
// and one walk record, so each call overwrites the text of the previous one and only one thread
// may produce a report at a time (in practice the crashing thread, inside the filter).
//
// On this platform the unhandled-exception filter is a set of signal handlers (SA_SIGINFO,
// SA_ONSTACK) for SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGTRAP and SIGABRT, installed with the first
// filter; the thread that installs a filter gets an alternate signal stack, so that a stack
// overflow on that thread is reported too. The signal and its si_code are mapped to the
// exception codes below; the exception pointers carry the signal's ucontext_t. A module handle
// is the handle of a loaded object as dlopen returns it (RTLD_NOLOAD for one already loaded);
// null stands for the main program. Addresses are printed with 16 hexadecimal digits. Symbols
// come from the objects' symbol tables and source lines from libdw ("libdw.so.1", loaded at
// run time); a helper process looks them up so that the faulting process never allocates while
// reporting. Without libdw there are no source lines and only exported symbols.
#pragma once

#include "vlt_Export.h"

#include <cstdint>

// The verdicts of an exception filter.
inline constexpr long omn_ExceptionContinueExecution = -1; // resume at the (changed) context
inline constexpr long omn_ExceptionContinueSearch = 0;     // the system's handling follows
inline constexpr long omn_ExceptionExecuteHandler = 1;     // end the process quietly

// Exit status of a process whose filter answered omn_ExceptionExecuteHandler: 128 + signal.
inline constexpr int omn_CrashExitBase = 128;

// Bits of the stack-trace options word.
enum omn_StackTraceOption : unsigned {
    omn_StackTraceParameters = 1, // the four parameter words of the frame
    omn_StackTraceModule = 2,     // the base name of the module
    omn_StackTraceSymbol = 4,     // the symbol and the displacement
    omn_StackTraceLine = 8,       // the source file and line
};

// The exception as the signal described it.
struct omn_ExceptionRecord {
    uint32_t ExceptionCode; // one of the codes omn_ConvertSimpleException names, or another
    uint32_t ExceptionFlags;
    void* ExceptionAddress; // the instruction that faulted
    int Signal;
    int SignalCode;     // si_code
    void* FaultAddress; // si_addr: for a memory fault the address that was accessed
};

struct omn_ExceptionPointers {
    omn_ExceptionRecord* ExceptionRecord;
    void* ContextRecord; // ucontext_t*
};

extern "C" {

typedef long (*omn_ExceptionFilter)(omn_ExceptionPointers* pointers);

// The process's unhandled-exception filter: installs `filter` (null: none, the system's
// handling follows every fault) and returns the one it replaced.
VLTUTL_API omn_ExceptionFilter omn_SetUnhandledExceptionFilter(omn_ExceptionFilter filter);

// Non-null: 0 when `filter` is not executable code; otherwise it becomes the user filter and,
// the first time, omn_CrashHandlerExceptionFilter becomes the process's filter. Null: puts the
// previous process filter back, forgets the limit modules and the user filter, and keeps the
// limit-module count as it was (deliberate: later additions count on from it). Returns 1.
VLTUTL_API int omn_SetCrashHandlerFilter(omn_ExceptionFilter filter);

// Adds a module whose faults go to the user filter; 0 for a null module or when memory fails.
VLTUTL_API int omn_AddCrashHandlerLimitModule(void* module);
VLTUTL_API unsigned omn_GetLimitModuleCount();

// Copies the limit modules: -1 when `buffer` cannot be written for `size` entries, -2 when
// `size` is smaller than the count (nothing written), else 1.
VLTUTL_API int omn_GetLimitModulesArray(void** buffer, unsigned size);

// Hands a fault to the user filter when it lies in a limit module (or there are none), else to
// the previous filter; a stack overflow first sends a three-line banner to the debugger
// channel (omn_SetDiagDebuggerSink). 0 when there is no user filter.
VLTUTL_API long omn_CrashHandlerExceptionFilter(omn_ExceptionPointers* pointers);

// The text producers return the shared buffer, or null when the pointers cannot be read.
// "<program> caused an <exception> in module <module> at <cs>:<address>, <symbol>, <line>".
VLTUTL_API const char* omn_GetFaultReason(omn_ExceptionPointers* pointers);
// Start a walk at the faulting context, then step it; null at the end of the walk.
VLTUTL_API const char* omn_GetFirstStackTraceString(unsigned options,
                                                    omn_ExceptionPointers* pointers);
VLTUTL_API const char* omn_GetNextStackTraceString(unsigned options,
                                                   omn_ExceptionPointers* pointers);
VLTUTL_API const char* omn_InternalGetStackTraceString(unsigned options,
                                                       omn_ExceptionPointers* pointers);
VLTUTL_API const char* omn_GetRegisterString(omn_ExceptionPointers* pointers);
// "EXCEPTION_ACCESS_VIOLATION" and the other standard names; null for any other code.
VLTUTL_API const char* omn_ConvertSimpleException(unsigned long code);

// Resolves once everything the report path needs (unwinder, loader queries, libdw when
// present); true when stack walks can be made.
VLTUTL_API bool omn_InitStackTraceRoutines();
VLTUTL_API void omn_InitSymEng();
VLTUTL_API void omn_CleanupSymEng();

// Writes "<path>:\t<begin> - <end>\n" for every object loaded in `process` (this process only)
// to the file descriptor `file`.
VLTUTL_API void omn_EnumerateLoadedModules(int process, int file);

// The handles of the objects loaded in `process` (this process only). Capacity 0 asks for the
// number alone. 0 with the system error (errno on Linux, the last error on Windows) set for a
// missing module library (Windows: 1114), another process (ESRCH, 87) or more modules than a
// non-zero capacity (ERANGE, 122); else 1 with the error 0.
VLTUTL_API int omn_GetLoadedModules(int process, unsigned capacity, void** modules,
                                    unsigned* count);
// Copy the base name / the full path of `module` (null: the main program), cut to `size` - 1
// characters; the number of characters copied, 0 when the module is unknown or cannot be named
// (the error as for omn_GetLoadedModules).
VLTUTL_API unsigned omn_GetModuleBaseName(int process, void* module, char* buffer, unsigned size);
VLTUTL_API unsigned omn_GetModuleFileNameEx(int process, void* module, char* buffer, unsigned size);
// Reads `size` bytes of this process (whatever `process` says) without faulting; 0 when any of
// them cannot be read.
VLTUTL_API int omn_ReadProcessMemory(int process, const void* address, void* buffer, unsigned size,
                                     unsigned* read);

// Installs ExcepCallBack as the process's filter; the previous filter is never restored.
VLTUTL_API void omi_SetExceptionFilter();
// Gives the calling thread a stack of its own for the crash report, so that an overflow of its
// stack is reported too: the report cannot run on the stack that overflowed. The thread that
// installs a filter gets one then, and the library's interrupt listener gets one; any other
// thread that may overflow calls this once. The stack lives as long as the thread.
VLTUTL_API void omn_PrepareThreadForCrashReport();
// Chooses the error mode once (0 with "VLT_DEBUG_POPUP", else 2: faults that reach the system's
// handling end the process without a core dump) and applies it.
VLTUTL_API void omi_setErrorMode();
// The built-in report; answers 1, or 0 when "VLT_DEBUG_POPUP" was defined.
VLTUTL_API long ExcepCallBack(omn_ExceptionPointers* pointers);
}
