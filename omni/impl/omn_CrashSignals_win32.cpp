// The crash handler on Windows: the process's unhandled-exception filter, which hands the
// library's filter its own view of the exception, probes from the page protections, registers
// from the x86-64 context, a guaranteed stack for the report, and the report file on a C
// runtime descriptor.
#include <windows.h>

#include "omn_CrashPlatform.h"
#include "omn_CrashText.h"
#include "omn_System.h"

#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>

#include <atomic>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <iterator>

#if !defined(_M_X64) && !defined(__x86_64__)
#error "the crash handler reads x86-64 registers from the exception context"
#endif

namespace vlt::detail {
namespace {

static_assert(omn_ExceptionContinueExecution == EXCEPTION_CONTINUE_EXECUTION &&
                  omn_ExceptionContinueSearch == EXCEPTION_CONTINUE_SEARCH &&
                  omn_ExceptionExecuteHandler == EXCEPTION_EXECUTE_HANDLER,
              "the library's verdicts are the system's");
static_assert(CrashNoFaultBox == SEM_NOGPFAULTERRORBOX);

constexpr char systemModuleName[] = "NTDLL.DLL"; // holds the message texts of the status codes
// What the report may use of an overflowed stack: the symbol engine opens its session there.
constexpr ULONG handlerStackBytes = 128 * 1024;
constexpr int standardError = 2; // the C runtime's descriptor
constexpr DWORD readable = PAGE_READONLY | PAGE_READWRITE | PAGE_WRITECOPY | PAGE_EXECUTE_READ |
                           PAGE_EXECUTE_READWRITE | PAGE_EXECUTE_WRITECOPY;
constexpr DWORD writable =
    PAGE_READWRITE | PAGE_WRITECOPY | PAGE_EXECUTE_READWRITE | PAGE_EXECUTE_WRITECOPY;
constexpr DWORD executable =
    PAGE_EXECUTE | PAGE_EXECUTE_READ | PAGE_EXECUTE_READWRITE | PAGE_EXECUTE_WRITECOPY;

std::atomic<omn_ExceptionFilter> processFilter{nullptr};
LPTOP_LEVEL_EXCEPTION_FILTER systemPrevious = nullptr;
bool systemFilterInstalled = false;
// The thread that is running the library's filter, 0 for none.
std::atomic<DWORD> filteringThread{0};
bool walksReady = false;

class LastErrorKept {
public:
    LastErrorKept() : saved(SystemLastError()) {}
    ~LastErrorKept() { SystemSetLastError(saved); }
    LastErrorKept(const LastErrorKept&) = delete;
    LastErrorKept& operator=(const LastErrorKept&) = delete;

private:
    int saved;
};

// Marks the thread that runs the filter, so that a fault inside the filter is not filtered
// again: it gets the system's own handling, as a fault inside a signal handler does elsewhere.
class Filtering {
public:
    Filtering() {
        DWORD idle = 0;
        owner = filteringThread.compare_exchange_strong(idle, GetCurrentThreadId());
    }
    ~Filtering() {
        if (owner) {
            filteringThread.store(0);
        }
    }
    Filtering(const Filtering&) = delete;
    Filtering& operator=(const Filtering&) = delete;

