#include "cow_List.h"
#include "utl_FilePath.h"
#include "utl_Platform.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string Text(const cow_String& s) {
    return s.c_str();
}
std::string Text(const utl_FilePath& p) {
    return p.PathName().c_str();
}
std::string Portable(const cow_String& s) {
    return Text(utl_FilePath(s).Portable());
}

struct TextCase {
    const char* in;
    const char* out;
};

class FilePathNormalize : public testing::TestWithParam<TextCase> {};

TEST_P(FilePathNormalize, ResolvesDotsAndSeparatorsByName) {
    utl_FilePath path(GetParam().in);
    EXPECT_EQ(Text(path.Normalize()), GetParam().out);
}

INSTANTIATE_TEST_SUITE_P(Paths, FilePathNormalize,
                         testing::Values(TextCase{"/a/./b/../c", "/a/c"},
                                         TextCase{"a//b///", "a/b"}, TextCase{"/../x", "/x"},
                                         TextCase{"../../a/..", "../.."}, TextCase{"a/../..", ".."},
                                         TextCase{"./", "."}, TextCase{"", "."}, TextCase{"/", "/"},
                                         TextCase{"a/b/../../", "."}));

class FilePathParts : public testing::TestWithParam<TextCase> {};

TEST_P(FilePathParts, DirNameAndBaseNameSplitAtTheLastSeparator) {
    const utl_FilePath path(GetParam().in);
    const std::string dir = GetParam().out;
    const std::string dirName = dir.substr(0, dir.find('|'));
    const std::string baseName = dir.substr(dir.find('|') + 1);
    EXPECT_EQ(Text(path.DirName()), dirName);
    EXPECT_EQ(Text(path.BaseName()), baseName);
}

INSTANTIATE_TEST_SUITE_P(Paths, FilePathParts,
                         testing::Values(TextCase{"/a/b.txt", "/a|b.txt"}, TextCase{"a/b/", "a|b"},
                                         TextCase{"/a", "/|a"}, TextCase{"name", ".|name"},
                                         TextCase{"/", "/|"}, TextCase{"a//b", "a|b"},
                                         TextCase{"", ".|"}));

TEST(FilePath, ExtensionIsTextAfterTheLastDotOfTheBaseName) {
    EXPECT_EQ(Text(utl_FilePath("run/model.tar.gz").Extension()), "gz");
    EXPECT_EQ(Text(utl_FilePath("dir.d/model").Extension()), "");
    EXPECT_EQ(Text(utl_FilePath("home/.profile").Extension()), "");
    EXPECT_EQ(Text(utl_FilePath("model.").Extension()), "");
}

TEST(FilePath, PortableTurnsEveryBackslashForward) {
    utl_FilePath path("C:\\runs\\a\\b.dat");
    EXPECT_EQ(Text(path.Portable()), "C:/runs/a/b.dat");
    EXPECT_EQ(Text(utl_FilePath("\\\\").Portable()), "//");
}

TEST(FilePath, JoinPutsOneSeparatorAndKeepsAnAbsoluteRightSide) {
    EXPECT_EQ(Text(utl_FilePath("a").Join("b")), "a/b");
    EXPECT_EQ(Text(utl_FilePath("a/").Join("b")), "a/b");
    EXPECT_EQ(Text(utl_FilePath("a").Join("/b")), "/b");
    EXPECT_EQ(Text(utl_FilePath("").Join("b")), "b");
    EXPECT_EQ(Text(utl_FilePath("a").Join("")), "a");
}

// Compared in the portable form: on Windows the working directory comes with backslashes, and
// the parts that normalising joins get forward slashes.
TEST(FilePath, AbsolutePathNameStartsFromTheWorkingDirectory) {
    const std::string cwd = Portable(utl_getcwd());
    ASSERT_FALSE(cwd.empty());
    const std::string base = cwd.back() == '/' ? cwd.substr(0, cwd.size() - 1) : cwd;
    EXPECT_EQ(Portable(utl_FilePath("x/./y").AbsolutePathName()), base + "/x/y");
    EXPECT_EQ(Text(utl_FilePath("/p/../q").AbsolutePathName()), "/q");
    EXPECT_EQ(Portable(utl_FilePath("").AbsolutePathName()), cwd);
}

TEST(FilePath, CopyAssignmentLeavesTheSourceAlone) {
    utl_FilePath a("one/two");
    utl_FilePath b;
    b = a;
    a.Normalize().Join("three");
    b.Portable();
    a = utl_FilePath("other");
    EXPECT_EQ(Text(b), "one/two");
    const utl_FilePath& same = a;
    a = same; // self-assignment
    EXPECT_EQ(Text(a), "other");
}

TEST(FilePath, ListsHoldPaths) {
    cow_List<utl_FilePath> list;
    list.Append(utl_FilePath("a"));
    list.Append(utl_FilePath("b/c"));
    cow_List<utl_FilePath> copy = list;
    list.Clear();
    std::string joined;
    for (cow_ListIter<utl_FilePath> it(copy); !it.IsDone(); it.Next()) {
        joined += Text(it.CurrentItem()) + ";";
    }
    EXPECT_EQ(joined, "a;b/c;");
}

} // namespace
