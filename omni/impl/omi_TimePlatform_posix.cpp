// The clocks on POSIX: CLOCK_REALTIME (a vDSO read) for the wall clock and
// CLOCK_PROCESS_CPUTIME_ID for the processor time of the whole process, the counterpart of
// kernel plus user time from the process times.
#include "omi_TimePlatform.h"

#include <ctime>

namespace vlt::detail {

TimeWallReading TimeReadWallClock() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return {static_cast<int64_t>(now.tv_sec), static_cast<int32_t>(now.tv_nsec / 1000000)};
}

double TimeReadProcessCpu() {
    timespec used{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
    return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) * 1e-9;
}

} // namespace vlt::detail