    static bool Nested() { return filteringThread.load() == GetCurrentThreadId(); }

private:
    bool owner = false;
};

// The C runtime's signal for the kind of fault, for filters that think in signals (the runtime
// has no SIGBUS and no SIGTRAP); 0 for none.
int SignalOf(DWORD code) {
    switch (code) {
    case EXCEPTION_ACCESS_VIOLATION:
    case EXCEPTION_IN_PAGE_ERROR:
    case EXCEPTION_STACK_OVERFLOW:
    case EXCEPTION_GUARD_PAGE:
    case EXCEPTION_DATATYPE_MISALIGNMENT:
        return SIGSEGV;
    case EXCEPTION_ILLEGAL_INSTRUCTION:
    case EXCEPTION_PRIV_INSTRUCTION:
        return SIGILL;
    case EXCEPTION_ARRAY_BOUNDS_EXCEEDED:
    case EXCEPTION_FLT_DENORMAL_OPERAND:
    case EXCEPTION_FLT_DIVIDE_BY_ZERO:
    case EXCEPTION_FLT_INEXACT_RESULT:
    case EXCEPTION_FLT_INVALID_OPERATION:
    case EXCEPTION_FLT_OVERFLOW:
    case EXCEPTION_FLT_STACK_CHECK:
    case EXCEPTION_FLT_UNDERFLOW:
    case EXCEPTION_INT_DIVIDE_BY_ZERO:
    case EXCEPTION_INT_OVERFLOW:
        return SIGFPE;
    default:
        return 0;
    }
}

// A memory fault names the address it touched in its second parameter.
void* FaultAddressOf(const EXCEPTION_RECORD& system) {
    const bool memoryFault = system.ExceptionCode == EXCEPTION_ACCESS_VIOLATION ||
                             system.ExceptionCode == EXCEPTION_IN_PAGE_ERROR ||
                             system.ExceptionCode == EXCEPTION_STACK_OVERFLOW;
    if (memoryFault && system.NumberParameters >= 2) {
        return reinterpret_cast<void*>(system.ExceptionInformation[1]);
    }
    return system.ExceptionAddress;
}

omn_ExceptionRecord RecordOf(const EXCEPTION_RECORD& system) {
    omn_ExceptionRecord record{};
    record.ExceptionCode = system.ExceptionCode;
    record.ExceptionFlags = system.ExceptionFlags;
    record.ExceptionAddress = system.ExceptionAddress;
    record.Signal = SignalOf(system.ExceptionCode);
    record.SignalCode = 0;
    record.FaultAddress = FaultAddressOf(system);
    return record;
}

// "Continue the search": the filter that was installed before ours, else the system's handling.
LONG PassOn(EXCEPTION_POINTERS* system) {
    return systemPrevious == nullptr ? EXCEPTION_CONTINUE_SEARCH : systemPrevious(system);
}

LONG WINAPI OnException(EXCEPTION_POINTERS* system) {
    if (Filtering::Nested()) {
        return EXCEPTION_CONTINUE_SEARCH;
    }
    const LastErrorKept lastErrorKept;
    const Filtering filtering;
    omn_ExceptionRecord record = RecordOf(*system->ExceptionRecord);
    // The context stays the system's: a filter that resumes execution resumes at its changes.
    omn_ExceptionPointers pointers{&record, system->ContextRecord};
    const omn_ExceptionFilter filter = processFilter.load();
    const long verdict = filter == nullptr ? omn_ExceptionContinueSearch : filter(&pointers);
    return verdict == omn_ExceptionContinueSearch ? PassOn(system) : verdict;
}

void InstallSystemFilter() {
    if (!systemFilterInstalled) {
        systemFilterInstalled = true;
        systemPrevious = SetUnhandledExceptionFilter(&OnException);
    }
}

bool Allows(const MEMORY_BASIC_INFORMATION& region, DWORD wanted) {
    return region.State == MEM_COMMIT && (region.Protect & (PAGE_GUARD | PAGE_NOACCESS)) == 0 &&
           (region.Protect & wanted) != 0;
}

// The system's page query never faults: every page of the range must allow `wanted`.
bool RangeAllows(const void* address, std::size_t size, DWORD wanted) {
    if (size == 0) {
        return true;
    }
    const auto begin = reinterpret_cast<uintptr_t>(address);
    if (address == nullptr || size - 1 > UINTPTR_MAX - begin) {
        return false;
    }
    const uintptr_t last = begin + (size - 1);
    for (uintptr_t at = begin;;) {
        MEMORY_BASIC_INFORMATION region{};
        if (VirtualQuery(reinterpret_cast<const void*>(at), &region, sizeof region) == 0 ||
            !Allows(region, wanted)) {
            return false;
        }
        const uintptr_t end = reinterpret_cast<uintptr_t>(region.BaseAddress) + region.RegionSize;
        if (last < end) {
            return true;
        }
        if (end <= at) {
            return false; // the end of the address space
        }
        at = end;
    }
}

// A module's message table, read where it lies: FormatMessageA finds the same texts but takes
// the process heap, and a corrupt heap is one of the faults whose code has no standard name.
class MessageTable {
public:
    bool Loaded() const { return data != nullptr; }

