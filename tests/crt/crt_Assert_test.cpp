#include "AssertRecorder.h"
#include "crt_Assert.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace {

using vlt::test::AssertRecorder;
using vlt::test::AssertReport;

TEST(AssertCall, DefaultHandlerWritesOneLineToStandardErrorAndKeepsErrno) {
    testing::internal::CaptureStderr();
    errno = 42;
    crt_Assert("x != 0", "cow/impl/cow_String", 17);
    EXPECT_EQ(errno, 42);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Assertion failed: x != 0, file cow/impl/cow_String, line 17\n");
}

TEST(AssertCall, InstalledHandlerReceivesReportsAndPreviousComesBack) {
    const crt_AssertHandler before = crt_SetAssertHandler(nullptr);
    EXPECT_EQ(before, &crt_DefaultAssertHandler);
    {
        AssertRecorder recorder;
        const int line = __LINE__ + 1;
        CRT_CHECK(1 + 1 == 3, "one and one", "include/cow_List");
        CRT_CHECK(true, "never", "include/cow_List");
        CRT_CHECK_AT(false, "fixed line", "include/cow_Map", 381);
        EXPECT_EQ(recorder.Reports(),
                  (std::vector<AssertReport>{{"one and one", "include/cow_List", line},
                                             {"fixed line", "include/cow_Map", 381}}));
    }
    EXPECT_EQ(crt_SetAssertHandler(nullptr), &crt_DefaultAssertHandler);
}

TEST(AssertCall, NestedRecordersEachSeeTheirOwnReports) {
    AssertRecorder outer;
    {
        AssertRecorder inner;
        crt_Assert("inner", "p", 1);
        EXPECT_EQ(inner.Expressions(), std::vector<std::string>{"inner"});
    }
    crt_Assert("outer", "p", 2);
    EXPECT_EQ(outer.Expressions(), std::vector<std::string>{"outer"});
}

} // namespace
