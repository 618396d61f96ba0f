#include "AssertRecorder.h"
#include "ChildProcess.h"
#include "TestPlatform.h"
#include "omn_Interrupt.h"

#include <gtest/gtest.h>

#if defined(_WIN32)
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
// After windows.h, which it needs.
#include <tlhelp32.h>
#else
#include <sys/stat.h>
#include <unistd.h>
#endif

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using vlt::test::AssertRecorder;

constexpr auto patience = 10s;
constexpr char endedProcessVariable[] = "VLT_TEST_ENDED_PROCESS_FILE";
constexpr char listenerIdsVariable[] = "VLT_TEST_LISTENER_IDS";

// Two further signals that raise() can deliver; the Windows runtime knows no user signals.
#if defined(_WIN32)
constexpr int firstFurtherSignal = SIGTERM;
constexpr int secondFurtherSignal = SIGBREAK;
#else
constexpr int firstFurtherSignal = SIGUSR1;
constexpr int secondFurtherSignal = SIGUSR2;
#endif

int CurrentThreadId() {
#if defined(_WIN32)
    return static_cast<int>(GetCurrentThreadId());
#else
    return static_cast<int>(gettid());
#endif
}

// The id of the thread that GetThread() names: Windows publishes the listener's handle.
int ThreadIdOf(int published) {
#if defined(_WIN32)
    return static_cast<int>(GetThreadId(reinterpret_cast<HANDLE>(static_cast<INT_PTR>(published))));
#else
    return published;
#endif
}

// The calling thread as GetThread() would name it, for as long as the object lives.
class CallingThreadName {
public:
#if defined(_WIN32)
    CallingThreadName() {
        DuplicateHandle(GetCurrentProcess(), GetCurrentThread(), GetCurrentProcess(), &handle, 0,
                        FALSE, DUPLICATE_SAME_ACCESS);
    }
    ~CallingThreadName() {
        CloseHandle(handle);
    }
    int Value() const {
        return static_cast<int>(reinterpret_cast<INT_PTR>(handle));
    }

private:
    HANDLE handle = nullptr;
#else
    int Value() const {
        return CurrentThreadId();
    }
#endif
};

// Whether `thread` is a live thread of this process.
bool ThreadRunning(int thread) {
#if defined(_WIN32)
    const HANDLE handle =
        OpenThread(THREAD_QUERY_LIMITED_INFORMATION, FALSE, static_cast<DWORD>(thread));
    if (handle == nullptr) {
        return false;
    }
    DWORD exitCode = 0;
    const bool running = GetProcessIdOfThread(handle) == GetCurrentProcessId() &&
                         GetExitCodeThread(handle, &exitCode) && exitCode == STILL_ACTIVE;
    CloseHandle(handle);
    return running;
#else
    struct stat info {};
    return stat(("/proc/self/task/" + std::to_string(thread)).c_str(), &info) == 0;
#endif
}

// A live process other than this one: the parent on Linux, the first other one the system lists
// on Windows.
int OtherProcess() {
#if defined(_WIN32)
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    PROCESSENTRY32 entry{};
    entry.dwSize = sizeof entry;
    int other = 0;
    for (BOOL more = Process32First(snapshot, &entry); more && other == 0;
         more = Process32Next(snapshot, &entry)) {
        if (entry.th32ProcessID != 0 && entry.th32ProcessID != GetCurrentProcessId()) {
            other = static_cast<int>(entry.th32ProcessID);
        }
    }
    CloseHandle(snapshot);
    EXPECT_NE(other, 0) << "no other process listed";
    return other;
#else
    return static_cast<int>(getppid());
#endif
}

// A process id that no process has: that of a child that has ended and been waited for. The
// child leaves its id in a file that the parent names in the environment (on Windows the child
// runs the test again, and would make a directory of its own).
int EndedProcess() {
    std::optional<vlt::test::TempDirectory> directory;
    if (!vlt::test::InRerunChild()) {
        directory.emplace("vlt_interrupt");
        vlt::test::SetEnvironment(endedProcessVariable, directory->PathOf("process").c_str());
    }
    vlt::test::RunInChild([] {
        std::FILE* const file = std::fopen(std::getenv(endedProcessVariable), "w");
        if (file == nullptr) {
            return 1;
        }
        std::fprintf(file, "%d\n", vlt::test::ProcessId());
        return std::fclose(file) == 0 ? 0 : 1;
    });
    int process = 0;
    if (directory) {
        vlt::test::SetEnvironment(endedProcessVariable, nullptr);
        std::ifstream(directory->PathOf("process")) >> process;
        EXPECT_GT(process, 0);
    }
    return process;
}

// The action bound to `signal` now, read through the one call both platforms have.
void (*CurrentAction(int signal))(int) {
    void (*const current)(int) = std::signal(signal, SIG_DFL);
    std::signal(signal, current);
    return current;
}

struct HandlerCall {
    int signal;
    int thread;
    bool operator==(const HandlerCall&) const = default;
};

