#include "AssertRecorder.h"
#include "cow_Map.h"

#include <gtest/gtest.h>

#include <pthread.h>

#include <algorithm>
#include <climits>
#include <initializer_list>
#include <iterator>
#include <map>
#include <random>
#include <ranges>
#include <string>
#include <utility>
#include <vector>

// Reaches the tree's shape and the checks that only an inconsistent map can trip.
template <class K, class V>
struct vlt::detail::cow_MapInternals {
    // A node prints as its key, followed by "(zero,one)" when it has children; "-" is no child.
    static std::string Shape(const cow_Map<K, V>& map) { return ShapeOf(map.root.ConstPtr()); }
    static void SetSize(cow_Map<K, V>& map, uint32_t size) { map.entryCount = size; }

private:
    static std::string ShapeOf(const cow_MapNode<K, V>* node) {
        if (node == nullptr) {
            return "-";
        }
        std::string shape = Text(node->key);
        const auto* zero = node->child[0].ConstPtr();
        const auto* one = node->child[1].ConstPtr();
        if (zero != nullptr || one != nullptr) {
            shape += "(" + ShapeOf(zero) + "," + ShapeOf(one) + ")";
        }
        return shape;
    }
    static std::string Text(int key) { return std::to_string(key); }
    static std::string Text(const cow_String& key) {
        return key.Length() == 0 ? "''" : key.c_str();
    }
};

namespace {

using vlt::test::AssertRecorder;
using vlt::test::AssertReport;
using IntMap = cow_Map<int, int>;
using StringMap = cow_Map<cow_String, int>;

template <class K, class V>
std::string Shape(const cow_Map<K, V>& map) {
    return vlt::detail::cow_MapInternals<K, V>::Shape(map);
}

// Each key maps to ten times itself (wrapping around for the extreme keys).
IntMap MakeInts(std::initializer_list<int> keys) {
    IntMap map;
    for (int key : keys) {
        map.Insert(key, static_cast<int>(static_cast<unsigned>(key) * 10u));
    }
    return map;
}

StringMap MakeStrings(std::initializer_list<const char*> keys) {
    StringMap map;
    int value = 0;
    for (const char* key : keys) {
        map.Insert(key, value++);
    }
    return map;
}

template <class Iterator>
auto Walk(Iterator& it) {
    std::vector<std::decay_t<decltype(it.CurrentKey())>> keys;
    for (it.First(); !it.IsDone(); it.Next()) {
        keys.push_back(it.CurrentKey());
    }
    return keys;
}

template <class K, class V>
std::vector<K> TreeOrder(const cow_Map<K, V>& map) {
    cow_ConstMapIterator<K, V> it(map);
    return Walk(it);
}

template <class K, class V>
std::vector<K> SortedOrder(const cow_Map<K, V>& map, cow_MapSortOrder order) {
    cow_ConstMapSortedIt<K, V> it(map, order);
    return Walk(it);
}

template <class T>
std::vector<T> Items(const cow_List<T>& list) {
    std::vector<T> items;
    for (cow_ListIter<T> it(list); !it.IsDone(); it.Next()) {
        items.push_back(it.CurrentItem());
    }
    return items;
}

// A value's address identifies its node: two maps share a node when they read the same address.
std::vector<int> SharedKeys(const IntMap& a, const IntMap& b) {
    std::vector<int> shared;
    for (int key : TreeOrder(a)) {
        if (b.IsMember(key) && &a.ConstGet(key) == &b.ConstGet(key)) {
            shared.push_back(key);
        }
    }
    std::sort(shared.begin(), shared.end());
    return shared;
}

using Ints = std::vector<int>;
using Strings = std::vector<cow_String>;

// Correct use must never report.
class MapTest : public testing::Test {
protected:
    void TearDown() override { EXPECT_TRUE(recorder.Reports().empty()); }

