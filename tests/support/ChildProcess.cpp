#include "ChildProcess.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#if defined(_WIN32)
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
#else
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace vlt::test {
namespace {

int RunHere(const std::function<int()>& body) {
    int code = 99;
    try {
        code = body();
    } catch (...) {
        code = 98;
    }
    std::fflush(nullptr);
    return code;
}

#if defined(_WIN32)

// The number of RunInChild calls the current test has made, counted again in every process.
int CallNumber() {
    static const testing::TestInfo* test = nullptr;
    static int calls = 0;
    const testing::TestInfo* current = testing::UnitTest::GetInstance()->current_test_info();
    if (current != test) {
        test = current;
        calls = 0;
    }
    return ++calls;
}

constexpr char childVariable[] = "VLT_TEST_CHILD";

int ChildCall() {
    const char* value = std::getenv(childVariable);
    return value != nullptr ? std::atoi(value) : 0;
}

std::string CurrentTestFilter() {
    const testing::TestInfo* test = testing::UnitTest::GetInstance()->current_test_info();
    return std::string(test->test_suite_name()) + "." + test->name();
}

long long StartAgain(int call, std::string program) {
    if (program.empty()) {
        char own[MAX_PATH] = "";
        GetModuleFileNameA(nullptr, own, sizeof own);
        program = own;
    }
    std::string command = "\"" + program + "\" --gtest_filter=" + CurrentTestFilter();
    SetEnvironmentVariableA(childVariable, std::to_string(call).c_str());
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    const BOOL started = CreateProcessA(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr,
                                        nullptr, &startup, &process);
    SetEnvironmentVariableA(childVariable, nullptr);
    if (!started) {
        ADD_FAILURE() << "the child could not be started: " << GetLastError();
        return -1;
    }
    CloseHandle(process.hThread);
    return reinterpret_cast<long long>(process.hProcess);
}

} // namespace

ChildProcess::ChildProcess(const std::function<int()>& body, const std::string& program) {
    const int call = CallNumber();
    if (ChildCall() == 0) {
        process_ = StartAgain(call, program);
    } else if (ChildCall() == call) {
        TerminateProcess(GetCurrentProcess(), static_cast<UINT>(RunHere(body)));
    }
}

int ChildProcess::Wait() {
    if (process_ != -1) {
        const HANDLE process = reinterpret_cast<HANDLE>(process_);
        WaitForSingleObject(process, INFINITE);
        DWORD code = 0;
        GetExitCodeProcess(process, &code);
        CloseHandle(process);
        status_ = static_cast<int>(code);
        process_ = -1;
    }
    return status_;
}

bool InRerunChild() {
    return ChildCall() != 0;
}

#else

} // namespace

ChildProcess::ChildProcess(const std::function<int()>& body, const std::string&) {
    const pid_t child = fork();
    if (child == 0) {
        _exit(RunHere(body));
    }
    process_ = child;
}

int ChildProcess::Wait() {
    if (process_ > 0) {
        int status = 0;
        waitpid(static_cast<pid_t>(process_), &status, 0);
        status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        process_ = -1;
    }
    return status_;
}

bool InRerunChild() {
    return false;
}

#endif

ChildProcess::~ChildProcess() {
    Wait();
}

int RunInChild(const std::function<int()>& body, const std::string& program) {
    return ChildProcess(body, program).Wait();
}

} // namespace vlt::test
