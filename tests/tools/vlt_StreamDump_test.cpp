#include "vlt_StreamDump.h"

#include "bio_InternalFilter.h"
#include "bio_MemoryDevice.h"
#include "cio_1DArrayList.h"
#include "cio_String.h"
#include "utl_Modules.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace {

using vlt::tools::DumpLimits;
using vlt::tools::DumpOutcome;
using vlt::tools::DumpStream;

class StreamDump : public testing::Test {
protected:
    static void SetUpTestSuite() { utl_initialize(tally); }
    static void TearDownTestSuite() { utl_finalize(tally); }
    static inline int tally = 0;

    // A string object record, a list pointer written twice, a null pointer and two raw
    // values that belong to no record.
    static std::string SampleStream() {
        bio_Buffer buffer(4096);
        bio_OmemoryDevice device(buffer);
        bio_OinternalFilter out(device);
        cio_1DArrayList<int, int> list;
        for (int id = 1; id <= 3; ++id) {
            list.Append(id * 10);
        }
        const cio_String name(cow_String("nodes"));
        out << name << &list << &list << static_cast<const cio_1DArrayList<int, int>*>(nullptr);
        out << 7 << 2.5;
        return std::string(buffer.Data(), buffer.wr_off);
    }

    DumpOutcome Dump(const std::string& bytes, DumpLimits limits = {}) {
        text.str("");
        return DumpStream(bytes.data(), bytes.size(), limits, text);
    }

    std::ostringstream text;
};

TEST_F(StreamDump, ShowsEveryRecordAndTheLooseBytes) {
    const DumpOutcome outcome = Dump(SampleStream());
    EXPECT_TRUE(outcome.complete);
    EXPECT_EQ(outcome.records, 4u);
    EXPECT_EQ(outcome.offset, 0x85u);
    EXPECT_EQ(text.str(), "00000000  cow_String 0x001a0001 object\n"
                          "          nodes\n"
                          "00000015  cow_1DArrayListInt 0x001a0004 #1=\n"
                          "          [ 10 ,\n"
                          "            20 ,\n"
                          "            30  ]\n"
                          "0000006d  cow_1DArrayListInt 0x001a0004 #1#\n"
                          "00000075  null pointer\n"
                          "00000079  12 bytes in no record\n"
                          "          00000079  07 00 00 00 00 00 00 00 00 00 04 40"
                          "              |...........@|\n");
}

// A dump that starts later counts its offsets from there; the record limit stops it early.
TEST_F(StreamDump, StartsAtAnOffsetAndStopsAfterTheRecordLimit) {
    const std::string stream = SampleStream();
    const DumpOutcome outcome = Dump(stream.substr(0x15), {0x15, 2});
    EXPECT_TRUE(outcome.complete);
    EXPECT_EQ(outcome.records, 2u);
    EXPECT_EQ(outcome.offset, 0x75u);
    EXPECT_EQ(text.str().substr(0, 44), "00000015  cow_1DArrayListInt 0x001a0004 #1=\n");
}

TEST_F(StreamDump, BadStreamsEndWithTheOffsetAndTheReason) {
    const std::string stream = SampleStream();
    struct Case {
        std::string bytes;
        uint64_t offset;
        const char* reason;
    };
    const Case cases[] = {
        {"", 0, "the stream is empty"},
        {"plain text, not a stream\n", 0, "no record of a binary stream in the data"},
        {stream.substr(0, 0x19), 0x15,
         "the stream ends inside the header of a cow_1DArrayListInt record"},
        {stream.substr(0, 0x40), 0x15, "the stream ends inside a cow_1DArrayListInt record"},
        {stream.substr(0, 0x10), 0, "the stream ends inside a cow_String record"},
    };
    for (const Case& bad : cases) {
        SCOPED_TRACE(bad.reason);
        const DumpOutcome outcome = Dump(bad.bytes);
        EXPECT_FALSE(outcome.complete);
        EXPECT_EQ(outcome.offset, bad.offset);
        EXPECT_EQ(outcome.reason, bad.reason);
    }
}

} // namespace
