#include "TestPlatform.h"
#include "nex_TextException.h"
#include "utl_DirObject.h"
#include "utl_PathFinder.h"

#include <gtest/gtest.h>

#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

void WriteFile(const std::string& path, std::size_t bytes) {
    std::ofstream(path, std::ios::binary) << std::string(bytes, 'x');
}

std::vector<std::string> Texts(const cow_List<utl_FilePath>& paths) {
    std::vector<std::string> texts;
    for (uint32_t i = 0; i < paths.Size(); ++i) {
        texts.push_back(paths.ConstGet(i).PathName().c_str());
    }
    return texts;
}

// A tree: a.dat (3 bytes), b.txt, sub/c.dat, sub/deeper/d.DAT.
class DirectoryTree : public testing::Test {
protected:
    void SetUp() override {
        created = std::time(nullptr);
        WriteFile(root.PathOf("a.dat"), 3);
        WriteFile(root.PathOf("b.txt"), 0);
        fs::create_directories(root.PathOf("sub/deeper"));
        WriteFile(root.PathOf("sub/c.dat"), 1);
        WriteFile(root.PathOf("sub/deeper/d.DAT"), 1);
    }

    std::string Under(const std::string& name) const { return root.Path() + "/" + name; }

    std::time_t created = 0;
    vlt::test::TempDirectory root{"vlt_dir"};
    utl_DirObject directory{utl_FilePath(root.Path().c_str())};
};

TEST_F(DirectoryTree, EntriesCarryKindSizeAndTimeSortedByName) {
    const std::vector<utl_DirEntry> entries = directory.Entries();
    ASSERT_EQ(entries.size(), 3U);
    EXPECT_STREQ(entries[0].name.c_str(), "a.dat");
    EXPECT_EQ(entries[0].kind, utl_DirEntry::File);
    EXPECT_EQ(entries[0].size, 3);
    // Written in SetUp: within a few seconds of it, file systems round their times.
    EXPECT_GE(entries[0].modified, created - 2);
    EXPECT_LE(entries[0].modified, std::time(nullptr) + 2);
    EXPECT_STREQ(entries[2].name.c_str(), "sub");
    EXPECT_EQ(entries[2].kind, utl_DirEntry::Directory);
}

TEST_F(DirectoryTree, PatternsMatchInTheDirectoryOrTheWholeTree) {
    EXPECT_EQ(Texts(directory.Matches("*.dat")), std::vector<std::string>{Under("a.dat")});
    std::vector<std::string> everywhere{Under("a.dat"), Under("sub/c.dat")};
#if defined(_WIN32)
    everywhere.push_back(Under("sub/deeper/d.DAT")); // names match without case
#endif
    EXPECT_EQ(Texts(directory.Matches("*.dat", true)), everywhere);
    EXPECT_EQ(Texts(directory.Matches("?.txt")), std::vector<std::string>{Under("b.txt")});
    EXPECT_TRUE(Texts(directory.Matches("*.none", true)).empty());
}

TEST(DirectoryNames, WildcardsBacktrackOverStars) {
    EXPECT_TRUE(utl_DirObject::NameMatches("*a*b?", "xxaxxbxbz"));
    EXPECT_TRUE(utl_DirObject::NameMatches("**", ""));
    EXPECT_FALSE(utl_DirObject::NameMatches("a*b", "ab c"));
    EXPECT_FALSE(utl_DirObject::NameMatches("?", ""));
#if defined(_WIN32)
    EXPECT_TRUE(utl_DirObject::NameMatches("A.DAT", "a.dat"));
#else
    EXPECT_FALSE(utl_DirObject::NameMatches("A.DAT", "a.dat"));
#endif
}

// A link back up the tree is entered once, as the directory it leads to.
TEST_F(DirectoryTree, WalkEntersEveryDirectoryOnceThroughLinks) {
    std::error_code refused;
    fs::create_directory_symlink(root.Path(), Under("sub/up"), refused);
    if (refused) {
        GTEST_SKIP() << "no directory links here: " << refused.message();
    }
    const std::vector<std::string> found = Texts(directory.Matches("c.dat", true));
    EXPECT_EQ(found, std::vector<std::string>{Under("sub/c.dat")});
}

// "No such file" is 2 on both systems.
TEST_F(DirectoryTree, CreateRemoveAndFailuresNameTheMemberAndThePath) {
    const utl_DirObject made(utl_FilePath(Under("made").c_str()));
    EXPECT_FALSE(made.Exists());
    made.Create();
    made.Create();
    EXPECT_TRUE(made.Exists());
    made.Remove();
    EXPECT_FALSE(made.Exists());
    try {
        made.Remove();
        ADD_FAILURE() << "removed twice";
    } catch (const nex_TextException& e) {
        EXPECT_EQ(std::string(e.Text().c_str()), "utl_DirObject::Remove (" + Under("made") +
                                                     "): " + vlt::test::SystemErrorText(2));
    }
    EXPECT_THROW(made.Entries(), nex_TextException);
    EXPECT_THROW(made.Matches("*", true), nex_TextException);
    EXPECT_THROW(utl_DirObject(utl_FilePath(Under("a.dat").c_str())).Matches(), nex_TextException);
}

#if defined(_WIN32)
constexpr char separator[] = ";";
#else
constexpr char separator[] = ":";
#endif

// Missing and empty parts of the variable are passed over; a directory never matches.
TEST_F(DirectoryTree, PathFinderSearchesTheListInOrder) {
    WriteFile(Under("c.dat"), 1);
    const std::string list =
        Under("missing") + separator + separator + Under("sub") + separator + root.Path();
    vlt::test::SetEnvironment("VLT_TEST_SEARCH", list.c_str());
    utl_PathFinder finder;
    finder.AddEnvironment("VLT_TEST_SEARCH")
        .AddDirectory(utl_FilePath(Under("sub/deeper").c_str()));
    vlt::test::SetEnvironment("VLT_TEST_SEARCH", nullptr);
    EXPECT_EQ(finder.Directories().Size(), 4U);
    EXPECT_STREQ(finder.Find("c.dat").PathName().c_str(), Under("sub/c.dat").c_str());
    EXPECT_EQ(Texts(finder.FindAll("c.dat")),
              (std::vector<std::string>{Under("sub/c.dat"), Under("c.dat")}));
    EXPECT_STREQ(finder.Find("deeper").PathName().c_str(), "");
    EXPECT_STREQ(finder.Find("none").PathName().c_str(), "");
    EXPECT_STREQ(finder.Find(Under("a.dat").c_str()).PathName().c_str(), Under("a.dat").c_str());
}

TEST(PathFinder, KnowsTheProgramAndWorkingDirectories) {
    const vlt::test::WorkInTempDirectory work("vlt_finder");
    WriteFile(work.Directory().PathOf("here.txt"), 1);
    utl_PathFinder finder;
    finder.AddProgramDirectory().AddWorkingDirectory();
    ASSERT_EQ(finder.Directories().Size(), 2U);
    EXPECT_EQ(fs::path(finder.Directories().ConstGet(0).PathName().c_str()),
              fs::path(vlt::test::ProgramPath()).parent_path());
    EXPECT_TRUE(fs::equivalent(finder.Find("here.txt").PathName().c_str(),
                               work.Directory().PathOf("here.txt")));
#if defined(_WIN32)
    WriteFile(work.Directory().PathOf("tool.exe"), 1);
    vlt::test::SetEnvironment("PATHEXT", ".COM;.EXE");
    EXPECT_TRUE(fs::equivalent(finder.FindProgram("tool").PathName().c_str(),
                               work.Directory().PathOf("tool.exe")));
#endif
}

} // namespace
