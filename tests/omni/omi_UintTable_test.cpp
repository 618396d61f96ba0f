#include "AssertRecorder.h"
#include "omi_UintTable.h"

#include <gtest/gtest.h>

#include <iterator>
#include <map>
#include <memory>
#include <random>
#include <utility>
#include <vector>

namespace {

using vlt::test::AssertRecorder;

using Entries = std::vector<std::pair<unsigned, int>>;

Entries Forwards(omi_UintTableIterator<int>& it) {
    Entries entries;
    for (it.First(); !it.IsDone(); it.Next()) {
        entries.emplace_back(it.CurrentKey(), it.CurrentValue());
    }
    return entries;
}

Entries Backwards(omi_UintTableIterator<int>& it) {
    Entries entries;
    for (it.Last(); !it.IsDone(); it.Previous()) {
        entries.emplace_back(it.CurrentKey(), it.CurrentValue());
    }
    return entries;
}

void ExpectHolds(const omi_UintTable<int>& table, const std::map<unsigned, int>& oracle) {
    EXPECT_EQ(table.Count(), static_cast<int>(oracle.size()));
    omi_UintTableIterator<int> it(table);
    EXPECT_EQ(Forwards(it), Entries(oracle.begin(), oracle.end()));
    EXPECT_EQ(Backwards(it), Entries(oracle.rbegin(), oracle.rend()));
}

TEST(UintTableShape, DefaultShapeSplitsKeysAtBit20) {
    omi_UintTable<int> table;
    EXPECT_EQ(table.TableLength(), 2u);
    table.Insert(0x00100000, 1);
    EXPECT_EQ(table.TableLength(), 2u);
    EXPECT_EQ(table.FindTableBlock(0), nullptr);
    const auto* block = table.FindTableBlock(0x00100000);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(table.FindTableBlock(0x001FFFFF), block);
    EXPECT_EQ(block->BlockSize(), 1024u);
    EXPECT_EQ(block->TableLength(), 24u);
    EXPECT_EQ(block->BlockCount(), 1u);
    table.Insert(0x04000000, 2); // entry 64
    EXPECT_EQ(table.TableLength(), 128u);
}

TEST(UintTableShape, ChosenShape) {
    omi_UintTable<double> table(8, 14, 2); // 256 table blocks of 2^24 cells, arrays of 2^10
    table.Insert(0x01000000, 1.0);
    const auto* block = table.FindTableBlock(0x01FFFFFF);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(block->BlockSize(), 1024u);
    EXPECT_EQ(block->TableLength(), 2u);
    EXPECT_EQ(table.FindTableBlock(0x02000000), nullptr);
    table.Insert(0xFFFFFFFF, 2.0);
    EXPECT_EQ(table.TableLength(), 256u);
    EXPECT_EQ(*table.ConstGet(0xFFFFFFFF), 2.0);
}

TEST(UintTableShape, ImpossibleShapeIsReportedAndRepaired) {
    AssertRecorder recorder;
    omi_UintTable<int> table(0, 30, 1);
    EXPECT_EQ(recorder.Expressions(), (std::vector<std::string>{"highBits >= 1 && highBits <= 32",
                                                                "middleBits <= lowBits"}));
    EXPECT_EQ(recorder.Reports()[0].path, "include/omi_UintTable");
    table.Insert(0xFFFFFFFF, 4);
    table.Insert(3, 5);
    ExpectHolds(table, {{3, 5}, {0xFFFFFFFF, 4}});
}

TEST(UintTableEntries, GetWritesInPlaceAndAbsentKeysGiveNull) {
    omi_UintTable<int> table;
    table.Insert(42, 1);
    *table.Get(42) = 3;
    EXPECT_EQ(*table.ConstGet(42), 3);
    EXPECT_EQ(table.ConstGet(43), nullptr);
    EXPECT_EQ(table.Get(0xFFFFFFFF), nullptr); // beyond the table
}

TEST(UintTableEntries, ClearEmptiesAndTheTableIsReusable) {
    omi_UintTable<void*> table;
    int target = 0;
    table.Insert(1, &target);
    table.Insert(0x00500000, nullptr);
    table.Clear();
    EXPECT_EQ(table.Count(), 0);
    EXPECT_EQ(table.FindTableBlock(1), nullptr);
    EXPECT_TRUE(table.Insert(1, &target));
    EXPECT_EQ(*table.ConstGet(1), &target);
}

TEST(UintTableCopy, CopiesAreDeep) {
    omi_UintTable<int> table;
    table.Insert(7, 70);
    table.Insert(0x00300000, 30);
    std::unique_ptr<omi_UintTable<int>> copy(table.Copy());
    copy->Insert(8, 80);
    copy->Remove(7);
    table.Insert(0x00300000, 31);
    ExpectHolds(*copy, {{8, 80}, {0x00300000, 30}});
    ExpectHolds(table, {{7, 70}, {0x00300000, 31}});
    omi_UintTable<int> assigned(16, 8, 4);
    assigned.Insert(1, 1);
    assigned = table;
    table.Clear();
    ExpectHolds(assigned, {{7, 70}, {0x00300000, 31}});
}

TEST(UintTableRandom, AgreesWithAMapUnderInsertsAndRemoves) {
    std::mt19937 rng(21);
    std::uniform_int_distribution<unsigned> cluster(0, 3);
    std::uniform_int_distribution<unsigned> offset(0, 3000);
    omi_UintTable<int> table;
    std::map<unsigned, int> oracle;
    for (int step = 0; step < 30000; ++step) {
        const unsigned key =
            step % 50 == 0 ? static_cast<unsigned>(rng()) : cluster(rng) * 0x00180000 + offset(rng);
        if (rng() % 3 == 0) {
            ASSERT_EQ(table.Remove(key), oracle.erase(key) == 1);
        } else {
            ASSERT_EQ(table.Insert(key, step), oracle.count(key) == 0);
            oracle[key] = step;
        }
        ASSERT_EQ(table.Count(), static_cast<int>(oracle.size()));
    }
    ExpectHolds(table, oracle);
    for (const auto& [key, value] : oracle) {
        ASSERT_TRUE(table.IsMember(key));
        ASSERT_EQ(*table.ConstGet(key), value);
    }
    for (const auto& [key, value] : oracle) {
        table.Remove(key);
    }
    for (unsigned key : {0u, 0x00180000u, 0x00300000u, 0x00480000u}) {
        EXPECT_EQ(table.FindTableBlock(key), nullptr) << key;
    }
}

TEST(UintTableIteration, BlockStepsLandOnTheNeighbouringBlocks) {
    omi_UintTable<int> table;
    for (unsigned key : {3u, 9u, 0x00100004u, 0x00100005u, 0x00700000u}) {
        table.Insert(key, 0);
    }
    omi_UintTableIterator<int> it(table);
    it.First();
    it.NextBlock();
    EXPECT_EQ(it.CurrentKey(), 0x00100004u);
    it.NextBlock();
    EXPECT_EQ(it.CurrentKey(), 0x00700000u);
    it.PreviousBlock();
    EXPECT_EQ(it.CurrentKey(), 0x00100005u);
    it.Previous();
    it.Previous();
    EXPECT_EQ(it.CurrentKey(), 9u);
    it.PreviousBlock();
    EXPECT_TRUE(it.IsDone());
}

TEST(UintTableIteration, EmptyTableIsDoneBothWays) {
    omi_UintTable<int> table;
    omi_UintTableIterator<int> it(table);
    it.First();
    EXPECT_TRUE(it.IsDone());
    it.Last();
    EXPECT_TRUE(it.IsDone());
    it.Next();
    EXPECT_EQ(it.CurrentValue(), 0);
}

int ByValueDescending(const void* a, const void* b) {
    using Pair = omi_UintTableIterator<int>::Pair;
    const Pair* left = *static_cast<const Pair* const*>(a);
    const Pair* right = *static_cast<const Pair* const*>(b);
    return (right->value > left->value) - (right->value < left->value);
}

TEST(UintTableIteration, SortedIterationFollowsTheComparison) {
    omi_UintTable<int> table;
    table.Insert(1, 20);
    table.Insert(0x00900000, 50);
    table.Insert(2, 10);
    table.Insert(3, 40);
    omi_UintTableIterator<int> it(table, ByValueDescending);
    EXPECT_EQ(Forwards(it), (Entries{{0x00900000, 50}, {3, 40}, {1, 20}, {2, 10}}));
    EXPECT_EQ(Backwards(it), (Entries{{2, 10}, {1, 20}, {3, 40}, {0x00900000, 50}}));
    it.First();
    table.Insert(3, 99); // the sorted iteration reads its snapshot
    EXPECT_EQ(it.CurrentValue(), 50);
    it.Next();
    EXPECT_EQ(it.CurrentValue(), 40);
}

// Every access before First is reported, ends a loop, and does or reads nothing.
TEST(UintTableMisuse, IteratorUsedBeforeFirstIsReported) {
    omi_UintTable<int> table;
    table.Insert(5, 55);
    omi_UintTableIterator<int> it(table);
    AssertRecorder recorder;
    EXPECT_TRUE(it.IsDone());
    it.Next();
    EXPECT_EQ(it.CurrentKey(), 0u);
    EXPECT_EQ(it.CurrentValue(), 0);
    EXPECT_EQ(recorder.Expressions(),
              (std::vector<std::string>{"currentIndex != -2", "currentIndex != -2",
                                        "currentIndex > -2", "currentIndex > -2"}));
    EXPECT_EQ(recorder.Reports()[0].path, "include/omi_UintTable");
    it.First();
    EXPECT_EQ(it.CurrentKey(), 5u);
}

TEST(UintTableIteration, StandardIterationAscendsAcrossBlocksAndWritesInPlace) {
    static_assert(std::forward_iterator<omi_UintTable<double>::iterator>);
    omi_UintTable<int> table;
    for (unsigned key : {0x04000000u, 7u, 0x00100000u, 0u, 0xFFFFFFFFu}) {
        table.Insert(key, static_cast<int>(key & 0xFF));
    }
    Entries walked;
    for (const auto& [key, value] : std::as_const(table)) {
        walked.emplace_back(key, value);
    }
    omi_UintTableIterator<int> it(table);
    EXPECT_EQ(walked, Forwards(it));
    for (auto [key, value] : table) {
        value = static_cast<int>(key >> 20);
    }
    EXPECT_EQ(*table.ConstGet(0x04000000u), 64);
    EXPECT_EQ(table.size(), 5u);
    EXPECT_TRUE(omi_UintTable<int>().empty());
}

} // namespace
