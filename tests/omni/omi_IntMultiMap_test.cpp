#include "AssertRecorder.h"
#include "omi_IntMultiMap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <random>
#include <utility>
#include <vector>

namespace {

using vlt::test::AssertRecorder;

using Pairs = std::vector<std::pair<int, int>>;

Pairs Walk(const omi_IntMultiMap<int>& map) {
    Pairs pairs;
    omi_IntMultiMapIterator<int> it(map);
    for (it.First(); !it.IsDone(); it.Next()) {
        pairs.emplace_back(it.CurrentKey(), it.CurrentValue());
    }
    return pairs;
}

std::vector<int> Chain(const omi_IntMultiMap<int>& map, int key) {
    std::vector<int> values;
    for (const auto& [k, v] : Walk(map)) {
        if (k == key) {
            values.push_back(v);
        }
    }
    return values;
}

int Ascending(const int& a, const int& b) {
    return (a > b) - (a < b);
}

class IntMultiMapChains : public testing::Test {
protected:
    void SetUp() override {
        for (int value : {1, 2, 3}) {
            map.Insert(4, value);
        }
        map.Insert(-2, 7);
    }

    omi_IntMultiMap<int> map;
};

TEST_F(IntMultiMapChains, CompressionReversesEveryChain) {
    map.CompressValues();
    EXPECT_EQ(Chain(map, 4), (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(Chain(map, -2), (std::vector<int>{7}));
    EXPECT_EQ(map.LinkCount(), 4u);
}

TEST_F(IntMultiMapChains, SortingOrdersEachChain) {
    map.Insert(4, 0);
    map.Insert(4, 9);
    map.SortValues(Ascending);
    EXPECT_EQ(Chain(map, 4), (std::vector<int>{0, 1, 2, 3, 9}));
    EXPECT_EQ(map.ValueCount(), 6u);
}

TEST_F(IntMultiMapChains, IterationVisitsKeysInOrderAndChainsNewestFirst) {
    map.Insert(-9, 5);
    EXPECT_EQ(Walk(map), (Pairs{{-9, 5}, {-2, 7}, {4, 3}, {4, 2}, {4, 1}}));
    EXPECT_EQ(map.Count(), 3);
    EXPECT_EQ(map.ValueCount(), 5u);
}

TEST_F(IntMultiMapChains, RemovingOneValueKeepsTheRestOfTheChain) {
    EXPECT_TRUE(map.Remove(4, 2));
    EXPECT_EQ(Chain(map, 4), (std::vector<int>{3, 1}));
    EXPECT_TRUE(map.Remove(4, 3)); // the head
    EXPECT_FALSE(map.Remove(4, 3));
    EXPECT_FALSE(map.Remove(5, 3));
    EXPECT_FALSE(map.Remove(1 << 30)); // no table block there
    EXPECT_EQ(Chain(map, 4), (std::vector<int>{1}));
    EXPECT_TRUE(map.Remove(4, 1));
    EXPECT_FALSE(map.IsMember(4));
    EXPECT_EQ(map.ValueCount(), 1u);
}

TEST_F(IntMultiMapChains, EmptyingTheMapClearsThePool) {
    EXPECT_TRUE(map.Remove(4));
    EXPECT_EQ(map.LinkCount(), 4u);
    EXPECT_TRUE(map.Remove(-2, 7));
    EXPECT_EQ(map.LinkCount(), 0u);
    EXPECT_EQ(map.Count(), 0);
    map.Insert(1, 1);
    EXPECT_EQ(Walk(map), (Pairs{{1, 1}}));
}

TEST(IntMultiMapPool, CompactsOnceTwoThirdsOfThePoolIsDead) {
    omi_IntMultiMap<int> map;
    for (int key = 0; key < 300; ++key) {
        map.Insert(key, key);
    }
    map.Insert(299, 1000); // chain of key 299: 1000, 299
    int key = 0;
    while (map.LinkCount() == 301u) {
        ASSERT_TRUE(map.Remove(key++));
    }
    // 301 links, 100 values: 301 >= 3 * 100 triggers the compaction.
    EXPECT_EQ(key, 201);
    EXPECT_EQ(map.LinkCount(), 100u);
    EXPECT_EQ(map.ValueCount(), 100u);
    EXPECT_EQ(Chain(map, 299), (std::vector<int>{299, 1000}));
}

TEST(IntMultiMapPool, SmallPoolsAreNotCompacted) {
    omi_IntMultiMap<int> map;
    for (int key = 0; key < 200; ++key) {
        map.Insert(key, key);
    }
    for (int key = 0; key < 199; ++key) {
        map.Remove(key);
    }
    EXPECT_EQ(map.LinkCount(), 200u);
}

TEST(IntMultiMapRandom, AgreesWithAMapOfValueLists) {
    std::mt19937 rng(17);
    std::uniform_int_distribution<int> keyOf(-60, 60);
    std::uniform_int_distribution<int> valueOf(0, 9);
    omi_IntMultiMap<int> map;
    std::map<int, std::vector<int>> oracle;
    unsigned values = 0;
    for (int step = 0; step < 20000; ++step) {
        const int key = keyOf(rng);
        const int value = valueOf(rng);
        auto& list = oracle[key];
        switch (rng() % 4) {
        case 0: {
            ASSERT_EQ(map.Remove(key), !list.empty());
            values -= static_cast<unsigned>(list.size());
            list.clear();
            break;
        }
        case 1: {
            const auto found = std::find(list.begin(), list.end(), value);
            ASSERT_EQ(map.Remove(key, value), found != list.end());
            if (found != list.end()) {
                list.erase(found);
                --values;
            }
            break;
        }
        default:
            map.Insert(key, value);
            list.push_back(value);
            ++values;
        }
        ASSERT_EQ(map.ValueCount(), values);
        ASSERT_EQ(map.IsMember(key, value),
                  std::find(list.begin(), list.end(), value) != list.end());
    }
    // Compaction reverses chains, so each key's values are compared as a multiset.
    std::map<int, std::vector<int>> seen;
    for (const auto& [key, value] : Walk(map)) {
        seen[key].push_back(value);
    }
    for (auto& [key, list] : oracle) {
        std::sort(list.begin(), list.end());
        std::sort(seen[key].begin(), seen[key].end());
        EXPECT_EQ(seen[key], list) << key;
    }
}

TEST(IntMultiMapMisuse, IteratorUsedBeforeFirstIsReported) {
    omi_IntMultiMap<int> map;
    map.Insert(1, 1);
    omi_IntMultiMapIterator<int> it(map);
    AssertRecorder recorder;
    it.Next();
    EXPECT_EQ(it.CurrentValue(), 0);
    EXPECT_EQ(recorder.Expressions(), std::vector<std::string>{"currentIndex != -2"});
}

TEST_F(IntMultiMapChains, StandardIterationVisitsEveryValueOfEveryKey) {
    static_assert(std::forward_iterator<omi_IntMultiMap<int>::const_iterator>);
    Pairs walked;
    for (const auto& [key, value] : std::as_const(map)) {
        walked.emplace_back(key, value);
    }
    EXPECT_EQ(walked, Walk(map));
    EXPECT_EQ(map.size(), 4u);
    const auto second = std::next(map.begin(), 2);
    EXPECT_NE(second, std::next(map.begin()));
    (*second).second = 20;
    EXPECT_EQ(Chain(map, 4), (std::vector<int>{3, 20, 1}));
}

} // namespace
