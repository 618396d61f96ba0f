// The resource monitor: a long run records, at named marks, the wall time, processor time and
// memory it has used so far, and times up to 21 named code sections.
//
// The monitor is a process-wide singleton, `omi_Singleton<utl_ResourceMonitor>::Instance()`,
// destroyed only by the client's `omi_SingletonBase<utl_ResourceMonitor>::Finalize()`. It stays
// silent unless "KES_RESOURCE_MONITOR" is set when `Initialize` runs; then it writes the text
// file named by the run name and ".use" in the current directory: one row per mark, flushed at
// once, and at the end the column header and the timer summary. Timer 20 is the monitor's own:
// `Initialize` times 1000 empty start/stop pairs on it as a measure of the monitor's overhead, so
// clients use timers 0 to 19.
//
// Nothing is locked: the monitor belongs to the main thread of a run.
//
// On Linux the Windows process counters of each row come from these figures (bytes unless
// said otherwise):
//   UserCPU, SysCPU, CPU   getrusage(RUSAGE_SELF) ru_utime, ru_stime, and their sum
//   WSP  (peak working set)              VmHWM, the peak resident set
//   WS   (working set)                   VmRSS, the resident set
//   QPPP (quota peak paged pool)         VmPeak, the peak virtual size
//   QPP  (quota paged pool)              VmSize, the virtual size
//   QNPPP, QNPP (non-paged pool)         VmPTE, the page tables; Linux keeps no peak of it,
//                                        so both columns show the current size
//   PageFaults (a count)                 getrusage ru_minflt + ru_majflt
//   PeakPageFileUsage                    VmData, the private data (Linux keeps no peak)
// VmHWM and the others are read from /proc/self/status, which `Initialize` keeps open as the
// process handle. The memory figures are 64-bit: a 64-bit process outgrows 32 bits, and for
// every figure below 2 GiB the row reads exactly as a 32-bit one.
#pragma once

#include "cow_String.h"
#include "omi_Singleton.h"
#include "vlt_Export.h"

#include <cstdint>
#include <cstdio>

namespace vlt::detail {
// The memory counters of one row, in the order of the row's columns.
struct MonitorMemory {
    uint64_t peakWorkingSet;
    uint64_t workingSet;
    uint64_t quotaPeakPagedPool;
    uint64_t quotaPagedPool;
    uint64_t quotaPeakNonPagedPool;
    uint64_t quotaNonPagedPool;
    uint64_t pageFaults;
    uint64_t peakPagefileUsage;
};
} // namespace vlt::detail

class utl_ResourceMonitor;
// The instance lives in the library: one per process, also across a DLL boundary.
extern template class VLTUTL_API omi_SingletonBase<utl_ResourceMonitor>;

class VLTUTL_API utl_ResourceMonitor : public omi_SingletonBase<utl_ResourceMonitor> {
public:
    static constexpr int timerCount = 21;
    // The timer that `Initialize` calibrates on.
    static constexpr int selfTimer = 20;

    // One named code section. Times are seconds; the start wall time is the local time of day.
    struct a_timer_record {
        bool inUse;
        cow_String name;
        double startUser;
        double startSystem;
        double startWall;
        double totalUser;
        double totalSystem;
        double totalWall;
        int32_t calls;
    };

    // One usage snapshot, in the order of the row's figures.
    struct a_nt_rusage {
        int64_t wall; // whole seconds since the start of the run, on the local clock of the day
        double user;
        double system;
        double processor; // user + system
        vlt::detail::MonitorMemory memory;
        uint32_t unused[3]; // always 0
        uint32_t processId;
    };

    utl_ResourceMonitor();
    // When enabled: the "-End" mark, the column header, the timer summary; then closes the file.
    ~utl_ResourceMonitor();

    // Names the run and reads "KES_RESOURCE_MONITOR"; when it is set, opens the file, writes
    // the "-Start" mark and calibrates timer 20. Whether the monitor is enabled is decided here
    // once for the whole run.
    void Initialize(const char* runName);

    // Writes one row labelled `label`.
    void Mark(const cow_String& label);
    // Marks only when "KES_RESOURCE_MONITOR" is "METHOD" or "FULLMETHOD".
    void MarkMethod(const cow_String& label);

    // Starts timer `index` (0 to 20). A timer keeps the name of its first start and its totals:
    // starting it again adds to them.
    void StartTimer(int index, const cow_String& name);
    // Adds the time since the last start to timer `index` and counts one call.
    void StopTimer(int index);

private:
    // Fills `usage`; always answers 0. `who` is kept for the published signature and unused.
    int nt_getrusage(int who, a_nt_rusage* usage);
    void writeRow(const cow_String& label, const a_nt_rusage& usage);
    void writeHeaderAndSummary();
    bool isTimer(int index) const { return m_Enabled && index >= 0 && index < timerCount; }

    a_timer_record m_Timers[timerCount];
    int32_t m_StartOfRun;
    bool m_Initialized;
    bool m_Enabled;
    bool m_FullLabel;
    bool m_Method;
    int32_t m_NextMark;
    cow_String m_RunName;
    std::FILE* m_File;
    int m_Process; // the open process status, -1 when there is none
    uint32_t m_ProcessId;
};

// Flat entry points for code that cannot hold a `cow_String`: each takes a NUL-terminated text
// (no length follows it, unlike the command line's entry points) and calls the member of the
// same role on the singleton.
extern "C" {
VLTUTL_API void utl_ResourceMonitorMark(const char* label);
VLTUTL_API void utl_ResourceMonitorStartTimer(int index, const char* name);
VLTUTL_API void utl_ResourceMonitorStopTimer(int index);
}
