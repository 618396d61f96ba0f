// The interrupt listener on Windows: a time-critical thread that suspends itself (SuspendThread)
// and runs the handler each time a trigger resumes it (ResumeThread). A trigger opens the thread
// by its id for resuming only, after checking that it is a live thread of the given process and
// carries the listener's name.
//
// A resume that meets the thread awake is lost (its suspend count is already 0), so a trigger
// that finds the listener busy, in its handler or not yet asleep, tries again until the listener
// has suspended itself: every interrupt runs the handler once, as on Linux.
//
// The floating-point switch: the runtime's control word, which on x86-64 is the SSE unit's, and
// the x87 control word for long double arithmetic, as feenableexcept sets both on Linux.
#include "omn_InterruptPlatform.h"

#define NOMINMAX 1 // the value libstdc++ gives it on mingw-w64
#include <windows.h>

#include <float.h>
#include <xmmintrin.h>

#include <cwchar>
#include <new>

namespace vlt::detail {
namespace {

// How a trigger recognises the listener thread.
constexpr wchar_t listenerName[] = L"omn_Interrupt";

constexpr DWORD resumeFailed = static_cast<DWORD>(-1);
constexpr DWORD pollMilliseconds = 1;
// How long a trigger waits for a busy listener: far beyond a handler that only sets a flag.
constexpr ULONGLONG resumePatienceMilliseconds = 5000;

struct Listener {
    void (*body)(void*);
    void* context;
    HANDLE thread;
};

DWORD WINAPI RunListener(void* raw) {
    const Listener& listener = *static_cast<Listener*>(raw);
    listener.body(listener.context);
    return 0;
}

// Thread names came with Windows 10 (1607) and are looked up at run time; without them a
// trigger goes by the ids alone.
using SetDescription = HRESULT(WINAPI*)(HANDLE, PCWSTR);
using GetDescription = HRESULT(WINAPI*)(HANDLE, PWSTR*);

template <class Function>
Function KernelFunction(const char* name) {
    const HMODULE kernel = GetModuleHandleW(L"kernel32.dll");
    const FARPROC found = kernel != nullptr ? GetProcAddress(kernel, name) : nullptr;
    return reinterpret_cast<Function>(reinterpret_cast<void (*)()>(found));
}

void NameListener(HANDLE thread) {
    if (const auto setDescription = KernelFunction<SetDescription>("SetThreadDescription")) {
        setDescription(thread, listenerName);
    }
}

bool CarriesListenerName(HANDLE thread) {
    const auto getDescription = KernelFunction<GetDescription>("GetThreadDescription");
    if (getDescription == nullptr) {
        return true;
    }
    PWSTR name = nullptr;
    if (FAILED(getDescription(thread, &name))) {
        return false;
    }
    const bool named = name != nullptr && std::wcscmp(name, listenerName) == 0;
    LocalFree(name);
    return named;
}

// A wrong id must never wake an unrelated thread that someone else holds suspended.
bool IsListenerOf(HANDLE thread, int process) {
    DWORD exitCode = 0;
    return GetProcessIdOfThread(thread) == static_cast<DWORD>(process) &&
           GetExitCodeThread(thread, &exitCode) && exitCode == STILL_ACTIVE &&
           CarriesListenerName(thread);
}

bool ResumeOnceAsleep(HANDLE thread) {
    const ULONGLONG deadline = GetTickCount64() + resumePatienceMilliseconds;
    for (;;) {
        const DWORD previousCount = ResumeThread(thread);
        if (previousCount == resumeFailed) {
            return false;
        }
        if (previousCount > 0) {
            return true;
        }
        if (GetTickCount64() >= deadline) {
            return false;
        }
        Sleep(pollMilliseconds);
    }
}

// The runtime's _controlfp sets the SSE unit only on x86-64; the x87 unit gets the same traps
// here, with its pending flags cleared first so that an old one does not fire at the next x87
// instruction.
void TrapOnX87() {
    constexpr unsigned short exceptionMasks = 0x3F;
    constexpr unsigned short denormalUnderflowInexact = 0x02 | 0x10 | 0x20;
    unsigned short control = 0;
    __asm__ volatile("fnclex");
    __asm__ volatile("fnstcw %0" : "=m"(control));
    control = static_cast<unsigned short>((control & ~exceptionMasks) | denormalUnderflowInexact);
    __asm__ volatile("fldcw %0" : : "m"(control));
}

} // namespace

void* InterruptStartListener(void (*body)(void*), void* context, int& threadName) {
    threadName = 0;
    auto* listener = new (std::nothrow) Listener{body, context, nullptr};
    if (listener == nullptr) {
        return nullptr;
    }
    // Started suspended so that it runs at its priority and under its name from the first
    // instruction.
    listener->thread = CreateThread(nullptr, 0, RunListener, listener, CREATE_SUSPENDED, nullptr);
    if (listener->thread == nullptr) {
        delete listener;
        return nullptr;
    }
    SetThreadPriority(listener->thread, THREAD_PRIORITY_TIME_CRITICAL);
    NameListener(listener->thread);
    ResumeThread(listener->thread);
    // Handle values are small multiples of four, well within an int.
    threadName = static_cast<int>(reinterpret_cast<INT_PTR>(listener->thread));
    return listener;
}

void InterruptAwaitResume() {
    SuspendThread(GetCurrentThread());
}

void InterruptResumeListener(void* listener) {
    ResumeThread(static_cast<Listener*>(listener)->thread);
}

// The wake-up may have met the thread busy and been lost: it is repeated until the thread ends.
void InterruptJoinListener(void* listener) {
    auto* joined = static_cast<Listener*>(listener);
    while (WaitForSingleObject(joined->thread, pollMilliseconds) == WAIT_TIMEOUT) {
        ResumeThread(joined->thread);
    }
    CloseHandle(joined->thread);
    delete joined;
}

void* InterruptOpenThread(int process, int thread) {
    if (process <= 0 || thread <= 0) {
        return nullptr; // negative values are the pseudo-handles, which name the caller's own
    }
    const HANDLE owner = OpenProcess(PROCESS_DUP_HANDLE, FALSE, static_cast<DWORD>(process));
    if (owner == nullptr) {
        return nullptr;
    }
    // First with the right to ask whose thread it is: the value may name anything in the owner.
    HANDLE examined = nullptr;
    const BOOL duplicated = DuplicateHandle(
        owner, reinterpret_cast<HANDLE>(static_cast<INT_PTR>(thread)), GetCurrentProcess(),
        &examined, THREAD_SUSPEND_RESUME | THREAD_QUERY_LIMITED_INFORMATION, FALSE, 0);
    CloseHandle(owner);
    if (!duplicated) {
        return nullptr;
    }
    HANDLE opened = nullptr;
    // The trigger keeps the right to suspend and resume only.
    if (IsListenerOf(examined, process) &&
        !DuplicateHandle(GetCurrentProcess(), examined, GetCurrentProcess(), &opened,
                         THREAD_SUSPEND_RESUME, FALSE, 0)) {
        opened = nullptr;
    }
    CloseHandle(examined);
    return opened;
}

void* InterruptDuplicateThread(void* opened) {
    HANDLE duplicate = nullptr;
    if (opened == nullptr || !DuplicateHandle(GetCurrentProcess(), opened, GetCurrentProcess(),
                                              &duplicate, 0, FALSE, DUPLICATE_SAME_ACCESS)) {
        return nullptr;
    }
    return duplicate;
}

bool InterruptResumeThread(void* opened) {
    return opened != nullptr && ResumeOnceAsleep(opened);
}

void InterruptCloseThread(void* opened) {
    if (opened != nullptr) {
        CloseHandle(opened);
    }
}

int InterruptCurrentProcess() {
    return static_cast<int>(GetCurrentProcessId());
}

// The SSE unit also gets the Linux half's bits whatever the runtime makes of _MCW_DN: the
// denormal exception masked and results flushed to zero.
void FloatingPointTrapAndFlush() {
    _clearfp();
    _controlfp(_EM_DENORMAL | _EM_UNDERFLOW | _EM_INEXACT, _MCW_EM);
    _controlfp(_DN_FLUSH, _MCW_DN);
    _mm_setcsr(_mm_getcsr() | _MM_MASK_DENORM | _MM_FLUSH_ZERO_ON);
    TrapOnX87();
}

} // namespace vlt::detail
