// The interrupt listener and its triggers: what runs when, and which signals get the handler.
// Threads and their resumption are reached through omn_InterruptPlatform.h only.
#include "omn_Interrupt.h"
#include "omn_Crash.h"
#include "omn_InterruptPlatform.h"

#include <csignal>

template class omi_SingletonBase<omn_InterruptListener>;

namespace {

using namespace vlt::detail;

// The number a resumed listener passes to the handler, as if the interrupt signal had come.
constexpr int interruptSignal = 2;

void DoNothing(int) {}

} // namespace

template <class Result>
omn_Callback<Result>::~omn_Callback() = default;

template class omn_Callback<bool>;

struct vlt::detail::omn_InterruptInstaller {
    // The listener registers itself as the singleton; Finalize() deletes it.
    static void Install(int signal1, int signal2, int signal3) {
        new omn_InterruptListener(signal1, signal2, signal3);
    }
};

void omn_InstallInterruptHandler(int signal1, int signal2, int signal3) {
    omn_InterruptInstaller::Install(signal1, signal2, signal3);
}

omn_InterruptListener::omn_InterruptListener(int signal1, int signal2, int signal3)
    : handler(DoNothing), signals{signal1, signal2, signal3} {
    thread = InterruptStartListener(Listen, this, threadName);
}

// A null handler at wake-up is the destructor asking the thread to end.
void omn_InterruptListener::Listen(void* listener) {
    const auto& self = *static_cast<omn_InterruptListener*>(listener);
    omn_PrepareThreadForCrashReport(); // the handler a client installs runs on this stack
    for (;;) {
        InterruptAwaitResume();
        void (*current)(int) = self.handler.load(std::memory_order_acquire);
        if (current == nullptr) {
            return;
        }
        current(interruptSignal);
    }
}

omn_InterruptListener::~omn_InterruptListener() {
    handler.store(nullptr, std::memory_order_release);
    std::signal(interruptSignal, SIG_DFL);
    if (thread != nullptr) {
        InterruptResumeListener(thread);
        InterruptJoinListener(thread);
    }
}

void omn_InterruptListener::SetHandler(void (*newHandler)(int)) {
    void (*bound)(int) = newHandler != nullptr ? newHandler : DoNothing;
    handler.store(bound, std::memory_order_release);
    std::signal(interruptSignal, bound);
    for (const int further : signals) {
        if (further != 0) {
            std::signal(further, bound);
        }
    }
}

int omn_InterruptListener::GetPID() const {
    return InterruptCurrentProcess();
}

int omn_InterruptListener::GetThread() const {
    return threadName;
}

omn_InterruptTrigger::omn_InterruptTrigger(int process, int listenerThread)
    : thread(InterruptOpenThread(process, listenerThread)) {}

omn_InterruptTrigger::omn_InterruptTrigger(const omn_InterruptTrigger& other)
    : thread(InterruptDuplicateThread(other.thread)) {}

omn_InterruptTrigger& omn_InterruptTrigger::operator=(const omn_InterruptTrigger& other) {
    void* duplicate = InterruptDuplicateThread(other.thread);
    InterruptCloseThread(thread);
    thread = duplicate;
    return *this;
}

omn_InterruptTrigger::~omn_InterruptTrigger() {
    InterruptCloseThread(thread);
}

bool omn_InterruptTrigger::Interrupt() const {
    return InterruptResumeThread(thread);
}
