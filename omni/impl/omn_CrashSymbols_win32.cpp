// The crash handler's stack walks, modules, symbols and source lines on Windows.
//
// The debugging-help library ("IMAGEHLP.DLL") walks the stack and finds symbols and source
// lines; the process-status library ("PSAPI.DLL") lists and names the modules. Both are loaded
// by name at run time and their entry points looked up by name: without the first there are no
// walks and no symbols, without the second no module names and no module list. A module's
// handle is its base address, and the system's page query tells which image holds an address
// without taking the loader's lock.
//
// The symbol engine opens its session at the first report that needs it, not at preparation:
// it then knows every module loaded by that time, and a process that never faults does not pay
// for the enumeration. The engine allocates as it loads symbols (deferred loading); everything
// this file keeps is static.
#include <windows.h>

#include <dbghelp.h>
#include <psapi.h>

#include "omn_CrashPlatform.h"
#include "omn_CrashText.h"
#include "omn_System.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace vlt::detail {
namespace {

constexpr char imagehlpName[] = "IMAGEHLP.DLL";
constexpr char psapiName[] = "PSAPI.DLL";
constexpr DWORD deferredLoadsAndLines = SYMOPT_DEFERRED_LOADS | SYMOPT_LOAD_LINES; // 0x14
constexpr std::size_t moduleLimit = 1024;

// On x86-64 the debugging-help names are the 64-bit entry points that the system's headers
// give them there (StackWalk is StackWalk64, SymGetSymFromAddr is SymGetSymFromAddr64, ...), and
// walks use IMAGE_FILE_MACHINE_AMD64 with the x86-64 CONTEXT where 32-bit code used the i386 ones.
struct Imagehlp {
    decltype(&::SymGetOptions) getOptions;
    decltype(&::SymGetLineFromAddr64) lineFromAddress;
    decltype(&::SymInitialize) initialize;
    decltype(&::SymSetOptions) setOptions;
    decltype(&::SymFunctionTableAccess64) functionTableAccess;
    decltype(&::StackWalk64) stackWalk;
    decltype(&::SymGetSymFromAddr64) symbolFromAddress;
    decltype(&::SymGetModuleBase64) moduleBase;
    // Required with the others; the module list comes from the process-status library, which
    // fills a caller's array where this one allocates.
    decltype(&::EnumerateLoadedModules64) enumerateModules;
};
Imagehlp imagehlp;
bool imagehlpLoaded = false;
bool sessionOpen = false;

struct Psapi {
    decltype(&::EnumProcessModules) enumerateModules;
    // Required with the others; base names are cut from the full paths.
    decltype(&::GetModuleBaseNameA) baseName;
    decltype(&::GetModuleFileNameExA) fileName;
};
Psapi psapi;
bool psapiLoaded = false;

// StackWalk64 unwinds the context it is given, so a walk works on a copy; the frame record
// carries the walk from one step to the next.
CONTEXT walkContext;
STACKFRAME64 walkFrame;

// The symbol record with room for its name after the header, and the line record.
alignas(IMAGEHLP_SYMBOL64) char symbolRecord[sizeof(IMAGEHLP_SYMBOL64) + CrashSymbolLimit];
IMAGEHLP_LINE64 lineRecord;

CrashSourceInfo slots[CrashSlotCount];
HMODULE moduleList[moduleLimit];

// Through the one function-pointer type that converts to any other without a warning.
template <class Function>
bool Resolve(HMODULE library, const char* name, Function& function) {
    const FARPROC address = GetProcAddress(library, name);
    function = reinterpret_cast<Function>(reinterpret_cast<void (*)()>(address));
    return address != nullptr;
}

// In the order the entry points have always been looked up; loaded only when all are found.
bool LoadImagehlp() {
    const HMODULE library = LoadLibraryA(imagehlpName);
    return library != nullptr && Resolve(library, "SymGetOptions", imagehlp.getOptions) &&
           Resolve(library, "SymGetLineFromAddr64", imagehlp.lineFromAddress) &&
           Resolve(library, "SymInitialize", imagehlp.initialize) &&
           Resolve(library, "SymSetOptions", imagehlp.setOptions) &&
           Resolve(library, "SymFunctionTableAccess64", imagehlp.functionTableAccess) &&
           Resolve(library, "StackWalk64", imagehlp.stackWalk) &&
           Resolve(library, "SymGetSymFromAddr64", imagehlp.symbolFromAddress) &&
           Resolve(library, "SymGetModuleBase64", imagehlp.moduleBase) &&
           Resolve(library, "EnumerateLoadedModules64", imagehlp.enumerateModules);
}

// Loaded at most once and never unloaded; a failed load is tried again on the next use.
bool LoadPsapi() {
    if (!psapiLoaded) {
        const HMODULE library = LoadLibraryA(psapiName);
        psapiLoaded = library != nullptr &&
                      Resolve(library, "EnumProcessModules", psapi.enumerateModules) &&
                      Resolve(library, "GetModuleBaseNameA", psapi.baseName) &&
                      Resolve(library, "GetModuleFileNameExA", psapi.fileName);
    }
    return psapiLoaded;
}

// The engine reads the process's modules through its session key, so the key is the current
// process's pseudo-handle, the same in every call: a process identifier is refused.
HANDLE SessionKey() {
    return GetCurrentProcess();
}

// Once per process: closing a session only clears the library's flag, and the engine would
// ignore a second initialisation anyway.
bool OpenSession() {
    if (!sessionOpen && imagehlpLoaded) {
        imagehlp.setOptions(imagehlp.getOptions() | deferredLoadsAndLines);
        sessionOpen = imagehlp.initialize(SessionKey(), nullptr, TRUE) != FALSE;
    }
    return sessionOpen;
}

// The walk's memory reader: this process, whatever the walk says, without faulting.
BOOL CALLBACK ReadMemory(HANDLE, DWORD64 address, PVOID buffer, DWORD size, LPDWORD read) {
    unsigned done = 0;
    const int ok = omn_ReadProcessMemory(CrashProcessId(), reinterpret_cast<const void*>(address),
                                         buffer, size, &done);
    if (read != nullptr) {
        *read = done;
    }
    return ok != 0 ? TRUE : FALSE;
}

void SeedWalk(const CONTEXT& context) {
    walkContext = context;
    walkFrame = STACKFRAME64{};
    walkFrame.AddrPC.Offset = context.Rip;
    walkFrame.AddrPC.Mode = AddrModeFlat;
    walkFrame.AddrFrame.Offset = context.Rbp;
    walkFrame.AddrFrame.Mode = AddrModeFlat;
    walkFrame.AddrStack.Offset = context.Rsp;
    walkFrame.AddrStack.Mode = AddrModeFlat;
}

bool StepWalk() {
    return imagehlp.stackWalk(IMAGE_FILE_MACHINE_AMD64, SessionKey(), GetCurrentThread(),
                              &walkFrame, &walkContext, &ReadMemory, imagehlp.functionTableAccess,
                              imagehlp.moduleBase, nullptr) != FALSE &&
           walkFrame.AddrPC.Offset != 0;
}

char* SymbolName() {
    return symbolRecord + offsetof(IMAGEHLP_SYMBOL64, Name);
}

void LookUpSymbol(uintptr_t address, CrashSourceInfo& info) {
    auto* const symbol = reinterpret_cast<IMAGEHLP_SYMBOL64*>(symbolRecord);
    std::memset(symbolRecord, 0, sizeof symbolRecord);
    symbol->SizeOfStruct = sizeof(IMAGEHLP_SYMBOL64);
    symbol->MaxNameLength = CrashSymbolLimit;
    DWORD64 displacement = 0;
    if (imagehlp.symbolFromAddress(SessionKey(), address, &displacement, symbol)) {
        SystemCopyText(info.symbol, sizeof info.symbol, SymbolName());
        info.symbolStart = address - displacement;
        info.hasSymbol = true;
    }
}

void LookUpLine(uintptr_t address, CrashSourceInfo& info) {
    lineRecord = IMAGEHLP_LINE64{};
    lineRecord.SizeOfStruct = sizeof lineRecord;
    DWORD displacement = 0;
    if (imagehlp.lineFromAddress(SessionKey(), address, &displacement, &lineRecord) &&
        lineRecord.FileName != nullptr) {
        SystemCopyText(info.file, sizeof info.file, lineRecord.FileName);
        info.lineStart = address - displacement;
        info.line = lineRecord.LineNumber;
        info.hasLine = true;
    }
}

// The image's extent from its own headers; 0 when they cannot be read.
uintptr_t ImageSize(HMODULE module) {
    const auto* const base = reinterpret_cast<const unsigned char*>(module);
    IMAGE_DOS_HEADER dos{};
    if (!CrashReadable(base, sizeof dos)) {
        return 0;
    }
    std::memcpy(&dos, base, sizeof dos);
    IMAGE_NT_HEADERS nt{};
    if (dos.e_magic != IMAGE_DOS_SIGNATURE || dos.e_lfanew <= 0 ||
        !CrashReadable(base + dos.e_lfanew, sizeof nt)) {
        return 0;
    }
    std::memcpy(&nt, base + dos.e_lfanew, sizeof nt);
    return nt.Signature == IMAGE_NT_SIGNATURE ? nt.OptionalHeader.SizeOfImage : 0;
}

} // namespace

