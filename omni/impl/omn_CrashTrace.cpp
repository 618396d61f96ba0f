// The crash handler's text producers: fault reason, stack-trace lines, register dump and
// exception names, all composed into one static buffer. The operating system is reached
// through omn_CrashPlatform.h only.
#include "omn_Crash.h"
#include "omn_CrashPlatform.h"
#include "omn_CrashText.h"

#include <cstring>
#include <iterator>

namespace {

using namespace vlt::detail;

// Beyond these lengths a name or file is cut at the end of the buffer and the text stops.
constexpr std::size_t symbolRoom = 718;
constexpr std::size_t fileRoom = 714;
constexpr std::size_t parameterWords = 4;
constexpr std::size_t faultSlot = 0;
constexpr std::size_t walkCapacity = CrashSlotCount - 1;
constexpr char unknownModule[] = "<UNKNOWN>";

struct ExceptionName {
    unsigned long code;
    const char* name;
};

constexpr ExceptionName exceptionNames[] = {
    {0x80000001, "EXCEPTION_GUARD_PAGE"},
    {0x80000002, "EXCEPTION_DATATYPE_MISALIGNMENT"},
    {0x80000003, "EXCEPTION_BREAKPOINT"},
    {0x80000004, "EXCEPTION_SINGLE_STEP"},
    {0xC0000005, "EXCEPTION_ACCESS_VIOLATION"},
    {0xC0000006, "EXCEPTION_IN_PAGE_ERROR"},
    {0xC0000008, "EXCEPTION_INVALID_HANDLE"},
    {0xC000001D, "EXCEPTION_ILLEGAL_INSTRUCTION"},
    {0xC0000025, "EXCEPTION_NONCONTINUABLE_EXCEPTION"},
    {0xC0000026, "EXCEPTION_INVALID_DISPOSITION"},
    {0xC000008C, "EXCEPTION_ARRAY_BOUNDS_EXCEEDED"},
    {0xC000008D, "EXCEPTION_FLT_DENORMAL_OPERAND"},
    {0xC000008E, "EXCEPTION_FLT_DIVIDE_BY_ZERO"},
    {0xC000008F, "EXCEPTION_FLT_INEXACT_RESULT"},
    {0xC0000090, "EXCEPTION_FLT_INVALID_OPERATION"},
    {0xC0000091, "EXCEPTION_FLT_OVERFLOW"},
    {0xC0000092, "EXCEPTION_FLT_STACK_CHECK"},
    {0xC0000093, "EXCEPTION_FLT_UNDERFLOW"},
    {0xC0000094, "EXCEPTION_INT_DIVIDE_BY_ZERO"},
    {0xC0000095, "EXCEPTION_INT_OVERFLOW"},
    {0xC0000096, "EXCEPTION_PRIV_INSTRUCTION"},
    {0xC00000FD, "EXCEPTION_STACK_OVERFLOW"},
};

// The register dump in the published layout, widened to 64 bits: label, index into the values
// of the values in omn_GetRegisterString, digits and what follows.
struct RegisterField {
    const char* label;
    int value;
    int digits;
    const char* after;
};

constexpr int wide = 16;
constexpr int pcValue = 16;
constexpr int flagsValue = 17;
constexpr int segmentValues = 18; // CS DS SS ES FS GS
constexpr int valueCount = 24;
constexpr RegisterField registerFields[] = {
    {"RAX=", 0, wide, "  "},
    {"RBX=", 1, wide, "  "},
    {"RCX=", 2, wide, "  "},
    {"RDX=", 3, wide, "  "},
    {"RSI=", 4, wide, "\n"},
    {"RDI=", 5, wide, "  "},
    {"RBP=", 6, wide, "  "},
    {"RSP=", 7, wide, "  "},
    {"RIP=", pcValue, wide, "  "},
    {"FLG=", flagsValue, 8, "\n"},
    {"R8 =", 8, wide, "  "},
    {"R9 =", 9, wide, "  "},
    {"R10=", 10, wide, "  "},
    {"R11=", 11, wide, "  "},
    {"R12=", 12, wide, "\n"},
    {"R13=", 13, wide, "  "},
    {"R14=", 14, wide, "  "},
    {"R15=", 15, wide, "\n"},
    {"CS=", segmentValues, 4, "   "},
    {"DS=", segmentValues + 1, 4, "  "},
    {"SS=", segmentValues + 2, 4, "  "},
    {"ES=", segmentValues + 3, 4, "   "},
    {"FS=", segmentValues + 4, 4, "  "},
    {"GS=", segmentValues + 5, 4, ""},
};

char text[CrashTextSize];
bool sessionOpen = false;

// The walk record that carries a walk from one line to the next.
struct Walk {
    CrashFrame frames[walkCapacity];
    std::size_t count;
    std::size_t next;
    bool resolved;
};
Walk walk;
uintptr_t lookups[walkCapacity];

bool PointersReadable(const omn_ExceptionPointers* pointers) {
    return pointers != nullptr && CrashReadable(pointers, sizeof *pointers) &&
           pointers->ExceptionRecord != nullptr &&
           CrashReadable(pointers->ExceptionRecord, sizeof *pointers->ExceptionRecord) &&
           pointers->ContextRecord != nullptr &&
           CrashReadable(pointers->ContextRecord, CrashContextSize());
}

CrashRegisters RegistersOf(const omn_ExceptionPointers* pointers) {
    CrashRegisters registers{};
    CrashReadRegisters(pointers->ContextRecord, registers);
    return registers;
}

// `module` null: the main program.
void AppendModuleName(CrashComposer& out, void* module) {
    char path[CrashTextSize];
    if (CrashModulePath(module, path, sizeof path) > 0) {
        out.Append(CrashBaseName(path));
    } else {
        out.Append(unknownModule);
    }
}

// An over-long name is cut at the end of the buffer; false then, the text stops there.
bool FitsOrCut(CrashComposer& out, const char* name, std::size_t room) {
    const std::size_t length = CrashLength(name);
    if (out.Length() <= room && length <= room - out.Length()) {
        return true;
    }
    out.AppendCut(name, CrashTextSize - 1 - out.Length());
    return false;
}

void AppendDisplacement(CrashComposer& out, uint64_t displacement) {
    out.AppendDecimal(displacement, 4).Append(" byte(s)");
}

// `bare` follows a symbol found at its exact start.
bool AppendSymbol(CrashComposer& out, const CrashSourceInfo& info, uintptr_t pc, const char* bare) {
    out.Append(", ");
    if (!FitsOrCut(out, info.symbol, symbolRoom)) {
        return false;
    }
    out.Append(info.symbol);
    if (pc == info.symbolStart) {
        out.Append(bare);
    } else {
        out.Append("()+");
        AppendDisplacement(out, pc - info.symbolStart);
    }
    return true;
}

void AppendLine(CrashComposer& out, const CrashSourceInfo& info, uintptr_t pc) {
    out.Append(", ");
    if (!FitsOrCut(out, info.file, fileRoom)) {
        return;
    }
    out.Append(info.file).Append(", line ").AppendDecimal(info.line, 4);
    if (pc != info.lineStart) {
        out.Append("+");
        AppendDisplacement(out, pc - info.lineStart);
    }
}

void AppendAddress(CrashComposer& out, const CrashRegisters& registers, uintptr_t address) {
    out.AppendHex(registers.cs, 4).Append(":").AppendHex(address, CrashAddressDigits);
}

void AppendParameters(CrashComposer& out, const CrashFrame& frame) {
    uint64_t words[parameterWords] = {};
    const void* at = reinterpret_cast<const void*>(frame.frame);
    if (CrashReadable(at, sizeof words)) {
        std::memcpy(words, at, sizeof words);
    }
    out.Append(" (");
    for (std::size_t i = 0; i < parameterWords; ++i) {
        out.Append(i == 0 ? "0x" : " 0x").AppendHex(words[i], CrashAddressDigits);
    }
    out.Append(")");
}

// A return address belongs to the call before it: look it up one byte earlier.
void ResolveWalk() {
    for (std::size_t i = 0; i < walk.count; ++i) {
        lookups[i] = walk.frames[i].pc - (walk.frames[i].returnAddress ? 1 : 0);
    }
    CrashResolve(lookups, walk.count, faultSlot + 1);
    walk.resolved = true;
}

const char* EndWalk() {
    walk.next = walk.count;
    return nullptr;
}

} // namespace

