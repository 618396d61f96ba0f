#include "ChildProcess.h"
#include "TestPlatform.h"
#include "omn_Crash.h"
#include "omn_Diag.h"
#include "omn_Interrupt.h"
#include "utl_Modules.h"

#include <gtest/gtest.h>

#if defined(_WIN32)
#define WIN32_LEAN_AND_MEAN
#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>
#include <windows.h>
#else
#include <dlfcn.h>
#include <fcntl.h>
#include <ucontext.h>
#include <unistd.h>
#endif

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

// The functions that fault must keep their own frames and names.
#if defined(__clang__)
#define VLT_TEST_OWN_FRAME __attribute__((noinline))
#else
#define VLT_TEST_OWN_FRAME __attribute__((noipa))
#endif

namespace {

constexpr int userExit = 21;
constexpr int previousExit = 22;
constexpr char popupVariable[] = "VLT_DEBUG_POPUP";
constexpr char directoryVariable[] = "VLT_TEST_CRASH_DIRECTORY";
constexpr uint32_t accessViolationCode = 0xC0000005;
constexpr uint32_t stackOverflowCode = 0xC00000FD;
constexpr char stackOverflowBanner[] = "!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!\n"
                                       "EXCEPTION_STACK_OVERFLOW occurred\n"
                                       "!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!\n";

// Read at run time so that the compiler sees neither the bad address nor the zero.
volatile std::uintptr_t unmappedAddress = 16;
volatile int zero = 0;
volatile int endless = 1 << 30;

VLT_TEST_OWN_FRAME void WriteThrough(int value) {
    *reinterpret_cast<volatile int*>(unmappedAddress) = value;
}

VLT_TEST_OWN_FRAME void MiddleCall(int value) {
    WriteThrough(value + 1);
    asm volatile("" ::: "memory");
}

VLT_TEST_OWN_FRAME void OuterCall(int value) {
    MiddleCall(value + 1);
    asm volatile("" ::: "memory");
}

// In assembly: the language leaves a division by zero undefined, the processor traps.
VLT_TEST_OWN_FRAME int DivideIntegers(int dividend, int divisor) {
    asm volatile("cltd\n\tidivl %1" : "+a"(dividend) : "r"(divisor) : "edx", "cc");
    return dividend;
}

VLT_TEST_OWN_FRAME double DivideFloats(double dividend, double divisor) {
    return dividend / divisor;
}

VLT_TEST_OWN_FRAME int Recurse(int depth) {
    volatile char frame[256];
    frame[0] = static_cast<char>(depth);
    const int below = depth > 0 ? Recurse(depth - 1) : 0;
    return below + frame[0];
}

VLT_TEST_OWN_FRAME void FaultBelow(int depth) {
    if (depth > 0) {
        FaultBelow(depth - 1);
    } else {
        WriteThrough(depth);
    }
    asm volatile("" ::: "memory");
}

VLT_TEST_OWN_FRAME void CallAbort() {
    std::abort();
}

VLT_TEST_OWN_FRAME void FaultTarget() {
    asm volatile("" ::: "memory");
}

std::string ProgramName() {
    return std::filesystem::path(vlt::test::ProgramPath()).filename().string();
}

#if defined(_WIN32)
constexpr char libraryFile[] = "libVLTutl.dll";
#else
constexpr char libraryFile[] = "libVLTutl.so";
#endif

// How a process ends when the report's verdict ends it: 128 + the signal on Linux, the
// exception code on Windows.
int FaultExit([[maybe_unused]] int signal, [[maybe_unused]] uint32_t exceptionCode) {
#if defined(_WIN32)
    return static_cast<int>(exceptionCode);
#else
    return omn_CrashExitBase + signal;
#endif
}

// Why an overflowed stack cannot be reported here, or null.
const char* OverflowUnreported() {
    return vlt::test::UnderWine()
               ? "Wine 8 raises the overflow with under a page of stack left, whatever stack "
                 "the thread was guaranteed, and ends the thread when its own dispatcher "
                 "overflows again, before any filter runs"
               : nullptr;
}

// Writes at once, without the C library's buffers, as a crash filter may; false on failure.
bool WriteStandardError(const char* text) {
#if defined(_WIN32)
    return _write(2, text, static_cast<unsigned>(std::strlen(text))) >= 0;
#else
    return write(STDERR_FILENO, text, std::strlen(text)) >= 0;
#endif
}

void DebuggerToStandardError(const char* text) {
    WriteStandardError(text);
}

bool RedirectStandardError(const std::string& path) {
#if defined(_WIN32)
    const int file =
        _open(path.c_str(), _O_WRONLY | _O_CREAT | _O_TRUNC | _O_BINARY, _S_IREAD | _S_IWRITE);
    return file >= 0 && _dup2(file, 2) == 0;
#else
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    return file >= 0 && dup2(file, STDERR_FILENO) >= 0;
#endif
}

// The function `name` of a loaded module, or null.
void (*ModuleFunction(void* module, const char* name))() {
    if (module == nullptr) {
        return nullptr;
    }
#if defined(_WIN32)
    return reinterpret_cast<void (*)()>(GetProcAddress(static_cast<HMODULE>(module), name));
#else
    return reinterpret_cast<void (*)()>(dlsym(module, name));
#endif
}

// Each dying case runs in a child process inside a fresh directory, with its standard error
// in "stderr.txt" there. On Windows the child runs the test again: it takes the parent's
// directory from the environment instead of making its own.
class CrashChild : public testing::Test {
protected:
    void SetUp() override {
        if (vlt::test::InRerunChild()) {
            const char* const parents = std::getenv(directoryVariable);
            ASSERT_NE(parents, nullptr);
            directory = parents;
            return;
        }
        owned.emplace("vlt_crash");
        directory = owned->Path();
        vlt::test::SetEnvironment(directoryVariable, directory.c_str());
    }

