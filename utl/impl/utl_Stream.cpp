// The text stream's buffer: opening, the two directions, lines, flushing and closing.
#include "utl_Stream.h"

#include "crt_Assert.h"
#include "nex_Exception.h"
#include "omn_System.h"
#include "utl_FileOpen.h"
#include "utl_FilePlatform.h"
#include "utl_SystemError.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <utility>

using vlt::detail::FileStandard;
using vlt::detail::noFile;

namespace {

constexpr char streamPath[] = "utl/impl/utl_Stream";
constexpr std::size_t bufferSize = std::size_t{64} * 1024;
// The most one system call is given: the platform counts in int.
constexpr std::size_t largestTransfer = std::size_t{1} << 30;
// What cow_String holds, with the room its growth rule adds.
constexpr std::size_t longestLine = 0xFFFFFFFFu - 64;

[[noreturn]] void Raise(const char* text, int line = __builtin_LINE()) {
    vlt::detail::RaiseText(text, streamPath, line);
}

[[noreturn]] void RaiseSystemError(const char* context, int line = __builtin_LINE()) {
    vlt::detail::RaiseSystemError(context, vlt::detail::SystemLastError(), streamPath, line);
}

utl_FileHandle OpenByAccess(const cow_String& name, utl_FileAccess access) {
    const bool known = access == utl_FileAccessRead || access == utl_FileAccessUpdate ||
                       access == utl_FileAccessWrite;
    CRT_CHECK(known, "access is read, update or write", streamPath);
    return vlt::detail::FileOpenByAccess(name, access);
}

FileStandard PlatformStandard(utl_StandardStream which) {
    switch (which) {
    case utl_StandardStream::Input:
        return FileStandard::Input;
    case utl_StandardStream::Output:
        return FileStandard::Output;
    case utl_StandardStream::Error:
        break;
    }
    return FileStandard::Error;
}

// Whatever C's and C++'s own buffers hold for standard output goes out before the stream's
// bytes; std::cout has a buffer of its own once it is no longer synchronised with stdio.
void FlushStandardBuffers() {
    std::cout.flush();
    std::fflush(stdout);
}

void WriteAll(utl_FileHandle handle, const char* bytes, std::size_t count) {
    while (count > 0) {
        const int chunk = static_cast<int>(std::min(count, largestTransfer));
        int done = 0;
        if (!vlt::detail::FileWrite(handle, bytes, chunk, done)) {
            RaiseSystemError("utl_Stream::Flush");
        }
        bytes += chunk;
        count -= static_cast<std::size_t>(chunk);
    }
}

} // namespace

utl_Stream::utl_Stream(const cow_String& name, utl_FileAccess access)
    : m_Buffer(std::make_unique<char[]>(bufferSize)), m_Handle(OpenByAccess(name, access)),
      m_Direction(m_Handle == noFile             ? Direction::Closed
                  : access == utl_FileAccessRead ? Direction::Input
                                                 : Direction::Output),
      m_OwnsHandle(true), m_Limit(m_Direction == Direction::Output ? bufferSize : 0) {}

utl_Stream::utl_Stream(utl_StandardStream which)
    : m_Buffer(std::make_unique<char[]>(bufferSize)),
      m_Handle(vlt::detail::FileStandardHandle(PlatformStandard(which))),
      m_Direction(which == utl_StandardStream::Input ? Direction::Input : Direction::Output),
      m_OwnsHandle(false), m_Standard(which != utl_StandardStream::Input),
      m_Limit(which == utl_StandardStream::Output ? bufferSize : 0) {}

utl_Stream::utl_Stream(utl_Stream&& other) noexcept
    : m_Handle(noFile), m_Direction(Direction::Closed), m_OwnsHandle(false) {
    TakeOver(other);
}

utl_Stream& utl_Stream::operator=(utl_Stream&& other) {
    if (this != &other) {
        Close();
        TakeOver(other);
    }
    return *this;
}

void utl_Stream::TakeOver(utl_Stream& other) noexcept {
    m_Buffer = std::move(other.m_Buffer);
    m_Handle = std::exchange(other.m_Handle, noFile);
    m_Direction = std::exchange(other.m_Direction, Direction::Closed);
    m_OwnsHandle = other.m_OwnsHandle;
    m_Standard = other.m_Standard;
    m_Limit = std::exchange(other.m_Limit, 0);
    m_Pending = std::exchange(other.m_Pending, 0);
    m_Begin = std::exchange(other.m_Begin, 0);
    m_End = std::exchange(other.m_End, 0);
    m_PrintFormat = other.m_PrintFormat;
}

// No caller is left to receive a failure here, so it goes where a person will see it.
utl_Stream::~utl_Stream() {
    try {
        Close();
    } catch (const nex_Exception& failure) {
        std::fprintf(stderr, "utl_Stream::~utl_Stream: %s\n", failure.UserReport().c_str());
    } catch (...) {
        std::fprintf(stderr, "utl_Stream::~utl_Stream: the stream could not be closed\n");
    }
}