    void Load(const char* moduleName) {
        const HMODULE module = GetModuleHandleA(moduleName);
        const HRSRC resource = module == nullptr
                                   ? nullptr
                                   : FindResourceA(module, MAKEINTRESOURCEA(1), RT_MESSAGETABLE);
        const HGLOBAL loaded = resource == nullptr ? nullptr : LoadResource(module, resource);
        if (loaded != nullptr) {
            data = static_cast<const unsigned char*>(LockResource(loaded));
            size = data == nullptr ? 0 : SizeofResource(module, resource);
        }
    }

    // The text of `code`, cut to `capacity` - 1 characters; false when the table has none.
    bool Find(DWORD code, char* text, std::size_t capacity) const {
        const std::size_t entry = EntryOf(code);
        MESSAGE_RESOURCE_ENTRY header{};
        if (entry == 0 || capacity == 0 || !ReadAt(entry, header) ||
            header.Length < offsetof(MESSAGE_RESOURCE_ENTRY, Text) ||
            header.Length > size - entry) {
            return false;
        }
        const bool wide = (header.Flags & unicodeEntry) != 0;
        std::size_t length = 0;
        for (std::size_t at = entry + offsetof(MESSAGE_RESOURCE_ENTRY, Text);
             length + 1 < capacity && at + (wide ? 2 : 1) <= entry + header.Length;
             at += wide ? 2 : 1) {
            const unsigned value = wide ? Read16(at) : data[at];
            if (value == 0) {
                break;
            }
            // A line ends in "\r\n" as the message call gives it, whichever way the table keeps it.
            if (value == '\n' && (length == 0 || text[length - 1] != '\r') &&
                length + 2 < capacity) {
                text[length++] = '\r';
            }
            // The texts are English: a character beyond ASCII in a wide entry is a placeholder.
            text[length++] = static_cast<char>(wide && value > 0x7F ? '?' : value);
        }
        text[length] = '\0';
        return length > 0;
    }

private:
    static constexpr WORD unicodeEntry = 0x0001; // MESSAGE_RESOURCE_UNICODE

    template <class Value>
    bool ReadAt(std::size_t offset, Value& value) const {
        if (offset > size || sizeof value > size - offset) {
            return false;
        }
        std::memcpy(&value, data + offset, sizeof value);
        return true;
    }

    unsigned Read16(std::size_t offset) const {
        WORD value = 0;
        ReadAt(offset, value);
        return value;
    }

    // The offset of the entry of `code`, 0 when there is none: the blocks hold ranges of codes,
    // and a block's entries follow one another, each as long as its first word says.
    std::size_t EntryOf(DWORD code) const {
        DWORD blocks = 0;
        if (!ReadAt(0, blocks)) {
            return 0;
        }
        for (DWORD i = 0; i < blocks; ++i) {
            MESSAGE_RESOURCE_BLOCK block{};
            if (!ReadAt(offsetof(MESSAGE_RESOURCE_DATA, Blocks) + i * sizeof block, block)) {
                return 0;
            }
            if (code >= block.LowId && code <= block.HighId) {
                return EntryIn(block, code);
            }
        }
        return 0;
    }

    std::size_t EntryIn(const MESSAGE_RESOURCE_BLOCK& block, DWORD code) const {
        std::size_t offset = block.OffsetToEntries;
        for (DWORD id = block.LowId; id < code; ++id) {
            WORD length = 0;
            if (!ReadAt(offset, length) || length == 0) {
                return 0;
            }
            offset += length;
        }
        return offset;
    }

