// Directory listings on Linux: readdir, with each entry examined without following it
// (fstatat with AT_SYMLINK_NOFOLLOW) and a link examined again through it.
#include "utl_DirectoryPlatform.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <optional>

namespace vlt::detail {
namespace {

EntryKind KindOf(mode_t mode) {
    if (S_ISREG(mode)) {
        return EntryKind::File;
    }
    if (S_ISDIR(mode)) {
        return EntryKind::Directory;
    }
    return S_ISLNK(mode) ? EntryKind::Link : EntryKind::Other;
}

bool IsDotOrDotDot(const char* name) {
    return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

// What the listing itself tells, where the file system fills it in.
std::optional<EntryKind> KindFromListing(unsigned char type) {
    switch (type) {
    case DT_REG:
        return EntryKind::File;
    case DT_DIR:
        return EntryKind::Directory;
    case DT_UNKNOWN:
    case DT_LNK:
        return std::nullopt; // a link must be followed to know where it leads
    default:
        return EntryKind::Other;
    }
}

// False when the entry went away since it was listed.
bool Examine(int directory, const char* name, std::optional<EntryKind> listed, bool allFacts,
             EntryFacts& facts) {
    if (listed && !allFacts) {
        facts.kind = *listed;
        facts.leadsToDirectory = *listed == EntryKind::Directory;
        return true;
    }
    struct stat own {};
    if (fstatat(directory, name, &own, AT_SYMLINK_NOFOLLOW) != 0) {
        return false;
    }
    struct stat target {};
    facts = {KindOf(own.st_mode), own.st_size, own.st_mtim.tv_sec,
             S_ISDIR(own.st_mode) ||
                 (S_ISLNK(own.st_mode) && fstatat(directory, name, &target, 0) == 0 &&
                  S_ISDIR(target.st_mode))};
    return true;
}

} // namespace

bool DirectoryList(const char* directory, bool allFacts, EntryVisitor visit, void* state) {
    DIR* const listing = opendir(directory);
    if (listing == nullptr) {
        return false;
    }
    const int descriptor = dirfd(listing);
    errno = 0;
    while (const dirent* entry = readdir(listing)) {
        EntryFacts facts{};
        if (!IsDotOrDotDot(entry->d_name) &&
            Examine(descriptor, entry->d_name, KindFromListing(entry->d_type), allFacts, facts)) {
            visit(state, entry->d_name, facts);
        }
        errno = 0;
    }
    const int failure = errno;
    closedir(listing);
    errno = failure;
    return failure == 0;
}

bool DirectoryIdentify(const char* path, DirectoryIdentity& identity) {
    struct stat facts {};
    if (stat(path, &facts) != 0) {
        return false;
    }
    identity = {static_cast<uint64_t>(facts.st_dev), static_cast<uint64_t>(facts.st_ino)};
    return true;
}

bool DirectoryCreate(const char* path) {
    return mkdir(path, 0777) == 0;
}

bool DirectoryRemove(const char* path) {
    return rmdir(path) == 0;
}

bool IsDirectory(const char* path) {
    struct stat facts {};
    return stat(path, &facts) == 0 && S_ISDIR(facts.st_mode);
}

bool IsFile(const char* path) {
    struct stat facts {};
    return stat(path, &facts) == 0 && !S_ISDIR(facts.st_mode);
}

bool ProgramFile(char* path, std::size_t capacity) {
    if (capacity == 0) {
        return false;
    }
    const ssize_t length = readlink("/proc/self/exe", path, capacity - 1);
    if (length < 0) {
        return false;
    }
    path[length] = '\0';
    return static_cast<std::size_t>(length) < capacity - 1;
}

const char searchPathSeparator = ':';
const bool namesIgnoreCase = false;

} // namespace vlt::detail
