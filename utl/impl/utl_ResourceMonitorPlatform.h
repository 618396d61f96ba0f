// The operating-system figures behind the resource monitor (utl_ResourceMonitor.h, which
// lists the Linux figure behind each column). utl_ResourceMonitor.cpp decides what is written
// and when; each platform implements these in utl_ResourceMonitorPlatform_<os>.cpp. None of
// them throws.
#pragma once

#include "utl_ResourceMonitor.h"

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

// Opens the handle through which the memory counters are read; -1 when it cannot be opened.
// The handle is not inherited by child programs.
int MonitorOpenProcess();
void MonitorCloseProcess(int process);
// Reads the counters through `process`; false, with `memory` untouched, when they cannot be
// read.
bool MonitorReadMemory(int process, MonitorMemory& memory);

uint32_t MonitorProcessId();

} // namespace vlt::detail
