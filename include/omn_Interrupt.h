// Interrupts between processes, and the floating-point trap switch.
//
// An analysis installs the interrupt listener (omn_InstallInterruptHandler) and publishes its
// process id and listener thread (GetPID, GetThread); a job monitor builds an
// omn_InterruptTrigger from the two and calls Interrupt(), which makes the listener thread call
// the analysis's handler with the interrupt signal number (2), once per Interrupt. The same
// handler is bound to the interrupt signal and to up to three further signal numbers.
//
// Ownership and sharing: the listener is a process-wide explicit singleton that lives until
// omi_SingletonBase<omn_InterruptListener>::Finalize(); its thread is the library's only thread
// of its own. The handler runs on that thread, not on the interrupted one, so it must only set
// flags that the analysis polls. A trigger is a plain value owned by its holder; copying it
// opens a second handle on the same thread.
//
// On Windows the listener thread suspends itself and a trigger resumes it: the monitor opens the
// analysis process with the right to duplicate handles and takes a copy of the listener's
// handle that may suspend and resume only.
//
// On Linux the listener thread waits for one real-time signal (SIGRTMIN + 4), which it
// holds blocked for its whole life; Interrupt() queues that signal to that one thread (a
// thread-directed signal, so the masks of the client's other threads do not matter). The
// listener blocks every other signal but the faults, so process signals reach the client's
// threads. A process-directed stray copy of the wake signal meets a handler that does nothing
// instead of the default action, which would end the process (a handler the client installed
// for it stays). A trigger opens only the library's listener thread, recognised by its name
// "omn_Interrupt" and by the signal not taking its default action there: a wrong process or
// thread id gives a null handle, never a signal to an unrelated thread. Signalling another
// process needs the usual permission (same user).
#pragma once

#include "omi_SingletonBase.h"
#include "omi_SingletonExplicit.h"
#include "vlt_Export.h"

#include <atomic>

// A polymorphic callback base; derivations add their call.
template <class Result>
class VLT_TEMPLATE_VISIBLE omn_Callback {
public:
    omn_Callback() = default;
    omn_Callback(const omn_Callback&) = default;
    omn_Callback& operator=(const omn_Callback&) = default;
    virtual ~omn_Callback();
};

extern template class VLTUTL_API omn_Callback<bool>;

// Creates the listener singleton with up to three further signal numbers (0: unused).
VLTUTL_API void omn_InstallInterruptHandler(int signal1, int signal2, int signal3);

// The process's interrupt listener: a thread that sleeps until a trigger resumes it.
class omn_InterruptListener;
namespace vlt::detail {
struct omn_InterruptInstaller;
} // namespace vlt::detail
// The instance lives in the library: one per process, also across a DLL boundary.
extern template class VLTUTL_API omi_SingletonBase<omn_InterruptListener>;

class VLTUTL_API omn_InterruptListener : public omi_SingletonBase<omn_InterruptListener> {
public:
    // Ends the thread and waits for it; the interrupt signal gets its default action back.
    ~omn_InterruptListener();

    // Stores the handler (null stands for one that does nothing) and binds it with `signal` to
    // the interrupt signal and to each non-zero further signal number.
    void SetHandler(void (*handler)(int));

    // What a monitor needs to build a trigger: this process's id and the listener thread as
    // this process names it: its handle on Windows, its thread id elsewhere (0 when the thread
    // could not be started).
    int GetPID() const;
    int GetThread() const;

private:
    // The maker behind omn_InstallInterruptHandler (a friend function would be a second
    // declaration of an exported one, which a DLL build refuses).
    friend struct vlt::detail::omn_InterruptInstaller;

    omn_InterruptListener(int signal1, int signal2, int signal3);
    omn_InterruptListener(const omn_InterruptListener&) = delete;
    omn_InterruptListener& operator=(const omn_InterruptListener&) = delete;

    static void Listen(void* listener);

    std::atomic<void (*)(int)> handler;
    int signals[3];
    void* thread = nullptr;
    int threadName = 0;
};

// A handle on the listener thread of a (usually other) process.
class VLTUTL_API omn_InterruptTrigger {
public:
    // A wrong process or thread id leaves the handle null; Interrupt() then answers false.
    omn_InterruptTrigger(int process, int thread);
    omn_InterruptTrigger(const omn_InterruptTrigger& other);
    // Deliberately without a self-assignment check; the new handle is opened before the old
    // one is closed, so assigning a trigger to itself keeps it working.
    omn_InterruptTrigger& operator=(const omn_InterruptTrigger& other);
    ~omn_InterruptTrigger();

    // Resumes the listener thread once; true when that succeeded.
    bool Interrupt() const;

private:
    void* thread;
};

// When "KSR_PATTERN" is exactly "PATTERN", "FPE" or "pattern": invalid operations, division by
// zero and overflow trap (SIGFPE), and denormal results are flushed to zero. Otherwise nothing.
VLTUTL_API void omn_enableFPE();
