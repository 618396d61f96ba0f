#include "omi_Set.h"

#include <gtest/gtest.h>

#include <climits>
#include <random>
#include <set>
#include <vector>

namespace {

std::vector<int> Members(const omi_Set& set) {
    std::vector<int> members;
    omi_SetIT it(set);
    for (it.First(); !it.IsDone(); it.Next()) {
        members.push_back(it.CurrentItem());
    }
    return members;
}

// The library's order: negatives by increasing magnitude, then the others ascending.
std::vector<int> LibraryOrder(const std::set<int>& members) {
    std::vector<int> order;
    for (auto m = members.lower_bound(0); m != members.begin();) {
        order.push_back(*--m);
    }
    order.insert(order.end(), members.lower_bound(0), members.end());
    return order;
}

omi_Set SetOf(const std::set<int>& members) {
    omi_Set set;
    for (int m : members) {
        set.Insert(m);
    }
    return set;
}

TEST(IntegerSet, NegativesComeFirstByIncreasingMagnitude) {
    EXPECT_EQ(Members(SetOf({-3, -1, 0, 5})), (std::vector<int>{-1, -3, 0, 5}));
    EXPECT_EQ(Members(SetOf({INT_MIN, -1, INT_MAX})), (std::vector<int>{-1, INT_MIN, INT_MAX}));
}

TEST(IntegerSet, EmptySetIsDoneAtOnce) {
    omi_Set set;
    omi_SetIT it(set);
    it.First();
    EXPECT_TRUE(it.IsDone());
    EXPECT_EQ(it.CurrentItem(), 0);
    it.Next();
    EXPECT_TRUE(it.IsDone());
}

TEST(IntegerSet, RemovingAnAbsentMemberChangesNothing) {
    omi_Set set = SetOf({-2, 7});
    set.Remove(-7);
    set.Remove(2);
    set.Remove(1 << 30);
    EXPECT_EQ(set.Size(), 2u);
    EXPECT_FALSE(set.IsMember(INT_MIN)); // no block there
    set.Remove(-2);
    EXPECT_EQ(Members(set), std::vector<int>{7});
    set.Clear();
    EXPECT_EQ(set.Size(), 0u);
}

TEST(IntegerSet, UnionJoinsBothHalves) {
    omi_Set set = SetOf({-4, 1});
    set += SetOf({-4, -9, 1, 2});
    EXPECT_EQ(set.Size(), 4u);
    EXPECT_EQ(Members(set), (std::vector<int>{-4, -9, 1, 2}));
}

TEST(IntegerSet, AgreesWithAStandardSet) {
    std::mt19937 rng(9);
    std::uniform_int_distribution<int> near(-30000, 30000);
    std::set<int> oracle;
    omi_Set set;
    for (int step = 0; step < 20000; ++step) {
        const int m = near(rng);
        if (step % 3 == 0) {
            set.Remove(m);
            oracle.erase(m);
        } else {
            set.Insert(m);
            oracle.insert(m);
        }
        ASSERT_EQ(set.Size(), oracle.size());
    }
    EXPECT_EQ(Members(set), LibraryOrder(oracle));
    for (int m = -30000; m <= 30000; m += 13) {
        ASSERT_EQ(set.IsMember(m), oracle.count(m) == 1) << m;
    }
}

} // namespace
