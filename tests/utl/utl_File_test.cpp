#include "AssertRecorder.h"
#include "ChildProcess.h"
#include "TestPlatform.h"
#include "nex_TextException.h"
#include "utl_DiskAttributes.h"
#include "utl_File.h"
#include "utl_FileAttributes.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <utility>

#if defined(_WIN32)
#define WIN32_LEAN_AND_MEAN
#define NOMINMAX 1
#include <windows.h>
#else
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>
#endif

namespace {

namespace fs = std::filesystem;

// The system's codes for the failures that the tests provoke.
#if defined(_WIN32)
constexpr int missingFile = ERROR_FILE_NOT_FOUND;
constexpr int missingDirectory = ERROR_PATH_NOT_FOUND;
constexpr int accessDenied = ERROR_ACCESS_DENIED;
constexpr int sharingRefused = ERROR_SHARING_VIOLATION;
constexpr int negativePosition = ERROR_NEGATIVE_SEEK;
constexpr int noHandle = ERROR_INVALID_HANDLE;
#else
constexpr int missingFile = ENOENT;
constexpr int missingDirectory = ENOENT;
constexpr int accessDenied = EACCES;
constexpr int sharingRefused = EBUSY; // how the library words a writer already there
constexpr int negativePosition = EINVAL;
constexpr int noHandle = EBADF;
#endif

constexpr double fiveGiB = 5.0 * 1024 * 1024 * 1024;
constexpr char largeCeilingText[] = "utl_File::CheckFileSize: Files greater than 2,000,000 Gb are "
                                    "not supported on this file system.";
// Where a child that RunInChild starts again on Windows finds its parent's directory.
constexpr char directoryVariable[] = "VLT_TEST_FILE_DIRECTORY";

// "context: system text", as the library reports a failed system call.
std::string Failure(const char* context, int code) {
    return std::string(context) + ": " + vlt::test::SystemErrorText(code);
}

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

// Takes every permission from a file while it lives (on Windows: makes it read-only).
class WithoutPermissions {
public:
    explicit WithoutPermissions(std::string path) : path_(std::move(path)) {
        fs::permissions(path_, fs::perms::none);
    }
    ~WithoutPermissions() {
        fs::permissions(path_, fs::perms::owner_read | fs::perms::owner_write);
    }
    WithoutPermissions(const WithoutPermissions&) = delete;
    WithoutPermissions& operator=(const WithoutPermissions&) = delete;

private:
    std::string path_;
};

#if defined(_WIN32)
// True when this process may open the file at `path` for writing.
bool OpensForWriting(const std::string& path) {
    const HANDLE file = CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                    nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return false;
    }
    CloseHandle(file);
    return true;
}
#endif

// Runs `body` as a user whom the permissions of the files in `directory` bind. Root passes every
// permission check on Linux, so a child gives up its privileges first, in a directory opened to
// it; Windows refuses a read-only file to every user, so there `body` runs here.
int AsOrdinaryUser(const std::string& directory, const std::function<int()>& body) {
#if defined(_WIN32)
    (void)directory;
    return body();
#else
    fs::permissions(directory, fs::perms::owner_all | fs::perms::group_read |
                                   fs::perms::group_exec | fs::perms::others_read |
                                   fs::perms::others_exec);
    return vlt::test::RunInChild([&] { return geteuid() == 0 && setuid(65534) != 0 ? 2 : body(); });
#endif
}

// Closes every handle that the process holds on the file at `path`, as a fault elsewhere in
// the program would.
void CloseBehindItsBack(const std::string& path) {
#if defined(_WIN32)
    const auto identity = [](HANDLE file, BY_HANDLE_FILE_INFORMATION& information) {
        return GetFileType(file) == FILE_TYPE_DISK &&
               GetFileInformationByHandle(file, &information);
    };
    BY_HANDLE_FILE_INFORMATION target{};
    const HANDLE named =
        CreateFileA(path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                    nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_TRUE(identity(named, target));
    CloseHandle(named);
    // Handle values are multiples of 4, and a test program holds far fewer than 4096.
    for (std::uintptr_t value = 4; value < 0x4000; value += 4) {
        const HANDLE handle = reinterpret_cast<HANDLE>(value);
        BY_HANDLE_FILE_INFORMATION information{};
        if (identity(handle, information) &&
            information.dwVolumeSerialNumber == target.dwVolumeSerialNumber &&
            information.nFileIndexHigh == target.nFileIndexHigh &&
            information.nFileIndexLow == target.nFileIndexLow) {
            CloseHandle(handle);
        }
    }
#else
    for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
        std::error_code ignored;
        if (fs::read_symlink(entry.path(), ignored) == path) {
            close(std::stoi(entry.path().filename().string()));
        }
    }
#endif
}

