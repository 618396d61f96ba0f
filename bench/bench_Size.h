// Data-set sizes of the benchmarks, shrunk to a few elements for the CTest smoke run, and the
// timing loop shared by the container-building benchmarks.
#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>

namespace vlt::bench {

extern bool smoke;

// `full` normally, a handful under --smoke.
inline std::size_t Size(std::size_t full) {
    return smoke ? (full < 16 ? full : 16) : full;
}

// Times build() once per pass; what it built is destroyed with the timer stopped, so that only
// the building counts.
template <class Build>
void TimeBuilds(benchmark::State& state, std::size_t items, Build build) {
    for (auto _ : state) {
        auto built = build();
        benchmark::DoNotOptimize(built);
        state.PauseTiming();
        built = decltype(built)();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(items));
}

} // namespace vlt::bench
