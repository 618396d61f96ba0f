// The runtime assertion call through which every module reports a broken precondition or an
// internal inconsistency.
//
// A report carries the text of the checked condition, the logical source path of the check
// (`include/cow_List`, `cow/impl/cow_String`: relative to the source tree, without extension)
// and its line. There is one handler per process. The default handler writes the report to
// standard error and returns; the operation that reported then carries on, so callers must
// leave themselves in a safe state after the call. The handler lives in its own small runtime
// library, VLTcrt, because VLTthr and VLTutl both report through it.
#pragma once

#include "vlt_Export.h"

extern "C" {

// Receives one report. Must not throw.
typedef void (*crt_AssertHandler)(const char* expression, const char* path, int line);

// Reports a failed check to the installed handler.
VLTCRT_API void crt_Assert(const char* expression, const char* path, int line);

// Installs a handler (null restores the default one) and returns the one it replaces.
VLTCRT_API crt_AssertHandler crt_SetAssertHandler(crt_AssertHandler handler);

// The default handler: "Assertion failed: <expression>, file <path>, line <line>" on stderr.
VLTCRT_API void crt_DefaultAssertHandler(const char* expression, const char* path, int line);
}

// A check: `condition` is evaluated once; `text` is the published expression text, given
// separately so that the report does not depend on how the condition is spelt or formatted.
#define CRT_CHECK(condition, text, path)                                                           \
    ((condition) ? static_cast<void>(0) : crt_Assert((text), (path), __LINE__))

// The same, for checks whose published report carries a fixed line number.
#define CRT_CHECK_AT(condition, text, path, line)                                                  \
    ((condition) ? static_cast<void>(0) : crt_Assert((text), (path), (line)))
