#include "omn_Diag.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace {

constexpr uint32_t defaultOptions = omn_DiagShowBox | omn_DiagSendToDebugger;
constexpr char enoentError[] = "Last Error (0x00000002) : No such file or directory\n";
constexpr char eaccesError[] = "Last Error (0x0000000D) : Permission denied\n";

std::string ReportStart(const std::string& message) {
    const std::string program = std::filesystem::read_symlink("/proc/self/exe").string();
    return "Debug Assertion Failed!\n\nProgram : " + program + "\n" + message;
}

std::string Report(const std::string& message, const std::string& lastError) {
    return ReportStart(message) + "\n" + lastError;
}

// Everything readable now from a non-blocking descriptor.
std::string ReadAvailable(int fd) {
    std::string bytes;
    char chunk[4096];
    ssize_t got = 0;
    while ((got = read(fd, chunk, sizeof chunk)) > 0) {
        bytes.append(chunk, static_cast<std::size_t>(got));
    }
    return bytes;
}

// A pipe whose read end collects what the facility writes to its write end.
class Pipe {
public:
    Pipe() { EXPECT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0); }
    ~Pipe() {
        for (const int end : ends) {
            if (end >= 0) {
                close(end);
            }
        }
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    int WriteEnd() const { return ends[1]; }
    void CloseReadEnd() {
        close(ends[0]);
        ends[0] = -1;
    }
    std::string Drain() const { return ReadAvailable(ends[0]); }

private:
    int ends[2] = {-1, -1};
};

struct Box {
    std::string caption;
    std::string text;
    int buttons;
    bool operator==(const Box&) const = default;
};

// Installs a recording debugger channel and box, and puts every setting back afterwards.
class Diag : public testing::Test {
protected:
    void SetUp() override {
        current = this;
        savedOptions = static_cast<uint32_t>(omn_SetDiagAssertOptions(defaultOptions));
        savedAssertFile = omn_SetDiagAssertFile(omn_DiagInvalidHandle);
        savedOutputFile = omn_SetDiagOutputFile(omn_DiagInvalidHandle);
        savedSink = omn_SetDiagDebuggerSink(&Diag::RecordDebugger);
        savedBox = omn_SetDiagMessageBox(&Diag::RecordBox);
    }
    void TearDown() override {
        omn_SetDiagAssertOptions(savedOptions);
        omn_SetDiagAssertFile(savedAssertFile);
        omn_SetDiagOutputFile(savedOutputFile);
        omn_SetDiagDebuggerSink(savedSink);
        omn_SetDiagMessageBox(savedBox);
        current = nullptr;
    }

    static void RecordDebugger(const char* text) { current->debugger.emplace_back(text); }
    static int RecordBox(const char* caption, const char* text, int buttons) {
        current->boxes.push_back({caption, text, buttons});
        return current->answer;
    }

    std::vector<std::string> debugger;
    std::vector<Box> boxes;
    int answer = omn_DiagAnswerIgnore;

private:
    static inline Diag* current = nullptr;
    uint32_t savedOptions = 0;
    int savedAssertFile = omn_DiagInvalidHandle;
    int savedOutputFile = omn_DiagInvalidHandle;
    omn_DiagDebuggerSink savedSink = nullptr;
    omn_DiagMessageBox savedBox = nullptr;
};

using DiagReport = Diag;

TEST_F(DiagReport, DefaultOptionsSendTheSameReportToDebuggerFileAndAbortRetryIgnoreBox) {
    Pipe file;
    omn_SetDiagAssertFile(file.WriteEnd());
    errno = ENOENT;
    EXPECT_EQ(omn_DiagAssertA(0, "x > 0", "omni/impl/omn_Thing", 42), 0);
    EXPECT_EQ(errno, ENOENT);
    const std::string expected =
        Report("File : omni/impl/omn_Thing\nLine : 42\nExpression : x > 0", enoentError);
    EXPECT_EQ(debugger, std::vector<std::string>{expected});
    EXPECT_EQ(file.Drain(), expected);
    EXPECT_EQ(boxes, (std::vector<Box>{
                         {"ASSERTION FAILURE...", expected, omn_DiagButtonsAbortRetryIgnore}}));
}

