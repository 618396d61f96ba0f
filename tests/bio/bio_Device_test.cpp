// The remnant/consume handshake between filters and devices, and values split across buffers.
#include "AssertRecorder.h"
#include "TestPlatform.h"
#include "bio_TestChannels.h"
#include "omi_FatalError.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

namespace {

using vlt::test::AssertRecorder;
using vlt::test::PieceSink;
using vlt::test::PieceSource;

TEST(OutputDevice, FirstRequestPullsWithoutPushing) {
    PieceSink sink(8);
    bio_OinternalFilter out(sink);
    out << 1;
    EXPECT_EQ(sink.Pulls(), 1);
    EXPECT_TRUE(sink.Cuts().empty());
}

TEST(OutputDevice, IntWithTwoBytesLeftIsSplitTwoAndTwo) {
    PieceSink sink(6);
    bio_OinternalFilter out(sink);
    out << 0x11111111 << 0x04030201;
    sink.donePushing();
    EXPECT_EQ(sink.Cuts(), (std::vector<unsigned>{6, 2}));
    EXPECT_EQ(sink.Pushed().substr(4), std::string("\x01\x02\x03\x04", 4));
}

TEST(OutputDevice, ByteReversedValueIsSplitFromItsLastByte) {
    PieceSink sink(3);
    bio_OinternalFilter out(sink);
    const char value[] = {1, 2, 3, 4, 5};
    out.shortSwap(value, 5);
    sink.donePushing();
    EXPECT_EQ(sink.Cuts(), (std::vector<unsigned>{3, 2}));
    EXPECT_EQ(sink.Pushed(), std::string("\x05\x04\x03\x02\x01", 5));
}

TEST(OutputDevice, LongBlockFillsEveryBufferToTheBrim) {
    PieceSink sink(4);
    bio_OinternalFilter out(sink);
    out << "0123456789"; // 4 + 10 bytes
    sink.donePushing();
    EXPECT_EQ(sink.Cuts(), (std::vector<unsigned>{4, 4, 4, 2}));
    EXPECT_EQ(sink.Pushed().substr(4), "0123456789");
}

TEST(OutputDevice, ConsumingBeyondTheRoomIsReportedAndClipped) {
    AssertRecorder rec;
    PieceSink sink(4);
    char* where = nullptr;
    EXPECT_EQ(sink.oRemnant(where), 4u);
    sink.oConsume(9);
    EXPECT_EQ(rec.Expressions(),
              (std::vector<std::string>{"n <= ocurrent->buffLen() - ocurrent->wr_off"}));
    sink.donePushing();
    EXPECT_EQ(sink.Cuts(), (std::vector<unsigned>{4}));
}

// A device that offers no room would make a move spin.
class NoRoom : public bio_Odevice {
public:
    NoRoom() : buffer_(1) { buffer_.wr_off = 1; }
    void pushFull() override {}
    bio_Buffer& pullEmpty() override { return buffer_; }

private:
    bio_Buffer buffer_;
};

TEST(OutputDevice, DeviceWithoutRoomStopsTheWriteAsALostConnection) {
    NoRoom device;
    bio_OinternalFilter out(device);
    EXPECT_THROW(out << 1.0, omi_FatalError);
}

TEST(InputDevice, ValuesSplitAcrossBuffersAreJoined) {
    PieceSource source(std::string("\x01\x02\x03\x04\x00\x00\x00\x00\x00\x00\xF0\x3F", 12), 5);
    bio_IinternalFilter in(source);
    int i = 0;
    double d = 0;
    in >> i >> d;
    EXPECT_EQ(i, 0x04030201);
    EXPECT_EQ(d, 1.0);
    EXPECT_EQ(source.Pushes(), 2); // drained buffers went back before the 2nd and 3rd pull
}

// A peer that has gone may leave the next pull blocked, and errno may change before a later
// look: the first empty buffer ends the read with the error number of that moment.
TEST(InputDevice, ScalarReadStopsAtTheFirstEmptyBuffer) {
    PieceSource gone(std::string("\x01\x02", 2), 4);
    bio_IinternalFilter in(gone);
    short first = 0;
    in >> first;
    vlt::test::SetSystemError(EPIPE);
    int next = 0;
    try {
        in >> next;
        ADD_FAILURE() << "read past the end of the stream";
    } catch (const omi_FatalError& error) {
        EXPECT_EQ(error.Code(), EPIPE);
    }
    EXPECT_EQ(gone.Pulls(), 2);
}

TEST(InputDevice, ByteReversedReadAcrossBuffers) {
    PieceSource source(std::string("\x01\x02\x03\x04", 4), 3);
    bio_IinternalFilter in(source);
    char value[4] = {};
    in.shortSwap(value, 4);
    EXPECT_EQ(std::string(value, 4), std::string("\x04\x03\x02\x01", 4));
}

TEST(InputDevice, LongStringFromADeviceIsReadInPiecesAndWhole) {
    std::string text(300000, 'q');
    text[299999] = 'z';
    std::string stream("\xE0\x93\x04\x00", 4); // 300000
    stream += text;
    PieceSource source(stream, 4096);
    bio_IinternalFilter in(source);
    char* s = nullptr;
    in >> s;
    std::unique_ptr<char[]> own(s);
    EXPECT_EQ(std::string(s), text);
}

TEST(InputDevice, ForgedStringLengthEndsWithTheStreamNotWithAnAllocation) {
    std::string stream("\xFF\xFF\xFF\x7F", 4); // 2 GiB announced, 3 bytes sent
    stream += "abc";
    PieceSource source(stream, 4096);
    bio_IinternalFilter in(source);
    char* s = nullptr;
    EXPECT_THROW(in >> s, omi_FatalError);
    EXPECT_EQ(s, nullptr);
}

TEST(InputDevice, NegativeStringLengthIsReportedAndReadsEmpty) {
    AssertRecorder rec;
    PieceSource source(std::string("\xFE\xFF\xFF\xFFxy", 6), 16);
    bio_IinternalFilter in(source);
    char* s = nullptr;
    in >> s;
    std::unique_ptr<char[]> own(s);
    ASSERT_NE(s, nullptr);
    EXPECT_STREQ(s, "");
    EXPECT_EQ(rec.Expressions(), (std::vector<std::string>{"len >= 0"}));
    char next = 0;
    in >> next;
    EXPECT_EQ(next, 'x');
}

// Client filters that exchange big-endian scalars by routing shortMove to shortSwap.
class BigEndianOut : public bio_OinternalFilter {
public:
    using bio_OinternalFilter::bio_OinternalFilter;
    void shortMove(const char* src, unsigned n) override { shortSwap(src, n); }
};

class BigEndianIn : public bio_IinternalFilter {
public:
    using bio_IinternalFilter::bio_IinternalFilter;
    void shortMove(char* dst, unsigned n) override { shortSwap(dst, n); }
};

TEST(ClientFilter, ScalarsGoThroughAnOverriddenShortMove) {
    PieceSink sink(16);
    BigEndianOut out(sink);
    out << 0x01020304 << static_cast<short>(0x0506) << "ab";
    sink.donePushing();
    EXPECT_EQ(sink.Pushed(), std::string("\x01\x02\x03\x04\x05\x06\x00\x00\x00\x02"
                                         "ab",
                                         12));
    PieceSource source(sink.Pushed(), 5);
    BigEndianIn in(source);
    int i = 0;
    short s = 0;
    char* text = nullptr;
    in >> i >> s >> text;
    std::unique_ptr<char[]> own(text);
    EXPECT_EQ(i, 0x01020304);
    EXPECT_EQ(s, 0x0506);
    EXPECT_STREQ(text, "ab");
}

} // namespace
