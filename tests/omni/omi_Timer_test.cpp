#include "omi_Time.h"
#include "omi_Timer.h"

#include <gtest/gtest.h>

#include <ctime>

namespace {

// Spins until the process has used `seconds` more processor time.
void BurnCpu(double seconds) {
    const double until = omi_getcputime() + seconds;
    volatile unsigned sink = 0;
    while (omi_getcputime() < until) {
        sink = sink + 1;
    }
}

TEST(omi_TimeTest, WallClockHasMillisecondResolutionAndFollowsTheSystemClock) {
    const time_t before = time(nullptr);
    const omi_Time now = omi_gettimeofday();
    const double stamp = omi_gettimestamp();
    const time_t after = time(nullptr);
    EXPECT_GE(now.tv_sec, before);
    EXPECT_LE(now.tv_sec, after);
    EXPECT_EQ(now.tv_usec % 1000, 0);
    EXPECT_GE(now.tv_usec, 0);
    EXPECT_LT(now.tv_usec, 1000000);
    EXPECT_GE(stamp, now.tv_sec + now.tv_usec * 1e-6);
    EXPECT_LE(stamp, after + 1.0);
}

class omi_TimeCounterTest : public ::testing::Test {
protected:
    void TearDown() override { omi_settimecounterstart(0.0); }
};

TEST_F(omi_TimeCounterTest, AnswersTheValueThenCountsUp) {
    omi_settimecounterstart(41.0);
    EXPECT_EQ(omi_gettimecounter(), 41.0);
    EXPECT_EQ(omi_gettimecounter(), 42.0);
}

TEST_F(omi_TimeCounterTest, AtTheLimitPrintsTheNoticeAndAnswersZeroWithoutCounting) {
    omi_settimecounterstart(1e15 - 1.0);
    EXPECT_EQ(omi_gettimecounter(), 1e15 - 1.0);
    testing::internal::CaptureStdout();
    EXPECT_EQ(omi_gettimecounter(), 0.0);
    EXPECT_EQ(omi_gettimecounter(), 0.0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Session Time Counter overflow!\nRestart your session.\n"
              "Session Time Counter overflow!\nRestart your session.\n");
}

TEST(omi_TimerTest, ElapsedHoldsTheLastPairWhileProcessorTimeAddsUpAllPairs) {
    omi_Timer timer;
    timer.Start();
    BurnCpu(0.03);
    timer.Stop();
    const double firstCpu = timer.GetTotalCpuTime();

    const double secondFrom = omi_gettimestamp();
    timer.Start();
    BurnCpu(0.015);
    timer.Stop();
    const double secondSpan = omi_gettimestamp() - secondFrom;

    EXPECT_GE(firstCpu, 0.03);
    EXPECT_GE(timer.GetTotalCpuTime(), firstCpu + 0.015);
    EXPECT_GE(timer.GetElapsedTime(), 0.015 - 0.002);
    EXPECT_LE(timer.GetElapsedTime(), secondSpan + 0.002);
}

TEST(omi_TimerTest, StartingARunningTimerOrStoppingAStoppedOneIsIgnored) {
    omi_Timer timer;
    timer.Start();
    BurnCpu(0.02);
    timer.Start();
    timer.Stop();
    const double elapsed = timer.GetElapsedTime();
    const double cpu = timer.GetTotalCpuTime();
    EXPECT_GE(cpu, 0.02);
    BurnCpu(0.01);
    timer.Stop();
    EXPECT_EQ(timer.GetElapsedTime(), elapsed);
    EXPECT_EQ(timer.GetTotalCpuTime(), cpu);
}

TEST(omi_TimerTest, RunningReadsAddTheOpenIntervalToTheStoppedFigures) {
    omi_Timer timer;
    timer.Start();
    BurnCpu(0.02);
    timer.Stop();
    const double lastElapsed = timer.GetElapsedTime();
    const double stoppedCpu = timer.GetTotalCpuTime();
    timer.Start();
    BurnCpu(0.01);
    EXPECT_GE(timer.GetTotalCpuTime(), stoppedCpu + 0.01);
    EXPECT_GE(timer.GetElapsedTime(), lastElapsed + 0.01 - 0.002);
}

TEST(omi_TimerTest, ResetClearsEverythingAndStops) {
    omi_Timer timer;
    timer.Start();
    BurnCpu(0.01);
    timer.Reset();
    EXPECT_EQ(timer.GetElapsedTime(), 0.0);
    EXPECT_EQ(timer.GetTotalCpuTime(), 0.0);
    timer.Stop();
    EXPECT_EQ(timer.GetTotalCpuTime(), 0.0);
}

} // namespace
