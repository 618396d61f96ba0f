#include "AssertRecorder.h"
#include "StartGate.h"
#include "thr_GlobalSingleton.h"
#include "utl_Modules.h"

#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <thread>
#include <vector>

namespace {

struct Shared : thr_GlobalSingleton<Shared> {
    static inline std::atomic<int> constructed{0};
    static inline std::atomic<int> destroyed{0};
    Shared() {
        ++constructed;
        // Widen the window in which a second creator could slip in.
        std::this_thread::yield();
    }
    ~Shared() { ++destroyed; }
};

class GlobalSingleton : public testing::Test {
protected:
    void SetUp() override {
        utl_initialize(tally);
        Shared::constructed = 0;
        Shared::destroyed = 0;
    }
    void TearDown() override {
        Shared::Finalize();
        utl_finalize(tally);
    }
    int tally = 0;
};

TEST_F(GlobalSingleton, EightThreadsAtOnceCreateExactlyOneInstance) {
    for (int round = 0; round < 20; ++round) {
        constexpr int kThreads = 8;
        vlt::test::StartGate start(kThreads);
        std::vector<Shared*> seen(kThreads);
        std::vector<std::thread> threads;
        for (int i = 0; i < kThreads; ++i) {
            threads.emplace_back([&, i] {
                start.ArriveAndWait();
                seen[i] = &Shared::Instance();
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(std::set<Shared*>(seen.begin(), seen.end()).size(), 1u);
        EXPECT_EQ(Shared::constructed, round + 1);
        Shared::Finalize();
        EXPECT_EQ(Shared::destroyed, round + 1);
    }
}

TEST_F(GlobalSingleton, FinalizeWithNothingRegisteredDoesNothing) {
    Shared::Finalize();
    EXPECT_EQ(Shared::destroyed, 0);
    Shared& made = Shared::Instance();
    EXPECT_EQ(&Shared::Instance(), &made);
    Shared::Finalize();
    Shared::Finalize();
    EXPECT_EQ(Shared::destroyed, 1);
}

TEST_F(GlobalSingleton, SecondDirectConstructionIsReported) {
    vlt::test::AssertRecorder recorder;
    Shared& original = Shared::Instance();
    {
        Shared rival;
        ASSERT_EQ(recorder.Reports().size(), 1u);
        EXPECT_EQ(recorder.Reports()[0].expression, "instance == 0");
        EXPECT_EQ(recorder.Reports()[0].path, "include/thr_GlobalSingletonBase");
    }
    // The rival took the registration and cleared it when it went.
    delete &original;
}

} // namespace
