// Streams across a pipe to a child process, and to peers that have gone.
#include "bio_FdDevice.h"
#include "bio_InternalFilter.h"
#include "omi_FatalError.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <memory>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr char brokenConnection[] =
    "The other side of the connection exited breaking the socket connection";

struct Pipe {
    Pipe() { EXPECT_EQ(::pipe(fds), 0); }
    ~Pipe() {
        CloseRead();
        CloseWrite();
    }
    void CloseRead() { Close(fds[0]); }
    void CloseWrite() { Close(fds[1]); }
    static void Close(int& fd) {
        if (fd >= 0) {
            ::close(fd);
            fd = -1;
        }
    }
    int Read() const { return fds[0]; }
    int Write() const { return fds[1]; }
    int fds[2] = {-1, -1};
};

// Runs `body` in a child process that writes to the pipe; the child's status is its exit code.
template <class Body>
pid_t Spawn(Pipe& pipe, Body body) {
    const pid_t child = ::fork();
    if (child == 0) {
        pipe.CloseRead();
        int status = 0;
        try {
            body(pipe.Write());
        } catch (const omi_FatalError&) {
            status = 2;
        }
        ::_exit(status);
    }
    pipe.CloseWrite();
    return child;
}

int Wait(pid_t child) {
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

std::vector<double> Ramp(std::size_t n) {
    std::vector<double> values(n);
    for (std::size_t i = 0; i < n; ++i) {
        values[i] = static_cast<double>(i) / 3.0;
    }
    return values;
}

TEST(FdDevice, StreamCrossesAPipeFromAChildProcess) {
    Pipe pipe;
    const std::vector<double> ramp = Ramp(5000); // many device buffers
    const pid_t child = Spawn(pipe, [&ramp](int fd) {
        bio_OfdDevice device(fd, 1000);
        bio_OinternalFilter out(device);
        out << 42 << "across" << -7L;
        out << static_cast<unsigned>(ramp.size());
        out.insertVector(ramp.data(), static_cast<unsigned>(ramp.size() * sizeof(double)));
        device.donePushing();
    });
    bio_IfdDevice device(pipe.Read(), 777);
    bio_IinternalFilter in(device);
    int i = 0;
    char* s = nullptr;
    long l = 0;
    unsigned n = 0;
    in >> i >> s >> l >> n;
    std::unique_ptr<char[]> own(s);
    ASSERT_EQ(n, ramp.size());
    std::vector<double> back(n);
    in.extractVector(back.data(), n);
    EXPECT_EQ(i, 42);
    EXPECT_STREQ(s, "across");
    EXPECT_EQ(l, -7L);
    EXPECT_EQ(back, ramp);
    EXPECT_EQ(Wait(child), 0);
}

TEST(FdDevice, PeerExitingMidStreamIsABrokenConnection) {
    Pipe pipe;
    const pid_t child = Spawn(pipe, [](int fd) {
        bio_OfdDevice device(fd);
        bio_OinternalFilter out(device);
        out << 1 << static_cast<short>(2); // a reader expecting two ints gets 6 bytes
        device.donePushing();
    });
    bio_IfdDevice device(pipe.Read());
    bio_IinternalFilter in(device);
    int first = 0, second = 0;
    in >> first;
    try {
        in >> second;
        FAIL() << "read past the end of the stream";
    } catch (const omi_FatalError& error) {
        EXPECT_STREQ(error.Message(), brokenConnection);
        EXPECT_EQ(error.Code(), 0); // end of file, not a failed read
    }
    EXPECT_EQ(first, 1);
    EXPECT_EQ(Wait(child), 0);
}

TEST(FdDevice, WritingToAReaderThatHasGoneThrowsInsteadOfKillingTheWriter) {
    Pipe pipe;
    const pid_t child = Spawn(pipe, [](int fd) {
        bio_OfdDevice device(fd, 64);
        bio_OinternalFilter out(device);
        try {
            for (int i = 0; i < 1000000; ++i) {
                out << i;
            }
        } catch (const omi_FatalError& error) {
            ::_exit(error.Code() == EPIPE && std::string(error.Message()) == brokenConnection ? 3
                                                                                              : 4);
        }
    });
    pipe.CloseRead();
    EXPECT_EQ(Wait(child), 3);
}

TEST(FdDevice, SignalHeldDuringTheWriteComesBackAfterwards) {
    Pipe pipe;
    pipe.CloseRead();
    sigset_t pipeOnly, before, after;
    sigemptyset(&pipeOnly);
    sigaddset(&pipeOnly, SIGPIPE);
    ::pthread_sigmask(SIG_SETMASK, nullptr, &before);
    bio_OfdDevice device(pipe.Write(), 8);
    bio_OinternalFilter out(device);
    out << 1.0;
    EXPECT_THROW(device.donePushing(), omi_FatalError);
    ::pthread_sigmask(SIG_SETMASK, nullptr, &after);
    EXPECT_EQ(sigismember(&after, SIGPIPE), sigismember(&before, SIGPIPE));
    sigset_t pending;
    sigpending(&pending);
    EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
}

TEST(FdDevice, FailedReadCarriesTheSystemErrorNumber) {
    bio_IfdDevice device(-1);
    bio_IinternalFilter in(device);
    char c = 0;
    try {
        in >> c;
        FAIL() << "read from a closed descriptor";
    } catch (const omi_FatalError& error) {
        EXPECT_EQ(error.Code(), EBADF);
    }
}

} // namespace
