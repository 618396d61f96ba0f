// The diagnostics facility on Windows: OutputDebugStringA as the debugger channel, MessageBoxA
// as the box, runtime descriptors as files, and the message tables of modules.
#include "omn_Diag.h"
#include "omn_DiagPlatform.h"
#include "omn_System.h"

#define NOMINMAX 1 // the value libstdc++ gives it on mingw-w64
#include <windows.h>

namespace vlt::detail {
namespace {

// Room for the longest text of a message table.
constexpr std::size_t messageLimit = 1024;

// The error icon; task-modal, so that the thread's other windows wait for the answer; in front,
// so that a report from a program in the background is seen.
constexpr UINT boxStyle = MB_ICONERROR | MB_TASKMODAL | MB_SETFOREGROUND;

// The box belongs to what the user is looking at: the last active pop-up of the active window.
HWND BoxOwner() {
    const HWND active = GetActiveWindow();
    return active != nullptr ? GetLastActivePopup(active) : nullptr;
}

// A box that could not be shown (0; -1 from Wine without a display) and any answer the buttons
// cannot give are no answer: the caller then ends the process, as for Abort.
int AnswerOf(int pressed) {
    switch (pressed) {
    case IDOK:
        return omn_DiagAnswerOk;
    case IDABORT:
        return omn_DiagAnswerAbort;
    case IDRETRY:
        return omn_DiagAnswerRetry;
    case IDIGNORE:
        return omn_DiagAnswerIgnore;
    default:
        return omn_DiagAnswerNone;
    }
}

} // namespace

void DiagDebuggerWrite(const char* text) {
    OutputDebugStringA(text);
}

int DiagShowBox(const char* caption, const char* text, int buttons) {
    const UINT kind =
        buttons == omn_DiagButtonsAbortRetryIgnore ? MB_ABORTRETRYIGNORE : static_cast<UINT>(MB_OK);
    return AnswerOf(MessageBoxA(BoxOwner(), text, caption, kind | boxStyle));
}

void DiagWriteFile(int file, const char* bytes, std::size_t count) {
    SystemWrite(file, bytes, count);
}

// A null module would mean the program's own table to FormatMessageA; here it knows no text.
// The local buffer is there because FormatMessageA refuses a buffer too small for the whole
// text instead of cutting it.
bool DiagModuleMessage(void* module, int error, char* text, std::size_t capacity) {
    if (module == nullptr || capacity == 0) {
        return false;
    }
    char message[messageLimit];
    const DWORD length =
        FormatMessageA(FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_IGNORE_INSERTS, module,
                       static_cast<DWORD>(error), 0, message, sizeof message, nullptr);
    if (length == 0) {
        return false;
    }
    SystemCutLineEnd(message, length);
    SystemCopyText(text, capacity, message);
    return true;
}

bool DiagProgramPath(char* path, std::size_t limit) {
    const DWORD size = static_cast<DWORD>(limit + 1);
    const DWORD length = GetModuleFileNameA(nullptr, path, size);
    if (length == 0) {
        return false;
    }
    // A cut path comes without its terminator on older systems and under Wine.
    path[length < size ? length : limit] = '\0';
    return true;
}

// TerminateProcess rather than ExitProcess: no DLL detach notifications, no exit handlers, no
// static destructors; nothing of the process runs after the report.
void DiagEndProcess(int code) {
    TerminateProcess(GetCurrentProcess(), static_cast<UINT>(code));
    // TerminateProcess does not return for the own process; should it ever, the code still holds.
    ExitProcess(static_cast<UINT>(code));
}

} // namespace vlt::detail
