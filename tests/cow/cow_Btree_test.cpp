#include "AssertRecorder.h"
#include "cow_Btree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <map>
#include <memory>
#include <numeric>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

// Reaches the root, so that the tests can read shapes and node addresses.
template <class K, class V>
struct vlt::detail::cow_BtreeInternals {
    static const cow_BtreeNode<K, V>* Root(const cow_Btree<K, V>& tree) {
        return tree.root != nullptr ? tree.root->ConstPtr() : nullptr;
    }
};

namespace {

using vlt::test::AssertRecorder;

template <class K, class V>
const cow_BtreeNode<K, V>* RootOf(const cow_Btree<K, V>& tree) {
    return vlt::detail::cow_BtreeInternals<K, V>::Root(tree);
}

template <class Handle>
auto NodeOf(const Handle* handle) {
    return handle != nullptr ? handle->ConstPtr() : nullptr;
}

std::string KeyText(int key) {
    return std::to_string(key);
}
std::string KeyText(const cow_String& key) {
    return key.c_str();
}

// "(smaller key larger)" for an inner node, the key alone for a leaf, "." for no child.
template <class Node>
std::string Shape(const Node* node) {
    if (node == nullptr) {
        return ".";
    }
    const std::string key = KeyText(node->Key());
    if (node->Smaller() == nullptr && node->Larger() == nullptr) {
        return key;
    }
    return "(" + Shape(NodeOf(node->Smaller())) + " " + key + " " + Shape(NodeOf(node->Larger())) +
           ")";
}

template <class K, class V>
std::string Shape(const cow_Btree<K, V>& tree) {
    return Shape(RootOf(tree));
}

// Every node's height follows the height rule, keys ascend in order, and the nodes counted
// agree with the size.
template <class Node>
testing::AssertionResult CheckNodes(const Node* node, const Node*& previous, uint32_t& count) {
    if (node == nullptr) {
        return testing::AssertionSuccess();
    }
    if (auto below = CheckNodes(NodeOf(node->Smaller()), previous, count); !below) {
        return below;
    }
    if (previous != nullptr && !(previous->Key() < node->Key())) {
        return testing::AssertionFailure() << "key " << KeyText(node->Key()) << " out of order";
    }
    previous = node;
    ++count;
    const auto via = [](const auto* child) { return child != nullptr ? child->Height() + 1 : 0; };
    const int32_t expected = std::max(via(NodeOf(node->Smaller())), via(NodeOf(node->Larger())));
    if (node->Height() != expected) {
        return testing::AssertionFailure() << "key " << KeyText(node->Key()) << " has height "
                                           << node->Height() << ", expected " << expected;
    }
    return CheckNodes(NodeOf(node->Larger()), previous, count);
}

template <class K, class V>
testing::AssertionResult WellFormed(const cow_Btree<K, V>& tree) {
    const cow_BtreeNode<K, V>* previous = nullptr;
    uint32_t count = 0;
    if (auto nodes = CheckNodes(RootOf(tree), previous, count); !nodes) {
        return nodes;
    }
    if (count != tree.Size()) {
        return testing::AssertionFailure() << count << " nodes for size " << tree.Size();
    }
    return testing::AssertionSuccess();
}

// The entries in ascending key order, or descending when walked from the last.
template <class K, class V>
std::vector<std::pair<K, V>> Entries(const cow_Btree<K, V>& tree, bool descending = false) {
    std::vector<std::pair<K, V>> entries;
    cow_BtreeIterator<K, V> it(tree);
    for (descending ? it.Last() : it.First(); !it.IsDone();
         descending ? it.Previous() : it.Next()) {
        entries.emplace_back(it.CurrentKey(), it.CurrentValue());
    }
    return entries;
}

template <class K, class V>
std::vector<K> Keys(const cow_Btree<K, V>& tree) {
    std::vector<K> keys;
    for (const auto& entry : Entries(tree)) {
        keys.push_back(entry.first);
    }
    return keys;
}

template <class K, class V>
void CollectNodes(const cow_BtreeNode<K, V>* node, std::set<const cow_BtreeNode<K, V>*>& nodes) {
    if (node != nullptr) {
        nodes.insert(node);
        CollectNodes(NodeOf(node->Smaller()), nodes);
        CollectNodes(NodeOf(node->Larger()), nodes);
    }
}

template <class K, class V>
std::set<const cow_BtreeNode<K, V>*> NodesOf(const cow_Btree<K, V>& tree) {
    std::set<const cow_BtreeNode<K, V>*> nodes;
    CollectNodes(RootOf(tree), nodes);
    return nodes;
}

using IntTree = cow_Btree<int, int>;
using Ints = std::vector<int>;

IntTree MakeTree(std::initializer_list<int> keys) {
    IntTree tree;
    for (int key : keys) {
        tree.Insert(key, key * 10);
    }
    return tree;
}

// Correct use must never report.
class BtreeTest : public testing::Test {
protected:
    void TearDown() override { EXPECT_TRUE(recorder.Reports().empty()); }

