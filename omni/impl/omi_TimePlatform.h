// The operating-system clocks behind omi_Time.h; each platform implements them in
// omi_TimePlatform_<os>.cpp. None of them fails or throws.
#pragma once

#include <cstdint>

namespace vlt::detail {

// The wall clock cut to whole milliseconds, as the runtime's millisecond clock gives it.
struct TimeWallReading {
    int64_t seconds;
    int32_t milliseconds;
};
TimeWallReading TimeReadWallClock();

// User plus system time of every thread of the process, in seconds.
double TimeReadProcessCpu();

} // namespace vlt::detail