// What the listener thread passed to the handler, awaited with a timeout.
class HandlerCalls {
public:
    static void Record(int signal) {
        const std::lock_guard<std::mutex> hold(mutex);
        calls.push_back({signal, CurrentThreadId()});
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
std::atomic<int> raisedFirstFurther{0};
std::atomic<int> raisedSecondFurther{0};

void CountRaised(int signal) {
    if (signal == SIGINT) {
        ++raisedInterrupts;
    } else if (signal == firstFurtherSignal) {
        ++raisedFirstFurther;
    } else if (signal == secondFurtherSignal) {
        ++raisedSecondFurther;
    }
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
    EXPECT_EQ(listener->GetPID(), vlt::test::ProcessId());
    EXPECT_GT(listener->GetThread(), 0);
    EXPECT_NE(ThreadIdOf(listener->GetThread()), CurrentThreadId());
    EXPECT_TRUE(ThreadRunning(ThreadIdOf(listener->GetThread())));
}

TEST_F(InterruptListener, EachInterruptRunsTheHandlerOnceOnTheListenerThread) {
    const omn_InterruptTrigger trigger = OwnTrigger();
    EXPECT_TRUE(trigger.Interrupt());
    EXPECT_TRUE(trigger.Interrupt());
    const HandlerCall expected{2, ThreadIdOf(listener->GetThread())};
    EXPECT_EQ(HandlerCalls::Await(2), (std::vector<HandlerCall>{expected, expected}));
    EXPECT_EQ(HandlerCalls::SettledCount(2), 2U);
}

TEST_F(InterruptListener, TriggerFromWrongIdsHoldsNullHandle) {
    const int process = listener->GetPID();
    const int thread = listener->GetThread();
    const CallingThreadName callingThread;
    const struct {
        const char* what;
        int process;
        int thread;
    } wrongIds[] = {
        {"no process", 0, thread},
        {"negative process", -1, thread},
        {"ended process", EndedProcess(), thread},
        {"other process", OtherProcess(), thread},
        {"no thread", process, 0},
        {"thread that is not the listener", process, callingThread.Value()},
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

// The ids reach the child through the environment: on Windows the child runs the test again,
// with a listener of its own.
TEST_F(InterruptListener, AnotherProcessInterruptsTheListener) {
    const int thread = listener->GetThread();
    if (!vlt::test::InRerunChild()) {
        const std::string ids = std::to_string(listener->GetPID()) + " " + std::to_string(thread);
        vlt::test::SetEnvironment(listenerIdsVariable, ids.c_str());
    }
    const int exitCode = vlt::test::RunInChild([&] {
        const char* const ids = std::getenv(listenerIdsVariable);
        int process = 0;
        int listenerThread = 0;
        if (ids == nullptr || std::sscanf(ids, "%d %d", &process, &listenerThread) != 2) {
            return 2;
        }
        const omn_InterruptTrigger trigger(process, listenerThread);
        return trigger.Interrupt() ? 0 : 1;
    });
    vlt::test::SetEnvironment(listenerIdsVariable, nullptr);
    EXPECT_EQ(exitCode, 0);
    EXPECT_EQ(HandlerCalls::Await(1), (std::vector<HandlerCall>{{2, ThreadIdOf(thread)}}));
}

TEST_F(InterruptListener, NullHandlerDoesNothingAndKeepsTheListener) {
    listener->SetHandler(nullptr);
    EXPECT_TRUE(OwnTrigger().Interrupt());
    // The interrupt signal is bound to the do-nothing handler, so raising it is harmless.
    EXPECT_NE(CurrentAction(SIGINT), SIG_DFL);
    std::raise(SIGINT);

    // The first wake-up may meet either handler; the listener must still be there for both.
    listener->SetHandler(HandlerCalls::Record);
    EXPECT_TRUE(OwnTrigger().Interrupt());
    EXPECT_FALSE(HandlerCalls::Await(1).empty());
}

TEST_F(InterruptListener, HandlerIsBoundToTheInterruptAndTheFurtherSignals) {
    Install(firstFurtherSignal, 0, secondFurtherSignal);
    listener->SetHandler(CountRaised);
    raisedInterrupts = raisedFirstFurther = raisedSecondFurther = 0;
    std::raise(SIGINT);
    std::raise(firstFurtherSignal);
    std::raise(secondFurtherSignal);
    EXPECT_EQ(raisedInterrupts, 1);
    EXPECT_EQ(raisedFirstFurther, 1);
    EXPECT_EQ(raisedSecondFurther, 1);

    // Bound again: the Windows runtime unbinds a handler when a raised signal runs it.
    listener->SetHandler(CountRaised);
    omi_SingletonBase<omn_InterruptListener>::Finalize();
    EXPECT_EQ(CurrentAction(SIGINT), SIG_DFL);
    // Only the interrupt signal gets its default action back.
    EXPECT_EQ(CurrentAction(firstFurtherSignal), &CountRaised);
    std::signal(firstFurtherSignal, SIG_DFL);
    std::signal(secondFurtherSignal, SIG_DFL);
}

TEST_F(InterruptListener, DestructionEndsTheThreadAndRestoresTheInterruptSignal) {
    const int thread = ThreadIdOf(listener->GetThread());
    EXPECT_NE(CurrentAction(SIGINT), SIG_DFL);
    omi_SingletonBase<omn_InterruptListener>::Finalize();

    EXPECT_EQ(omi_SingletonBase<omn_InterruptListener>::Instance(), nullptr);
    EXPECT_EQ(CurrentAction(SIGINT), SIG_DFL);
    // The kernel may list a joined thread for a moment longer.
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (ThreadRunning(thread) && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(1ms);
    }
    EXPECT_FALSE(ThreadRunning(thread));
    EXPECT_TRUE(HandlerCalls::Await(0).empty());
}

} // namespace
