#include "utl_PerfCounters.h"

#include "ChildProcess.h"
#include "TestPlatform.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <vector>

#ifdef __linux__
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include <cerrno>
#include <cstddef>
#endif

namespace {

using C = utl_PerfCounter;

// What each system gives everywhere, containers included, and what it never gives. Wine keeps
// the page faults and the input and output figures at zero, which the library takes as absent.
#ifdef _WIN32
const std::vector<C> alwaysThere =
    vlt::test::UnderWine()
        ? std::vector<C>{}
        : std::vector<C>{C::PageFaults, C::BytesRead, C::BytesWritten, C::ReadCalls, C::WriteCalls};
const std::vector<C> neverThere = {C::Instructions, C::CacheMisses, C::BranchMisses,
                                   C::ContextSwitches};
#else
const std::vector<C> alwaysThere = {C::ContextSwitches, C::PageFaults, C::BytesRead,
                                    C::BytesWritten,    C::ReadCalls,  C::WriteCalls};
const std::vector<C> neverThere = {};
#endif

std::vector<C> EveryCounter() {
    std::vector<C> counters;
    for (std::size_t index = 0; index < utl_PerfCounterCount; ++index) {
        counters.push_back(static_cast<C>(index));
    }
    return counters;
}

// Absent means absent everywhere: not available, left out of samples, empty when read alone.
void ExpectAbsent(const utl_PerfCounters& counters, C counter) {
    SCOPED_TRACE(utl_PerfCounterName(counter));
    EXPECT_FALSE(counters.Available(counter));
    EXPECT_FALSE(counters.Sample().Has(counter));
    EXPECT_FALSE(counters.Read(counter).has_value());
}

TEST(PerfCounters, NamesAreTheTableOnesAndLeadBack) {
    const char* const names[] = {
        "cycles",      "instructions", "cache-misses",  "branch-misses", "context-switches",
        "page-faults", "bytes-read",   "bytes-written", "read-calls",    "write-calls"};
    for (const C counter : EveryCounter()) {
        const char* name = utl_PerfCounterName(counter);
        EXPECT_STREQ(name, names[static_cast<int>(counter)]);
        EXPECT_EQ(utl_PerfCounterNamed(name), counter);
    }
    EXPECT_FALSE(utl_PerfCounterNamed("cycle").has_value());
    EXPECT_FALSE(utl_PerfCounterNamed("").has_value());
}

TEST(PerfCounters, EachCounterIsEitherReadOrAbsent) {
    const utl_PerfCounters counters;
    const utl_PerfSample sample = counters.Sample();
    for (const C counter : EveryCounter()) {
        SCOPED_TRACE(utl_PerfCounterName(counter));
        EXPECT_EQ(sample.Has(counter), counters.Available(counter));
        EXPECT_EQ(counters.Read(counter).has_value(), counters.Available(counter));
    }
    for (const C counter : alwaysThere) {
        EXPECT_TRUE(counters.Available(counter)) << utl_PerfCounterName(counter);
    }
    for (const C counter : neverThere) {
        ExpectAbsent(counters, counter);
    }
}

// The figures follow the process's own work: a written and read file, fresh memory touched,
// and, where the hardware counts, instructions and cycles spent.
TEST(PerfCounters, FiguresFollowTheWork) {
    const utl_PerfCounters counters;
    const utl_PerfSample before = counters.Sample();

    constexpr std::size_t bytes = 1 << 20;
    const vlt::test::TempDirectory directory("perf");
    const std::string path = directory.Path() + "/data";
    std::vector<char> buffer(bytes, 'x');
    std::FILE* file = std::fopen(path.c_str(), "wb");
    ASSERT_NE(file, nullptr);
    std::setvbuf(file, nullptr, _IONBF, 0);
    ASSERT_EQ(std::fwrite(buffer.data(), 1, bytes, file), bytes);
    std::fclose(file);
    file = std::fopen(path.c_str(), "rb");
    std::setvbuf(file, nullptr, _IONBF, 0);
    ASSERT_EQ(std::fread(buffer.data(), 1, bytes, file), bytes);
    std::fclose(file);
    constexpr std::size_t pages = 256;
    const auto fresh = std::make_unique<char[]>(pages * 65536);
    for (std::size_t page = 0; page < pages; ++page) {
        fresh[page * 65536] = 1;
    }
    volatile double sum = 0;
    for (int step = 0; step < 1'000'000; ++step) {
        sum = sum + step;
    }

    const utl_PerfSample work = counters.Sample().Since(before);
    const std::pair<C, uint64_t> least[] = {{C::BytesWritten, bytes}, {C::BytesRead, bytes},
                                            {C::WriteCalls, 1},       {C::ReadCalls, 1},
                                            {C::PageFaults, 4},       {C::Instructions, 1'000'000},
                                            {C::Cycles, 100'000}};
    for (const auto& [counter, minimum] : least) {
        if (counters.Available(counter)) {
            EXPECT_GE(work[counter].value_or(0), minimum) << utl_PerfCounterName(counter);
        }
    }
}

TEST(PerfCounters, AListOpensOnlyItsCounters) {
    const utl_PerfCounters every;
    utl_PerfCounters listed({C::PageFaults, C::WriteCalls});
    for (const C counter : EveryCounter()) {
        const bool inList = counter == C::PageFaults || counter == C::WriteCalls;
        EXPECT_EQ(listed.Available(counter), inList && every.Available(counter))
            << utl_PerfCounterName(counter);
    }

    const utl_PerfCounters moved(std::move(listed));
    EXPECT_EQ(moved.Read(C::WriteCalls).has_value(), every.Available(C::WriteCalls));
    ExpectAbsent(listed, C::WriteCalls); // NOLINT(bugprone-use-after-move): moved-from is empty
}

TEST(PerfCounters, SinceKeepsWhatBothSamplesHave) {
    utl_PerfSample earlier;
    earlier.Set(C::Cycles, 100);
    earlier.Set(C::PageFaults, 7);
    earlier.Set(C::BytesRead, 5);
    utl_PerfSample later;
    later.Set(C::Cycles, 90); // a scaled count that went down
    later.Set(C::PageFaults, 10);
    later.Set(C::WriteCalls, 3);

    const utl_PerfSample difference = later.Since(earlier);
    EXPECT_EQ(difference[C::Cycles], 0u);
    EXPECT_EQ(difference[C::PageFaults], 3u);
    EXPECT_FALSE(difference.Has(C::BytesRead));
    EXPECT_FALSE(difference.Has(C::WriteCalls));
}

#ifdef __linux__
// What a container does to the hardware counters: the kernel call is refused. The child
// forbids it to itself with a system-call filter, then finds the hardware counters absent and
// the kernel's other figures still there.
TEST(PerfCounters, HardwareCountersRefusedByTheKernelAreAbsent) {
    const int verdict = vlt::test::RunInChild([] {
        sock_filter filter[] = {
            BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, __NR_perf_event_open, 0, 1),
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EACCES),
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        };
        sock_fprog program{static_cast<unsigned short>(std::size(filter)), filter};
        if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
            prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0) {
            return 2;
        }
        const utl_PerfCounters counters;
        const utl_PerfSample sample = counters.Sample();
        for (const C counter : {C::Cycles, C::Instructions, C::CacheMisses, C::BranchMisses}) {
            if (counters.Available(counter) || sample.Has(counter) || counters.Read(counter)) {
                return 3;
            }
        }
        for (const C counter : alwaysThere) {
            if (!sample.Has(counter)) {
                return 4;
            }
        }
        return 0;
    });
    EXPECT_EQ(verdict, 0);
}
#endif

} // namespace
