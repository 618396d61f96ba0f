// The large-file layer: open modes, positions, sizes and the size ceiling, with every failure
// reported as "context: system message".
#include "utl_File.h"

#include "crt_Assert.h"
#include "omn_System.h"
#include "utl_FileOpen.h"
#include "utl_FilePlatform.h"
#include "utl_SystemError.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <exception>
#include <limits>

using vlt::detail::FileHandle;
using vlt::detail::FileOpenMode;

namespace {

constexpr char filePath[] = "utl/impl/utl_File";
// The helpers' default line is their caller's (__builtin_LINE, which GCC and Clang share).
[[noreturn]] void Raise(const char* text, int line) {
    vlt::detail::RaiseText(text, filePath, line);
}

[[noreturn]] void RaiseSystemError(const char* context, int error, int line = __builtin_LINE()) {
    vlt::detail::RaiseSystemError(context, error, filePath, line);
}

void Check(bool succeeded, const char* context, int line = __builtin_LINE()) {
    if (!succeeded) {
        RaiseSystemError(context, vlt::detail::SystemLastError(), line);
    }
}

// Misuse of a read-only file is refused before the system sees it.
void RefuseReadOnly(utl_FileAccess access, const char* text, int line = __builtin_LINE()) {
    if (access == utl_FileAccessRead) {
        Raise(text, line);
    }
}

double Nearest(const utl_FileOffset& offset) {
    return std::floor(offset.Value() + 0.5);
}

utl_FileHandle Open(const cow_String& name, FileOpenMode mode, const char* context) {
    FileHandle handle = vlt::detail::noFile;
    Check(vlt::detail::FileOpen(name.c_str(), mode, handle), context);
    return handle;
}

bool CountIsValid(int count) {
    CRT_CHECK(count >= 0, "count >= 0", filePath);
    return count >= 0;
}

} // namespace

utl_FileHandle vlt::detail::FileOpenByAccess(const cow_String& name, utl_FileAccess access) {
    switch (access) {
    case utl_FileAccessRead:
        return utl_File::OpenRead(name);
    case utl_FileAccessUpdate:
        return utl_File::OpenUpdate(name);
    case utl_FileAccessWrite:
        return utl_File::OpenWrite(name);
    }
    return vlt::detail::noFile;
}

int64_t utl_FileOffset::Rounded() const {
    constexpr double range = 9223372036854775808.0; // 2^63
    const double shifted = m_Bytes + 0.5;
    if (!(shifted > -range)) {
        return std::numeric_limits<int64_t>::min();
    }
    if (shifted >= range) {
        return std::numeric_limits<int64_t>::max();
    }
    return static_cast<int64_t>(shifted);
}

bool utl_FileOffset::operator<(utl_FileOffset other) const {
    return Nearest(*this) < Nearest(other);
}

utl_File::utl_File(const cow_String& name, utl_FileAccess access)
    : m_Handle(vlt::detail::FileOpenByAccess(name, access)), m_Name(name), m_Access(access) {
    m_Remote = m_Handle != vlt::detail::noFile && vlt::detail::FileIsRemote(name.c_str(), m_Handle);
}

utl_File::~utl_File() noexcept(false) {
    if (m_Handle == vlt::detail::noFile) {
        return;
    }
    if (vlt::detail::FileClose(m_Handle)) {
        return;
    }
    // The code is the runtime's error number, not the system's last error: deliberate. Taken at
    // once: asking for the uncaught exceptions may change it on Windows.
    const int error = errno;
    if (std::uncaught_exceptions() == 0) {
        RaiseSystemError("utl_File::~utl_File: CloseHandle (NT)", error);
    }
}

void utl_File::Seek(const utl_FileOffset& offset) {
    Check(vlt::detail::FileSeek(m_Handle, offset.Rounded()), "utl_File::Seek");
}

utl_FileOffset utl_File::Location() {
    int64_t position = 0;
    Check(vlt::detail::FileTell(m_Handle, position), "utl_File::Location");
    return static_cast<double>(position);
}

void utl_File::Flush() {
    RefuseReadOnly(m_Access, "utl_File::Flush - attempt to flush a read-only file.");
    Check(vlt::detail::FileFlush(m_Handle), "utl_File::Flush");
}

int utl_File::Read(char* bytes, int count) {
    int done = 0;
    if (CountIsValid(count)) {
        Check(vlt::detail::FileRead(m_Handle, bytes, count, done), "utl_File::Read");
    }
    return done;
}

int utl_File::Write(const char* bytes, int count) {
    RefuseReadOnly(m_Access, "utl_File::Write - attempt to write to a read-only file.");
    int done = 0;
    if (CountIsValid(count)) {
        Check(vlt::detail::FileWrite(m_Handle, bytes, count, done), "utl_File::Write");
    }
    return done;
}

utl_FileOffset utl_File::FileSize() {
    int64_t size = 0;
    Check(vlt::detail::FileSize(m_Handle, size), "utl_File::FileSize");
    return static_cast<double>(size);
}

void utl_File::Extend(const utl_FileOffset& offset) {
    RefuseReadOnly(m_Access, "utl_File::Extend - attempt to extend a read-only file.");
    int64_t position = 0;
    Check(vlt::detail::FileTell(m_Handle, position), "utl_File::Extend: SetFilePointer (1)");
    Check(vlt::detail::FileSeek(m_Handle, offset.Rounded()),
          "utl_File::Extend: SetFilePointer (2)");
    Check(vlt::detail::FileSetEnd(m_Handle), "utl_File::Extend: SetEndOfFile");
    Check(vlt::detail::FileSeek(m_Handle, position), "utl_File::Extend: SetFilePointer (3)");
}

void utl_File::CheckFileSize(const utl_FileOffset& offset) const {
    if (offset < utl_FileOffset(0.0)) {
        Raise("utl_File::CheckFileSize - file offset is illegal. (negative)", __LINE__);
    }
    if (Nearest(m_Ceiling) <= Nearest(offset)) {
        const char* message =
            m_LargeFile
                ? "utl_File::CheckFileSize: Files greater than 2,000,000 Gb are not supported on "
                  "this file system."
                : "utl_File::CheckFileSize: Files greater than 2.1 Gb are not supported on this "
                  "file system.";
        std::fprintf(stderr, "%s\n  file size: %lf\n", message, offset.Value());
        Raise(message, __LINE__);
    }
}

utl_FileHandle utl_File::OpenRead(const cow_String& name) {
    return Open(name, FileOpenMode::Read, "utl_FileRead::Open");
}

utl_FileHandle utl_File::OpenUpdate(const cow_String& name) {
    return Open(name, FileOpenMode::Update, "utl_FileUpdate::Open");
}

utl_FileHandle utl_File::OpenWrite(const cow_String& name) {
    return Open(name, FileOpenMode::Write, "utl_FileWrite::Open");
}