const char* omn_ConvertSimpleException(unsigned long code) {
    for (const ExceptionName& known : exceptionNames) {
        if (known.code == code) {
            return known.name;
        }
    }
    return nullptr;
}

bool omn_InitStackTraceRoutines() {
    return CrashPrepare();
}

void omn_InitSymEng() {
    if (omn_InitStackTraceRoutines() && !sessionOpen) {
        sessionOpen = true;
    }
}

// Deliberately only the flag: the next session starts afresh.
void omn_CleanupSymEng() {
    sessionOpen = false;
}

const char* omn_GetFaultReason(omn_ExceptionPointers* pointers) {
    if (!PointersReadable(pointers)) {
        return nullptr;
    }
    omn_InitSymEng();
    const omn_ExceptionRecord& record = *pointers->ExceptionRecord;
    const auto address = reinterpret_cast<uintptr_t>(record.ExceptionAddress);
    CrashComposer out(text);
    AppendModuleName(out, nullptr);
    out.Append(" caused an ");
    const char* name = omn_ConvertSimpleException(record.ExceptionCode);
    if (name == nullptr) {
        name = CrashSystemMessage(record.ExceptionCode);
    }
    if (name != nullptr) {
        out.Append(name);
    }
    out.Append(" in module ");
    if (void* const module = CrashModuleOf(record.ExceptionAddress)) {
        AppendModuleName(out, module);
    } else {
        out.Append(unknownModule);
    }
    out.Append(" at ");
    AppendAddress(out, RegistersOf(pointers), address);
    CrashResolve(&address, 1, faultSlot);
    const CrashSourceInfo& info = CrashResolved(faultSlot);
    // Deliberately a trailing blank and no parentheses at a symbol's exact start, unlike the
    // stack-trace lines.
    if (info.hasSymbol && AppendSymbol(out, info, address, " ") && info.hasLine) {
        AppendLine(out, info, address);
    }
    return text;
}

