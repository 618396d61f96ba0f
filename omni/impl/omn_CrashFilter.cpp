// The crash-handler filter: the program's own filter, restricted to a set of limit modules,
// with every other fault handed to the filter that was installed before.
#include "omn_Crash.h"
#include "omn_CrashPlatform.h"
#include "omn_Diag.h"
#include "omn_DiagPlatform.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

using namespace vlt::detail;

constexpr uint32_t stackOverflowCode = 0xC00000FD;
constexpr const char* stackOverflowBanner[] = {
    "!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!\n",
    "EXCEPTION_STACK_OVERFLOW occurred\n",
    "!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!\n",
};

omn_ExceptionFilter userFilter = nullptr;
omn_ExceptionFilter previousFilter = nullptr;
bool installed = false;

// Every addition makes a larger copy. Slot 0 of each array keeps the array it replaced: old
// arrays are not released while the filter is installed, since a fault on another thread may
// still be reading one.
void** limitArrays = nullptr;
unsigned limitModuleCount = 0;

void** LimitModules() {
    return limitArrays == nullptr ? nullptr : limitArrays + 1;
}

void ReleaseLimitArrays() {
    while (limitArrays != nullptr) {
        void** const replaced = static_cast<void**>(limitArrays[0]);
        std::free(limitArrays);
        limitArrays = replaced;
    }
}

// The debugger channel of the diagnostics facility: the client's sink, else the platform's.
void DebuggerWrite(const char* text) {
    const omn_DiagDebuggerSink sink = omn_SetDiagDebuggerSink(nullptr);
    omn_SetDiagDebuggerSink(sink);
    if (sink != nullptr) {
        sink(text);
    } else {
        DiagDebuggerWrite(text);
    }
}

bool IsExecutable(omn_ExceptionFilter filter) {
    return filter != nullptr && CrashExecutable(reinterpret_cast<const void*>(filter));
}

// A fault whose module cannot be found is not ours.
bool IsOurs(const void* address) {
    if (limitModuleCount == 0) {
        return true;
    }
    void* const module = CrashModuleOf(address);
    void** const modules = LimitModules();
    if (module == nullptr || modules == nullptr) {
        return false;
    }
    for (unsigned i = 0; i < limitModuleCount; ++i) {
        if (modules[i] == module) {
            return true;
        }
    }
    return false;
}

} // namespace

omn_ExceptionFilter omn_SetUnhandledExceptionFilter(omn_ExceptionFilter filter) {
    return CrashSetProcessFilter(filter);
}

int omn_SetCrashHandlerFilter(omn_ExceptionFilter filter) {
    if (filter != nullptr) {
        if (!IsExecutable(filter)) {
            return 0;
        }
        userFilter = filter;
        if (!installed) {
            previousFilter = CrashSetProcessFilter(&omn_CrashHandlerExceptionFilter);
            installed = true;
        }
        return 1;
    }
    if (installed) {
        CrashSetProcessFilter(previousFilter);
        previousFilter = nullptr;
        installed = false;
        ReleaseLimitArrays();
        userFilter = nullptr;
    }
    return 1;
}

int omn_AddCrashHandlerLimitModule(void* module) {
    if (module == nullptr) {
        return 0;
    }
    auto* const grown = static_cast<void**>(std::calloc(limitModuleCount + 2, sizeof(void*)));
    if (grown == nullptr) {
        return 0;
    }
    if (void** const modules = LimitModules()) {
        std::memcpy(grown + 1, modules, limitModuleCount * sizeof(void*));
    }
    grown[0] = limitArrays;
    grown[1 + limitModuleCount] = module;
    limitArrays = grown;
    ++limitModuleCount;
    return 1;
}

unsigned omn_GetLimitModuleCount() {
    return limitModuleCount;
}

int omn_GetLimitModulesArray(void** buffer, unsigned size) {
    if (!CrashWritable(buffer, std::size_t{size} * sizeof(void*))) {
        return -1;
    }
    if (size < limitModuleCount) {
        return -2;
    }
    // After a removal the count stands but the modules are gone: those entries read null.
    void** const modules = LimitModules();
    for (unsigned i = 0; i < limitModuleCount; ++i) {
        buffer[i] = modules == nullptr ? nullptr : modules[i];
    }
    return 1;
}

long omn_CrashHandlerExceptionFilter(omn_ExceptionPointers* pointers) {
    if (pointers == nullptr || !CrashReadable(pointers, sizeof *pointers) ||
        !CrashReadable(pointers->ExceptionRecord, sizeof *pointers->ExceptionRecord)) {
        return omn_ExceptionContinueSearch;
    }
    if (pointers->ExceptionRecord->ExceptionCode == stackOverflowCode) {
        for (const char* line : stackOverflowBanner) {
            DebuggerWrite(line);
        }
    }
    long verdict = omn_ExceptionContinueSearch;
    if (userFilter == nullptr) {
        return verdict;
    }
    omn_InitSymEng();
    if (IsOurs(pointers->ExceptionRecord->ExceptionAddress)) {
        if (IsExecutable(userFilter)) {
            verdict = userFilter(pointers);
        }
    } else if (IsExecutable(previousFilter)) {
        verdict = previousFilter(pointers);
    }
    omn_CleanupSymEng();
    return verdict;
}
