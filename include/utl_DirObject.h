// A directory of the file system and the entries in it, as values.
//
// `utl_DirObject` names a directory; each query reads the file system anew. `Entries` lists the
// directory's entries with their kind, 64-bit size and modification time; `Matches` gives the
// paths whose names match a wildcard pattern ('*' any run of characters, '?' one character,
// compared as the platform compares names: without case on Windows), sorted, optionally from
// the whole tree below. The walk follows links to directories but enters every directory once,
// so a link that leads back up the tree ends nothing and repeats nothing.
//
// Failures: a directory that cannot be read at the top throws `nex_TextException`
// ("<member> (<path>): <the system's message>"); below the top, a directory that vanishes or
// cannot be read mid-walk is left out, as is an entry that vanishes between listing and
// examination. Creating or removing a directory that fails throws the same way.
//
// Plain values; nothing is cached or shared between queries.
#pragma once

#include "cow_List.h"
#include "cow_String.h"
#include "utl_FilePath.h"
#include "vlt_Export.h"

#include <cstdint>
#include <vector>

struct VLTUTL_API utl_DirEntry {
    enum Kind { File, Directory, Link, Other };

    cow_String name;
    Kind kind;
    int64_t size;     // bytes; a link's own size
    int64_t modified; // seconds since 1970-01-01 UTC
};

class VLTUTL_API utl_DirObject {
public:
    explicit utl_DirObject(const utl_FilePath& directory) : m_Path(directory) {}

    const utl_FilePath& Path() const { return m_Path; }
    // True when the path names a directory (links followed).
    bool Exists() const;

    // The entries whose names match `pattern` ("*": all), sorted by name.
    std::vector<utl_DirEntry> Entries(const cow_String& pattern = "*") const;
    // The paths of the matching entries (this directory's path joined with each name), sorted
    // by their text; `recursive` adds the matches of every directory below.
    cow_List<utl_FilePath> Matches(const cow_String& pattern = "*", bool recursive = false) const;

    // Makes the directory (its parent must exist); one that already exists is left alone.
    void Create() const;
    // Removes the directory, which must be empty.
    void Remove() const;

    // Whether `name` matches `pattern` as the listings match them on this platform.
    static bool NameMatches(const cow_String& pattern, const cow_String& name);

private:
    utl_FilePath m_Path;
};
