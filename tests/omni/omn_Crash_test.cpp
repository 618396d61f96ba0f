#include "omn_Crash.h"
#include "omn_Interrupt.h"
#include "utl_Modules.h"

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <ucontext.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
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
    return std::filesystem::read_symlink("/proc/self/exe").filename().string();
}

// Each dying case runs in a child process inside a fresh directory, with its standard error
// in "stderr.txt" there.
class CrashChild : public testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/vlt_crash_XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        directory = pattern;
    }

    void TearDown() override { std::filesystem::remove_all(directory); }

    // The child's wait status.
    int RunChild(const std::function<void()>& body) const {
        const pid_t child = fork();
        if (child == 0) {
            const int error = open((directory + "/stderr.txt").c_str(),
                                   O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
            if (chdir(directory.c_str()) != 0 || error < 0 || dup2(error, STDERR_FILENO) < 0) {
                _exit(100);
            }
            unsetenv(popupVariable);
            body();
            _exit(0);
        }
        int status = 0;
        waitpid(child, &status, 0);
        return status;
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

    static bool ExitedWith(int status, int code) {
        return WIFEXITED(status) && WEXITSTATUS(status) == code;
    }

    std::string directory;
};

struct FaultCase {
    const char* name;
    std::function<void()> body;
    int signal;
    const char* exception;
    const char* module; // null: the test program
    std::vector<const char*> frames;
};

void PrintTo(const FaultCase& fault, std::ostream* out) {
    *out << fault.name;
}

class CrashReportOfFault : public CrashChild, public testing::WithParamInterface<FaultCase> {};

TEST_P(CrashReportOfFault, NamesTheExceptionAndWalksThroughTheFaultingFunctions) {
    const FaultCase& fault = GetParam();
    const int status = RunChild([&] {
        omi_SetExceptionFilter();
        fault.body();
    });
    EXPECT_TRUE(ExitedWith(status, omn_CrashExitBase + fault.signal)) << status;
    const std::string report = std::filesystem::canonical(directory) / (ProgramName() + ".dmp");
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
        if (next < fault.frames.size() && line.find(fault.frames[next]) != std::string::npos) {
            EXPECT_NE(line.find("omn_Crash_test.cpp, line "), std::string::npos) << line;
            ++next;
        }
    }
    EXPECT_EQ(next, fault.frames.size()) << "missing frame " << fault.frames[next];
}

const FaultCase faultCases[] = {
    {"AccessViolation",
     [] { OuterCall(1); },
     SIGSEGV,
     "EXCEPTION_ACCESS_VIOLATION",
     nullptr,
     {"::WriteThrough", "::MiddleCall", "::OuterCall"}},
    {"IntegerDivision",
     [] { DivideIntegers(1, zero); },
     SIGFPE,
     "EXCEPTION_INT_DIVIDE_BY_ZERO",
     nullptr,
     {"::DivideIntegers"}},
    {"TrappedFloatDivision",
     [] {
         setenv("KSR_PATTERN", "FPE", 1);
         omn_enableFPE();
         DivideFloats(1.0, zero);
     },
     SIGFPE,
     "EXCEPTION_FLT_DIVIDE_BY_ZERO",
     nullptr,
     {"::DivideFloats"}},
    {"StackOverflow",
     [] { Recurse(endless); },
     SIGSEGV,
     "EXCEPTION_STACK_OVERFLOW",
     nullptr,
     {"::Recurse", "::Recurse"}},
    {"Abort", [] { CallAbort(); }, SIGABRT, "Aborted", "libc.so.6", {"::CallAbort"}},
};

