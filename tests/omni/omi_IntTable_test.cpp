#include "AssertRecorder.h"
#include "omi_IntTable.h"

#include <gtest/gtest.h>

#include <climits>
#include <iterator>
#include <map>
#include <memory>
#include <random>
#include <utility>
#include <vector>

namespace {

using vlt::test::AssertRecorder;

using Entries = std::vector<std::pair<int, double>>;

Entries Walk(omi_IntTableIterator<double>& it) {
    Entries entries;
    for (it.First(); !it.IsDone(); it.Next()) {
        entries.emplace_back(it.CurrentKey(), it.CurrentValue());
    }
    return entries;
}

Entries Walk(const omi_IntTable<double>& table) {
    omi_IntTableIterator<double> it(table);
    return Walk(it);
}

TEST(IntTableKeys, ExtremeKeys) {
    omi_IntTable<double> table;
    table.Insert(INT_MAX, 1);
    table.Insert(INT_MIN, 2);
    table.Insert(INT_MIN + 1, 3);
    EXPECT_EQ(Walk(table), (Entries{{INT_MIN, 2}, {INT_MIN + 1, 3}, {INT_MAX, 1}}));
    EXPECT_TRUE(table.Remove(INT_MIN));
    EXPECT_FALSE(table.IsMember(INT_MIN));
    EXPECT_EQ(*table.ConstGet(INT_MIN + 1), 3);
    EXPECT_TRUE(table.Remove(INT_MIN + 1)); // the last key of its block frees it
    EXPECT_EQ(table.FindTableBlock(INT_MIN), nullptr);
}

TEST(IntTableKeys, NegativeAndPositiveKeysAreKeptApart) {
    omi_IntTable<int> table;
    table.Insert(-7, 1);
    table.Insert(7, 2);
    EXPECT_NE(table.FindTableBlock(-7), table.FindTableBlock(7));
    EXPECT_EQ(table.FindTableBlock(-7), table.FindTableBlock(-8));
    *table.Get(7) = 4;
    EXPECT_EQ(*table.ConstGet(7), 4);
    EXPECT_EQ(table.Get(8), nullptr);
}

TEST(IntTableKeys, ShapeGoesToBothHalves) {
    omi_IntTable<int> table(16, 6, 4);
    table.Insert(-0x10000, 1);
    table.Insert(0x10000, 1);
    EXPECT_EQ(table.FindTableBlock(-0x10000)->BlockSize(), 1024u);
    EXPECT_EQ(table.FindTableBlock(0x10000)->BlockSize(), 1024u);
    EXPECT_EQ(table.FindTableBlock(0xFFFF), nullptr);
}

TEST(IntTableCopy, CopyIsDeep) {
    omi_IntTable<double> table;
    table.Insert(-2, 2);
    table.Insert(9, 9);
    std::unique_ptr<omi_IntTable<double>> copy(table.Copy());
    table.Clear();
    copy->Insert(-1, 1);
    EXPECT_EQ(Walk(*copy), (Entries{{-2, 2}, {-1, 1}, {9, 9}}));
    EXPECT_EQ(table.Count(), 0);
}

TEST(IntTableRandom, AgreesWithAMap) {
    std::mt19937 rng(33);
    std::uniform_int_distribution<int> near(-5000, 5000);
    omi_IntTable<double> table;
    std::map<int, double> oracle;
    for (int step = 0; step < 20000; ++step) {
        const int key = step % 40 == 0 ? static_cast<int>(rng()) : near(rng);
        if (rng() % 3 == 0) {
            ASSERT_EQ(table.Remove(key), oracle.erase(key) == 1);
        } else {
            ASSERT_EQ(table.Insert(key, step), oracle.count(key) == 0);
            oracle[key] = step;
        }
        ASSERT_EQ(table.Count(), static_cast<int>(oracle.size()));
    }
    EXPECT_EQ(Walk(table), Entries(oracle.begin(), oracle.end()));
    for (int key = -5000; key <= 5000; key += 11) {
        ASSERT_EQ(table.IsMember(key), oracle.count(key) == 1);
    }
}

int ByValue(const void* a, const void* b) {
    using Pair = omi_IntTableIterator<double>::Pair;
    const double left = (*static_cast<const Pair* const*>(a))->value;
    const double right = (*static_cast<const Pair* const*>(b))->value;
    return (left > right) - (left < right);
}

TEST(IntTableSorted, ANegativeKeyIsReportedAndVisitedFirst) {
    omi_IntTable<double> table;
    table.Insert(1, 3.0);
    table.Insert(2, 1.0);
    table.Insert(0x7000000, 2.0);
    table.Insert(-4, 9.0);
    AssertRecorder recorder;
    omi_IntTableIterator<double> it(table, ByValue);
    ASSERT_EQ(recorder.Reports().size(), 1u);
    EXPECT_EQ(recorder.Reports()[0].expression,
              "totalNegative == 0 || \"Special sort integer table iterator unimplemented\" == 0");
    EXPECT_EQ(recorder.Reports()[0].path, "include/omi_IntTable");
    EXPECT_EQ(Walk(it), (Entries{{-4, 9.0}, {2, 1.0}, {0x7000000, 2.0}, {1, 3.0}}));
}

TEST(IntTableMisuse, IteratorUsedBeforeFirstIsReported) {
    omi_IntTable<double> table;
    table.Insert(-1, 1);
    omi_IntTableIterator<double> it(table);
    AssertRecorder recorder;
    EXPECT_TRUE(it.IsDone());
    it.Next();
    EXPECT_EQ(it.CurrentKey(), 0);
    EXPECT_EQ(recorder.Expressions(),
              (std::vector<std::string>{"currentIndex != -2", "currentIndex != -2",
                                        "currentIndex > -2"}));
    EXPECT_EQ(recorder.Reports()[0].path, "include/omi_UintTable");
}

TEST(IntTableKeys, StandardIterationAscendsThroughTheNegativeKeys) {
    static_assert(std::forward_iterator<omi_IntTable<double>::iterator>);
    omi_IntTable<double> table;
    for (int key : {3, -1, 0, -5}) {
        table.Insert(key, key * 0.5);
    }
    Entries walked;
    for (auto [key, value] : table) {
        walked.emplace_back(key, value);
        value = 1.0;
    }
    EXPECT_EQ(walked, (Entries{{-5, -2.5}, {-1, -0.5}, {0, 0.0}, {3, 1.5}}));
    EXPECT_EQ(*table.ConstGet(-5), 1.0);
    EXPECT_EQ(table.size(), 4u);
}

} // namespace
