// The built-in crash report: main module name + ".dmp" in the current directory, and the
// verdict that "VLT_DEBUG_POPUP" asks for.
#include "omn_Crash.h"
#include "omn_CrashPlatform.h"
#include "omn_CrashText.h"

namespace {

using namespace vlt::detail;

constexpr char popupVariable[] = "VLT_DEBUG_POPUP";
constexpr char reportSuffix[] = ".dmp";
constexpr char announcement[] = "crash report written to ";
constexpr unsigned reportOptions = omn_StackTraceModule | omn_StackTraceSymbol | omn_StackTraceLine;
constexpr unsigned reportLineLimit = 200;
constexpr unsigned errorModeUnset = ~0U;

bool popup = false;
unsigned errorMode = errorModeUnset;
// Counts over the life of the process: a second crash report gets only what is left.
unsigned reportLines = 0;
// Kept, never restored.
omn_ExceptionFilter replacedFilter = nullptr;

void WriteLine(int file, const char* line) {
    CrashWrite(file, line);
    CrashWrite(file, "\n");
}

// One line on standard error, so that whoever watches the process learns where the report is.
void Announce(int file, const char* name) {
    char path[CrashTextSize];
    if (file < 0 || !CrashAbsolutePath(name, path)) {
        return;
    }
    char line[CrashTextSize];
    CrashComposer(line).Append(announcement).Append(path).Append("\n");
    CrashWriteStandardError(line);
}

} // namespace

void omi_SetExceptionFilter() {
    if (CrashEnvironmentDefined(popupVariable)) {
        popup = true;
        omi_setErrorMode();
    }
    replacedFilter = CrashSetProcessFilter(&ExcepCallBack);
}

void omn_PrepareThreadForCrashReport() {
    CrashPrepareThread();
}

void omi_setErrorMode() {
    if (errorMode == errorModeUnset) {
        errorMode = CrashEnvironmentDefined(popupVariable) ? 0 : CrashNoFaultBox;
    }
    CrashSetErrorMode(errorMode);
}

long ExcepCallBack(omn_ExceptionPointers* pointers) {
    const long verdict = popup ? omn_ExceptionContinueSearch : omn_ExceptionExecuteHandler;
    if (!omn_InitStackTraceRoutines()) {
        return verdict;
    }
    char name[CrashTextSize];
    char path[CrashTextSize];
    CrashModulePath(nullptr, path, sizeof path);
    CrashComposer(name).Append(CrashBaseName(path)).Append(reportSuffix);
    const int file = CrashOpenReport(name);
    const char* reason = omn_GetFaultReason(pointers);
    WriteLine(file, reason == nullptr ? "" : reason);
    for (const char* line = omn_GetFirstStackTraceString(reportOptions, pointers);
         line != nullptr && reportLines < reportLineLimit;
         line = omn_GetNextStackTraceString(reportOptions, pointers)) {
        WriteLine(file, line);
        ++reportLines;
    }
    CrashWrite(file, "\n");
    omn_EnumerateLoadedModules(CrashProcessId(), file);
    CrashClose(file);
    Announce(file, name);
    return verdict;
}
