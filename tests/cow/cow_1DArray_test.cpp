#include "AssertRecorder.h"
#include "cow_1DArray.h"

#include <gtest/gtest.h>

#include <cmath>
#include <initializer_list>
#include <iterator>
#include <limits>
#include <memory>
#include <numeric>
#include <random>
#include <ranges>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace {

using vlt::test::AssertRecorder;
using vlt::test::AssertReport;
using IntList = cow_1DArrayList<int, int>;
using Ints = std::vector<int>;

// Counts live elements, so that a test can see every block freed exactly once.
struct Counted {
    static inline int live = 0;
    Counted() { ++live; }
    Counted(const Counted&) { ++live; }
    Counted& operator=(const Counted&) = default;
    ~Counted() { --live; }
    int value = 0;
};

template <class T>
concept HasArrayEquality = requires(const cow_1DArray<T>& a) {
    a.IsEqual(a);
};
static_assert(HasArrayEquality<int> && !HasArrayEquality<float> && !HasArrayEquality<double>);

// An array of `length` ints, element i holding i.
cow_1DArray<int> Filled(unsigned length, unsigned blockSize) {
    cow_1DArray<int> array(blockSize);
    for (unsigned i = 0; i < length; ++i) {
        array.Get(i) = static_cast<int>(i);
    }
    return array;
}

template <class T>
int MadeBlocks(const cow_1DArray<T>& array) {
    int made = 0;
    for (unsigned b = 0; b < array.BlockCount(); ++b) {
        made += array.ConstBlock(b) != nullptr;
    }
    return made;
}

template <class T>
cow_1DArrayList<T, T> MakeList(std::initializer_list<T> items, unsigned blockSize = 4) {
    cow_1DArrayList<T, T> list(items.begin(), static_cast<unsigned>(items.size()), 1, blockSize);
    return list;
}

template <class T>
std::vector<T> Items(const cow_1DArrayList<T, T>& list) {
    std::vector<T> items;
    for (cow_1DArrayListIter<T, T> it(list); !it.IsDone(); it.Next()) {
        items.push_back(it.CurrentItem());
    }
    return items;
}

// Correct use must never report.
class ArrayTest : public testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(recorder.Reports(), expectedReports); }

    AssertRecorder recorder;
    std::vector<AssertReport> expectedReports;
};

using ArrayShape = ArrayTest;

TEST_F(ArrayShape, DefaultArrayIsEmptyUntilTheFirstWriteChoosesSixteen) {
    cow_1DArray<int> array;
    EXPECT_EQ(array.Length(), 0u);
    EXPECT_EQ(array.BlockCount(), 1u);
    array.Get(0) = 7;
    EXPECT_EQ(array.Length(), 16u);
}

// Grow rounds up to whole blocks; only a write makes a block, and a read outside makes none.
TEST_F(ArrayShape, GrowthIsByWholeBlocksMadeOnlyByWrites) {
    cow_1DArray<int> array(16);
    EXPECT_TRUE(array.Grow(17));
    EXPECT_EQ(array.Length(), 32u);
    EXPECT_EQ(array.PartialArrayConstGet(40), 0);
    EXPECT_EQ(MadeBlocks(array), 0);
    array.Get(40) = 1;
    EXPECT_EQ(array.BlockCount(), 3u);
    EXPECT_EQ(MadeBlocks(array), 1);
}

TEST_F(ArrayShape, GrowToZeroDropsTheBlockSizeAndKeepsOneEntry) {
    cow_1DArray<int> array = Filled(40, 16);
    EXPECT_TRUE(array.Grow(0));
    EXPECT_EQ(array.BlockSize(), 0u);
    EXPECT_EQ(array.Length(), 0u);
    // The first block has the size the next write chooses, so it is kept.
    EXPECT_EQ(array.Get(1), 1);
}

TEST_F(ArrayShape, GrowToZeroForgetsAFirstBlockOfAnotherSize) {
    cow_1DArray<int> array = Filled(10, 5);
    array.Grow(0);
    EXPECT_EQ(array.ConstBlock(0), nullptr);
    array.Get(15) = 3; // must land in a block of the new size 16
    EXPECT_EQ(array.ConstBlock(0)->Size(), 16u);
    EXPECT_EQ(array.PartialArrayConstGet(15), 3);
}

