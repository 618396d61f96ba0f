// The files facility on Windows: handles from CreateFileA, whose share modes give the open modes
// their sharing; 64-bit positions through SetFilePointerEx; range locks through LockFileEx; the
// drive type of the name's drive letter for network drives.
#include "utl_FilePlatform.h"

#include "omn_System.h"

#include <windows.h>

#include <direct.h>
#include <io.h>

#include <cerrno>
#include <cstring>
#include <string>

namespace vlt::detail {
namespace {

// Every open asks for normal attributes and random access.
constexpr DWORD openFlags = FILE_ATTRIBUTE_NORMAL | FILE_FLAG_RANDOM_ACCESS;

struct OpenArguments {
    DWORD access;
    DWORD sharing;
    DWORD creation;
};

// Readers let anyone in; an updater or a writer lets in readers only, so that a second writer
// meets a sharing violation whichever comes first.
OpenArguments ArgumentsOf(FileOpenMode mode) {
    switch (mode) {
    case FileOpenMode::Read:
        return {GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING};
    case FileOpenMode::Update:
        return {GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, OPEN_EXISTING};
    case FileOpenMode::Write:
        break;
    }
    return {GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, CREATE_ALWAYS};
}

HANDLE Native(FileHandle handle) {
    return reinterpret_cast<HANDLE>(handle);
}

// _getdrive counts the drives from 1 for A.
char CurrentDriveLetter() {
    return static_cast<char>('@' + _getdrive());
}

// The root of the drive that the name names before its first colon, else of the current
// drive. A network share without a drive letter is thereby classified by the current drive:
// deliberately simple.
std::string DriveRoot(const char* name) {
    const char* colon = std::strchr(name, ':');
    std::string root =
        colon != nullptr ? std::string(name, colon) : std::string(1, CurrentDriveLetter());
    return root + ":\\";
}

DWORD LockFlags(FileLockKind kind, bool wait) {
    const DWORD exclusive = kind == FileLockKind::Exclusive ? LOCKFILE_EXCLUSIVE_LOCK : 0;
    return exclusive | (wait ? 0 : LOCKFILE_FAIL_IMMEDIATELY);
}

} // namespace

bool FileOpen(const char* name, FileOpenMode mode, FileHandle& handle) {
    const OpenArguments open = ArgumentsOf(mode);
    const HANDLE file =
        CreateFileA(name, open.access, open.sharing, nullptr, open.creation, openFlags, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return false;
    }
    handle = reinterpret_cast<FileHandle>(file);
    return true;
}

bool FileClose(FileHandle handle) {
    if (CloseHandle(Native(handle))) {
        return true;
    }
    // A failed close is reported with the runtime's error number, not the system's code:
    // deliberate, and kept.
    SystemSetLastError(errno);
    return false;
}

// One call each way, and the count the system reports: a disk file reads short only at its
// end and never writes short.
bool FileRead(FileHandle handle, char* bytes, int count, int& done) {
    DWORD read = 0;
    const bool succeeded =
        ReadFile(Native(handle), bytes, static_cast<DWORD>(count), &read, nullptr);
    done = static_cast<int>(read);
    return succeeded;
}

bool FileWrite(FileHandle handle, const char* bytes, int count, int& done) {
    DWORD written = 0;
    const bool succeeded =
        WriteFile(Native(handle), bytes, static_cast<DWORD>(count), &written, nullptr);
    done = static_cast<int>(written);
    return succeeded;
}

bool FileReadSome(FileHandle handle, char* bytes, int count, int& done) {
    if (FileRead(handle, bytes, count, done)) {
        return true;
    }
    // The writer of a pipe has gone: that is the end of its input, as the end is for a file.
    return GetLastError() == ERROR_BROKEN_PIPE;
}

FileHandle FileStandardHandle(FileStandard which) {
    const DWORD id = which == FileStandard::Input    ? STD_INPUT_HANDLE
                     : which == FileStandard::Output ? STD_OUTPUT_HANDLE
                                                     : STD_ERROR_HANDLE;
    const HANDLE handle = GetStdHandle(id);
    return handle == nullptr || handle == INVALID_HANDLE_VALUE
               ? noFile
               : reinterpret_cast<FileHandle>(handle);
}

bool FileSeek(FileHandle handle, int64_t position) {
    LARGE_INTEGER distance{};
    distance.QuadPart = position;
    return SetFilePointerEx(Native(handle), distance, nullptr, FILE_BEGIN);
}

bool FileTell(FileHandle handle, int64_t& position) {
    LARGE_INTEGER current{};
    if (!SetFilePointerEx(Native(handle), LARGE_INTEGER{}, &current, FILE_CURRENT)) {
        return false;
    }
    position = current.QuadPart;
    return true;
}

bool FileSize(FileHandle handle, int64_t& size) {
    LARGE_INTEGER bytes{};
    if (!GetFileSizeEx(Native(handle), &bytes)) {
        return false;
    }
    size = bytes.QuadPart;
    return true;
}

bool FileSetEnd(FileHandle handle) {
    return SetEndOfFile(Native(handle));
}

bool FileFlush(FileHandle handle) {
    return FlushFileBuffers(Native(handle));
}

bool FileIsRemote(const char* name, FileHandle /*handle*/) {
    return GetDriveTypeA(DriveRoot(name).c_str()) == DRIVE_REMOTE;
}

// Shares reading only, so a file that another handle holds open for writing cannot be asked:
// deliberate, the query serves files at rest.
bool FileSizeByName(const char* name, int64_t& size) {
    const HANDLE file = CreateFileA(name, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return false;
    }
    BY_HANDLE_FILE_INFORMATION information{};
    const bool known = GetFileInformationByHandle(file, &information);
    CloseHandle(file);
    size = static_cast<int64_t>((static_cast<uint64_t>(information.nFileSizeHigh) << 32) |
                                information.nFileSizeLow);
    return known;
}

bool DiskFreeBytes(const char* root, double& bytes) {
    ULARGE_INTEGER freeToCaller{};
    if (!GetDiskFreeSpaceExA(root, &freeToCaller, nullptr, nullptr)) {
        return false;
    }
    bytes = static_cast<double>(freeToCaller.QuadPart);
    return true;
}

// A descriptor without a handle gives INVALID_HANDLE_VALUE, which the lock calls refuse as an
// invalid handle.
int FileLockRange(int descriptor, FileLockKind kind, bool wait, int64_t length) {
    const HANDLE file = reinterpret_cast<HANDLE>(_get_osfhandle(descriptor));
    OVERLAPPED fromStart{};
    const DWORD lengthLow = static_cast<DWORD>(length);
    const DWORD lengthHigh = static_cast<DWORD>(static_cast<uint64_t>(length) >> 32);
    const bool succeeded =
        kind == FileLockKind::Unlock
            ? UnlockFileEx(file, 0, lengthLow, lengthHigh, &fromStart)
            : LockFileEx(file, LockFlags(kind, wait), 0, lengthLow, lengthHigh, &fromStart);
    return succeeded ? 0 : SystemLastError();
}

} // namespace vlt::detail