    void TearDown() override {
        if (owned) {
            vlt::test::SetEnvironment(directoryVariable, nullptr);
        }
    }

    // The child's exit code (see RunInChild).
    int RunChild(const std::function<int()>& body, const std::string& program = {}) const {
        return vlt::test::RunInChild(
            [&] {
                std::error_code failed;
                std::filesystem::current_path(directory, failed);
                if (failed || !RedirectStandardError(directory + "/stderr.txt")) {
                    return 100;
                }
                vlt::test::SetEnvironment(popupVariable, nullptr);
                return body();
            },
            program);
    }

    std::string Read(const std::string& name) const {
        std::ifstream file(directory + "/" + name);
        std::ostringstream text;
        text << file.rdbuf();
        return text.str();
    }

    std::vector<std::string> ReportLines() const {
        std::vector<std::string> lines;
        std::istringstream report(Read(ProgramName() + ".dmp"));
        for (std::string line; std::getline(report, line);) {
            lines.push_back(line);
        }
        return lines;
    }

    // The stack lines: between the fault reason and the first empty line.
    std::vector<std::string> StackLines() const {
        const std::vector<std::string> lines = ReportLines();
        std::vector<std::string> stack;
        for (std::size_t i = 1; i < lines.size() && !lines[i].empty(); ++i) {
            stack.push_back(lines[i]);
        }
        return stack;
    }

