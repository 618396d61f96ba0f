// The operating-system helpers that several of the library's facilities share: the descriptor
// devices, the large files, the diagnostics and the crash report. Internal to the library: the
// modules that use them are given this folder by the build; clients never see it.
//
// The writes and the copy are safe in a signal handler or an exception filter (system calls and
// plain copies, no allocation, no locks): the crash report writes through them. SystemMessage
// is not on Windows, whose message lookup takes the process heap. Each platform implements
// them once, in omn_System_<os>.cpp; omn_System.cpp holds what needs no system call.
#pragma once

#include <cstddef>
#include <span>

namespace vlt::detail {

// The calling thread's last system error: errno on POSIX, the thread's last error on Windows.
int SystemLastError();
void SystemSetLastError(int error);

// Writes the `count` bytes, with as many calls as it takes, and gives the number written. Fewer
// means a call failed, with its error number in the last error; a call that takes nothing counts
// as a broken pipe. A reader that has gone away is an error, never a signal that ends the
// process; such a signal already pending before the write is left to its owner.
std::size_t SystemWrite(int file, const char* bytes, std::size_t count);

// One read of up to `count` bytes: the number read, 0 at end of file, or -1 with the error
// number in the last error. An interrupted call is retried.
long SystemReadSome(int file, char* bytes, std::size_t count);

// Cuts the line end (and spaces) that a system's message text ends with, from the first
// `length` characters of `text`: the callers put the text inside their own line.
void SystemCutLineEnd(char* text, std::size_t length);

// Copies `source` into `target`, cut to `capacity` - 1 bytes and NUL-terminated, and gives the
// length copied. A null source copies as an empty text; a capacity of 0 copies nothing.
std::size_t SystemCopyText(char* target, std::size_t capacity, const char* source);

// The system's text for an error number, cut to `capacity` - 1 bytes; false (and an empty text)
// when the system has none.
bool SystemMessage(int error, char* text, std::size_t capacity);

// The signals through which the system reports a fault of the program itself (empty where
// faults are not signals): the crash handler takes them, and no thread of the library blocks
// them.
std::span<const int> SystemFaultSignals();

} // namespace vlt::detail
