// The operating system's side of the performance counters (utl_PerfCounters.h, whose table names
// the source of each counter): each platform defines PerfSources, the handles it keeps open, in
// utl_PerfCounterPlatform_<os>.cpp. None of these throws.
#pragma once

#include "utl_PerfCounters.h"

#include <cstdint>

namespace vlt::detail {

// One bit per counter, by its number in utl_PerfCounter.
using PerfMask = uint32_t;

constexpr PerfMask PerfBit(utl_PerfCounter counter) {
    return PerfMask{1} << static_cast<unsigned>(counter);
}

// The figures of read and write calls, which both systems give from one query.
constexpr PerfMask perfIoCounters =
    PerfBit(utl_PerfCounter::BytesRead) | PerfBit(utl_PerfCounter::BytesWritten) |
    PerfBit(utl_PerfCounter::ReadCalls) | PerfBit(utl_PerfCounter::WriteCalls);

// Opens the sources of the counters in `wanted` that this machine gives; PerfSourcesClose
// closes them.
PerfSources* PerfOpen(PerfMask wanted);
// The counters that PerfOpen could open.
PerfMask PerfAvailable(const PerfSources& sources);
// Reads the available counters of `which` into `sample`; a source that fails at this moment
// leaves its counters out.
void PerfRead(PerfSources& sources, PerfMask which, utl_PerfSample& sample);

} // namespace vlt::detail
