// The string record: its doubled length, its round trip and its type check.
#include "AssertRecorder.h"
#include "cio_List.h"
#include "cio_Map.h"
#include "cio_String.h"
#include "cio_TestStream.h"
#include "pnt_PrettyPrint.h"

#include <gtest/gtest.h>

namespace {

using vlt::test::AssertRecorder;
using vlt::test::AssertReport;
using vlt::test::Bytes;

class StringRecord : public vlt::test::StreamTest {};

TEST_F(StringRecord, IsObjectRecordWithLengthWrittenTwice) {
    mem << cow_String("abc") << cow_String();
    EXPECT_EQ(Written(), std::vector<uint8_t>(Bytes().StringRecord("abc").StringRecord("")));
    cow_String a("old");
    cow_String b("x");
    mem >> a >> b;
    EXPECT_STREQ(a.c_str(), "abc");
    EXPECT_EQ(a.Length(), 3u);
    EXPECT_EQ(b.Length(), 0u);
}

TEST_F(StringRecord, PointerRoundTripKeepsSharing) {
    cio_String s("shared");
    mem << &s << &s << static_cast<const cio_String*>(nullptr);
    EXPECT_EQ(Written(),
              std::vector<uint8_t>(
                  Bytes().Words({0x1a0001, 1, 6, 6}).Text("shared").Words({0x1a0001, 1, 0})));
    cio_String* first = nullptr;
    cio_String* second = nullptr;
    cio_String* third = &s;
    mem >> first >> second >> third;
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first, second);
    EXPECT_EQ(third, nullptr);
    EXPECT_STREQ(first->c_str(), "shared");
    cio_String::DtorFunc(first);
}

TEST_F(StringRecord, DisagreeingLengthsAreReportedAndClipped) {
    const std::vector<uint8_t> bytes = Bytes().Words({0x1a0001, 0, 2, 4}).Text("wxyz");
    mem.longMove(reinterpret_cast<const char*>(bytes.data()), static_cast<unsigned>(bytes.size()));
    AssertRecorder rec;
    cow_String s;
    mem >> s;
    EXPECT_STREQ(s.c_str(), "wx");
    EXPECT_EQ(rec.Expressions(), std::vector<std::string>{"length == textLength"});
}

TEST_F(StringRecord, OtherRecordTypeIsRefusedAndLeavesTheEmptyString) {
    mem << 0x1a0004u << 0u;
    AssertRecorder rec;
    ::testing::internal::CaptureStderr();
    cow_String s("kept?");
    mem >> s;
    const std::string err = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(s.Length(), 0u);
    EXPECT_EQ(err, "Error: obj_InputP0Obj(): Trying to construct from stream. Expecting type "
                   "'cow_String' with tag '1a0001'.\n       Received type 'cow_1DArrayListInt' "
                   "with tag '1a0004'. Aborting...\n");
    EXPECT_EQ(rec.Reports(),
              (std::vector<AssertReport>{{"actual == expected", "obj/impl/obj_p0Interface", 292}}));
}

// Container elements are read straight into their own strings, not through a new object.
using StringElement = vlt::test::StreamTest;

TEST_F(StringElement, BackReferenceToAnEarlierPointerReadsItsText) {
    cio_String s("shared");
    mem << &s;
    Feed(Bytes().Words({2, 0x1a0001, 1}).StringRecord("b"));
    cio_String* read = nullptr;
    cow_List<cow_String> list;
    mem >> read >> list;
    ASSERT_NE(read, nullptr);
    ASSERT_EQ(list.Size(), 2u);
    EXPECT_STREQ(list.ConstGet(0).c_str(), "shared");
    EXPECT_STREQ(list.ConstGet(1).c_str(), "b");
    cio_String::DtorFunc(read);
}

TEST_F(StringElement, KeyWithANulIsReportedAndKeptAsANewStringOfItsText) {
    Feed(Bytes().Words({1, 0x1a0001, 0, 5, 5}).Text(std::string("ab\0cd", 5)).Raw(2.5f));
    AssertRecorder rec;
    cow_Map<cow_String, float> map;
    mem >> map;
    EXPECT_EQ(rec.Expressions(), std::vector<std::string>{"length == textLength"});
    ASSERT_EQ(map.Size(), 1u);
    EXPECT_FLOAT_EQ(map.ConstGet("ab"), 2.5f);
    cow_ConstMapIterator<cow_String, float> it(map);
    it.First();
    EXPECT_EQ(it.CurrentKey().Length(), 2u);
    EXPECT_EQ(it.CurrentKey().Capacity(), cow_String("ab").Capacity());
}

TEST_F(StringElement, MapRoundTripIsByteExactAndKeysOwnTheirText) {
    cow_Map<cow_String, float> map;
    map.Insert("a-long-key-of-forty-nine-bytes-past-the-small-rule", 1.0f);
    map.Insert("k", -2.0f);
    mem << map;
    const std::vector<uint8_t> first = Written();
    cow_Map<cow_String, float> back;
    mem >> back;
    bio_IOmemFilter again(64);
    again << back;
    EXPECT_EQ(std::vector<uint8_t>(again.Data(), again.Data() + again.Written()), first);
    cow_ConstMapIterator<cow_String, float> it(back);
    for (it.First(); !it.IsDone(); it.Next()) {
        EXPECT_EQ(it.CurrentKey().Capacity(), cow_String(it.CurrentKey().c_str()).Capacity());
    }
}

TEST_F(StringRecord, PrintsItsTextAndPointerMarkers) {
    cio_String s("hi");
    pnt_PrettyPrint pp;
    pp << &s << " " << &s << " " << s;
    pp.Flush();
    EXPECT_STREQ(pp.Text().c_str(), "#1=hi #1# hi");
}

} // namespace