TEST_F(DiagReport, WideExpressionAppearsAsUtf8AndInvalidCharactersAsQuestionMarks) {
    const wchar_t expression[] = {L'g', L'r',    0xF6, 0xDF,   L'e',     L' ', 0x2264,
                                  L' ', 0x1D11E, L' ', 0xD800, 0x110000, L'\0'};
    errno = EACCES;
    EXPECT_EQ(omn_DiagAssertW(omn_DiagSendToDebugger, expression, "f", 7), 0);
    EXPECT_EQ(debugger,
              std::vector<std::string>{Report("File : f\nLine : 7\nExpression : gr\xC3\xB6\xC3\x9F"
                                              "e \xE2\x89\xA4 \xF0\x9D\x84\x9E ??",
                                              eaccesError)});
}

TEST_F(DiagReport, RealAssertOfAnotherKindOffersOkOnly) {
    answer = omn_DiagAnswerOk;
    errno = ENOENT;
    EXPECT_EQ(omn_RealAssert(omn_DiagShowBox, "free text", 0), 0);
    EXPECT_TRUE(debugger.empty());
    EXPECT_EQ(boxes, (std::vector<Box>{{"ASSERTION FAILURE...", Report("free text", enoentError),
                                        omn_DiagButtonsOk}}));
}

TEST_F(DiagReport, InputsBeyondTheFormattingLimitAreCutAt1024Characters) {
    Pipe file;
    omn_SetDiagAssertFile(file.WriteEnd());
    const std::string longText(5000, 'x');
    omn_DiagAssertA(omn_DiagSendToDebugger, longText.c_str(), "f", 1);
    omn_DiagAssertW(omn_DiagSendToDebugger, std::wstring(5000, L'\xE9').c_str(), "f", 1);
    ASSERT_EQ(debugger.size(), 2u);
    const std::string start = ReportStart("File : f\nLine : 1\nExpression : ");
    for (const std::string& report : debugger) {
        EXPECT_EQ(report.size(), 1024u);
        EXPECT_EQ(report.substr(0, start.size()), start);
    }
    EXPECT_EQ(debugger[0].substr(start.size()), std::string(1024 - start.size(), 'x'));
    std::string accents;
    while (accents.size() < 1024) {
        accents += "\xC3\xA9";
    }
    EXPECT_EQ(debugger[1].substr(start.size()), accents.substr(0, 1024 - start.size()));
    EXPECT_EQ(file.Drain(), debugger[0] + debugger[1]);
}

using DiagOptions = Diag;

TEST_F(DiagOptions, DebuggerOnlyReturnsZeroWithoutAskingTheBoxAndBoxOnlyKeepsTheDebuggerQuiet) {
    answer = omn_DiagAnswerRetry;
    EXPECT_EQ(omn_DiagAssertA(omn_DiagSendToDebugger, "e", "f", 1), 0);
    EXPECT_TRUE(boxes.empty());
    EXPECT_EQ(omn_DiagAssertA(omn_DiagShowBox, "e", "f", 1), 1);
    EXPECT_EQ(debugger.size(), 1u);
    EXPECT_EQ(boxes.size(), 1u);
}

TEST_F(DiagOptions, ZeroSetsNothingAndInACallMeansTheStoredOptionsWithUnknownBitsIgnored) {
    EXPECT_EQ(omn_SetDiagAssertOptions(0xF0 | omn_DiagSendToDebugger), 3);
    EXPECT_EQ(omn_SetDiagAssertOptions(0), 0);
    answer = omn_DiagAnswerRetry;
    EXPECT_EQ(omn_RealAssert(0, "m", 1), 0);
    EXPECT_EQ(debugger.size(), 1u);
    EXPECT_TRUE(boxes.empty());
    EXPECT_EQ(omn_SetDiagAssertOptions(defaultOptions), 0xF2);
}

TEST_F(DiagOptions, FileSettersReturnThePreviousHandleAndInvalidSwitchesOff) {
    Pipe file;
    EXPECT_EQ(omn_SetDiagAssertFile(file.WriteEnd()), omn_DiagInvalidHandle);
    EXPECT_EQ(omn_SetDiagAssertFile(omn_DiagInvalidHandle), file.WriteEnd());
    EXPECT_EQ(omn_SetDiagOutputFile(file.WriteEnd()), omn_DiagInvalidHandle);
    EXPECT_EQ(omn_SetDiagOutputFile(omn_DiagInvalidHandle), file.WriteEnd());
    omn_DiagAssertA(omn_DiagSendToDebugger, "e", "f", 1);
    omn_DiagOutputA("text");
    EXPECT_EQ(file.Drain(), "");
}