    std::string directory;

private:
    std::optional<vlt::test::TempDirectory> owned;
};

// A function's symbol in a stack line. Wine's symbol engine leaves the anonymous namespace out.
std::regex SymbolOf(const std::string& function) {
    return std::regex(", (\\(anonymous namespace\\)::)?" + function + "\\b");
}

struct FaultCase {
    const char* name;
    std::function<void()> body;
    int signal;
    uint32_t exceptionCode;
    const char* exception;
    const char* module; // null: the test program
    std::vector<const char*> frames;
    const char* unreported; // why this platform cannot report the fault, or null
};

void PrintTo(const FaultCase& fault, std::ostream* out) {
    *out << fault.name;
}

class CrashReportOfFault : public CrashChild, public testing::WithParamInterface<FaultCase> {};

TEST_P(CrashReportOfFault, NamesTheExceptionAndWalksThroughTheFaultingFunctions) {
    const FaultCase& fault = GetParam();
    if (fault.unreported != nullptr) {
        GTEST_SKIP() << fault.unreported;
    }
    const int exitCode = RunChild([&] {
        omi_SetExceptionFilter();
        fault.body();
        return 0;
    });
    EXPECT_EQ(exitCode, FaultExit(fault.signal, fault.exceptionCode));
    const std::string report =
        (std::filesystem::canonical(directory) / (ProgramName() + ".dmp")).string();
    EXPECT_NE(Read("stderr.txt").find("crash report written to " + report + "\n"),
              std::string::npos)
        << Read("stderr.txt");

    const std::vector<std::string> lines = ReportLines();
    ASSERT_FALSE(lines.empty());
    const std::string program = ProgramName();
    const std::string module = fault.module == nullptr ? program : fault.module;
    // The symbol is pinned where the fault is in the test's own code. Inside the C library
    // there is one only on a machine with that library's debugging symbols; without it the
    // line ends after the address, as published.
    const std::string symbol = fault.module == nullptr ? ", \\S" : "(, \\S|$)";
    EXPECT_TRUE(std::regex_search(lines[0], std::regex("^" + program + " caused an " +
                                                       fault.exception + " in module " + module +
                                                       " at [0-9A-F]{4}:[0-9A-F]{16}" + symbol)))
        << lines[0];

    const std::vector<std::string> stack = StackLines();
    ASSERT_FALSE(stack.empty());
    const std::regex stackLine("^[0-9A-F]{4}:[0-9A-F]{16} \\S+");
    std::size_t next = 0;
    for (const std::string& line : stack) {
        EXPECT_TRUE(std::regex_search(line, stackLine)) << line;
        if (next < fault.frames.size() && std::regex_search(line, SymbolOf(fault.frames[next]))) {
            EXPECT_NE(line.find("omn_Crash_test.cpp, line "), std::string::npos) << line;
            ++next;
        }
    }
    EXPECT_EQ(next, fault.frames.size()) << "missing frame " << fault.frames[next];
}

#if defined(_WIN32)
constexpr const char* abortUnreported = "abort() ends a Windows process without an exception";
#else
constexpr const char* abortUnreported = nullptr;
#endif

const FaultCase faultCases[] = {
    {"AccessViolation",
     [] { OuterCall(1); },
     SIGSEGV,
     accessViolationCode,
     "EXCEPTION_ACCESS_VIOLATION",
     nullptr,
     {"WriteThrough", "MiddleCall", "OuterCall"},
     nullptr},
    {"IntegerDivision",
     [] { DivideIntegers(1, zero); },
     SIGFPE,
     0xC0000094,
     "EXCEPTION_INT_DIVIDE_BY_ZERO",
     nullptr,
     {"DivideIntegers"},
     nullptr},
    {"TrappedFloatDivision",
     [] {
         vlt::test::SetEnvironment("KSR_PATTERN", "FPE");
         omn_enableFPE();
         DivideFloats(1.0, zero);
     },
     SIGFPE,
     0xC000008E,
     "EXCEPTION_FLT_DIVIDE_BY_ZERO",
     nullptr,
     {"DivideFloats"},
     nullptr},
    {"StackOverflow",
     [] { Recurse(endless); },
     SIGSEGV,
     stackOverflowCode,
     "EXCEPTION_STACK_OVERFLOW",
     nullptr,
     {"Recurse", "Recurse"},
     OverflowUnreported()},
    {"Abort",
     [] { CallAbort(); },
     SIGABRT,
     0x40000015,
     "Aborted",
     "libc.so.6",
     {"CallAbort"},
     abortUnreported},
};

INSTANTIATE_TEST_SUITE_P(Faults, CrashReportOfFault, testing::ValuesIn(faultCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(CrashChild, DeepStackGivesExactly200StackLinesThenTheLoadedModules) {
    RunChild([] {
        omi_SetExceptionFilter();
        FaultBelow(300);
        return 0;
    });
    EXPECT_EQ(StackLines().size(), 200U);
    const std::vector<std::string> lines = ReportLines();
    const std::size_t blank = 1 + StackLines().size();
    ASSERT_LT(blank + 1, lines.size());
    EXPECT_EQ(lines[blank], "");
    const std::regex moduleLine("^.+:\t[0-9A-F]{16} - [0-9A-F]{16}$");
    const std::string program = vlt::test::ProgramPath();
    EXPECT_EQ(lines[blank + 1].rfind(program + ":\t", 0), 0U) << lines[blank + 1];
    bool library = false;
    for (std::size_t i = blank + 1; i < lines.size(); ++i) {
        EXPECT_TRUE(std::regex_match(lines[i], moduleLine)) << lines[i];
        library = library || lines[i].find(libraryFile) != std::string::npos;
    }
    EXPECT_TRUE(library);
}

#if defined(_WIN32)
// A copy of the test program that Wine loads without the debugging-help and process-status
// libraries: its per-program load order ("" is disabled) is read when a process starts.
class ProgramWithoutSystemLibraries {
public:
    ProgramWithoutSystemLibraries() {
        const std::filesystem::path own = vlt::test::ProgramPath();
        copy = own.parent_path() / name;
        std::filesystem::copy_file(own, copy, std::filesystem::copy_options::overwrite_existing);
        HKEY key = nullptr;
        const std::string overrides = settings + "\\DllOverrides";
        if (RegCreateKeyExA(HKEY_CURRENT_USER, overrides.c_str(), 0, nullptr, 0, KEY_SET_VALUE,
                            nullptr, &key, nullptr) == ERROR_SUCCESS) {
            for (const char* library : {"imagehlp", "psapi"}) {
                RegSetValueExA(key, library, 0, REG_SZ, reinterpret_cast<const BYTE*>(""), 1);
            }
            RegCloseKey(key);
        }
    }
    ~ProgramWithoutSystemLibraries() {
        std::error_code ignored;
        std::filesystem::remove(copy, ignored);
        RegDeleteTreeA(HKEY_CURRENT_USER, settings.c_str());
    }
    std::string Path() const { return copy.string(); }

private:
    static constexpr char name[] = "vlt_without_system_libraries.exe";
    const std::string settings = std::string("Software\\Wine\\AppDefaults\\") + name;
    std::filesystem::path copy;
};

TEST_F(CrashChild, WithoutTheSystemLibrariesTheReportIsSkippedAndTheVerdictStands) {
    if (!vlt::test::UnderWine()) {
        GTEST_SKIP() << "only Wine can take the system's libraries away from one program";
    }
    constexpr int librariesFound = 101;
    constexpr int wrongModuleError = 102;
    constexpr int initialisationFailed = 1114; // the system's code for a library not loaded
    std::optional<ProgramWithoutSystemLibraries> program;
    if (!vlt::test::InRerunChild()) {
        program.emplace();
    }
    const int exitCode = RunChild(
        [] {
            if (omn_InitStackTraceRoutines()) {
                return librariesFound;
            }
            unsigned count = 0;
            if (omn_GetLoadedModules(vlt::test::ProcessId(), 0, nullptr, &count) != 0 ||
                vlt::test::SystemError() != initialisationFailed) {
                return wrongModuleError;
            }
            omi_SetExceptionFilter();
            OuterCall(1);
            return 0;
        },
        program ? program->Path() : std::string());
    EXPECT_EQ(exitCode, FaultExit(SIGSEGV, accessViolationCode));
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        EXPECT_NE(entry.path().extension(), ".dmp") << entry.path();
    }
}
#endif

// The fault goes on to the handling that was there before the report: here a handler of the
// test's own, which stands for the system's and ends the child in its own way.
TEST_F(CrashChild, PopupLeavesTheFaultToTheSystemAfterTheReport) {
#if defined(_WIN32)
    GTEST_SKIP() << "the system's handling would wait for the user (Wine starts its debugger)";
#endif
    const int exitCode = RunChild([] {
        vlt::test::SetEnvironment(popupVariable, "");
        std::signal(SIGSEGV, [](int) { std::_Exit(previousExit); });
        omi_SetExceptionFilter();
        OuterCall(1);
        return 0;
    });
    EXPECT_EQ(exitCode, previousExit);
    EXPECT_FALSE(ReportLines().empty());
}

// The debugger channel goes to standard error here, as it does by default on Linux only.
TEST_F(CrashChild, StackOverflowSendsTheBannerBeforeTheUserFilter) {
    if (const char* const unreported = OverflowUnreported()) {
        GTEST_SKIP() << unreported;
    }
    const int exitCode = RunChild([] {
        omn_SetDiagDebuggerSink(&DebuggerToStandardError);
        omn_SetCrashHandlerFilter(&ExcepCallBack);
        Recurse(endless);
        return 0;
    });
    EXPECT_EQ(exitCode, FaultExit(SIGSEGV, stackOverflowCode));
    EXPECT_EQ(Read("stderr.txt").substr(0, sizeof stackOverflowBanner - 1), stackOverflowBanner);
}

// The fault signal of an overflow runs on the thread that overflowed: without a stack of its
// own there, the process would end with no report.
TEST_F(CrashChild, StackOverflowOnAPreparedSecondThreadIsReported) {
    if (const char* const unreported = OverflowUnreported()) {
        GTEST_SKIP() << unreported;
    }
    const int exitCode = RunChild([] {
        omi_SetExceptionFilter();
        std::thread worker([] {
            omn_PrepareThreadForCrashReport();
            Recurse(endless);
        });
        worker.join();
        return 0;
    });
    EXPECT_EQ(exitCode, FaultExit(SIGSEGV, stackOverflowCode));
    const std::vector<std::string> lines = ReportLines();
    ASSERT_FALSE(lines.empty());
    EXPECT_NE(lines[0].find(" caused an EXCEPTION_STACK_OVERFLOW in module "), std::string::npos)
        << lines[0];
}

TEST_F(CrashChild, OmniInitialisationInstallsTheReport) {
    const int exitCode = RunChild([] {
        int tally = 0;
        omni_initialize(tally);
        return omn_SetUnhandledExceptionFilter(nullptr) == &ExcepCallBack ? 0 : 1;
    });
    EXPECT_EQ(exitCode, 0);
}

long UserFilter(omn_ExceptionPointers*) {
    std::_Exit(userExit);
}

long PreviousFilter(omn_ExceptionPointers*) {
    std::_Exit(previousExit);
}

struct LimitCase {
    const char* name;
    bool limitToModule;
    bool faultInModule;
    int exit;
};

class CrashLimitModules : public CrashChild, public testing::WithParamInterface<LimitCase> {};

TEST_P(CrashLimitModules, SendFaultsOutsideThemToThePreviousFilter) {
    const LimitCase& limit = GetParam();
    const int exitCode = RunChild([&] {
        void* const module = vlt::test::LoadModule(VLT_TEST_CRASH_MODULE);
        const auto write = reinterpret_cast<void (*)(volatile int*, int)>(
            ModuleFunction(module, "vlt_test_crash_module_write"));
        if (write == nullptr) {
            return 101;
        }
        omn_SetUnhandledExceptionFilter(&PreviousFilter);
        omn_SetCrashHandlerFilter(&UserFilter);
        if (limit.limitToModule) {
            omn_AddCrashHandlerLimitModule(module);
        }
        if (limit.faultInModule) {
            write(reinterpret_cast<volatile int*>(unmappedAddress), 1);
        } else {
            OuterCall(1);
        }
        return 0;
    });
    EXPECT_EQ(exitCode, limit.exit);
}

INSTANTIATE_TEST_SUITE_P(Modules, CrashLimitModules,
                         testing::Values(LimitCase{"FaultInLimitModule", true, true, userExit},
                                         LimitCase{"FaultElsewhere", true, false, previousExit},
                                         LimitCase{"NoLimitModules", false, false, userExit}),
                         [](const auto& info) { return std::string(info.param.name); });

unsigned traceOptions = 0;

// Writes the first stack line of the fault with traceOptions to standard error.
long TraceFilter(omn_ExceptionPointers* pointers) {
    const char* line = omn_GetFirstStackTraceString(traceOptions, pointers);
    if (line != nullptr && !WriteStandardError(line)) {
        std::_Exit(previousExit);
    }
    std::_Exit(userExit);
}

struct OptionsCase {
    const char* name;
    unsigned options;
    const char* fields; // what follows the address
};

class CrashStackTraceOptions : public CrashChild,
                               public testing::WithParamInterface<OptionsCase> {};

TEST_P(CrashStackTraceOptions, SelectTheFieldsOfAStackLine) {
    const OptionsCase& options = GetParam();
    const int exitCode = RunChild([&] {
        traceOptions = options.options;
        omn_SetUnhandledExceptionFilter(&TraceFilter);
        OuterCall(1);
        return 0;
    });
    EXPECT_EQ(exitCode, userExit);
    const std::string line = Read("stderr.txt");
    const std::string fields =
        std::regex_replace(options.fields, std::regex("PROGRAM"), ProgramName());
    EXPECT_TRUE(std::regex_match(line, std::regex("0033:[0-9A-F]{16}" + fields))) << line;
}

INSTANTIATE_TEST_SUITE_P(
    Options, CrashStackTraceOptions,
    testing::Values(OptionsCase{"AddressOnly", 0, ""},
                    OptionsCase{
                        "AllFields",
                        omn_StackTraceParameters | omn_StackTraceModule | omn_StackTraceSymbol |
                            omn_StackTraceLine,
                        " \\(0x[0-9A-F]{16} 0x[0-9A-F]{16} 0x[0-9A-F]{16} 0x[0-9A-F]{16}\\) PROGRAM"
                        ", (\\(anonymous namespace\\)::)?WriteThrough"
                        "(\\(\\)\\+[0-9]{4} byte\\(s\\))?"
                        ", .*omn_Crash_test\\.cpp, line [0-9]{4}(\\+[0-9]{4} byte\\(s\\))?"}),
    [](const auto& info) { return std::string(info.param.name); });

// The filter that is installed now, left in place.
omn_ExceptionFilter InstalledFilter() {
    const omn_ExceptionFilter installed = omn_SetUnhandledExceptionFilter(nullptr);
    omn_SetUnhandledExceptionFilter(installed);
    return installed;
}

// In a child: the limit modules of a process never go away.
TEST_F(CrashChild, RemovalPutsThePreviousFilterBackAndKeepsTheLimitCount) {
    const int exitCode = RunChild([] {
        const omn_ExceptionFilter prior = omn_SetUnhandledExceptionFilter(&PreviousFilter);
        const unsigned base = omn_GetLimitModuleCount();
        void* const self = vlt::test::ProgramModule();
        static int notCode = 0;

        EXPECT_EQ(omn_SetCrashHandlerFilter(reinterpret_cast<omn_ExceptionFilter>(&notCode)), 0);
        EXPECT_EQ(omn_SetCrashHandlerFilter(&UserFilter), 1);
        EXPECT_EQ(InstalledFilter(), &omn_CrashHandlerExceptionFilter);
        EXPECT_EQ(omn_AddCrashHandlerLimitModule(nullptr), 0);
        EXPECT_EQ(omn_AddCrashHandlerLimitModule(self), 1);
        EXPECT_EQ(omn_GetLimitModuleCount(), base + 1);

        EXPECT_EQ(omn_SetCrashHandlerFilter(nullptr), 1);
        EXPECT_EQ(InstalledFilter(), &PreviousFilter);
        EXPECT_EQ(omn_GetLimitModuleCount(), base + 1);
        EXPECT_EQ(omn_AddCrashHandlerLimitModule(self), 1);
        EXPECT_EQ(omn_GetLimitModuleCount(), base + 2);

        std::vector<void*> modules(base + 2, &notCode);
        EXPECT_EQ(omn_GetLimitModulesArray(modules.data(), base + 2), 1);
        EXPECT_EQ(modules[base], nullptr); // released with the filter
        EXPECT_EQ(modules[base + 1], self);

        std::vector<void*> tooSmall(base + 1, &notCode);
        EXPECT_EQ(omn_GetLimitModulesArray(tooSmall.data(), base + 1), -2);
        EXPECT_EQ(tooSmall, std::vector<void*>(base + 1, &notCode));
        void* const readOnly = reinterpret_cast<void*>(&InstalledFilter);
        EXPECT_EQ(omn_GetLimitModulesArray(static_cast<void**>(readOnly), base + 2), -1);

        omn_SetUnhandledExceptionFilter(prior);
        return testing::Test::HasFailure() ? 1 : 0;
    });
    EXPECT_EQ(exitCode, 0);
}

// Text producers on a context made up by the test: the platform's fault context (a signal's
// ucontext_t, a CONTEXT on Windows) with the registers in the dump's order holding
// 0x1111111111111111 times 1, 2, ... 15, 1, 2.
class CrashText : public testing::Test {
protected:
    void SetUp() override {
#if defined(_WIN32)
        DWORD64* const registers[] = {
            &context.Rax, &context.Rbx, &context.Rcx, &context.Rdx, &context.Rsi, &context.Rdi,
            &context.Rbp, &context.Rsp, &context.R8,  &context.R9,  &context.R10, &context.R11,
            &context.R12, &context.R13, &context.R14, &context.R15, &context.Rip};
        for (int i = 0; i < 17; ++i) {
            *registers[i] = 0x1111111111111111ULL * (i % 15 + 1);
        }
        context.EFlags = 0x10246;
        context.SegCs = 0x33;
        context.SegDs = 0x2B;
        context.SegSs = 0x2B;
        context.SegEs = 0x53;
        context.SegFs = 0x05;
        context.SegGs = 0x00;
#else
        greg_t* registers = context.uc_mcontext.gregs;
        const int order[] = {REG_RAX, REG_RBX, REG_RCX, REG_RDX, REG_RSI, REG_RDI,
                             REG_RBP, REG_RSP, REG_R8,  REG_R9,  REG_R10, REG_R11,
                             REG_R12, REG_R13, REG_R14, REG_R15, REG_RIP};
        for (int i = 0; i < 17; ++i) {
            registers[order[i]] = static_cast<greg_t>(0x1111111111111111ULL * (i % 15 + 1));
        }
        registers[REG_EFL] = 0x10246;
        registers[REG_CSGSFS] = static_cast<greg_t>(0x002B000500000033ULL); // SS FS GS CS
        context.uc_flags = 0x2;                                             // SS is valid
#endif
        record.ExceptionCode = 0x80000003;
        record.ExceptionAddress = reinterpret_cast<void*>(&FaultTarget);
    }

    static std::string Hex4(unsigned value) {
        char text[8];
        std::snprintf(text, sizeof text, "%04X", value);
        return text;
    }

#if defined(_WIN32)
    CONTEXT context{};
#else
    ucontext_t context{};
#endif
    omn_ExceptionRecord record{};
    omn_ExceptionPointers pointers{&record, &context};
};

TEST_F(CrashText, RegisterDumpShowsTheContextInTheFixedLayout) {
#if defined(_WIN32)
    const uint16_t ds = context.SegDs;
    const uint16_t es = context.SegEs;
#else
    // A signal context holds no data segments: the dump shows the processor's own.
    uint16_t ds = 0;
    uint16_t es = 0;
    asm volatile("mov %%ds, %0" : "=r"(ds));
    asm volatile("mov %%es, %0" : "=r"(es));
#endif
    EXPECT_STREQ(omn_GetRegisterString(&pointers),
                 ("RAX=1111111111111111  RBX=2222222222222222  RCX=3333333333333333  "
                  "RDX=4444444444444444  RSI=5555555555555555\n"
                  "RDI=6666666666666666  RBP=7777777777777777  RSP=8888888888888888  "
                  "RIP=2222222222222222  FLG=00010246\n"
                  "R8 =9999999999999999  R9 =AAAAAAAAAAAAAAAA  R10=BBBBBBBBBBBBBBBB  "
                  "R11=CCCCCCCCCCCCCCCC  R12=DDDDDDDDDDDDDDDD\n"
                  "R13=EEEEEEEEEEEEEEEE  R14=FFFFFFFFFFFFFFFF  R15=1111111111111111\n"
                  "CS=0033   DS=" +
                  Hex4(ds) + "  SS=002B  ES=" + Hex4(es) + "   FS=0005  GS=0000")
                     .c_str());
}

TEST_F(CrashText, FaultAtAFunctionStartNamesItWithATrailingBlank) {
    char address[24];
    std::snprintf(address, sizeof address, "%016llX",
                  static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(&FaultTarget)));
    const std::string program = ProgramName();
    const char* reason = omn_GetFaultReason(&pointers);
    ASSERT_NE(reason, nullptr);
    EXPECT_TRUE(
        std::regex_match(reason, std::regex(program + " caused an EXCEPTION_BREAKPOINT in module " +
                                            program + " at 0033:" + address +
                                            ", (\\(anonymous namespace\\)::)?FaultTarget "
                                            "(, .*omn_Crash_test\\.cpp, line [0-9]{4,})?")))
        << reason;
}

TEST_F(CrashText, UnknownCodeWithoutSystemTextAddsNothing) {
    record.ExceptionCode = 0x12345678;
    record.ExceptionAddress = nullptr;
    const std::string reason = omn_GetFaultReason(&pointers);
    EXPECT_EQ(reason, ProgramName() + " caused an  in module <UNKNOWN> at 0033:0000000000000000");
}

TEST_F(CrashText, UnreadablePointersGiveNoText) {
    omn_ExceptionPointers noRecord{nullptr, &context};
    for (omn_ExceptionPointers* bad : {static_cast<omn_ExceptionPointers*>(nullptr), &noRecord}) {
        EXPECT_EQ(omn_GetFaultReason(bad), nullptr);
        EXPECT_EQ(omn_GetRegisterString(bad), nullptr);
        EXPECT_EQ(omn_GetFirstStackTraceString(14, bad), nullptr);
        EXPECT_EQ(omn_GetNextStackTraceString(14, bad), nullptr);
    }
}

TEST(CrashExceptionNames, KnowsTheStandardCodesOnly) {
    EXPECT_STREQ(omn_ConvertSimpleException(0xC0000005), "EXCEPTION_ACCESS_VIOLATION");
    EXPECT_STREQ(omn_ConvertSimpleException(0x80000001), "EXCEPTION_GUARD_PAGE");
    EXPECT_EQ(omn_ConvertSimpleException(0), nullptr);
}

TEST(CrashModules, NamesAndListsTheLoadedObjects) {
    const int self = vlt::test::ProcessId();
    char name[64];
    EXPECT_EQ(omn_GetModuleBaseName(self, nullptr, name, sizeof name), ProgramName().size());
    EXPECT_EQ(name, ProgramName());
    EXPECT_EQ(omn_GetModuleBaseName(self, nullptr, name, 5), 4U);
    EXPECT_EQ(std::string(name), ProgramName().substr(0, 4));
    EXPECT_EQ(omn_GetModuleBaseName(self, name, name, sizeof name), 0U); // not a module

    unsigned count = 0;
    EXPECT_EQ(omn_GetLoadedModules(self, 0, nullptr, &count), 1);
    std::vector<void*> modules(count);
    vlt::test::SetSystemError(1);
    EXPECT_EQ(omn_GetLoadedModules(self, count, modules.data(), &count), 1);
    EXPECT_EQ(vlt::test::SystemError(), 0);
    EXPECT_EQ(modules[0], vlt::test::ProgramModule());
    EXPECT_EQ(omn_GetLoadedModules(self, 1, modules.data(), &count), 0);
#if defined(_WIN32)
    EXPECT_EQ(vlt::test::SystemError(), 122); // the system's "insufficient buffer"
#else
    EXPECT_EQ(vlt::test::SystemError(), ERANGE);
#endif
    EXPECT_EQ(omn_GetLoadedModules(self + 1000000, 0, nullptr, &count), 0);
}

} // namespace
