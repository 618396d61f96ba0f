// The interrupt listener on Linux: the listener thread holds one real-time signal blocked for
// its whole life and waits for it in sigwaitinfo; resuming it means queueing that signal to that
// thread with tgkill. The signal is thread-directed, so it pends on the listener alone whatever
// the client's other threads block. A trigger keeps a pidfd of the target process and checks it
// before each signal, which shrinks the chance of signalling a reused process id to the moment
// between the check and the signal.
//
// The floating-point switch: feenableexcept and, on x86, the MXCSR control bits.
#include "omn_InterruptPlatform.h"
#include "omn_System.h"

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cfenv>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <future>
#include <new>

#if defined(__SSE__)
#include <xmmintrin.h>
#endif

namespace vlt::detail {
namespace {

// Every process that links the library agrees on this number.
int WakeSignal() {
    return SIGRTMIN + 4;
}

// How a trigger recognises the listener thread (at most 15 characters).
constexpr char listenerName[] = "omn_Interrupt";

// The listener takes no signal but its own; the fault signals stay open so that a fault on it
// is still reported as a crash.
sigset_t ListenerMask() {
    sigset_t mask;
    sigfillset(&mask);
    for (const int fault : SystemFaultSignals()) {
        sigdelset(&mask, fault);
    }
    return mask;
}

// Called through syscall(): the C library's declarations are not usable from C++ everywhere.
int OpenProcessFd(int process) {
    return static_cast<int>(syscall(SYS_pidfd_open, process, 0U));
}

bool ProcessFdIsAlive(int pidfd) {
    return syscall(SYS_pidfd_send_signal, pidfd, 0, nullptr, 0U) == 0;
}

void IgnoreStray(int) {}

// Only a process-directed copy of the wake signal (nothing here sends one) reaches a handler;
// it must not end the process, which the default action would. A client's own handler stays.
void QuietenStrayWakeSignals() {
    struct sigaction current {};
    if (sigaction(WakeSignal(), nullptr, &current) != 0 || current.sa_handler != SIG_DFL ||
        (current.sa_flags & SA_SIGINFO) != 0) {
        return;
    }
    struct sigaction quiet {};
    quiet.sa_handler = IgnoreStray;
    sigemptyset(&quiet.sa_mask);
    quiet.sa_flags = SA_RESTART;
    sigaction(WakeSignal(), &quiet, nullptr);
}

// The nearest thing to a time-critical thread that does not leave the normal scheduling class:
// the lowest nice value. Refused without the privilege; the thread then keeps its priority.
void RaiseOwnPriority() {
    constexpr int highestNice = -20;
    setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()), highestNice);
}

struct ListenerStart {
    void (*body)(void*);
    void* context;
    std::promise<pid_t> threadId;
};

struct Listener {
    pthread_t thread;
    pid_t threadId;
};

void* RunListener(void* raw) {
    ListenerStart* start = static_cast<ListenerStart*>(raw);
    void (*body)(void*) = start->body;
    void* context = start->context;
    RaiseOwnPriority();
    pthread_setname_np(pthread_self(), listenerName);
    start->threadId.set_value(gettid());
    delete start;
    body(context);
    return nullptr;
}

struct OpenedThread {
    int pidfd; // -1 where the kernel has no pidfds
    pid_t process;
    pid_t thread;
};

void* MakeOpened(int pidfd, pid_t process, pid_t thread) {
    auto* opened = new (std::nothrow) OpenedThread{pidfd, process, thread};
    if (opened == nullptr && pidfd >= 0) {
        close(pidfd);
    }
    return opened;
}

// Whether `thread` is a listener thread: it carries the listener's name, and the wake signal
// does not take its default action there (held blocked, or caught while the thread waits for
// it). A wrong id must never end an unrelated process.
bool IsListenerThread(int process, int thread) {
    char path[64];
    std::snprintf(path, sizeof path, "/proc/%d/task/%d/status", process, thread);
    std::FILE* status = std::fopen(path, "re");
    if (status == nullptr) {
        return false;
    }
    char name[32] = "";
    uintmax_t handled = 0;
    char line[256];
    while (std::fgets(line, sizeof line, status) != nullptr) {
        uintmax_t mask = 0;
        if (std::sscanf(line, "SigBlk: %" SCNxMAX, &mask) == 1 ||
            std::sscanf(line, "SigIgn: %" SCNxMAX, &mask) == 1 ||
            std::sscanf(line, "SigCgt: %" SCNxMAX, &mask) == 1) {
            handled |= mask;
        } else {
            std::sscanf(line, "Name: %31s", name);
        }
    }
    std::fclose(status);
    return std::strcmp(name, listenerName) == 0 && ((handled >> (WakeSignal() - 1)) & 1U) != 0;
}

} // namespace

