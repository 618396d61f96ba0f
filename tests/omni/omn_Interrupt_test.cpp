#include "AssertRecorder.h"
#include "omn_Interrupt.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using vlt::test::AssertRecorder;

constexpr auto patience = 10s;

struct HandlerCall {
    int signal;
    pid_t thread;
    bool operator==(const HandlerCall&) const = default;
};

// What the listener thread passed to the handler, awaited with a timeout.
class HandlerCalls {
public:
    static void Record(int signal) {
        const std::lock_guard<std::mutex> hold(mutex);
        calls.push_back({signal, gettid()});
        arrived.notify_all();
    }

    // All calls once there are `count` of them, or what came within the patience.
    static std::vector<HandlerCall> Await(std::size_t count) {
        std::unique_lock<std::mutex> hold(mutex);
        arrived.wait_for(hold, patience, [count] { return calls.size() >= count; });
        return calls;
    }

    // After `count` calls, a short while in which a further (wrong) call would show up.
    static std::size_t SettledCount(std::size_t count) {
        Await(count);
        std::this_thread::sleep_for(50ms);
        return Await(0).size();
    }

    static void Clear() {
        const std::lock_guard<std::mutex> hold(mutex);
        calls.clear();
    }

private:
    static inline std::mutex mutex;
    static inline std::condition_variable arrived;
    static inline std::vector<HandlerCall> calls;
};

// Signals raised on the test thread; a signal handler may only touch lock-free atomics.
std::atomic<int> raisedInterrupts{0};
std::atomic<int> raisedUser1{0};
std::atomic<int> raisedUser2{0};

void CountRaised(int signal) {
    if (signal == SIGINT) {
        ++raisedInterrupts;
    } else if (signal == SIGUSR1) {
        ++raisedUser1;
    } else if (signal == SIGUSR2) {
        ++raisedUser2;
    }
}

void (*CurrentAction(int signal))(int) {
    struct sigaction action {};
    sigaction(signal, nullptr, &action);
    return action.sa_handler;
}

bool TaskExists(pid_t thread) {
    struct stat info {};
    return stat(("/proc/self/task/" + std::to_string(thread)).c_str(), &info) == 0;
}

// A process id that no process has: a child that has been waited for.
pid_t EndedProcess() {
    const pid_t child = fork();
    if (child == 0) {
        _exit(0);
    }
    waitpid(child, nullptr, 0);
    return child;
}

TEST(InterruptListenerSingleton, InstanceBeforeInstallIsReported) {
    ASSERT_EQ(omi_SingletonBase<omn_InterruptListener>::Instance(), nullptr);
    AssertRecorder recorder;
    EXPECT_THROW(omi_SingletonExplicit<omn_InterruptListener>::Instance(), std::logic_error);
    ASSERT_EQ(recorder.Reports().size(), 1U);
    EXPECT_EQ(recorder.Reports()[0].expression, "instance != 0");
    EXPECT_EQ(recorder.Reports()[0].path, "include/omi_SingletonExplicit");
}

class InterruptListener : public testing::Test {
protected:
    void SetUp() override { Install(0, 0, 0); }

    void TearDown() override {
        omi_SingletonBase<omn_InterruptListener>::Finalize();
        HandlerCalls::Clear();
    }

    void Install(int signal1, int signal2, int signal3) {
        omi_SingletonBase<omn_InterruptListener>::Finalize();
        omn_InstallInterruptHandler(signal1, signal2, signal3);
        listener = &omi_SingletonExplicit<omn_InterruptListener>::Instance();
        listener->SetHandler(HandlerCalls::Record);
    }

    omn_InterruptTrigger OwnTrigger() const {
        return omn_InterruptTrigger(listener->GetPID(), listener->GetThread());
    }

    omn_InterruptListener* listener = nullptr;
};

TEST_F(InterruptListener, PublishesProcessAndAnOwnThread) {
    EXPECT_EQ(listener->GetPID(), getpid());
    EXPECT_GT(listener->GetThread(), 0);
    EXPECT_NE(listener->GetThread(), gettid());
    EXPECT_TRUE(TaskExists(listener->GetThread()));
}

TEST_F(InterruptListener, EachInterruptRunsTheHandlerOnceOnTheListenerThread) {
    const omn_InterruptTrigger trigger = OwnTrigger();
    EXPECT_TRUE(trigger.Interrupt());
    EXPECT_TRUE(trigger.Interrupt());
    const HandlerCall expected{2, listener->GetThread()};
    EXPECT_EQ(HandlerCalls::Await(2), (std::vector<HandlerCall>{expected, expected}));
    EXPECT_EQ(HandlerCalls::SettledCount(2), 2U);
}

