// The resource monitor's figures on Linux: getrusage for the processor times and the page
// faults, /proc/self/status for the memory sizes, localtime_r for the clock of the day.
#include "utl_ResourceMonitorPlatform.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace vlt::detail {
namespace {

constexpr char statusPath[] = "/proc/self/status";
constexpr uint64_t bytesPerStatusUnit = 1024; // the status file gives sizes in kB
// The memory lines come well within the first 4 KiB of the status file.
constexpr std::size_t statusPrefixSize = 4096;

double Seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

// The size on the status line `key` (spelt "\nVmRSS:"), in bytes; false when it is missing.
bool StatusSize(const char* status, const char* key, uint64_t& bytes) {
    const char* line = std::strstr(status, key);
    if (line == nullptr) {
        return false;
    }
    bytes = std::strtoull(line + std::strlen(key), nullptr, 10) * bytesPerStatusUnit;
    return true;
}

} // namespace

int32_t MonitorLocalSecondsOfDay(int64_t epochSeconds) {
    // Timers read the clock twice per section; converting each second once keeps localtime_r
    // out of the common case.
    thread_local int64_t cachedSecond = INT64_MIN;
    thread_local int32_t cachedSecondsOfDay = 0;
    if (epochSeconds != cachedSecond) {
        const time_t when = static_cast<time_t>(epochSeconds);
        tm local{};
        localtime_r(&when, &local);
        cachedSecondsOfDay = local.tm_hour * 3600 + local.tm_min * 60 + local.tm_sec;
        cachedSecond = epochSeconds;
    }
    return cachedSecondsOfDay;
}

MonitorTimes MonitorProcessTimes() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return {Seconds(usage.ru_utime), Seconds(usage.ru_stime)};
}

int MonitorOpenProcess() {
    return open(statusPath, O_RDONLY | O_CLOEXEC);
}

void MonitorCloseProcess(int process) {
    if (process >= 0) {
        close(process);
    }
}

bool MonitorReadMemory(int process, MonitorMemory& memory) {
    char status[statusPrefixSize];
    const ssize_t length = process >= 0 ? pread(process, status, sizeof status - 1, 0) : -1;
    if (length <= 0) {
        return false;
    }
    status[length] = '\0';
    MonitorMemory read{};
    uint64_t pageTables = 0;
    if (!StatusSize(status, "\nVmHWM:", read.peakWorkingSet) ||
        !StatusSize(status, "\nVmRSS:", read.workingSet) ||
        !StatusSize(status, "\nVmPeak:", read.quotaPeakPagedPool) ||
        !StatusSize(status, "\nVmSize:", read.quotaPagedPool) ||
        !StatusSize(status, "\nVmPTE:", pageTables) ||
        !StatusSize(status, "\nVmData:", read.peakPagefileUsage)) {
        return false;
    }
    read.quotaPeakNonPagedPool = pageTables;
    read.quotaNonPagedPool = pageTables;
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    read.pageFaults =
        static_cast<uint64_t>(usage.ru_minflt) + static_cast<uint64_t>(usage.ru_majflt);
    memory = read;
    return true;
}

uint32_t MonitorProcessId() {
    return static_cast<uint32_t>(getpid());
}

} // namespace vlt::detail
