#include "TestPlatform.h"
#include "omi_Time.h"
#include "utl_ResourceMonitor.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <regex>
#include <sstream>
#include <string>

namespace {

namespace fs = std::filesystem;

constexpr char switchVariable[] = "KES_RESOURCE_MONITOR";
// Any value but "FULL", "METHOD" and "FULLMETHOD" switches the monitor on with neither flag, as
// an empty one does (which the Windows runtime cannot hold).
constexpr char plainSwitch[] = "on";
constexpr char header[] = "!Phase,Wall,Mark,UserCPU,SysCPU,WSP,WS,CPU,QPPP,QPP,QNPPP,QNPP,"
                          "PageFaults,PeakPageFileUsage,0,0,0,ProcessID\n";
constexpr char summaryHeading[] =
    "!Timer Summary                     # calls     CPU/call      CPU       Elapsed\n";
constexpr char selfLine[] = "!Timer 20 :                   Self   1000     C     C     E \n";
constexpr char fiftyCharacters[] = "abcdefghijklmnopqrstuvwxyz0123456789ABCDEFGHIJKLMN";
constexpr char fiftyShortened[] = "abcdefghijklmnopqrs_456789ABCDEFGHIJKLMN";

utl_ResourceMonitor& Monitor() {
    return omi_Singleton<utl_ResourceMonitor>::Instance();
}

// The label column as " %40.40s" writes it.
std::string Column(const std::string& label) {
    return std::string(40 - label.size(), ' ') + label;
}

// Every figure that varies from run to run becomes a letter: W wall seconds, F processor
// seconds, M memory bytes, N page faults, P the process ID (checked against ours); C and E
// the summary's processor and elapsed seconds. Labels, separators, the fixed zeros, the call
// counts, the header and the heading stay byte for byte, so any other change fails.
std::string Normalise(const std::string& text) {
    static const std::regex row(R"(^(run\.\d+) -?\d+ (.*) \d+\.\d \d+\.\d \d+ \d+ \d+\.\d)"
                                R"( \d+ \d+ \d+ \d+ \d+ \d+ 0 0 0 (\d+) $)");
    static const std::regex timer(R"(^(!Timer \d+ :   .{20,}   \d+)     \d+\.\d{4})"
                                  R"(     \d+\.\d{4}     -?\d+\.\d $)");
    std::istringstream lines(text);
    std::string out;
    std::string line;
    std::smatch match;
    while (std::getline(lines, line)) {
        if (std::regex_match(line, match, row)) {
            EXPECT_EQ(std::stoul(match[3].str()),
                      static_cast<unsigned long>(vlt::test::ProcessId()));
            out += match[1].str() + " W " + match[2].str() + " F F M M F M M M M N M 0 0 0 P \n";
        } else if (std::regex_match(line, match, timer)) {
            out += match[1].str() + "     C     C     E \n";
        } else {
            out += line + "\n";
        }
    }
    return out;
}

std::string Row(int number, const std::string& labelColumn) {
    return "run." + std::to_string(number) + " W " + labelColumn +
           " F F M M F M M M M N M 0 0 0 P \n";
}

std::string StartRow() {
    return Row(1, Column("run-Start"));
}

std::string Ending(int number) {
    return Row(number, Column("run-End")) + header + summaryHeading;
}

// Each case runs in a fresh directory with its own value of the switch (or none), and leaves
// no monitor behind.
class utl_ResourceMonitorTest : public ::testing::Test {
protected:
    void SetUp() override { omi_SingletonBase<utl_ResourceMonitor>::Finalize(); }
    void TearDown() override {
        omi_SingletonBase<utl_ResourceMonitor>::Finalize();
        vlt::test::SetEnvironment(switchVariable, nullptr);
    }

    // Runs `body` on a monitor initialised as "run" under `value` (null: the switch unset),
    // finalises it and answers the normalised file ("" when there is none).
    std::string Run(const char* value, const std::function<void(utl_ResourceMonitor&)>& body) {
        vlt::test::SetEnvironment(switchVariable, value);
        Monitor().Initialize("run");
        body(Monitor());
        omi_SingletonBase<utl_ResourceMonitor>::Finalize();
        return Normalise(FileText());
    }

