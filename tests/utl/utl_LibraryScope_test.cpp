#include "TestPlatform.h"
#include "utl_CommandLine.h"
#include "utl_LibraryScope.h"
#include "utl_ResourceMonitor.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

namespace {

namespace fs = std::filesystem;

// Runs in a fresh directory with the monitor switched on, and leaves no arguments behind.
class LibraryScope : public ::testing::Test {
protected:
    void SetUp() override {
        thr_GlobalSingletonBase<utl_CommandLine>::Finalize();
        vlt::test::SetEnvironment("KES_RESOURCE_MONITOR", "FULL");
    }
    void TearDown() override {
        vlt::test::SetEnvironment("KES_RESOURCE_MONITOR", nullptr);
        thr_GlobalSingletonBase<utl_CommandLine>::Finalize();
    }
    static std::string Read(const char* name) {
        std::ifstream file(name);
        std::ostringstream text;
        text << file.rdbuf();
        return text.str();
    }

    vlt::test::WorkInTempDirectory workplace{"vlt_scope"};
};

// A client that leaves main by an exception still gets the end of its usage file.
TEST_F(LibraryScope, StartsWithTheArgumentsAndEndsTheMonitorsFileOnAnyWayOut) {
    char program[] = "solver";
    char option[] = "-steps";
    char value[] = "4";
    char* argv[] = {program, option, value, nullptr};
    try {
        const utl_LibraryScope library(3, argv);
        EXPECT_EQ(thr_GlobalSingleton<utl_CommandLine>::Instance().ConstGetValueAsInt("steps"), 4);
        omi_Singleton<utl_ResourceMonitor>::Instance().Initialize("run");
        throw std::runtime_error("solver diverged");
    } catch (const std::runtime_error&) {
    }
    EXPECT_EQ(omi_SingletonBase<utl_ResourceMonitor>::Instance(), nullptr);
    const std::string usage = Read("run.use");
    EXPECT_NE(usage.find("run-End"), std::string::npos) << usage;
    EXPECT_NE(usage.find("!Phase,Wall,Mark,"), std::string::npos) << usage;
    EXPECT_NE(usage.find("!Timer Summary"), std::string::npos) << usage;
}

} // namespace
