#include "AssertRecorder.h"
#include "omi_Btree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

using vlt::test::AssertRecorder;
using Entries = std::vector<std::pair<std::string, int>>;
using Model = std::map<std::string, int>;

template <class Range>
Entries Walk(const Range& range) {
    Entries entries;
    for (const auto& [key, value] : range) {
        entries.emplace_back(std::string(key), value);
    }
    return entries;
}

Entries WalkBackward(const omi_Btree<int>& tree) {
    Entries entries;
    for (auto it = tree.rbegin(); it != tree.rend(); ++it) {
        entries.emplace_back(std::string((*it).first), (*it).second);
    }
    std::reverse(entries.begin(), entries.end());
    return entries;
}

Entries Expected(Model::const_iterator first, Model::const_iterator last) {
    return Entries(first, last);
}

// Key shapes that stress the layout: short keys over a tiny alphabet share their 8-byte prefixes
// and hold NUL and 0xFF bytes; long keys share a 300-byte stem, so that they are held in blocks
// of their own and their separators are too.
struct KeyShape {
    const char* name;
    std::string (*make)(std::mt19937& random);

    friend void PrintTo(const KeyShape& shape, std::ostream* out) { *out << shape.name; }
};

std::string TinyAlphabet(std::mt19937& random) {
    static constexpr char letters[] = {'a', 'b', '\0', '\xff'};
    std::string key(random() % 13, 'a');
    for (char& c : key) {
        c = letters[random() % 4];
    }
    return key;
}

std::string SharedStem(std::mt19937& random) {
    std::string key = random() % 2 == 0 ? std::string(300, 's') : std::string("s");
    key += std::to_string(random() % 5000);
    return key;
}

std::string Words(std::mt19937& random) {
    std::string key(8 + random() % 33, ' ');
    for (char& c : key) {
        c = static_cast<char>('a' + random() % 26);
    }
    return key;
}

class BtreeAgainstMap : public testing::TestWithParam<KeyShape> {};

// Inserts, replacements and removals in a random order, checked against std::map in both
// directions and with look-ups of present and absent keys.
TEST_P(BtreeAgainstMap, RandomOperationSequences) {
    for (unsigned seed : {1u, 2u, 3u}) {
        std::mt19937 random(seed);
        omi_Btree<int> tree;
        Model model;
        for (int step = 0; step < 30000; ++step) {
            const std::string key = GetParam().make(random);
            const unsigned action = random() % 10;
            if (action < 6) {
                const bool added = model.insert_or_assign(key, step).second;
                ASSERT_EQ(tree.Insert(key, step), added) << step;
            } else if (action < 9) {
                // Half of the removals hit a present key, wherever it lies.
                const auto near = model.lower_bound(key);
                const std::string victim =
                    random() % 2 == 0 && near != model.end() ? near->first : key;
                ASSERT_EQ(tree.Remove(victim), model.erase(victim) == 1) << step;
            } else {
                const int* value = tree.ConstGet(key);
                const auto it = model.find(key);
                ASSERT_EQ(value != nullptr, it != model.end()) << step;
                if (value != nullptr) {
                    ASSERT_EQ(*value, it->second);
                }
            }
            if (step % 5000 == 4999) {
                ASSERT_EQ(tree.size(), model.size());
                ASSERT_EQ(Walk(tree), Expected(model.begin(), model.end()));
                ASSERT_EQ(WalkBackward(tree), Expected(model.begin(), model.end()));
            }
        }
        // Emptying the tree through removals merges every node away.
        while (!model.empty()) {
            ASSERT_TRUE(tree.Remove(model.begin()->first));
            model.erase(model.begin());
        }
        EXPECT_EQ(tree.MemoryBytes(), 0u);
        EXPECT_EQ(tree.begin(), tree.end());
    }
}

TEST_P(BtreeAgainstMap, LowerBoundAndFind) {
    std::mt19937 random(7);
    omi_Btree<int> tree;
    Model model;
    for (int i = 0; i < 20000; ++i) {
        const std::string key = GetParam().make(random);
        tree.Insert(key, i);
        model.insert_or_assign(key, i);
    }
    for (int i = 0; i < 5000; ++i) {
        const std::string probe = GetParam().make(random);
        const auto expected = model.lower_bound(probe);
        const auto found = tree.LowerBound(probe);
        ASSERT_EQ(found == tree.end(), expected == model.end()) << i;
        // The entries from there on, a few steps across leaf ends.
        auto it = found;
        for (auto at = expected; at != model.end() && std::distance(expected, at) < 3; ++at, ++it) {
            ASSERT_EQ((*it).first, at->first) << i;
        }
        EXPECT_EQ(tree.Find(probe) != tree.end(), model.count(probe) == 1);
    }
}

