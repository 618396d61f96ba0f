// Container encodings: the published byte layouts, round trips of every instance, appending
// reads, printed forms, and safe stops on malformed streams.
#include "AssertRecorder.h"
#include "TestPlatform.h"
#include "bio_InternalFilter.h"
#include "bio_MemoryDevice.h"
#include "cio_1DArrayList.h"
#include "cio_2DArray.h"
#include "cio_FixedArray.h"
#include "cio_List.h"
#include "cio_Map.h"
#include "cio_TestStream.h"
#include "omi_FatalError.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace {

using vlt::test::AssertRecorder;
using vlt::test::Bytes;

class Encoding : public vlt::test::StreamTest {};

TEST_F(Encoding, BlockedArrayWritesEveryBlockWithPresenceFlags) {
    cow_1DArray<int> array(2, 16);
    Bytes expected;
    expected.Words({2, 16, 1});
    for (unsigned i = 0; i < 16; ++i) {
        array.Get(i) = static_cast<int>(i * 3);
        expected.Words({i * 3});
    }
    expected.Words({0});
    cow_1DArray<int>::WriteData(mem, &array);
    EXPECT_EQ(Written(), std::vector<uint8_t>(expected));
    cow_1DArray<int> back;
    cow_1DArray<int>::ReadData(mem, &back);
    EXPECT_EQ(back.BlockCount(), 2u);
    EXPECT_EQ(back.ConstBlock(1), nullptr);
    for (unsigned i = 0; i < 16; ++i) {
        EXPECT_EQ(back.PartialArrayConstGet(i), static_cast<int>(i * 3));
    }
}

TEST_F(Encoding, ArrayListIsObjectRecordOfLengthAndStorage) {
    const double values[2] = {1.5, -2.0};
    const cow_1DArrayList<double, double> list(values, 2, 1, 2);
    mem << list;
    EXPECT_EQ(Written(),
              std::vector<uint8_t>(Bytes().Words({0x1a0006, 0, 2, 1, 2, 1}).Raw(1.5).Raw(-2.0)));
}

// The tail of a block past the list's length goes on the stream too: it must be zeros, not
// whatever the heap held, so that one model always gives the same bytes.
TEST_F(Encoding, BlockTailPastTheListLengthIsWrittenAsZeros) {
    cow_1DArrayList<int, int> list;
    list.Append(7);
    ASSERT_EQ(list.Storage().BlockSize(), 16u);
    mem << list;
    Bytes expected;
    expected.Words({0x1a0004, 0, 1, 1, 16, 1, 7});
    for (int i = 1; i < 16; ++i) {
        expected.Words({0});
    }
    EXPECT_EQ(Written(), std::vector<uint8_t>(expected));
}

// Writes a solver's model to `path` from a heap that held `junk` bytes just before, then ends
// the process.
[[noreturn]] void WriteModelAfterJunk(const std::string& path, char junk) {
    {
        std::vector<std::unique_ptr<char[]>> freed; // blocks of the same size may reuse them
        for (int i = 0; i < 256; ++i) {
            freed.emplace_back(new char[64]);
            std::memset(freed.back().get(), junk, 64);
        }
    }
    cow_Map<cow_String, cow_1DArrayList<int, int>> model;
    for (const char* name : {"nodes", "elements", "loads"}) {
        cow_1DArrayList<int, int> ids;
        for (int id = 1; id <= 3; ++id) {
            ids.Append(id);
        }
        model.Insert(name, ids);
    }
    bio_IOmemFilter mem(256);
    mem << model;
    std::ofstream(path, std::ios::binary).write(mem.Data(), mem.Written());
    std::exit(0);
}

