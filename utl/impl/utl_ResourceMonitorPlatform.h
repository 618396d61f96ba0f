// The operating-system figures behind the resource monitor (utl_ResourceMonitor.h, which
// lists the Linux figure behind each column). utl_ResourceMonitor.cpp decides what is written
// and when; each platform implements these in utl_ResourceMonitorPlatform_<os>.cpp. None of
// them throws.
#pragma once

#include <cstdint>

namespace vlt::detail {

// The local clock of the day at `epochSeconds`: hour * 3600 + minute * 60 + second.
int32_t MonitorLocalSecondsOfDay(int64_t epochSeconds);

struct MonitorTimes {
    double user;
    double system;
};
// User and system time of the whole process so far, in seconds.
MonitorTimes MonitorProcessTimes();

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

// Opens the handle through which the memory counters are read; -1 when it cannot be opened.
// The handle is not inherited by child programs.
int MonitorOpenProcess();
void MonitorCloseProcess(int process);
// Reads the counters through `process`; false, with `memory` untouched, when they cannot be
// read.
bool MonitorReadMemory(int process, MonitorMemory& memory);

uint32_t MonitorProcessId();

} // namespace vlt::detail