// A path whose volume cannot be asked for its free space. On Windows the volume is the drive
// that the path names, so a drive that the system lacks; elsewhere the path itself, so one
// that is missing.
std::string PathOnNoVolume(const std::string& directory) {
#if defined(_WIN32)
    const DWORD drives = GetLogicalDrives();
    for (char letter = 'Z'; letter > 'C'; --letter) {
        if ((drives & (1u << (letter - 'A'))) == 0) {
            return std::string(1, letter) + ":/missing";
        }
    }
    ADD_FAILURE() << "every drive letter is in use";
#endif
    return directory + "/missing";
}

// Each case works in a fresh directory. A child that RunInChild starts again on Windows works
// in its parent's, named in the environment, and leaves it to the parent to remove.
class FileTest : public testing::Test {
protected:
    void SetUp() override {
        if (vlt::test::InRerunChild()) {
            const char* parent = std::getenv(directoryVariable);
            ASSERT_NE(parent, nullptr);
            dir = parent;
            return;
        }
        directory.emplace("utl_File_test");
        dir = directory->Path();
        vlt::test::SetEnvironment(directoryVariable, dir.c_str());
    }
    void TearDown() override { vlt::test::SetEnvironment(directoryVariable, nullptr); }

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

    std::optional<vlt::test::TempDirectory> directory;
    std::string dir;
};

using FileOpenFailure = FileTest;

TEST_F(FileOpenFailure, MissingFileNamesTheModeAndTheSystemText) {
    const cow_String missing = PathOf("missing").c_str();
    EXPECT_EQ(ThrownText([&] { utl_File f(missing, utl_FileAccessRead); }),
              Failure("utl_FileRead::Open", missingFile));
    EXPECT_EQ(ThrownText([&] { utl_File f(missing, utl_FileAccessUpdate); }),
              Failure("utl_FileUpdate::Open", missingFile));
    EXPECT_EQ(ThrownText([&] { utl_File f(PathOf("no/dir").c_str(), utl_FileAccessWrite); }),
              Failure("utl_FileWrite::Open", missingDirectory));
    EXPECT_FALSE(fs::exists(missing.c_str())); // update never creates
}

TEST_F(FileOpenFailure, PermissionDeniedIsReportedAndTheFileKept) {
    const std::string path = MakeFile("locked", "secret");
    {
        const WithoutPermissions locked(path);
#if defined(_WIN32)
        if (OpensForWriting(path)) {
            GTEST_SKIP() << "this user writes read-only files (Wine run as root takes the "
                            "attribute from permission bits, which root passes)";
        }
#endif
        const auto refused = [&] {
            const std::string text =
                ThrownText([&] { utl_File f(path.c_str(), utl_FileAccessWrite); });
            return text == Failure("utl_FileWrite::Open", accessDenied) ? 0 : 1;
        };
        EXPECT_EQ(AsOrdinaryUser(dir, refused), 0);
    }
    EXPECT_EQ(ContentOf(path), "secret");
}

using FileSharing = FileTest;

