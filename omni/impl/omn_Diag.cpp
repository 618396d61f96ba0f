// Diagnostic assertions and output: what a report says, where it goes in which order, and the
// limits. The operating system is reached through omn_DiagPlatform.h only.
#include "omn_Diag.h"
#include "omn_DiagPlatform.h"
#include "omn_System.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <type_traits>
#include <utility>

namespace {

using namespace vlt::detail;

constexpr std::size_t formatLimit = 1024; // characters one formatting produces at most
constexpr std::size_t programPathLimit = 260;
constexpr std::size_t utf8Limit = 4; // bytes of one character in UTF-8
constexpr int checkKind = 1;         // the kind of omn_DiagAssertA/W reports
constexpr int abortExitCode = -1;

constexpr char locationFormat[] = "File : %s\nLine : %d\nExpression : %s";
constexpr char reportFormat[] =
    "Debug Assertion Failed!\n\nProgram : %s\n%s\nLast Error (0x%08X) : %s\n";
constexpr char reportCaption[] = "ASSERTION FAILURE...";
constexpr char unknownProgram[] = "<unknown application>";
constexpr char nullText[] = "(null)";

using NarrowText = char[formatLimit + 1];
using WideText = wchar_t[formatLimit + 1];

uint32_t assertOptions = omn_DiagShowBox | omn_DiagSendToDebugger;
int assertFile = omn_DiagInvalidHandle;
int outputFile = omn_DiagInvalidHandle;
omn_DiagDebuggerSink debuggerSink = nullptr;
omn_DiagMessageBox messageBox = nullptr;

// Never freed: a report from an exit handler must still find the modules.
void** modules = nullptr;
std::size_t moduleCount = 0;
std::size_t moduleCapacity = 0;

// One buffer per composing function, shared by every caller and not protected.
NarrowText reportText;
NarrowText outputText;
WideText wideOutputText;

class LastErrorKept {
public:
    LastErrorKept() : error(SystemLastError()) {}
    ~LastErrorKept() { Restore(); }
    LastErrorKept(const LastErrorKept&) = delete;
    LastErrorKept& operator=(const LastErrorKept&) = delete;

    int Error() const { return error; }
    void Restore() const { SystemSetLastError(error); }

private:
    int error;
};

const char* OrNull(const char* text) {
    return text != nullptr ? text : nullText;
}

std::size_t FormatNarrow(NarrowText& text, const char* format, va_list args) {
    text[0] = '\0';
    if (format != nullptr && std::vsnprintf(text, sizeof text, format, args) < 0) {
        text[0] = '\0';
    }
    return std::strlen(text);
}

__attribute__((format(printf, 2, 3))) std::size_t FormatCut(NarrowText& text, const char* format,
                                                            ...) {
    va_list args;
    va_start(args, format);
    const std::size_t length = FormatNarrow(text, format, args);
    va_end(args);
    return length;
}

// vswprintf leaves a cut text unterminated and a failed one half written: hence the cleared
// buffer and the final NUL.
std::size_t FormatWide(WideText& text, const wchar_t* format, va_list args) {
    std::wmemset(text, L'\0', formatLimit + 1);
    if (format != nullptr) {
        std::vswprintf(text, formatLimit + 1, format, args);
    }
    text[formatLimit] = L'\0';
    return std::wcslen(text);
}

// The code point at `wide`, stepping over the second half of a UTF-16 surrogate pair.
char32_t NextCodePoint(const wchar_t*& wide) {
    const auto unit = static_cast<char32_t>(static_cast<std::make_unsigned_t<wchar_t>>(*wide));
    if constexpr (sizeof(wchar_t) == 2) {
        const auto next =
            static_cast<char32_t>(static_cast<std::make_unsigned_t<wchar_t>>(wide[1]));
        if (unit >= 0xD800 && unit < 0xDC00 && next >= 0xDC00 && next < 0xE000) {
            ++wide;
            return 0x10000 + ((unit - 0xD800) << 10) + (next - 0xDC00);
        }
    }
    return unit;
}

std::size_t EncodeUtf8(char32_t c, char (&bytes)[utf8Limit]) {
    if ((c >= 0xD800 && c < 0xE000) || c > 0x10FFFF) {
        c = U'?';
    }
    if (c < 0x80) {
        bytes[0] = static_cast<char>(c);
        return 1;
    }
    const std::size_t count = c < 0x800 ? 2 : c < 0x10000 ? 3 : 4;
    constexpr unsigned char leads[] = {0, 0, 0xC0, 0xE0, 0xF0};
    for (std::size_t i = count - 1; i > 0; --i) {
        bytes[i] = static_cast<char>(0x80 | (c & 0x3F));
        c >>= 6;
    }
    bytes[0] = static_cast<char>(leads[count] | c);
    return count;
}

// Wide text enters narrow text as UTF-8, which no character can make fail (a locale-bound
// conversion would drop the whole text at the first character outside the locale). Stops at
// the first character that does not fit whole.
void ToUtf8(const wchar_t* wide, char* narrow, std::size_t capacity) {
    std::size_t used = 0;
    for (; *wide != L'\0'; ++wide) {
        char bytes[utf8Limit];
        const std::size_t count = EncodeUtf8(NextCodePoint(wide), bytes);
        if (used + count >= capacity) {
            break;
        }
        std::memcpy(narrow + used, bytes, count);
        used += count;
    }
    narrow[used] = '\0';
}

void SendToDebugger(const char* text) {
    if (debuggerSink != nullptr) {
        debuggerSink(text);
    } else {
        DiagDebuggerWrite(text);
    }
}

int ShowBox(const char* caption, const char* text, int buttons) {
    return messageBox != nullptr ? messageBox(caption, text, buttons)
                                 : DiagShowBox(caption, text, buttons);
}

void WriteTo(int file, const char* bytes, std::size_t count) {
    if (file != omn_DiagInvalidHandle) {
        DiagWriteFile(file, bytes, count);
    }
}

bool AppendModule(void* module) {
    if (moduleCount == moduleCapacity) {
        const std::size_t capacity = moduleCapacity == 0 ? 1 : 2 * moduleCapacity;
        void* const grown = std::realloc(modules, capacity * sizeof *modules);
        if (grown == nullptr) {
            return false;
        }
        modules = static_cast<void**>(grown);
        moduleCapacity = capacity;
    }
    modules[moduleCount++] = module;
    return true;
}

void LookUpErrorText(int error, NarrowText& text) {
    for (std::size_t i = 0; i < moduleCount; ++i) {
        if (DiagModuleMessage(modules[i], error, text, sizeof text)) {
            return;
        }
    }
    SystemMessage(error, text, sizeof text);
}

void LookUpProgram(char (&path)[programPathLimit + 1]) {
    if (!DiagProgramPath(path, programPathLimit)) {
        static_assert(sizeof unknownProgram <= sizeof path);
        std::memcpy(path, unknownProgram, sizeof unknownProgram);
    }
}

int Verdict(int answer) {
    switch (answer) {
    case omn_DiagAnswerOk:
    case omn_DiagAnswerIgnore:
        return 0;
    case omn_DiagAnswerRetry:
        return 1;
    default:
        DiagEndProcess(abortExitCode);
    }
}

} // namespace

