// The diagnostics facility on POSIX: standard error as the debugger channel, a prompt on the
// controlling terminal as the box, file descriptors, message functions found with dlsym, and
// strerror_r.
#include "omn_Diag.h"
#include "omn_DiagPlatform.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>

namespace vlt::detail {
namespace {

constexpr char terminalPath[] = "/dev/tty";
constexpr char abortRetryIgnorePrompt[] = "Abort, Retry or Ignore? [a/r/i] ";
constexpr char okPrompt[] = "Press Enter to continue. ";
constexpr int endOfInput = -1;

// A write to a pipe that nobody reads must fail like any other write instead of killing the
// process: SIGPIPE is held back while writing, and one that the write raised is taken off.
class SigpipeHeld {
public:
    SigpipeHeld() {
        sigemptyset(&sigpipe);
        sigaddset(&sigpipe, SIGPIPE);
        wasPending = IsPending();
        pthread_sigmask(SIG_BLOCK, &sigpipe, &previousMask);
    }
    ~SigpipeHeld() {
        if (!wasPending && IsPending()) {
            const timespec noWait{};
            sigtimedwait(&sigpipe, nullptr, &noWait);
        }
        pthread_sigmask(SIG_SETMASK, &previousMask, nullptr);
    }
    SigpipeHeld(const SigpipeHeld&) = delete;
    SigpipeHeld& operator=(const SigpipeHeld&) = delete;

private:
    static bool IsPending() {
        sigset_t pending;
        sigpending(&pending);
        return sigismember(&pending, SIGPIPE) == 1;
    }

    sigset_t sigpipe{};
    sigset_t previousMask{};
    bool wasPending = false;
};

void WriteAll(int file, const char* bytes, std::size_t count) {
    const SigpipeHeld held;
    while (count > 0) {
        const ssize_t written = write(file, bytes, count);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return;
        }
        bytes += written;
        count -= static_cast<std::size_t>(written);
    }
}

void WriteText(int file, const char* text) {
    WriteAll(file, text, std::strlen(text));
}

// The first character of the next line ('\n' for an empty one), or endOfInput.
int ReadLineStart(int terminal) {
    int first = endOfInput;
    for (;;) {
        char c = 0;
        const ssize_t got = read(terminal, &c, 1);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            return endOfInput;
        }
        if (first == endOfInput) {
            first = static_cast<unsigned char>(c);
        }
        if (c == '\n') {
            return first;
        }
    }
}

int AskAbortRetryIgnore(int terminal) {
    for (;;) {
        WriteText(terminal, abortRetryIgnorePrompt);
        switch (ReadLineStart(terminal)) {
        case endOfInput:
            return omn_DiagAnswerNone;
        case 'a':
        case 'A':
            return omn_DiagAnswerAbort;
        case 'r':
        case 'R':
            return omn_DiagAnswerRetry;
        case 'i':
        case 'I':
            return omn_DiagAnswerIgnore;
        default:
            break;
        }
    }
}

// The end of input closes an OK box as OK, as Escape would.
int AskOk(int terminal) {
    WriteText(terminal, okPrompt);
    ReadLineStart(terminal);
    return omn_DiagAnswerOk;
}

bool CopyCut(const char* source, char* target, std::size_t capacity) {
    if (source == nullptr || capacity == 0) {
        return false;
    }
    const std::size_t length = strnlen(source, capacity - 1);
    std::memcpy(target, source, length);
    target[length] = '\0';
    return true;
}

// dlsym also searches the module's dependencies; only the module's own function counts.
bool DefinedIn(void* module, void* symbol) {
    link_map* moduleMap = nullptr;
    if (dlinfo(module, RTLD_DI_LINKMAP, &moduleMap) != 0) {
        return false;
    }
    Dl_info info{};
    link_map* symbolMap = nullptr;
    if (dladdr1(symbol, &info, reinterpret_cast<void**>(&symbolMap), RTLD_DL_LINKMAP) == 0) {
        return false;
    }
    return moduleMap == symbolMap;
}

// strerror_r comes in two flavours: GNU returns the text, XSI fills the buffer and returns 0.
[[maybe_unused]] const char* ChosenText(const char* gnuText, const char*) {
    return gnuText;
}
[[maybe_unused]] const char* ChosenText(int xsiResult, const char* buffer) {
    return xsiResult == 0 ? buffer : nullptr;
}

} // namespace

int DiagLastError() {
    return errno;
}

void DiagSetLastError(int error) {
    errno = error;
}

void DiagDebuggerWrite(const char* text) {
    WriteText(STDERR_FILENO, text);
}

int DiagShowBox(const char* caption, const char* text, int buttons) {
    const int terminal = open(terminalPath, O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (terminal < 0) {
        return omn_DiagAnswerNone;
    }
    WriteText(terminal, "\n");
    WriteText(terminal, caption);
    WriteText(terminal, "\n\n");
    WriteText(terminal, text);
    WriteText(terminal, "\n");
    const int answer = buttons == omn_DiagButtonsAbortRetryIgnore ? AskAbortRetryIgnore(terminal)
                                                                  : AskOk(terminal);
    close(terminal);
    return answer;
}

void DiagWriteFile(int file, const char* bytes, std::size_t count) {
    WriteAll(file, bytes, count);
}

bool DiagModuleMessage(void* module, int error, char* text, std::size_t capacity) {
    if (module == nullptr) {
        return false;
    }
    void* const symbol = dlsym(module, omn_DiagMessageSymbol);
    if (symbol == nullptr || !DefinedIn(module, symbol)) {
        return false;
    }
    const auto message = reinterpret_cast<omn_DiagMessageFunc>(symbol);
    return CopyCut(message(error), text, capacity);
}

bool DiagSystemMessage(int error, char* text, std::size_t capacity) {
    char buffer[256];
    return CopyCut(ChosenText(strerror_r(error, buffer, sizeof buffer), buffer), text, capacity);
}

bool DiagProgramPath(char* path, std::size_t limit) {
    const ssize_t length = readlink("/proc/self/exe", path, limit);
    if (length <= 0) {
        return false;
    }
    path[length] = '\0';
    return true;
}

void DiagEndProcess(int code) {
    _exit(code);
}

} // namespace vlt::detail
