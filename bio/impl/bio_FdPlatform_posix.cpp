#include "bio_FdPlatform.h"

#include <cerrno>
#include <csignal>
#include <ctime>
#include <pthread.h>
#include <unistd.h>

namespace {

// SIGPIPE is held back on this thread for the duration of the write, and one that the write
// raised is taken off the pending set, so that a lost reader gives EPIPE instead of ending the
// process. A SIGPIPE already pending before the write is left to its owner.
class HeldPipeSignal {
public:
    HeldPipeSignal() {
        sigemptyset(&pipe_);
        sigaddset(&pipe_, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &pipe_, &previous_);
        sigset_t pending;
        sigpending(&pending);
        wasPending_ = sigismember(&pending, SIGPIPE) == 1;
    }
    HeldPipeSignal(const HeldPipeSignal&) = delete;
    HeldPipeSignal& operator=(const HeldPipeSignal&) = delete;

    void Discard() {
        if (wasPending_) {
            return;
        }
        const timespec noWait{};
        while (sigtimedwait(&pipe_, nullptr, &noWait) == -1 && errno == EINTR) {
        }
    }

    ~HeldPipeSignal() { pthread_sigmask(SIG_SETMASK, &previous_, nullptr); }

private:
    sigset_t pipe_;
    sigset_t previous_;
    bool wasPending_;
};

} // namespace

long vlt::detail::bio_FdWrite(int fd, const char* data, std::size_t n) {
    HeldPipeSignal held;
    ssize_t written;
    do {
        written = ::write(fd, data, n);
    } while (written == -1 && errno == EINTR);
    if (written == -1 && errno == EPIPE) {
        const int error = errno;
        held.Discard();
        errno = error;
    }
    return static_cast<long>(written);
}

long vlt::detail::bio_FdRead(int fd, char* data, std::size_t n) {
    ssize_t got;
    do {
        got = ::read(fd, data, n);
    } while (got == -1 && errno == EINTR);
    return static_cast<long>(got);
}
