// The crash handler's stack walks, modules, symbols and source lines on POSIX.
//
// Walks unwind with the compiler's unwinder from inside the signal handler, through the signal
// frame, and fall back to the frame-pointer chain for a context that is not on the current
// stack. Modules come from the dynamic loader (dladdr1, dl_iterate_phdr). Symbols and source
// lines need the heap, which a crashed process must not touch: a helper process, forked with
// _Fork (no fork handlers, async-signal-safe), looks them up with libdw and writes them into
// a shared mapping made at preparation. If it hangs (the heap lock was held), it is killed and
// the report carries the loader's exported symbols only.
#include "omn_CrashPlatform.h"
#include "omn_DiagPlatform.h"
#include "omn_System.h"

#include <cxxabi.h>
#include <dlfcn.h>
#include <elf.h>
#include <link.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <ucontext.h>
#include <unistd.h>
#include <unwind.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <new>

namespace vlt::detail {
namespace {

constexpr char libdwName[] = "libdw.so.1";
constexpr std::size_t programPathLimit = 4095;
constexpr long helperPollNanoseconds = 1'000'000;
constexpr int helperPollLimit = 10'000; // 10 s at most for the helper's answers

char programPath[programPathLimit + 1];

// The few libdw functions, resolved at preparation. Pointers to its opaque types are void*.
struct Libdw {
    void* (*begin)(const void* callbacks);
    void (*end)(void* dwfl);
    int (*procReport)(void* dwfl, pid_t pid);
    int (*reportEnd)(void* dwfl, void* removed, void* argument);
    void* (*addrModule)(void* dwfl, uint64_t address);
    const char* (*addrInfo)(void* module, uint64_t address, uint64_t* offset, Elf64_Sym* symbol,
                            uint32_t* section, void** elf, uint64_t* bias);
    void* (*getSource)(void* module, uint64_t address);
    const char* (*lineInfo)(void* line, uint64_t* address, int* lineNumber, int* column,
                            uint64_t* modified, uint64_t* length);
    void* findElf;
    void* findDebugInfo;
};
Libdw libdw;
bool haveLibdw = false;

// The layout of libdw's Dwfl_Callbacks.
struct DwflCallbacks {
    void* findElf;
    void* findDebugInfo;
    void* sectionAddress;
    char** debugInfoPath;
};

// Shared with the helper process.
struct SharedSlots {
    std::atomic<int> done;
    CrashSourceInfo slots[CrashSlotCount];
};
SharedSlots* shared = nullptr;

template <class Function>
bool Resolve(void* library, const char* name, Function& function) {
    void* const symbol = dlsym(library, name);
    function = reinterpret_cast<Function>(symbol);
    return symbol != nullptr;
}

bool LoadLibdw() {
    void* const library = dlopen(libdwName, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        return false;
    }
    const bool complete = Resolve(library, "dwfl_begin", libdw.begin) &&
                          Resolve(library, "dwfl_end", libdw.end) &&
                          Resolve(library, "dwfl_linux_proc_report", libdw.procReport) &&
                          Resolve(library, "dwfl_report_end", libdw.reportEnd) &&
                          Resolve(library, "dwfl_addrmodule", libdw.addrModule) &&
                          Resolve(library, "dwfl_module_addrinfo", libdw.addrInfo) &&
                          Resolve(library, "dwfl_module_getsrc", libdw.getSource) &&
                          Resolve(library, "dwfl_lineinfo", libdw.lineInfo) &&
                          Resolve(library, "dwfl_linux_proc_find_elf", libdw.findElf) &&
                          Resolve(library, "dwfl_standard_find_debuginfo", libdw.findDebugInfo);
    // Loaded once and never unloaded, like everything the report path calls.
    return complete;
}

// --- stack walks ---

struct Collector {
    uintptr_t interruptedPc;
    bool started;
    CrashFrame* frames;
    std::size_t capacity;
    std::size_t count;
};

// Skips the frames of the handler itself, up to the interrupted one.
_Unwind_Reason_Code CollectFrame(_Unwind_Context* context, void* state) {
    auto& collector = *static_cast<Collector*>(state);
    int beforeInstruction = 0;
    const uintptr_t pc = _Unwind_GetIPInfo(context, &beforeInstruction);
    if (!collector.started) {
        collector.started = pc == collector.interruptedPc && beforeInstruction != 0;
        if (!collector.started) {
            return _URC_NO_REASON;
        }
    }
    if (collector.count == collector.capacity || pc == 0) {
        return _URC_END_OF_STACK;
    }
    collector.frames[collector.count++] = {pc, _Unwind_GetCFA(context), beforeInstruction == 0};
    return _URC_NO_REASON;
}

_Unwind_Reason_Code CountFrame(_Unwind_Context*, void* state) {
    ++*static_cast<std::size_t*>(state);
    return _URC_NO_REASON;
}

// A context from elsewhere: the frame-pointer chain, as far as it leads upwards.
std::size_t WalkFramePointers(const greg_t* registers, CrashFrame* frames, std::size_t capacity) {
    constexpr uintptr_t linkSize = 2 * sizeof(uintptr_t);
    auto framePointer = static_cast<uintptr_t>(registers[REG_RBP]);
    frames[0] = {static_cast<uintptr_t>(registers[REG_RIP]), framePointer + linkSize, false};
    std::size_t count = 1;
    uintptr_t link[2];
    while (count < capacity && CrashReadable(reinterpret_cast<void*>(framePointer), linkSize)) {
        std::memcpy(link, reinterpret_cast<void*>(framePointer), linkSize);
        if (link[1] == 0) {
            break;
        }
        frames[count++] = {link[1], framePointer + linkSize, true};
        if (link[0] <= framePointer) {
            break;
        }
        framePointer = link[0];
    }
    return count;
}

// --- modules ---

struct Segments {
    uintptr_t begin;
    uintptr_t end;
    bool executable;
};

template <class Visit>
void EachSegment(const dl_phdr_info& info, Visit visit) {
    for (ElfW(Half) i = 0; i < info.dlpi_phnum; ++i) {
        const ElfW(Phdr)& header = info.dlpi_phdr[i];
        if (header.p_type == PT_LOAD) {
            const uintptr_t begin = info.dlpi_addr + header.p_vaddr;
            visit(Segments{begin, begin + header.p_memsz, (header.p_flags & PF_X) != 0});
        }
    }
}

// readlink(2) is safe anywhere; an empty answer is asked again next time.
const char* ProgramPath() {
    if (programPath[0] == '\0' && !DiagProgramPath(programPath, programPathLimit)) {
        programPath[0] = '\0';
    }
    return programPath;
}

const char* PathOf(const char* loaderName) {
    return loaderName == nullptr || loaderName[0] == '\0' ? ProgramPath() : loaderName;
}

struct ModuleVisit {
    CrashModuleVisitor visit;
    void* state;
};

int VisitModule(dl_phdr_info* info, std::size_t, void* data) {
    Segments extent{~uintptr_t{0}, 0, false};
    EachSegment(*info, [&](const Segments& segment) {
        extent.begin = segment.begin < extent.begin ? segment.begin : extent.begin;
        extent.end = segment.end > extent.end ? segment.end : extent.end;
    });
    if (extent.begin < extent.end) {
        const auto& visit = *static_cast<ModuleVisit*>(data);
        visit.visit(visit.state, CrashModuleOf(reinterpret_cast<void*>(extent.begin)),
                    PathOf(info->dlpi_name), extent.begin, extent.end);
    }
    return 0;
}

struct ExecutableSearch {
    uintptr_t address;
    bool found;
};

int FindExecutable(dl_phdr_info* info, std::size_t, void* data) {
    auto& search = *static_cast<ExecutableSearch*>(data);
    EachSegment(*info, [&](const Segments& segment) {
        search.found = search.found || (segment.executable && segment.begin <= search.address &&
                                        search.address < segment.end);
    });
    return search.found ? 1 : 0;
}

// --- symbols and lines ---

// The name without its symbol version and parameter list, as the report shows it
// ("ns::Class::Member").
void CopySymbolName(const char* versioned, char* target) {
    char mangled[CrashSymbolLimit + 1];
    SystemCopyText(mangled, sizeof mangled, versioned);
    if (char* const version = std::strchr(mangled, '@')) {
        *version = '\0';
    }
    int status = 0;
    char* const demangled = abi::__cxa_demangle(mangled, nullptr, nullptr, &status);
    if (status != 0 || demangled == nullptr) {
        SystemCopyText(target, CrashSymbolLimit + 1, mangled);
        return;
    }
    std::size_t length = std::strlen(demangled);
    const char* const close = std::strrchr(demangled, ')');
    if (close != nullptr && std::strpbrk(close, ":}>") == nullptr) {
        int depth = 0;
        for (const char* c = close; c >= demangled; --c) {
            depth += *c == ')' ? 1 : (*c == '(' ? -1 : 0);
            if (depth == 0) {
                length = static_cast<std::size_t>(c - demangled);
                break;
            }
        }
    }
    demangled[length] = '\0';
    SystemCopyText(target, CrashSymbolLimit + 1, demangled);
    std::free(demangled);
}

void LookUp(void* dwfl, uintptr_t address, CrashSourceInfo& info) {
    void* const module = libdw.addrModule(dwfl, address);
    if (module == nullptr) {
        return;
    }
    uint64_t offset = 0;
    Elf64_Sym symbol{};
    uint32_t section = 0;
    void* elf = nullptr;
    uint64_t bias = 0;
    if (const char* name =
            libdw.addrInfo(module, address, &offset, &symbol, &section, &elf, &bias)) {
        CopySymbolName(name, info.symbol);
        info.symbolStart = address - offset;
        info.hasSymbol = true;
    }
    if (void* const line = libdw.getSource(module, address)) {
        uint64_t lineStart = 0;
        int lineNumber = 0;
        int column = 0;
        uint64_t modified = 0;
        uint64_t length = 0;
        if (const char* file =
                libdw.lineInfo(line, &lineStart, &lineNumber, &column, &modified, &length)) {
            SystemCopyText(info.file, sizeof info.file, file);
            info.lineStart = lineStart;
            info.line = static_cast<uint32_t>(lineNumber);
            info.hasLine = true;
        }
    }
}

// Runs in the helper process: anything goes, it only answers through the shared slots.
[[noreturn]] void AnswerLookUps(const uintptr_t* addresses, std::size_t count, std::size_t first) {
    for (const int signal : SystemFaultSignals()) {
        ::signal(signal, SIG_DFL);
    }
    char* debugInfoPath = nullptr;
    const DwflCallbacks callbacks{libdw.findElf, libdw.findDebugInfo, nullptr, &debugInfoPath};
    if (void* const dwfl = libdw.begin(&callbacks)) {
        if (libdw.procReport(dwfl, getpid()) == 0 && libdw.reportEnd(dwfl, nullptr, nullptr) == 0) {
            for (std::size_t i = 0; i < count; ++i) {
                LookUp(dwfl, addresses[i], shared->slots[first + i]);
            }
        }
        libdw.end(dwfl);
    }
    shared->done.store(1, std::memory_order_release);
    _exit(0);
}

void Pause() {
    const timespec pause{0, helperPollNanoseconds};
    nanosleep(&pause, nullptr);
}

// Waits for the helper to end, or kills it when it takes too long; true when it answered.
bool AwaitHelper(pid_t helper) {
    for (int i = 0; i < helperPollLimit; ++i) {
        if (waitpid(helper, nullptr, WNOHANG) == helper || kill(helper, 0) != 0) {
            return shared->done.load(std::memory_order_acquire) != 0;
        }
        Pause();
    }
    kill(helper, SIGKILL);
    waitpid(helper, nullptr, 0);
    return false;
}

void ClearSlots(std::size_t count, std::size_t first) {
    for (std::size_t i = 0; i < count; ++i) {
        CrashSourceInfo& info = shared->slots[first + i];
        info.hasSymbol = false;
        info.hasLine = false;
    }
}

void LookUpInHelper(const uintptr_t* addresses, std::size_t count, std::size_t first) {
    shared->done.store(0);
    const pid_t helper = _Fork();
    if (helper == 0) {
        AnswerLookUps(addresses, count, first);
    }
    if (helper < 0 || !AwaitHelper(helper)) {
        ClearSlots(count, first);
    }
}

// Without libdw or its answer: the loader's exported symbols.
void FillFromLoader(uintptr_t address, CrashSourceInfo& info) {
    Dl_info loaderInfo{};
    if (info.hasSymbol || dladdr(reinterpret_cast<void*>(address), &loaderInfo) == 0 ||
        loaderInfo.dli_sname == nullptr) {
        return;
    }
    SystemCopyText(info.symbol, sizeof info.symbol, loaderInfo.dli_sname);
    info.symbolStart = reinterpret_cast<uintptr_t>(loaderInfo.dli_saddr);
    info.hasSymbol = true;
}

} // namespace

bool CrashPrepareSymbols() {
    ProgramPath();
    void* const memory = mmap(nullptr, sizeof(SharedSlots), PROT_READ | PROT_WRITE,
                              MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        return false;
    }
    shared = new (memory) SharedSlots{};
    haveLibdw = LoadLibdw();
    // The unwinder sets itself up on its first walk; that must not happen inside a fault.
    std::size_t frames = 0;
    _Unwind_Backtrace(&CountFrame, &frames);
    Dl_info info{};
    dladdr(reinterpret_cast<void*>(&CrashPrepareSymbols), &info);
    return frames > 0;
}

bool CrashExecutable(const void* address) {
    ExecutableSearch search{reinterpret_cast<uintptr_t>(address), false};
    dl_iterate_phdr(&FindExecutable, &search);
    return search.found;
}

std::size_t CrashWalk(const void* context, CrashFrame* frames, std::size_t capacity) {
    if (capacity == 0) {
        return 0;
    }
    const greg_t* registers = static_cast<const ucontext_t*>(context)->uc_mcontext.gregs;
    Collector collector{static_cast<uintptr_t>(registers[REG_RIP]), false, frames, capacity, 0};
    _Unwind_Backtrace(&CollectFrame, &collector);
    return collector.started ? collector.count : WalkFramePointers(registers, frames, capacity);
}

void* CrashModuleOf(const void* address) {
    Dl_info info{};
    link_map* map = nullptr;
    if (dladdr1(address, &info, reinterpret_cast<void**>(&map), RTLD_DL_LINKMAP) == 0) {
        return nullptr;
    }
    return map;
}

std::size_t CrashModulePath(void* module, char* path, std::size_t size) {
    const char* name = module == nullptr ? ProgramPath() : nullptr;
    for (const link_map* map = _r_debug.r_map; map != nullptr && name == nullptr;
         map = map->l_next) {
        if (map == module) {
            name = PathOf(map->l_name);
        }
    }
    if (name == nullptr || size == 0) {
        return 0;
    }
    SystemCopyText(path, size, name);
    return std::strlen(path);
}

void CrashEachModule(CrashModuleVisitor visit, void* state) {
    ModuleVisit data{visit, state};
    dl_iterate_phdr(&VisitModule, &data);
}

bool CrashModulesAvailable() {
    return true; // the loader's own list
}

const CrashModuleErrors crashModuleErrors{ENOSYS, ERANGE, ESRCH};

void CrashResolve(const uintptr_t* addresses, std::size_t count, std::size_t first) {
    if (shared == nullptr || first >= CrashSlotCount) {
        return;
    }
    count = count < CrashSlotCount - first ? count : CrashSlotCount - first;
    ClearSlots(count, first);
    if (haveLibdw) {
        LookUpInHelper(addresses, count, first);
    }
    for (std::size_t i = 0; i < count; ++i) {
        FillFromLoader(addresses[i], shared->slots[first + i]);
    }
}

const CrashSourceInfo& CrashResolved(std::size_t slot) {
    static const CrashSourceInfo none{};
    return shared == nullptr || slot >= CrashSlotCount ? none : shared->slots[slot];
}

} // namespace vlt::detail
