// The crash handler on POSIX: the unhandled-exception filter as signal handlers on an
// alternate stack, the signals mapped to exception codes, probes that never fault, registers
// from the ucontext, and the report file written with write(2).
#include "omn_CrashPlatform.h"
#include "omn_CrashText.h"
#include "omn_System.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <ucontext.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iterator>

#if !defined(__x86_64__)
#error "the crash handler reads x86-64 registers from the signal context"
#endif

namespace vlt::detail {
namespace {

constexpr std::size_t altStackSize = 256 * 1024;
constexpr std::size_t probeChunk = 4096; // written to the probe pipe at once, atomically
// A memory fault this close below the stack pointer is an overflowed stack.
constexpr uintptr_t overflowReach = 1024 * 1024;
constexpr uintptr_t overflowSlack = 4096;
constexpr unsigned long contextHoldsSs = 0x2; // the kernel's UC_SIGCONTEXT_SS

// Exception codes of the faults a signal stands for.
enum ExceptionCode : uint32_t {
    misalignment = 0x80000002,
    breakpoint = 0x80000003,
    singleStep = 0x80000004,
    accessViolation = 0xC0000005,
    inPageError = 0xC0000006,
    illegalInstruction = 0xC000001D,
    boundsExceeded = 0xC000008C,
    floatDivideByZero = 0xC000008E,
    floatInexact = 0xC000008F,
    floatInvalid = 0xC0000090,
    floatOverflow = 0xC0000091,
    floatUnderflow = 0xC0000093,
    integerDivideByZero = 0xC0000094,
    integerOverflow = 0xC0000095,
    privilegedInstruction = 0xC0000096,
    stackOverflow = 0xC00000FD,
    fatalApplicationExit = 0x40000015, // an abort: no standard name, the system's text
};

std::atomic<omn_ExceptionFilter> processFilter{nullptr};
struct sigaction previousActions[NSIG]; // by signal number
bool handlersInstalled = false;
std::atomic<unsigned> errorMode{0};
bool prepared = false;
bool walksReady = false;
int probe[2] = {-1, -1};

class ErrnoKept {
public:
    ErrnoKept() : saved(errno) {}
    ~ErrnoKept() { errno = saved; }
    ErrnoKept(const ErrnoKept&) = delete;
    ErrnoKept& operator=(const ErrnoKept&) = delete;

private:
    int saved;
};

const greg_t* Registers(const void* context) {
    return static_cast<const ucontext_t*>(context)->uc_mcontext.gregs;
}

bool IsStackOverflow(uintptr_t address, uintptr_t stackPointer) {
    return address + overflowReach >= stackPointer && address < stackPointer + overflowSlack;
}

uint32_t FloatingPointCode(int code) {
    switch (code) {
    case FPE_INTDIV:
        return integerDivideByZero;
    case FPE_INTOVF:
        return integerOverflow;
    case FPE_FLTDIV:
        return floatDivideByZero;
    case FPE_FLTOVF:
        return floatOverflow;
    case FPE_FLTUND:
        return floatUnderflow;
    case FPE_FLTRES:
        return floatInexact;
    case FPE_FLTSUB:
        return boundsExceeded;
    default:
        return floatInvalid;
    }
}

uint32_t ExceptionCodeOf(int signal, const siginfo_t& info, uintptr_t stackPointer) {
    switch (signal) {
    case SIGSEGV:
        return IsStackOverflow(reinterpret_cast<uintptr_t>(info.si_addr), stackPointer)
                   ? stackOverflow
                   : accessViolation;
    case SIGBUS:
        return info.si_code == BUS_ADRALN ? misalignment : inPageError;
    case SIGILL:
        return info.si_code == ILL_PRVOPC || info.si_code == ILL_PRVREG ? privilegedInstruction
                                                                        : illegalInstruction;
    case SIGFPE:
        return FloatingPointCode(info.si_code);
    case SIGTRAP:
        return info.si_code == TRAP_TRACE ? singleStep : breakpoint;
    default:
        return fatalApplicationExit;
    }
}

[[noreturn]] void EndQuietly(int signal) {
    _exit(omn_CrashExitBase + signal);
}

// "Continue the search": the handler that was there before ours, else the default action.
void PassOn(int signal, siginfo_t* info, void* context) {
    const struct sigaction& previous = previousActions[signal];
    if ((previous.sa_flags & SA_SIGINFO) != 0 && previous.sa_sigaction != nullptr) {
        previous.sa_sigaction(signal, info, context);
        return;
    }
    if ((previous.sa_flags & SA_SIGINFO) == 0 && previous.sa_handler != SIG_DFL &&
        previous.sa_handler != SIG_IGN) {
        previous.sa_handler(signal);
        return;
    }
    if ((errorMode.load() & CrashNoFaultBox) != 0) {
        EndQuietly(signal);
    }
    struct sigaction defaultAction {};
    defaultAction.sa_handler = SIG_DFL;
    sigaction(signal, &defaultAction, nullptr);
    // Blocked while this handler runs, so it takes its default action as the handler returns.
    raise(signal);
}

void OnFault(int signal, siginfo_t* info, void* context) {
    const ErrnoKept errnoKept;
    const greg_t* registers = Registers(context);
    omn_ExceptionRecord record{};
    record.ExceptionCode =
        ExceptionCodeOf(signal, *info, static_cast<uintptr_t>(registers[REG_RSP]));
    record.ExceptionAddress = reinterpret_cast<void*>(registers[REG_RIP]);
    record.Signal = signal;
    record.SignalCode = info->si_code;
    record.FaultAddress = info->si_addr;
    omn_ExceptionPointers pointers{&record, context};
    const omn_ExceptionFilter filter = processFilter.load();
    const long verdict = filter == nullptr ? omn_ExceptionContinueSearch : filter(&pointers);
    if (verdict == omn_ExceptionExecuteHandler) {
        EndQuietly(signal);
    }
    if (verdict != omn_ExceptionContinueExecution) {
        PassOn(signal, info, context);
    }
}

void InstallHandlers() {
    if (handlersInstalled) {
        return;
    }
    handlersInstalled = true;
    struct sigaction action {};
    action.sa_sigaction = &OnFault;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    for (const int signal : SystemFaultSignals()) {
        sigaddset(&action.sa_mask, signal);
    }
    for (const int signal : SystemFaultSignals()) {
        sigaction(signal, &action, &previousActions[signal]);
    }
}

// The alternate stack this thread made, given back when the thread ends.
struct OwnedAltStack {
    void* memory = nullptr;
    ~OwnedAltStack() {
        if (memory != nullptr) {
            stack_t off{};
            off.ss_flags = SS_DISABLE;
            sigaltstack(&off, nullptr);
            munmap(memory, altStackSize);
        }
    }
};
thread_local OwnedAltStack ownedAltStack;

// A thread keeps a large enough alternate stack it already has (a sanitizer's, say).
void EnsureAlternateStack() {
    stack_t current{};
    if (sigaltstack(nullptr, &current) == 0 && (current.ss_flags & SS_DISABLE) == 0 &&
        current.ss_size >= altStackSize) {
        return;
    }
    void* const memory = mmap(nullptr, altStackSize, PROT_READ | PROT_WRITE,
                              MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
    if (memory == MAP_FAILED) {
        return;
    }
    stack_t stack{};
    stack.ss_sp = memory;
    stack.ss_size = altStackSize;
    if (sigaltstack(&stack, nullptr) != 0) {
        munmap(memory, altStackSize);
        return;
    }
    ownedAltStack.memory = memory;
}

// The kernel tells whether it may read the bytes: a write from them into a pipe fails with
// EFAULT instead of faulting. `restore` then writes them back, which tests writability.
bool Probe(const void* address, std::size_t size, bool restore) {
    if (size == 0) {
        return true;
    }
    if (address == nullptr || !CrashPrepare()) {
        return false;
    }
    const ErrnoKept errnoKept;
    const auto* bytes = static_cast<const char*>(address);
    char scratch[probeChunk];
    for (std::size_t done = 0; done < size;) {
        const std::size_t chunk = size - done < probeChunk ? size - done : probeChunk;
        if (write(probe[1], bytes + done, chunk) != static_cast<ssize_t>(chunk)) {
            return false;
        }
        void* const target = restore ? const_cast<char*>(bytes + done) : scratch;
        if (read(probe[0], target, chunk) != static_cast<ssize_t>(chunk)) {
            while (read(probe[0], scratch, sizeof scratch) > 0) {
            }
            return false;
        }
        done += chunk;
    }
    return true;
}

uint16_t Segment(uint64_t packed, int index) {
    return static_cast<uint16_t>(packed >> (16 * index));
}

// DS and ES are not in the signal context; in 64-bit mode they are the same for every context.
uint16_t LiveDs() {
    uint16_t value = 0;
    asm volatile("mov %%ds, %0" : "=r"(value));
    return value;
}
uint16_t LiveEs() {
    uint16_t value = 0;
    asm volatile("mov %%es, %0" : "=r"(value));
    return value;
}
uint16_t LiveSs() {
    uint16_t value = 0;
    asm volatile("mov %%ss, %0" : "=r"(value));
    return value;
}

} // namespace

bool CrashPrepare() {
    if (!prepared) {
        prepared = true;
        if (pipe2(probe, O_CLOEXEC | O_NONBLOCK) != 0) {
            probe[0] = probe[1] = -1;
        }
        walksReady = CrashPrepareSymbols();
    }
    return walksReady && probe[0] >= 0;
}

bool CrashReadable(const void* address, std::size_t size) {
    return Probe(address, size, false);
}

bool CrashWritable(void* address, std::size_t size) {
    return Probe(address, size, true);
}

void CrashPrepareThread() {
    EnsureAlternateStack();
}

omn_ExceptionFilter CrashSetProcessFilter(omn_ExceptionFilter filter) {
    CrashPrepare();
    EnsureAlternateStack();
    InstallHandlers();
    return processFilter.exchange(filter);
}

void CrashSetErrorMode(unsigned mode) {
    errorMode.store(mode);
}

void CrashReadRegisters(const void* context, CrashRegisters& registers) {
    constexpr int order[] = {REG_RAX, REG_RBX, REG_RCX, REG_RDX, REG_RSI, REG_RDI,
                             REG_RBP, REG_RSP, REG_R8,  REG_R9,  REG_R10, REG_R11,
                             REG_R12, REG_R13, REG_R14, REG_R15};
    const greg_t* values = Registers(context);
    for (std::size_t i = 0; i < std::size(order); ++i) {
        registers.general[i] = static_cast<uint64_t>(values[order[i]]);
    }
    registers.pc = static_cast<uint64_t>(values[REG_RIP]);
    registers.flags = static_cast<uint64_t>(values[REG_EFL]);
    const auto segments = static_cast<uint64_t>(values[REG_CSGSFS]);
    registers.cs = Segment(segments, 0);
    registers.gs = Segment(segments, 1);
    registers.fs = Segment(segments, 2);
    const bool holdsSs = (static_cast<const ucontext_t*>(context)->uc_flags & contextHoldsSs) != 0;
    registers.ss = holdsSs ? Segment(segments, 3) : LiveSs();
    registers.ds = LiveDs();
    registers.es = LiveEs();
}

std::size_t CrashContextSize() {
    return sizeof(ucontext_t);
}

const char* CrashSystemMessage(uint32_t code) {
    return code == fatalApplicationExit ? sigdescr_np(SIGABRT) : nullptr;
}

bool CrashEnvironmentDefined(const char* name) {
    return std::getenv(name) != nullptr;
}

int CrashProcessId() {
    return static_cast<int>(getpid());
}

// getcwd into a caller's buffer is a plain system call: no allocation on the crash path.
bool CrashAbsolutePath(const char* name, char* path) {
    char directory[CrashTextSize];
    if (getcwd(directory, sizeof directory) == nullptr) {
        return false;
    }
    const std::size_t length = std::strlen(directory);
    const char* separator = length > 0 && directory[length - 1] == '/' ? "" : "/";
    CrashComposer(path).Append(directory).Append(separator).Append(name);
    return true;
}

void CrashWriteStandardError(const char* text) {
    CrashWrite(STDERR_FILENO, text);
}

int CrashOpenReport(const char* name) {
    return open(name, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
}

void CrashWrite(int file, const char* text) {
    if (file >= 0) {
        SystemWrite(file, text, std::strlen(text));
    }
}

void CrashClose(int file) {
    if (file >= 0) {
        close(file);
    }
}

} // namespace vlt::detail