INSTANTIATE_TEST_SUITE_P(KeyShapes, BtreeAgainstMap,
                         testing::Values(KeyShape{"TinyAlphabet", TinyAlphabet},
                                         KeyShape{"SharedStem", SharedStem},
                                         KeyShape{"Words", Words}),
                         [](const auto& info) { return std::string(info.param.name); });

// Ascending keys fill whole leaves, so prefix ranges cross leaf boundaries at known places;
// random keys split leaves anywhere. Every prefix of every length is checked, including prefixes
// that end in 0xFF bytes, whose range end is found by carrying into the byte before.
TEST(BtreePrefix, RangesMatchAScanAcrossNodeBoundaries) {
    for (const bool ascending : {true, false}) {
        std::vector<std::string> keys;
        for (int i = 0; i < 5000; ++i) {
            char text[16];
            std::snprintf(text, sizeof text, "n%04d", i);
            keys.emplace_back(text);
            keys.push_back(std::string("n") + std::to_string(i % 10) + "\xff\xff" +
                           std::to_string(i));
        }
        if (!ascending) {
            std::shuffle(keys.begin(), keys.end(), std::mt19937(5));
        }
        omi_Btree<int> tree;
        Model model;
        for (std::size_t i = 0; i < keys.size(); ++i) {
            tree.Insert(keys[i], static_cast<int>(i));
            model.emplace(keys[i], static_cast<int>(i));
        }
        std::vector<std::string> prefixes = {
            "", "n", "n0", "n00", "n0063", "n0064", "n0128", "n1\xff", "n9\xff\xff", "o", "\xff"};
        for (int i = 0; i < 5000; i += 64) {
            prefixes.push_back(keys[static_cast<std::size_t>(i)].substr(0, 4));
        }
        for (const std::string& prefix : prefixes) {
            Entries expected;
            for (auto it = model.lower_bound(prefix);
                 it != model.end() && it->first.starts_with(prefix); ++it) {
                expected.push_back(*it);
            }
            EXPECT_EQ(Walk(tree.PrefixRange(prefix)), expected) << prefix << " " << ascending;
        }
    }
}

TEST(BtreePrefix, WritesThroughARangeReachTheTree) {
    omi_Btree<int> tree;
    for (const char* key : {"a/1", "a/2", "b/1"}) {
        tree.Insert(key, 1);
    }
    for (auto [key, value] : tree.PrefixRange("a/")) {
        value = 7;
    }
    EXPECT_EQ(Walk(tree), (Entries{{"a/1", 7}, {"a/2", 7}, {"b/1", 1}}));
}

TEST(BtreeLayout, AscendingKeysFillTheirNodes) {
    omi_Btree<int> ascending;
    omi_Btree<int> shuffled;
    std::vector<std::string> keys;
    for (int i = 0; i < 64 * 200; ++i) {
        char text[16];
        std::snprintf(text, sizeof text, "k%06d", i);
        keys.emplace_back(text);
    }
    for (const std::string& key : keys) {
        ascending.Insert(key, 0);
    }
    std::shuffle(keys.begin(), keys.end(), std::mt19937(3));
    for (const std::string& key : keys) {
        shuffled.Insert(key, 0);
    }
    const std::size_t leaf = sizeof(vlt::detail::omi_BtreeLeaf<int>);
    EXPECT_LT(ascending.MemoryBytes(), 200 * leaf + 8 * sizeof(vlt::detail::omi_BtreeInner));
    EXPECT_GT(shuffled.MemoryBytes(), 250 * leaf);
    EXPECT_EQ(ascending.Height(), 2u);
}

// Removing most keys merges sparse leaves: the tree ends up near the size of one built from
// the keys that are left.
TEST(BtreeLayout, RemovalsGiveMemoryBack) {
    omi_Btree<int> tree;
    omi_Btree<int> survivors;
    std::mt19937 random(11);
    std::vector<std::string> keys;
    for (int i = 0; i < 50000; ++i) {
        keys.push_back(Words(random));
        tree.Insert(keys.back(), i);
    }
    for (std::size_t i = 0; i < keys.size(); ++i) {
        if (i % 20 == 0) {
            survivors.Insert(keys[i], 0);
        } else {
            tree.Remove(keys[i]);
        }
    }
    EXPECT_EQ(tree.size(), survivors.size());
    EXPECT_LT(tree.MemoryBytes(), 2 * survivors.MemoryBytes());
}

template <class V>
class BtreeValues : public testing::Test {};

template <class V>
V Sample(int i) {
    if constexpr (std::is_same_v<V, cow_String>) {
        return cow_String(i);
    } else if constexpr (std::is_pointer_v<V>) {
        static int cells[1000];
        return &cells[i % 1000];
    } else {
        return static_cast<V>(i) / 2;
    }
}

using ValueTypes = testing::Types<int, unsigned, double, void*, cow_String>;
TYPED_TEST_SUITE(BtreeValues, ValueTypes);

