// libFuzzer target: any argument vector through the command line and its flat entry points.
//
// The bytes are cut at NUL bytes into words. The first byte's low bit picks how they are
// handed over (as a host's argv, or as a list without a program name); then every word is
// asked for as an option name through every reader, with a few buffer sizes taken from the
// bytes. Nothing may crash or write outside the caller's buffer, and the readers must agree
// with each other; a malformed number is the published format exception.
#include "fuzz_Support.h"
#include "nex_Exception.h"
#include "utl_CommandLine.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace {

std::vector<std::string> Words(const uint8_t* data, std::size_t size) {
    std::vector<std::string> words(1);
    for (std::size_t i = 0; i < size; ++i) {
        if (data[i] == 0) {
            words.emplace_back();
        } else {
            words.back().push_back(static_cast<char>(data[i]));
        }
    }
    return words;
}

void Hand(std::vector<std::string> words, bool asList) {
    if (asList) {
        cow_1DArrayList<cow_String, cow_String> list;
        for (const std::string& word : words) {
            list.Append(cow_String(word.c_str()));
        }
        utl_setCommandLineList(list);
        return;
    }
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    utl_setCommandLine(static_cast<int>(words.size()), argv.data());
}

// Every reader of one name; the flat entry points get the name unterminated.
void Ask(const std::string& name, unsigned room) {
    const utl_CommandLine& line = thr_GlobalSingleton<utl_CommandLine>::Instance();
    const cow_String key(name.c_str());
    const bool member = line.IsMember(key);
    int status = -1;
    UTL_COMMANDLINEISMEMBER(name.data(), static_cast<uint32_t>(name.size()), &status);
    const bool trimmedAway = !name.empty() && (name.front() == ' ' || name.back() == ' ');
    if (!trimmedAway && status != (member ? 0 : 1)) {
        __builtin_trap(); // the flat reader disagrees with the class
    }
    const cow_String value = line.ConstGetValue(key, cow_String("absent"));
    try {
        (void)line.ConstGetValueAsInt(key, 0);
        (void)line.ConstGetValueAsLong(key, 0L);
        int number = 0;
        UTL_COMMANDLINEINTEGER(name.data(), static_cast<uint32_t>(name.size()), &number);
    } catch (const nex_Exception&) {
        // a value that is not a whole number
    }
    // Each buffer has a guard byte after the room the reader is told about.
    std::vector<char> buffer(room + 1, '\x5a');
    const int length = utl_CommandLineStringC(name.c_str(), buffer.data(), room);
    UTL_COMMANDLINESTRING(name.data(), static_cast<uint32_t>(name.size()), buffer.data(), room,
                          &status);
    if (length < 0 || static_cast<unsigned>(length) > room || buffer[room] != '\x5a') {
        __builtin_trap(); // a value written past the room it was given
    }
    std::vector<char> out(value.Length() + 2, '\x5a');
    const int copied = utl_getArgs(name.c_str(), out.data());
    if (copied < 0 || static_cast<unsigned>(copied) > value.Length() ||
        out[value.Length() + 1] != '\x5a') {
        __builtin_trap();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    static const bool started = vlt::fuzz::StartStreamModules();
    (void)started;
    const vlt::fuzz::QuietRun quiet;
    const std::vector<std::string> words = Words(data, size);
    Hand(words, size != 0 && (data[0] & 1) != 0);
    const utl_CommandLine& line = thr_GlobalSingleton<utl_CommandLine>::Instance();
    for (int i = -1; i <= line.Size(); ++i) { // one position past each end, reported
        (void)line.ConstGet(i);
    }
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string name =
            !words[i].empty() && words[i][0] == '-' ? words[i].substr(1) : words[i];
        Ask(name, static_cast<unsigned>(size != 0 ? data[i % size] % 24 : 0));
    }
    thr_GlobalSingletonBase<utl_CommandLine>::Finalize(); // the next input starts afresh
    return 0;
}
