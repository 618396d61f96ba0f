#include "AssertRecorder.h"
#include "omi_BlkBitVect.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstdio>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace {

using vlt::test::AssertRecorder;

// Reaches the protected members that a derived class of the library may use.
class OpenBitVect : public omi_BlkBitVect {
public:
    using omi_BlkBitVect::omi_BlkBitVect;
    using omi_BlkBitVect::Recount;
    void CorruptCount(unsigned count) { bitCount = count; }
};

std::vector<unsigned> Forwards(const omi_BlkBitVect& vector) {
    std::vector<unsigned> bits;
    omi_BlkBitVectTrav trav(vector);
    unsigned index = 0;
    for (bool found = trav.First(index); found; found = trav.Next(index)) {
        bits.push_back(index);
    }
    return bits;
}

std::vector<unsigned> Backwards(const omi_BlkBitVect& vector) {
    std::vector<unsigned> bits;
    omi_BlkBitVectTrav trav(vector);
    unsigned index = 0;
    for (bool found = trav.Last(index); found; found = trav.Prev(index)) {
        bits.push_back(index);
    }
    return bits;
}

// Random members clustered in a few regions (so that blocks are shared and absent) plus a
// scattering over a wide range. (A member near 2^32 costs a 4 MB block table; the tests
// that need one set it explicitly.)
std::set<unsigned> RandomMembers(std::mt19937& rng, unsigned n) {
    std::set<unsigned> members;
    std::uniform_int_distribution<unsigned> region(0, 5);
    std::uniform_int_distribution<unsigned> offset(0, 20000);
    std::uniform_int_distribution<unsigned> anywhere(0, 1u << 26);
    for (unsigned i = 0; i < n; ++i) {
        members.insert(i % 10 == 0 ? anywhere(rng) : region(rng) * 40000 + offset(rng));
    }
    return members;
}

omi_BlkBitVect VectorOf(const std::set<unsigned>& members) {
    omi_BlkBitVect vector;
    for (unsigned m : members) {
        vector.SetBit(m);
    }
    return vector;
}

void ExpectHolds(const omi_BlkBitVect& vector, const std::set<unsigned>& members) {
    EXPECT_EQ(vector.BitCount(), members.size());
    EXPECT_EQ(Forwards(vector), std::vector<unsigned>(members.begin(), members.end()));
    EXPECT_EQ(Backwards(vector), std::vector<unsigned>(members.rbegin(), members.rend()));
    EXPECT_EQ(std::vector<unsigned>(vector.begin(), vector.end()),
              std::vector<unsigned>(members.begin(), members.end()));
}

TEST(BlkBitVectShape, BlocksHold8192BitsAndAreMadeOnlyWhereBitsAreSet) {
    omi_BlkBitVect vector;
    EXPECT_EQ(vector.BlockCount(), 0u);
    vector.SetBit(8191);
    EXPECT_EQ(vector.BlockCount(), 1u);
    vector.SetBit(0);
    EXPECT_EQ(vector.BlockCount(), 1u);
    vector.SetBit(8192);
    EXPECT_EQ(vector.BlockCount(), 2u);
    vector.SetBit(0xFFFFFFFFu);
    EXPECT_EQ(vector.BlockCount(), 3u);
    ExpectHolds(vector, {0, 8191, 8192, 0xFFFFFFFFu});
}

TEST(BlkBitVectShape, ChangingABitToItsCurrentStateChangesNothing) {
    omi_BlkBitVect vector;
    vector.SetBit(70);
    vector.SetBit(70);
    EXPECT_EQ(vector.BitCount(), 1u);
    vector.UnsetBit(71);
    vector.UnsetBit(1u << 30); // beyond the table: no block is made
    EXPECT_EQ(vector.BitCount(), 1u);
    EXPECT_EQ(vector.BlockCount(), 1u);
    vector.UnsetBit(70);
    vector.UnsetBit(70);
    EXPECT_EQ(vector.BitCount(), 0u);
    EXPECT_FALSE(vector.TestBit(70));
}

