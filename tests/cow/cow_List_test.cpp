#include "AssertRecorder.h"
#include "cow_List.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <iterator>
#include <limits>
#include <random>
#include <ranges>
#include <string>
#include <utility>
#include <vector>

// Reaches the checks that only an inconsistent list can trip.
template <class T>
struct vlt::detail::cow_ListInternals {
    static void SetSize(cow_List<T>& list, uint32_t size) { list.elementCount = size; }
    static bool EndLinkReached(cow_List<T>& list, unsigned index) {
        return !list.GetNode(index).HasValue();
    }
};

// No ==, no <: the list must still instantiate, without the equality and sorting members.
// Outside the anonymous namespace so that the whole class can be instantiated explicitly.
namespace vlt::test {
struct ListOpaque {
    int value = 0;
};
} // namespace vlt::test

namespace {

using vlt::test::AssertRecorder;
using vlt::test::ListOpaque;

// Counts live elements, copies and equality tests.
struct Counted {
    static inline int live = 0;
    static inline int copies = 0;
    static inline int equalityTests = 0;
    static void Reset() { copies = equalityTests = 0; }

    Counted(int v = 0) : value(v) { ++live; }
    Counted(const Counted& other) : value(other.value) {
        ++live;
        ++copies;
    }
    Counted& operator=(const Counted&) = default;
    ~Counted() { --live; }
    bool operator==(const Counted& other) const {
        ++equalityTests;
        return value == other.value;
    }
    bool operator<(const Counted& other) const { return value < other.value; }

    int value;
};

// Equal to anything, but only as many times as allowed: lets a membership test and the walk
// that follows it disagree.
struct Fickle {
    static inline int equalAnswersLeft = 0;
    bool operator==(const Fickle&) const { return equalAnswersLeft-- > 0; }
    int value = 0;
};

} // namespace

template class cow_List<ListOpaque>;

namespace {

template <class T>
concept Searchable = requires(cow_List<T> list, T x) {
    list.IsMember(x);
};
template <class T>
concept Comparable = requires(cow_List<T> list) {
    list.IsEqual(list);
};
template <class T>
concept Sortable = requires(cow_List<T> list) {
    list.Sort();
};

static_assert(!Searchable<ListOpaque> && !Comparable<ListOpaque> && !Sortable<ListOpaque>);
static_assert(!Searchable<cow_List<int>> && !Comparable<cow_List<int>>);
static_assert(Searchable<Counted> && Comparable<Counted> && Sortable<Counted>);
static_assert(Searchable<cow_String> && Sortable<cow_String> && Sortable<float>);

} // namespace

namespace {

template <class T>
cow_List<T> Make(std::initializer_list<T> items) {
    cow_List<T> list;
    for (const T& item : items) {
        list.Append(item);
    }
    return list;
}

cow_List<int> Range(int count) {
    cow_List<int> list;
    for (int i = count - 1; i >= 0; --i) {
        list.Prepend(i);
    }
    return list;
}

template <class T>
std::vector<T> Items(const cow_List<T>& list) {
    std::vector<T> items;
    for (cow_ListIter<T> it(list); !it.IsDone(); it.Next()) {
        items.push_back(it.CurrentItem());
    }
    return items;
}

std::vector<int> Values(const cow_List<Counted>& list) {
    std::vector<int> values;
    for (cow_ListIter<Counted> it(list); !it.IsDone(); it.Next()) {
        values.push_back(it.CurrentItem().value);
    }
    return values;
}

// Element addresses identify nodes: two lists share a node when they read the same address.
template <class T>
std::vector<const T*> Nodes(const cow_List<T>& list) {
    std::vector<const T*> nodes;
    for (unsigned i = 0; i < list.Size(); ++i) {
        nodes.push_back(&list.ConstGet(i));
    }
    return nodes;
}

template <class T>
int SharedNodes(const cow_List<T>& a, const cow_List<T>& b) {
    const std::vector<const T*> mine = Nodes(a);
    const std::vector<const T*> theirs = Nodes(b);
    return static_cast<int>(std::count_if(mine.begin(), mine.end(), [&](const T* node) {
        return std::find(theirs.begin(), theirs.end(), node) != theirs.end();
    }));
}

using Ints = std::vector<int>;

// Correct use must never report.
class ListTest : public testing::Test {
protected:
    void TearDown() override { EXPECT_TRUE(recorder.Reports().empty()); }

