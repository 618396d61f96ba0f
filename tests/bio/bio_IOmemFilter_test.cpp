// The growable memory filter: its growth rule, its bounds and its safe stops.
#include "AssertRecorder.h"
#include "bio_IOmemFilter.h"
#include "omi_FatalError.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

using vlt::test::AssertRecorder;
using vlt::test::AssertReport;

struct GrowthCase {
    unsigned granule;
    unsigned first;  // bytes written before the block that grows it
    unsigned second; // that block
    std::size_t capacity;
};

class Growth : public ::testing::TestWithParam<GrowthCase> {};

TEST_P(Growth, NewSizeIsCapacityPlusRequestRoundedToTheGranule) {
    const GrowthCase& c = GetParam();
    bio_IOmemFilter mem(c.granule);
    const std::vector<char> bytes(c.first + c.second, 'x');
    mem.longMove(bytes.data(), c.first);
    mem.longMove(bytes.data(), c.second);
    EXPECT_EQ(mem.Capacity(), c.capacity);
    EXPECT_EQ(mem.Written(), std::size_t{c.first} + c.second);
}

INSTANTIATE_TEST_SUITE_P(
    Figures, Growth,
    ::testing::Values(GrowthCase{16, 0, 20, 48}, // 16 + 20 = 36, rounded up: 48, not 32
                      GrowthCase{16, 0, 16, 16}, // an exact fit does not grow
                      GrowthCase{16, 12, 8, 32}, // 16 + 8 = 24: 32, though only 20 are in use
                      GrowthCase{0, 0, 5, 5}));  // no granule: to the byte

TEST(IOmemFilter, GrowthKeepsWrittenBytesAndTheReadPosition) {
    bio_IOmemFilter mem(8);
    mem << 1 << 2;
    int first = 0;
    mem >> first;
    mem << 3.5;
    ASSERT_GT(mem.Capacity(), 8u);
    int second = 0;
    double third = 0;
    mem >> second >> third;
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 2);
    EXPECT_EQ(third, 3.5);
}

TEST(IOmemFilter, ExplicitGrowMakesRoomBeforeTheWrites) {
    bio_IOmemFilter mem(16);
    mem.Grow(100);
    EXPECT_EQ(mem.Capacity(), 128u);
    mem.Grow(100);
    EXPECT_EQ(mem.Capacity(), 128u);
}

TEST(IOmemFilter, ReadingPastWhatWasWrittenInsideTheBlockIsNotDetected) {
    AssertRecorder rec;
    bio_IOmemFilter mem(16);
    mem << 1;
    int a = 0, b = -1;
    mem >> a >> b;
    EXPECT_EQ(b, 0);
    EXPECT_TRUE(rec.Reports().empty());
}

struct OverrunCase {
    const char* name;
    void (*read)(bio_Ifilter&);
    AssertReport report;
};

class Overrun : public ::testing::TestWithParam<OverrunCase> {};

// The block holds 6 bytes, 5 of them read: every read below asks for more than the last one.
TEST_P(Overrun, ReadPastTheBlockIsReportedThenThrows) {
    bio_IOmemFilter mem(6);
    mem << 1 << static_cast<short>(2);
    char skip[5];
    mem.longMove(skip, 5);
    AssertRecorder rec;
    try {
        GetParam().read(mem);
        FAIL() << "read went on";
    } catch (const omi_FatalError& error) {
        EXPECT_STREQ(error.Message(), omi_ReadPastEndMessage);
        EXPECT_EQ(error.Code(), 0);
    }
    ASSERT_EQ(rec.Reports().size(), 1u);
    EXPECT_EQ(rec.Reports()[0].expression, GetParam().report.expression);
    EXPECT_EQ(rec.Reports()[0].path, "bio/impl/bio_IOmemFilter");
    if (GetParam().report.line != 0) {
        EXPECT_EQ(rec.Reports()[0].line, GetParam().report.line);
    }
    EXPECT_EQ(mem.Read(), 5u); // nothing was taken
}

template <class T>
void readOne(bio_Ifilter& f) {
    T v{};
    f >> v;
}

void readRaw(bio_Ifilter& f) {
    char bytes[2];
    char* dst = bytes;
    f.extract(dst, 2);
}

void readVector(bio_Ifilter& f) {
    short v[1];
    f.extractVector(v, 1);
}

void readString(bio_Ifilter& f) {
    char* s = nullptr;
    f >> s;
    delete[] s;
}

INSTANTIATE_TEST_SUITE_P(
    EachRead, Overrun,
    ::testing::Values(
        OverrunCase{"int", readOne<int>, {"getPtr_ + sizeof(int) <= buffEnd_", "", 321}},
        OverrunCase{"long", readOne<long>, {"getPtr_ + sizeof(long) <= buffEnd_", "", 0}},
        OverrunCase{"raw", readRaw, {"getPtr_ + len <= buffEnd_", "", 366}},
        OverrunCase{"vector", readVector, {"getPtr_ + n <= buffEnd_", "", 0}},
        OverrunCase{"string", readString, {"getPtr_ + sizeof(int) <= buffEnd_", "", 321}}),
    [](const ::testing::TestParamInfo<OverrunCase>& info) { return info.param.name; });

TEST(IOmemFilter, BoolPastTheEndCarriesItsPublishedLine) {
    bio_IOmemFilter mem(0);
    AssertRecorder rec;
    bool b = true;
    EXPECT_THROW(mem >> b, omi_FatalError);
    EXPECT_EQ(rec.Reports(), (std::vector<AssertReport>{{"getPtr_ + sizeof(bool) <= buffEnd_",
                                                         "bio/impl/bio_IOmemFilter", 294}}));
    EXPECT_TRUE(b);
}

TEST(IOmemFilter, ForgedStringLengthIsRefusedBeforeAnyAllocation) {
    bio_IOmemFilter mem(64);
    mem << 0x7FFFFFFF << "abc";
    AssertRecorder rec;
    char* s = nullptr;
    EXPECT_THROW(mem >> s, omi_FatalError);
    EXPECT_EQ(s, nullptr);
    EXPECT_EQ(rec.Reports(), (std::vector<AssertReport>{
                                 {"getPtr_ + len <= buffEnd_", "bio/impl/bio_IOmemFilter", 366}}));
}

TEST(IOmemFilter, StringEndingExactlyAtTheBlockEndIsRead) {
    bio_IOmemFilter mem(7);
    mem << "abc";
    ASSERT_EQ(mem.Capacity(), 7u);
    char* s = nullptr;
    mem >> s;
    std::unique_ptr<char[]> own(s);
    EXPECT_STREQ(s, "abc");
}

TEST(IOmemFilter, MovesNeverSwap) {
    bio_IOmemFilter mem(8);
    const char value[] = {1, 2, 3};
    mem.shortSwap(value, 3);
    mem.shortMove(value, 3);
    char back[6];
    mem.shortSwap(back, 6);
    EXPECT_EQ(std::string(back, 6), std::string("\x01\x02\x03\x01\x02\x03", 6));
}

} // namespace