    AssertRecorder recorder;
};

using MapShape = MapTest;

TEST_F(MapShape, IntegerKeysBranchOnTheirBitsFromTheLowestUp) {
    EXPECT_EQ(Shape(MakeInts({0, 1, 2, 3, 4, 5, 6, 7})), "0(2(4,6),1(5,3(-,7)))");
}

TEST_F(MapShape, IntegerKeysDifferingOnlyInTheHighestBitAreBothFound) {
    IntMap map = MakeInts({0, 1});
    for (int shift = 1; shift < 32; ++shift) {
        map.Insert(static_cast<int>(1u << shift), shift);
    }
    map.Insert(-2147483647, -1);
    EXPECT_EQ(map.Size(), 34u);
    EXPECT_EQ(map.ConstGet(1), 10);
    EXPECT_EQ(map.ConstGet(-2147483647), -1);
    EXPECT_EQ(map.ConstGet(INT_MIN), 31);
}

TEST_F(MapShape, StringKeysTakeTheirBitsAlternatelyFromFrontAndBack) {
    // Even bytes only: the fillers form a 0-branch chain, and each probe leaves it at the depth
    // of its first odd byte ('c') in the order first, last, second, second-to-last.
    const StringMap map = MakeStrings({"b", "d", "f", "h", "j", "cbbb", "bbbc", "bcbb", "bbcb"});
    EXPECT_EQ(Shape(map), "b(d(f(h(j,bbcb),bcbb),bbbc),cbbb)");
}

// "e" reads its only byte at depths 0 and 1; "g" reads 0 at depth 2; "" descends along zeroes.
TEST_F(MapShape, StringBitsPastTheLengthAreZero) {
    EXPECT_EQ(Shape(MakeStrings({"z", "c", "e", "g"})), "z(-,c(-,e(g,-)))");
    StringMap map = MakeStrings({"a", "b", ""});
    EXPECT_EQ(Shape(map), "a(b('',-),-)");
    EXPECT_EQ(map.ConstGet(""), 2);
}

// The one-branch descendant moves up, or the zero-branch child when it is the only one.
TEST_F(MapShape, RemoveMovesADescendantUp) {
    IntMap map = MakeInts({1, 2, 3, 5, 7});
    EXPECT_TRUE(map.Remove(1));
    EXPECT_EQ(Shape(map), "3(2,7(5,-))");
    EXPECT_EQ(map.ConstGet(3), 30);
    map.Remove(7);
    EXPECT_EQ(Shape(map), "3(2,5)");
    EXPECT_EQ(map.ConstGet(5), 50);
}

using MapEntries = MapTest;

TEST_F(MapEntries, InsertOfAnExistingKeyReplacesTheValueAndKeepsTheStoredKey) {
    const cow_String first("name");
    StringMap map;
    EXPECT_TRUE(map.Insert(first, 1));
    EXPECT_TRUE(map.Insert(cow_String("name"), 2));
    EXPECT_EQ(map.ConstGet("name"), 2);
    cow_ConstMapIterator<cow_String, int> it(map);
    it.First();
    EXPECT_EQ(it.CurrentKey().c_str(), first.c_str());
}

TEST_F(MapEntries, ArrayValuesAreWrittenThroughGetOnAPrivatePath) {
    cow_Map<cow_String, cow_FixedArray<double>> arrays;
    arrays.Insert("xyz", cow_FixedArray<double>(3, 0.5));
    const auto arraysBefore = arrays;
    arrays.Get("xyz").Get(1) = 2.0;
    EXPECT_EQ(arraysBefore.ConstGet("xyz").ConstGet(1), 0.5);
    const auto values = cow_MapUtils<cow_String, cow_FixedArray<double>>::cow_Values(arrays);
    ASSERT_EQ(values.Size(), 1u);
    EXPECT_EQ(values.ConstGet(0).ConstGet(1), 2.0);
}

using MapSharing = MapTest;

// Each write goes to a copy of the map of keys 0-7 (of 0-6 for a new key): the copy shares every
// node but those on the path to the entry written, and the source keeps its contents.
struct CopyWrite {
    const char* name;
    int keys;
    void (*write)(IntMap&);
    Ints shared;
};

const CopyWrite copyWrites[] = {
    {"replace", 8, [](IntMap& m) { EXPECT_TRUE(m.Insert(7, 71)); }, {2, 4, 5, 6}},
    {"insert", 7, [](IntMap& m) { EXPECT_TRUE(m.Insert(7, 71)); }, {2, 4, 5, 6}},
    {"get", 8, [](IntMap& m) { m.Get(5) = -5; }, {2, 3, 4, 6, 7}},
    {"remove", 8, [](IntMap& m) { EXPECT_TRUE(m.Remove(1)); }, {2, 4, 5, 6}},
    {"read",
     8,
     [](IntMap& m) {
         EXPECT_TRUE(m.IsMember(7));
         EXPECT_EQ(m.ConstGet(6), 60);
         EXPECT_EQ(TreeOrder(m).size(), 8u);
         EXPECT_FALSE(m.Remove(9));
     },
     {0, 1, 2, 3, 4, 5, 6, 7}},
};

TEST_F(MapSharing, AWriteToACopyCopiesOnlyThePathToTheEntry) {
    for (const CopyWrite& c : copyWrites) {
        IntMap source;
        for (int key = 0; key < c.keys; ++key) {
            source.Insert(key, key * 10);
        }
        const std::vector<int> order = TreeOrder(source);
        IntMap copy = source;
        c.write(copy);
        EXPECT_EQ(SharedKeys(source, copy), c.shared) << c.name;
        EXPECT_EQ(TreeOrder(source), order) << c.name;
        for (int key = 0; key < c.keys; ++key) {
            EXPECT_EQ(source.ConstGet(key), key * 10) << c.name;
        }
    }
}

TEST_F(MapSharing, LaterWritesToTheSameEntryCopyNothingMore) {
    const IntMap source = MakeInts({0, 1, 2, 3});
    IntMap copy = source;
    copy.Get(3) = 1;
    const int* written = &copy.ConstGet(3);
    copy.Get(3) = 2;
    copy.Insert(3, 3);
    EXPECT_EQ(&copy.ConstGet(3), written);
    EXPECT_EQ(source.ConstGet(3), 30);
}

using MapIteration = MapTest;

TEST_F(MapIteration, TreeOrderVisitsEachNodeBeforeItsZeroThenItsOneSubtree) {
    EXPECT_EQ(TreeOrder(MakeInts({0, 1, 2, 3, 4, 5, 6, 7})), (Ints{0, 2, 4, 6, 1, 5, 3, 7}));
    EXPECT_EQ(TreeOrder(IntMap()), Ints{});
}

TEST_F(MapIteration, SortedIntegersAscendAndDescendThroughNegatives) {
    const IntMap map = MakeInts({5, -3, INT_MIN, 0, INT_MAX, -1});
    const Ints ascending{INT_MIN, -3, -1, 0, 5, INT_MAX};
    EXPECT_EQ(SortedOrder(map, cow_MapSortOrder::Ascending), ascending);
    EXPECT_EQ(SortedOrder(map, cow_MapSortOrder::Descending),
              Ints(ascending.rbegin(), ascending.rend()));
}

TEST_F(MapIteration, SortedStringsFollowUnsignedByteOrder) {
    cow_Map<cow_String, cow_String> map;
    for (const char* key : {"b", "\xE9t\xE9", "B", "", "a", "ab"}) {
        map.Insert(key, key);
    }
    cow_ConstMapSortedIt<cow_String, cow_String> it(map);
    EXPECT_EQ(Walk(it), (Strings{"", "B", "a", "ab", "b", "\xE9t\xE9"}));
    it.First();
    it.Next();
    EXPECT_EQ(it.CurrentValue(), "B");
}

TEST_F(MapIteration, IteratorKeepsTheSnapshotItWasMadeFrom) {
    IntMap map = MakeInts({0, 1, 2, 3});
    cow_ConstMapIterator<int, int> it(map);
    map.Remove(0);
    map.Insert(9, 90);
    map.Get(2) = -2;
    it.First();
    it.Next();
    EXPECT_EQ(it.CurrentKey(), 2);
    EXPECT_EQ(it.CurrentValue(), 20);
    EXPECT_EQ(Walk(it), (Ints{0, 2, 1, 3}));
}

TEST_F(MapIteration, KeysAndValuesCorrespondInTreeOrder) {
    const StringMap map = MakeStrings({"one", "two", "three", "four", "five"});
    const Strings keys = Items(cow_MapUtils<cow_String, int>::cow_Keys(map));
    const Ints values = Items(cow_MapUtils<cow_String, int>::cow_Values(map));
    EXPECT_EQ(keys, TreeOrder(map));
    ASSERT_EQ(values.size(), keys.size());
    for (size_t i = 0; i < keys.size(); ++i) {
        EXPECT_EQ(values[i], map.ConstGet(keys[i])) << keys[i];
    }
}

using MapAssertions = testing::Test;

AssertReport MapReport(const char* expression) {
    return {expression, "include/cow_Map", 0};
}

// Lines are the checks' real lines: compared as "any line" by zeroing them.
std::vector<AssertReport> WithoutLines(std::vector<AssertReport> reports) {
    for (AssertReport& report : reports) {
        EXPECT_GT(report.line, 0);
        report.line = 0;
    }
    return reports;
}

TEST_F(MapAssertions, LookupOfAnAbsentKeyReportsReadsADefaultAndNeverInserts) {
    AssertRecorder recorder;
    IntMap map = MakeInts({1});
    EXPECT_EQ(std::as_const(map).ConstGet(4), 0);
    map.Get(2) = 99;
    EXPECT_EQ(map.Size(), 1u);
    EXPECT_FALSE(map.IsMember(2));
    EXPECT_EQ(WithoutLines(recorder.Reports()),
              (std::vector{MapReport("x.HasValue()"), MapReport("x->HasValue()")}));
}

template <class Iterator>
void ExpectEveryAccessBeforeFirstReports(Iterator& it) {
    AssertRecorder recorder;
    EXPECT_TRUE(it.IsDone());
    it.Next();
    EXPECT_EQ(it.CurrentKey(), 0);
    EXPECT_EQ(it.CurrentValue(), 0);
    const AssertReport report = MapReport("nodes && \"Need to call First() on iterator.\"");
    EXPECT_EQ(WithoutLines(recorder.Reports()), std::vector(4, report));
}

TEST_F(MapAssertions, IteratorAccessBeforeFirstReportsAndIsAtItsEnd) {
    const IntMap map = MakeInts({1, 2});
    cow_ConstMapIterator<int, int> plain(map);
    ExpectEveryAccessBeforeFirstReports(plain);
    cow_ConstMapSortedIt<int, int> sorted(map);
    ExpectEveryAccessBeforeFirstReports(sorted);
    AssertRecorder recorder;
    plain.First();
    plain.Next();
    plain.Next();
    EXPECT_EQ(plain.CurrentKey(), 0);
    EXPECT_EQ(recorder.Expressions(), std::vector<std::string>{"!IsDone()"});
}

TEST_F(MapAssertions, FirstReportsATreeThatDisagreesWithTheSizeAndClipsToIt) {
    using Internals = vlt::detail::cow_MapInternals<int, int>;
    AssertRecorder recorder;
    IntMap map = MakeInts({0, 1, 2, 3});
    Internals::SetSize(map, 6);
    EXPECT_EQ(TreeOrder(map), (Ints{0, 2, 1, 3}));
    Internals::SetSize(map, 2);
    EXPECT_EQ(TreeOrder(map), (Ints{0, 2}));
    EXPECT_EQ(SortedOrder(map, cow_MapSortOrder::Descending).size(), 2u);
    EXPECT_EQ(WithoutLines(recorder.Reports()), std::vector(3, MapReport("count == map.Size()")));
    Internals::SetSize(map, 4);
}

// Keys for the randomised comparison with std::map: mostly from a small range, so that inserts
// replace and removals hit, with some from the whole range.
template <class K>
struct RandomKeys;

template <>
struct RandomKeys<int> {
    static constexpr int operations = 100000;
    static int Make(std::mt19937& generator) {
        return generator() % 4 == 0 ? static_cast<int>(generator())
                                    : static_cast<int>(generator() % 4096) - 2048;
    }
};

template <>
struct RandomKeys<cow_String> {
    static constexpr int operations = 30000;
    static cow_String Make(std::mt19937& generator) {
        static const char alphabet[] = "abAB01\xF0";
        cow_String key;
        for (unsigned length = generator() % 5; length > 0; --length) {
            key.Append(alphabet[generator() % (sizeof alphabet - 1)]);
        }
        return key;
    }
};

template <class K>
class MapRandomised : public MapTest {
protected:
    using Map = cow_Map<K, int>;
    using Oracle = std::map<K, int>;

