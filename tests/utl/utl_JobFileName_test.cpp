#include "utl_CommandLine.h"
#include "utl_JobFileName.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

std::string Text(const utl_FilePath& path) {
    return path.PathName().c_str();
}

TEST(JobFileName, NamesOutputsBesideTheJobAfterItsRunName) {
    const utl_JobFileName job(utl_FilePath("runs/wing.v2.inp"));
    EXPECT_TRUE(job.IsSet());
    EXPECT_EQ(Text(job.Directory()), "runs");
    EXPECT_STREQ(job.RunName().c_str(), "wing.v2");
    EXPECT_EQ(Text(job.Sibling("use")), "runs/wing.v2.use");
    EXPECT_EQ(Text(job.Sibling("")), "runs/wing.v2");

    const utl_JobFileName bare(utl_FilePath("wing"));
    EXPECT_STREQ(bare.RunName().c_str(), "wing");
    EXPECT_EQ(Text(bare.Sibling("res")), "wing.res");

    const utl_JobFileName none;
    EXPECT_FALSE(none.IsSet());
    EXPECT_STREQ(none.RunName().c_str(), "");
    EXPECT_EQ(Text(none.Sibling("use")), "");
}

class JobOnTheCommandLine : public testing::Test {
protected:
    void SetUp() override { thr_GlobalSingletonBase<utl_CommandLine>::Finalize(); }
    void TearDown() override { thr_GlobalSingletonBase<utl_CommandLine>::Finalize(); }

    static std::string JobOf(std::vector<std::string> words) {
        thr_GlobalSingletonBase<utl_CommandLine>::Finalize();
        std::vector<char*> argv;
        for (std::string& word : words) {
            argv.push_back(word.data());
        }
        utl_setCommandLine(static_cast<int>(argv.size()), argv.data());
        return Text(utl_JobFileName::FromCommandLine().Path());
    }
};

TEST_F(JobOnTheCommandLine, IsTheJobOptionElseTheFirstPlainArgument) {
    EXPECT_EQ(JobOf({"solver", "first.inp", "-job", "named.inp"}), "named.inp");
    EXPECT_EQ(JobOf({"solver", "-n", "4", "wing.inp", "other.inp"}), "wing.inp");
    EXPECT_EQ(JobOf({"solver", "-v", "taken.inp"}), ""); // the option's value
    EXPECT_EQ(JobOf({"solver"}), "");
}

} // namespace
