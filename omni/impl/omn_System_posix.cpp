// The shared operating-system helpers on POSIX: write(2) and read(2) with interruptions retried
// and SIGPIPE held back, and strerror_r.
#include "omn_System.h"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>

namespace vlt::detail {
namespace {

// SIGPIPE is held back on this thread while the guard lives. One that the guarded writes raised
// is taken off the pending set when they report a broken pipe, so that a lost reader gives
// EPIPE instead of ending the process; one pending before the guard is left to its owner.
class HeldPipeSignal {
public:
    HeldPipeSignal() {
        sigemptyset(&pipe_);
        sigaddset(&pipe_, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &pipe_, &previous_);
        wasPending_ = IsPending();
    }
    ~HeldPipeSignal() { pthread_sigmask(SIG_SETMASK, &previous_, nullptr); }
    HeldPipeSignal(const HeldPipeSignal&) = delete;
    HeldPipeSignal& operator=(const HeldPipeSignal&) = delete;

    void DiscardRaised() {
        if (wasPending_ || !IsPending()) {
            return;
        }
        const int error = errno;
        const timespec noWait{};
        while (sigtimedwait(&pipe_, nullptr, &noWait) == -1 && errno == EINTR) {
        }
        errno = error;
    }

private:
    static bool IsPending() {
        sigset_t pending;
        sigpending(&pending);
        return sigismember(&pending, SIGPIPE) == 1;
    }

    sigset_t pipe_{};
    sigset_t previous_{};
    bool wasPending_ = false;
};

constexpr int faultSignals[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGTRAP, SIGABRT};

// strerror_r comes in two flavours: GNU returns the text, XSI fills the buffer and returns 0.
[[maybe_unused]] const char* ChosenText(const char* gnuText, const char*) {
    return gnuText;
}
[[maybe_unused]] const char* ChosenText(int xsiResult, const char* buffer) {
    return xsiResult == 0 ? buffer : nullptr;
}

} // namespace

int SystemLastError() {
    return errno;
}

void SystemSetLastError(int error) {
    errno = error;
}

std::size_t SystemWrite(int file, const char* bytes, std::size_t count) {
    HeldPipeSignal held;
    std::size_t done = 0;
    while (done < count) {
        const ssize_t written = write(file, bytes + done, count - done);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            if (written == 0) {
                errno = EPIPE;
            }
            if (errno == EPIPE) {
                held.DiscardRaised();
            }
            break;
        }
        done += static_cast<std::size_t>(written);
    }
    return done;
}

long SystemReadSome(int file, char* bytes, std::size_t count) {
    ssize_t got = 0;
    do {
        got = read(file, bytes, count);
    } while (got < 0 && errno == EINTR);
    return static_cast<long>(got);
}

bool SystemMessage(int error, char* text, std::size_t capacity) {
    char buffer[256];
    const char* message = ChosenText(strerror_r(error, buffer, sizeof buffer), buffer);
    SystemCopyText(text, capacity, message);
    return message != nullptr;
}

std::span<const int> SystemFaultSignals() {
    return faultSignals;
}

} // namespace vlt::detail
