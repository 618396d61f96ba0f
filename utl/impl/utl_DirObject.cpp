#include "utl_DirObject.h"

#include "omn_System.h"
#include "utl_DirectoryPlatform.h"
#include "utl_SystemError.h"

#include <algorithm>
#include <cctype>
#include <set>
#include <string>

using vlt::detail::DirectoryIdentity;
using vlt::detail::EntryFacts;

namespace {

constexpr char dirPath[] = "utl/impl/utl_DirObject";

[[noreturn]] void RaiseFor(const char* member, const utl_FilePath& path,
                           int error = vlt::detail::SystemLastError(),
                           int line = __builtin_LINE()) {
    const std::string context = std::string(member) + " (" + path.PathName().c_str() + ")";
    vlt::detail::RaiseSystemError(context.c_str(), error, dirPath, line);
}

bool SameCharacter(char a, char b) {
    if (vlt::detail::namesIgnoreCase) {
        return std::tolower(static_cast<unsigned char>(a)) ==
               std::tolower(static_cast<unsigned char>(b));
    }
    return a == b;
}

// Greedy with one remembered star: linear in practice, never worse than the product of the
// lengths, and without recursion however many stars the pattern holds.
bool WildcardMatch(const char* pattern, const char* name) {
    const char* star = nullptr;
    const char* resume = nullptr;
    while (*name != '\0') {
        if (*pattern == '*') {
            star = pattern++;
            resume = name;
        } else if (*pattern != '\0' && (*pattern == '?' || SameCharacter(*pattern, *name))) {
            ++pattern;
            ++name;
        } else if (star != nullptr) {
            pattern = star + 1;
            name = ++resume;
        } else {
            return false;
        }
    }
    while (*pattern == '*') {
        ++pattern;
    }
    return *pattern == '\0';
}

utl_DirEntry::Kind KindOf(vlt::detail::EntryKind kind) {
    switch (kind) {
    case vlt::detail::EntryKind::File:
        return utl_DirEntry::File;
    case vlt::detail::EntryKind::Directory:
        return utl_DirEntry::Directory;
    case vlt::detail::EntryKind::Link:
        return utl_DirEntry::Link;
    default:
        return utl_DirEntry::Other;
    }
}

struct Listing {
    const cow_String* pattern;
    std::vector<utl_DirEntry> entries;
    std::vector<cow_String> directories; // every entry that leads to a directory
};

void Collect(void* state, const char* name, const EntryFacts& facts) {
    auto& listing = *static_cast<Listing*>(state);
    const cow_String entryName(name);
    if (WildcardMatch(listing.pattern->c_str(), name)) {
        listing.entries.push_back({entryName, KindOf(facts.kind), facts.size, facts.modified});
    }
    if (facts.leadsToDirectory) {
        listing.directories.push_back(entryName);
    }
}

bool ByName(const utl_DirEntry& a, const utl_DirEntry& b) {
    return a.name < b.name;
}

struct Walk {
    const cow_String& pattern;
    std::set<DirectoryIdentity> entered;
    std::vector<cow_String> found;

    // False when the directory cannot be identified or read; the caller decides what that
    // means (below the top the directory is left out). A directory entered before is skipped.
    bool Enter(const utl_FilePath& directory, bool recursive) {
        DirectoryIdentity identity{};
        if (!vlt::detail::DirectoryIdentify(directory.PathName().c_str(), identity)) {
            return false;
        }
        if (!entered.insert(identity).second) {
            return true;
        }
        Listing listing{&pattern, {}, {}};
        if (!vlt::detail::DirectoryList(directory.PathName().c_str(), false, &Collect, &listing)) {
            return false;
        }
        for (const utl_DirEntry& entry : listing.entries) {
            found.push_back(directory.Join(entry.name).PathName());
        }
        if (recursive) {
            for (const cow_String& below : listing.directories) {
                Enter(directory.Join(below), true);
            }
        }
        return true;
    }
};

} // namespace

bool utl_DirObject::Exists() const {
    return vlt::detail::IsDirectory(m_Path.PathName().c_str());
}

std::vector<utl_DirEntry> utl_DirObject::Entries(const cow_String& pattern) const {
    Listing listing{&pattern, {}, {}};
    if (!vlt::detail::DirectoryList(m_Path.PathName().c_str(), true, &Collect, &listing)) {
        RaiseFor("utl_DirObject::Entries", m_Path);
    }
    std::sort(listing.entries.begin(), listing.entries.end(), ByName);
    return std::move(listing.entries);
}

cow_List<utl_FilePath> utl_DirObject::Matches(const cow_String& pattern, bool recursive) const {
    Walk walk{pattern, {}, {}};
    if (!walk.Enter(m_Path, recursive)) {
        RaiseFor("utl_DirObject::Matches", m_Path);
    }
    std::sort(walk.found.begin(), walk.found.end());
    // Built from the back: the list links forwards only, so appending walks its whole length.
    cow_List<utl_FilePath> matches;
    for (auto path = walk.found.rbegin(); path != walk.found.rend(); ++path) {
        matches.Prepend(utl_FilePath(*path));
    }
    return matches;
}

void utl_DirObject::Create() const {
    const char* const path = m_Path.PathName().c_str();
    if (vlt::detail::DirectoryCreate(path)) {
        return;
    }
    const int error = vlt::detail::SystemLastError();
    if (!vlt::detail::IsDirectory(path)) {
        RaiseFor("utl_DirObject::Create", m_Path, error);
    }
}

void utl_DirObject::Remove() const {
    if (!vlt::detail::DirectoryRemove(m_Path.PathName().c_str())) {
        RaiseFor("utl_DirObject::Remove", m_Path);
    }
}

bool utl_DirObject::NameMatches(const cow_String& pattern, const cow_String& name) {
    return WildcardMatch(pattern.c_str(), name.c_str());
}