TEST_F(InterruptListener, TriggerFromWrongIdsHoldsNullHandle) {
    const int process = listener->GetPID();
    const int thread = listener->GetThread();
    const struct {
        const char* what;
        int process;
        int thread;
    } wrongIds[] = {
        {"no process", 0, thread},
        {"negative process", -1, thread},
        {"ended process", EndedProcess(), thread},
        {"other process", getppid(), thread},
        {"no thread", process, 0},
        {"thread that takes the signal", process, gettid()},
        {"thread id as process id", thread, thread},
    };
    for (const auto& wrong : wrongIds) {
        SCOPED_TRACE(wrong.what);
        const omn_InterruptTrigger trigger(wrong.process, wrong.thread);
        EXPECT_FALSE(trigger.Interrupt());
        const omn_InterruptTrigger copy(trigger);
        EXPECT_FALSE(copy.Interrupt());
    }
    // Nothing reached the listener: the next good interrupt is the first call.
    EXPECT_TRUE(OwnTrigger().Interrupt());
    EXPECT_EQ(HandlerCalls::SettledCount(1), 1U);
}

TEST_F(InterruptListener, CopiesAndAssignmentsHoldTheirOwnHandle) {
    auto original = std::make_unique<omn_InterruptTrigger>(OwnTrigger());
    const omn_InterruptTrigger copy(*original);
    omn_InterruptTrigger assigned(0, 0);
    assigned = *original;
    original.reset();
    EXPECT_TRUE(copy.Interrupt());
    EXPECT_TRUE(assigned.Interrupt());

    const omn_InterruptTrigger& alias = assigned;
    assigned = alias;
    EXPECT_TRUE(assigned.Interrupt());

    assigned = omn_InterruptTrigger(0, 0);
    EXPECT_FALSE(assigned.Interrupt());
    EXPECT_EQ(HandlerCalls::SettledCount(3), 3U);
}

TEST_F(InterruptListener, AnotherProcessInterruptsTheListener) {
    const int process = listener->GetPID();
    const int thread = listener->GetThread();
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        const omn_InterruptTrigger trigger(process, thread);
        _exit(trigger.Interrupt() ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_EQ(HandlerCalls::Await(1), (std::vector<HandlerCall>{{2, thread}}));
}

TEST_F(InterruptListener, NullHandlerDoesNothingAndKeepsTheListener) {
    listener->SetHandler(nullptr);
    EXPECT_TRUE(OwnTrigger().Interrupt());
    // The interrupt signal is bound to the do-nothing handler, so raising it is harmless.
    EXPECT_NE(CurrentAction(SIGINT), SIG_DFL);
    raise(SIGINT);

    // The first wake-up may meet either handler; the listener must still be there for both.
    listener->SetHandler(HandlerCalls::Record);
    EXPECT_TRUE(OwnTrigger().Interrupt());
    EXPECT_FALSE(HandlerCalls::Await(1).empty());
}

TEST_F(InterruptListener, HandlerIsBoundToTheInterruptAndTheFurtherSignals) {
    Install(SIGUSR1, 0, SIGUSR2);
    listener->SetHandler(CountRaised);
    raisedInterrupts = raisedUser1 = raisedUser2 = 0;
    raise(SIGINT);
    raise(SIGUSR1);
    raise(SIGUSR2);
    EXPECT_EQ(raisedInterrupts, 1);
    EXPECT_EQ(raisedUser1, 1);
    EXPECT_EQ(raisedUser2, 1);

    omi_SingletonBase<omn_InterruptListener>::Finalize();
    EXPECT_EQ(CurrentAction(SIGINT), SIG_DFL);
    // Only the interrupt signal gets its default action back.
    EXPECT_EQ(CurrentAction(SIGUSR1), &CountRaised);
    signal(SIGUSR1, SIG_DFL);
    signal(SIGUSR2, SIG_DFL);
}

TEST_F(InterruptListener, DestructionEndsTheThreadAndRestoresTheInterruptSignal) {
    const pid_t thread = listener->GetThread();
    EXPECT_NE(CurrentAction(SIGINT), SIG_DFL);
    omi_SingletonBase<omn_InterruptListener>::Finalize();

    EXPECT_EQ(omi_SingletonBase<omn_InterruptListener>::Instance(), nullptr);
    EXPECT_EQ(CurrentAction(SIGINT), SIG_DFL);
    // The kernel may list a joined thread for a moment longer.
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (TaskExists(thread) && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(1ms);
    }
    EXPECT_FALSE(TaskExists(thread));
    EXPECT_TRUE(HandlerCalls::Await(0).empty());
}

} // namespace
