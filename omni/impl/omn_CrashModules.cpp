// The crash handler's module queries: the loaded-module list of a report, module handles and
// names, and reading memory without faulting.
#include "omn_Crash.h"
#include "omn_CrashPlatform.h"
#include "omn_CrashText.h"
#include "omn_System.h"

#include <cstring>

namespace {

using namespace vlt::detail;

void WriteModuleLine(void* state, void*, const char* path, uintptr_t begin, uintptr_t end) {
    char line[CrashTextSize];
    CrashComposer(line)
        .Append(path)
        .Append(":\t")
        .AppendHex(begin, CrashAddressDigits)
        .Append(" - ")
        .AppendHex(end, CrashAddressDigits)
        .Append("\n");
    CrashWrite(*static_cast<const int*>(state), line);
}

struct ModuleList {
    void** modules;
    unsigned capacity;
    unsigned count;
};

void CollectModule(void* state, void* module, const char*, uintptr_t, uintptr_t) {
    auto& list = *static_cast<ModuleList*>(state);
    if (list.count < list.capacity) {
        list.modules[list.count] = module;
    }
    ++list.count;
}

unsigned CopyCut(const char* text, char* buffer, unsigned size) {
    return buffer == nullptr ? 0 : static_cast<unsigned>(SystemCopyText(buffer, size, text));
}

// The module library first, then the process, as the system's own queries check them.
bool CanQueryModules(int process) {
    if (!CrashModulesAvailable()) {
        SystemSetLastError(crashModuleErrors.noLibrary);
        return false;
    }
    if (process != CrashProcessId()) {
        SystemSetLastError(crashModuleErrors.otherProcess);
        return false;
    }
    return true;
}

} // namespace

void omn_EnumerateLoadedModules(int process, int file) {
    if (process == CrashProcessId()) {
        CrashEachModule(&WriteModuleLine, &file);
    }
}

int omn_GetLoadedModules(int process, unsigned capacity, void** modules, unsigned* count) {
    if (!CanQueryModules(process)) {
        return 0;
    }
    ModuleList list{capacity == 0 ? nullptr : modules, capacity, 0};
    CrashEachModule(&CollectModule, &list);
    if (count != nullptr) {
        *count = list.count;
    }
    if (list.count == 0) {
        return 0;
    }
    if (capacity != 0 && list.count > capacity) {
        SystemSetLastError(crashModuleErrors.moreModules);
        return 0;
    }
    SystemSetLastError(0);
    return 1;
}

unsigned omn_GetModuleFileNameEx(int process, void* module, char* buffer, unsigned size) {
    char path[CrashTextSize];
    if (!CanQueryModules(process) || CrashModulePath(module, path, sizeof path) == 0) {
        return 0;
    }
    return CopyCut(path, buffer, size);
}

unsigned omn_GetModuleBaseName(int process, void* module, char* buffer, unsigned size) {
    char path[CrashTextSize];
    if (!CanQueryModules(process) || CrashModulePath(module, path, sizeof path) == 0) {
        return 0;
    }
    return CopyCut(CrashBaseName(path), buffer, size);
}

int omn_ReadProcessMemory(int, const void* address, void* buffer, unsigned size, unsigned* read) {
    const bool readable = CrashReadable(address, size) && CrashWritable(buffer, size);
    if (readable) {
        std::memcpy(buffer, address, size);
    }
    if (read != nullptr) {
        *read = readable ? size : 0;
    }
    return readable ? 1 : 0;
}