    AssertRecorder recorder;
};

using ListSharing = ListTest;

TEST_F(ListSharing, AppendCopiesTheWholeChainAndPrependSharesIt) {
    const cow_List<int> source = Make({1, 2, 3});
    cow_List<int> copy = source;
    EXPECT_EQ(SharedNodes(source, copy), 3);
    copy.Append(4);
    EXPECT_EQ(Items(source), (Ints{1, 2, 3}));
    EXPECT_EQ(Items(copy), (Ints{1, 2, 3, 4}));
    EXPECT_EQ(SharedNodes(source, copy), 0);
    cow_List<int> prepended = source;
    prepended.Prepend(0);
    EXPECT_EQ(Items(prepended), (Ints{0, 1, 2, 3}));
    EXPECT_EQ(SharedNodes(source, prepended), 3);
}

TEST_F(ListSharing, ReadsNeverCopyNodes) {
    const cow_List<int> source = Make({5, 6, 7});
    const cow_List<int> copy = source;
    EXPECT_EQ(copy.Position(7), 2);
    EXPECT_TRUE(copy.IsEqual(source));
    EXPECT_EQ(Items(copy - Make({6})), (Ints{5, 7}));
    EXPECT_EQ(Nodes(copy), Nodes(source));
}

TEST_F(ListSharing, WriteCopiesOnlyThePathToTheChange) {
    const cow_List<int> source = Range(10);
    cow_List<int> copy = source;
    copy.InsertAfter(3, 99);
    EXPECT_EQ(Items(source), (Ints{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
    EXPECT_EQ(Items(copy), (Ints{0, 1, 2, 3, 99, 4, 5, 6, 7, 8, 9}));
    for (unsigned i = 0; i < 4; ++i) {
        EXPECT_NE(&copy.ConstGet(i), &source.ConstGet(i)) << i;
    }
    for (unsigned i = 4; i < 10; ++i) {
        EXPECT_EQ(&copy.ConstGet(i + 1), &source.ConstGet(i)) << i;
    }
}

TEST_F(ListSharing, AppendedListSharesItsNodesAndWritesStayApart) {
    cow_List<int> list = Make({1, 2});
    cow_List<int> appended = Make({3, 4});
    list.Append(appended);
    EXPECT_EQ(&list.ConstGet(2), &appended.ConstGet(0));
    EXPECT_EQ(&list.ConstGet(3), &appended.ConstGet(1));

    appended.InsertAfter(0, 9);
    EXPECT_EQ(Items(appended), (Ints{3, 9, 4}));
    EXPECT_EQ(Items(list), (Ints{1, 2, 3, 4}));

    list.InsertAfter(3, 5);
    EXPECT_EQ(Items(list), (Ints{1, 2, 3, 4, 5}));
    EXPECT_EQ(Items(appended), (Ints{3, 9, 4}));
}

TEST_F(ListSharing, AppendingAListToItselfDoublesIt) {
    cow_List<int> list = Make({1, 2});
    list.Append(list);
    EXPECT_EQ(Items(list), (Ints{1, 2, 1, 2}));
    list.Append(7);
    EXPECT_EQ(Items(list), (Ints{1, 2, 1, 2, 7}));
}

TEST_F(ListSharing, AssignmentSharesAndClearingACopyLeavesTheSource) {
    const cow_List<int> source = Make({4, 5});
    cow_List<int> target = Make({1, 2, 3});
    target = source;
    EXPECT_EQ(Nodes(target), Nodes(source));
    const cow_List<int>& alias = target;
    target = alias;
    EXPECT_EQ(Nodes(target), Nodes(source));
    EXPECT_EQ(&target.Clear(), &target);
    EXPECT_TRUE(Items(target).empty());
    EXPECT_EQ(Items(source), (Ints{4, 5}));
    target.Append(8);
    EXPECT_EQ(Items(target), (Ints{8}));
}

TEST_F(ListSharing, IteratorSeesASnapshot) {
    cow_List<int> list = Make({1, 2, 3});
    cow_ListIter<int> it(list);
    list.InsertAfter(0, 8);
    list.Remove(3);
    list.Append(9);
    Ints seen;
    for (; !it.IsDone(); it.Next()) {
        seen.push_back(it.CurrentItem());
    }
    EXPECT_EQ(seen, (Ints{1, 2, 3}));
    list = cow_List<int>();
    it.First();
    EXPECT_EQ(it.CurrentItem(), 1);
}

using ListChecks = testing::Test;

std::vector<vlt::test::AssertReport> ReportsWithoutLines(const AssertRecorder& recorder) {
    std::vector<vlt::test::AssertReport> reports = recorder.Reports();
    for (vlt::test::AssertReport& report : reports) {
        EXPECT_GT(report.line, 0);
        report.line = 0;
    }
    return reports;
}

using Reports = std::vector<vlt::test::AssertReport>;

// Inserting after the last element appends; out-of-range positions report and change nothing,
// reads report and give a value-initialised element.
TEST_F(ListChecks, PositionsOutOfRangeReportAndChangeNothing) {
    AssertRecorder recorder;
    cow_List<int> list = Make({1, 2});
    EXPECT_EQ(cow_List<int>().ConstGet(0), 0);
    EXPECT_EQ(list.ConstGet(2), 0);
    list.InsertAfter(1, 3);
    list.InsertAfter(3, 4);
    list.InsertAfter(-1, 4);
    EXPECT_EQ(Items(list), (Ints{1, 2, 3}));
    EXPECT_TRUE(vlt::detail::cow_ListInternals<int>::EndLinkReached(list, 5));
    cow_ListIter<int> it(Make({1}));
    it.Next();
    it.Next();
    EXPECT_EQ(it.CurrentItem(), 0);
    const vlt::test::AssertReport get{"!((!first.HasValue()) || (index >= size))",
                                      "include/cow_List", 0};
    const vlt::test::AssertReport insert{"(index<size) && (index>=0)", "include/cow_List", 0};
    EXPECT_EQ(ReportsWithoutLines(recorder), (Reports{get,
                                                      get,
                                                      insert,
                                                      insert,
                                                      {"!(index > size)", "include/cow_List", 0},
                                                      {"!IsDone()", "include/cow_List", 0}}));
}

TEST_F(ListChecks, SortOfASizedListWithoutNodesReportsAndEmptiesIt) {
    AssertRecorder recorder;
    cow_List<int> list;
    vlt::detail::cow_ListInternals<int>::SetSize(list, 2);
    list.Sort();
    EXPECT_EQ(list.Size(), 0u);
    EXPECT_EQ(ReportsWithoutLines(recorder),
              (Reports{{"first.HasValue()", "include/cow_ListCompare", 0}}));
}

TEST_F(ListChecks, RemoveWhoseMatchVanishesReportsAndKeepsTheList) {
    AssertRecorder recorder;
    cow_List<Fickle> list = Make({Fickle{1}, Fickle{2}});
    Fickle::equalAnswersLeft = 1;
    list.Remove(Fickle{});
    EXPECT_EQ(list.Size(), 2u);
    EXPECT_EQ(list.ConstGet(1).value, 2);
    EXPECT_EQ(ReportsWithoutLines(recorder),
              (Reports{{"curr->HasValue()", "include/cow_ListEquality", 0}}));
}

using ListSearch = ListTest;

TEST_F(ListSearch, PositionAndRemoveTakeTheFirstEqualElement) {
    cow_List<int> list = Make({1, 2, 1, 2});
    EXPECT_EQ(list.Position(2), 1);
    EXPECT_EQ(list.Position(6), -1);
    EXPECT_FALSE(cow_List<int>().IsMember(0));
    list.Remove(2);
    EXPECT_EQ(Items(list), (Ints{1, 1, 2}));
    list.Remove(1).Remove(1).Remove(2);
    EXPECT_TRUE(Items(list).empty());
    const cow_List<int> source = Make({1, 2, 3});
    cow_List<int> copy = source;
    copy.Remove(4);
    EXPECT_EQ(Nodes(copy), Nodes(source)) << "removing a non-member copies nothing";
}

TEST_F(ListSearch, AppendUnlessMemberAndDifferenceKeepTheOrder) {
    cow_List<unsigned int> list;
    list.AppendUnlessMember(3).AppendUnlessMember(4).AppendUnlessMember(3);
    EXPECT_EQ(Items(list), (std::vector<unsigned int>{3, 4}));
    EXPECT_EQ(Items(Make({2, 1, 2, 3, 1}) - Make({2})), (Ints{1, 3, 1}));
    EXPECT_EQ(Items(Make({1, 2}) - cow_List<int>()), (Ints{1, 2}));
    EXPECT_EQ((Make({1, 2}) - Make({1, 2})).Size(), 0u);
}

class ListEquality : public ListTest {
protected:
    void SetUp() override { Counted::Reset(); }
};

TEST_F(ListEquality, FollowsSizeAndElements) {
    EXPECT_TRUE(cow_List<int>().IsEqual(cow_List<int>()));
    EXPECT_FALSE(Make({1, 2}).IsEqual(Make({1})));
    EXPECT_TRUE(Make({1, 2}).IsEqual(Make({1, 2})));
    EXPECT_FALSE(Make<cow_String>({"a", "b"}).IsEqual(Make<cow_String>({"a", "B"})));
}

// A copy is equal without comparing elements, and a shared tail ends the comparison.
TEST_F(ListEquality, SharedNodesAreNotCompared) {
    const cow_List<Counted> tail = Make<Counted>({7, 8, 9});
    const cow_List<Counted> copy = tail;
    cow_List<Counted> a = Make<Counted>({1});
    cow_List<Counted> b = Make<Counted>({1});
    cow_List<Counted> c = Make<Counted>({2});
    a.Append(tail);
    b.Append(tail);
    c.Append(tail);
    Counted::Reset();
    EXPECT_TRUE(copy.IsEqual(tail));
    EXPECT_EQ(Counted::equalityTests, 0);
    EXPECT_TRUE(a.IsEqual(b));
    EXPECT_EQ(Counted::equalityTests, 1);
    EXPECT_FALSE(a.IsEqual(c));
    EXPECT_EQ(Counted::equalityTests, 2);
}

using ListSort = ListTest;

TEST_F(ListSort, OneElementStaysSharedAndOtherwiseEveryNodeIsPrivate) {
    const cow_List<int> single = Make({5});
    cow_List<int> copy = single;
    copy.Sort();
    EXPECT_EQ(Nodes(copy), Nodes(single));
    const cow_List<int> source = Make({3, 1, 2, 0});
    copy = source;
    copy.Sort();
    EXPECT_EQ(Items(source), (Ints{3, 1, 2, 0}));
    EXPECT_EQ(SharedNodes(source, copy), 0);
}

TEST_F(ListSort, ManyValuesWithDuplicatesMatchTheStandardSort) {
    std::mt19937 random(12345);
    std::uniform_int_distribution<int> value(-50, 50);
    Ints expected;
    cow_List<int> list;
    for (int i = 0; i < 1000; ++i) {
        expected.push_back(value(random));
        list.Prepend(expected.back());
    }
    EXPECT_EQ(&list.Sort(), &list);
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(Items(list), expected);
    list.Append(-99); // the sorted chain still ends where the list appends
    expected.push_back(-99);
    EXPECT_EQ(Items(list), expected);
}

TEST_F(ListSort, FloatNaNsSortAsSmallest) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    cow_List<float> list = Make<float>({2.0f, nan, -1.0f, nan, 0.5f});
    list.Sort();
    const std::vector<float> sorted = Items(list);
    ASSERT_EQ(sorted.size(), 5u);
    EXPECT_TRUE(std::isnan(sorted[0]) && std::isnan(sorted[1]));
    EXPECT_EQ((std::vector<float>(sorted.begin() + 2, sorted.end())),
              (std::vector<float>{-1.0f, 0.5f, 2.0f}));
}

TEST_F(ListSort, StringsSortInByteOrder) {
    cow_List<cow_String> list = Make<cow_String>({"b", "ab", "B", "a", "A", ""});
    list.Sort();
    std::vector<std::string> texts;
    for (const cow_String& s : Items(list)) {
        texts.push_back(s.c_str());
    }
    EXPECT_EQ(texts, (std::vector<std::string>{"", "A", "B", "a", "ab", "b"}));
}

class ListLifetime : public ListTest {
protected:
    void SetUp() override { ASSERT_EQ(Counted::live, 0); }
    void TearDown() override {
        EXPECT_EQ(Counted::live, 0);
        ListTest::TearDown();
    }
};

TEST_F(ListLifetime, DifferenceCopiesOnlyTheKeptElements) {
    const cow_List<Counted> list = Make<Counted>({1, 2, 3});
    const cow_List<Counted> removed = Make<Counted>({2});
    Counted::Reset();
    const cow_List<Counted> difference = list - removed;
    EXPECT_EQ(Values(difference), (Ints{1, 3}));
    EXPECT_EQ(Counted::copies, 2);
    EXPECT_EQ(Counted::live, 6);
}

TEST_F(ListLifetime, SortCopiesOnlySharedElements) {
    cow_List<Counted> list = Make<Counted>({3, 1, 2});
    Counted::Reset();
    list.Sort();
    EXPECT_EQ(Counted::copies, 0);
    const cow_List<Counted> copy = list;
    list.Prepend(Counted(0));
    list.Sort();
    EXPECT_EQ(Values(list), (Ints{0, 1, 2, 3}));
    EXPECT_EQ(Values(copy), (Ints{1, 2, 3}));
    EXPECT_EQ(Counted::copies, 1 + 3);
    EXPECT_EQ(Counted::live, 7);
}

constexpr int longLength = 10'000'000;

cow_List<int> LongList() {
    cow_List<int> list;
    for (int i = 0; i < longLength; ++i) {
        list.Prepend(i);
    }
    return list;
}

// Destruction, Clear and assignment (which drops the old chain through the nodes themselves)
// must all release the chain with constant stack.
TEST(ListLong, TenMillionElementsAreReleasedWithConstantStack) {
    {
        const cow_List<int> list = LongList();
        EXPECT_EQ(list.Size(), static_cast<uint32_t>(longLength));
        EXPECT_EQ(list.ConstGet(0), longLength - 1);
    }
    cow_List<int> list = LongList();
    list.Clear();
    EXPECT_EQ(list.Size(), 0u);
    list = LongList();
    list = Make<int>({1, 2});
    EXPECT_EQ(Items(list), (Ints{1, 2}));
}

TEST(StringListLengths, ShortestAndLongestOfTheStringsAndZeroForNone) {
    const cow_List<cow_String> list = Make<cow_String>({"abc", "", "hello", "xy"});
    EXPECT_EQ(GetLengthShortestString(list), 0u);
    EXPECT_EQ(GetLengthLongestString(list), 5u);
    EXPECT_EQ(GetLengthLongestString(cow_List<cow_String>()), 0u);
}

using ListStandardIteration = ListTest;

static_assert(std::forward_iterator<cow_List<int>::iterator>);
static_assert(std::ranges::forward_range<const cow_List<cow_String>>);

TEST_F(ListStandardIteration, ReadingACopyCopiesNothingAndWritingOneCopiesEachNodeOnce) {
    const cow_List<Counted> source{Counted(1), Counted(2), Counted(3)};
    cow_List<Counted> copy(source);
    Counted::Reset();
    int sum = 0;
    for (const Counted& element : std::as_const(copy)) {
        sum += element.value;
    }
    EXPECT_EQ(sum, 6);
    EXPECT_EQ(Counted::copies, 0);
    for (Counted& element : copy) {
        element.value *= 10;
    }
    EXPECT_EQ(Counted::copies, 3);
    EXPECT_EQ(source.ConstGet(2).value, 3);
    EXPECT_EQ(copy.ConstGet(2).value, 30);
}

TEST_F(ListStandardIteration, AlgorithmsSizesAndInitializerLists) {
    const cow_List<int> list{4, 1, 4, 2};
    EXPECT_EQ(list.size(), 4u);
    EXPECT_FALSE(list.empty());
    EXPECT_TRUE(cow_List<int>{}.empty());
    EXPECT_EQ(std::vector<int>(list.begin(), list.end()), (std::vector<int>{4, 1, 4, 2}));
    EXPECT_EQ(std::ranges::count(list, 4), 2);
    EXPECT_EQ(*std::next(std::find(list.begin(), list.end(), 1)), 4);
    EXPECT_EQ(std::distance(list.begin(), list.end()), 4);
}

} // namespace
