// Directory listings on Windows: FindFirstFileExA over "<directory>\*", whose records carry
// every fact a listing needs, so no entry is opened. A reparse point is a link; the directory
// attribute then tells whether it leads to a directory. A directory's identity is its volume
// and file index.
#include "utl_DirectoryPlatform.h"

#include <windows.h>

#include <cstring>
#include <string>

namespace vlt::detail {
namespace {

constexpr int64_t windowsToUnixSeconds = 11644473600LL;
constexpr int64_t ticksPerSecond = 10000000LL;

int64_t UnixSeconds(const FILETIME& time) {
    const int64_t ticks = static_cast<int64_t>((static_cast<uint64_t>(time.dwHighDateTime) << 32) |
                                               time.dwLowDateTime);
    return ticks / ticksPerSecond - windowsToUnixSeconds;
}

bool IsDotOrDotDot(const char* name) {
    return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

EntryFacts FactsOf(const WIN32_FIND_DATAA& found) {
    const DWORD attributes = found.dwFileAttributes;
    const bool directory = (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    EntryKind kind = directory ? EntryKind::Directory : EntryKind::File;
    if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
        kind = EntryKind::Link;
    } else if ((attributes & FILE_ATTRIBUTE_DEVICE) != 0) {
        kind = EntryKind::Other;
    }
    const auto size = static_cast<int64_t>((static_cast<uint64_t>(found.nFileSizeHigh) << 32) |
                                           found.nFileSizeLow);
    return {kind, size, UnixSeconds(found.ftLastWriteTime), directory};
}

DWORD AttributesOf(const char* path) {
    return GetFileAttributesA(path);
}

} // namespace

// The records carry every fact, so `allFacts` costs nothing here.
bool DirectoryList(const char* directory, bool, EntryVisitor visit, void* state) {
    const std::string pattern = std::string(directory) + "\\*";
    WIN32_FIND_DATAA found{};
    const HANDLE search = FindFirstFileExA(pattern.c_str(), FindExInfoBasic, &found,
                                           FindExSearchNameMatch, nullptr, 0);
    if (search == INVALID_HANDLE_VALUE) {
        return false;
    }
    do {
        if (!IsDotOrDotDot(found.cFileName)) {
            visit(state, found.cFileName, FactsOf(found));
        }
    } while (FindNextFileA(search, &found));
    const DWORD failure = GetLastError();
    FindClose(search);
    SetLastError(failure == ERROR_NO_MORE_FILES ? 0 : failure);
    return failure == ERROR_NO_MORE_FILES;
}

bool DirectoryIdentify(const char* path, DirectoryIdentity& identity) {
    // Backup semantics: the only way to open a directory as a handle.
    const HANDLE directory =
        CreateFileA(path, 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                    OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (directory == INVALID_HANDLE_VALUE) {
        return false;
    }
    BY_HANDLE_FILE_INFORMATION facts{};
    const bool known = GetFileInformationByHandle(directory, &facts) != FALSE;
    CloseHandle(directory);
    identity = {facts.dwVolumeSerialNumber,
                (static_cast<uint64_t>(facts.nFileIndexHigh) << 32) | facts.nFileIndexLow};
    return known;
}

bool DirectoryCreate(const char* path) {
    return CreateDirectoryA(path, nullptr) != FALSE;
}

bool DirectoryRemove(const char* path) {
    return RemoveDirectoryA(path) != FALSE;
}

bool IsDirectory(const char* path) {
    const DWORD attributes = AttributesOf(path);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool IsFile(const char* path) {
    const DWORD attributes = AttributesOf(path);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

bool ProgramFile(char* path, std::size_t capacity) {
    const DWORD room = capacity > MAXDWORD ? MAXDWORD : static_cast<DWORD>(capacity);
    const DWORD length = GetModuleFileNameA(nullptr, path, room);
    return length != 0 && length < room;
}

const char searchPathSeparator = ';';
const bool namesIgnoreCase = true;

} // namespace vlt::detail
