// The buffer, the memory loopback and the failures of reading or writing past it.
#include "AssertRecorder.h"
#include "TestPlatform.h"
#include "bio_InternalFilter.h"
#include "bio_MemoryDevice.h"
#include "omi_FatalError.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using vlt::test::AssertRecorder;
using vlt::test::AssertReport;

TEST(Buffer, ZeroCapacityMeansTheDefaultOf4096) {
    bio_Buffer buffer(0);
    EXPECT_EQ(buffer.buffLen(), 4096u);
    EXPECT_EQ(bio_Buffer(10).buffLen(), 10u);
}

class Loopback : public ::testing::Test {
protected:
    // Writes n bytes numbered from `first`.
    void WriteBytes(unsigned n, unsigned first = 0) {
        std::vector<char> bytes(n);
        for (unsigned i = 0; i < n; ++i) {
            bytes[i] = static_cast<char>(first + i);
        }
        out.longMove(bytes.data(), n);
    }
    std::vector<unsigned char> ReadBytes(unsigned n) {
        std::vector<unsigned char> bytes(n);
        in.longMove(reinterpret_cast<char*>(bytes.data()), n);
        return bytes;
    }

    bio_Buffer buffer{0};
    bio_OmemoryDevice odev{buffer};
    bio_ImemoryDevice idev{buffer};
    bio_OinternalFilter out{odev};
    bio_IinternalFilter in{idev};
};

TEST_F(Loopback, AcceptsOneBufferOfWritesThenOverflows) {
    WriteBytes(4096);
    EXPECT_EQ(buffer.wr_off, 4096u);
    try {
        out << 'x';
        FAIL() << "no overflow";
    } catch (const omi_FatalError& error) {
        EXPECT_STREQ(error.Message(), "buffer overflow in oMemoryDevice");
        EXPECT_EQ(error.Code(), 0);
    }
}

TEST_F(Loopback, UnreadRestMovesToTheFrontWhenSomeWasRead) {
    WriteBytes(4096);
    EXPECT_EQ(ReadBytes(4)[3], 3u);
    WriteBytes(4, 200); // the 4092 unread bytes move to the front, then 4 more go after them
    EXPECT_EQ(buffer.rd_off, 0u);
    EXPECT_EQ(buffer.wr_off, 4096u);
    const std::vector<unsigned char> rest = ReadBytes(4092);
    EXPECT_EQ(rest.front(), 4u);
    EXPECT_EQ(rest.back(), static_cast<unsigned char>(4095));
    EXPECT_EQ(ReadBytes(4), (std::vector<unsigned char>{200, 201, 202, 203}));
}

TEST_F(Loopback, FullyReadBufferStartsAgainAtTheFront) {
    WriteBytes(4096);
    ReadBytes(4096);
    out << 7;
    EXPECT_EQ(buffer.rd_off, 0u);
    EXPECT_EQ(buffer.wr_off, 4u);
    int v = 0;
    in >> v;
    EXPECT_EQ(v, 7);
}

TEST_F(Loopback, ValueSplitByTheOverflowPointKeepsItsFirstBytes) {
    WriteBytes(4094);
    EXPECT_THROW(out << 0x01020304, omi_FatalError);
    EXPECT_EQ(buffer.wr_off, 4096u);
    EXPECT_EQ(static_cast<unsigned char>(buffer.Data()[4095]), 3u);
}

TEST_F(Loopback, ReadingMoreThanWasWrittenIsReportedThenStops) {
    AssertRecorder rec;
    out << static_cast<short>(5);
    vlt::test::SetSystemError(0);
    int v = 0;
    try {
        in >> v;
        FAIL() << "read went on past the written bytes";
    } catch (const omi_FatalError& error) {
        EXPECT_STREQ(error.Message(),
                     "The other side of the connection exited breaking the socket connection");
        EXPECT_EQ(error.Code(), 0);
    }
    EXPECT_EQ(rec.Reports(), (std::vector<AssertReport>{{"icurrent->wr_off > icurrent->rd_off",
                                                         "bio/impl/bio_ImemoryDevice", 118}}));
}

TEST_F(Loopback, EveryInputMoveStopsOnADrainedLoopback) {
    AssertRecorder rec;
    char bytes[8];
    EXPECT_THROW(in.longMove(bytes, 8), omi_FatalError);
    EXPECT_THROW(in.shortSwap(bytes, 8), omi_FatalError);
    char* dst = bytes;
    EXPECT_THROW(in.extract(dst, 1), omi_FatalError);
    EXPECT_EQ(rec.Reports().size(), 3u);
}

TEST(FatalError, HeapCopiedMessageOutlivesItsSourceAndCopies) {
    std::string text = "lost";
    omi_FatalError copy("", 0);
    {
        const omi_FatalError error = omi_FatalError::Copied(text.c_str(), 32);
        text = "changed";
        copy = error;
        EXPECT_STREQ(error.Message(), "lost");
    }
    EXPECT_STREQ(copy.Message(), "lost");
    EXPECT_EQ(copy.Code(), 32);
}

TEST(FatalError, ConstantMessageIsPointedAtNotCopied) {
    static const char text[] = "constant";
    const omi_FatalError error(text, -1);
    const omi_FatalError copy(error);
    EXPECT_EQ(copy.Message(), text);
    EXPECT_EQ(copy.Code(), -1);
}

} // namespace