utl_Stream& utl_Stream::WriteSlowly(const char* bytes, std::size_t count) {
    RequireOutput();
    if (count > bufferSize - m_Pending) {
        Drain();
        if (count >= bufferSize) {
            // Copying through the buffer would gain nothing.
            if (m_Standard) {
                FlushStandardBuffers();
            }
            WriteAll(m_Handle, bytes, count);
            return *this;
        }
    }
    std::memcpy(m_Buffer.get() + m_Pending, bytes, count);
    Commit(m_Buffer.get() + m_Pending + count);
    return *this;
}

char* utl_Stream::MakeRoom(std::size_t count) {
    RequireOutput();
    if (bufferSize - m_Pending < count) {
        Drain();
    }
    return m_Buffer.get() + m_Pending;
}

void utl_Stream::RequireOutput() {
    if (m_Direction == Direction::Input) {
        Raise("utl_Stream::Write - attempt to write to an input stream.");
    }
    if (m_Direction == Direction::Closed) {
        Raise("utl_Stream::Write - attempt to write to a closed stream.");
    }
}

// The pending bytes are dropped before the attempt: bytes the system refused once would only
// fail again at the next flush, and in the destructor.
void utl_Stream::Drain() {
    const std::size_t count = std::exchange(m_Pending, 0);
    if (count == 0) {
        return;
    }
    if (m_Standard) {
        FlushStandardBuffers();
    }
    WriteAll(m_Handle, m_Buffer.get(), count);
}

bool utl_Stream::ReadLine(cow_String& line) {
    if (m_Direction == Direction::Output) {
        Raise("utl_Stream::ReadLine - attempt to read from an output stream.");
    }
    if (m_Direction == Direction::Closed) {
        Raise("utl_Stream::ReadLine - attempt to read from a closed stream.");
    }
    bool first = true;
    for (;;) {
        if (m_Begin == m_End && !Fill()) {
            if (first) {
                line = cow_String();
            }
            return !first;
        }
        const char* start = m_Buffer.get() + m_Begin;
        const std::size_t available = m_End - m_Begin;
        const auto* end = static_cast<const char*>(std::memchr(start, '\n', available));
        if (end == nullptr) {
            AppendToLine(line, start, available, first);
            m_Begin = m_End;
            first = false;
            continue;
        }
        m_Begin += static_cast<std::size_t>(end - start) + 1;
        if (end != start && end[-1] == '\r') {
            --end;
        } else if (end == start && !first && line.Length() > 0 &&
                   line.c_str()[line.Length() - 1] == '\r') {
            // The "\r" of "\r\n" ended the previous buffer.
            line.Erase(line.Length() - 1);
        }
        AppendToLine(line, start, static_cast<std::size_t>(end - start), first);
        return true;
    }
}

// The first piece replaces what the string held, reusing its buffer when it is the only owner.
void utl_Stream::AppendToLine(cow_String& line, const char* bytes, std::size_t count, bool first) {
    const unsigned held = first ? 0 : line.Length();
    if (count > longestLine - held) {
        Raise("utl_Stream::ReadLine - line longer than a string holds.");
    }
    line.Replace(held, cow_String::Unlimited, bytes, static_cast<unsigned>(count));
}

bool utl_Stream::Fill() {
    m_Begin = 0;
    m_End = 0;
    int done = 0;
    if (!vlt::detail::FileReadSome(m_Handle, m_Buffer.get(), static_cast<int>(bufferSize), done)) {
        RaiseSystemError("utl_Stream::ReadLine");
    }
    m_End = static_cast<std::size_t>(done);
    return done > 0;
}

void utl_Stream::Flush() {
    if (m_Direction == Direction::Output) {
        Drain();
    }
}

void utl_Stream::Close() {
    if (m_Direction == Direction::Closed) {
        return;
    }
    const Direction direction = std::exchange(m_Direction, Direction::Closed);
    try {
        if (direction == Direction::Output) {
            Drain();
        }
    } catch (...) {
        // The flush's failure is the one to report; the handle goes all the same.
        Release(false);
        throw;
    }
    Release(true);
}

void utl_Stream::Release(bool report) {
    const utl_FileHandle handle = std::exchange(m_Handle, noFile);
    m_Limit = 0;
    m_Pending = 0;
    m_Begin = 0;
    m_End = 0;
    m_Buffer.reset();
    if (m_OwnsHandle && handle != noFile && !vlt::detail::FileClose(handle) && report) {
        RaiseSystemError("utl_Stream::Close");
    }
}

void utl_Stream::Seek(const utl_FileOffset& offset) {
    if (m_Direction == Direction::Closed) {
        Raise("utl_Stream::Seek - attempt to seek on a closed stream.");
    }
    if (m_Direction == Direction::Output) {
        Drain();
    }
    m_Begin = 0;
    m_End = 0;
    if (!vlt::detail::FileSeek(m_Handle, offset.Rounded())) {
        RaiseSystemError("utl_Stream::Seek");
    }
}