void* InterruptStartListener(void (*body)(void*), void* context, int& threadName) {
    threadName = 0;
    QuietenStrayWakeSignals();
    auto* start = new (std::nothrow) ListenerStart{body, context, {}};
    auto* listener = new (std::nothrow) Listener{};
    if (start == nullptr || listener == nullptr) {
        delete start;
        delete listener;
        return nullptr;
    }
    std::future<pid_t> started = start->threadId.get_future();
    // The new thread inherits the mask, so the wake signal is held for it from its first
    // instruction and no early resume can be lost.
    const sigset_t listenerMask = ListenerMask();
    sigset_t callerMask;
    pthread_sigmask(SIG_BLOCK, &listenerMask, &callerMask);
    const int failed = pthread_create(&listener->thread, nullptr, RunListener, start);
    pthread_sigmask(SIG_SETMASK, &callerMask, nullptr);
    if (failed != 0) {
        delete start;
        delete listener;
        return nullptr;
    }
    listener->threadId = started.get();
    threadName = listener->threadId;
    return listener;
}

void InterruptAwaitResume() {
    sigset_t wake;
    sigemptyset(&wake);
    sigaddset(&wake, WakeSignal());
    while (sigwaitinfo(&wake, nullptr) < 0 && errno == EINTR) {
    }
}

void InterruptResumeListener(void* listener) {
    tgkill(getpid(), static_cast<Listener*>(listener)->threadId, WakeSignal());
}

void InterruptJoinListener(void* listener) {
    auto* joined = static_cast<Listener*>(listener);
    pthread_join(joined->thread, nullptr);
    delete joined;
}

void* InterruptOpenThread(int process, int thread) {
    if (process <= 0 || thread <= 0) {
        return nullptr;
    }
    // Without pidfds (old kernels, some sandboxes) the trigger goes by the ids alone.
    const int pidfd = OpenProcessFd(process);
    if (pidfd < 0 && errno == ESRCH) {
        return nullptr;
    }
    // Signal 0 checks that the thread belongs to the process and that we may signal it.
    if (!IsListenerThread(process, thread) || tgkill(process, thread, 0) != 0) {
        if (pidfd >= 0) {
            close(pidfd);
        }
        return nullptr;
    }
    return MakeOpened(pidfd, process, thread);
}

void* InterruptDuplicateThread(void* opened) {
    if (opened == nullptr) {
        return nullptr;
    }
    const auto& source = *static_cast<OpenedThread*>(opened);
    int pidfd = -1;
    if (source.pidfd >= 0) {
        pidfd = fcntl(source.pidfd, F_DUPFD_CLOEXEC, 0);
        if (pidfd < 0) {
            return nullptr;
        }
    }
    return MakeOpened(pidfd, source.process, source.thread);
}

bool InterruptResumeThread(void* opened) {
    if (opened == nullptr) {
        return false;
    }
    const auto& target = *static_cast<OpenedThread*>(opened);
    if (target.pidfd >= 0 && !ProcessFdIsAlive(target.pidfd)) {
        return false;
    }
    return tgkill(target.process, target.thread, WakeSignal()) == 0;
}

void InterruptCloseThread(void* opened) {
    auto* closed = static_cast<OpenedThread*>(opened);
    if (closed != nullptr && closed->pidfd >= 0) {
        close(closed->pidfd);
    }
    delete closed;
}

int InterruptCurrentProcess() {
    return getpid();
}

void FloatingPointTrapAndFlush() {
    constexpr int traps = FE_INVALID | FE_DIVBYZERO | FE_OVERFLOW;
    // A flag raised before must not fire at the next unrelated x87 instruction.
    std::feclearexcept(traps);
    fedisableexcept(FE_ALL_EXCEPT & ~traps);
    feenableexcept(traps);
#if defined(__SSE__)
    _mm_setcsr(_mm_getcsr() | _MM_MASK_DENORM | _MM_FLUSH_ZERO_ON);
#endif
#if defined(__x86_64__) || defined(__i386__)
    constexpr unsigned short x87DenormalMask = 0x02;
    unsigned short control = 0;
    __asm__ volatile("fnstcw %0" : "=m"(control));
    control |= x87DenormalMask;
    __asm__ volatile("fldcw %0" : : "m"(control));
#endif
}

} // namespace vlt::detail
