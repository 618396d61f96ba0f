// Finds a file by name along a search list of directories.
//
// The list is built in the order of search from the directories of an environment variable
// (split at the platform's separator: ':' on Linux, ';' on Windows; empty parts are skipped),
// directories the client names, the program's own directory and the working directory. A name
// with a directory part is not searched: it is found when it names a file. On Windows, a program
// is also tried with each extension of "PATHEXT" (".COM;.EXE;.BAT;.CMD" when it is unset), after
// the name as given.
//
// Directories that are missing or unreadable are passed over. A plain value: copying a finder
// shares its list.
#pragma once

#include "cow_List.h"
#include "cow_String.h"
#include "utl_FilePath.h"
#include "vlt_Export.h"

class VLTUTL_API utl_PathFinder {
public:
    utl_PathFinder() = default;

    // Each returns this finder, so that a list reads as one expression.
    utl_PathFinder& AddDirectory(const utl_FilePath& directory);
    // An unset variable adds nothing.
    utl_PathFinder& AddEnvironment(const char* variable);
    utl_PathFinder& AddProgramDirectory();
    utl_PathFinder& AddWorkingDirectory();

    const cow_List<utl_FilePath>& Directories() const { return m_Directories; }

    // The first file named `name` along the list; an empty path when there is none.
    utl_FilePath Find(const cow_String& name) const;
    // Every such file, in the order of the list.
    cow_List<utl_FilePath> FindAll(const cow_String& name) const;
    // As Find, for a program: on Windows also with the extensions of "PATHEXT".
    utl_FilePath FindProgram(const cow_String& name) const;

private:
    cow_List<utl_FilePath> Search(const cow_String& name, bool program, bool firstOnly) const;

    cow_List<utl_FilePath> m_Directories;
};