// Two fresh processes (the test program started again for each) write the same model: the
// bytes must be the same, block tails past the lists' lengths included.
TEST_F(Encoding, TheSameModelFromTwoFreshProcessesIsTheSameBytes) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    // The children run this body again from the start: they take the parent's file names.
    if (std::getenv("VLT_TEST_MODEL_BASE") == nullptr) {
        const std::string name =
            testing::TempDir() + "vlt_model_" + std::to_string(vlt::test::ProcessId());
        vlt::test::SetEnvironment("VLT_TEST_MODEL_BASE", name.c_str());
    }
    const std::string base = std::getenv("VLT_TEST_MODEL_BASE");
    EXPECT_EXIT(WriteModelAfterJunk(base + ".a", '\x11'), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(WriteModelAfterJunk(base + ".b", '\x77'), testing::ExitedWithCode(0), "");
    const auto read = [](const std::string& path) {
        std::ifstream in(path, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    };
    const std::string first = read(base + ".a");
    EXPECT_GT(first.size(), 3 * 64u);
    EXPECT_EQ(first, read(base + ".b"));
    std::remove((base + ".a").c_str());
    std::remove((base + ".b").c_str());
}

TEST_F(Encoding, NullArrayListPointerIsTheNullRecord) {
    mem << static_cast<const cio_1DArrayList<int, int>*>(nullptr);
    EXPECT_EQ(Written(), std::vector<uint8_t>(Bytes().Words({0})));
}

TEST_F(Encoding, ListMapTableAndFixedArrayLayouts) {
    cow_List<int> list;
    list.Append(7).Append(8);
    cow_Map<unsigned, cow_String> map;
    map.Insert(5, "e");
    cow_2DArray<int> table(2, 3, 0);
    for (int i = 0; i < 6; ++i) {
        table.Get(i / 3, i % 3) = i + 10;
    }
    cow_FixedArray<float> fixed(1, 0.5f);
    mem << cow_List<int>() << list << map << table << fixed;
    EXPECT_EQ(Written(), std::vector<uint8_t>(Bytes()
                                                  .Words({0, 2, 7, 8, 1, 5})
                                                  .StringRecord("e")
                                                  .Words({2, 3, 10, 11, 12, 13, 14, 15, 1})
                                                  .Raw(0.5f)));
}

TEST_F(Encoding, ListAndMapReadsAppendToWhatIsThere) {
    cow_List<int> two;
    two.Append(1).Append(2);
    cow_Map<cow_String, float> extra;
    extra.Insert("a", 2.0f);
    extra.Insert("b", 3.0f);
    mem << cow_List<int>() << two << extra;
    cow_List<int> list;
    list.Append(0);
    mem >> list;
    EXPECT_EQ(list.Size(), 1u); // the empty list reads nothing
    mem >> list;
    EXPECT_EQ(list.Size(), 3u);
    EXPECT_EQ(list.ConstGet(2), 2);
    cow_Map<cow_String, float> map;
    map.Insert("a", 1.0f);
    map.Insert("z", 9.0f);
    mem >> map;
    EXPECT_EQ(map.Size(), 3u);
    EXPECT_EQ(map.ConstGet("a"), 2.0f);
    EXPECT_EQ(map.ConstGet("z"), 9.0f);
}

// Round trips of every registered list and every raw container instance.
template <class T>
T Element(int i) {
    if constexpr (std::is_same_v<T, cow_String>) {
        return cow_String(i);
    } else {
        return static_cast<T>(i * 3 + 1);
    }
}
template <class C>
struct Sample;
template <class T>
struct Sample<cow_1DArrayList<T, T>> {
    static cow_1DArrayList<T, T> Make() {
        cow_1DArrayList<T, T> list;
        for (int i = 0; i < 40; ++i) {
            list.Append(Element<T>(i));
        }
        return list;
    }
    static bool Same(const cow_1DArrayList<T, T>& a, const cow_1DArrayList<T, T>& b) {
        return a.IsEqual(b);
    }
};
template <class T>
struct Sample<cow_List<T>> {
    static cow_List<T> Make() {
        cow_List<T> list;
        for (int i = 0; i < 5; ++i) {
            list.Append(Element<T>(i));
        }
        return list;
    }
    static bool Same(const cow_List<T>& a, const cow_List<T>& b) { return a.IsEqual(b); }
};
template <class K, class V>
struct Sample<cow_Map<K, V>> {
    static cow_Map<K, V> Make() {
        cow_Map<K, V> map;
        for (int i = 0; i < 20; ++i) {
            map.Insert(Element<K>(i), Element<V>(i * 2));
        }
        return map;
    }
    static bool Same(const cow_Map<K, V>& a, const cow_Map<K, V>& b) {
        if (a.Size() != b.Size()) {
            return false;
        }
        for (int i = 0; i < 20; ++i) {
            if (!(b.ConstGet(Element<K>(i)) == a.ConstGet(Element<K>(i)))) {
                return false;
            }
        }
        return true;
    }
};
template <class T>
struct Sample<cow_2DArray<T>> {
    static cow_2DArray<T> Make() {
        cow_2DArray<T> table(3, 4, T{});
        for (int i = 0; i < 12; ++i) {
            table.Get(i / 4, i % 4) = Element<T>(i);
        }
        return table;
    }
    static bool Same(const cow_2DArray<T>& a, const cow_2DArray<T>& b) { return a == b; }
};
template <class T>
struct Sample<cow_FixedArray<T>> {
    static cow_FixedArray<T> Make() {
        cow_FixedArray<T> fixed(6, T{});
        for (int i = 0; i < 6; ++i) {
            fixed.Get(i) = Element<T>(i);
        }
        return fixed;
    }
    static bool Same(const cow_FixedArray<T>& a, const cow_FixedArray<T>& b) { return a == b; }
};

template <class C>
class RoundTrip : public vlt::test::StreamTest {};
// One scalar and one string instance per container: the element codings are shared.
using Instances =
    ::testing::Types<cow_1DArrayList<float, float>, cow_1DArrayList<cow_String, cow_String>,
                     cow_List<unsigned>, cow_List<cow_String>, cow_Map<cow_String, float>,
                     cow_Map<unsigned, unsigned>, cow_2DArray<double>, cow_2DArray<cow_String>,
                     cow_FixedArray<int>>;
TYPED_TEST_SUITE(RoundTrip, Instances);

TYPED_TEST(RoundTrip, ReadsBackWhatWasWrittenAndStopsAtTheEnd) {
    const TypeParam original = Sample<TypeParam>::Make();
    this->mem << original << original;
    TypeParam first;
    TypeParam second;
    this->mem >> first >> second;
    EXPECT_TRUE(Sample<TypeParam>::Same(original, first));
    EXPECT_TRUE(Sample<TypeParam>::Same(original, second));
    EXPECT_EQ(this->mem.Read(), this->mem.Written());
}

TYPED_TEST(RoundTrip, ShortStreamEndsInFatalErrorAfterReport) {
    const TypeParam original = Sample<TypeParam>::Make();
    this->mem << original;
    bio_IOmemFilter cut(0); // a block of exactly the bytes written
    cut.longMove(this->mem.Data(), static_cast<unsigned>(this->mem.Written() - 1));
    AssertRecorder rec;
    TypeParam target;
    EXPECT_THROW(cut >> target, omi_FatalError);
    EXPECT_FALSE(rec.Reports().empty());
}

template <class T>
class RegisteredList : public vlt::test::StreamTest {};
using Elements = ::testing::Types<int, cow_String>;
TYPED_TEST_SUITE(RegisteredList, Elements);

TYPED_TEST(RegisteredList, PointerRecordsKeepSharingAndDeepCopy) {
    using List = cio_1DArrayList<TypeParam, TypeParam>;
    const List original(Sample<cow_1DArrayList<TypeParam, TypeParam>>::Make());
    this->mem << &original << &original;
    List* first = nullptr;
    List* second = nullptr;
    this->mem >> first >> second;
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first, second);
    EXPECT_TRUE(first->IsEqual(original));
    List::DtorFunc(first);
    auto* copy = static_cast<List*>(obj_DeepCopyP0Ptr(&original, List::TypeId()));
    ASSERT_NE(copy, nullptr);
    EXPECT_TRUE(copy->IsEqual(original));
    List::DtorFunc(copy);
}

