// Listing the names that match a pattern in a directory of 100,000 files: utl_DirObject against
// std::filesystem::directory_iterator with the same matcher, both giving the sorted paths.
#include "bench_Size.h"
#include "utl_DirObject.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using vlt::bench::Size;

constexpr char pattern[] = "*.dat";

// Half the files match. Made at the first use, removed at exit.
struct ScratchDirectory {
    fs::path path = fs::temp_directory_path() / "vlt_bench_DirObject";
    std::size_t files = 0;

    ScratchDirectory() {
        fs::remove_all(path);
        fs::create_directories(path);
        files = Size(100000);
        for (std::size_t i = 0; i < files; ++i) {
            char name[32];
            std::snprintf(name, sizeof name, i % 2 == 0 ? "f%06zu.dat" : "g%06zu.txt", i);
            std::ofstream(path / name).put('x');
        }
    }
    ~ScratchDirectory() {
        std::error_code ignored;
        fs::remove_all(path, ignored);
    }
};

const ScratchDirectory& Scratch() {
    static const ScratchDirectory scratch;
    return scratch;
}

void Library(benchmark::State& state) {
    const utl_DirObject directory(utl_FilePath(Scratch().path.string().c_str()));
    for (auto _ : state) {
        cow_List<utl_FilePath> found = directory.Matches(pattern);
        benchmark::DoNotOptimize(found);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(Scratch().files));
}

void StandardIterator(benchmark::State& state) {
    const fs::path& directory = Scratch().path;
    for (auto _ : state) {
        std::vector<std::string> found;
        for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
            const std::string name = entry.path().filename().string();
            if (utl_DirObject::NameMatches(pattern, name.c_str())) {
                found.push_back(entry.path().string());
            }
        }
        std::sort(found.begin(), found.end());
        benchmark::DoNotOptimize(found);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(Scratch().files));
}

BENCHMARK(Library)->Unit(benchmark::kMillisecond);
BENCHMARK(StandardIterator)->Unit(benchmark::kMillisecond);

} // namespace
