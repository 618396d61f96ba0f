#include "ChildProcess.h"
#include "TestPlatform.h"
#include "omn_Diag.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#if defined(_WIN32)
#define WIN32_LEAN_AND_MEAN
#include <fcntl.h>
#include <io.h>
#include <windows.h>
#else
#include <fcntl.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#endif

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <iterator>
#include <string>
#include <vector>

namespace {

constexpr uint32_t defaultOptions = omn_DiagShowBox | omn_DiagSendToDebugger;

// The codes that the tests provoke, and how an abort ends the process.
#if defined(_WIN32)
constexpr int fileNotFound = ERROR_FILE_NOT_FOUND;
constexpr int accessDenied = ERROR_ACCESS_DENIED;
// Abort ends the process with exit code -1: all of its bits on Windows, its low byte elsewhere.
constexpr int abortExitCode = -1;
#else
constexpr int fileNotFound = ENOENT;
constexpr int accessDenied = EACCES;
constexpr int abortExitCode = 255;
#endif

// The report's last line for `code`, in the system's own words.
std::string LastErrorLine(int code) {
    char number[16];
    std::snprintf(number, sizeof number, "0x%08X", static_cast<unsigned>(code));
    return std::string("Last Error (") + number + ") : " + vlt::test::SystemErrorText(code) + "\n";
}

std::string ReportStart(const std::string& message) {
    return "Debug Assertion Failed!\n\nProgram : " + vlt::test::ProgramPath() + "\n" + message;
}

std::string Report(const std::string& message, const std::string& lastError) {
    return ReportStart(message) + "\n" + lastError;
}

#if !defined(_WIN32)
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
#endif

// A pipe whose read end collects what the facility writes to its write end. Both ends are
// runtime descriptors, the library's file handles.
class Pipe {
public:
#if defined(_WIN32)
    Pipe() {
        EXPECT_EQ(_pipe(ends, 1 << 16, _O_BINARY | _O_NOINHERIT), 0);
    }
#else
    Pipe() {
        EXPECT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
    }
#endif
    ~Pipe() {
        for (const int end : ends) {
            Close(end);
        }
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    int WriteEnd() const {
        return ends[1];
    }
    void CloseReadEnd() {
        Close(ends[0]);
        ends[0] = -1;
    }

    // Everything written so far, without waiting for more.
    std::string Drain() const {
#if defined(_WIN32)
        std::string bytes;
        const auto pipe = reinterpret_cast<HANDLE>(_get_osfhandle(ends[0]));
        DWORD available = 0;
        while (PeekNamedPipe(pipe, nullptr, 0, nullptr, &available, nullptr) && available > 0) {
            std::string chunk(available, '\0');
            const int got = _read(ends[0], chunk.data(), available);
            if (got <= 0) {
                break;
            }
            bytes.append(chunk, 0, static_cast<std::size_t>(got));
        }
        return bytes;
#else
        return ReadAvailable(ends[0]);
#endif
    }

private:
    static void Close(int end) {
        if (end >= 0) {
#if defined(_WIN32)
            _close(end);
#else
            close(end);
#endif
        }
    }

    int ends[2] = {-1, -1};
};

// What the platform's own debugger channel receives while the object lives: standard error on
// Linux; on Windows the debugger output, which reaches a vectored handler as an exception before
// any debugger would see it.
class DefaultChannelCapture {
public:
#if defined(_WIN32)
    DefaultChannelCapture() {
        captured.clear();
        handler = AddVectoredExceptionHandler(1, &Record);
    }
    ~DefaultChannelCapture() {
        Stop();
    }
    DefaultChannelCapture(const DefaultChannelCapture&) = delete;
    DefaultChannelCapture& operator=(const DefaultChannelCapture&) = delete;

    std::string Text() {
        Stop();
        return captured;
    }

private:
    static LONG WINAPI Record(EXCEPTION_POINTERS* exception) {
        const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
        if (record.ExceptionCode == DBG_PRINTEXCEPTION_C && record.NumberParameters >= 2) {
            const auto* text = reinterpret_cast<const char*>(record.ExceptionInformation[1]);
            captured.append(text, strnlen(text, record.ExceptionInformation[0]));
        }
        return EXCEPTION_CONTINUE_SEARCH;
    }

    void Stop() {
        if (handler != nullptr) {
            RemoveVectoredExceptionHandler(handler);
            handler = nullptr;
        }
    }

    static inline std::string captured;
    void* handler = nullptr;
#else
    DefaultChannelCapture() {
        testing::internal::CaptureStderr();
    }
    ~DefaultChannelCapture() {
        if (capturing) {
            testing::internal::GetCapturedStderr();
        }
    }
    DefaultChannelCapture(const DefaultChannelCapture&) = delete;
    DefaultChannelCapture& operator=(const DefaultChannelCapture&) = delete;

