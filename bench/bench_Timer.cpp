// The resource monitor's timers and marks and omi_Timer against the raw clock reads they are
// made of: a timer pair reads the process times and the wall clock twice.
#include "omi_Timer.h"
#include "utl_ResourceMonitor.h"

#include <benchmark/benchmark.h>

#include <sys/resource.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <string>

namespace {

namespace fs = std::filesystem;

// An enabled monitor whose file is /dev/null, so that marks measure the work and not a
// growing file.
class EnabledMonitor {
public:
    EnabledMonitor()
        : directory(fs::temp_directory_path() / ("bench_Timer_" + std::to_string(getpid()))) {
        fs::create_directories(directory);
        fs::create_symlink("/dev/null", directory / "run.use");
        setenv("KES_RESOURCE_MONITOR", "", 1);
        omi_Singleton<utl_ResourceMonitor>::Instance().Initialize((directory / "run").c_str());
    }
    ~EnabledMonitor() {
        omi_SingletonBase<utl_ResourceMonitor>::Finalize();
        unsetenv("KES_RESOURCE_MONITOR");
        fs::remove_all(directory);
    }
    EnabledMonitor(const EnabledMonitor&) = delete;
    EnabledMonitor& operator=(const EnabledMonitor&) = delete;

    utl_ResourceMonitor& operator*() const {
        return omi_Singleton<utl_ResourceMonitor>::Instance();
    }

private:
    fs::path directory;
};

void BM_TimerPair_monitor(benchmark::State& state) {
    EnabledMonitor monitor;
    const cow_String name("solver");
    for (auto _ : state) {
        (*monitor).StartTimer(0, name);
        (*monitor).StopTimer(0);
    }
}
BENCHMARK(BM_TimerPair_monitor);

void BM_TimerPair_monitorFlat(benchmark::State& state) {
    EnabledMonitor monitor;
    for (auto _ : state) {
        utl_ResourceMonitorStartTimer(0, "solver");
        utl_ResourceMonitorStopTimer(0);
    }
}
BENCHMARK(BM_TimerPair_monitorFlat);

void BM_Mark_monitor(benchmark::State& state) {
    EnabledMonitor monitor;
    const cow_String label("assembly of the stiffness matrix");
    for (auto _ : state) {
        (*monitor).Mark(label);
    }
}
BENCHMARK(BM_Mark_monitor);

// The raw reads of one timer pair, or of one mark's times, with a choice of processor clock.
template <class ReadCpu>
void RawPair(benchmark::State& state, ReadCpu readCpu) {
    timespec wall{};
    for (auto _ : state) {
        for (int read = 0; read < 2; ++read) {
            readCpu();
            clock_gettime(CLOCK_REALTIME, &wall);
            benchmark::DoNotOptimize(wall);
        }
    }
}

void ReadRusage(int who) {
    rusage usage{};
    getrusage(who, &usage);
    benchmark::DoNotOptimize(usage);
}

void ReadClock(clockid_t clock) {
    timespec used{};
    clock_gettime(clock, &used);
    benchmark::DoNotOptimize(used);
}

void BM_TimerPair_getrusageSelf(benchmark::State& state) {
    RawPair(state, [] { ReadRusage(RUSAGE_SELF); });
}
BENCHMARK(BM_TimerPair_getrusageSelf);

void BM_TimerPair_getrusageThread(benchmark::State& state) {
    RawPair(state, [] { ReadRusage(RUSAGE_THREAD); });
}
BENCHMARK(BM_TimerPair_getrusageThread);

void BM_TimerPair_processCputimeClock(benchmark::State& state) {
    RawPair(state, [] { ReadClock(CLOCK_PROCESS_CPUTIME_ID); });
}
BENCHMARK(BM_TimerPair_processCputimeClock);

void BM_TimerPair_threadCputimeClock(benchmark::State& state) {
    RawPair(state, [] { ReadClock(CLOCK_THREAD_CPUTIME_ID); });
}
BENCHMARK(BM_TimerPair_threadCputimeClock);

void BM_Mark_getrusagePlusClock(benchmark::State& state) {
    timespec wall{};
    for (auto _ : state) {
        ReadRusage(RUSAGE_SELF);
        clock_gettime(CLOCK_REALTIME, &wall);
        benchmark::DoNotOptimize(wall);
    }
}
BENCHMARK(BM_Mark_getrusagePlusClock);

void BM_StartStop_omiTimer(benchmark::State& state) {
    omi_Timer timer;
    for (auto _ : state) {
        timer.Start();
        timer.Stop();
    }
    benchmark::DoNotOptimize(timer.GetTotalCpuTime());
}
BENCHMARK(BM_StartStop_omiTimer);

} // namespace