TEST(BlkBitVectShape, ClearedBlocksStayUntilRecountFreesThemAndRepairsTheCount) {
    OpenBitVect vector;
    vector.SetFromTo(10, 109);
    vector.SetBit(20000);
    vector.SetBit(90000);
    vector.UnsetBit(90000);
    vector.CorruptCount(7);
    EXPECT_EQ(vector.BlockCount(), 3u);
    vector.Recount();
    EXPECT_EQ(vector.BitCount(), 101u);
    EXPECT_EQ(vector.BlockCount(), 2u);
    vector.Clear();
    ExpectHolds(vector, {});
    EXPECT_EQ(vector.BlockCount(), 0u);
}

struct Range {
    unsigned from;
    unsigned to;
};

class BlkBitVectSetFromTo : public testing::TestWithParam<Range> {};

TEST_P(BlkBitVectSetFromTo, SetsExactlyTheRangeOverExistingBits) {
    const Range range = GetParam();
    omi_BlkBitVect vector;
    std::set<unsigned> expected = {0, 31, 32, 100, 8191, 8192, 0xFFFFFFFFu};
    for (unsigned m : expected) {
        vector.SetBit(m);
    }
    for (unsigned i = range.from;; ++i) {
        expected.insert(i);
        if (i == range.to) {
            break;
        }
    }
    vector.SetFromTo(range.from, range.to);
    ExpectHolds(vector, expected);
}

INSTANTIATE_TEST_SUITE_P(Ranges, BlkBitVectSetFromTo,
                         testing::Values(Range{5, 5}, Range{1, 62}, Range{30, 100},
                                         Range{8000, 17000}, Range{0xFFFFFF00u, 0xFFFFFFFFu}));

TEST(BlkBitVectSetFromToEdges, FromAboveToSetsNothing) {
    omi_BlkBitVect vector;
    vector.SetFromTo(9, 8);
    EXPECT_EQ(vector.BitCount(), 0u);
    EXPECT_EQ(vector.BlockCount(), 0u);
}

TEST(BlkBitVectTraversal, EmptyVectorFindsNothingEitherWay) {
    omi_BlkBitVect vector;
    omi_BlkBitVectTrav trav(vector);
    unsigned index = 12345;
    EXPECT_FALSE(trav.First(index));
    EXPECT_FALSE(trav.Last(index));
    EXPECT_FALSE(trav.Next(index));
    EXPECT_EQ(index, 12345u);
    omi_BlkBitVectTrav unbound;
    EXPECT_FALSE(unbound.First(index));
}

TEST(BlkBitVectTraversal, RunningOffAnEndTurnsBackOnTheExtremeBit) {
    const omi_BlkBitVect vector = VectorOf({4, 9000});
    omi_BlkBitVectTrav trav(vector);
    unsigned index = 0;
    ASSERT_TRUE(trav.Last(index));
    EXPECT_FALSE(trav.Next(index));
    EXPECT_FALSE(trav.Next(index));
    ASSERT_TRUE(trav.Prev(index));
    EXPECT_EQ(index, 9000u);
    ASSERT_TRUE(trav.Prev(index));
    EXPECT_FALSE(trav.Prev(index));
    ASSERT_TRUE(trav.Next(index));
    EXPECT_EQ(index, 4u);
}

TEST(BlkBitVectTraversal, DirectionChangesInsideAWord) {
    const omi_BlkBitVect vector = VectorOf({0, 1, 31, 32, 63, 64});
    omi_BlkBitVectTrav trav(vector);
    unsigned index = 0;
    ASSERT_TRUE(trav.First(index));
    ASSERT_TRUE(trav.Next(index));
    ASSERT_TRUE(trav.Next(index));
    EXPECT_EQ(index, 31u);
    ASSERT_TRUE(trav.Prev(index));
    EXPECT_EQ(index, 1u);
    ASSERT_TRUE(trav.Next(index));
    ASSERT_TRUE(trav.Next(index));
    EXPECT_EQ(index, 32u);
}

TEST(BlkBitVectTraversal, CopiedTraverserContinuesFromTheSamePlace) {
    const omi_BlkBitVect vector = VectorOf({2, 3, 5});
    omi_BlkBitVectTrav trav(vector);
    unsigned index = 0;
    trav.First(index);
    omi_BlkBitVectTrav copy(trav);
    ASSERT_TRUE(copy.Next(index));
    EXPECT_EQ(index, 3u);
    omi_BlkBitVectTrav assigned;
    assigned = copy;
    ASSERT_TRUE(assigned.Next(index));
    EXPECT_EQ(index, 5u);
}

