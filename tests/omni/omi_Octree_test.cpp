#include "AssertRecorder.h"
#include "omi_Octree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace {

using vlt::test::AssertRecorder;

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
const omi_OctreeBox kUnit{{{0, 0, 0}}, {{1, 1, 1}}};

omi_OctreeBox BoundsOf(const omi_OctreePointItem& item) {
    return {item.point, item.point};
}
omi_OctreeBox BoundsOf(const omi_OctreeBoxItem& item) {
    return item.box;
}

// Random coordinates mixed with ones on the octant planes of the first levels, and a few
// beyond the root box.
double Coordinate(std::mt19937& random) {
    switch (std::uniform_int_distribution<int>(0, 9)(random)) {
    case 0:
        return std::uniform_int_distribution<int>(0, 8)(random) / 8.0;
    case 1:
        return std::uniform_real_distribution<double>(-0.5, 1.5)(random);
    default:
        return std::uniform_real_distribution<double>(0, 1)(random);
    }
}

omi_OctreePoint RandomPoint(std::mt19937& random) {
    return {{Coordinate(random), Coordinate(random), Coordinate(random)}};
}

// Small boxes, some flat on an axis and some spanning half the root box.
omi_OctreeBox RandomBox(std::mt19937& random) {
    omi_OctreeBox box{RandomPoint(random), {}};
    const int kind = std::uniform_int_distribution<int>(0, 9)(random);
    for (int axis = 0; axis < 3; ++axis) {
        const double extent =
            kind == 0 ? 0.5 : std::uniform_real_distribution<double>(0, 0.05)(random);
        box.max.coord[axis] = box.min.coord[axis] + (kind == 1 && axis == 2 ? 0.0 : extent);
    }
    return box;
}

// Random items, then 40 coincident ones: more than a bucket at the depth limit.
template <class Item>
std::vector<Item> RandomItems(std::size_t count, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<Item> items;
    for (std::size_t i = 0; i < count + 40; ++i) {
        Item item{};
        if constexpr (std::is_same_v<Item, omi_OctreePointItem>) {
            item.point = i < count ? RandomPoint(random) : omi_OctreePoint{{0.25, 0.5, 0.75}};
        } else {
            item.box =
                i < count ? RandomBox(random) : omi_OctreeBox{{{0.5, 0.5, 0.5}}, {{0.5, 0.6, 0.5}}};
        }
        item.id = static_cast<int32_t>(i);
        items.push_back(item);
    }
    return items;
}

// Where the line first meets the closed box, by clipping against each pair of planes with
// divisions: written apart from the octree's own slab test, so that each checks the other.
bool LineMeets(const omi_OctreeLine& line, const omi_OctreeBox& box, double& t) {
    double low = 0;
    double high = line.end;
    for (int axis = 0; axis < 3; ++axis) {
        const double o = line.origin.coord[axis];
        const double d = line.direction.coord[axis];
        if (d == 0) {
            if (o < box.min.coord[axis] || o > box.max.coord[axis]) {
                return false;
            }
            continue;
        }
        const double a = (box.min.coord[axis] - o) / d;
        const double b = (box.max.coord[axis] - o) / d;
        low = std::max(low, std::min(a, b));
        high = std::min(high, std::max(a, b));
    }
    t = low;
    return low <= high;
}

double DistanceSquared(const omi_OctreeBox& box, const omi_OctreePoint& p) {
    double sum = 0;
    for (int axis = 0; axis < 3; ++axis) {
        const double gap = std::max(
            {box.min.coord[axis] - p.coord[axis], 0.0, p.coord[axis] - box.max.coord[axis]});
        sum += gap * gap;
    }
    return sum;
}

bool Overlap(const omi_OctreeBox& a, const omi_OctreeBox& b) {
    for (int axis = 0; axis < 3; ++axis) {
        if (a.max.coord[axis] < b.min.coord[axis] || b.max.coord[axis] < a.min.coord[axis]) {
            return false;
        }
    }
    return true;
}

template <class Item>
struct Config {
    using ItemType = Item;
    bool bulk;
};

// The octree under test, filled one by one or in bulk, beside the same items in a vector that
// a brute-force scan answers from. Small buckets and a shallow depth limit, so that a few
// hundred items split, spill across octants and stack up at the limit.
template <class Item>
class OctreeTest : public ::testing::Test {
protected:
    void Fill(bool bulk, unsigned seed = 7) {
        items = RandomItems<Item>(600, seed);
        if (bulk) {
            tree.Build(items);
        } else {
            for (const Item& item : items) {
                ASSERT_TRUE(tree.Insert(item));
            }
        }
    }

