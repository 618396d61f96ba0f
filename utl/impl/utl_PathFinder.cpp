#include "utl_PathFinder.h"

#include "utl_DirectoryPlatform.h"
#include "utl_PlatformOps.h"

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

constexpr std::size_t pathCapacity = 4096;
constexpr char defaultProgramExtensions[] = ".COM;.EXE;.BAT;.CMD";

// The name as given, then (for a program on Windows) with each extension of "PATHEXT".
std::vector<cow_String> Candidates(const cow_String& name, bool program) {
    std::vector<cow_String> names{name};
    if (!program || !vlt::detail::namesIgnoreCase) {
        return names;
    }
    const char* extensions = std::getenv("PATHEXT");
    const std::string list = extensions != nullptr ? extensions : defaultProgramExtensions;
    std::size_t start = 0;
    while (start <= list.size()) {
        const std::size_t end = std::min(list.find(';', start), list.size());
        if (end > start) {
            names.push_back(name + list.substr(start, end - start).c_str());
        }
        start = end + 1;
    }
    return names;
}

bool HasDirectoryPart(const cow_String& name) {
    return utl_FilePath(name).BaseName() != name;
}

} // namespace

utl_PathFinder& utl_PathFinder::AddDirectory(const utl_FilePath& directory) {
    m_Directories.Append(directory);
    return *this;
}

utl_PathFinder& utl_PathFinder::AddEnvironment(const char* variable) {
    const char* const value = std::getenv(variable);
    const std::string list = value != nullptr ? value : "";
    std::size_t start = 0;
    while (start < list.size()) {
        const std::size_t end =
            std::min(list.find(vlt::detail::searchPathSeparator, start), list.size());
        if (end > start) {
            AddDirectory(utl_FilePath(list.substr(start, end - start).c_str()));
        }
        start = end + 1;
    }
    return *this;
}

utl_PathFinder& utl_PathFinder::AddProgramDirectory() {
    char program[pathCapacity];
    if (vlt::detail::ProgramFile(program, sizeof program)) {
        AddDirectory(utl_FilePath(program).DirName());
    }
    return *this;
}

utl_PathFinder& utl_PathFinder::AddWorkingDirectory() {
    char directory[pathCapacity];
    if (vlt::detail::WorkingDirectory(directory, sizeof directory)) {
        AddDirectory(utl_FilePath(directory));
    }
    return *this;
}

utl_FilePath utl_PathFinder::Find(const cow_String& name) const {
    const cow_List<utl_FilePath> found = Search(name, false, true);
    return found.Size() != 0 ? found.ConstGet(0) : utl_FilePath();
}

cow_List<utl_FilePath> utl_PathFinder::FindAll(const cow_String& name) const {
    return Search(name, false, false);
}

utl_FilePath utl_PathFinder::FindProgram(const cow_String& name) const {
    const cow_List<utl_FilePath> found = Search(name, true, true);
    return found.Size() != 0 ? found.ConstGet(0) : utl_FilePath();
}

cow_List<utl_FilePath> utl_PathFinder::Search(const cow_String& name, bool program,
                                              bool firstOnly) const {
    cow_List<utl_FilePath> found;
    if (name.Length() == 0) {
        return found;
    }
    const std::vector<cow_String> candidates = Candidates(name, program);
    const bool named = HasDirectoryPart(name);
    const uint32_t directories = named ? 1 : m_Directories.Size();
    for (uint32_t d = 0; d < directories; ++d) {
        for (const cow_String& candidate : candidates) {
            const utl_FilePath path =
                named ? utl_FilePath(candidate) : m_Directories.ConstGet(d).Join(candidate);
            if (vlt::detail::IsFile(path.PathName().c_str())) {
                found.Append(path);
                if (firstOnly) {
                    return found;
                }
                break; // one match per directory
            }
        }
    }
    return found;
}
