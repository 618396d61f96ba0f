// The process-wide clocks and the session counter.
#include "omi_Time.h"
#include "omi_TimePlatform.h"

#include <cmath>
#include <cstdio>

namespace {

constexpr char overflowNotice[] = "Session Time Counter overflow!\n";
constexpr char restartNotice[] = "Restart your session.\n";

double sessionCounter = 0.0;

} // namespace

omi_Time omi_gettimeofday() {
    const vlt::detail::TimeWallReading now = vlt::detail::TimeReadWallClock();
    // Seconds since the epoch fit 32 bits until 2038, as the published reading has them.
    return {static_cast<int32_t>(now.seconds), now.milliseconds * 1000};
}

double omi_gettimestamp() {
    const omi_Time now = omi_gettimeofday();
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_usec) * 1e-6;
}

double omi_getcputime() {
    return vlt::detail::TimeReadProcessCpu();
}

double omi_gettimecounter() {
    static const double limit = std::pow(10.0, 15);
    if (sessionCounter >= limit) {
        std::fputs(overflowNotice, stdout);
        std::fputs(restartNotice, stdout);
        return 0.0;
    }
    const double value = sessionCounter;
    sessionCounter += 1.0;
    return value;
}

void omi_settimecounterstart(double start) {
    sessionCounter = start;
}
