#include "TestPlatform.h"
#include "utl_File.h"
#include "utl_flock.h"

#include <gtest/gtest.h>

#include <fcntl.h>

#include <cerrno>
#include <cstdint>
#include <string>

#if defined(_WIN32)
#define WIN32_LEAN_AND_MEAN
#define NOMINMAX 1
#include <io.h>
#include <windows.h>
#else
#include <unistd.h>
#endif

namespace {

// The system's codes that a refused lock leaves in errno.
#if defined(_WIN32)
constexpr int lockTaken = ERROR_LOCK_VIOLATION;
constexpr int noHandle = ERROR_INVALID_HANDLE;
#else
constexpr int lockTaken = EAGAIN;
constexpr int noHandle = EBADF;
#endif

// A fresh file with two descriptors open on it for reading and writing, as two programs would
// hold it.
class FlockTest : public testing::Test {
protected:
    void SetUp() override {
        first = open(path.c_str(), O_RDWR | O_CREAT, 0600);
        ASSERT_GE(first, 0);
        second = open(path.c_str(), O_RDWR);
        ASSERT_GE(second, 0);
    }
    void TearDown() override { CloseDescriptors(); }

    void CloseDescriptors() {
        for (int* descriptor : {&first, &second}) {
            if (*descriptor >= 0) {
                close(*descriptor);
                *descriptor = -1;
            }
        }
    }

    // True when another open of the file cannot lock the byte at `start` for itself.
    bool IsLockedAt(int64_t start) const {
#if defined(_WIN32)
        const HANDLE probe = CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE,
                                         FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                         FILE_ATTRIBUTE_NORMAL, nullptr);
        EXPECT_NE(probe, INVALID_HANDLE_VALUE);
        OVERLAPPED at{};
        at.Offset = static_cast<DWORD>(start);
        at.OffsetHigh = static_cast<DWORD>(start >> 32);
        const bool locked =
            !LockFileEx(probe, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &at);
        if (!locked) {
            UnlockFileEx(probe, 0, 1, 0, &at);
        }
        CloseHandle(probe);
        return locked;
#else
        const int probe = open(path.c_str(), O_RDWR);
        struct flock range {};
        range.l_type = F_WRLCK;
        range.l_whence = SEEK_SET;
        range.l_start = start;
        range.l_len = 1;
        EXPECT_EQ(fcntl(probe, F_OFD_GETLK, &range), 0);
        close(probe);
        return range.l_type != F_UNLCK;
#endif
    }

    vlt::test::TempDirectory directory{"utl_flock_test"};
    const std::string path = directory.PathOf("locked");
    int first = -1;
    int second = -1;
};

TEST_F(FlockTest, OperationsOutsideTheTableFailWithInvalidArgument) {
    for (const int op : {0, 3, 4, 7, 9, 12, -1, -6}) {
        errno = 0;
        EXPECT_EQ(utl_flock(first, op), -1) << op;
        EXPECT_EQ(errno, 22) << op;
    }
    EXPECT_FALSE(IsLockedAt(0));
}

TEST_F(FlockTest, ExclusiveLockKeepsOtherOpensOutUntilUnlocked) {
    ASSERT_EQ(utl_flock(first, 2), 0);
    errno = 0;
    EXPECT_EQ(utl_flock(second, 6), -1);
    EXPECT_EQ(errno, lockTaken);
    EXPECT_EQ(utl_flock(second, 5), -1);
    ASSERT_EQ(utl_flock(first, 8), 0);
    EXPECT_EQ(utl_flock(second, 6), 0);
}

TEST_F(FlockTest, SharedLocksCoexistAndKeepAnExclusiveOneOut) {
    ASSERT_EQ(utl_flock(first, 1), 0);
    EXPECT_EQ(utl_flock(second, 5), 0);
    EXPECT_EQ(utl_flock(second, 8), 0);
    EXPECT_EQ(utl_flock(second, 6), -1);
}

TEST_F(FlockTest, LockCoversTheFirst4294901760BytesOnly) {
    ASSERT_EQ(utl_flock(first, 2), 0);
    EXPECT_TRUE(IsLockedAt(0));
    EXPECT_TRUE(IsLockedAt(0xFFFEFFFFLL));
    EXPECT_FALSE(IsLockedAt(0xFFFF0000LL));
    ASSERT_EQ(utl_flock(first, 8), 0);
    EXPECT_FALSE(IsLockedAt(0));
}

// Windows keeps every other writer out of a file open for update: the lock is taken through a
// descriptor that only reads, opened after the file.
TEST_F(FlockTest, FileOpenForUpdateDoesNotHoldTheLockedRange) {
    CloseDescriptors();
    const utl_File writer(path.c_str(), utl_FileAccessUpdate);
    first = open(path.c_str(), O_RDONLY);
    ASSERT_GE(first, 0);
    EXPECT_EQ(utl_flock(first, 5), 0);
}

TEST_F(FlockTest, BadDescriptorReportsTheSystemError) {
    errno = 0;
    EXPECT_EQ(utl_flock(-1, 2), -1);
    EXPECT_EQ(errno, noHandle);
}

} // namespace
