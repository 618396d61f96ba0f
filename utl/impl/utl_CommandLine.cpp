#include "utl_CommandLine.h"

#include "utl_CmdLineArgExceptions.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

template class thr_GlobalSingletonBase<utl_CommandLine>;

namespace {
constexpr char utl_CommandLinePath[] = "utl/impl/utl_CommandLine";

[[noreturn]] void ThrowMissing(const cow_String& key, int line) {
    utl_MissingCmdLineArgException missing(key);
    missing.Throw(utl_CommandLinePath, line);
}

bool AllDigits(const cow_String& value) {
    const char* text = value.c_str();
    for (unsigned i = 0; i < value.Length(); ++i) {
        if (std::isdigit(static_cast<unsigned char>(text[i])) == 0) {
            return false;
        }
    }
    return true;
}

// Only the blank is trimmed, from the right and then from the left.
cow_String TrimmedName(const char* name, uint32_t length) {
    cow_String trimmed(name, length);
    trimmed.RightTrim(" ");
    trimmed.LeftTrim(" ");
    return trimmed;
}

// A copy with a representation of its own. The stored strings' counters are plain integers:
// a copy that shared them would be dropped by its reader outside the lock while another
// reader copies the same string inside it.
cow_String Unshared(const cow_String& stored) {
    return {stored.c_str(), stored.Length()};
}

const utl_CommandLine& TheCommandLine() {
    return thr_GlobalSingleton<utl_CommandLine>::Instance();
}

// The value blank-padded into n bytes when it fits, its length whenever it is present.
int OptionText(const cow_String& name, char* buffer, unsigned n, int& length) {
    const utl_CommandLine& commandLine = TheCommandLine();
    if (!commandLine.IsMember(name)) {
        return utl_OptionAbsent;
    }
    const cow_String value = commandLine.ConstGetValue(name);
    length = static_cast<int>(value.Length());
    if (value.Length() > n) {
        return utl_OptionTooLong;
    }
    std::copy_n(value.c_str(), value.Length(), buffer);
    std::fill_n(buffer + value.Length(), n - value.Length(), ' ');
    return utl_OptionFound;
}
} // namespace

// Holds the class's lock for the lifetime of a read, released on every way out.
class utl_CommandLine::ReadLock {
public:
    ReadLock() { thr_GlobalSingletonBase<utl_CommandLine>::LockBase(); }
    ~ReadLock() { thr_GlobalSingletonBase<utl_CommandLine>::UnlockBase(); }
    ReadLock(const ReadLock&) = delete;
    ReadLock& operator=(const ReadLock&) = delete;
};

utl_CommandLine::utl_CommandLine() = default;
utl_CommandLine::~utl_CommandLine() = default;

void utl_CommandLine::SetArgs(int argc, char** argv) {
    if (argc < 1 || argv == nullptr) {
        return;
    }
    const int programName = count;
    for (int i = 0; i < argc; ++i) {
        raw.Get(static_cast<unsigned>(count)) = cow_String(argv[i]);
        ++count;
    }
    Parse(programName + 1);
}

// The list carries no program name, so its first element is parsed too (unlike SetArgs).
void utl_CommandLine::SetArgsList(cow_1DArrayList<cow_String, cow_String> args) {
    count = static_cast<int32_t>(args.Length());
    raw = args;
    plain.Clear();
    Parse(0);
}

// A word starting with '-' always opens an option; the next plain word, if any, is its value.
// An option that ends the arguments is entered at once, one followed by another option when
// that one opens.
void utl_CommandLine::Parse(int first) {
    const cow_String noValue;
    cow_String pending;
    bool waiting = false;
    for (int i = first; i < count; ++i) {
        const cow_String& word = raw.ConstGet(static_cast<unsigned>(i));
        if (word[0] == '-') {
            if (waiting) {
                options.Insert(pending, noValue);
            }
            pending = word.Substr(1);
            waiting = true;
            if (i == count - 1) {
                options.Insert(pending, noValue);
            }
        } else if (waiting) {
            options.Insert(pending, word);
            waiting = false;
        } else {
            plain.Append(word);
        }
    }
}

bool utl_CommandLine::Lookup(const cow_String& key, cow_String& value) const {
    const ReadLock lock;
    if (!options.IsMember(key)) {
        return false;
    }
    value = Unshared(options.ConstGet(key));
    return true;
}

cow_String utl_CommandLine::DigitsOf(const cow_String& key, const cow_String& value) const {
    if (!AllDigits(value)) {
        utl_CmdLineArgFormatException malformed(key, "integer");
        malformed.Throw(utl_CommandLinePath, __LINE__);
    }
    return value;
}