TEST_F(ArrayShape, ShrinkingReleasesTheBlocksBeyondTheEnd) {
    cow_1DArray<int> array = Filled(64, 16);
    const cow_1DArray<int> copy = array;
    array.Grow(20);
    EXPECT_EQ(array.BlockCount(), 2u);
    EXPECT_EQ(copy.BlockCount(), 4u);
    for (unsigned b = 0; b < 4; ++b) {
        EXPECT_EQ(copy.ConstBlock(b)->References(), b < 2 ? 2 : 1) << b;
    }
}

TEST_F(ArrayShape, ElementsOfClassTypeStartDefaultAndAreFreedOnce) {
    {
        cow_1DArray<Counted> array(3, 4);
        array.Get(5).value = 1;
        EXPECT_EQ(Counted::live, 4);
        cow_1DArray<Counted> copy = array;
        copy.Get(0).value = 2;
        copy.Grow(40);
        EXPECT_EQ(Counted::live, 8);
        EXPECT_EQ(array.PartialArrayConstGet(0).value, 0);
    }
    EXPECT_EQ(Counted::live, 0);
}

// Power-of-two block sizes take the inline accesses, other sizes the out-of-line ones.
class ArraySharing : public ArrayTest, public testing::WithParamInterface<unsigned> {
protected:
    const unsigned size = GetParam();
    const cow_1DArray<int> array = Filled(4 * size, size);
};

INSTANTIATE_TEST_SUITE_P(BlockSizes, ArraySharing, testing::Values(16u, 12u));

TEST_P(ArraySharing, CopySharesTheTableAndAWriteCopiesTheTableAndOneBlockOnly) {
    cow_1DArray<int> copy = array;
    EXPECT_EQ(copy.PartialArrayConstGet(size + 1), static_cast<int>(size + 1));
    EXPECT_EQ(array.TableReferences(), 2) << "reads never unshare";
    EXPECT_EQ(copy.ConstBlock(1), array.ConstBlock(1));
    EXPECT_EQ(copy.ConstBlock(1)->References(), 1) << "one table holds the block";
    copy.Get(5) = -5;
    EXPECT_EQ(array.PartialArrayConstGet(5), 5);
    EXPECT_EQ(copy.PartialArrayConstGet(5), -5);
    EXPECT_EQ(array.TableReferences(), 1);
    EXPECT_NE(copy.ConstBlock(0), array.ConstBlock(0));
    EXPECT_EQ(array.ConstBlock(0)->References(), 1);
    for (unsigned b = 1; b < 4; ++b) {
        EXPECT_EQ(copy.ConstBlock(b), array.ConstBlock(b)) << b;
        EXPECT_EQ(copy.ConstBlock(b)->References(), 2) << b;
    }
    const cow_1DArrayBlock<int>* written = copy.ConstBlock(0);
    copy.Get(6) = -6;
    EXPECT_EQ(copy.ConstBlock(0), written) << "a private block is written in place";
}

TEST_F(ArrayShape, ReadMakesAMissingBlockInTheSharedTable) {
    const cow_1DArray<std::string> array(3, 4);
    const cow_1DArray<std::string> copy = array;
    EXPECT_EQ(copy.PartialArrayConstGet(9), "");
    ASSERT_NE(array.ConstBlock(2), nullptr);
    EXPECT_EQ(array.ConstBlock(2), copy.ConstBlock(2));
    EXPECT_EQ(array.TableReferences(), 2);
}

TEST_F(ArrayShape, AssignmentSharesAndReleases) {
    cow_1DArray<Counted> target(2, 4);
    target.Get(0);
    {
        cow_1DArray<Counted> source(1, 8);
        source.Get(0);
        target = source;
        EXPECT_EQ(Counted::live, 8) << "the target's old block is gone";
        EXPECT_EQ(source.TableReferences(), 2);
        target = target;
        EXPECT_EQ(target.TableReferences(), 2);
    }
    EXPECT_EQ(target.TableReferences(), 1);
    EXPECT_EQ(target.BlockSize(), 8u);
}