    AssertRecorder recorder;
};

// Shapes derived by hand from the rebalancing rules, which make single rotations only and count
// a leaf as an absent child (both deliberate). The values travel with their keys.
template <class V>
class BtreeShape : public BtreeTest {};

using ShapeValueTypes = testing::Types<int, cow_1DArrayList<int, int>>;
TYPED_TEST_SUITE(BtreeShape, ShapeValueTypes);

struct ShapeCase {
    std::vector<int> keys;
    int removed; // 0: none
    const char* shape;
};

const ShapeCase shapeCases[] = {
    {{1, 2, 3}, 0, "(. 1 (. 2 3))"},
    {{1, 2, 3, 4}, 0, "(1 2 (. 3 4))"},
    {{4, 3, 2, 1}, 0, "((1 2 .) 3 4)"},
    // A double rotation would make 2 the root; the single one leaves the new root leaning by 2.
    {{1, 4, 2, 3}, 0, "((. 1 (. 2 3)) 4 .)"},
    {{1, 2, 3, 4}, 2, "(1 3 4)"},
    {{3, 1, 5, 4, 6}, 0, "(1 3 (4 5 6))"},
    {{3, 1, 5, 4, 6}, 3, "(1 4 (. 5 6))"},
    // The larger side is two levels deeper than the empty smaller side, yet its top counts 1.
    {{1, 2, 3, 4}, 1, "(. 2 (. 3 4))"},
    {{1, 2, 3, 4, 5, 6}, 0, "((1 2 .) 3 (. 4 (. 5 6)))"},
    {{1, 2, 3, 4, 5, 6}, 1, "((2 3 .) 4 (. 5 6))"},
    {{7}, 7, "."},
};

// WellFormed also checks every node's height against the shape.
TYPED_TEST(BtreeShape, InsertsAndRemovalsGiveTheHandDerivedShapes) {
    for (const ShapeCase& c : shapeCases) {
        cow_Btree<int, TypeParam> tree;
        for (int key : c.keys) {
            EXPECT_TRUE(tree.Insert(key, TypeParam())) << key;
            EXPECT_TRUE(WellFormed(tree)) << key;
        }
        if (c.removed != 0) {
            EXPECT_TRUE(tree.Remove(c.removed)) << c.shape;
        }
        EXPECT_EQ(Shape(tree), c.shape);
        EXPECT_TRUE(WellFormed(tree)) << c.shape;
    }
}

IntTree Ladder(int count) {
    IntTree tree;
    for (int key = 0; key < count; ++key) {
        tree.Insert(key * 2, key);
    }
    return tree;
}

// Single rotations leave some nodes leaning, but the height stays close to the best possible.
TEST_F(BtreeTest, HeightStaysLogarithmic) {
    std::mt19937 random(11);
    IntTree shuffled;
    const IntTree ascending = Ladder(1 << 14);
    Ints keys(1 << 14);
    std::iota(keys.begin(), keys.end(), 0);
    std::shuffle(keys.begin(), keys.end(), random);
    for (int key : keys) {
        shuffled.Insert(key, key);
    }
    EXPECT_LE(RootOf(ascending)->Height(), 15);
    EXPECT_LE(RootOf(shuffled)->Height(), 20);
    for (size_t i = 0; i < keys.size() / 2; ++i) {
        shuffled.Remove(keys[i]);
    }
    EXPECT_LE(RootOf(shuffled)->Height(), 19);
}

using BtreeEntries = BtreeTest;

// Keys far apart must not wrap around as a 32-bit difference would.
TEST_F(BtreeEntries, ExtremeIntegersAndStringsKeepTheirOrder) {
    IntTree tree;
    for (int key : {0, INT32_MAX, INT32_MIN, -1, 1}) {
        tree.Insert(key, 0);
    }
    EXPECT_EQ(Keys(tree), (Ints{INT32_MIN, -1, 0, 1, INT32_MAX}));
    EXPECT_TRUE(tree.IsMember(INT32_MIN));
    cow_Btree<cow_String, int> strings;
    for (const char* key : {"b", "a", "\xe9t\xe9", "ab", ""}) {
        strings.Insert(key, 1);
    }
    std::vector<std::string> keys;
    for (const cow_String& key : Keys(strings)) {
        keys.emplace_back(key.c_str());
    }
    EXPECT_EQ(keys, (std::vector<std::string>{"", "a", "ab", "b", "\xe9t\xe9"}));
}

TEST(BtreeMisuse, AbsentKeysAndEndedIteratorsReportAndReadDefaults) {
    AssertRecorder recorder;
    IntTree tree = MakeTree({1});
    EXPECT_EQ(tree.ConstGet(2), 0);
    EXPECT_EQ(tree.Get(3), 0);
    EXPECT_FALSE(tree.IsMember(3));
    cow_BtreeIterator<int, int> it(tree);
    EXPECT_EQ(it.CurrentKey(), 0);
    it.First();
    it.Next();
    it.Next();
    it.Previous();
    EXPECT_TRUE(it.IsDone());
    EXPECT_EQ(it.CurrentValue(), 0);
    EXPECT_EQ(recorder.Expressions(),
              (std::vector<std::string>{"node != 0", "node != 0", "!IsDone()", "!IsDone()"}));
    EXPECT_EQ(recorder.Reports().front().path, "include/cow_Btree");
    EXPECT_EQ(recorder.Reports().back().path, "include/cow_Btree");
}

// Turning round and restarting mid-walk; full walks both ways are checked by the random test.
TEST_F(BtreeTest, IteratorCanTurnRoundAndRestart) {
    const IntTree none;
    cow_BtreeIterator<int, int> empty(none);
    empty.Last();
    EXPECT_TRUE(empty.IsDone());
    const IntTree tree = MakeTree({4, 2, 6, 1, 3, 5, 7});
    cow_BtreeIterator<int, int> it(tree);
    it.First();
    it.Next();
    it.Next();
    EXPECT_EQ(it.CurrentKey(), 3);
    it.Last();
    it.Previous();
    EXPECT_EQ(it.CurrentValue(), 60);
    it.First();
    EXPECT_EQ(it.CurrentKey(), 1);
}

using BtreeSharing = BtreeTest;

TEST_F(BtreeSharing, CopyOwnsItsRootAndSharesEverythingBelow) {
    const IntTree source = MakeTree({4, 2, 6, 1, 3, 5, 7});
    const IntTree copy(source);
    EXPECT_NE(RootOf(copy), RootOf(source));
    EXPECT_EQ(RootOf(copy)->Key(), RootOf(source)->Key());
    EXPECT_EQ(NodeOf(RootOf(copy)->Smaller()), NodeOf(RootOf(source)->Smaller()));
    EXPECT_EQ(NodeOf(RootOf(copy)->Larger()), NodeOf(RootOf(source)->Larger()));
    EXPECT_EQ(RootOf(source)->Larger()->References(), 2);
    const auto before = NodesOf(copy);
    EXPECT_EQ(copy.ConstGet(7), 70);
    EXPECT_EQ(Entries(copy), Entries(source));
    EXPECT_EQ(NodesOf(copy), before) << "reads must never copy nodes";
}

// The nodes a write may copy: those on the way to key and on to the smallest node of its
// larger side, and the children of those that a rotation raises.
std::set<int> Reach(const IntTree& tree, int key) {
    std::set<int> reach;
    const auto add = [&](const auto* node) {
        reach.insert(node->Key());
        for (const auto* child : {node->Smaller(), node->Larger()}) {
            if (child != nullptr) {
                reach.insert((*child)->Key());
            }
        }
    };
    const cow_BtreeNode<int, int>* node = RootOf(tree);
    while (node != nullptr && node->Key() != key) {
        add(node);
        node = NodeOf(key < node->Key() ? node->Smaller() : node->Larger());
    }
    if (node != nullptr) {
        add(node);
        for (node = NodeOf(node->Larger()); node != nullptr; node = NodeOf(node->Smaller())) {
            add(node);
        }
    }
    return reach;
}

template <class Write>
void ExpectOnlyTheReachCopied(const IntTree& source, int key, Write write) {
    const auto sourceNodes = NodesOf(source);
    const auto sourceEntries = Entries(source);
    const std::set<int> reach = Reach(source, key);
    IntTree copy(source);
    write(copy);
    EXPECT_TRUE(WellFormed(copy));
    size_t copied = 0;
    for (const auto* node : NodesOf(copy)) {
        if (sourceNodes.count(node) == 0) {
            ++copied;
            EXPECT_TRUE(reach.count(node->Key()) != 0 || node->Key() == key)
                << "copied " << node->Key();
        }
    }
    EXPECT_LE(copied, reach.size() + 1);
    EXPECT_LT(copied, sourceNodes.size() / 4) << "most of the tree must stay shared";
    EXPECT_EQ(NodesOf(source), sourceNodes);
    EXPECT_EQ(Entries(source), sourceEntries);
}

TEST_F(BtreeSharing, WritesCopyOnlyTheNodesTheyReach) {
    const IntTree source = Ladder(200);
    for (int key : {-1, 77, 1000}) {
        ExpectOnlyTheReachCopied(source, key,
                                 [&](IntTree& copy) { EXPECT_TRUE(copy.Insert(key, 0)); });
    }
    for (int key : {0, 222, RootOf(source)->Key()}) {
        ExpectOnlyTheReachCopied(source, key,
                                 [&](IntTree& copy) { EXPECT_TRUE(copy.Remove(key)); });
    }
    ExpectOnlyTheReachCopied(source, 150, [&](IntTree& copy) { copy.Get(150) = -5; });
}

TEST_F(BtreeSharing, SecondWriteWorksInPlace) {
    IntTree tree = Ladder(50);
    const IntTree snapshot(tree);
    tree.Insert(7, 7);
    const auto afterFirst = NodesOf(tree);
    tree.Get(7) = 8;
    tree.Get(10) = 9;
    EXPECT_EQ(NodesOf(tree), afterFirst);
    EXPECT_EQ(snapshot.ConstGet(10), 5);
}

TEST_F(BtreeSharing, AssignmentAndHeapCopyAreIndependent) {
    IntTree tree = MakeTree({1, 2, 3});
    IntTree assigned = MakeTree({9});
    assigned = tree;
    std::unique_ptr<IntTree> heap(tree.Copy());
    tree.Remove(2);
    tree.Insert(4, 40);
    assigned.Get(1) = -1;
    EXPECT_EQ(Keys(tree), (Ints{1, 3, 4}));
    EXPECT_EQ(Entries(assigned), (std::vector<std::pair<int, int>>{{1, -1}, {2, 20}, {3, 30}}));
    EXPECT_EQ(Entries(*heap), (std::vector<std::pair<int, int>>{{1, 10}, {2, 20}, {3, 30}}));
    assigned = assigned;
    assigned = IntTree();
    EXPECT_EQ(RootOf(assigned), nullptr);
}

TEST_F(BtreeSharing, ListValuesAreCopiedOnlyWithTheirNode) {
    cow_Btree<cow_String, cow_1DArrayList<int, int>> tree;
    cow_1DArrayList<int, int> list;
    list.Insert(0, 1);
    tree.Insert("a", list);
    tree.Insert("b", list);
    const auto copy(tree);
    tree.Get("a").Insert(1, 2);
    EXPECT_EQ(tree.ConstGet("a").FindFirst(2), 1u);
    EXPECT_EQ(copy.ConstGet("a").FindFirst(2), 1u) << "the copy's value must not have changed";
}

// 100,000 random operations against std::map, with copies taken along the way that must keep
// the contents they had.
TEST_F(BtreeTest, RandomOperationsAgreeWithStdMapAndCopiesKeepTheirContents) {
    using Tree = cow_Btree<cow_String, int>;
    using Oracle = std::map<std::string, int>;
    std::mt19937 random(2024);
    Tree tree;
    Oracle oracle;
    std::vector<std::pair<Tree, Oracle>> snapshots;
    // Both walking directions must see exactly the oracle's entries.
    const auto check = [](const Tree& t, const Oracle& o) {
        std::vector<std::pair<cow_String, int>> expected;
        for (const auto& [key, value] : o) {
            expected.emplace_back(key.c_str(), value);
        }
        return t.Size() == o.size() && Entries(t) == expected &&
               Entries(t, true) == decltype(expected)(expected.rbegin(), expected.rend());
    };
    for (int step = 0; step < 100000; ++step) {
        const std::string key = "k" + std::to_string(random() % 3000);
        const cow_String cowKey(key.c_str());
        const int value = static_cast<int>(random());
        const unsigned choice = random() % 8;
        const auto found = oracle.find(key);
        if (choice < 3) {
            ASSERT_EQ(tree.Insert(cowKey, value), oracle.emplace(key, value).second) << step;
        } else if (choice < 5) {
            ASSERT_EQ(tree.Remove(cowKey), oracle.erase(key) == 1) << step;
        } else if (choice == 5 && found != oracle.end()) {
            tree.Get(cowKey) = found->second = value;
        } else {
            ASSERT_EQ(tree.IsMember(cowKey), found != oracle.end()) << step;
            ASSERT_TRUE(found == oracle.end() || tree.ConstGet(cowKey) == found->second) << step;
        }
        ASSERT_EQ(tree.Size(), oracle.size()) << step;
        if (step % 5000 == 0) {
            snapshots.emplace_back(tree, oracle);
        }
        if (step % 20000 == 0) {
            for (const auto& [copy, contents] : snapshots) {
                ASSERT_TRUE(check(copy, contents)) << step;
            }
        }
    }
    ASSERT_TRUE(check(tree, oracle));
    ASSERT_TRUE(WellFormed(tree));
    for (const auto& [copy, contents] : snapshots) {
        EXPECT_TRUE(check(copy, contents));
        EXPECT_TRUE(WellFormed(copy));
    }
}

TEST_F(BtreeTest, StandardIterationAscendsAndWritesOnlyTheIteratedCopy) {
    static_assert(std::forward_iterator<cow_Btree<cow_String, int>::iterator>);
    cow_Btree<int, int> source;
    for (int key : {50, 20, 80, 10, 30, 70, 90, 25, 5}) {
        source.Insert(key, key);
    }
    cow_Btree<int, int> copy(source);
    std::vector<int> keys;
    std::vector<const int*> copyValues;
    for (const auto& [key, value] : std::as_const(copy)) {
        keys.push_back(key);
        copyValues.push_back(&value);
    }
    EXPECT_EQ(keys, (std::vector<int>{5, 10, 20, 25, 30, 50, 70, 80, 90}));
    EXPECT_EQ(copyValues.front(), &source.ConstGet(5));
    for (auto [key, value] : copy) {
        value = -key;
    }
    EXPECT_NE(&copy.ConstGet(5), &source.ConstGet(5));
    EXPECT_EQ(copy.ConstGet(90), -90);
    EXPECT_EQ(source.ConstGet(90), 90);
    EXPECT_EQ(copy.size(), 9u);
    EXPECT_TRUE((cow_Btree<int, int>().empty()));
}

} // namespace