bool CrashPrepareSymbols() {
    if (!imagehlpLoaded) {
        imagehlpLoaded = LoadImagehlp();
    }
    LoadPsapi();
    return imagehlpLoaded;
}

// The frame of each step is where the caller's stack pointer stood, the next step's stack
// address: the four parameter words of the frame's function lie there (its home area). The
// frame-pointer register says nothing in code built without frame pointers, so it does not end
// walks; the last frame has only its own stack address.
std::size_t CrashWalk(const void* context, CrashFrame* frames, std::size_t capacity) {
    if (capacity == 0 || !OpenSession()) {
        return 0;
    }
    SeedWalk(*static_cast<const CONTEXT*>(context));
    std::size_t count = 0;
    for (bool more = StepWalk(); more && count < capacity; ++count) {
        const uintptr_t pc = walkFrame.AddrPC.Offset;
        const uintptr_t stack = walkFrame.AddrStack.Offset;
        more = StepWalk();
        frames[count] = {pc, more ? static_cast<uintptr_t>(walkFrame.AddrStack.Offset) : stack,
                         count > 0};
    }
    return count;
}

void* CrashModuleOf(const void* address) {
    MEMORY_BASIC_INFORMATION region{};
    if (address == nullptr || VirtualQuery(address, &region, sizeof region) == 0 ||
        region.State != MEM_COMMIT || region.Type != MEM_IMAGE) {
        return nullptr;
    }
    return region.AllocationBase;
}

