#include "cow_CountedHld.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace {

// Counts constructions, copies and destructions so that sharing is visible.
struct Tracked {
    static inline int live = 0;
    static inline int copies = 0;
    static inline int destroyed = 0;
    static void Reset() { live = copies = destroyed = 0; }

    explicit Tracked(int v = 0) : value(v) { ++live; }
    Tracked(const Tracked& other) : value(other.value) {
        ++live;
        ++copies;
    }
    virtual ~Tracked() {
        --live;
        ++destroyed;
    }
    virtual Tracked* Copy() const { return new Tracked(*this); }
    virtual std::string Kind() const { return "base"; }

    int value;
};

struct DerivedTracked : Tracked {
    using Tracked::Tracked;
    Tracked* Copy() const override { return new DerivedTracked(*this); }
    std::string Kind() const override { return "derived"; }
};

using Handle = cow_COW<Tracked>;
using VirtualHandle = cow_COW<Tracked, cow_Virtual<Tracked>>;
using Link = cow_ArrayCOW<Tracked>;

class CowHandle : public testing::Test {
protected:
    void SetUp() override { Tracked::Reset(); }
    void TearDown() override { EXPECT_EQ(Tracked::live, 0) << "an object leaked"; }
};

TEST_F(CowHandle, FreshHandleIsSoleOwnerAndCopiesAndReadsShare) {
    Handle a(new Tracked(7));
    EXPECT_EQ(a.References(), 1);
    const Handle b(a);
    EXPECT_EQ(a.References(), 2);
    EXPECT_EQ(a.ConstPtr(), b.ConstPtr());
    EXPECT_EQ((*b).value + b->value, 14);
    EXPECT_EQ(Tracked::copies, 0);
    Handle c(Tracked(3)); // from a value: the policy's copy
    EXPECT_EQ(c.References(), 1);
    EXPECT_EQ(c->value, 3);
}

TEST_F(CowHandle, GetOnSharedHandleCopiesOnceAndLeavesOtherUntouched) {
    Handle a(new Tracked(1));
    Handle b(a);
    const Tracked* original = a.ConstPtr();

    b.Get().value = 2;
    EXPECT_EQ(Tracked::copies, 1);
    EXPECT_EQ(a.ConstPtr(), original);
    EXPECT_EQ(a->value, 1);
    EXPECT_EQ(a.References(), 1);
    EXPECT_EQ(b.References(), 1);

    Tracked& again = b.Get(); // sole owner now: in place
    EXPECT_EQ(&again, b.ConstPtr());
    EXPECT_EQ(Tracked::copies, 1);
}

TEST_F(CowHandle, AssignmentReleasesTheOldObjectOnlyWhenItsLastHolderLeaves) {
    Handle a(new Tracked(1));
    Handle b(a);
    Handle& alias = a;
    a = alias;
    a = b;
    EXPECT_EQ(a.References(), 2);
    b = new Tracked(9);
    EXPECT_EQ(a.References(), 1);
    EXPECT_EQ(b->value, 9);
    EXPECT_EQ(Tracked::destroyed, 0);
    {
        Handle c(b);
        a = c;
        EXPECT_EQ(Tracked::destroyed, 1);
        EXPECT_EQ(a.References(), 3);
    }
    b = new Tracked(2);
    a = new Tracked(3);
    EXPECT_EQ(Tracked::destroyed, 2);
    EXPECT_EQ(a.References(), 1);
    EXPECT_EQ(a->value, 3);
}

TEST_F(CowHandle, EmptyArrayHandleHasCountOneAndNoObject) {
    Link empty;
    EXPECT_FALSE(empty.HasValue());
    EXPECT_EQ(empty.References(), 1);
    Link other(new Tracked(4));
    empty = other;
    EXPECT_EQ(empty.References(), 2);
    Link another;
    other = another;
    EXPECT_FALSE(other.HasValue());
    EXPECT_EQ(empty->value, 4);
}

TEST_F(CowHandle, VirtualPolicyCopiesTheMostDerivedObject) {
    DerivedTracked derived(3);
    VirtualHandle a(derived);
    EXPECT_EQ(a->Kind(), "derived");
    VirtualHandle b(a);
    b.Get().value = 4;
    EXPECT_EQ(b->Kind(), "derived");
    EXPECT_EQ(a->value, 3);
}

TEST(CowCounter, DecrementReportsWhenTheLastHolderHasGone) {
    cow_Counter counter;
    EXPECT_EQ(counter.References(), 1);
    counter.Increment();
    EXPECT_FALSE(counter.Decrement());
    EXPECT_TRUE(counter.Decrement());
    EXPECT_TRUE(counter.Decrement());
    EXPECT_EQ(counter.References(), -1);
}

} // namespace

namespace {

// Counters come from per-thread pools: handles made on one thread and released on another,
// and the cells of a thread that has ended, must all stay sound.
TEST(CowCounterPool, HandlesMayMoveBetweenThreadsAndOutliveTheirMaker) {
    constexpr int kHandles = 50'000; // several slabs of cells
    std::vector<cow_COW<int>> made;
    std::thread maker([&] {
        for (int i = 0; i < kHandles; ++i) {
            made.emplace_back(new int(i));
        }
        std::vector<cow_COW<int>> dropped(made.begin(), made.begin() + kHandles / 2);
    }); // the maker's freed cells go to the shared pool here
    maker.join();

    std::vector<cow_COW<int>> copies(made.begin(), made.end());
    made.clear(); // released on this thread
    std::vector<cow_COW<int>> fresh;
    for (int i = 0; i < kHandles; ++i) {
        fresh.emplace_back(new int(-i));
    }
    for (int i = 0; i < kHandles; ++i) {
        ASSERT_EQ(*copies[i], i);
        ASSERT_EQ(copies[i].References(), 1);
        ASSERT_EQ(*fresh[i], -i);
        ASSERT_EQ(fresh[i].References(), 1);
    }
}

} // namespace
