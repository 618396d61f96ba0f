// The resource monitor: when it writes, what each row and the summary say, in which order.
// The operating system is reached through utl_ResourceMonitorPlatform.h only.
#include "utl_ResourceMonitor.h"
#include "omi_Time.h"
#include "utl_FilePath.h"
#include "utl_ResourceMonitorPlatform.h"

#include <cstdlib>

template class omi_SingletonBase<utl_ResourceMonitor>;

namespace {

using namespace vlt::detail;

constexpr char switchVariable[] = "KES_RESOURCE_MONITOR";
constexpr char fullValue[] = "FULL";
constexpr char methodValue[] = "METHOD";
constexpr char fullMethodValue[] = "FULLMETHOD";
constexpr char fileSuffix[] = ".use";
constexpr char startSuffix[] = "-Start";
constexpr char endSuffix[] = "-End";
constexpr char selfTimerName[] = "Self";
constexpr int calibrationPairs = 1000;

constexpr unsigned shortLabelWidth = 40;
constexpr unsigned shortLabelHead = 19;
constexpr unsigned shortLabelTail = 20;
constexpr char shortLabelJoin[] = "_";

constexpr char rowPhaseFormat[] = "%s.%d";
constexpr char rowWallFormat[] = " %d";
constexpr char fullLabelFormat[] = " %s";
constexpr char shortLabelFormat[] = " %40.40s";
// The memory figures are 64-bit (see utl_ResourceMonitor.h); %llu prints what %d would for
// every figure that fits 31 bits.
constexpr char rowFiguresFormat[] =
    " %.1f %.1f %llu %llu %.1f %llu %llu %llu %llu %llu %llu %d %d %d %d \n";
// The header stands after the data rows, at the end of the file: deliberate, readers take it
// from there.
constexpr char columnHeader[] = "!Phase,Wall,Mark,UserCPU,SysCPU,WSP,WS,"
                                "CPU,QPPP,QPP,QNPPP,QNPP,PageFaults,"
                                "PeakPageFileUsage,0,0,0,ProcessID\n";
constexpr char summaryHeading[] =
    "!Timer Summary                     # calls     CPU/call      CPU       Elapsed\n";
constexpr char summaryLineFormat[] = "!Timer %d :   %20s   %d     %.4f     %.4f     %.1f \n";

// Seconds since local midnight, with the milliseconds of the wall clock as fractions.
double LocalTimeOfDay() {
    const omi_Time now = omi_gettimeofday();
    return MonitorLocalSecondsOfDay(now.tv_sec) + (now.tv_usec / 1000) * 0.001;
}

// A label longer than the column keeps its head and its tail, which tell labels apart best.
cow_String ShortLabel(const cow_String& label) {
    if (label.Length() <= shortLabelWidth) {
        return label;
    }
    cow_String shortened = label.Substr(0, shortLabelHead);
    shortened.Append(shortLabelJoin);
    shortened.Append(label, label.Length() - shortLabelTail);
    return shortened;
}

cow_String Suffixed(const cow_String& text, const char* suffix) {
    cow_String suffixed = text;
    suffixed.Append(suffix);
    return suffixed;
}

unsigned long long Figure(uint64_t value) {
    return static_cast<unsigned long long>(value);
}

// The text of a flat entry point's string; a null pointer is the empty text.
cow_String FlatText(const char* text) {
    return text != nullptr ? cow_String(text) : cow_String();
}

} // namespace

utl_ResourceMonitor::utl_ResourceMonitor()
    : m_Timers{}, m_StartOfRun(0), m_Initialized(false), m_Enabled(false), m_FullLabel(false),
      m_Method(false), m_NextMark(1), m_File(nullptr), m_Process(-1), m_ProcessId(0) {}

utl_ResourceMonitor::~utl_ResourceMonitor() {
    if (m_Enabled) {
        Mark(Suffixed(m_RunName, endSuffix));
        writeHeaderAndSummary();
    }
    if (m_File != nullptr) {
        std::fclose(m_File);
    }
    MonitorCloseProcess(m_Process);
}

void utl_ResourceMonitor::Initialize(const char* runName) {
    m_RunName = runName;
    m_Initialized = true;
    m_Enabled = false;
    m_NextMark = 1;
    const char* value = std::getenv(switchVariable);
    if (value == nullptr) {
        return;
    }
    m_Enabled = true;
    const cow_String mode(value);
    m_FullLabel = mode == fullValue || mode == fullMethodValue;
    m_Method = mode == methodValue || mode == fullMethodValue;
    m_StartOfRun = MonitorLocalSecondsOfDay(omi_gettimeofday().tv_sec);
    for (a_timer_record& timer : m_Timers) {
        timer.inUse = false;
    }

    // A second Initialize starts a new file; the previous one is closed, not leaked.
    if (m_File != nullptr) {
        std::fclose(m_File);
    }
    MonitorCloseProcess(m_Process);
    const utl_FilePath file(Suffixed(m_RunName, fileSuffix));
    m_File = std::fopen(file.AbsolutePathName().c_str(), "w");
    m_ProcessId = MonitorProcessId();
    // Nothing written needs the main module's name, so it is not looked up with the handle.
    m_Process = MonitorOpenProcess();

    Mark(Suffixed(m_RunName, startSuffix));
    const cow_String selfName(selfTimerName);
    for (int pair = 0; pair < calibrationPairs; ++pair) {
        StartTimer(selfTimer, selfName);
        StopTimer(selfTimer);
    }
}