// b was copied from a and one element written, as a snapshot and its successor.
class ArrayDiff : public ArrayTest {
protected:
    const cow_1DArray<int> older = Filled(1000, 16);
    cow_1DArray<int> newer = Changed(older);

    static cow_1DArray<int> Changed(const cow_1DArray<int>& from) {
        cow_1DArray<int> changed = from;
        changed.Get(100) = -1;
        return changed;
    }
};

TEST_F(ArrayDiff, HoldsExactlyTheBlockThatDiffersAndReplaysOntoTheOlder) {
    const cow_1DArray<int> diff = older.Diff(newer);
    EXPECT_EQ(diff.BlockCount(), newer.BlockCount());
    EXPECT_EQ(diff.BlockSize(), 16u);
    EXPECT_EQ(MadeBlocks(diff), 1);
    EXPECT_EQ(diff.ConstBlock(6), newer.ConstBlock(6));
    EXPECT_EQ(newer.ConstBlock(6)->References(), 2);
    EXPECT_EQ(MadeBlocks(older.Diff(cow_1DArray<int>(older))), 0) << "shared versions";
    cow_1DArray<int> replay = older;
    replay.ApplyDiff(diff);
    EXPECT_TRUE(replay.IsEqual(newer));
    EXPECT_EQ(older.PartialArrayConstGet(100), 100);
    EXPECT_EQ(replay.ConstBlock(6), newer.ConstBlock(6));
    EXPECT_EQ(replay.ConstBlock(7), older.ConstBlock(7));
}

TEST_F(ArrayDiff, CarriesGrowthAndShrinkage) {
    newer.Get(2000) = 2;
    cow_1DArray<int> replay = older;
    replay.ApplyDiff(older.Diff(newer));
    EXPECT_EQ(replay.Length(), newer.Length());
    EXPECT_EQ(replay.PartialArrayConstGet(2000), 2);

    cow_1DArray<int> shorter = older;
    shorter.Grow(100);
    replay.ApplyDiff(replay.Diff(shorter));
    EXPECT_EQ(replay.Length(), 112u);
    EXPECT_EQ(replay.ConstBlock(6), shorter.ConstBlock(6));
}

TEST_F(ArrayDiff, DifferentBlockSizesAreReported) {
    const cow_1DArray<int> other = Filled(1000, 32);
    EXPECT_EQ(older.Diff(other).BlockSize(), 32u);
    cow_1DArray<int> target = older;
    target.ApplyDiff(other);
    EXPECT_TRUE(target.IsEqual(older)) << "nothing of another block size is applied";
    EXPECT_EQ(target.ConstBlock(0), older.ConstBlock(0));
    ASSERT_EQ(recorder.Expressions(), (std::vector<std::string>{"blockSize == other.blockSize",
                                                                "blockSize == diff.blockSize"}));
    EXPECT_EQ(recorder.Reports()[0].path, "include/cow_1DArray");
    EXPECT_EQ(recorder.Reports()[1].path, "include/cow_1DArray");
    expectedReports = recorder.Reports();
}

using ArrayEquality = ArrayTest;

TEST_F(ArrayEquality, ComparesLengthsThenElementsUnlessTheFirstBlockIsShared) {
    EXPECT_FALSE(Filled(16, 16).IsEqual(Filled(32, 16)));
    EXPECT_TRUE(Filled(32, 16).IsEqual(Filled(32, 8)));
    cow_1DArray<int> changed = Filled(32, 8);
    changed.Get(31) = 0;
    EXPECT_FALSE(Filled(32, 16).IsEqual(changed));
    const cow_1DArray<int> array = Filled(32, 16);
    cow_1DArray<int> copy = array;
    copy.Get(20) = -1;
    EXPECT_TRUE(copy.IsEqual(array)) << "published shortcut: element 0 is the same storage";
    copy.Get(0) = 0;
    EXPECT_FALSE(copy.IsEqual(array));
}

using ArrayList = ArrayTest;

