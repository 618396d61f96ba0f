#include "AssertRecorder.h"
#include "nex_TextException.h"
#include "utl_DiskAttributes.h"
#include "utl_File.h"
#include "utl_FileAttributes.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <string>

namespace {

constexpr double fiveGiB = 5.0 * 1024 * 1024 * 1024;
constexpr char largeCeilingText[] = "utl_File::CheckFileSize: Files greater than 2,000,000 Gb are "
                                    "not supported on this file system.";

// The text of the nex_TextException that `action` throws, or "(nothing thrown)".
std::string ThrownText(const std::function<void()>& action) {
    try {
        action();
    } catch (const nex_TextException& e) {
        EXPECT_STREQ(e.FileName().c_str(), "utl/impl/utl_File");
        return e.Text().c_str();
    }
    return "(nothing thrown)";
}

// Runs `child` in a forked process and answers its exit code (-1 when it did not exit).
int ExitCodeOfChild(const std::function<int()>& child) {
    const pid_t pid = fork();
    if (pid == 0) {
        int code = 99;
        try {
            code = child();
        } catch (...) {
            code = 98;
        }
        _exit(code);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

class FileTest : public testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/utl_File_test.XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        dir = pattern;
        chmod(dir.c_str(), 0755); // reachable by the unprivileged child
    }
    void TearDown() override { std::filesystem::remove_all(dir); }

    std::string PathOf(const char* name) const { return dir + "/" + name; }
    std::string MakeFile(const char* name, const std::string& content) const {
        const std::string path = PathOf(name);
        std::ofstream(path, std::ios::binary) << content;
        return path;
    }
    static std::string ContentOf(const std::string& path) {
        std::ifstream in(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    }
    static std::string ReadAll(utl_File& file, int capacity) {
        std::string bytes(static_cast<std::size_t>(capacity), '\0');
        bytes.resize(static_cast<std::size_t>(file.Read(bytes.data(), capacity)));
        return bytes;
    }

    std::string dir;
};

using FileOpenFailure = FileTest;

TEST_F(FileOpenFailure, MissingFileNamesTheModeAndTheSystemText) {
    const cow_String missing = PathOf("missing").c_str();
    EXPECT_EQ(ThrownText([&] { utl_File f(missing, utl_FileAccessRead); }),
              "utl_FileRead::Open: No such file or directory");
    EXPECT_EQ(ThrownText([&] { utl_File f(missing, utl_FileAccessUpdate); }),
              "utl_FileUpdate::Open: No such file or directory");
    EXPECT_EQ(ThrownText([&] { utl_File f(PathOf("no/dir").c_str(), utl_FileAccessWrite); }),
              "utl_FileWrite::Open: No such file or directory");
    EXPECT_FALSE(std::filesystem::exists(missing.c_str())); // update never creates
}

TEST_F(FileOpenFailure, PermissionDeniedIsReportedAndTheFileKept) {
    const std::string locked = MakeFile("locked", "secret");
    chmod(locked.c_str(), 0);
    // Root passes every permission check: the child gives up its privileges first.
    const int code = ExitCodeOfChild([&] {
        if (geteuid() == 0 && setuid(65534) != 0) {
            return 2;
        }
        return ThrownText([&] { utl_File f(locked.c_str(), utl_FileAccessWrite); }) ==
                       "utl_FileWrite::Open: Permission denied"
                   ? 0
                   : 1;
    });
    EXPECT_EQ(code, 0);
    chmod(locked.c_str(), 0600);
    EXPECT_EQ(ContentOf(locked), "secret");
}

using FileSharing = FileTest;

TEST_F(FileSharing, SecondWriterIsRefusedAndLeavesTheFileAlone) {
    const cow_String name = MakeFile("shared", "0123456789").c_str();
    {
        utl_File writer(name, utl_FileAccessUpdate);
        EXPECT_EQ(ThrownText([&] { utl_File f(name, utl_FileAccessUpdate); }),
                  "utl_FileUpdate::Open: Device or resource busy");
        EXPECT_EQ(ThrownText([&] { utl_File f(name, utl_FileAccessWrite); }),
                  "utl_FileWrite::Open: Device or resource busy");
        EXPECT_EQ(ContentOf(name.c_str()), "0123456789"); // the refused writer did not truncate
        utl_File reader(name, utl_FileAccessRead);
        EXPECT_EQ(ReadAll(reader, 4), "0123");
    }
    utl_File next(name, utl_FileAccessWrite); // the first writer is gone
    EXPECT_EQ(next.FileSize().Value(), 0.0);
}

TEST_F(FileSharing, ReadersDoNotKeepAWriterOut) {
    const cow_String name = MakeFile("shared", "abc").c_str();
    utl_File first(name, utl_FileAccessRead);
    utl_File second(name, utl_FileAccessRead);
    utl_File writer(name, utl_FileAccessUpdate);
    EXPECT_EQ(writer.Write("X", 1), 1);
    EXPECT_EQ(ReadAll(first, 8), "Xbc");
}

TEST_F(FileSharing, WriterIsRefusedInAnotherProcess) {
    const cow_String name = MakeFile("shared", "abc").c_str();
    utl_File writer(name, utl_FileAccessUpdate);
    EXPECT_EQ(ExitCodeOfChild([&] {
                  return ThrownText([&] { utl_File f(name, utl_FileAccessUpdate); }) ==
                                 "utl_FileUpdate::Open: Device or resource busy"
                             ? 0
                             : 1;
              }),
              0);
}

using FileReadOnly = FileTest;

TEST_F(FileReadOnly, ModificationsThrowBeforeTouchingTheFile) {
    const std::string path = MakeFile("ro", "abcdef");
    utl_File file(path.c_str(), utl_FileAccessRead);
    file.Seek(2.0);
    EXPECT_EQ(ThrownText([&] { file.Write("zz", 2); }),
              "utl_File::Write - attempt to write to a read-only file.");
    EXPECT_EQ(ThrownText([&] { file.Flush(); }),
              "utl_File::Flush - attempt to flush a read-only file.");
    EXPECT_EQ(ThrownText([&] { file.Extend(1.0); }),
              "utl_File::Extend - attempt to extend a read-only file.");
    EXPECT_EQ(file.Location().Value(), 2.0);
    EXPECT_EQ(ContentOf(path), "abcdef");
}

using FilePositions = FileTest;

TEST_F(FilePositions, SeekRoundsHalfUpAndLocationReadsItBack) {
    utl_File file(MakeFile("pos", "0123456789").c_str(), utl_FileAccessUpdate);
    const std::pair<double, double> cases[] = {{2.4, 2}, {2.5, 3}, {-0.4, 0}};
    for (const auto& [asked, expected] : cases) {
        file.Seek(asked);
        EXPECT_EQ(file.Location().Value(), expected) << asked;
    }
    file.Seek(7.0);
    EXPECT_EQ(ReadAll(file, 10), "789");
    EXPECT_EQ(ReadAll(file, 10), ""); // end of file
}

TEST_F(FilePositions, NegativeSeekReportsTheSystemText) {
    utl_File file(MakeFile("pos", "x").c_str(), utl_FileAccessRead);
    EXPECT_EQ(ThrownText([&] { file.Seek(-5.0); }), "utl_File::Seek: Invalid argument");
}

TEST_F(FilePositions, SparseFileReachesPastFourGibibytes) {
    const std::string path = PathOf("sparse");
    utl_File file(path.c_str(), utl_FileAccessWrite);
    file.Extend(fiveGiB);
    EXPECT_EQ(file.FileSize().Value(), fiveGiB);
    EXPECT_EQ(file.Location().Value(), 0.0);
    file.Seek(4294967295.0); // low half all ones is a valid position
    EXPECT_EQ(file.Location().Value(), 4294967295.0);
    EXPECT_EQ(file.Write("ab", 2), 2);
    EXPECT_EQ(file.Location().Value(), 4294967297.0);
    file.Seek(4294967294.0);
    EXPECT_EQ(ReadAll(file, 4), std::string("\0ab\0", 4));
    EXPECT_EQ(utl_FileAttributes(path.c_str()).GetSizeOfFile(), 0.0); // 4 GiB or more
}

TEST_F(FilePositions, ExtendKeepsThePositionAndZeroFillsTheGrowth) {
    utl_File file(PathOf("grow").c_str(), utl_FileAccessWrite);
    EXPECT_EQ(file.Write("abc", 3), 3);
    file.Extend(10.4);
    EXPECT_EQ(file.Location().Value(), 3.0);
    EXPECT_EQ(file.FileSize().Value(), 10.0);
    file.Seek(0.0);
    EXPECT_EQ(ReadAll(file, 16), std::string("abc\0\0\0\0\0\0\0", 10));
    file.Extend(2.0); // shrinks; the position stays past the end
    EXPECT_EQ(file.Location().Value(), 10.0);
    EXPECT_EQ(ReadAll(file, 16), "");
    file.Seek(0.0);
    EXPECT_EQ(ReadAll(file, 16), "ab");
}

TEST(FileOffset, RoundsHalfUpByTruncatingAndComparesNearestBytes) {
    EXPECT_EQ(utl_FileOffset(2.5).Rounded(), 3);
    EXPECT_EQ(utl_FileOffset(2.4).Rounded(), 2);
    EXPECT_EQ(utl_FileOffset(-0.6).Rounded(), 0); // truncation, not floor
    EXPECT_EQ(utl_FileOffset(1e300).Rounded(), std::numeric_limits<int64_t>::max());
    EXPECT_EQ(utl_FileOffset(std::nan("")).Rounded(), std::numeric_limits<int64_t>::min());
    EXPECT_FALSE(utl_FileOffset(2.4) < utl_FileOffset(2.0));
    EXPECT_TRUE(utl_FileOffset(2.4) < utl_FileOffset(2.5));
}

class SmallFileCeiling : public utl_File {
public:
    using utl_File::utl_File;
    void ClearLargeFile() { SetLargeFile(false); }
};

class FileCheckSize : public FileTest {
protected:
    void SetUp() override {
        FileTest::SetUp();
        file = std::make_unique<SmallFileCeiling>(PathOf("size").c_str(), utl_FileAccessWrite);
    }
    void TearDown() override {
        file.reset();
        FileTest::TearDown();
    }
    std::string CheckedText(double offset) {
        return ThrownText([&] { file->CheckFileSize(offset); });
    }
    std::unique_ptr<SmallFileCeiling> file;
};

TEST_F(FileCheckSize, OffsetsRoundingIntoRangePassAndNegativeOnesAreIllegal) {
    EXPECT_EQ(CheckedText(-0.4), "(nothing thrown)");
    EXPECT_EQ(CheckedText(1125899906842622.0), "(nothing thrown)");
    EXPECT_EQ(CheckedText(-0.6), "utl_File::CheckFileSize - file offset is illegal. (negative)");
}

TEST_F(FileCheckSize, CeilingIsReportedOnStandardErrorAndThrown) {
    testing::internal::CaptureStderr();
    const std::string text = CheckedText(1125899906842623.0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              std::string(largeCeilingText) + "\n  file size: 1125899906842623.000000\n");
    EXPECT_EQ(text, largeCeilingText);
}

TEST_F(FileCheckSize, ClearedLargeFileFlagGivesTheSmallFileText) {
    file->ClearLargeFile();
    testing::internal::CaptureStderr();
    const std::string text = CheckedText(2e15);
    const std::string printed = testing::internal::GetCapturedStderr();
    EXPECT_EQ(text, "utl_File::CheckFileSize: Files greater than 2.1 Gb are not supported on this "
                    "file system.");
    EXPECT_EQ(printed, text + "\n  file size: 2000000000000000.000000\n");
}

using FileSystemFailure = FileTest;

TEST_F(FileSystemFailure, WritePastTheProcessFileSizeLimitThrows) {
    const cow_String name = PathOf("limited").c_str();
    const int code = ExitCodeOfChild([&] {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{4096, 4096};
        setrlimit(RLIMIT_FSIZE, &limit);
        utl_File file(name, utl_FileAccessWrite);
        const std::string block(3000, 'x');
        if (file.Write(block.data(), 3000) != 3000) {
            return 3;
        }
        const bool writeRefused = ThrownText([&] { file.Write(block.data(), 3000); }) ==
                                  "utl_File::Write: File too large";
        const bool extendRefused = ThrownText([&] { file.Extend(8192.0); }) ==
                                   "utl_File::Extend: SetEndOfFile: File too large";
        return writeRefused && extendRefused ? 0 : 1;
    });
    EXPECT_EQ(code, 0);
    EXPECT_EQ(std::filesystem::file_size(name.c_str()), 4096u);
}

TEST_F(FileSystemFailure, FailedCloseThrowsFromTheDestructor) {
    const std::string path = MakeFile("closed", "x");
    EXPECT_EQ(ThrownText([&] {
                  const utl_File file(path.c_str(), utl_FileAccessRead);
                  // Close the descriptor behind the file's back.
                  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
                      std::error_code ignored;
                      if (std::filesystem::read_symlink(entry.path(), ignored) == path) {
                          close(std::stoi(entry.path().filename().string()));
                      }
                  }
              }),
              "utl_File::~utl_File: CloseHandle (NT): Bad file descriptor");
}

// With no handle every system call fails, which shows the context of each operation.
TEST_F(FileSystemFailure, UnknownModeOpensNothingAndEachOperationNamesItself) {
    utl_File file(MakeFile("mode", "x").c_str(), static_cast<utl_FileAccess>(7));
    char byte = 0;
    const std::pair<std::function<void()>, const char*> cases[] = {
        {[&] { file.Seek(1.0); }, "utl_File::Seek"},
        {[&] { file.Location(); }, "utl_File::Location"},
        {[&] { file.FileSize(); }, "utl_File::FileSize"},
        {[&] { file.Read(&byte, 1); }, "utl_File::Read"},
        {[&] { file.Write(&byte, 1); }, "utl_File::Write"},
        {[&] { file.Flush(); }, "utl_File::Flush"},
        {[&] { file.Extend(1.0); }, "utl_File::Extend: SetFilePointer (1)"},
    };
    for (const auto& [action, context] : cases) {
        EXPECT_EQ(ThrownText(action), std::string(context) + ": Bad file descriptor");
    }
}

TEST_F(FileSystemFailure, ExtendToANegativeOffsetFailsAtTheSecondMove) {
    utl_File file(MakeFile("neg", "abc").c_str(), utl_FileAccessUpdate);
    file.Seek(1.0);
    EXPECT_EQ(ThrownText([&] { file.Extend(-8.0); }),
              "utl_File::Extend: SetFilePointer (2): Invalid argument");
    EXPECT_EQ(file.FileSize().Value(), 3.0);
}

TEST_F(FileSystemFailure, NegativeCountIsAReportedMisuse) {
    utl_File file(MakeFile("count", "abc").c_str(), utl_FileAccessUpdate);
    char byte = 0;
    vlt::test::AssertRecorder rec;
    EXPECT_EQ(file.Read(&byte, -1), 0);
    EXPECT_EQ(file.Write(&byte, -1), 0);
    EXPECT_EQ(rec.Expressions().size(), 2u);
    EXPECT_EQ(file.Location().Value(), 0.0);
}

using FileQueries = FileTest;

TEST_F(FileQueries, SizeOfFileAnswersMinusOneForWhatCannotBeRead) {
    EXPECT_EQ(utl_FileAttributes(MakeFile("three", "abc").c_str()).GetSizeOfFile(), 3.0);
    EXPECT_EQ(utl_FileAttributes(PathOf("missing").c_str()).GetSizeOfFile(), -1.0);
    EXPECT_EQ(utl_FileAttributes(dir.c_str()).GetSizeOfFile(), -1.0);
}

TEST_F(FileQueries, FreeSpaceAnswersMinusOneForAMissingPath) {
    EXPECT_GT(utl_DiskAttributes(dir.c_str()).GetFreeDiskSpace(), 0.0);
    EXPECT_EQ(utl_DiskAttributes(PathOf("missing").c_str()).GetFreeDiskSpace(), -1.0);
}

TEST_F(FileQueries, VolumeRootIsTheDriveWhereThePathNamesOne) {
    EXPECT_STREQ(utl_DiskAttributes("/a/D:\\b\\c").Root().c_str(), "/a/D:\\");
    EXPECT_STREQ(utl_DiskAttributes("/a/./b/..").Root().c_str(), "/a");
}

TEST_F(FileQueries, LocalFileIsNotRemote) {
    utl_File file(MakeFile("local", "").c_str(), utl_FileAccessRead);
    EXPECT_FALSE(file.IsRemote());
}

} // namespace