const char* omn_GetFirstStackTraceString(unsigned options, omn_ExceptionPointers* pointers) {
    if (!PointersReadable(pointers)) {
        return nullptr;
    }
    walk.count = CrashWalk(pointers->ContextRecord, walk.frames, walkCapacity);
    walk.next = 0;
    walk.resolved = false;
    return omn_InternalGetStackTraceString(options, pointers);
}

const char* omn_GetNextStackTraceString(unsigned options, omn_ExceptionPointers* pointers) {
    return omn_InternalGetStackTraceString(options, pointers);
}

const char* omn_InternalGetStackTraceString(unsigned options, omn_ExceptionPointers* pointers) {
    if (!PointersReadable(pointers)) {
        return nullptr;
    }
    omn_InitSymEng();
    if (walk.next >= walk.count) {
        return nullptr;
    }
    const std::size_t index = walk.next++;
    const CrashFrame& frame = walk.frames[index];
    void* const module = CrashModuleOf(reinterpret_cast<const void*>(frame.pc));
    if (frame.frame == 0 || module == nullptr) {
        return EndWalk();
    }
    CrashComposer out(text);
    AppendAddress(out, RegistersOf(pointers), frame.pc);
    if ((options & omn_StackTraceParameters) != 0) {
        AppendParameters(out, frame);
    }
    if ((options & omn_StackTraceModule) != 0) {
        out.Append(" ");
        AppendModuleName(out, module);
    }
    if ((options & (omn_StackTraceSymbol | omn_StackTraceLine)) != 0 && !walk.resolved) {
        ResolveWalk();
    }
    const CrashSourceInfo& info = CrashResolved(faultSlot + 1 + index);
    if ((options & omn_StackTraceSymbol) != 0 &&
        (!info.hasSymbol || !AppendSymbol(out, info, frame.pc, ""))) {
        return text;
    }
    if ((options & omn_StackTraceLine) != 0 && info.hasLine) {
        AppendLine(out, info, frame.pc);
    }
    return text;
}

const char* omn_GetRegisterString(omn_ExceptionPointers* pointers) {
    if (!PointersReadable(pointers)) {
        return nullptr;
    }
    const CrashRegisters registers = RegistersOf(pointers);
    uint64_t values[valueCount] = {};
    std::memcpy(values, registers.general, sizeof registers.general);
    values[pcValue] = registers.pc;
    values[flagsValue] = registers.flags;
    const uint16_t segments[] = {registers.cs, registers.ds, registers.ss,
                                 registers.es, registers.fs, registers.gs};
    for (int i = 0; i < 6; ++i) {
        values[segmentValues + i] = segments[i];
    }
    CrashComposer out(text);
    for (const RegisterField& field : registerFields) {
        out.Append(field.label).AppendHex(values[field.value], field.digits).Append(field.after);
    }
    return text;
}