    const unsigned char* data = nullptr;
    std::size_t size = 0;
};

MessageTable systemMessages;

} // namespace

// A failed load of the helper libraries is tried again on the next use.
bool CrashPrepare() {
    if (!systemMessages.Loaded()) {
        systemMessages.Load(systemModuleName);
    }
    if (!walksReady) {
        walksReady = CrashPrepareSymbols();
    }
    return walksReady;
}

bool CrashReadable(const void* address, std::size_t size) {
    return RangeAllows(address, size, readable);
}

bool CrashWritable(void* address, std::size_t size) {
    return RangeAllows(address, size, writable);
}

bool CrashExecutable(const void* address) {
    return RangeAllows(address, 1, executable);
}

// The system keeps the guaranteed bytes free below the overflow, for the handler to run in;
// a larger guarantee the thread already has stays. (Wine 8 records the guarantee but does not
// keep it: there an overflow ends the thread before any filter runs.)
void CrashPrepareThread() {
    ULONG bytes = handlerStackBytes;
    SetThreadStackGuarantee(&bytes);
}

omn_ExceptionFilter CrashSetProcessFilter(omn_ExceptionFilter filter) {
    CrashPrepare();
    CrashPrepareThread();
    InstallSystemFilter();
    return processFilter.exchange(filter);
}

void CrashSetErrorMode(unsigned mode) {
    SetErrorMode(mode);
}

void CrashReadRegisters(const void* context, CrashRegisters& registers) {
    const CONTEXT& values = *static_cast<const CONTEXT*>(context);
    const DWORD64 general[] = {values.Rax, values.Rbx, values.Rcx, values.Rdx,
                               values.Rsi, values.Rdi, values.Rbp, values.Rsp,
                               values.R8,  values.R9,  values.R10, values.R11,
                               values.R12, values.R13, values.R14, values.R15};
    static_assert(std::size(general) == std::size(CrashRegisters{}.general));
    for (std::size_t i = 0; i < std::size(general); ++i) {
        registers.general[i] = general[i];
    }
    registers.pc = values.Rip;
    registers.flags = values.EFlags;
    registers.cs = values.SegCs;
    registers.ds = values.SegDs;
    registers.ss = values.SegSs;
    registers.es = values.SegEs;
    registers.fs = values.SegFs;
    registers.gs = values.SegGs;
}

std::size_t CrashContextSize() {
    return sizeof(CONTEXT);
}

// As the system's message call gives it with inserts ignored: the text as the table holds it.
const char* CrashSystemMessage(uint32_t code) {
    static char message[CrashTextSize];
    return systemMessages.Find(code, message, sizeof message) ? message : nullptr;
}

// An empty value is defined too: the call then copies nothing and leaves the last error alone.
bool CrashEnvironmentDefined(const char* name) {
    const LastErrorKept lastErrorKept;
    SystemSetLastError(ERROR_SUCCESS);
    char first = 0;
    return GetEnvironmentVariableA(name, &first, 1) != 0 ||
           SystemLastError() != ERROR_ENVVAR_NOT_FOUND;
}

int CrashProcessId() {
    return static_cast<int>(GetCurrentProcessId());
}

bool CrashAbsolutePath(const char* name, char* path) {
    char directory[CrashTextSize];
    const DWORD length = GetCurrentDirectoryA(sizeof directory, directory);
    if (length == 0 || length >= sizeof directory) {
        return false;
    }
    const char last = directory[length - 1];
    const char* separator = last == '\\' || last == '/' ? "" : "\\";
    CrashComposer(path).Append(directory).Append(separator).Append(name);
    return true;
}

void CrashWriteStandardError(const char* text) {
    CrashWrite(standardError, text);
}

// A text file, as the report has always been; not inherited by programs the process starts.
int CrashOpenReport(const char* name) {
    return _open(name, _O_WRONLY | _O_CREAT | _O_TRUNC | _O_TEXT | _O_NOINHERIT,
                 _S_IREAD | _S_IWRITE);
}

// Text files end their lines in "\r\n" here, as the runtime's text mode writes them; SystemWrite
// writes the bytes as they are.
void CrashWrite(int file, const char* text) {
    if (file < 0) {
        return;
    }
    char chunk[256];
    std::size_t used = 0;
    for (const char* c = text; *c != '\0'; ++c) {
        if (used + 2 > sizeof chunk) {
            SystemWrite(file, chunk, used);
            used = 0;
        }
        if (*c == '\n') {
            chunk[used++] = '\r';
        }
        chunk[used++] = *c;
    }
    SystemWrite(file, chunk, used);
}

void CrashClose(int file) {
    if (file >= 0) {
        _close(file);
    }
}

} // namespace vlt::detail