TEST_F(ArrayList, AppendInsertAndRemoveAcrossBlocks) {
    IntList list = MakeList({0, 1, 2, 3, 4, 5});
    EXPECT_TRUE(list.Insert(2, 9));
    EXPECT_TRUE(list.Insert(7, 6)) << "inserting at the length appends";
    EXPECT_FALSE(list.Insert(9, 7));
    EXPECT_EQ(Items(list), (Ints{0, 1, 9, 2, 3, 4, 5, 6}));
    EXPECT_TRUE(list.Remove(0));
    EXPECT_FALSE(list.Remove(7));
    EXPECT_EQ(Items(list), (Ints{1, 9, 2, 3, 4, 5, 6}));
    list.ClearAll();
    EXPECT_EQ(list.Storage().BlockSize(), 0u) << "starts over with a default array";
    list.Append(4);
    EXPECT_EQ(Items(list), (Ints{4}));
}

TEST_F(ArrayList, InsertingAnElementOfTheListItself) {
    IntList list = MakeList({1, 2, 3, 4, 5});
    list.Insert(0, list.ConstGet(4));
    EXPECT_EQ(Items(list), (Ints{5, 1, 2, 3, 4, 5}));
}

TEST_F(ArrayList, RemoveResetsTheFreedSlot) {
    IntList list = MakeList({7, 8, 9});
    list.Remove(2);
    EXPECT_EQ(list.Storage().PartialArrayConstGet(2), 0);
    cow_1DArrayList<cow_String, cow_String> texts =
        MakeList<cow_String>({cow_String("a"), cow_String("b")});
    texts.Remove(0);
    EXPECT_EQ(texts.ConstGet(0), "b");
    EXPECT_EQ(texts.Storage().PartialArrayConstGet(1).Length(), 0u);
}

TEST_F(ArrayList, MisuseIsReportedAndCarriesOnWithZeroes) {
    IntList list = MakeList({3});
    EXPECT_EQ(list.Pop(), 3);
    EXPECT_EQ(list.Pop(), 0);
    EXPECT_EQ(list.Length(), 0u);
    EXPECT_EQ(list.ConstGet(0), 0);
    EXPECT_EQ(IntList(nullptr, 5, 1, 4).Length(), 0u);
    ASSERT_EQ(recorder.Expressions(),
              (std::vector<std::string>{"length", "index < Length()", "C_arr != 0"}));
    EXPECT_EQ(recorder.Reports()[0].path, "include/cow_1DArrayList");
    EXPECT_EQ(recorder.Reports()[2].path, "cow/impl/cow_1DArrayListInt");
    expectedReports = recorder.Reports();
}

TEST_F(ArrayList, SearchesScanOnlyTheElementsInUse) {
    IntList list = MakeList({5, 1, 5, 2, 5, 3, 0});
    EXPECT_EQ(list.FindFirst(5), 0u);
    EXPECT_EQ(list.FindLast(5), 4u);
    EXPECT_EQ(list.FindLast(4), 7u);
    list.Remove(6);
    EXPECT_EQ(list.FindFirst(0), 6u) << "the reset slot is past the end";
    EXPECT_EQ(list.FindLast(0), 6u);
    EXPECT_FALSE(list.IsMember(0));
    EXPECT_EQ(IntList().FindLast(1), 0u);
    list.RemoveMember(5);
    list.RemoveMember(7);
    list.AppendUnlessMember(1);
    list.AppendUnlessMember(4);
    EXPECT_EQ(Items(list), (Ints{1, 5, 2, 5, 3, 4}));
}

TEST_F(ArrayList, SliceStopsAtTheLength) {
    const IntList list = MakeList({0, 1, 2, 3, 4, 5});
    EXPECT_EQ(Items(list.Slice(1, 4)), (Ints{1, 2, 3}));
    EXPECT_EQ(Items(list.Slice(4, 100)), (Ints{4, 5}));
    EXPECT_EQ(list.Slice(3, 2).Length(), 0u);
    IntList out = MakeList({9});
    list.Slice(0, 2, out);
    EXPECT_EQ(Items(out), (Ints{9, 0, 1}));
    out.Slice(0, 2, out);
    EXPECT_EQ(Items(out), (Ints{9, 0, 1, 9, 0}));
}

