// The operating-system operations behind the files facility (utl_File.h, utl_FileAttributes.h,
// utl_DiskAttributes.h, utl_flock.h) and the text streams (utl_Stream.h).
//
// The portable sources decide the order of the steps, the texts and the rounding; each
// platform implements these in utl_FilePlatform_<os>.cpp. None of them throws. An operation
// that answers false leaves the system's error code as the last error (SystemLastError).
#pragma once

#include <cstdint>

namespace vlt::detail {

using FileHandle = std::intptr_t;
inline constexpr FileHandle noFile = -1;

enum class FileOpenMode { Read, Update, Write };

// Opens with the sharing of the mode: any number of readers, at most one updater or writer.
// A refused second writer fails like any other open. Write creates or truncates.
bool FileOpen(const char* name, FileOpenMode mode, FileHandle& handle);
bool FileClose(FileHandle handle);

// Transfers up to `count` bytes at the current position; `done` is the count transferred
// (fewer than asked only at the end of the file, for a read).
bool FileRead(FileHandle handle, char* bytes, int count, int& done);
bool FileWrite(FileHandle handle, const char* bytes, int count, int& done);
// One transfer of whatever is there, up to `count` bytes: a pipe or a terminal answers with
// what it has rather than waiting for `count`. `done` is 0 at the end of the input, which a
// pipe whose writer has gone counts as.
bool FileReadSome(FileHandle handle, char* bytes, int count, int& done);

enum class FileStandard { Input, Output, Error };
// The process's own handle of a standard stream, which stays the process's; noFile when it has
// none.
FileHandle FileStandardHandle(FileStandard which);

bool FileSeek(FileHandle handle, int64_t position);
bool FileTell(FileHandle handle, int64_t& position);
bool FileSize(FileHandle handle, int64_t& size);
// Moves the end of the file to the current position.
bool FileSetEnd(FileHandle handle);
bool FileFlush(FileHandle handle);

// True when the file system that holds the open file (named `name`) is a network one.
bool FileIsRemote(const char* name, FileHandle handle);

// The size of the regular file at `name`, opened for reading; false when it cannot be read.
bool FileSizeByName(const char* name, int64_t& size);
// The bytes free to the calling user on the volume whose root is `root`.
bool DiskFreeBytes(const char* root, double& bytes);

enum class FileLockKind { Shared, Exclusive, Unlock };
// Locks or unlocks the first `length` bytes of the file behind a runtime descriptor; a lock
// that may not wait fails at once when taken. Answers 0 or the system's error code.
int FileLockRange(int descriptor, FileLockKind kind, bool wait, int64_t length);

} // namespace vlt::detail