// The iterator reads two words at a time: bits at each edge of a word, of a pair and of a
// block, with a block whose bits were all cleared between two others.
TEST(BlkBitVectTraversal, RangeForVisitsWordPairAndBlockEdgesInOrder) {
    OpenBitVect vector;
    EXPECT_EQ(vector.begin(), vector.end());
    const std::set<unsigned> members = {0, 31, 32, 63, 64, 95, 8159, 8160, 8191, 24576, 24639};
    for (unsigned m : members) {
        vector.SetBit(m);
    }
    vector.SetBit(9000);
    vector.UnsetBit(9000);
    ASSERT_EQ(vector.BlockCount(), 3u) << "block 1 stays, holding only zero words";
    ExpectHolds(vector, members);
    EXPECT_EQ(std::ranges::count_if(vector, [](unsigned m) { return m % 32 == 0; }), 5);
}

class BlkBitVectAlgebra : public testing::Test {
protected:
    void SetUp() override {
        std::mt19937 rng(11);
        for (int i = 0; i < 12; ++i) {
            samples.push_back(RandomMembers(rng, 300));
        }
        samples.push_back({});
    }

    template <class VectorOp, class SetOp>
    void CheckEveryPair(VectorOp vectorOp, SetOp setOp) {
        for (const auto& a : samples) {
            for (const auto& b : samples) {
                omi_BlkBitVect left = VectorOf(a);
                vectorOp(left, VectorOf(b));
                const std::set<unsigned> expected = setOp(a, b);
                ExpectHolds(left, expected);
                EXPECT_TRUE(left == VectorOf(expected));
            }
        }
    }

    std::vector<std::set<unsigned>> samples;
};

template <class Pick>
std::set<unsigned> Merge(const std::set<unsigned>& a, const std::set<unsigned>& b, Pick pick) {
    std::set<unsigned> result;
    std::set<unsigned> all(a);
    all.insert(b.begin(), b.end());
    for (unsigned m : all) {
        if (pick(a.count(m) != 0, b.count(m) != 0)) {
            result.insert(m);
        }
    }
    return result;
}

// Every pair of samples, through each operator and through the set operation it stands for.
TEST_F(BlkBitVectAlgebra, OperatorsMatchSets) {
    using V = omi_BlkBitVect;
    struct Operator {
        void (*apply)(V&, const V&);
        bool (*pick)(bool, bool);
    };
    const Operator operators[] = {
        {[](V& l, const V& r) { l &= r; }, [](bool x, bool y) { return x && y; }},
        {[](V& l, const V& r) { l |= r; }, [](bool x, bool y) { return x || y; }},
        {[](V& l, const V& r) { l ^= r; }, [](bool x, bool y) { return x != y; }},
        {[](V& l, const V& r) { l -= r; }, [](bool x, bool y) { return x && !y; }},
    };
    for (const Operator& op : operators) {
        CheckEveryPair(op.apply,
                       [&](const auto& a, const auto& b) { return Merge(a, b, op.pick); });
    }
}

TEST_F(BlkBitVectAlgebra, ContainsMatchesSubsetRelation) {
    for (const auto& a : samples) {
        for (const auto& b : samples) {
            const bool subset = std::includes(a.begin(), a.end(), b.begin(), b.end());
            EXPECT_EQ(VectorOf(a).Contains(VectorOf(b)), subset);
        }
        std::set<unsigned> part(a.begin(), std::next(a.begin(), a.size() / 2));
        EXPECT_TRUE(VectorOf(a).Contains(VectorOf(part)));
    }
}

TEST(BlkBitVectAlgebraEdges, OperatorsWithItself) {
    const std::set<unsigned> members = {1, 40000, 0xFFFFFFFFu};
    omi_BlkBitVect v = VectorOf(members);
    const omi_BlkBitVect& same = v;
    v &= same;
    v |= same;
    ExpectHolds(v, members);
    v ^= same;
    EXPECT_EQ(v.BitCount(), 0u);
    EXPECT_EQ(v.BlockCount(), 0u);
    v = VectorOf(members);
    v -= same;
    EXPECT_EQ(v.BitCount(), 0u);
    EXPECT_EQ(v.BlockCount(), 0u);
}

