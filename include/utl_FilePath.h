// A file path held as text.
//
// `utl_FilePath` is a value: it holds its text as one `cow_String`, so copying a path takes one
// reference and a path can live in a `cow_List`. Nothing here touches the file system except
// `AbsolutePathName`, which reads the current directory. The operations work on the text
// only: "." and ".." are resolved by name, not by following links.
//
// '/' separates the parts everywhere; on Windows '\\' does too, and "C:" in front of a path
// names a drive. `Portable()` turns every '\\' into '/', which is the form the other
// operations and the clients compare. Paths have no equality of their own (and so their lists
// have none): compare `PathName()` texts where that is meant.
#pragma once

#include "cow_List.h"
#include "cow_String.h"
#include "vlt_Export.h"

class VLTUTL_API utl_FilePath {
public:
    utl_FilePath() = default;
    utl_FilePath(const cow_String& path) : m_Path(path) {}
    utl_FilePath(const char* path) : m_Path(path) {}

    // The text as given or as the last operation left it.
    const cow_String& PathName() const { return m_Path; }

    // Turns every backslash into a forward slash; returns this path.
    utl_FilePath& Portable();
    // Removes "." parts, a part followed by "..", repeated and trailing separators; a ".." that
    // would climb above the root is dropped, one at the front of a relative path is kept. An
    // empty relative result is ".". Returns this path.
    utl_FilePath& Normalize();

    // True when the text names its location without the current directory.
    bool IsAbsolute() const;
    // The path made absolute against the current directory, normalised. A path that is
    // already absolute is only normalised.
    cow_String AbsolutePathName() const;

    // `other` below this path; an absolute `other` is answered as it is.
    utl_FilePath Join(const utl_FilePath& other) const;
    // The path without its last part: "." when there is only one part, the root for a part
    // directly below it.
    utl_FilePath DirName() const;
    // The last part, trailing separators ignored; empty for a root or an empty path.
    cow_String BaseName() const;
    // The text after the last '.' of the base name, without the dot; empty when there is no
    // dot or the only dot opens the name (".profile").
    cow_String Extension() const;

private:
    cow_String m_Path;
};

VLT_COW_LIST_DECLARE(utl_FilePath);
