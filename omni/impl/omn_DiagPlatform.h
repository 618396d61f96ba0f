// The operating-system operations behind the diagnostics facility (omn_Diag.h).
//
// omn_Diag.cpp decides what is composed and in which order; each platform implements these
// in omn_DiagPlatform_<os>.cpp. None of them throws; any of them may change the last error,
// which the caller saves and restores.
#pragma once

#include <cstddef>

namespace vlt::detail {

// The platform's debugger channel, used when the client installed no sink.
void DiagDebuggerWrite(const char* text);

// The platform's modal box, used when the client installed none; returns an omn_DiagAnswer.
int DiagShowBox(const char* caption, const char* text, int buttons);

// Writes `count` bytes to a caller-owned file; failures are ignored.
void DiagWriteFile(int file, const char* bytes, std::size_t count);

// Copies the text of `error` (at most `capacity` - 1 bytes, NUL-terminated) from a module's
// message table; false when it has none. The system's texts come from SystemMessage.
bool DiagModuleMessage(void* module, int error, char* text, std::size_t capacity);

// Copies the full path of the main executable, cut at `limit` characters, into `path`
// (room for `limit` + 1); false when it cannot be found.
bool DiagProgramPath(char* path, std::size_t limit);

// Ends the process at once with `code`, without unwinding or exit handlers.
[[noreturn]] void DiagEndProcess(int code);

} // namespace vlt::detail
