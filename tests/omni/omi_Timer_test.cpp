#include "omi_Time.h"
#include "omi_Timer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>

namespace {

// Spins until the process has used `seconds` more processor time, told by a difference as the
// timer tells it: on a clock of coarse steps a sum may round past a step that the difference
// of the same readings falls just short of.
void BurnCpu(double seconds) {
    const double from = omi_getcputime();
    volatile unsigned sink = 0;
    while (omi_getcputime() - from < seconds) {
        sink = sink + 1;
    }
}

// The smallest step of the processor clock: a tiny fraction of a millisecond on Linux, a
// scheduler tick on Windows (10 ms under Wine). BurnCpu(s) may end after s less one step of
// real time, which the wall-clock bounds below allow for.
double CpuClockStep() {
    static const double step = [] {
        double smallest = 1.0;
        for (int change = 0; change < 3; ++change) {
            const double from = omi_getcputime();
            double now = from;
            while (now == from) {
                now = omi_getcputime();
            }
            smallest = std::min(smallest, now - from);
        }
        return smallest;
    }();
    return step;
}

// The wall clock reads whole milliseconds: two readings may each be up to one off.
constexpr double wallClockSlack = 0.002;

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
    EXPECT_GE(timer.GetElapsedTime(), 0.015 - CpuClockStep() - wallClockSlack);
    EXPECT_LE(timer.GetElapsedTime(), secondSpan + wallClockSlack);
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
    EXPECT_GE(timer.GetElapsedTime(), lastElapsed + 0.01 - CpuClockStep() - wallClockSlack);
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