    template <class Match>
    std::vector<int32_t> Scan(Match match) const {
        std::vector<int32_t> ids;
        for (const Item& item : items) {
            if (match(item)) {
                ids.push_back(item.id);
            }
        }
        return ids;
    }

    template <class Query>
    static std::vector<int32_t> Collect(Query query) {
        std::vector<int32_t> ids;
        query([&ids](const Item& item) { ids.push_back(item.id); });
        std::sort(ids.begin(), ids.end());
        return ids;
    }

    std::vector<omi_OctreeNeighbour> NearestByScan(const omi_OctreePoint& p, std::size_t k) const {
        std::vector<omi_OctreeNeighbour> all;
        for (const Item& item : items) {
            all.push_back({item.id, DistanceSquared(BoundsOf(item), p)});
        }
        std::sort(all.begin(), all.end(), [](const auto& a, const auto& b) {
            return a.distance < b.distance || (a.distance == b.distance && a.id < b.id);
        });
        all.resize(std::min(k, all.size()));
        for (auto& n : all) {
            n.distance = std::sqrt(n.distance);
        }
        return all;
    }

    omi_OctreeHit FirstHitByScan(const omi_OctreeLine& line) const {
        omi_OctreeHit best{false, 0, 0};
        for (const Item& item : items) {
            double t;
            if (LineMeets(line, BoundsOf(item), t) &&
                (!best.found || t < best.t || (t == best.t && item.id < best.id))) {
                best = {true, item.id, t};
            }
        }
        return best;
    }

    // Queries every kind of query answers, against the scan.
    void ExpectQueriesMatchScan(unsigned seed) {
        std::mt19937 random(seed);
        for (int round = 0; round < 60; ++round) {
            const omi_OctreeBox box = RandomBox(random);
            EXPECT_EQ(Collect([&](auto visit) { tree.VisitInBox(box, visit); }),
                      Scan([&](const Item& item) { return Overlap(BoundsOf(item), box); }));

            // Half the probes sit on an item's corner, so that containment has answers.
            const omi_OctreePoint p = round % 2 == 0
                                          ? RandomPoint(random)
                                          : BoundsOf(items[round * 7 % items.size()]).min;
            EXPECT_EQ(Collect([&](auto visit) { tree.VisitContaining(p, visit); }),
                      Scan([&](const Item& item) {
                          return Overlap(BoundsOf(item), {p, p});
                      }));

            const double radius = std::uniform_real_distribution<double>(0, 0.2)(random);
            EXPECT_EQ(Collect([&](auto visit) { tree.VisitWithinRadius(p, radius, visit); }),
                      Scan([&](const Item& item) {
                          return DistanceSquared(BoundsOf(item), p) <= radius * radius;
                      }));

            for (std::size_t k : {std::size_t{1}, std::size_t{8}, std::size_t{45}}) {
                const auto found = tree.FindNearest(p, k);
                const auto expected = NearestByScan(p, k);
                ASSERT_EQ(found.size(), expected.size());
                for (std::size_t i = 0; i < found.size(); ++i) {
                    EXPECT_EQ(found[i].id, expected[i].id) << "k " << k << " rank " << i;
                    EXPECT_EQ(found[i].distance, expected[i].distance);
                }
            }
            ExpectFirstHit(omi_OctreeSegment(RandomPoint(random), RandomPoint(random)));
            // Along an axis through an octant plane, and from inside an item.
            const omi_OctreePoint plane{{0.5, 0.25, Coordinate(random)}};
            ExpectFirstHit(omi_OctreeRay(plane, {{0, 0, round % 2 == 0 ? 1.0 : -1.0}}));
            ExpectFirstHit(omi_OctreeRay(p, {{0.3, -0.2, 0.1}}));
        }
    }

    void ExpectFirstHit(const omi_OctreeLine& line) {
        const omi_OctreeHit expected = FirstHitByScan(line);
        const omi_OctreeHit hit = tree.FirstHit(line);
        ASSERT_EQ(hit.found, expected.found);
        if (hit.found) {
            EXPECT_EQ(hit.id, expected.id);
            EXPECT_NEAR(hit.t, expected.t, 1e-12);
        }
    }

    omi_Octree<Item> tree{kUnit, 4, 6};
    std::vector<Item> items;
};

using ItemKinds = ::testing::Types<omi_OctreePointItem, omi_OctreeBoxItem>;
TYPED_TEST_SUITE(OctreeTest, ItemKinds);

TYPED_TEST(OctreeTest, InsertedItemsAnswerEveryQueryAsAScanDoes) {
    this->Fill(false);
    EXPECT_EQ(this->tree.Count(), this->items.size());
    this->ExpectQueriesMatchScan(11);
}

