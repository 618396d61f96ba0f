// Runs a fuzz target without the fuzzer over the inputs it keeps: every file named on the
// command line, and every file in a named directory. The test suites run each target this way
// over its committed corpus, so that an input that once failed is decoded again on every test
// run. A failure is whatever the target or the sanitizers make of the input: a trap, a crash,
// a sanitizer report.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size);

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> Inputs(int argc, char** argv) {
    std::vector<fs::path> files;
    for (int i = 1; i < argc; ++i) {
        const fs::path named(argv[i]);
        if (!fs::is_directory(named)) {
            files.push_back(named);
            continue;
        }
        for (const fs::directory_entry& entry : fs::directory_iterator(named)) {
            if (entry.is_regular_file() && entry.path().filename().string()[0] != '.') {
                files.push_back(entry.path());
            }
        }
    }
    std::sort(files.begin(), files.end()); // the same order on every run
    return files;
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<fs::path> files = Inputs(argc, argv);
    for (const fs::path& file : files) {
        std::ifstream in(file, std::ios::binary);
        if (!in) {
            std::fprintf(stderr, "cannot read %s\n", file.string().c_str());
            return 1;
        }
        const std::string bytes{std::istreambuf_iterator<char>(in),
                                std::istreambuf_iterator<char>()};
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    }
    std::printf("replayed %zu inputs\n", files.size());
    return files.empty() ? 1 : 0; // an empty corpus means a wrong path, not a pass
}
