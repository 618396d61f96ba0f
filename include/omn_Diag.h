// Diagnostic assertions and free-form diagnostic output for the suite's own checks.
//
// A failed check becomes one composed report (program, location, last error and its text) that
// goes to the debugger channel, to an optional assert file and to a modal box in which the user
// aborts, retries or ignores. A second pair of functions writes formatted text to the debugger
// channel and to an optional output file. The library's internal consistency checks do not come
// here; they use crt_Assert.
//
// Process-wide state, no locking: the settings and the three static text buffers (report,
// narrow output, wide output) are shared by every caller; concurrent reports may interleave.
// Files are owned by the caller; the facility never opens or closes them. errno is the last
// error: every function leaves it as the caller had it. Formatting stops at 1024 characters.
//
// On this platform a file handle is a file descriptor (omn_DiagInvalidHandle switches a file
// off), a module is the handle of a loaded object (dlopen; RTLD_NOLOAD for one already loaded),
// the debugger channel is standard error and the box is a prompt on the controlling terminal.
// Clients replace the channel and the box with the hooks at the end of this header.
#pragma once

#include "vlt_Export.h"

#include <cstdint>
#include <cwchar>

// The file handle that switches a file off.
inline constexpr int omn_DiagInvalidHandle = -1;

// The name under which a message module exports its omn_DiagMessageFunc.
inline constexpr char omn_DiagMessageSymbol[] = "omn_DiagMessageText";

// Bits of the assert options word, 32 bits on every platform; other bits are kept and ignored.
enum omn_DiagOption : uint32_t {
    omn_DiagShowBox = 1,        // show the box and act on the answer
    omn_DiagSendToDebugger = 2, // send the report to the debugger channel
};

// The buttons of the box: kind 1 reports get Abort/Retry/Ignore, every other kind OK only.
enum omn_DiagButtons : int {
    omn_DiagButtonsOk = 0,
    omn_DiagButtonsAbortRetryIgnore = 2,
};

// The answers of a box. None means the box could not be shown; it ends the process like Abort.
enum omn_DiagAnswer : int {
    omn_DiagAnswerNone = 0,
    omn_DiagAnswerOk = 1,
    omn_DiagAnswerAbort = 3,
    omn_DiagAnswerRetry = 4,
    omn_DiagAnswerIgnore = 5,
};

extern "C" {

// A module registered with omn_AddDiagAssertModule supplies the texts of its own error codes by
// exporting (extern "C", default visibility) a function of this type under the name
// omn_DiagMessageSymbol. It returns the text of `code`, or null when it does not know the code;
// the text must live as long as the module.
typedef const char* (*omn_DiagMessageFunc)(int code);

// Receives every text meant for the debugger channel, NUL-terminated (wide output as UTF-8).
typedef void (*omn_DiagDebuggerSink)(const char* text);

// Shows `text` under `caption` with `buttons` (an omn_DiagButtons) until the user answers and
// returns the answer (an omn_DiagAnswer; omn_DiagAnswerNone when it cannot be shown).
typedef int (*omn_DiagMessageBox)(const char* caption, const char* text, int buttons);

// Stores the assert options and returns the previous ones. 0 changes nothing and returns 0
// (deliberate: zero reads as "no change", not as "everything off").
VLTUTL_API int omn_SetDiagAssertOptions(uint32_t options);

// Stores the file that every report is also written to and returns the previous one.
VLTUTL_API int omn_SetDiagAssertFile(int file);

// Stores the file that every output text is also written to and returns the previous one.
VLTUTL_API int omn_SetDiagOutputFile(int file);

// Appends a module whose message function is asked first for the text of the last error, in
// order of registration; duplicates are kept and there is no removal. Returns 1 (0 only when
// the list cannot grow). A null module is kept but never knows a text.
VLTUTL_API int omn_AddDiagAssertModule(void* module);

// Reports a failed check "File : <file>\nLine : <line>\nExpression : <expression>" through
// omn_RealAssert with kind 1. Returns 0 to carry on, 1 when the caller should break into the
// debugger; does not return when the user aborts. Options 0 means the stored options.
VLTUTL_API int omn_DiagAssertA(uint32_t options, const char* expression, const char* file,
                               int line);

// The same with a wide expression, which appears in the report as UTF-8.
VLTUTL_API int omn_DiagAssertW(uint32_t options, const wchar_t* expression, const char* file,
                               int line);

// Composes the report of `message`, sends it to the debugger channel (omn_DiagSendToDebugger),
// writes it to the assert file and shows the box (omn_DiagShowBox; without it the answer is
// Ignore) under "ASSERTION FAILURE...": kind 1 with Abort/Retry/Ignore, other kinds with OK.
// OK and Ignore return 0, Retry returns 1; Abort, or a box that cannot be shown, ends the
// process at once with exit code -1, without unwinding.
VLTUTL_API int omn_RealAssert(uint32_t options, const char* message, int kind);

// Formats with vsnprintf rules and sends the text to the debugger channel, whatever the assert
// options, and to the output file.
VLTUTL_API void omn_DiagOutputA(const char* format, ...);

// Formats with vswprintf rules (%ls is a wide string, %s a narrow one) and sends the text to
// the debugger channel as UTF-8. The output file receives as many bytes of the wide text as it
// has characters, that is its beginning only (deliberate: clients rely on this count).
VLTUTL_API void omn_DiagOutputW(const wchar_t* format, ...);

// Installs the debugger channel (null restores standard error) and returns the previous one
// (null for standard error).
VLTUTL_API omn_DiagDebuggerSink omn_SetDiagDebuggerSink(omn_DiagDebuggerSink sink);

// Installs the box (null restores the terminal prompt) and returns the previous one (null for
// the terminal prompt). The prompt shows caption and text on /dev/tty and reads a line: a, r or
// i (either case) for Abort/Retry/Ignore, asking again otherwise, or Enter for OK. The end of
// input closes an OK box and leaves the other unanswered; without a controlling terminal the
// prompt cannot be shown.
VLTUTL_API omn_DiagMessageBox omn_SetDiagMessageBox(omn_DiagMessageBox box);
}