using DiagEndDeathTest = Diag;

TEST_F(DiagEndDeathTest, AbortEndsTheProcessWithMinusOneWithoutExitHandlers) {
    answer = omn_DiagAnswerAbort;
    EXPECT_EXIT(
        {
            std::atexit([] { std::fputs("exit handlers ran", stderr); });
            omn_DiagAssertA(omn_DiagShowBox, "e", "f", 1);
        },
        testing::ExitedWithCode(255), testing::Not(testing::HasSubstr("exit handlers ran")));
}

TEST_F(DiagEndDeathTest, BoxThatCannotBeShownEndsTheProcess) {
    answer = omn_DiagAnswerNone;
    EXPECT_EXIT(omn_RealAssert(omn_DiagShowBox, "m", 0), testing::ExitedWithCode(255), "");
}

TEST_F(DiagEndDeathTest, WithoutTerminalOrInstalledBoxTheProcessEnds) {
    EXPECT_EXIT(
        {
            if (setsid() < 0) {
                _exit(2);
            }
            omn_SetDiagMessageBox(nullptr);
            omn_DiagAssertA(omn_DiagShowBox, "e", "f", 1);
        },
        testing::ExitedWithCode(255), "");
}

using DiagOutput = Diag;

TEST_F(DiagOutput, NarrowTextGoesToDebuggerWhateverTheOptionsAndToTheOutputFile) {
    Pipe file;
    omn_SetDiagOutputFile(file.WriteEnd());
    omn_SetDiagAssertOptions(omn_DiagShowBox);
    omn_DiagOutputA("%s=%d\n", "count", 7);
    EXPECT_EQ(debugger, std::vector<std::string>{"count=7\n"});
    EXPECT_EQ(file.Drain(), "count=7\n");
}

TEST_F(DiagOutput, WideTextWritesOneByteOfTheWideTextPerCharacter) {
    Pipe file;
    omn_SetDiagOutputFile(file.WriteEnd());
    omn_DiagOutputW(L"%ls-%d \x20AC", L"ab", 7);
    const wchar_t text[] = L"ab-7 \x20AC";
    EXPECT_EQ(debugger, std::vector<std::string>{"ab-7 \xE2\x82\xAC"});
    EXPECT_EQ(file.Drain(), std::string(reinterpret_cast<const char*>(text), 6));
}

TEST_F(DiagOutput, FormattedTextIsCutAt1024Characters) {
    Pipe file;
    omn_SetDiagOutputFile(file.WriteEnd());
    omn_DiagOutputA("%s", std::string(5000, 'x').c_str());
    omn_DiagOutputW(L"%ls", std::wstring(5000, L'y').c_str());
    EXPECT_EQ(debugger, (std::vector<std::string>{std::string(1024, 'x'), std::string(1024, 'y')}));
    EXPECT_EQ(file.Drain().size(), 2048u);
}

TEST_F(DiagOutput, DefaultDebuggerChannelIsStandardError) {
    omn_SetDiagDebuggerSink(nullptr);
    testing::internal::CaptureStderr();
    omn_DiagOutputA("to the channel %d\n", 5);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "to the channel 5\n");
}

using DiagModules = Diag;