// A copy owns its own nodes, values and held keys: changing or destroying either side leaves
// the other as it was.
TYPED_TEST(BtreeValues, CopiesAreIndependent) {
    using Tree = omi_Btree<TypeParam>;
    const std::string stem(400, 'k');
    auto original = std::make_unique<Tree>();
    for (int i = 0; i < 3000; ++i) {
        original->Insert((i % 3 == 0 ? stem : std::string()) + std::to_string(i),
                         Sample<TypeParam>(i));
    }
    Tree copy(*original);
    std::unique_ptr<Tree> heapCopy(original->Copy());
    Tree assigned;
    assigned.Insert("gone", Sample<TypeParam>(1));
    assigned = copy;
    const Tree& alias = assigned;
    assigned = alias;
    for (int i = 0; i < 3000; i += 2) {
        copy.Remove((i % 3 == 0 ? stem : std::string()) + std::to_string(i));
    }
    *copy.Get("1") = Sample<TypeParam>(99);
    original.reset();
    for (const Tree* tree : {heapCopy.get(), &assigned}) {
        ASSERT_EQ(tree->size(), 3000u);
        EXPECT_EQ(*tree->ConstGet("1"), Sample<TypeParam>(1));
        EXPECT_EQ(*tree->ConstGet(stem + "0"), Sample<TypeParam>(0));
        EXPECT_EQ(tree->MemoryBytes(), heapCopy->MemoryBytes());
    }
    EXPECT_EQ(copy.size(), 1500u);
    EXPECT_EQ(*copy.ConstGet("1"), Sample<TypeParam>(99));
    EXPECT_EQ(copy.ConstGet(stem + "0"), nullptr);
    Tree moved(std::move(copy));
    EXPECT_EQ(moved.size(), 1500u);
    EXPECT_TRUE(copy.empty());
}

TEST(BtreeIterators, WorkWithStandardAlgorithms) {
    omi_Btree<int> tree;
    for (int i = 0; i < 1000; ++i) {
        tree.Insert(std::to_string(i), i);
    }
    static_assert(std::bidirectional_iterator<omi_Btree<int>::const_iterator>);
    EXPECT_EQ(std::distance(tree.begin(), tree.end()), 1000);
    EXPECT_EQ((*std::ranges::prev(tree.end())).first, "999");
    EXPECT_EQ((*tree.rbegin()).first, "999");
    const auto it = std::find_if(tree.begin(), tree.end(), [](auto e) { return e.second == 500; });
    EXPECT_EQ((*std::ranges::next(it)).first, "501");
    EXPECT_EQ((*std::ranges::prev(it)).first, "50");
    // Keys given as a cow_String, a std::string and a const char* find the same entry.
    EXPECT_EQ(tree.ConstGet(cow_String("42")), tree.ConstGet(std::string("42")));
    EXPECT_EQ(tree.ConstGet("42"), &(*tree.Find("42")).second);
}

TEST(BtreeBadInput, DefinedAnswersWithoutReports) {
    AssertRecorder recorder;
    omi_Btree<int> tree;
    EXPECT_FALSE(tree.Remove("absent"));
    EXPECT_EQ(tree.Get("absent"), nullptr);
    EXPECT_EQ(tree.LowerBound(""), tree.end());
    tree.Insert("", 1);
    tree.Insert(std::string_view("a\0b", 3), 2);
    tree.Insert("a", 3);
    const std::string huge(1 << 20, 'h');
    tree.Insert(huge, 4);
    EXPECT_FALSE(tree.Insert("a", 5));
    EXPECT_FALSE(tree.Remove("absent"));
    EXPECT_EQ(Walk(tree), (Entries{{"", 1}, {"a", 5}, {std::string("a\0b", 3), 2}, {huge, 4}}));
    EXPECT_EQ(tree.MemoryBytes(),
              sizeof(vlt::detail::omi_BtreeLeaf<int>) + sizeof(std::size_t) + huge.size());
    EXPECT_TRUE(recorder.Reports().empty());
}

TEST(BtreeBadInput, IteratorsPastEitherEndReportAndStay) {
    AssertRecorder recorder;
    omi_Btree<int> tree;
    auto end = tree.end();
    --end;
    EXPECT_EQ(end, tree.end());
    tree.Insert("only", 1);
    auto it = tree.begin();
    --it;
    EXPECT_EQ(it, tree.begin());
    auto past = tree.end();
    ++past;
    const auto [key, value] = *past;
    EXPECT_EQ(key, "");
    EXPECT_EQ(value, 0);
    EXPECT_EQ(recorder.Expressions(),
              (std::vector<std::string>{"tree is not empty", "not at the first entry", "leaf != 0",
                                        "leaf != 0"}));
    for (const auto& report : recorder.Reports()) {
        EXPECT_EQ(report.path, "include/omi_Btree");
    }
}

} // namespace
