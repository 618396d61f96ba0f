// The resource monitor's figures on Windows: GetProcessTimes for the processor times,
// GetProcessMemoryInfo through a handle of the own process for the memory counters,
// FileTimeToLocalFileTime for the clock of the day.
#include "utl_ResourceMonitorPlatform.h"

#include <windows.h>

#include <psapi.h>

namespace vlt::detail {
namespace {

constexpr int noProcess = -1;
// Query information and read memory: what the memory counters need.
constexpr DWORD memoryQueryAccess = PROCESS_QUERY_INFORMATION | PROCESS_VM_READ;
constexpr double secondsPerTick = 1e-7; // file times count 100 ns
constexpr int64_t ticksPerSecond = 10'000'000;
constexpr int64_t secondsFrom1601To1970 = 11'644'473'600;

double Seconds(const FILETIME& time) {
    ULARGE_INTEGER ticks{};
    ticks.LowPart = time.dwLowDateTime;
    ticks.HighPart = time.dwHighDateTime;
    return static_cast<double>(ticks.QuadPart) * secondsPerTick;
}

FILETIME FileTimeAt(int64_t epochSeconds) {
    ULARGE_INTEGER ticks{};
    ticks.QuadPart = static_cast<uint64_t>((epochSeconds + secondsFrom1601To1970) * ticksPerSecond);
    return {ticks.LowPart, ticks.HighPart};
}

// Kernel handles keep to 32 bits on 64-bit Windows (so that 32-bit processes can share them),
// which lets the handle travel through the int of the interface and come back sign-extended.
HANDLE Native(int process) {
    return LongToHandle(process);
}

} // namespace

// FileTimeToLocalFileTime applies today's bias; the monitor asks only about the present, for
// which that is the right one.
int32_t MonitorLocalSecondsOfDay(int64_t epochSeconds) {
    const FILETIME universal = FileTimeAt(epochSeconds);
    FILETIME local{};
    SYSTEMTIME clock{};
    if (!FileTimeToLocalFileTime(&universal, &local) || !FileTimeToSystemTime(&local, &clock)) {
        return 0;
    }
    return clock.wHour * 3600 + clock.wMinute * 60 + clock.wSecond;
}

MonitorTimes MonitorProcessTimes() {
    FILETIME creation{};
    FILETIME exit{};
    FILETIME kernel{};
    FILETIME user{};
    if (!GetProcessTimes(GetCurrentProcess(), &creation, &exit, &kernel, &user)) {
        return {0.0, 0.0};
    }
    return {Seconds(user), Seconds(kernel)};
}

int MonitorOpenProcess() {
    const HANDLE process = OpenProcess(memoryQueryAccess, FALSE, GetCurrentProcessId());
    return process != nullptr ? HandleToLong(process) : noProcess;
}

void MonitorCloseProcess(int process) {
    if (process != noProcess) {
        CloseHandle(Native(process));
    }
}

bool MonitorReadMemory(int process, MonitorMemory& memory) {
    PROCESS_MEMORY_COUNTERS counters{};
    counters.cb = sizeof counters;
    if (process == noProcess ||
        !GetProcessMemoryInfo(Native(process), &counters, sizeof counters)) {
        return false;
    }
    memory = {counters.PeakWorkingSetSize,
              counters.WorkingSetSize,
              counters.QuotaPeakPagedPoolUsage,
              counters.QuotaPagedPoolUsage,
              counters.QuotaPeakNonPagedPoolUsage,
              counters.QuotaNonPagedPoolUsage,
              counters.PageFaultCount,
              counters.PeakPagefileUsage};
    return true;
}

uint32_t MonitorProcessId() {
    return GetCurrentProcessId();
}

} // namespace vlt::detail