using Malformed = vlt::test::StreamTest;

// Counts that size an allocation are refused before it. 2^30 x 2^30 strings of at least 16
// bytes each are 2^64 bytes: a product that wraps to 0 once sized a 2^60-element table.
TEST_F(Malformed, HugeCountsThrowBeforeAllocating) {
    Feed(Bytes().Words({1u << 30, 1u << 30}));
    AssertRecorder rec;
    cow_2DArray<cow_String> strings(1, 1, "kept");
    EXPECT_THROW(mem >> strings, omi_FatalError);
    EXPECT_EQ(rec.Expressions(), std::vector<std::string>{"getPtr_ + len <= buffEnd_"});
    EXPECT_EQ(strings.Rows(), 1);
    bio_IOmemFilter doubles(8);
    doubles << 0x7fffffff << 0x7fffffff;
    cow_2DArray<double> table;
    EXPECT_THROW(doubles >> table, omi_FatalError);
    bio_IOmemFilter blocks(8);
    blocks << 0xffffffffu << 16u;
    cow_1DArray<int> array;
    EXPECT_THROW(cow_1DArray<int>::ReadData(blocks, &array), omi_FatalError);
    bio_IOmemFilter fixed(8);
    fixed << 0x7fffffff;
    cow_FixedArray<double> values;
    EXPECT_THROW(fixed >> values, omi_FatalError);
}