TEST_F(DiagModules, ModulesWithoutMessageFunctionFallBackToTheSystemText) {
    void* const libc = dlopen("libc.so.6", RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(libc, nullptr);
    EXPECT_EQ(omn_AddDiagAssertModule(libc), 1);
    EXPECT_EQ(omn_AddDiagAssertModule(nullptr), 1);
    errno = ENOENT;
    omn_RealAssert(omn_DiagSendToDebugger, "m", 1);
    EXPECT_EQ(debugger, std::vector<std::string>{Report("m", enoentError)});
    dlclose(libc);
}

TEST_F(DiagModules, RegisteredModuleTextWinsAndUnknownCodesFallBack) {
    void* const module = dlopen(VLT_TEST_DIAG_MESSAGES, RTLD_NOW);
    ASSERT_NE(module, nullptr) << dlerror();
    EXPECT_EQ(omn_AddDiagAssertModule(module), 1);
    errno = 9002;
    omn_RealAssert(omn_DiagSendToDebugger, "m", 1);
    errno = 9003;
    omn_RealAssert(omn_DiagSendToDebugger, "m", 1);
    EXPECT_EQ(debugger, (std::vector<std::string>{
                            Report("m", "Last Error (0x0000232A) : Solver diverged\n"),
                            Report("m", "Last Error (0x0000232B) : Unknown error 9003\n")}));
    EXPECT_EQ(errno, 9003);
}

// Every published function that writes, made to fail inside where it can: the files are pipes
// without a reader (which must not leave a SIGPIPE behind) and the wide conversions meet
// characters outside the C locale.
class DiagLastError : public Diag,
                      public testing::WithParamInterface<std::pair<const char*, void (*)()>> {};

TEST_P(DiagLastError, IsWhatTheCallerHadAfterTheCall) {
    Pipe file;
    file.CloseReadEnd();
    omn_SetDiagAssertFile(file.WriteEnd());
    omn_SetDiagOutputFile(file.WriteEnd());
    answer = omn_DiagAnswerRetry;
    errno = 4242;
    GetParam().second();
    EXPECT_EQ(errno, 4242);
    omn_SetDiagDebuggerSink(nullptr);
    testing::internal::CaptureStderr();
    GetParam().second();
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(errno, 4242);
    sigset_t pending;
    sigpending(&pending);
    EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
}

INSTANTIATE_TEST_SUITE_P(
    EveryFunction, DiagLastError,
    testing::Values(std::pair{"DiagAssertW", +[] { omn_DiagAssertW(0, L"\xE9", "f", 1); }},
                    std::pair{"RealAssert", +[] { omn_RealAssert(0, "m", 0); }},
                    std::pair{"DiagOutputA", +[] { omn_DiagOutputA("%ls", L"\xE9"); }},
                    std::pair{"DiagOutputW", +[] { omn_DiagOutputW(L"%s", "\xC3\xA9"); }}),
    [](const auto& info) { return std::string(info.param.first); });

// The box on a controlling terminal, in a child that opens a session on a pseudo-terminal whose
// input is typed in advance. Echo and output processing are off so that the screen is exact.
struct TerminalRun {
    int exitCode;
    std::string screen;
};

TerminalRun RunOnTerminal(const std::string& typed, int kind) {
    const int master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0) {
        ADD_FAILURE() << "no pseudo-terminal";
        return {-1, ""};
    }
    const int slave = open(ptsname(master), O_RDWR | O_NOCTTY | O_CLOEXEC);
    termios mode{};
    tcgetattr(slave, &mode);
    mode.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    mode.c_oflag &= ~static_cast<tcflag_t>(OPOST);
    tcsetattr(slave, TCSANOW, &mode);
    EXPECT_EQ(write(master, typed.data(), typed.size()), static_cast<ssize_t>(typed.size()));
    const pid_t child = fork();
    if (child == 0) {
        if (setsid() < 0 || ioctl(slave, TIOCSCTTY, 0) < 0) {
            _exit(100);
        }
        omn_SetDiagMessageBox(nullptr);
        errno = ENOENT;
        _exit(omn_RealAssert(omn_DiagShowBox, "m", kind));
    }
    int status = 0;
    waitpid(child, &status, 0);
    fcntl(master, F_SETFL, O_NONBLOCK);
    const TerminalRun run{WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadAvailable(master)};
    close(slave);
    close(master);
    return run;
}

constexpr char abortRetryIgnore[] = "Abort, Retry or Ignore? [a/r/i] ";

TEST(DiagTerminalBox, ShowsCaptionAndReportAndAsksAgainUntilTheAnswerIsKnown) {
    const TerminalRun run = RunOnTerminal("x\n\nr\n", 1);
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.screen, "\nASSERTION FAILURE...\n\n" + Report("m", enoentError) + "\n" +
                              abortRetryIgnore + abortRetryIgnore + abortRetryIgnore);
}

class DiagTerminalAnswer : public testing::TestWithParam<std::tuple<const char*, int, int>> {};

TEST_P(DiagTerminalAnswer, DecidesTheExitOfTheChild) {
    const auto& [typed, kind, exitCode] = GetParam();
    EXPECT_EQ(RunOnTerminal(typed, kind).exitCode, exitCode);
}

INSTANTIATE_TEST_SUITE_P(Answers, DiagTerminalAnswer,
                         testing::Values(std::tuple{"i\n", 1, 0}, std::tuple{"A\n", 1, 255},
                                         std::tuple{"\x04", 1, 255}, std::tuple{"\x04", 0, 0}));

} // namespace
