// The performance counters on Windows: QueryProcessCycleTime, the page faults of
// GetProcessMemoryInfo and the transfers of GetProcessIoCounters, all of the own process. The
// system has no per-process count of instructions, cache or branch misses or context switches
// short of the performance-data interface, whose process object sums the threads' switches
// from a system-wide snapshot far too slow to sample; those counters are absent here.
#include "utl_PerfCounterPlatform.h"

#include <windows.h>

#include <psapi.h>

namespace vlt::detail {

namespace {

bool ReadCycles(utl_PerfSample& sample) {
    ULONG64 cycles = 0;
    if (!QueryProcessCycleTime(GetCurrentProcess(), &cycles)) {
        return false;
    }
    sample.Set(utl_PerfCounter::Cycles, cycles);
    return true;
}

// Every process has faulted pages in by the time it runs: a count of zero is a system that does
// not keep one (Wine).
bool ReadPageFaults(utl_PerfSample& sample) {
    PROCESS_MEMORY_COUNTERS counters{};
    counters.cb = sizeof counters;
    if (!GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters)) {
        return false;
    }
    sample.Set(utl_PerfCounter::PageFaults, counters.PageFaultCount);
    return counters.PageFaultCount != 0;
}

// A process has made some input or output call (console, file) by the time it runs: a system
// that leaves every figure at zero does not count them (Wine).
bool ReadIo(utl_PerfSample& sample, PerfMask which) {
    IO_COUNTERS io{};
    if (!GetProcessIoCounters(GetCurrentProcess(), &io) ||
        (io.ReadOperationCount | io.WriteOperationCount | io.OtherOperationCount) == 0) {
        return false;
    }
    const std::pair<utl_PerfCounter, ULONGLONG> figures[] = {
        {utl_PerfCounter::BytesRead, io.ReadTransferCount},
        {utl_PerfCounter::BytesWritten, io.WriteTransferCount},
        {utl_PerfCounter::ReadCalls, io.ReadOperationCount},
        {utl_PerfCounter::WriteCalls, io.WriteOperationCount}};
    for (const auto& [counter, value] : figures) {
        if (which & PerfBit(counter)) {
            sample.Set(counter, value);
        }
    }
    return true;
}

} // namespace

// Nothing to keep open: every figure is asked of the own process's pseudo handle.
struct PerfSources {
    PerfMask available = 0;
};

// A counter is available when its call answers once now.
PerfSources* PerfOpen(PerfMask wanted) {
    auto* sources = new PerfSources;
    utl_PerfSample probe;
    if ((wanted & PerfBit(utl_PerfCounter::Cycles)) && ReadCycles(probe)) {
        sources->available |= PerfBit(utl_PerfCounter::Cycles);
    }
    if ((wanted & PerfBit(utl_PerfCounter::PageFaults)) && ReadPageFaults(probe)) {
        sources->available |= PerfBit(utl_PerfCounter::PageFaults);
    }
    if ((wanted & perfIoCounters) && ReadIo(probe, perfIoCounters)) {
        sources->available |= wanted & perfIoCounters;
    }
    return sources;
}

void PerfSourcesClose::operator()(PerfSources* sources) const {
    delete sources;
}

PerfMask PerfAvailable(const PerfSources& sources) {
    return sources.available;
}

void PerfRead(PerfSources& sources, PerfMask which, utl_PerfSample& sample) {
    which &= sources.available;
    if (which & PerfBit(utl_PerfCounter::Cycles)) {
        ReadCycles(sample);
    }
    if (which & PerfBit(utl_PerfCounter::PageFaults)) {
        ReadPageFaults(sample);
    }
    if (which & perfIoCounters) {
        ReadIo(sample, which);
    }
}

} // namespace vlt::detail
