// libFuzzer target: the bytes as a message catalogue file, read through the translation calls.
//
// Each input is written as the only dictionary of one domain and locale, then every
// NUL-separated string of the input (up to 32) is asked for as a message, a plural message and
// a message under the first string as context, besides a few fixed ones. Nothing may fault or
// hang, every answer must be a text, and a second load of the same file must answer the same.
#include "fuzz_Support.h"
#include "utl_tr.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

void Require(bool rule) {
    if (!rule) {
        __builtin_trap();
    }
}

// The catalogue directory of this process, set up once.
fs::path CatalogueFile() {
    static const fs::path file = [] {
        const fs::path root = fs::temp_directory_path() / "vlt_trCatalog_fuzz";
        fs::create_directories(root / "xx" / "LC_MESSAGES");
        vlt::fuzz::SetEnvironment("KES_LOCALE_DIR", root.string().c_str());
        vlt::fuzz::SetEnvironment("LANGUAGE", "xx");
        utl_trSetDomain("fuzz");
        return root / "xx" / "LC_MESSAGES" / "fuzz.mo";
    }();
    return file;
}

std::vector<std::string> Queries(const std::string& bytes) {
    std::vector<std::string> queries{"", "a", "Open", "%d element"};
    std::size_t start = 0;
    while (start < bytes.size() && queries.size() < 36) {
        const std::size_t end = std::min(bytes.find('\0', start), bytes.size());
        queries.push_back(bytes.substr(start, end - start));
        start = end + 1;
    }
    return queries;
}

// Every answer, as texts: the pointers die with the release.
std::vector<std::string> Answers(const std::vector<std::string>& queries) {
    std::vector<std::string> answers;
    const char* context = queries.back().c_str();
    for (const std::string& query : queries) {
        const char* text = query.c_str();
        for (const char* answer :
             {utl_tr(text), utl_trContext(context, text), utl_trPlural(text, "p", 0),
              utl_trPlural(text, "p", 1), utl_trPlural(text, "p", 7),
              utl_trPlural(text, "p", 4000000000UL)}) {
            Require(answer != nullptr);
            answers.emplace_back(answer, std::strlen(answer));
        }
    }
    return answers;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    const vlt::fuzz::QuietRun quiet;
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    std::ofstream(CatalogueFile(), std::ios::binary | std::ios::trunc)
        .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    const std::vector<std::string> queries = Queries(bytes);
    utl_trReleaseDB();
    const std::vector<std::string> first = Answers(queries);
    utl_trReleaseDB();
    Require(Answers(queries) == first);
    utl_trReleaseDB();
    return 0;
}
