// The command line is the one shared state the library locks: its readers run from many
// threads at once, each getting copies it may keep and drop while others read.
#include "StartGate.h"
#include "utl_CmdLineArgExceptions.h"
#include "utl_CommandLine.h"
#include "utl_Modules.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace {

class CommandLineThreads : public testing::Test {
protected:
    void SetUp() override {
        utl_initialize(tally);
        std::vector<char*> argv;
        for (std::string& word : words) {
            argv.push_back(word.data());
        }
        utl_setCommandLine(static_cast<int>(argv.size()), argv.data());
    }
    void TearDown() override { utl_finalize(tally); }

    int tally = 0;
    std::vector<std::string> words{"solver", "-steps", "400", "-model", "wing.dat", "-quiet"};
};

// Every reader of the class and of the flat entry points, as a solver's worker threads would
// call them; the value copies outlive the lock that guarded their making.
bool ReadEverything() {
    const utl_CommandLine& line = thr_GlobalSingleton<utl_CommandLine>::Instance();
    bool right =
        line.ConstGetValueAsInt("steps") == 400 && line.ConstGetValueAsLong("steps") == 400;
    const cow_String model = line.ConstGetValue("model");
    const cow_String program = line.ConstGet(0);
    right = right && model == "wing.dat" && program == "solver" && line.IsMember("quiet") &&
            line.Size() == 6 && line.ConstGetValue("absent", "fallback") == "fallback";
    try {
        (void)line.ConstGetValue("absent");
        right = false;
    } catch (const utl_MissingCmdLineArgException&) {
    }
    int steps = 0;
    int status = 1;
    UTL_COMMANDLINEINTEGER("steps ", 6, &steps);
    UTL_COMMANDLINEISMEMBER("quiet", 5, &status);
    char padded[12];
    char copy[16];
    right = right && steps == 400 && status == 0 &&
            utl_CommandLineStringC("model", padded, sizeof padded) == 8 &&
            utl_getArgs("model", copy) == 8 && std::string(copy) == "wing.dat";
    return right;
}

TEST_F(CommandLineThreads, ReadersOnManyThreadsAtOnceAllSeeTheArguments) {
    constexpr int threads = 6;
    constexpr int rounds = 200;
    vlt::test::StartGate start(threads);
    std::vector<int> failures(threads, 0);
    std::vector<std::thread> readers;
    for (int t = 0; t < threads; ++t) {
        readers.emplace_back([&, t] {
            start.ArriveAndWait();
            for (int round = 0; round < rounds; ++round) {
                failures[t] += ReadEverything() ? 0 : 1;
            }
        });
    }
    for (std::thread& reader : readers) {
        reader.join();
    }
    EXPECT_EQ(failures, std::vector<int>(threads, 0));
}

} // namespace
