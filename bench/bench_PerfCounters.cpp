// Sampling the performance counters against the raw reads a client would make by hand: one
// getrusage call, and /proc/self/io opened, read and closed. The figure to read is the time per
// counter of a sample (items are counters).
#include "utl_PerfCounters.h"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

int64_t AvailableCount(const utl_PerfCounters& counters) {
    int64_t available = 0;
    for (std::size_t index = 0; index < utl_PerfCounterCount; ++index) {
        available += counters.Available(static_cast<utl_PerfCounter>(index)) ? 1 : 0;
    }
    return available;
}

void BM_Sample_everyCounter(benchmark::State& state) {
    const utl_PerfCounters counters;
    for (auto _ : state) {
        benchmark::DoNotOptimize(counters.Sample());
    }
    state.SetItemsProcessed(state.iterations() * AvailableCount(counters));
}
BENCHMARK(BM_Sample_everyCounter);

void BM_Sample_usage(benchmark::State& state) {
    const utl_PerfCounters counters(
        {utl_PerfCounter::ContextSwitches, utl_PerfCounter::PageFaults});
    for (auto _ : state) {
        benchmark::DoNotOptimize(counters.Sample());
    }
    state.SetItemsProcessed(state.iterations() * AvailableCount(counters));
}
BENCHMARK(BM_Sample_usage);

void BM_Sample_io(benchmark::State& state) {
    const utl_PerfCounters counters({utl_PerfCounter::BytesRead, utl_PerfCounter::BytesWritten,
                                     utl_PerfCounter::ReadCalls, utl_PerfCounter::WriteCalls});
    for (auto _ : state) {
        benchmark::DoNotOptimize(counters.Sample());
    }
    state.SetItemsProcessed(state.iterations() * AvailableCount(counters));
}
BENCHMARK(BM_Sample_io);

void BM_Read_oneCounter(benchmark::State& state) {
    const utl_PerfCounters counters;
    for (auto _ : state) {
        benchmark::DoNotOptimize(counters.Read(utl_PerfCounter::PageFaults));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_Read_oneCounter);

void BM_Peer_getrusage(benchmark::State& state) {
    rusage usage{};
    for (auto _ : state) {
        getrusage(RUSAGE_SELF, &usage);
        benchmark::DoNotOptimize(usage);
    }
    state.SetItemsProcessed(state.iterations() * 2);
}
BENCHMARK(BM_Peer_getrusage);

void BM_Peer_procSelfIoOpenReadClose(benchmark::State& state) {
    char text[512];
    for (auto _ : state) {
        const int descriptor = open("/proc/self/io", O_RDONLY);
        benchmark::DoNotOptimize(read(descriptor, text, sizeof text));
        close(descriptor);
    }
    state.SetItemsProcessed(state.iterations() * 4);
}
BENCHMARK(BM_Peer_procSelfIoOpenReadClose);

} // namespace
