// The binary encoding, byte for byte, through every concrete filter; and values read back.
#include "AssertRecorder.h"
#include "bio_Complex.h"
#include "bio_TestChannels.h"
#include "omi_FatalError.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <cmath>
#include <memory>

namespace {

using vlt::test::AssertRecorder;
using vlt::test::AssertReport;
using vlt::test::Bytes;

template <class Channel>
class Encoding : public ::testing::Test {
protected:
    Channel channel;
};

using Channels =
    ::testing::Types<vlt::test::MemChannel, vlt::test::LoopChannel, vlt::test::SplitChannel>;
TYPED_TEST_SUITE(Encoding, Channels);

// No padding anywhere: the double below starts at byte 28.
TYPED_TEST(Encoding, EachScalarTakesItsWidthInLittleEndianOrderAndReadsBack) {
    bio_Ofilter& out = this->channel.Out();
    out << true << false << 'a' << static_cast<unsigned char>(0xFE);
    out << static_cast<short>(-2) << static_cast<unsigned short>(0x1234);
    out << -1 << 0x12345678u;
    out << -2L << 0xDEADBEEFUL;
    out << 1.0f << -2.5;
    EXPECT_EQ(this->channel.Written(),
              (Bytes{0x01, 0x00, 0x61, 0xFE,                            // bool, bool, chars
                     0xFE, 0xFF, 0x34, 0x12,                            // shorts
                     0xFF, 0xFF, 0xFF, 0xFF, 0x78, 0x56, 0x34, 0x12,    // ints
                     0xFE, 0xFF, 0xFF, 0xFF, 0xEF, 0xBE, 0xAD, 0xDE,    // longs: 4 bytes
                     0x00, 0x00, 0x80, 0x3F,                            // float
                     0,    0,    0,    0,    0,    0,    0x04, 0xC0})); // double
    bool t = false, f = true;
    char c = 0;
    unsigned char uc = 0;
    short s = 0;
    unsigned short us = 0;
    int i = 0;
    unsigned u = 0;
    long l = 0; // sign-extended back to the host's long
    unsigned long ul = 0;
    float fl = 0;
    double d = 0;
    this->channel.In() >> t >> f >> c >> uc >> s >> us >> i >> u >> l >> ul >> fl >> d;
    EXPECT_TRUE(t && !f && c == 'a' && uc == 0xFE && s == -2 && us == 0x1234);
    EXPECT_TRUE(i == -1 && u == 0x12345678u && l == -2L && ul == 0xDEADBEEFUL);
    EXPECT_TRUE(fl == 1.0f && d == -2.5);
}

TYPED_TEST(Encoding, StringIsItsLengthThenItsBytesWithoutTerminator) {
    this->channel.Out() << "abc"
                        << "" << static_cast<const char*>(nullptr);
    EXPECT_EQ(this->channel.Written(), (Bytes{3, 0, 0, 0, 'a', 'b', 'c', 0, 0, 0, 0, 0, 0, 0, 0}));
}

TYPED_TEST(Encoding, ComplexIsItsIntegerThenRealThenImaginary) {
    this->channel.Out() << omi_complex{7, 1.0, -2.0};
    EXPECT_EQ(this->channel.Written(),
              (Bytes{7, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xF0, 0x3F, 0, 0, 0, 0, 0, 0, 0, 0xC0}));
}

TYPED_TEST(Encoding, LongOutsideThirtyTwoBitsIsReportedThenClipped) {
    if constexpr (sizeof(long) == 4) {
        GTEST_SKIP() << "long has 32 bits here (Windows): no value lies outside";
    }
    AssertRecorder rec;
    // Written so that a 32-bit long compiles too; the case is skipped there.
    const auto beyond = static_cast<long>(int64_t{1} << 40);
    this->channel.Out() << beyond << -beyond << static_cast<unsigned long>(uint64_t{1} << 33);
    EXPECT_EQ(this->channel.Written(),
              (Bytes{0xFF, 0xFF, 0xFF, 0x7F, 0, 0, 0, 0x80, 0xFF, 0xFF, 0xFF, 0xFF}));
    EXPECT_EQ(rec.Expressions(),
              (std::vector<std::string>{"INT32_MIN <= v && v <= INT32_MAX",
                                        "INT32_MIN <= v && v <= INT32_MAX", "v <= UINT32_MAX"}));
    EXPECT_EQ(rec.Reports()[0].path, "bio/impl/bio_Wire");
}

TYPED_TEST(Encoding, ShortSwapReversesOnlyOnTheInternalFilters) {
    const char value[] = {1, 2, 3, 4};
    this->channel.Out().shortSwap(value, 4);
    const Bytes expected = TypeParam::countsBytes ? Bytes{4, 3, 2, 1} : Bytes{1, 2, 3, 4};
    EXPECT_EQ(this->channel.Written(), expected);
    char back[4] = {};
    this->channel.In().shortSwap(back, 4);
    EXPECT_EQ(Bytes(back, back + 4), (Bytes{1, 2, 3, 4}));
}

TYPED_TEST(Encoding, StringReadsBackIntoANewTerminatedArray) {
    this->channel.Out() << "abc"
                        << "";
    char* abc = nullptr;
    char* empty = nullptr;
    this->channel.In() >> abc >> empty;
    std::unique_ptr<char[]> own1(abc), own2(empty);
    ASSERT_NE(abc, nullptr);
    EXPECT_EQ(Bytes(abc, abc + 4), (Bytes{'a', 'b', 'c', 0}));
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(empty[0], '\0');
}

TYPED_TEST(Encoding, PointerFormsReadOneNewValueEach) {
    this->channel.Out() << true << 5 << 2.5 << -3L;
    bool* b = nullptr;
    int* i = nullptr;
    double* d = nullptr;
    long* l = nullptr;
    this->channel.In() >> b >> i >> d >> l;
    std::unique_ptr<bool> own1(b);
    std::unique_ptr<int> own2(i);
    std::unique_ptr<double> own3(d);
    std::unique_ptr<long> own4(l);
    ASSERT_TRUE(b && i && d && l);
    EXPECT_TRUE(*b);
    EXPECT_EQ(*i, 5);
    EXPECT_EQ(*d, 2.5);
    EXPECT_EQ(*l, -3L);
}

TYPED_TEST(Encoding, AnyNonZeroByteReadsAsTrue) {
    const char bytes[] = {2, 0, static_cast<char>(0x80)};
    this->channel.Out().longMove(bytes, 3);
    bool v[3] = {false, true, false};
    this->channel.In().extractVector(v, 3);
    EXPECT_TRUE(v[0]);
    EXPECT_FALSE(v[1]);
    EXPECT_TRUE(v[2]);
}

TYPED_TEST(Encoding, VectorsReadBackElementByElement) {
    const long longs[] = {1, -1, INT32_MAX};
    const short shorts[] = {-2, 3};
    const double doubles[] = {0.5, -0.25};
    // The internal output filter counts bytes, the memory filter elements (deliberate).
    const unsigned scale = TypeParam::countsBytes ? 1 : 0;
    bio_Ofilter& out = this->channel.Out();
    out.insertVector(longs, scale ? 12 : 3);
    out.insertVector(shorts, scale ? 4 : 2);
    out.insertVector(doubles, scale ? 16 : 2);
    const Bytes written = this->channel.Written();
    EXPECT_EQ(
        Bytes(written.begin(), written.begin() + 16),
        (Bytes{1, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x7F, 0xFE, 0xFF, 3, 0}));
    long l[3] = {};
    short s[2] = {};
    double d[2] = {};
    bio_Ifilter& in = this->channel.In();
    in.extractVector(l, 3);
    in.extractVector(s, 2);
    in.extractVector(d, 2);
    EXPECT_EQ(std::vector<long>(l, l + 3), std::vector<long>(longs, longs + 3));
    EXPECT_EQ(std::vector<short>(s, s + 2), std::vector<short>(shorts, shorts + 2));
    EXPECT_EQ(std::vector<double>(d, d + 2), std::vector<double>(doubles, doubles + 2));
}

TEST(VectorWidths, InternalOutputFilterWritesNBytesAndMemoryFilterNElements) {
    const int ints[] = {0x04030201, 0x08070605};
    vlt::test::LoopChannel loop;
    loop.Out().insertVector(ints, 2);
    EXPECT_EQ(loop.Written(), (Bytes{1, 2}));
    vlt::test::MemChannel mem;
    mem.Out().insertVector(ints, 2);
    EXPECT_EQ(mem.Written(), (Bytes{1, 2, 3, 4, 5, 6, 7, 8}));
}

TEST(VectorWidths, LongVectorsLargerThanOneConversionChunkKeepTheirOrder) {
    vlt::test::MemChannel mem;
    std::vector<long> values(1000);
    for (std::size_t i = 0; i < values.size(); ++i) {
        values[i] = static_cast<long>(i) * 1000 - 500000;
    }
    mem.Out().insertVector(values.data(), 1000);
    ASSERT_EQ(mem.mem.Written(), 4000u);
    std::vector<long> back(1000);
    mem.In().extractVector(back.data(), 1000);
    EXPECT_EQ(back, values);
}

TEST(PointerLog, MarkersAreNumberedFromOneInOrderOfFirstOccurrence) {
    vlt::test::MemChannel mem;
    int a = 0, b = 0;
    bool first = false;
    EXPECT_EQ(mem.Out().MarkPointer(&a, first), 1u);
    EXPECT_TRUE(first);
    EXPECT_EQ(mem.Out().MarkPointer(&b, first), 2u);
    EXPECT_TRUE(first);
    EXPECT_EQ(mem.Out().MarkPointer(&a, first), 1u);
    EXPECT_FALSE(first);
}

TEST(PointerLog, InputLogFindsOnlyRecordedMarkers) {
    vlt::test::MemChannel mem;
    int a = 0;
    void* found = nullptr;
    EXPECT_FALSE(mem.In().FindMarker(1, found));
    mem.In().RecordMarker(1, &a);
    EXPECT_TRUE(mem.In().FindMarker(1, found));
    EXPECT_EQ(found, &a);
}

} // namespace
