// The shared operating-system helpers on Windows: WriteFile and ReadFile on the handle behind a
// runtime descriptor, the thread's last error, and the system's message table.
#include "omn_System.h"

#define NOMINMAX 1 // the value libstdc++ gives it on mingw-w64
#include <windows.h>

#include <io.h>

#include <cstring>

namespace vlt::detail {
namespace {

// The counts of WriteFile and ReadFile are 32 bits; larger transfers take several calls.
constexpr std::size_t largestCall = std::size_t{1} << 30;

// Room for the longest text of the system's message table.
constexpr std::size_t messageLimit = 1024;

DWORD CallSize(std::size_t count) {
    return static_cast<DWORD>(count < largestCall ? count : largestCall);
}

// The handle behind a descriptor, or INVALID_HANDLE_VALUE with the reason as the last error. A
// negative descriptor never reaches the runtime, whose parameter check may end the process.
HANDLE HandleOf(int file) {
    const HANDLE handle =
        file < 0 ? INVALID_HANDLE_VALUE : reinterpret_cast<HANDLE>(_get_osfhandle(file));
    if (handle == INVALID_HANDLE_VALUE) {
        SetLastError(ERROR_INVALID_HANDLE);
    }
    return handle;
}

} // namespace

int SystemLastError() {
    return static_cast<int>(GetLastError());
}

void SystemSetLastError(int error) {
    SetLastError(static_cast<DWORD>(error));
}

std::size_t SystemWrite(int file, const char* bytes, std::size_t count) {
    const HANDLE handle = HandleOf(file);
    if (handle == INVALID_HANDLE_VALUE) {
        return 0;
    }
    std::size_t done = 0;
    while (done < count) {
        DWORD written = 0;
        if (!WriteFile(handle, bytes + done, CallSize(count - done), &written, nullptr)) {
            break; // a lost reader is ERROR_BROKEN_PIPE or ERROR_NO_DATA, left as the last error
        }
        if (written == 0) {
            SetLastError(ERROR_BROKEN_PIPE);
            break;
        }
        done += written;
    }
    return done;
}

long SystemReadSome(int file, char* bytes, std::size_t count) {
    const HANDLE handle = HandleOf(file);
    if (handle == INVALID_HANDLE_VALUE) {
        return -1;
    }
    const DWORD before = GetLastError();
    DWORD got = 0;
    if (ReadFile(handle, bytes, CallSize(count), &got, nullptr)) {
        return static_cast<long>(got);
    }
    // A pipe whose writers have all gone reports its end as a broken pipe: an end of file,
    // which leaves the last error as it was, as a read at the end of a file does.
    if (GetLastError() != ERROR_BROKEN_PIPE) {
        return -1;
    }
    SetLastError(before);
    return 0;
}

// FormatMessageA refuses a buffer too small for the whole text instead of cutting it, hence the
// local buffer. It also leaves a stale last error behind on success (Wine does), hence the
// restore. It takes the process heap inside, on Windows and Wine alike: a crash report must not
// ask for system texts.
bool SystemMessage(int error, char* text, std::size_t capacity) {
    const DWORD kept = GetLastError();
    char message[messageLimit];
    const DWORD length =
        FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                       static_cast<DWORD>(error), 0, message, sizeof message, nullptr);
    SystemCutLineEnd(message, length);
    SystemCopyText(text, capacity, message);
    SetLastError(kept);
    return length > 0;
}

// Empty: faults reach a Windows process as structured exceptions, which the crash handler takes
// with its unhandled-exception filter. The runtime's SIGSEGV, SIGILL and SIGFPE are its own
// translation of those exceptions, and a handler bound to them would take the fault before the
// filter sees it; SIGABRT comes from abort() inside the runtime, not from the system.
std::span<const int> SystemFaultSignals() {
    return {};
}

} // namespace vlt::detail