TEST_F(FileSharing, SecondWriterIsRefusedAndLeavesTheFileAlone) {
    const cow_String name = MakeFile("shared", "0123456789").c_str();
    {
        utl_File writer(name, utl_FileAccessUpdate);
        EXPECT_EQ(ThrownText([&] { utl_File f(name, utl_FileAccessUpdate); }),
                  Failure("utl_FileUpdate::Open", sharingRefused));
        EXPECT_EQ(ThrownText([&] { utl_File f(name, utl_FileAccessWrite); }),
                  Failure("utl_FileWrite::Open", sharingRefused));
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
    const cow_String name = PathOf("shared").c_str();
    std::optional<utl_File> writer;
    if (!vlt::test::InRerunChild()) { // the writer is the parent's alone
        MakeFile("shared", "abc");
        writer.emplace(name, utl_FileAccessUpdate);
    }
    EXPECT_EQ(vlt::test::RunInChild([&] {
                  return ThrownText([&] { utl_File f(name, utl_FileAccessUpdate); }) ==
                                 Failure("utl_FileUpdate::Open", sharingRefused)
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
    EXPECT_EQ(ThrownText([&] { file.Seek(-5.0); }), Failure("utl_File::Seek", negativePosition));
}

TEST_F(FilePositions, SparseFileReachesPastFourGibibytes) {
    const std::string path = PathOf("sparse");
    {
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
    }
    // Asked at rest: on Windows the query shares the file with readers only.
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
#if defined(_WIN32)
    GTEST_SKIP() << "Windows has no limit on the size of the files that a process writes";
#else
    const cow_String name = PathOf("limited").c_str();
    const int code = vlt::test::RunInChild([&] {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{4096, 4096};
        setrlimit(RLIMIT_FSIZE, &limit);
        utl_File file(name, utl_FileAccessWrite);
        const std::string block(3000, 'x');
        if (file.Write(block.data(), 3000) != 3000) {
            return 3;
        }
        const bool writeRefused = ThrownText([&] { file.Write(block.data(), 3000); }) ==
                                  Failure("utl_File::Write", EFBIG);
        const bool extendRefused = ThrownText([&] { file.Extend(8192.0); }) ==
                                   Failure("utl_File::Extend: SetEndOfFile", EFBIG);
        return writeRefused && extendRefused ? 0 : 1;
    });
    EXPECT_EQ(code, 0);
    EXPECT_EQ(fs::file_size(name.c_str()), 4096u);
#endif
}

// A full disk: the device that is always full, which Wine shows at its own path as well.
TEST_F(FileSystemFailure, FullDiskThrowsWithTheSystemsText) {
#if defined(_WIN32)
    if (!vlt::test::UnderWine()) {
        GTEST_SKIP() << "Windows has no device that is always full";
    }
    const cow_String device = "Z:\\dev\\full";
    constexpr int diskFull = ERROR_DISK_FULL;
#else
    const cow_String device = "/dev/full";
    constexpr int diskFull = ENOSPC;
#endif
    utl_File file(device, utl_FileAccessUpdate);
    const std::string block(4096, 'x');
    EXPECT_EQ(ThrownText([&] {
                  file.Write(block.data(), 4096);
                  file.Flush();
              }),
              Failure("utl_File::Write", diskFull));
}

// The report takes its code from the runtime's errno, not from the system's last error:
// deliberate. A failed close leaves EBADF there on Linux. On Windows CloseHandle leaves errno
// alone, so the test puts EBADF there, and a report of the last error (an invalid handle) would
// read otherwise.
TEST_F(FileSystemFailure, FailedCloseThrowsFromTheDestructorWithTheRuntimesErrorNumber) {
    const std::string path = MakeFile("closed", "x");
    EXPECT_EQ(ThrownText([&] {
                  const utl_File file(path.c_str(), utl_FileAccessRead);
                  CloseBehindItsBack(path);
                  errno = EBADF;
              }),
              Failure("utl_File::~utl_File: CloseHandle (NT)", EBADF));
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
        EXPECT_EQ(ThrownText(action), Failure(context, noHandle));
    }
}

TEST_F(FileSystemFailure, ExtendToANegativeOffsetFailsAtTheSecondMove) {
    utl_File file(MakeFile("neg", "abc").c_str(), utl_FileAccessUpdate);
    file.Seek(1.0);
    EXPECT_EQ(ThrownText([&] { file.Extend(-8.0); }),
              Failure("utl_File::Extend: SetFilePointer (2)", negativePosition));
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

TEST_F(FileQueries, FreeSpaceAnswersMinusOneForAVolumeThatCannotBeAsked) {
    EXPECT_GT(utl_DiskAttributes(dir.c_str()).GetFreeDiskSpace(), 0.0);
    EXPECT_EQ(utl_DiskAttributes(PathOnNoVolume(dir).c_str()).GetFreeDiskSpace(), -1.0);
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