    // Read as it is written, as text: on Windows its lines end in "\r\n".
    std::string FileText() const {
        std::ifstream file(directory / "run.use");
        std::ostringstream text;
        text << file.rdbuf();
        return text.str();
    }

    vlt::test::WorkInTempDirectory workplace{"vlt_monitor"};
    const fs::path directory = workplace.Directory().Path();
};

TEST_F(utl_ResourceMonitorTest, WithoutTheSwitchNoFileIsMade) {
    Run(nullptr, [](utl_ResourceMonitor& monitor) {
        monitor.Mark("a");
        monitor.StartTimer(0, "t");
        monitor.StopTimer(0);
    });
    EXPECT_FALSE(fs::exists(directory / "run.use"));
}

TEST_F(utl_ResourceMonitorTest, FileNameIsTheRunNameInTheCurrentDirectoryAndIsTruncated) {
    std::ofstream(directory / "run.use") << "old contents that must go\n";
    Run(plainSwitch, [](utl_ResourceMonitor&) {});
    EXPECT_EQ(FileText().rfind("run.1 ", 0), 0u);
}

TEST_F(utl_ResourceMonitorTest, RowsAreFlushedAsTheyAreWritten) {
    vlt::test::SetEnvironment(switchVariable, plainSwitch);
    Monitor().Initialize("run");
    Monitor().Mark("kept");
    EXPECT_EQ(Normalise(FileText()), StartRow() + Row(2, Column("kept")));
}

TEST_F(utl_ResourceMonitorTest, MarkBeforeInitializeAndLaterSwitchChangesDoNothing) {
    Monitor().Mark("early");
    const std::string text = Run(nullptr, [](utl_ResourceMonitor& monitor) {
        vlt::test::SetEnvironment(switchVariable, "FULL");
        monitor.Mark("late");
    });
    EXPECT_EQ(text, "");
}

TEST_F(utl_ResourceMonitorTest, RowFiguresComeFromTheProcess) {
    vlt::test::SetEnvironment(switchVariable, plainSwitch);
    Monitor().Initialize("run");
    const std::string row = FileText();
    std::istringstream fields(row);
    std::string phase, wall, label;
    double user, system, processor;
    unsigned long long peakWorkingSet, workingSet, peakPaged, paged, peakNonPaged, nonPaged, faults,
        pagefile;
    fields >> phase >> wall >> label >> user >> system >> peakWorkingSet >> workingSet >>
        processor >> peakPaged >> paged >> peakNonPaged >> nonPaged >> faults >> pagefile;
    ASSERT_FALSE(fields.fail()) << row;
    EXPECT_NEAR(processor, user + system, 0.11);
    EXPECT_GT(workingSet, 0u);
    EXPECT_GE(peakWorkingSet, workingSet);
    EXPECT_GE(peakPaged, paged);
    EXPECT_GE(peakNonPaged, nonPaged);
    EXPECT_GT(pagefile, 0u);
#if !defined(_WIN32) // Wine reads the pool quotas and the page faults as 0
    // On Linux the paged pool is the virtual size, which holds the resident set.
    EXPECT_GE(paged, workingSet);
    EXPECT_GT(faults, 0u);
#endif
    EXPECT_LE(std::abs(std::stoi(wall)), 1);
}

struct SwitchCase {
    const char* value;
    bool fullLabel;
    bool method;
};

void PrintTo(const SwitchCase& c, std::ostream* out) {
    *out << '"' << c.value << '"';
}

class utl_ResourceMonitorSwitchTest : public utl_ResourceMonitorTest,
                                      public ::testing::WithParamInterface<SwitchCase> {};

TEST_P(utl_ResourceMonitorSwitchTest, ValueChoosesLabelFormAndMethodMarks) {
    const SwitchCase& expected = GetParam();
    const std::string text = Run(expected.value, [](utl_ResourceMonitor& monitor) {
        monitor.Mark(fiftyCharacters);
        monitor.MarkMethod("method");
    });
    const auto label = [&](const std::string& whole) {
        return expected.fullLabel ? whole : Column(whole);
    };
    std::string rows =
        Row(1, label("run-Start")) + Row(2, expected.fullLabel ? fiftyCharacters : fiftyShortened);
    int next = 3;
    if (expected.method) {
        rows += Row(next++, label("method"));
    }
    EXPECT_EQ(text, rows + Row(next, label("run-End")) + header + summaryHeading + selfLine);
}

const SwitchCase switchCases[] = {
#if !defined(_WIN32) // the Windows runtime keeps no empty variables
    {"", false, false},
#endif
    {"FULL", true, false},      {"METHOD", false, true},
    {"FULLMETHOD", true, true}, {"FULL ", false, false},
};

INSTANTIATE_TEST_SUITE_P(Values, utl_ResourceMonitorSwitchTest, ::testing::ValuesIn(switchCases));

TEST_F(utl_ResourceMonitorTest, LabelsUpToFortyCharactersAreRightAlignedWhole) {
    const std::string forty(fiftyCharacters, 40);
    const std::string fortyOne(fiftyCharacters, 41);
    const std::string text = Run(plainSwitch, [&](utl_ResourceMonitor& monitor) {
        monitor.Mark(forty.c_str());
        monitor.Mark(fortyOne.c_str());
    });
    EXPECT_EQ(text, StartRow() + Row(2, forty) +
                        Row(3, fortyOne.substr(0, 19) + "_" + fortyOne.substr(21)) + Ending(4) +
                        selfLine);
}

// Spins until the process has used `seconds` more processor time (the runtime's clock() is
// wall time on Windows).
void BurnCpu(double seconds) {
    const double until = omi_getcputime() + seconds;
    volatile unsigned sink = 0;
    while (omi_getcputime() < until) {
        sink = sink + 1;
    }
}

TEST_F(utl_ResourceMonitorTest, RestartedTimerKeepsItsFirstNameAndAddsBothIntervals) {
    vlt::test::SetEnvironment(switchVariable, plainSwitch);
    Monitor().Initialize("run");
    Monitor().StartTimer(3, "a");
    BurnCpu(0.03);
    Monitor().StopTimer(3);
    Monitor().StartTimer(3, "b");
    BurnCpu(0.02);
    Monitor().StopTimer(3);
    omi_SingletonBase<utl_ResourceMonitor>::Finalize();

    const std::string text = FileText();
    std::smatch match;
    const std::regex line(
        R"(\n!Timer 3 :                      a   2     (\S+)     (\S+)     (\S+) \n)");
    ASSERT_TRUE(std::regex_search(text, match, line)) << text;
    const double perCall = std::stod(match[1].str());
    const double total = std::stod(match[2].str());
    EXPECT_GE(total, 0.05 - 0.001);
    EXPECT_NEAR(perCall, total / 2, 0.0001);
    EXPECT_GE(std::stod(match[3].str()), 0.0);
    EXPECT_EQ(text.find("!Timer 3 :", match.position(0) + 2), std::string::npos);
}

TEST_F(utl_ResourceMonitorTest, SummaryListsUsedTimersInIndexOrderAndIgnoresOthers) {
    const std::string text = Run(plainSwitch, [](utl_ResourceMonitor& monitor) {
        monitor.StartTimer(7, "assemble");
        monitor.StopTimer(7);
        monitor.StartTimer(0, "read");
        monitor.StopTimer(0);
        monitor.StopTimer(0);
        monitor.StartTimer(5, "never stopped");
        monitor.StartTimer(21, "beyond");
        monitor.StopTimer(21);
        monitor.StartTimer(-1, "negative");
        monitor.StopTimer(-1);
    });
    EXPECT_EQ(text, StartRow() + Ending(2) +
                        "!Timer 0 :                   read   2     C     C     E \n"
                        "!Timer 7 :               assemble   1     C     C     E \n" +
                        selfLine);
}

TEST_F(utl_ResourceMonitorTest, FlatEntryPointsTakeTerminatedTexts) {
    const std::string text = Run(plainSwitch, [](utl_ResourceMonitor&) {
        utl_ResourceMonitorMark("phase one");
        utl_ResourceMonitorStartTimer(2, "solver");
        utl_ResourceMonitorStopTimer(2);
    });
    EXPECT_EQ(text, StartRow() + Row(2, Column("phase one")) + Ending(3) +
                        "!Timer 2 :                 solver   1     C     C     E \n" + selfLine);
}

} // namespace
