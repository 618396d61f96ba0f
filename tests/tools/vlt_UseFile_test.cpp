#include "vlt_UseChart.h"
#include "vlt_UseFile.h"

#include "TestPlatform.h"
#include "utl_ResourceMonitor.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

using vlt::tools::ReadUseFile;
using vlt::tools::UseReading;

constexpr char header[] = "!Phase,Wall,Mark,UserCPU,SysCPU,WSP,WS,CPU,QPPP,QPP,QNPPP,QNPP,"
                          "PageFaults,PeakPageFileUsage,0,0,0,ProcessID\n";
constexpr char startRow[] =
    "run.1 0                                run-Start 0.0 0.0 4096 2048 0.0 "
    "9 8 7 6 5 3 0 0 0 42 \n";
constexpr char fullLabelRow[] =
    "run.2 3 assemble, then solve 1.5 0.2 8192 4096 1.7 9 8 7 6 5 3 0 0 0 42 \r\n";
constexpr char endRow[] = "run.3 4                                  run-End 2.0 0.3 8192 2048 2.3 "
                          "9 8 7 6 5 3 0 0 0 42 \n";
constexpr char summary[] =
    "!Timer Summary                     # calls     CPU/call      CPU       "
    "Elapsed\n!Timer 3 :       matrix assembly   2     0.5000     1.0000     1.2 \n";

// A whole file of the full-label form, with a Windows line end on one row: the rows, the
// label with its blanks and comma, and the timer come out as written.
TEST(UseFile, ReadsRowsLabelsAndTimersIntoTheCsv) {
    const UseReading reading =
        ReadUseFile(std::string(startRow) + fullLabelRow + endRow + header + summary);
    ASSERT_EQ(reading.error, "");
    EXPECT_TRUE(reading.run.ended);
    EXPECT_TRUE(reading.run.hasHeader);
    ASSERT_EQ(reading.run.timers.size(), 1u);
    EXPECT_EQ(reading.run.timers[0].name, "matrix assembly");
    EXPECT_EQ(reading.run.timers[0].calls, 2);
    EXPECT_DOUBLE_EQ(reading.run.timers[0].elapsed, 1.2);

    std::ostringstream csv;
    vlt::tools::WriteUseCsv(reading.run, csv);
    EXPECT_EQ(csv.str(),
              "phase,wall_s,label,user_cpu_s,system_cpu_s,peak_working_set_bytes,"
              "working_set_bytes,cpu_s,quota_peak_paged_pool_bytes,quota_paged_pool_bytes,"
              "quota_peak_nonpaged_pool_bytes,quota_nonpaged_pool_bytes,page_faults,"
              "peak_pagefile_usage_bytes,unused_1,unused_2,unused_3,process_id\n"
              "run.1,0,run-Start,0.0,0.0,4096,2048,0.0,9,8,7,6,5,3,0,0,0,42\n"
              "run.2,3,\"assemble, then solve\",1.5,0.2,8192,4096,1.7,9,8,7,6,5,3,0,0,0,42\n"
              "run.3,4,run-End,2.0,0.3,8192,2048,2.3,9,8,7,6,5,3,0,0,0,42\n");
}

TEST(UseFile, ARunThatDiedIsReadAndSaysSo) {
    const UseReading reading = ReadUseFile(std::string(startRow) + fullLabelRow);
    ASSERT_EQ(reading.error, "");
    EXPECT_FALSE(reading.run.ended);
    EXPECT_FALSE(reading.run.hasHeader);
    std::ostringstream svg;
    vlt::tools::WriteUseSvg(reading.run, "run.use", svg);
    EXPECT_NE(svg.str().find("run.use (2 marks; the run did not end)"), std::string::npos);
}

TEST(UseFile, BadFilesNameTheLineAndTheReason) {
    struct Case {
        std::string text;
        std::size_t line;
        const char* error;
    };
    const Case cases[] = {
        {"", 0, "the file is empty"},
        {"hello, world\n", 1, "not a row of a .use file"},
        {std::string(startRow) + "run.2 3 cut", 2,
         "the line is cut short: the file ends without a line end"},
        {std::string(startRow) + header + fullLabelRow, 3,
         "not a line of a .use file's header or timer summary"},
        {std::string(header), 1, "no row of a .use file"},
        {std::string(startRow) + header +
             "!Timer 1 :   work   1e300     0.5000     1.0000     1.2 \n",
         3, "not a line of a .use file's header or timer summary"},
    };
    for (const Case& bad : cases) {
        SCOPED_TRACE(bad.error);
        const UseReading reading = ReadUseFile(bad.text);
        EXPECT_EQ(reading.error, bad.error);
        EXPECT_EQ(reading.errorLine, bad.line);
    }
}

// What the library's own monitor writes is read back mark for mark, timers included.
TEST(UseFile, ReadsWhatTheMonitorWrites) {
    const vlt::test::WorkInTempDirectory work("usefile");
    // Not the empty value: Windows drops a variable set to the empty text.
    vlt::test::SetEnvironment("KES_RESOURCE_MONITOR", "ON");
    auto& monitor = omi_Singleton<utl_ResourceMonitor>::Instance();
    monitor.Initialize("solver");
    std::vector<std::vector<double>> blocks;
    for (const char* step : {"mesh read", "matrix assembled", "solved"}) {
        monitor.StartTimer(0, "work");
        blocks.emplace_back(1 << 20, 1.0);
        monitor.StopTimer(0);
        monitor.Mark(step);
    }
    omi_SingletonBase<utl_ResourceMonitor>::Finalize();
    vlt::test::SetEnvironment("KES_RESOURCE_MONITOR", nullptr);

    std::ifstream file("solver.use", std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    const UseReading reading = ReadUseFile(text);
    ASSERT_EQ(reading.error, "") << reading.errorLine;
    ASSERT_EQ(reading.run.rows.size(), 5u);
    EXPECT_EQ(reading.run.rows[2].label, "matrix assembled");
    EXPECT_TRUE(reading.run.ended);
    ASSERT_EQ(reading.run.timers.size(), 2u);
    EXPECT_EQ(reading.run.timers[1].name, "Self");
    EXPECT_EQ(reading.run.timers[1].calls, 1000);
}

} // namespace