TYPED_TEST(OctreeTest, BuiltItemsAnswerEveryQueryAsAScanDoes) {
    this->Fill(true);
    EXPECT_EQ(this->tree.Count(), this->items.size());
    this->ExpectQueriesMatchScan(12);
}

// Removal must find an item that the bulk build placed as well as one inserted, and Insert
// after Build must extend the built leaves.
TYPED_TEST(OctreeTest, RemoveMoveAndInsertKeepQueriesRight) {
    this->Fill(true);
    std::mt19937 random(5);
    std::vector<TypeParam> kept;
    for (std::size_t i = 0; i < this->items.size(); ++i) {
        TypeParam item = this->items[i];
        if (i % 3 == 0) {
            ASSERT_TRUE(this->tree.Remove(item)) << i;
            EXPECT_FALSE(this->tree.Remove(item)) << i;
        } else if (i % 3 == 1) {
            TypeParam moved = this->items[(i * 31) % this->items.size()];
            moved.id = item.id;
            ASSERT_TRUE(this->tree.Move(item, moved)) << i;
            kept.push_back(moved);
        } else {
            kept.push_back(item);
        }
    }
    this->items = kept;
    EXPECT_EQ(this->tree.Count(), kept.size());
    this->ExpectQueriesMatchScan(13);
}

TYPED_TEST(OctreeTest, CopyIsDeep) {
    this->Fill(false);
    omi_Octree<TypeParam> copy(this->tree);
    for (const TypeParam& item : this->items) {
        ASSERT_TRUE(copy.Remove(item));
    }
    EXPECT_EQ(copy.Count(), 0u);
    EXPECT_TRUE(copy.FindNearest({{0.5, 0.5, 0.5}}, 3).empty());
    this->ExpectQueriesMatchScan(14);
    this->tree = copy;
    EXPECT_FALSE(this->tree.FirstHit(omi_OctreeSegment({{0, 0, 0}}, {{1, 1, 1}})).found);
}

// Leaves come in order of entry, every item the line crosses lies in a visited leaf, and the
// visitor's answer stops the walk.
TYPED_TEST(OctreeTest, LineTraversalVisitsCrossedLeavesInOrder) {
    this->Fill(false);
    // From one item to another, so that the line crosses at least their two leaves.
    const omi_OctreeLine line =
        omi_OctreeSegment(BoundsOf(this->items[3]).min, BoundsOf(this->items[400]).max);
    double last = 0;
    int leaves = 0;
    std::vector<int32_t> seen;
    this->tree.TraverseLine(line, [&](const omi_OctreeLeaf& leaf, std::span<const TypeParam> items,
                                      double enter, double exit) {
        EXPECT_LE(last, enter);
        EXPECT_LE(enter, exit);
        EXPECT_EQ(items.size(), leaf.count);
        last = enter;
        ++leaves;
        for (const TypeParam& item : items) {
            seen.push_back(item.id);
        }
        return false;
    });
    ASSERT_GE(leaves, 2);
    std::sort(seen.begin(), seen.end());
    double t;
    for (const TypeParam& item : this->items) {
        if (LineMeets(line, BoundsOf(item), t)) {
            EXPECT_TRUE(std::binary_search(seen.begin(), seen.end(), item.id)) << item.id;
        }
    }
    int visits = 0;
    this->tree.TraverseLine(line, [&](auto&&...) { return ++visits == 2; });
    EXPECT_EQ(visits, 2);
}

TEST(OctreeNearest, KAboveTheCountFindsEveryItemAndZeroFindsNone) {
    omi_PointOctree tree(kUnit);
    tree.Build(RandomItems<omi_OctreePointItem>(30, 3));
    EXPECT_EQ(tree.FindNearest({{0.5, 0.5, 0.5}}, 1000).size(), 70u);
    EXPECT_TRUE(tree.FindNearest({{0.5, 0.5, 0.5}}, 0).empty());
}

TEST(OctreeLine, ZeroLengthSegmentIsAPointQueryHitAtZero) {
    omi_BoxOctree tree(kUnit);
    ASSERT_TRUE(tree.Insert({{{{0.2, 0.2, 0.2}}, {{0.4, 0.4, 0.4}}}, 9}));
    const omi_OctreeHit hit =
        tree.FirstHit(omi_OctreeSegment({{0.3, 0.3, 0.3}}, {{0.3, 0.3, 0.3}}));
    EXPECT_TRUE(hit.found);
    EXPECT_EQ(hit.id, 9);
    EXPECT_EQ(hit.t, 0.0);
    EXPECT_FALSE(tree.FirstHit(omi_OctreeSegment({{0.5, 0.3, 0.3}}, {{0.5, 0.3, 0.3}})).found);
}