std::size_t CrashModulePath(void* module, char* path, std::size_t size) {
    if (size == 0 || !LoadPsapi()) {
        return 0;
    }
    const auto room = static_cast<DWORD>(std::min<std::size_t>(size, MAXDWORD));
    const DWORD length =
        psapi.fileName(GetCurrentProcess(), static_cast<HMODULE>(module), path, room);
    if (length == 0) {
        path[0] = '\0';
        return 0;
    }
    path[std::min<std::size_t>(length, size - 1)] = '\0';
    return std::strlen(path);
}

// The main program first, then the others in load order; at most moduleLimit of them.
void CrashEachModule(CrashModuleVisitor visit, void* state) {
    DWORD bytes = 0;
    if (!LoadPsapi() ||
        !psapi.enumerateModules(GetCurrentProcess(), moduleList, sizeof moduleList, &bytes)) {
        return;
    }
    const std::size_t count = std::min<std::size_t>(bytes / sizeof(HMODULE), moduleLimit);
    char path[CrashTextSize];
    for (std::size_t i = 0; i < count; ++i) {
        const HMODULE module = moduleList[i];
        CrashModulePath(module, path, sizeof path);
        const auto begin = reinterpret_cast<uintptr_t>(module);
        visit(state, module, path, begin, begin + ImageSize(module));
    }
}

bool CrashModulesAvailable() {
    return LoadPsapi();
}

const CrashModuleErrors crashModuleErrors{ERROR_DLL_INIT_FAILED, ERROR_INSUFFICIENT_BUFFER,
                                          ERROR_INVALID_PARAMETER};

void CrashResolve(const uintptr_t* addresses, std::size_t count, std::size_t first) {
    if (first >= CrashSlotCount) {
        return;
    }
    count = std::min(count, CrashSlotCount - first);
    const bool open = OpenSession();
    for (std::size_t i = 0; i < count; ++i) {
        CrashSourceInfo& info = slots[first + i];
        info.hasSymbol = false;
        info.hasLine = false;
        if (open) {
            LookUpSymbol(addresses[i], info);
            LookUpLine(addresses[i], info);
        }
    }
}

const CrashSourceInfo& CrashResolved(std::size_t slot) {
    static const CrashSourceInfo none{};
    return slot >= CrashSlotCount ? none : slots[slot];
}

} // namespace vlt::detail
