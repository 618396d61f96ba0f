#include "utl_File.h"
#include "utl_flock.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

class FlockTest : public testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/utl_flock_test.XXXXXX";
        first = mkstemp(pattern);
        ASSERT_GE(first, 0);
        path = pattern;
        second = open(path.c_str(), O_RDWR);
        ASSERT_GE(second, 0);
    }
    void TearDown() override {
        close(first);
        close(second);
        unlink(path.c_str());
    }

    // The lock type that another open of the file meets at `start` (F_UNLCK when none).
    short HolderAt(int64_t start) const {
        const int probe = open(path.c_str(), O_RDWR);
        struct flock range {};
        range.l_type = F_WRLCK;
        range.l_whence = SEEK_SET;
        range.l_start = start;
        range.l_len = 1;
        fcntl(probe, F_OFD_GETLK, &range);
        close(probe);
        return range.l_type;
    }

    std::string path;
    int first = -1;
    int second = -1;
};

TEST_F(FlockTest, OperationsOutsideTheTableFailWithInvalidArgument) {
    for (const int op : {0, 3, 4, 7, 9, 12, -1, -6}) {
        errno = 0;
        EXPECT_EQ(utl_flock(first, op), -1) << op;
        EXPECT_EQ(errno, 22) << op;
    }
    EXPECT_EQ(HolderAt(0), F_UNLCK);
}

TEST_F(FlockTest, ExclusiveLockKeepsOtherOpensOutUntilUnlocked) {
    ASSERT_EQ(utl_flock(first, 2), 0);
    errno = 0;
    EXPECT_EQ(utl_flock(second, 6), -1);
    EXPECT_EQ(errno, EAGAIN);
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
    EXPECT_EQ(HolderAt(0), F_WRLCK);
    EXPECT_EQ(HolderAt(0xFFFEFFFFLL), F_WRLCK);
    EXPECT_EQ(HolderAt(0xFFFF0000LL), F_UNLCK);
    ASSERT_EQ(utl_flock(first, 8), 0);
    EXPECT_EQ(HolderAt(0), F_UNLCK);
}

TEST_F(FlockTest, FileOpenForWriteDoesNotHoldTheLockedRange) {
    const utl_File writer(path.c_str(), utl_FileAccessUpdate);
    EXPECT_EQ(utl_flock(first, 6), 0);
}

TEST_F(FlockTest, BadDescriptorReportsTheSystemError) {
    errno = 0;
    EXPECT_EQ(utl_flock(-1, 2), -1);
    EXPECT_EQ(errno, EBADF);
}

} // namespace