void utl_ResourceMonitor::Mark(const cow_String& label) {
    if (!m_Initialized || !m_Enabled) {
        return;
    }
    a_nt_rusage usage{};
    nt_getrusage(0, &usage);
    writeRow(label, usage);
    ++m_NextMark;
}

void utl_ResourceMonitor::MarkMethod(const cow_String& label) {
    if (m_Method) {
        Mark(label);
    }
}

void utl_ResourceMonitor::StartTimer(int index, const cow_String& name) {
    if (!isTimer(index)) {
        return;
    }
    a_timer_record& timer = m_Timers[index];
    if (!timer.inUse) {
        timer.inUse = true;
        timer.name = name;
        timer.totalUser = 0.0;
        timer.totalSystem = 0.0;
        timer.totalWall = 0.0;
        timer.calls = 0;
    }
    const MonitorTimes now = MonitorProcessTimes();
    timer.startUser = now.user;
    timer.startSystem = now.system;
    timer.startWall = LocalTimeOfDay();
}

// The in-use flag is not consulted: a stop without a start adds from whatever the record
// holds. Deliberate, as published.
void utl_ResourceMonitor::StopTimer(int index) {
    if (!isTimer(index)) {
        return;
    }
    a_timer_record& timer = m_Timers[index];
    const MonitorTimes now = MonitorProcessTimes();
    const double wall = LocalTimeOfDay();
    ++timer.calls;
    timer.totalUser += now.user - timer.startUser;
    timer.totalSystem += now.system - timer.startSystem;
    timer.totalWall += wall - timer.startWall;
}

int utl_ResourceMonitor::nt_getrusage(int /*who*/, a_nt_rusage* usage) {
    // On the local clock of the day, so a run that passes midnight shows negative wall
    // times: deliberate, as published.
    usage->wall = static_cast<int64_t>(LocalTimeOfDay() - m_StartOfRun);
    const MonitorTimes times = MonitorProcessTimes();
    usage->user = times.user;
    usage->system = times.system;
    usage->processor = times.user + times.system;
    MonitorMemory memory{};
    if (MonitorReadMemory(m_Process, memory)) {
        usage->memory = memory;
    }
    usage->unused[0] = usage->unused[1] = usage->unused[2] = 0;
    usage->processId = m_ProcessId;
    return 0;
}

void utl_ResourceMonitor::writeRow(const cow_String& label, const a_nt_rusage& usage) {
    if (m_File == nullptr) {
        return;
    }
    std::fprintf(m_File, rowPhaseFormat, m_RunName.c_str(), m_NextMark);
    std::fprintf(m_File, rowWallFormat, static_cast<int>(usage.wall));
    if (m_FullLabel) {
        std::fprintf(m_File, fullLabelFormat, label.c_str());
    } else {
        std::fprintf(m_File, shortLabelFormat, ShortLabel(label).c_str());
    }
    const vlt::detail::MonitorMemory& memory = usage.memory;
    std::fprintf(m_File, rowFiguresFormat, usage.user, usage.system, Figure(memory.peakWorkingSet),
                 Figure(memory.workingSet), usage.processor, Figure(memory.quotaPeakPagedPool),
                 Figure(memory.quotaPagedPool), Figure(memory.quotaPeakNonPagedPool),
                 Figure(memory.quotaNonPagedPool), Figure(memory.pageFaults),
                 Figure(memory.peakPagefileUsage), static_cast<int>(usage.unused[0]),
                 static_cast<int>(usage.unused[1]), static_cast<int>(usage.unused[2]),
                 static_cast<int>(usage.processId));
    // A run that dies keeps every row written so far.
    std::fflush(m_File);
}

void utl_ResourceMonitor::writeHeaderAndSummary() {
    if (m_File == nullptr) {
        return;
    }
    std::fputs(columnHeader, m_File);
    std::fputs(summaryHeading, m_File);
    for (int index = 0; index < timerCount; ++index) {
        const a_timer_record& timer = m_Timers[index];
        if (!timer.inUse || timer.calls <= 0) {
            continue;
        }
        const double processor = timer.totalUser + timer.totalSystem;
        std::fprintf(m_File, summaryLineFormat, index, timer.name.c_str(), timer.calls,
                     processor / timer.calls, processor, timer.totalWall);
    }
}

void utl_ResourceMonitorMark(const char* label) {
    omi_Singleton<utl_ResourceMonitor>::Instance().Mark(FlatText(label));
}

void utl_ResourceMonitorStartTimer(int index, const char* name) {
    omi_Singleton<utl_ResourceMonitor>::Instance().StartTimer(index, FlatText(name));
}

void utl_ResourceMonitorStopTimer(int index) {
    omi_Singleton<utl_ResourceMonitor>::Instance().StopTimer(index);
}