// Each bad input: the report it raises (none for a defined answer) and the safe result.
TEST(OctreeBadInput, EachIsReportedOrAnsweredAndLeavesTheTreeSound) {
    AssertRecorder recorder;
    omi_BoxOctree tree(kUnit);
    const omi_OctreeBox good{{{0.1, 0.1, 0.1}}, {{0.2, 0.2, 0.2}}};
    ASSERT_TRUE(tree.Insert({good, 1}));
    EXPECT_FALSE(tree.Insert({{{{kNaN, 0, 0}}, {{1, 1, 1}}}, 2}));
    EXPECT_FALSE(tree.Insert({{{{0, 0, 0}}, {{kInf, 1, 1}}}, 3}));
    EXPECT_FALSE(tree.Insert({{{{0, 0.5, 0}}, {{1, 0.4, 1}}}, 4})); // min above max
    EXPECT_FALSE(tree.Move({good, 1}, {{{{0, 0, 0}}, {{kNaN, 1, 1}}}, 1}));
    EXPECT_EQ(recorder.Expressions(), std::vector<std::string>(4, "omi_IsValid(item)"));
    EXPECT_EQ(recorder.Reports()[0].path, "include/omi_Octree");
    recorder.Clear();

    EXPECT_FALSE(tree.Remove({good, 5}));                      // not there: an answer, not a report
    EXPECT_TRUE(tree.Insert({{{{5, 5, 5}}, {{6, 6, 6}}}, 6})); // outside the root box: kept
    EXPECT_TRUE(recorder.Reports().empty());

    int visits = 0;
    auto count = [&visits](const omi_OctreeBoxItem&) { ++visits; };
    tree.VisitInBox({{{0, 0, 0}}, {{kNaN, 1, 1}}}, count);
    tree.VisitInBox({{{1, 1, 1}}, {{0, 0, 0}}}, count);
    tree.VisitWithinRadius({{0.1, 0.1, 0.1}}, -1, count);
    tree.VisitWithinRadius({{0.1, 0.1, 0.1}}, kNaN, count);
    EXPECT_TRUE(tree.FindNearest({{kInf, 0, 0}}, 3).empty());
    EXPECT_FALSE(tree.FirstHit({{{0, 0, 0}}, {{kNaN, 1, 1}}, 1}).found);
    EXPECT_FALSE(tree.FirstHit({{{0, 0, 0}}, {{1, 1, 1}}, -1}).found);
    EXPECT_EQ(visits, 0);
    EXPECT_EQ(recorder.Expressions(),
              (std::vector<std::string>{
                  "omi_IsValid(box)", "omi_IsValid(box)", "omi_IsFinite(centre) && radius >= 0",
                  "omi_IsFinite(centre) && radius >= 0", "omi_IsFinite(point)", "omi_IsValid(line)",
                  "omi_IsValid(line)"}));
    recorder.Clear();

    tree.VisitContaining({{5.5, 5.5, 5.5}}, count);
    EXPECT_EQ(visits, 1);
    EXPECT_EQ(tree.Count(), 2u);

    tree.Build(
        std::vector<omi_OctreeBoxItem>{{good, 7}, {{{{kNaN, 0, 0}}, {{1, 1, 1}}}, 8}, {good, 9}});
    EXPECT_EQ(recorder.Expressions(), std::vector<std::string>{"omi_IsValid(items[i])"});
    EXPECT_EQ(tree.Count(), 2u);
}

TEST(OctreeBadInput, BrokenShapeFallsBackToTheUnitCubeAndSafeLimits) {
    AssertRecorder recorder;
    omi_PointOctree tree({{{0, 0, 0}}, {{kNaN, 1, 1}}}, 0, 40);
    EXPECT_EQ(recorder.Expressions(),
              (std::vector<std::string>{"omi_IsValid(rootBox)", "bucketSize > 0",
                                        "depthLimit <= MaxDepth"}));
    EXPECT_EQ(tree.RootBox().max.coord[0], 1.0);
    EXPECT_EQ(tree.BucketSize(), 1u);
    EXPECT_EQ(tree.DepthLimit(), omi_PointOctree::MaxDepth);
    // A bucket of one at the deepest limit: coincident points stack up in one leaf.
    for (int32_t id = 0; id < 50; ++id) {
        ASSERT_TRUE(tree.Insert({{{0.3, 0.3, 0.3}}, id}));
    }
    EXPECT_EQ(tree.FindNearest({{0.3, 0.3, 0.3}}, 50).back().id, 49);
}

} // namespace
