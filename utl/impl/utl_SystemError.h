// How the utilities report a failed system call: a `nex_TextException` whose text is
// "<context>: <the system's message>", raised at a logical source path and line.
#pragma once

namespace vlt::detail {

[[noreturn]] void RaiseText(const char* text, const char* path, int line);
// A longer text is cut at 1024 characters.
[[noreturn]] void RaiseSystemError(const char* context, int error, const char* path, int line);

} // namespace vlt::detail