TEST_F(ArrayList, AppendingAListCopiesItsElements) {
    IntList list = MakeList({1, 2});
    const IntList other = MakeList({3, 4, 5, 6, 7});
    list.Append(other);
    list.Append(list);
    EXPECT_EQ(Items(list), (Ints{1, 2, 3, 4, 5, 6, 7, 1, 2, 3, 4, 5, 6, 7}));
    EXPECT_EQ(Items(other), (Ints{3, 4, 5, 6, 7}));
}

TEST_F(ArrayList, IteratorKeepsTheSnapshotItWasMadeFrom) {
    IntList list = MakeList({1, 2, 3});
    cow_1DArrayListIter<int, int> it(list);
    list.Get(0) = 7;
    list.Remove(1);
    EXPECT_EQ(it.CurrentItem(), 1);
    it.Next();
    EXPECT_EQ(it.CurrentItem(), 2);
}

TEST_F(ArrayList, CArraysInAndOut) {
    const int values[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    const IntList list(values, 10, 2, 4);
    EXPECT_EQ(list.Storage().BlockCount(), 3u) << "filled block by block";
    EXPECT_EQ(IntList(values, 3, 1, 0).Storage().BlockSize(), 16u);
    unsigned count = 0;
    const std::unique_ptr<int[]> copy(list.GetCArray(count));
    EXPECT_EQ(Ints(copy.get(), copy.get() + count), Ints(values, values + 10));
}

TEST_F(ArrayList, IsEqualSkipsSharedSlots) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const auto list = MakeList<float>({1, nan});
    const auto copy = list;
    EXPECT_TRUE(copy.IsEqual(list)) << "the NaN is the same storage";
    EXPECT_FALSE(MakeList<float>({1, nan}).IsEqual(list));
    EXPECT_TRUE(MakeList({1, 2}, 16).IsEqual(MakeList({1, 2}, 2)));
    EXPECT_FALSE(MakeList({1, 2}).IsEqual(MakeList({1, 2, 3})));
}

TEST_F(ArrayList, ListsOfListsCompareTheInnerLists) {
    cow_1DArrayList<IntList, IntList> lists;
    lists.Append(MakeList({1, 2}));
    lists.Append(MakeList({3}));
    EXPECT_EQ(lists.FindFirst(MakeList({3}, 8)), 1u);
    EXPECT_FALSE(lists.IsMember(MakeList({1})));
    lists.Remove(0);
    EXPECT_EQ(Items(lists.ConstGet(0)), (Ints{3}));
    cow_List<IntList> linked;
    linked.Append(MakeList({1, 2}));
    EXPECT_EQ(Items(linked.ConstGet(0)), (Ints{1, 2}));
}

using ArrayBlockRuns = ArrayTest;

TEST_F(ArrayBlockRuns, RunsEndAtTheBlockAndUnshareOnce) {
    const cow_1DArray<int> source = Filled(40, 16);
    cow_1DArray<int> copy(source);
    const std::span<const int> shared = copy.ConstBlockRun(18);
    EXPECT_EQ(shared.data(), &source.PartialArrayConstGet(18)) << "reading never un-shares";
    EXPECT_EQ(shared.size(), 14u);
    const std::span<int> run = copy.GetBlockRun(18);
    ASSERT_EQ(run.size(), 14u);
    std::fill(run.begin(), run.end(), -1);
    EXPECT_EQ(copy.TableReferences(), 1);
    EXPECT_EQ(copy.ConstBlock(0), source.ConstBlock(0)) << "only the run's block is copied";
    EXPECT_EQ(copy.PartialArrayConstGet(17), 17);
    EXPECT_EQ(copy.PartialArrayConstGet(31), -1);
    EXPECT_EQ(source.PartialArrayConstGet(31), 31);
}

TEST_F(ArrayBlockRuns, ReadingOutsideIsEmptyAndWritingOutsideGrows) {
    cow_1DArray<int> array(16);
    array.Grow(16);
    EXPECT_TRUE(array.ConstBlockRun(16).empty());
    EXPECT_EQ(array.ConstBlockRun(3).size(), 13u);
    EXPECT_EQ(MadeBlocks(array), 1) << "a missing block is made, as a read makes it";
    EXPECT_EQ(array.GetBlockRun(40).size(), 8u);
    EXPECT_EQ(array.Length(), 48u);
    EXPECT_TRUE(cow_1DArray<int>().ConstBlockRun(0).empty());
}