INSTANTIATE_TEST_SUITE_P(Faults, CrashReportOfFault, testing::ValuesIn(faultCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(CrashChild, DeepStackGivesExactly200StackLinesThenTheLoadedModules) {
    RunChild([] {
        omi_SetExceptionFilter();
        FaultBelow(300);
    });
    EXPECT_EQ(StackLines().size(), 200U);
    const std::vector<std::string> lines = ReportLines();
    const std::size_t blank = 1 + StackLines().size();
    ASSERT_LT(blank + 1, lines.size());
    EXPECT_EQ(lines[blank], "");
    const std::regex moduleLine("^.+:\t[0-9A-F]{16} - [0-9A-F]{16}$");
    const std::string program = std::filesystem::read_symlink("/proc/self/exe").string();
    EXPECT_EQ(lines[blank + 1].rfind(program + ":\t", 0), 0U) << lines[blank + 1];
    bool library = false;
    for (std::size_t i = blank + 1; i < lines.size(); ++i) {
        EXPECT_TRUE(std::regex_match(lines[i], moduleLine)) << lines[i];
        library = library || lines[i].find("libVLTutl.so") != std::string::npos;
    }
    EXPECT_TRUE(library);
}

TEST_F(CrashChild, PopupLeavesTheFaultToTheSystemAfterTheReport) {
    const int status = RunChild([] {
        setenv(popupVariable, "", 1);
        omi_SetExceptionFilter();
        OuterCall(1);
    });
    EXPECT_FALSE(WIFEXITED(status) && WEXITSTATUS(status) == omn_CrashExitBase + SIGSEGV);
    EXPECT_FALSE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_FALSE(ReportLines().empty());
}

TEST_F(CrashChild, StackOverflowSendsTheBannerBeforeTheUserFilter) {
    const int status = RunChild([] {
        omn_SetCrashHandlerFilter(&ExcepCallBack);
        Recurse(endless);
    });
    EXPECT_TRUE(ExitedWith(status, omn_CrashExitBase + SIGSEGV)) << status;
    EXPECT_EQ(Read("stderr.txt").substr(0, sizeof stackOverflowBanner - 1), stackOverflowBanner);
}

// The fault signal of an overflow runs on the thread that overflowed: without a stack of its
// own there, the process would end with no report.
TEST_F(CrashChild, StackOverflowOnAPreparedSecondThreadIsReported) {
    const int status = RunChild([] {
        omi_SetExceptionFilter();
        std::thread worker([] {
            omn_PrepareThreadForCrashReport();
            Recurse(endless);
        });
        worker.join();
    });
    EXPECT_TRUE(ExitedWith(status, omn_CrashExitBase + SIGSEGV)) << status;
    const std::vector<std::string> lines = ReportLines();
    ASSERT_FALSE(lines.empty());
    EXPECT_NE(lines[0].find(" caused an EXCEPTION_STACK_OVERFLOW in module "), std::string::npos)
        << lines[0];
}

TEST_F(CrashChild, OmniInitialisationInstallsTheReport) {
    const int status = RunChild([] {
        int tally = 0;
        omni_initialize(tally);
        _exit(omn_SetUnhandledExceptionFilter(nullptr) == &ExcepCallBack ? 0 : 1);
    });
    EXPECT_TRUE(ExitedWith(status, 0));
}

long UserFilter(omn_ExceptionPointers*) {
    _exit(userExit);
}

long PreviousFilter(omn_ExceptionPointers*) {
    _exit(previousExit);
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
    const int status = RunChild([&] {
        void* const module = dlopen(VLT_TEST_CRASH_MODULE, RTLD_NOW);
        const auto write = reinterpret_cast<void (*)(volatile int*, int)>(
            dlsym(module, "vlt_test_crash_module_write"));
        if (write == nullptr) {
            _exit(101);
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
    });
    EXPECT_TRUE(ExitedWith(status, limit.exit)) << status;
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
    if (line != nullptr && write(STDERR_FILENO, line, std::strlen(line)) < 0) {
        _exit(previousExit);
    }
    _exit(userExit);
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
    const int status = RunChild([&] {
        traceOptions = options.options;
        omn_SetUnhandledExceptionFilter(&TraceFilter);
        OuterCall(1);
    });
    EXPECT_TRUE(ExitedWith(status, userExit)) << status;
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
                        ", \\(anonymous namespace\\)::WriteThrough(\\(\\)\\+[0-9]{4} byte\\(s\\))?"
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
    const int status = RunChild([] {
        const omn_ExceptionFilter prior = omn_SetUnhandledExceptionFilter(&PreviousFilter);
        const unsigned base = omn_GetLimitModuleCount();
        void* const self = dlopen(nullptr, RTLD_NOW);
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
        dlclose(self);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    });
    EXPECT_TRUE(ExitedWith(status, 0));
}

// Text producers on a context made up by the test.
class CrashText : public testing::Test {
protected:
    void SetUp() override {
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
        record.ExceptionCode = 0x80000003;
        record.ExceptionAddress = reinterpret_cast<void*>(&FaultTarget);
    }

    static std::string Hex4(unsigned value) {
        char text[8];
        std::snprintf(text, sizeof text, "%04X", value);
        return text;
    }

    ucontext_t context{};
    omn_ExceptionRecord record{};
    omn_ExceptionPointers pointers{&record, &context};
};

TEST_F(CrashText, RegisterDumpShowsTheContextInTheFixedLayout) {
    uint16_t ds = 0;
    uint16_t es = 0;
    asm volatile("mov %%ds, %0" : "=r"(ds));
    asm volatile("mov %%es, %0" : "=r"(es));
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
    EXPECT_TRUE(std::regex_match(
        reason, std::regex(program + " caused an EXCEPTION_BREAKPOINT in module " + program +
                           " at 0033:" + address +
                           ", \\(anonymous namespace\\)::FaultTarget (, .*omn_Crash_test\\.cpp, "
                           "line [0-9]{4,})?")))
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
    const int self = static_cast<int>(getpid());
    char name[64];
    EXPECT_EQ(omn_GetModuleBaseName(self, nullptr, name, sizeof name), ProgramName().size());
    EXPECT_EQ(name, ProgramName());
    EXPECT_EQ(omn_GetModuleBaseName(self, nullptr, name, 5), 4U);
    EXPECT_EQ(std::string(name), ProgramName().substr(0, 4));
    EXPECT_EQ(omn_GetModuleBaseName(self, name, name, sizeof name), 0U); // not a module

    unsigned count = 0;
    EXPECT_EQ(omn_GetLoadedModules(self, 0, nullptr, &count), 1);
    std::vector<void*> modules(count);
    EXPECT_EQ(omn_GetLoadedModules(self, count, modules.data(), &count), 1);
    EXPECT_EQ(modules[0], dlopen(nullptr, RTLD_NOW));
    EXPECT_EQ(omn_GetLoadedModules(self, 1, modules.data(), &count), 0);
    EXPECT_EQ(errno, ERANGE);
    EXPECT_EQ(omn_GetLoadedModules(self + 1000000, 0, nullptr, &count), 0);
}

} // namespace