namespace {

// Each node shares its heap block with the handle made with it, so that a walk down the tree
// finds the two together.
template <class Handle, class Node>
bool Beside(const Handle* handle, const Node* node) {
    return reinterpret_cast<const char*>(handle) + sizeof(Handle) ==
           reinterpret_cast<const char*>(node);
}

// The handles below node that are not beside their nodes.
template <class Node>
int HandlesApart(const Node* node) {
    int apart = 0;
    for (const auto* child : {node->Smaller(), node->Larger()}) {
        if (child != nullptr) {
            apart += (Beside(child, child->ConstPtr()) ? 0 : 1) + HandlesApart(child->ConstPtr());
        }
    }
    return apart;
}

using BtreeBlocks = BtreeTest;

TEST_F(BtreeBlocks, AnUnsharedTreeKeepsEveryNodeBesideItsHandle) {
    IntTree ints; // built in place: a copy's handles below the root are apart
    for (int key = 0; key < 300; ++key) {
        ints.Insert(key * 2, key);
    }
    for (int key : {0, 2, 150, 298, 300}) {
        ints.Remove(key); // replacements and rotations move handles, never nodes
    }
    cow_Btree<cow_String, int> strings;
    for (int key = 0; key < 300; ++key) {
        strings.Insert(cow_String(key * 7919 % 1000), key);
    }
    EXPECT_EQ(HandlesApart(RootOf(ints)), 0);
    EXPECT_EQ(HandlesApart(RootOf(strings)), 0);
}

// A shared node outlives the handle beside it, and a handle that made its node private outlives
// the old node: each block must stay until both have gone, in either order (AddressSanitizer
// sees a block freed early or never).
TEST_F(BtreeBlocks, NodesAndHandlesOfOneBlockOutliveEachOther) {
    for (const bool writerGoesFirst : {true, false}) {
        auto writer = std::make_unique<IntTree>(); // built in place, its handles beside its nodes
        for (int key = 0; key < 100; ++key) {
            writer->Insert(key * 2, key);
        }
        auto reader = std::make_unique<IntTree>(*writer);
        for (int key = 0; key < 100; ++key) {
            writer->Get(key * 2) += 1000; // every node of the writer is copied
        }
        EXPECT_EQ(RootOf(*reader)->Smaller()->References(), 1);

        auto& first = writerGoesFirst ? writer : reader;
        auto& second = writerGoesFirst ? reader : writer;
        first.reset();
        const int offset = writerGoesFirst ? 0 : 1000;
        for (int key = 0; key < 100; ++key) {
            ASSERT_EQ(second->ConstGet(key * 2), key + offset);
        }
        EXPECT_TRUE(WellFormed(*second));
        // A new handle to a node takes the room beside it while that room is free.
        const IntTree third(*second);
        const IntTree fourth(*second);
        const auto* thirds = RootOf(third)->Smaller();
        const auto* fourths = RootOf(fourth)->Smaller();
        EXPECT_TRUE(Beside(thirds, thirds->ConstPtr()));
        EXPECT_FALSE(Beside(fourths, fourths->ConstPtr()));
        EXPECT_EQ(fourths->References(), 3);
    }
}

} // namespace