int omn_SetDiagAssertOptions(uint32_t options) {
    if (options == 0) {
        return 0;
    }
    return static_cast<int>(std::exchange(assertOptions, options));
}

int omn_SetDiagAssertFile(int file) {
    return std::exchange(assertFile, file);
}

int omn_SetDiagOutputFile(int file) {
    return std::exchange(outputFile, file);
}

int omn_AddDiagAssertModule(void* module) {
    const LastErrorKept kept;
    return AppendModule(module) ? 1 : 0;
}

int omn_DiagAssertA(uint32_t options, const char* expression, const char* file, int line) {
    const LastErrorKept kept;
    NarrowText location;
    FormatCut(location, locationFormat, OrNull(file), line, OrNull(expression));
    kept.Restore();
    return omn_RealAssert(options, location, checkKind);
}

int omn_DiagAssertW(uint32_t options, const wchar_t* expression, const char* file, int line) {
    const LastErrorKept kept;
    NarrowText narrow;
    ToUtf8(expression != nullptr ? expression : L"(null)", narrow, sizeof narrow);
    kept.Restore();
    return omn_DiagAssertA(options, narrow, file, line);
}

int omn_RealAssert(uint32_t options, const char* message, int kind) {
    const LastErrorKept kept;
    if (options == 0) {
        options = assertOptions;
    }
    NarrowText errorText;
    LookUpErrorText(kept.Error(), errorText);
    char program[programPathLimit + 1];
    LookUpProgram(program);
    const std::size_t length = FormatCut(reportText, reportFormat, program, OrNull(message),
                                         static_cast<unsigned>(kept.Error()), errorText);
    if ((options & omn_DiagSendToDebugger) != 0) {
        SendToDebugger(reportText);
    }
    WriteTo(assertFile, reportText, length);
    const int buttons = kind == checkKind ? omn_DiagButtonsAbortRetryIgnore : omn_DiagButtonsOk;
    const int answer = (options & omn_DiagShowBox) != 0
                           ? ShowBox(reportCaption, reportText, buttons)
                           : omn_DiagAnswerIgnore;
    kept.Restore();
    return Verdict(answer);
}

void omn_DiagOutputA(const char* format, ...) {
    const LastErrorKept kept;
    va_list args;
    va_start(args, format);
    const std::size_t length = FormatNarrow(outputText, format, args);
    va_end(args);
    SendToDebugger(outputText);
    WriteTo(outputFile, outputText, length);
}

void omn_DiagOutputW(const wchar_t* format, ...) {
    const LastErrorKept kept;
    va_list args;
    va_start(args, format);
    const std::size_t length = FormatWide(wideOutputText, format, args);
    va_end(args);
    char narrow[utf8Limit * formatLimit + 1];
    ToUtf8(wideOutputText, narrow, sizeof narrow);
    SendToDebugger(narrow);
    // Deliberate: as many bytes as the text has characters, so only the start of the wide text.
    WriteTo(outputFile, reinterpret_cast<const char*>(wideOutputText), length);
}

omn_DiagDebuggerSink omn_SetDiagDebuggerSink(omn_DiagDebuggerSink sink) {
    return std::exchange(debuggerSink, sink);
}

omn_DiagMessageBox omn_SetDiagMessageBox(omn_DiagMessageBox box) {
    return std::exchange(messageBox, box);
}
