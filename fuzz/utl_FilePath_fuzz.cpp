// libFuzzer target: path texts through every operation of `utl_FilePath`.
//
// The bytes are cut at the first NUL into two paths. Every text operation runs on both, and
// the results are checked against the rules the header states: normalising twice changes
// nothing, keeps the path absolute or relative, and leaves no "." part and no empty part.
#include "fuzz_Support.h"
#include "utl_FilePath.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace {

std::string Text(const utl_FilePath& path) {
    return {path.PathName().c_str(), path.PathName().Length()};
}

void Require(bool rule) {
    if (!rule) {
        __builtin_trap();
    }
}

// No part of a normalised path (after its root) is empty or ".".
bool CleanParts(const std::string& path) {
    std::size_t start = path.find_first_not_of("/");
    if (start == std::string::npos) {
        return true;
    }
    while (start <= path.size()) {
        const std::size_t end = std::min(path.find('/', start), path.size());
        const std::string_view part(path.data() + start, end - start);
        if (part.empty() || part == ".") {
            return path == ".";
        }
        start = end + 1;
    }
    return true;
}

void Check(const std::string& text, const utl_FilePath& other) {
    utl_FilePath path(text.c_str());
    (void)path.BaseName();
    (void)path.Extension();
    (void)path.DirName();
    (void)path.Join(other);
    (void)path.AbsolutePathName();

    path.Portable();
    utl_FilePath normal = path;
    normal.Normalize();
    const std::string once = Text(normal);
    Require(!once.empty());
    Require(Text(utl_FilePath(once.c_str()).Normalize()) == once);
    Require(normal.IsAbsolute() == path.IsAbsolute());
    Require(CleanParts(once));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    const vlt::fuzz::QuietRun quiet;
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    const std::size_t cut = bytes.find('\0');
    const std::string first = bytes.substr(0, cut);
    const std::string second = cut == std::string::npos ? std::string() : bytes.substr(cut + 1);
    Check(first, utl_FilePath(second.c_str()));
    Check(second.c_str(), utl_FilePath(first.c_str()));
    return 0;
}
