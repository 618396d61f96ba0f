// The process-wide clocks that the library's own timing and its clients share.
//
// Wall clock readings have millisecond resolution (the microseconds are always a multiple of
// 1000); the processor clock counts user plus system time of every thread of the process. The
// session counter is one plain double for the whole process: it belongs to the main thread.
#pragma once

#include "vlt_Export.h"

#include <cstdint>

// A wall clock reading: seconds since the epoch and the microseconds within that second.
struct omi_Time {
    int32_t tv_sec;
    int32_t tv_usec;
};

// The wall clock now.
VLTUTL_API omi_Time omi_gettimeofday();
// The wall clock now as seconds since the epoch.
VLTUTL_API double omi_gettimestamp();
// User plus system time used so far by the whole process, in seconds.
VLTUTL_API double omi_getcputime();

// Answers the session counter and then counts it up by one. Once it reaches 1e15 it prints an
// overflow notice on standard output and answers 0.0 without counting.
VLTUTL_API double omi_gettimecounter();
// Sets the session counter (0 at start).
VLTUTL_API void omi_settimecounterstart(double start);