TEST(BlkBitVectAlgebraEdges, BlocksLeftEmptyAreFreedAndZeroBlocksAreNotCopied) {
    omi_BlkBitVect a = VectorOf({5, 20000});
    omi_BlkBitVect b = VectorOf({5, 70000});
    b.UnsetBit(70000); // b keeps an all-zero block
    a -= b;
    EXPECT_EQ(a.BlockCount(), 1u);
    a |= b;
    EXPECT_EQ(a.BlockCount(), 2u);
    a ^= b;
    EXPECT_EQ(a.BlockCount(), 1u);
    ExpectHolds(a, {20000});
}

TEST(BlkBitVectEquality, AbsentBlocksEqualZeroBlocks) {
    omi_BlkBitVect a = VectorOf({1, 9000});
    omi_BlkBitVect b = VectorOf({1});
    a.UnsetBit(9000);
    EXPECT_TRUE(a == b);
    EXPECT_TRUE(b == a);
    b.SetBit(2);
    EXPECT_FALSE(a == b);
    a.SetBit(3);
    EXPECT_FALSE(a == b); // same count, different words
    EXPECT_TRUE(b.Contains(omi_BlkBitVect()));
}

TEST(BlkBitVectCopy, CopiesAreDeepAndIndependent) {
    omi_BlkBitVect original = VectorOf({1, 50000});
    omi_BlkBitVect copy(original);
    copy.SetBit(2);
    original.UnsetBit(1);
    ExpectHolds(copy, {1, 2, 50000});
    omi_BlkBitVect assigned;
    assigned.SetBit(99);
    assigned = copy;
    copy.Clear();
    ExpectHolds(assigned, {1, 2, 50000});
    ExpectHolds(original, {50000});
}

TEST(BlkBitVectCounting, ByteTableAndWordCount) {
    for (unsigned byte = 0; byte < 256; ++byte) {
        EXPECT_EQ(omi_BlkBitVect::BitPerByte[byte], std::popcount(byte)) << byte;
    }
    for (unsigned word : {0u, 0x80000001u, 0x12345678u, 0xFFFFFFFFu}) {
        EXPECT_EQ(omi_BlkBitVect::CountBits32(word), static_cast<unsigned>(std::popcount(word)));
    }
}

TEST(BlkBitVectDump, ListPrintsCountAndEightIndicesPerLineOrSaysItIsEmpty) {
    testing::internal::CaptureStderr();
    omi_BlkBitVect().DumpList();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Empty List\n");
    omi_BlkBitVect vector;
    vector.SetFromTo(1, 9);
    vector.SetBit(123456);
    testing::internal::CaptureStderr();
    vector.DumpList();
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "ListCount=10\n"
              "       1       2       3       4       5       6       7       8\n"
              "       9  123456");
}

TEST(BlkBitVectDump, ListReportsACorruptedCount) {
    OpenBitVect vector;
    vector.SetBit(4);
    vector.CorruptCount(2);
    AssertRecorder recorder;
    testing::internal::CaptureStderr();
    vector.DumpList();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "ListCount=2\n       4");
    ASSERT_EQ(recorder.Reports().size(), 1u);
    EXPECT_EQ(recorder.Reports()[0].expression, "cnt == BitCount()");
    EXPECT_EQ(recorder.Reports()[0].path, "omni/impl/omi_BlkBitVect");
}

TEST(BlkBitVectDump, ArrayPrintsWordBytesWithSignWidening) {
    omi_BlkBitVect vector;
    vector.SetBit(7);      // word 0 = 0x00000080
    vector.SetBit(32 + 8); // word 1 = 0x00000100
    testing::internal::CaptureStdout();
    vector.DumpArray();
    std::string expected = "Block indices= 0 - 255\n";
    for (unsigned w = 0; w < 256; ++w) {
        expected += w == 0 ? "ffffff80000000" : w == 1 ? "00010000" : "00000000";
        expected += (w + 1) % 8 == 0 ? "\n" : "|";
    }
    expected += "\n";
    EXPECT_EQ(testing::internal::GetCapturedStdout(), expected);
}

} // namespace