cow_String utl_CommandLine::ConstGetValue(const cow_String& key) const {
    cow_String value;
    if (!Lookup(key, value)) {
        ThrowMissing(key, __LINE__);
    }
    return value;
}

cow_String utl_CommandLine::ConstGetValue(const cow_String& key, const cow_String& fallback) const {
    cow_String value;
    return Lookup(key, value) ? value : fallback;
}

int utl_CommandLine::ConstGetValueAsInt(const cow_String& key) const {
    return std::atoi(DigitsOf(key, ConstGetValue(key)).c_str());
}

int utl_CommandLine::ConstGetValueAsInt(const cow_String& key, int fallback) const {
    cow_String value;
    return Lookup(key, value) ? std::atoi(DigitsOf(key, value).c_str()) : fallback;
}

long utl_CommandLine::ConstGetValueAsLong(const cow_String& key) const {
    return std::atol(DigitsOf(key, ConstGetValue(key)).c_str());
}

long utl_CommandLine::ConstGetValueAsLong(const cow_String& key, long fallback) const {
    cow_String value;
    return Lookup(key, value) ? std::atol(DigitsOf(key, value).c_str()) : fallback;
}

bool utl_CommandLine::IsMember(const cow_String& key) const {
    const ReadLock lock;
    return options.IsMember(key);
}

cow_String utl_CommandLine::ConstGet(int i) const {
    const ReadLock lock;
    return Unshared(raw.ConstGet(static_cast<unsigned>(i)));
}

int utl_CommandLine::Size() const {
    const ReadLock lock;
    return count;
}

cow_List<cow_String> utl_CommandLine::PlainArguments() const {
    const ReadLock lock;
    cow_List<cow_String> copies;
    for (uint32_t i = 0; i < plain.Size(); ++i) {
        copies.Append(Unshared(plain.ConstGet(i)));
    }
    return copies;
}

struct vlt::detail::utl_CommandLineSetter {
    static void SetArgs(int argc, char** argv) {
        thr_GlobalSingleton<utl_CommandLine>::Instance().SetArgs(argc, argv);
    }
    static void SetArgsList(const cow_1DArrayList<cow_String, cow_String>& args) {
        thr_GlobalSingleton<utl_CommandLine>::Instance().SetArgsList(args);
    }
};

void utl_setCommandLine(int argc, char** argv) {
    vlt::detail::utl_CommandLineSetter::SetArgs(argc, argv);
}

void utl_setCommandLineList(const cow_1DArrayList<cow_String, cow_String>& args) {
    vlt::detail::utl_CommandLineSetter::SetArgsList(args);
}

void UTL_COMMANDLINEINTEGER(const char* name, uint32_t nameLength, int* result) {
    const cow_String key = TrimmedName(name, nameLength);
    const utl_CommandLine& commandLine = TheCommandLine();
    *result = commandLine.IsMember(key) ? commandLine.ConstGetValueAsInt(key) : 0;
}

void UTL_COMMANDLINEISMEMBER(const char* name, uint32_t nameLength, int* result) {
    *result = TheCommandLine().IsMember(TrimmedName(name, nameLength)) ? 0 : 1;
}

void UTL_COMMANDLINESTRING(const char* name, uint32_t nameLength, char* buffer,
                           uint32_t bufferLength, int* result) {
    *result = utl_CommandLineStringC(TrimmedName(name, nameLength).c_str(), buffer, bufferLength);
}

// A value too long for the buffer answers 0, exactly like an absent option.
int utl_CommandLineStringC(const char* name, char* buffer, unsigned n) {
    int length = 0;
    const int status = OptionText(name, buffer, n, length);
    return status == utl_OptionFound ? length : 0;
}

int utl_getArgs(const char* name, char* out) {
    const utl_CommandLine& commandLine = TheCommandLine();
    if (!commandLine.IsMember(name)) {
        return 0;
    }
    const cow_String value = commandLine.ConstGetValue(name);
    std::copy_n(value.c_str(), value.Length() + 1, out);
    return static_cast<int>(value.Length());
}

int utl_CommandLineIntegerStatus(const char* name, uint32_t nameLength, int* result) {
    *result = 0;
    const cow_String key = TrimmedName(name, nameLength);
    const utl_CommandLine& commandLine = TheCommandLine();
    if (!commandLine.IsMember(key)) {
        return utl_OptionAbsent;
    }
    try {
        *result = commandLine.ConstGetValueAsInt(key);
    } catch (const utl_CmdLineArgFormatException&) {
        return utl_OptionMalformed;
    }
    return utl_OptionFound;
}

int utl_CommandLineStringStatus(const char* name, uint32_t nameLength, char* buffer,
                                uint32_t bufferLength, int* length) {
    *length = 0;
    return OptionText(TrimmedName(name, nameLength), buffer, bufferLength, *length);
}
