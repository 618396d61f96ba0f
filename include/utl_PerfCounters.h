// Named performance counters of the running process, sampled on demand.
//
// A utl_PerfCounters opens, when it is made, every counter of its list that this machine gives,
// and reads them when asked: Sample() reads them all, Read() one. A counter the machine cannot
// give (the kernel refuses hardware counters in most containers and virtual machines; Windows has
// no per-process figure for some) is absent: Available() says false and every sample leaves it
// out. Absent is never an error and never a zero.
//
// Where the figures come from:
//
//   counter            Linux                                     Windows
//   cycles             perf_event_open, hardware, user mode      QueryProcessCycleTime
//   instructions       perf_event_open, hardware, user mode      absent
//   cache-misses       perf_event_open, hardware, user mode      absent
//   branch-misses      perf_event_open, hardware, user mode      absent
//   context-switches   getrusage: voluntary and involuntary      absent
//   page-faults        getrusage: minor and major                GetProcessMemoryInfo
//   bytes-read         /proc/self/io "rchar"                     GetProcessIoCounters
//   bytes-written      /proc/self/io "wchar"                     GetProcessIoCounters
//   read-calls         /proc/self/io "syscr"                     GetProcessIoCounters
//   write-calls        /proc/self/io "syscw"                     GetProcessIoCounters
//
// The hardware counters of Linux count the thread that made the object and the threads it starts
// afterwards (threads that already run are not counted); when the kernel shares the hardware
// between more counters than it has, a figure is scaled from the time it was counted. The other
// figures are the whole process's since it started. Bytes are those passed through read and write
// calls, from a terminal or a pipe as much as from a disk.
//
// The object owns the kernel's handles and closes them when destroyed; it can be moved, not
// copied. A sample is a plain value. Sampling takes no lock: one object per thread, or the
// client's own locking.
#pragma once

#include "vlt_Export.h"

#include <array>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string_view>

enum class utl_PerfCounter : uint8_t {
    Cycles,
    Instructions,
    CacheMisses,
    BranchMisses,
    ContextSwitches,
    PageFaults,
    BytesRead,
    BytesWritten,
    ReadCalls,
    WriteCalls,
};

inline constexpr std::size_t utl_PerfCounterCount = 10;

// The counter's name in the table above ("cache-misses"); the names are the interface by which
// a client reads counters from its own configuration.
VLTUTL_API const char* utl_PerfCounterName(utl_PerfCounter counter);
// The counter of that name; empty for a name that is none of them.
VLTUTL_API std::optional<utl_PerfCounter> utl_PerfCounterNamed(std::string_view name);

// The figures read at one moment: a value for each counter that was read, nothing for the rest.
class VLTUTL_API utl_PerfSample {
public:
    bool Has(utl_PerfCounter counter) const { return (m_Present >> Index(counter)) & 1u; }
    // The value, or empty when the counter was not read.
    std::optional<uint64_t> operator[](utl_PerfCounter counter) const {
        return Has(counter) ? std::optional<uint64_t>(m_Values[Index(counter)]) : std::nullopt;
    }
    void Set(utl_PerfCounter counter, uint64_t value) {
        m_Values[Index(counter)] = value;
        m_Present |= 1u << Index(counter);
    }

    // What happened between `earlier` and this sample: the counters both have. A figure that
    // went down (a scaled hardware count can) gives 0.
    utl_PerfSample Since(const utl_PerfSample& earlier) const;

private:
    static unsigned Index(utl_PerfCounter counter) { return static_cast<unsigned>(counter); }

    std::array<uint64_t, utl_PerfCounterCount> m_Values{};
    uint32_t m_Present = 0;
};

namespace vlt::detail {
struct PerfSources;
// Closes the kernel's handles; defined with the platform's half of the counters.
struct PerfSourcesClose {
    void operator()(PerfSources* sources) const;
};
} // namespace vlt::detail

class VLTUTL_API utl_PerfCounters {
public:
    // Every counter of the table.
    utl_PerfCounters();
    // Only these; asking for fewer opens fewer kernel handles and makes Sample() cheaper.
    explicit utl_PerfCounters(std::initializer_list<utl_PerfCounter> counters);
    ~utl_PerfCounters();
    utl_PerfCounters(utl_PerfCounters&&) noexcept;
    utl_PerfCounters& operator=(utl_PerfCounters&&) noexcept;

    bool Available(utl_PerfCounter counter) const;
    // Every available counter, read now.
    utl_PerfSample Sample() const;
    // One counter, read now; empty when it is absent or cannot be read at this moment.
    std::optional<uint64_t> Read(utl_PerfCounter counter) const;

private:
    std::unique_ptr<vlt::detail::PerfSources, vlt::detail::PerfSourcesClose> m_Sources;
};
