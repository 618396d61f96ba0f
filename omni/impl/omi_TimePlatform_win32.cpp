// The clocks on Windows: the system time as a file time for the wall clock, and kernel plus user
// time from the process times for the processor time of the whole process.
#include "omi_TimePlatform.h"

#define NOMINMAX 1 // the value libstdc++ gives it on mingw-w64
#include <windows.h>

namespace vlt::detail {
namespace {

// File times count 100-nanosecond ticks since 1601-01-01 (UTC).
constexpr int64_t ticksPerSecond = 10000000;
constexpr int64_t ticksPerMillisecond = 10000;
constexpr int64_t unixEpochTicks = 116444736000000000;

int64_t Ticks(const FILETIME& time) {
    return static_cast<int64_t>((static_cast<uint64_t>(time.dwHighDateTime) << 32) |
                                time.dwLowDateTime);
}

} // namespace

// The precise reading: the plain one (and the runtime's _ftime) moves only at each scheduler
// tick, about 16 ms on Windows, too coarse for a clock that publishes milliseconds.
TimeWallReading TimeReadWallClock() {
    FILETIME now{};
    GetSystemTimePreciseAsFileTime(&now);
    const int64_t sinceEpoch = Ticks(now) - unixEpochTicks;
    return {sinceEpoch / ticksPerSecond,
            static_cast<int32_t>(sinceEpoch % ticksPerSecond / ticksPerMillisecond)};
}

double TimeReadProcessCpu() {
    FILETIME created{};
    FILETIME exited{};
    FILETIME kernel{};
    FILETIME user{};
    if (!GetProcessTimes(GetCurrentProcess(), &created, &exited, &kernel, &user)) {
        return 0.0;
    }
    return static_cast<double>(Ticks(kernel) + Ticks(user)) * 1e-7;
}

} // namespace vlt::detail
