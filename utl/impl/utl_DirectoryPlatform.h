// The operating-system operations behind directory listings and path searches
// (utl_DirObject.h, utl_PathFinder.h).
//
// Each platform implements these in utl_DirectoryPlatform_<os>.cpp. None of them throws. An
// operation that answers false leaves the system's error code as the last error
// (SystemLastError).
#pragma once

#include <cstddef>
#include <cstdint>

namespace vlt::detail {

enum class EntryKind { File, Directory, Link, Other };

struct EntryFacts {
    EntryKind kind;
    int64_t size;          // bytes; a link's own size
    int64_t modified;      // seconds since 1970-01-01 UTC
    bool leadsToDirectory; // a directory, or a link to one
};

// Calls `visit` for every entry of `directory` but "." and ".."; false when the directory
// cannot be read (the visits made before a failure stand). Without `allFacts` only the kind and
// leadsToDirectory are sure (size and time may be 0), which spares a query per entry where the
// listing itself tells the kind.
using EntryVisitor = void (*)(void* state, const char* name, const EntryFacts& facts);
bool DirectoryList(const char* directory, bool allFacts, EntryVisitor visit, void* state);

// What the directory at `path` is, links followed: equal identities are one directory.
struct DirectoryIdentity {
    uint64_t device;
    uint64_t node;
    bool operator<(const DirectoryIdentity& other) const {
        return device != other.device ? device < other.device : node < other.node;
    }
};
bool DirectoryIdentify(const char* path, DirectoryIdentity& identity);

bool DirectoryCreate(const char* path);
bool DirectoryRemove(const char* path);
// True when `path` is a directory, links followed.
bool IsDirectory(const char* path);
// True when `path` names something that is not a directory, links followed.
bool IsFile(const char* path);
// The full path of the running program.
bool ProgramFile(char* path, std::size_t capacity);

// How the platform lists directories in a search-path variable, and compares names.
extern const char searchPathSeparator;
extern const bool namesIgnoreCase;

} // namespace vlt::detail
