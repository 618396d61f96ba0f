#include "AssertRecorder.h"
#include "TestPlatform.h"
#include "utl_Modules.h"
#include "utl_Platform.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

#if !defined(_WIN32)
#include <pwd.h>
#include <unistd.h>
#endif

namespace {

// The user whom the process runs for, as the system names it elsewhere.
std::string LoggedOnUser() {
#if defined(_WIN32)
    const char* name = std::getenv("USERNAME");
    return name != nullptr ? name : "";
#else
    return getpwuid(geteuid())->pw_name;
#endif
}

using vlt::detail::utl_InetUseCount;

TEST(NetworkLayer, StartsAndStopsPairAndAStopWithoutAStartDoesNothing) {
    const unsigned before = utl_InetUseCount();
    vlt::test::AssertRecorder rec;
    utl_InetInitialize();
    utl_InetInitialize();
    EXPECT_EQ(utl_InetUseCount(), before + 2);
    utl_InetFinalize();
    utl_InetFinalize();
    EXPECT_EQ(utl_InetUseCount(), before);
    EXPECT_TRUE(rec.Reports().empty());
    for (unsigned i = 0; i < before; ++i) {
        utl_InetFinalize();
    }
    utl_InetFinalize();
    EXPECT_EQ(utl_InetUseCount(), 0u);
}

TEST(NetworkLayer, LibraryStartUpHoldsTheLayerUntilFinalize) {
    const unsigned before = utl_InetUseCount();
    int tally = 0;
    utl_initialize(tally);
    EXPECT_EQ(utl_InetUseCount(), before + 1);
    utl_finalize(tally);
    EXPECT_EQ(utl_InetUseCount(), before);
}

TEST(NetworkLayer, HostAddressQueryLeavesOneStartOutstanding) {
    const unsigned before = utl_InetUseCount();
    const unsigned address = utl_getHostIPAddress();
    EXPECT_EQ(utl_InetUseCount(), before + 1);
    if (address != 0) {
        EXPECT_NE(address >> 24, 0u) << "host byte order puts the first octet on top";
    }
}

TEST(PlatformQueries, AnswerWhatTheSystemSays) {
    EXPECT_STREQ(utl_getPlatform().c_str(), "nt");
    EXPECT_EQ(utl_getNumberCpus(), static_cast<int>(std::thread::hardware_concurrency()));
    const int mhz = utl_getCpusClockSpeed();
    EXPECT_TRUE(mhz == -1 || (mhz > 10 && mhz < 100000)) << mhz;
    EXPECT_EQ(std::string(utl_getUserName().c_str()), LoggedOnUser());
    EXPECT_EQ(std::string(utl_getcwd().c_str()), std::filesystem::current_path().string());
}

TEST(PlatformQueries, WorkingDirectoryFollowsChdir) {
    const vlt::test::WorkInTempDirectory workplace("utl_Platform_test");
    const std::string now = utl_getcwd().c_str();
    EXPECT_TRUE(std::filesystem::equivalent(now, workplace.Directory().Path())) << now;
}

} // namespace
