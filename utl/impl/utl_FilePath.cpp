// Path text operations and the library's list of paths.
#include "utl_FilePath.h"

#include "utl_Platform.h"

#include <string_view>
#include <vector>

VLT_COW_LIST_DEFINE(utl_FilePath);

namespace {

#if defined(_WIN32)
constexpr bool windowsPaths = true;
#else
constexpr bool windowsPaths = false;
#endif

bool IsSeparator(char c) {
    return c == '/' || (windowsPaths && c == '\\');
}

std::string_view View(const cow_String& text) {
    return {text.c_str(), text.Length()};
}

cow_String ToString(std::string_view text) {
    return {text.data(), static_cast<unsigned>(text.size())};
}

// The length of the root: "/", "C:/" or "C:" (a drive without its directory), else 0.
std::size_t RootLength(std::string_view path) {
    std::size_t length = 0;
    if (windowsPaths && path.size() >= 2 && path[1] == ':') {
        length = 2;
    }
    if (length < path.size() && IsSeparator(path[length])) {
        ++length;
    }
    return length;
}

// The path without trailing separators, never shorter than its root.
std::string_view TrimTrailing(std::string_view path) {
    const std::size_t root = RootLength(path);
    while (path.size() > root && IsSeparator(path.back())) {
        path.remove_suffix(1);
    }
    return path;
}

// The position of the last separator after the root, or npos.
std::size_t LastSeparator(std::string_view path) {
    const std::size_t root = RootLength(path);
    for (std::size_t at = path.size(); at > root; --at) {
        if (IsSeparator(path[at - 1])) {
            return at - 1;
        }
    }
    return std::string_view::npos;
}

std::vector<std::string_view> ResolvedParts(std::string_view rest, bool rooted) {
    std::vector<std::string_view> parts;
    while (!rest.empty()) {
        std::size_t end = 0;
        while (end < rest.size() && !IsSeparator(rest[end])) {
            ++end;
        }
        const std::string_view part = rest.substr(0, end);
        rest.remove_prefix(end < rest.size() ? end + 1 : end);
        if (part.empty() || part == ".") {
            continue;
        }
        if (part != "..") {
            parts.push_back(part);
        } else if (!parts.empty() && parts.back() != "..") {
            parts.pop_back();
        } else if (!rooted) {
            parts.push_back(part);
        }
    }
    return parts;
}

} // namespace

utl_FilePath& utl_FilePath::Portable() {
    for (unsigned at = m_Path.Find("\\"); at < m_Path.Length(); at = m_Path.Find("\\", at + 1)) {
        m_Path[at] = '/';
    }
    return *this;
}

utl_FilePath& utl_FilePath::Normalize() {
    const std::string_view path = View(m_Path);
    const std::size_t rootLength = RootLength(path);
    const std::string_view root = path.substr(0, rootLength);
    const bool rooted = rootLength > 0 && IsSeparator(root.back());
    cow_String result = ToString(root);
    bool first = true;
    for (const std::string_view part : ResolvedParts(path.substr(rootLength), rooted)) {
        if (!first) {
            result.Append('/');
        }
        result.Append(part.data(), 0, static_cast<unsigned>(part.size()));
        first = false;
    }
    if (result.Length() == 0) {
        result = ".";
    }
    m_Path = result;
    return *this;
}

bool utl_FilePath::IsAbsolute() const {
    const std::string_view path = View(m_Path);
    const std::size_t root = RootLength(path);
    return root > 0 && IsSeparator(path[root - 1]);
}

cow_String utl_FilePath::AbsolutePathName() const {
    utl_FilePath absolute = IsAbsolute() ? *this : utl_FilePath(utl_getcwd()).Join(*this);
    return absolute.Normalize().PathName();
}

utl_FilePath utl_FilePath::Join(const utl_FilePath& other) const {
    if (other.IsAbsolute() || m_Path.Length() == 0) {
        return other;
    }
    if (other.m_Path.Length() == 0) {
        return *this;
    }
    cow_String joined = m_Path;
    if (!IsSeparator(joined[joined.Length() - 1])) {
        joined.Append('/');
    }
    return joined.Append(other.m_Path);
}

utl_FilePath utl_FilePath::DirName() const {
    const std::string_view path = TrimTrailing(View(m_Path));
    const std::size_t separator = LastSeparator(path);
    const std::size_t root = RootLength(path);
    if (separator == std::string_view::npos) {
        return root > 0 ? ToString(path.substr(0, root)) : cow_String(".");
    }
    return ToString(TrimTrailing(path.substr(0, separator > root ? separator : root)));
}

cow_String utl_FilePath::BaseName() const {
    const std::string_view path = TrimTrailing(View(m_Path));
    const std::size_t separator = LastSeparator(path);
    return ToString(
        path.substr(separator == std::string_view::npos ? RootLength(path) : separator + 1));
}

cow_String utl_FilePath::Extension() const {
    const cow_String base = BaseName();
    const std::string_view name = View(base);
    const std::size_t dot = name.rfind('.');
    if (dot == std::string_view::npos || dot == 0) {
        return {};
    }
    return ToString(name.substr(dot + 1));
}
