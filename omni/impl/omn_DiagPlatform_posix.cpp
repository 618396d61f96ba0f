// The diagnostics facility on POSIX: standard error as the debugger channel, a prompt on the
// controlling terminal as the box, file descriptors, and message functions found with dlsym.
#include "omn_Diag.h"
#include "omn_DiagPlatform.h"
#include "omn_System.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace vlt::detail {
namespace {

constexpr char terminalPath[] = "/dev/tty";
constexpr char abortRetryIgnorePrompt[] = "Abort, Retry or Ignore? [a/r/i] ";
constexpr char okPrompt[] = "Press Enter to continue. ";
constexpr int endOfInput = -1;

void WriteText(int file, const char* text) {
    SystemWrite(file, text, std::strlen(text));
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

} // namespace

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
    SystemWrite(file, bytes, count);
}

bool DiagModuleMessage(void* module, int error, char* text, std::size_t capacity) {
    if (module == nullptr) {
        return false;
    }
    void* const symbol = dlsym(module, omn_DiagMessageSymbol);
    if (symbol == nullptr || !DefinedIn(module, symbol)) {
        return false;
    }
    const char* const message = reinterpret_cast<omn_DiagMessageFunc>(symbol)(error);
    if (message == nullptr || capacity == 0) {
        return false;
    }
    SystemCopyText(text, capacity, message);
    return true;
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