// A device stream cannot say how much is coming: it is trusted up to a limit, then refused
// with the published text.
TEST_F(Malformed, DeviceStreamRefusesARecordPastWhatItIsTrustedWith) {
    bio_Buffer buffer(64);
    bio_OmemoryDevice out(buffer);
    bio_ImemoryDevice device(buffer);
    bio_OinternalFilter writer(out);
    writer << (1 << 30) << (1 << 30);
    bio_IinternalFilter in(device);
    cow_2DArray<cow_String> table;
    try {
        in >> table;
        ADD_FAILURE() << "no error";
    } catch (const omi_FatalError& error) {
        EXPECT_STREQ(error.Message(), "stream record longer than the stream can vouch for");
    }
}

// A foreign file (text here) read as a map: its first bytes make a count and a type id that
// names no row. One report says so, and the read stops instead of turning every later byte
// into a report of its own.
TEST_F(Malformed, ForeignBytesAreOneReportAndAStoppedRead) {
    Feed(Bytes().Text("# VLTutl is the general utility library of the suite"));
    AssertRecorder rec;
    cow_Map<cow_String, float> map;
    try {
        mem >> map;
        ADD_FAILURE() << "no error";
    } catch (const omi_FatalError& error) {
        EXPECT_STREQ(error.Message(), "stream record of another type inside a container");
    }
    EXPECT_EQ(rec.Expressions(),
              std::vector<std::string>{"typ_ArchCompTable::IsParent(actual, expected)"});
    EXPECT_EQ(map.Size(), 0u);
    // The string elements of an array are object records: the same rule.
    rec.Clear();
    bio_IOmemFilter table(64);
    table << 2 << 2;
    const std::string foreign(64, 'x'); // enough bytes for four records, none a string's
    table.longMove(foreign.data(), static_cast<unsigned>(foreign.size()));
    cow_2DArray<cow_String> strings;
    EXPECT_THROW(table >> strings, omi_FatalError);
    EXPECT_EQ(rec.Expressions(), std::vector<std::string>{"actual == expected"});
}

TEST_F(Malformed, TableWithoutElementsReadsAsEmptyWithoutWalkingItsRows) {
    Feed(Bytes().Words({0x7fffffff, 0}));
    cow_2DArray<int> table(1, 1, 5);
    mem >> table;
    EXPECT_EQ(table.Rows(), 0);
    EXPECT_EQ(table.Columns(), 0);
}

TEST_F(Malformed, BackReferenceToAFreedStringElementReadsEmpty) {
    Feed(Bytes().Words({2, 0x1a0001, 1, 1, 1}).Text("a").Words({0x1a0001, 1}));
    cow_List<cow_String> list;
    mem >> list;
    ASSERT_EQ(list.Size(), 2u);
    EXPECT_STREQ(list.ConstGet(0).c_str(), "a");
    EXPECT_EQ(list.ConstGet(1).Length(), 0u);
}

TEST_F(Malformed, ListLengthBeyondItsStorageIsClipped) {
    Feed(Bytes().Words({0x1a0004, 0, 100, 1, 2, 1, 5, 6}));
    AssertRecorder rec;
    cow_1DArrayList<int, int> list;
    mem >> list;
    EXPECT_EQ(list.Length(), 2u);
    EXPECT_EQ(rec.Expressions(), std::vector<std::string>{"length <= storage.Length()"});
}

std::string Printed(const std::function<void(pnt_PrettyPrint&)>& print) {
    pnt_PrettyPrint pp(200);
    print(pp);
    pp.Flush();
    return pp.Text().c_str();
}

// The array forms put a newline (ESC n) after every comma, so each element has a line of its
// own; the optional breaks around an element fill, so no comma or bracket is left alone.
TEST_F(Malformed, SequencesPrintWithTheirBracketsAndSeparators) {
    const int values[2] = {1, 2};
    const cow_1DArrayList<int, int> list(values, 2, 1, 2);
    EXPECT_EQ(Printed([&](pnt_PrettyPrint& pp) { pp << list; }), "[ 1 ,\n  2  ]");
    EXPECT_EQ(Printed([&](pnt_PrettyPrint& pp) { pp << cow_List<int>(); }), "{}");
    cow_Map<cow_String, float> map;
    map.Insert("k", 1.5f);
    EXPECT_EQ(Printed([&](pnt_PrettyPrint& pp) { pp << map; }), "{ k: 1.5 }");
    Feed(Bytes().Words({0x1a0004, 0, 3, 3, 1, 0, 1, 9, 0}));
    cow_1DArrayList<int, int> sparse;
    mem >> sparse; // a block never made prints once, whatever its size
    EXPECT_EQ(Printed([&](pnt_PrettyPrint& pp) { pp << sparse; }), "[ ... ,\n  9 ,\n  ...  ]");
    cow_1DArray<int> array(2, 1);
    array.Get(1) = 4;
    EXPECT_EQ(Printed([&](pnt_PrettyPrint& pp) { cow_1DArray<int>::PrintData(pp, &array); }),
              "[ ... ,\n  4   ]");
}