// The list's bulk operations move whole runs; every edit is checked against a vector doing
// the same, over block sizes that put the edits at, before and after block boundaries, and
// with a shared snapshot that must not change.
template <class T>
void CheckEditsAgainstAVector(unsigned blockSize, T (*make)(int)) {
    std::mt19937 random(blockSize);
    const T none{};
    cow_1DArrayList<T, T> list(&none, 0, 1, blockSize);
    std::vector<T> model;
    for (int step = 0; step < 400; ++step) {
        const auto snapshot = list;
        const std::vector<T> before = model;
        const unsigned at = random() % (model.size() + 1);
        switch (random() % 4) {
        case 0:
            list.Insert(at, make(step));
            model.insert(model.begin() + at, make(step));
            break;
        case 1:
            if (at < model.size()) {
                list.Remove(at);
                model.erase(model.begin() + at);
            }
            break;
        case 2: {
            const unsigned to = at + random() % 7;
            list.Slice(at, to, list);
            model.insert(model.end(), before.begin() + at,
                         before.begin() + std::min<std::size_t>(to, before.size()));
            break;
        }
        default:
            list.Append(snapshot);
            model.insert(model.end(), before.begin(), before.end());
            break;
        }
        ASSERT_EQ(Items(list), model) << "step " << step << ", block size " << blockSize;
        ASSERT_EQ(Items(snapshot), before);
        if (model.size() > 300) {
            list.ClearAll();
            model.clear();
        }
    }
}

TEST_F(ArrayBlockRuns, ListEditsMatchAVectorAcrossBlockBoundaries) {
    for (unsigned blockSize : {1u, 3u, 4u, 16u}) {
        CheckEditsAgainstAVector<int>(blockSize, [](int i) { return i; });
        CheckEditsAgainstAVector<cow_String>(
            blockSize, [](int i) { return cow_String(std::to_string(i).c_str()); });
    }
}

using ArrayStandardIteration = ArrayTest;

static_assert(std::forward_iterator<cow_1DArray<double>::iterator>);
static_assert(std::ranges::forward_range<const IntList>);

TEST_F(ArrayStandardIteration, ListWalksItsLengthAcrossBlocksNotItsStorage) {
    IntList list;
    for (int i = 0; i < 37; ++i) {
        list.Append(i);
    }
    Ints expected(37);
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(Ints(list.begin(), list.end()), expected);
    EXPECT_EQ(list.size(), 37u);
    EXPECT_EQ(list.Storage().size(), 48u);
    EXPECT_TRUE(IntList().empty());
    EXPECT_EQ(IntList().begin(), IntList().end());
}

TEST_F(ArrayStandardIteration, ReadingACopySharesAndWritingOneUnsharesEachBlockOnce) {
    const cow_1DArray<int> source = Filled(40, 16);
    cow_1DArray<int> copy(source);
    EXPECT_EQ(&*std::as_const(copy).begin(), &source.PartialArrayConstGet(0));
    EXPECT_EQ(copy.TableReferences(), 2);
    for (int& element : copy) {
        element = -element;
    }
    EXPECT_EQ(copy.TableReferences(), 1);
    for (unsigned block = 0; block < 3; ++block) {
        EXPECT_NE(copy.ConstBlock(block), source.ConstBlock(block));
        EXPECT_EQ(copy.ConstBlock(block)->References(), 1);
    }
    EXPECT_EQ(source.PartialArrayConstGet(39), 39);
    EXPECT_EQ(copy.PartialArrayConstGet(39), -39);
}

TEST_F(ArrayStandardIteration, InitializerListsGiveExactlyTheirElements) {
    const cow_1DArray<int> array{3, 1, 2};
    EXPECT_EQ(array.Length(), 3u);
    EXPECT_EQ(Ints(array.begin(), array.end()), (Ints{3, 1, 2}));
    const cow_1DArrayList<cow_String, cow_String> strings{"a", "b"};
    EXPECT_EQ(strings.Length(), 2u);
    EXPECT_EQ(strings.ConstGet(1), cow_String("b"));
    EXPECT_TRUE(cow_1DArray<int>{}.empty());
}

} // namespace
