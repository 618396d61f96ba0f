// The validation log: tags written by one side, checked by the other.
#include "AssertRecorder.h"
#include "TestPlatform.h"
#include "bio_Ifilter.h"
#include "bio_Ofilter.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

namespace {

using vlt::test::AssertRecorder;
using vlt::test::AssertReport;

class ValidationLog : public ::testing::Test {
protected:
    ValidationLog()
        : file(::testing::TempDir() + "bio_validation_" + std::to_string(vlt::test::ProcessId()) +
               ".log") {}
    ~ValidationLog() override {
        bio_Ofilter::EndErrorLogging();
        bio_Ifilter::EndErrorChecking();
        std::remove(file.c_str());
    }
    std::string Contents() const {
        std::ifstream in(file);
        std::stringstream text;
        text << in.rdbuf();
        return text.str();
    }
    void WriteFile(const std::string& text) const { std::ofstream(file) << text; }

    std::string file;
};

TEST_F(ValidationLog, EachTagIsFollowedByOneBlank) {
    bio_Ofilter::BeginErrorLogging(file.c_str());
    bio_Ofilter::LogWrite("x");
    bio_Ofilter::LogWrite("y");
    bio_Ofilter::EndErrorLogging();
    EXPECT_EQ(Contents(), "x y ");
}

TEST_F(ValidationLog, BeginWhileOpenKeepsTheFirstLog) {
    const std::string other = file + ".other";
    bio_Ofilter::BeginErrorLogging(file.c_str());
    bio_Ofilter::BeginErrorLogging(other.c_str());
    bio_Ofilter::LogWrite("kept");
    bio_Ofilter::EndErrorLogging();
    bio_Ofilter::EndErrorLogging(); // a second end is harmless
    EXPECT_EQ(Contents(), "kept ");
    EXPECT_FALSE(std::ifstream(other).is_open());
}

// A last word that were dropped would read as past the end, and pass: so it must disagree.
TEST_F(ValidationLog, FirstDisagreementNamesBothTagsAndTheReadNumberAndChecksPastTheEndPass) {
    WriteFile("x y");
    AssertRecorder rec;
    bio_Ifilter::BeginErrorChecking(file.c_str());
    ::testing::internal::CaptureStderr();
    bio_Ifilter::CheckLog("x");
    bio_Ifilter::CheckLog("z");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "Error: CheckLog(): wrote 'y' but read 'z' on read number 2\n");
    bio_Ifilter::CheckLog("anything");
    bio_Ifilter::CheckLog("else");
    EXPECT_EQ(rec.Reports(),
              (std::vector<AssertReport>{{"! \"Validation Error\"", "bio/impl/bio_Ifilter", 302}}));
}

TEST_F(ValidationLog, ReadNumbersStartAgainWithEachCheckFile) {
    WriteFile("a b ");
    AssertRecorder rec;
    bio_Ifilter::BeginErrorChecking(file.c_str());
    bio_Ifilter::CheckLog("a");
    bio_Ifilter::EndErrorChecking();
    bio_Ifilter::BeginErrorChecking(file.c_str());
    ::testing::internal::CaptureStderr();
    bio_Ifilter::CheckLog("b");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "Error: CheckLog(): wrote 'a' but read 'b' on read number 1\n");
}

TEST_F(ValidationLog, WritingWithoutALogIsReported) {
    AssertRecorder rec;
    bio_Ofilter::LogWrite("x");
    EXPECT_EQ(rec.Reports(),
              (std::vector<AssertReport>{{"ofs != 0", "bio/impl/bio_Ofilter", 273}}));
}

TEST_F(ValidationLog, UnopenableFilesAreReportedAndCheckingDoesNothing) {
    AssertRecorder rec;
    const std::string nowhere = ::testing::TempDir() + "no/such/dir/file.log";
    bio_Ofilter::BeginErrorLogging(nowhere.c_str());
    bio_Ifilter::BeginErrorChecking(nowhere.c_str());
    bio_Ifilter::CheckLog("x");
    EXPECT_EQ(rec.Reports(),
              (std::vector<AssertReport>{{"! ofs->fail()", "bio/impl/bio_Ofilter", 252},
                                         {"! ifs->fail()", "bio/impl/bio_Ifilter", 269}}));
}

} // namespace
