// Streams across a pipe to a child process, and to peers that have gone.
#include "ChildProcess.h"
#include "TestPlatform.h"
#include "bio_FdDevice.h"
#include "bio_InternalFilter.h"
#include "omi_FatalError.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#if defined(_WIN32)
#define WIN32_LEAN_AND_MEAN
#include <fcntl.h>
#include <io.h>
#include <windows.h>
#else
#include <csignal>
#include <unistd.h>
#endif

namespace {

using vlt::test::ChildProcess;

constexpr char brokenConnection[] =
    "The other side of the connection exited breaking the socket connection";

#if defined(_WIN32)
// A reader that has gone: the system's broken-pipe codes, as the last error.
bool IsBrokenPipe(int code) {
    return code == ERROR_BROKEN_PIPE || code == ERROR_NO_DATA;
}
constexpr int badDescriptor = ERROR_INVALID_HANDLE;
// The child is this program started again: the write end reaches it as an inherited handle
// named in the environment.
constexpr char lentHandleVariable[] = "VLT_TEST_PIPE_HANDLE";
#else
bool IsBrokenPipe(int code) {
    return code == EPIPE;
}
constexpr int badDescriptor = EBADF;
#endif

// A pipe whose write end a child process takes.
struct Pipe {
#if defined(_WIN32)
    Pipe() {
        EXPECT_EQ(_pipe(fds, 1 << 16, _O_BINARY | _O_NOINHERIT), 0);
    }
    void LendWriteEnd() {
        const HANDLE end = reinterpret_cast<HANDLE>(_get_osfhandle(fds[1]));
        SetHandleInformation(end, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
        vlt::test::SetEnvironment(lentHandleVariable,
                                  std::to_string(reinterpret_cast<intptr_t>(end)).c_str());
    }
    int ChildWriteEnd() const {
        const intptr_t lent = std::atoll(std::getenv(lentHandleVariable));
        return _open_osfhandle(lent, _O_WRONLY | _O_BINARY);
    }
    static void Close(int& fd) {
        if (fd >= 0) {
            _close(fd);
            fd = -1;
        }
    }
#else
    Pipe() {
        EXPECT_EQ(::pipe(fds), 0);
    }
    void LendWriteEnd() {}
    int ChildWriteEnd() const {
        return fds[1];
    }
    static void Close(int& fd) {
        if (fd >= 0) {
            ::close(fd);
            fd = -1;
        }
    }
#endif
    ~Pipe() {
        CloseRead();
        CloseWrite();
    }
    void CloseRead() {
        Close(fds[0]);
    }
    void CloseWrite() {
        Close(fds[1]);
    }
    int Read() const {
        return fds[0];
    }
    int Write() const {
        return fds[1];
    }
    int fds[2] = {-1, -1};
};

// Runs `body` in a child process that writes to the pipe; the child's status is its exit code.
template <class Body>
std::unique_ptr<ChildProcess> Spawn(Pipe& pipe, Body body) {
    if (!vlt::test::InRerunChild()) {
        pipe.LendWriteEnd();
    }
    auto child = std::make_unique<ChildProcess>([&pipe, body] {
        pipe.CloseRead();
        try {
            body(pipe.ChildWriteEnd());
        } catch (const omi_FatalError&) {
            return 2;
        }
        return 0;
    });
    pipe.CloseWrite();
    return child;
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
    const auto child = Spawn(pipe, [&ramp](int fd) {
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
    EXPECT_EQ(child->Wait(), 0);
}

TEST(FdDevice, PeerExitingMidStreamIsABrokenConnection) {
    Pipe pipe;
    const auto child = Spawn(pipe, [](int fd) {
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
    EXPECT_EQ(child->Wait(), 0);
}

TEST(FdDevice, WritingToAReaderThatHasGoneThrowsInsteadOfKillingTheWriter) {
    Pipe pipe;
    const auto child = Spawn(pipe, [](int fd) {
        bio_OfdDevice device(fd, 64);
        bio_OinternalFilter out(device);
        try {
            for (int i = 0; i < 1000000; ++i) {
                out << i;
            }
        } catch (const omi_FatalError& error) {
            std::_Exit(
                IsBrokenPipe(error.Code()) && std::string(error.Message()) == brokenConnection ? 3
                                                                                               : 4);
        }
    });
    pipe.CloseRead();
    EXPECT_EQ(child->Wait(), 3);
}

#if !defined(_WIN32) // a lost reader is a signal only on POSIX
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

#endif

TEST(FdDevice, FailedReadCarriesTheSystemErrorNumber) {
    bio_IfdDevice device(-1);
    bio_IinternalFilter in(device);
    char c = 0;
    try {
        in >> c;
        FAIL() << "read from a closed descriptor";
    } catch (const omi_FatalError& error) {
        EXPECT_EQ(error.Code(), badDescriptor);
    }
}

} // namespace