// ---------------------------------------------------------------------------------------------
// Printed layouts

// The array lists print through the type table, so the modules are started.
class PrintedLayouts : public vlt::test::StreamTest {};

using Quantities = cow_Map<cow_String, cow_1DArrayList<int, int>>;

Quantities FiveShortArrays() {
    Quantities map;
    const char* names[] = {"velocity", "density", "pressure", "energy", "mass"};
    int seed = 1;
    for (const char* name : names) {
        cow_1DArrayList<int, int> values;
        for (int i = 0; i < 3; ++i) {
            values.Append(seed * 10 + i);
        }
        map.Insert(name, values);
        ++seed;
    }
    return map;
}

cow_List<int> Counted(int n) {
    cow_List<int> list;
    for (int i = 1; i <= n; ++i) {
        list.Append(i);
    }
    return list;
}

TEST_F(PrintedLayouts, ListsPrintOnOneLineWhenTheyFitAndFillNarrowLines) {
    EXPECT_EQ(pnt_ToStdString(Counted(3)), "{ 1, 2, 3 }");
    EXPECT_EQ(pnt_ToStdString(Counted(12), {.width = 16}),
              "{ 1, 2, 3, 4, 5,\n  6, 7, 8, 9,\n  10, 11, 12 }");
}

TEST_F(PrintedLayouts, MapsPrintTheirEntriesInKeyOrder) {
    cow_Map<unsigned int, unsigned int> map;
    for (unsigned key : {9u, 2u, 7u, 4u, 1u}) {
        map.Insert(key, key * 10);
    }
    EXPECT_EQ(pnt_ToStdString(map), "{ 1: 10, 2: 20, 4: 40, 7: 70, 9: 90 }");
}

// Five short arrays used to take 30 lines with lone commas; now a line holds what fits.
TEST_F(PrintedLayouts, MapOfShortArraysFillsEightyColumnsAndANarrowWidth) {
    EXPECT_EQ(pnt_ToStdString(FiveShortArrays()),
              "{ density: [ 20, 21, 22 ], energy: [ 40, 41, 42 ], mass: [ 50, 51, 52 ],\n"
              "  pressure: [ 30, 31, 32 ], velocity: [ 10, 11, 12 ] }");
    const std::string narrow = "{ density: [ 20, 21,\n"
                               "    22 ],\n"
                               "  energy: [ 40, 41,\n"
                               "    42 ],\n"
                               "  mass: [ 50, 51,\n"
                               "    52 ],\n"
                               "  pressure: [ 30,\n"
                               "    31, 32 ],\n"
                               "  velocity: [ 10,\n"
                               "    11, 12 ] }";
    EXPECT_EQ(pnt_ToStdString(FiveShortArrays(), {.width = 20}), narrow);
}

// The published array form: each element on a line of its own, ending with its comma.
TEST_F(PrintedLayouts, ArrayListKeepsOneElementPerLineAtAnyWidth) {
    const int values[3] = {7, 8, 9};
    const cow_1DArrayList<int, int> list(values, 3, 1, 3);
    const std::string expected = "[ 7 ,\n  8 ,\n  9  ]";
    EXPECT_EQ(pnt_ToStdString(list), expected);
    EXPECT_EQ(pnt_ToStdString(list, {.width = 6}), expected);
}

TEST_F(PrintedLayouts, StandardStreamsPrintThroughThePrinterAtTheirPrecision) {
    cow_List<float> list;
    list.Append(1.23456f);
    cow_FixedArray<double> fixed(1, 2.0 / 3);
    cow_2DArray<int> table(1, 2, 5);
    std::ostringstream out;
    out.precision(3);
    out << list << ' ' << fixed << ' ' << table << ' ' << FiveShortArrays();
    EXPECT_EQ(out.str(),
              "{ 1.23 } [ 0.667  ] [ [ 5 ,\n    5  ]  ] " + pnt_ToStdString(FiveShortArrays()));
}

} // namespace