    static Oracle Contents(const Map& map) {
        Oracle contents;
        cow_ConstMapIterator<K, int> it(map);
        for (it.First(); !it.IsDone(); it.Next()) {
            EXPECT_TRUE(contents.emplace(it.CurrentKey(), it.CurrentValue()).second);
        }
        EXPECT_EQ(contents.size(), map.Size());
        return contents;
    }
};

using KeyTypes = testing::Types<int, cow_String>;
TYPED_TEST_SUITE(MapRandomised, KeyTypes);

// Mixed writes and reads against std::map, with snapshots taken along the way that must keep
// their contents while the map they were copied from goes on changing.
TYPED_TEST(MapRandomised, AgreesWithStdMapAndSnapshotsKeepTheirContents) {
    using Keys = RandomKeys<TypeParam>;
    std::mt19937 generator(20240611);
    typename TestFixture::Map map;
    typename TestFixture::Oracle oracle;
    std::vector<std::pair<typename TestFixture::Map, typename TestFixture::Oracle>> snapshots;
    for (int step = 1; step <= Keys::operations; ++step) {
        const TypeParam key = Keys::Make(generator);
        const bool present = oracle.count(key) != 0;
        const unsigned choice = generator() % 10;
        if (choice < 4) {
            ASSERT_TRUE(map.Insert(key, step));
            oracle[key] = step;
        } else if (choice < 6) {
            ASSERT_EQ(map.Remove(key), present);
            oracle.erase(key);
        } else if (choice < 7 && present) {
            map.Get(key) = -step;
            oracle[key] = -step;
        } else {
            ASSERT_EQ(map.IsMember(key), present);
            ASSERT_TRUE(!present || map.ConstGet(key) == oracle[key]);
        }
        ASSERT_EQ(map.Size(), oracle.size());
        if (step % (Keys::operations / 10) == 0) {
            ASSERT_EQ(this->Contents(map), oracle);
            snapshots.emplace_back(map, oracle);
            // Go back to an older state now and then: its nodes are shared by several maps.
            if (snapshots.size() == 5) {
                map = snapshots[2].first;
                oracle = snapshots[2].second;
            }
        }
    }
    for (const auto& [snapshot, contents] : snapshots) {
        EXPECT_EQ(this->Contents(snapshot), contents);
    }
}

// Keys of even bytes only have every branch bit 0, so they form one 0-branch chain.
cow_String EvenBytesKey(unsigned number) {
    cow_String key;
    do {
        key.Append("bdfh"[number % 4]);
        number /= 4;
    } while (number != 0);
    return key;
}

// On a thread with a small stack: walking and releasing must not recurse once per level.
TEST_F(MapTest, DeepChainsAreWalkedAndReleasedWithBoundedStack) {
    static constexpr unsigned keys = 4000;
    static size_t walked[2];
    const auto work = [](void*) -> void* {
        cow_Map<cow_String, float> map;
        for (unsigned i = 0; i < keys; ++i) {
            map.Insert(EvenBytesKey(i), static_cast<float>(i));
        }
        const cow_Map<cow_String, float> copy = map;
        map.Remove(EvenBytesKey(0));
        cow_ConstMapIterator<cow_String, float> it(copy);
        cow_ConstMapSortedIt<cow_String, float> sorted(copy);
        walked[0] = Walk(it).size();
        walked[1] = Walk(sorted).size();
        return nullptr;
    };
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, 256 * 1024);
    pthread_t thread;
    ASSERT_EQ(pthread_create(&thread, &attributes, work, nullptr), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    EXPECT_EQ(walked[0], keys);
    EXPECT_EQ(walked[1], keys);
}

using MapStandardIteration = MapTest;

static_assert(std::forward_iterator<IntMap::iterator>);
static_assert(std::ranges::forward_range<const StringMap>);

TEST_F(MapStandardIteration, VisitsTheTreeOrderOfThePublishedIterator) {
    const IntMap map = MakeInts({5, 1, 2, 3, 7, -4, 12, 64, 9});
    std::vector<std::pair<int, int>> published;
    cow_ConstMapIterator<int, int> it(map);
    for (it.First(); !it.IsDone(); it.Next()) {
        published.emplace_back(it.CurrentKey(), it.CurrentValue());
    }
    std::vector<std::pair<int, int>> walked;
    for (const auto& [key, value] : map) {
        walked.emplace_back(key, value);
    }
    EXPECT_EQ(walked, published);
    EXPECT_EQ(map.size(), 9u);
}

TEST_F(MapStandardIteration, ReadingACopySharesItsNodesAndWritingOneLeavesTheSource) {
    const IntMap source = MakeInts({1, 2, 3, 5, 7});
    IntMap copy(source);
    std::vector<const int*> sourceValues;
    for (const auto& entry : source) {
        sourceValues.push_back(&entry.second);
    }
    std::vector<const int*> copyValues;
    for (const auto& entry : std::as_const(copy)) {
        copyValues.push_back(&entry.second);
    }
    EXPECT_EQ(copyValues, sourceValues);
    for (auto [key, value] : copy) {
        value = -key;
    }
    for (auto [key, value] : copy) {
        EXPECT_EQ(std::ranges::count(sourceValues, &value), 0);
        EXPECT_EQ(value, -key);
        EXPECT_EQ(source.ConstGet(key), key * 10);
    }
}

TEST_F(MapStandardIteration, InitializerListKeepsTheLastValueOfARepeatedKey) {
    const StringMap map{{"one", 1}, {"two", 2}, {"one", 3}};
    EXPECT_EQ(map.size(), 2u);
    EXPECT_EQ(map.ConstGet("one"), 3);
    EXPECT_TRUE(StringMap{}.empty());
    EXPECT_EQ(std::ranges::count_if(map, [](const auto& entry) { return entry.second > 1; }), 2);
}

} // namespace
