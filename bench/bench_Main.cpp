// Shared main of the benchmark programs. "--smoke" shrinks every data set to a few elements, so
// that CTest can run each program once as a test of the benchmark code itself.
#include "bench_Size.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

namespace vlt::bench {
bool smoke = false;
} // namespace vlt::bench

int main(int argc, char** argv) {
    std::vector<char*> args;
    for (int i = 0; i < argc; ++i) {
        if (std::strcmp(argv[i], "--smoke") == 0) {
            vlt::bench::smoke = true;
        } else {
            args.push_back(argv[i]);
        }
    }
    int count = static_cast<int>(args.size());
    benchmark::Initialize(&count, args.data());
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
