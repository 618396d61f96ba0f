// A stopwatch over the wall clock and the process's processor time (omi_Time.h).
//
// The two figures add up differently on purpose: the processor time is the sum over every
// Start/Stop pair since the last Reset, the elapsed time covers only the last pair (plus the
// running one). A timer is a plain value owned by one thread.
#pragma once

#include "vlt_Export.h"

#include <cstdint>

class VLTUTL_API omi_Timer {
public:
    omi_Timer() = default;

    // Starting a running timer does nothing.
    void Start();
    // Stopping a stopped timer does nothing.
    void Stop();
    void Reset() { *this = omi_Timer(); }

    // Wall seconds of the last Start/Stop pair, plus the running interval if running.
    double GetElapsedTime() const;
    // Processor seconds of all pairs, plus the running interval if running.
    double GetTotalCpuTime() const;

private:
    int32_t m_Running = 0;
    double m_StartWall = 0.0;
    double m_StartCpu = 0.0;
    double m_Elapsed = 0.0;
    double m_TotalCpu = 0.0;
};