    std::string Text() {
        capturing = false;
        return testing::internal::GetCapturedStderr();
    }

private:
    bool capturing = true;
#endif
};

#if defined(_WIN32)
LRESULT CALLBACK RefuseWindows(int code, WPARAM wParam, LPARAM lParam) {
    return code == HCBT_CREATEWND ? 1 : CallNextHookEx(nullptr, code, wParam, lParam);
}
#endif

// Takes the platform's own box away from this process: without a controlling terminal there is
// no prompt; on Windows a hook refuses every window of the thread, so that the box cannot appear
// (and never waits for a user). False when that could not be done.
bool WithoutPlatformBox() {
#if defined(_WIN32)
    return SetWindowsHookExA(WH_CBT, &RefuseWindows, nullptr, GetCurrentThreadId()) != nullptr;
#else
    return setsid() >= 0;
#endif
}

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
    vlt::test::SetSystemError(fileNotFound);
    EXPECT_EQ(omn_DiagAssertA(0, "x > 0", "omni/impl/omn_Thing", 42), 0);
    EXPECT_EQ(vlt::test::SystemError(), fileNotFound);
    const std::string expected = Report("File : omni/impl/omn_Thing\nLine : 42\nExpression : x > 0",
                                        LastErrorLine(fileNotFound));
    EXPECT_EQ(debugger, std::vector<std::string>{expected});
    EXPECT_EQ(file.Drain(), expected);
    EXPECT_EQ(boxes, (std::vector<Box>{
                         {"ASSERTION FAILURE...", expected, omn_DiagButtonsAbortRetryIgnore}}));
}

// After the basic plane: a character beyond it, then two that are no characters.
#if WCHAR_MAX > 0xFFFF
// UTF-32: a lone surrogate and a value beyond Unicode.
constexpr wchar_t beyondBasicPlane[] = {0x1D11E, L' ', 0xD800, 0x110000};
#else
// UTF-16: the character is a surrogate pair; a lone low and a lone high surrogate.
constexpr wchar_t beyondBasicPlane[] = {0xD834, 0xDD1E, L' ', 0xDC00, 0xD800};
#endif

TEST_F(DiagReport, WideExpressionAppearsAsUtf8AndInvalidCharactersAsQuestionMarks) {
    const std::wstring expression =
        L"gr\u00F6\u00DFe \u2264 " +
        std::wstring(std::begin(beyondBasicPlane), std::end(beyondBasicPlane));
    vlt::test::SetSystemError(accessDenied);
    EXPECT_EQ(omn_DiagAssertW(omn_DiagSendToDebugger, expression.c_str(), "f", 7), 0);
    EXPECT_EQ(debugger,
              std::vector<std::string>{Report("File : f\nLine : 7\nExpression : gr\xC3\xB6\xC3\x9F"
                                              "e \xE2\x89\xA4 \xF0\x9D\x84\x9E ??",
                                              LastErrorLine(accessDenied))});
}

TEST_F(DiagReport, RealAssertOfAnotherKindOffersOkOnly) {
    answer = omn_DiagAnswerOk;
    vlt::test::SetSystemError(fileNotFound);
    EXPECT_EQ(omn_RealAssert(omn_DiagShowBox, "free text", 0), 0);
    EXPECT_TRUE(debugger.empty());
    EXPECT_EQ(boxes, (std::vector<Box>{{"ASSERTION FAILURE...",
                                        Report("free text", LastErrorLine(fileNotFound)),
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
        testing::ExitedWithCode(abortExitCode),
        testing::Not(testing::HasSubstr("exit handlers ran")));
}

TEST_F(DiagEndDeathTest, BoxThatCannotBeShownEndsTheProcess) {
    answer = omn_DiagAnswerNone;
    EXPECT_EXIT(omn_RealAssert(omn_DiagShowBox, "m", 0), testing::ExitedWithCode(abortExitCode),
                "");
}

TEST_F(DiagEndDeathTest, PlatformBoxThatCannotBeShownEndsTheProcess) {
    EXPECT_EXIT(
        {
            if (!WithoutPlatformBox()) {
                std::_Exit(2);
            }
            omn_SetDiagMessageBox(nullptr);
            omn_DiagAssertA(omn_DiagShowBox, "e", "f", 1);
        },
        testing::ExitedWithCode(abortExitCode), "");
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

TEST_F(DiagOutput, WithoutSinkTextGoesToThePlatformDebuggerChannel) {
    omn_SetDiagDebuggerSink(nullptr);
    DefaultChannelCapture channel;
    omn_DiagOutputA("to the channel %d\n", 5);
    EXPECT_EQ(channel.Text(), "to the channel 5\n");
}

using DiagModules = Diag;

// The program itself knows no texts: it exports no message function and has no message table.
TEST_F(DiagModules, ModulesWithoutTextsFallBackToTheSystemText) {
    void* const program = vlt::test::ProgramModule();
    ASSERT_NE(program, nullptr);
    EXPECT_EQ(omn_AddDiagAssertModule(program), 1);
    EXPECT_EQ(omn_AddDiagAssertModule(nullptr), 1);
    vlt::test::SetSystemError(fileNotFound);
    omn_RealAssert(omn_DiagSendToDebugger, "m", 1);
    EXPECT_EQ(debugger, std::vector<std::string>{Report("m", LastErrorLine(fileNotFound))});
}

// The module knows 9001 and 9002: a message function on Linux, a message table on Windows.
TEST_F(DiagModules, RegisteredModuleTextWinsAndUnknownCodesFallBack) {
    void* const module = vlt::test::LoadModule(VLT_TEST_DIAG_MESSAGES);
    ASSERT_NE(module, nullptr) << VLT_TEST_DIAG_MESSAGES;
    EXPECT_EQ(omn_AddDiagAssertModule(module), 1);
    vlt::test::SetSystemError(9002);
    omn_RealAssert(omn_DiagSendToDebugger, "m", 1);
    vlt::test::SetSystemError(9003);
    omn_RealAssert(omn_DiagSendToDebugger, "m", 1);
    EXPECT_EQ(vlt::test::SystemError(), 9003);
    EXPECT_EQ(debugger,
              (std::vector<std::string>{Report("m", "Last Error (0x0000232A) : Solver diverged\n"),
                                        Report("m", LastErrorLine(9003))}));
}

// Every published function that writes, made to fail inside where it can: the files are pipes
// without a reader (which on Linux must not leave a SIGPIPE behind) and the wide conversions
// meet characters outside the C locale.
class DiagLastError : public Diag,
                      public testing::WithParamInterface<std::pair<const char*, void (*)()>> {};

TEST_P(DiagLastError, IsWhatTheCallerHadAfterTheCall) {
    Pipe file;
    file.CloseReadEnd();
    omn_SetDiagAssertFile(file.WriteEnd());
    omn_SetDiagOutputFile(file.WriteEnd());
    answer = omn_DiagAnswerRetry;
    vlt::test::SetSystemError(4242);
    GetParam().second();
    EXPECT_EQ(vlt::test::SystemError(), 4242);
    omn_SetDiagDebuggerSink(nullptr);
    {
        DefaultChannelCapture channel;
        vlt::test::SetSystemError(4242);
        GetParam().second();
        EXPECT_EQ(vlt::test::SystemError(), 4242);
    }
#if !defined(_WIN32) // Windows has no SIGPIPE: there a lost reader is only an error of the write.
    sigset_t pending;
    sigpending(&pending);
    EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
#endif
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
#if defined(_WIN32)
constexpr char noTerminalBox[] = "the Windows box is a window, not a prompt on a terminal";
#else
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
    const int exitCode = vlt::test::RunInChild([&] {
        if (setsid() < 0 || ioctl(slave, TIOCSCTTY, 0) < 0) {
            return 100;
        }
        omn_SetDiagMessageBox(nullptr);
        errno = ENOENT;
        return omn_RealAssert(omn_DiagShowBox, "m", kind);
    });
    fcntl(master, F_SETFL, O_NONBLOCK);
    const TerminalRun run{exitCode, ReadAvailable(master)};
    close(slave);
    close(master);
    return run;
}

constexpr char abortRetryIgnore[] = "Abort, Retry or Ignore? [a/r/i] ";
#endif

TEST(DiagTerminalBox, ShowsCaptionAndReportAndAsksAgainUntilTheAnswerIsKnown) {
#if defined(_WIN32)
    GTEST_SKIP() << noTerminalBox;
#else
    const TerminalRun run = RunOnTerminal("x\n\nr\n", 1);
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.screen, "\nASSERTION FAILURE...\n\n" + Report("m", LastErrorLine(ENOENT)) + "\n" +
                              abortRetryIgnore + abortRetryIgnore + abortRetryIgnore);
#endif
}

class DiagTerminalAnswer : public testing::TestWithParam<std::tuple<const char*, int, int>> {};

TEST_P(DiagTerminalAnswer, DecidesTheExitOfTheChild) {
#if defined(_WIN32)
    GTEST_SKIP() << noTerminalBox;
#else
    const auto& [typed, kind, exitCode] = GetParam();
    EXPECT_EQ(RunOnTerminal(typed, kind).exitCode, exitCode);
#endif
}

INSTANTIATE_TEST_SUITE_P(Answers, DiagTerminalAnswer,
                         testing::Values(std::tuple{"i\n", 1, 0},
                                         std::tuple{"A\n", 1, abortExitCode},
                                         std::tuple{"\x04", 1, abortExitCode},
                                         std::tuple{"\x04", 0, 0}));

} // namespace
