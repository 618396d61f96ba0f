// omi_Octree against nanoflann's k-d tree and Boost.Geometry's R-tree (packed by its range
// constructor, at most 16 values a node), on 1M random points and 1M random boxes in the unit
// cube (fixed seeds): build, the 8 nearest, a radius search, a box query and the first box
// along 10,000 random segments. Every query benchmark runs 10,000 queries per pass.
//
// Peers answer what they can: nanoflann indexes points only and has no box query. The R-tree
// has no first-hit query: it collects every box that `intersects(segment)` and the nearest
// entry point is picked from those; its radius search is a box query with a distance filter,
// the usual way. Bytes per item: the octree's own count of its pool, nanoflann's `usedMemory`
// plus the point cloud it reads its coordinates from (it copies none), and the R-tree's heap as
// counted by its allocator.
#include "bench_Size.h"
#include "omi_Octree.h"

#include <benchmark/benchmark.h>
#include <boost/geometry.hpp>
#include <boost/geometry/index/rtree.hpp>
#include <boost/iterator/function_output_iterator.hpp>
#include <nanoflann.hpp>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <random>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

namespace bg = boost::geometry;
namespace bgi = boost::geometry::index;

using vlt::bench::Size;

constexpr std::size_t kItems = 1'000'000;
constexpr std::size_t kQueries = 10'000;
constexpr std::size_t kNearest = 8;
constexpr double kRadius = 0.02;    // about 34 points
constexpr double kQueryEdge = 0.03; // about 27 points
constexpr double kMaxHalfEdge = 0.005;

std::vector<omi_OctreePoint> RandomPoints(std::size_t count, unsigned seed) {
    std::mt19937_64 random(seed);
    std::uniform_real_distribution<double> unit(0, 1);
    std::vector<omi_OctreePoint> points(count);
    for (omi_OctreePoint& p : points) {
        p = {{unit(random), unit(random), unit(random)}};
    }
    return points;
}

const std::vector<omi_OctreePointItem>& PointItems() {
    static const std::vector<omi_OctreePointItem> items = [] {
        std::vector<omi_OctreePointItem> made;
        for (const omi_OctreePoint& p : RandomPoints(Size(kItems), 1)) {
            made.push_back({p, static_cast<int32_t>(made.size())});
        }
        return made;
    }();
    return items;
}

const std::vector<omi_OctreeBoxItem>& BoxItems() {
    static const std::vector<omi_OctreeBoxItem> items = [] {
        std::mt19937_64 random(2);
        std::uniform_real_distribution<double> half(0, kMaxHalfEdge);
        std::vector<omi_OctreeBoxItem> made;
        for (const omi_OctreePoint& c : RandomPoints(Size(kItems), 3)) {
            omi_OctreeBox box;
            for (int axis = 0; axis < 3; ++axis) {
                const double h = half(random);
                box.min.coord[axis] = c.coord[axis] - h;
                box.max.coord[axis] = c.coord[axis] + h;
            }
            made.push_back({box, static_cast<int32_t>(made.size())});
        }
        return made;
    }();
    return items;
}

const std::vector<omi_OctreePoint>& QueryPoints() {
    static const std::vector<omi_OctreePoint> points = RandomPoints(Size(kQueries), 4);
    return points;
}

const std::vector<omi_OctreeBox>& QueryBoxes() {
    static const std::vector<omi_OctreeBox> boxes = [] {
        std::vector<omi_OctreeBox> made;
        for (const omi_OctreePoint& p : QueryPoints()) {
            made.push_back(
                {p, {{p.coord[0] + kQueryEdge, p.coord[1] + kQueryEdge, p.coord[2] + kQueryEdge}}});
        }
        return made;
    }();
    return boxes;
}

const std::vector<std::pair<omi_OctreePoint, omi_OctreePoint>>& Segments() {
    static const auto segments = [] {
        const std::vector<omi_OctreePoint> ends = RandomPoints(2 * Size(kQueries), 5);
        std::vector<std::pair<omi_OctreePoint, omi_OctreePoint>> made;
        for (std::size_t i = 0; i + 1 < ends.size(); i += 2) {
            made.emplace_back(ends[i], ends[i + 1]);
        }
        return made;
    }();
    return segments;
}

// Heap bytes the R-tree holds, counted by its allocator.
std::size_t rtreeBytes = 0;

template <class T>
struct CountingAllocator {
    using value_type = T;
    CountingAllocator() = default;
    template <class U>
    CountingAllocator(const CountingAllocator<U>&) {}
    T* allocate(std::size_t n) {
        rtreeBytes += n * sizeof(T);
        return std::allocator<T>().allocate(n);
    }
    void deallocate(T* p, std::size_t n) {
        rtreeBytes -= n * sizeof(T);
        std::allocator<T>().deallocate(p, n);
    }
    template <class U>
    bool operator==(const CountingAllocator<U>&) const {
        return true;
    }
    template <class U>
    bool operator!=(const CountingAllocator<U>&) const {
        return false;
    }
};

using BgPoint = bg::model::point<double, 3, bg::cs::cartesian>;
using BgBox = bg::model::box<BgPoint>;
using BgSegment = bg::model::segment<BgPoint>;
using BgPointValue = std::pair<BgPoint, int32_t>;
using BgBoxValue = std::pair<BgBox, int32_t>;
template <class Value>
using BgTree = bgi::rtree<Value, bgi::rstar<16>, bgi::indexable<Value>, bgi::equal_to<Value>,
                          CountingAllocator<Value>>;

BgPoint ToBg(const omi_OctreePoint& p) {
    return {p.coord[0], p.coord[1], p.coord[2]};
}
BgBox ToBg(const omi_OctreeBox& b) {
    return {ToBg(b.min), ToBg(b.max)};
}
BgPointValue ToBg(const omi_OctreePointItem& item) {
    return {ToBg(item.point), item.id};
}
BgBoxValue ToBg(const omi_OctreeBoxItem& item) {
    return {ToBg(item.box), item.id};
}

// nanoflann reads the coordinates from the client's cloud through this adaptor.
struct Cloud {
    const std::vector<omi_OctreePointItem>* items;
    std::size_t kdtree_get_point_count() const { return items->size(); }
    double kdtree_get_pt(std::size_t i, std::size_t axis) const {
        return (*items)[i].point.coord[axis];
    }
    template <class Box>
    bool kdtree_get_bbox(Box&) const {
        return false;
    }
};
using KdTree = nanoflann::KDTreeSingleIndexAdaptor<nanoflann::L2_Simple_Adaptor<double, Cloud>,
                                                   Cloud, 3, uint32_t>;

// Each structure behind one interface, so that one template times them all. Query members
// return a checksum so that nothing is optimised away.
template <class ItemType>
struct Octree {
    using Item = ItemType;
    using Tree = omi_Octree<Item>;
    static std::unique_ptr<Tree> Build(const std::vector<Item>& items) {
        auto tree = std::make_unique<Tree>(omi_OctreeBox{{{0, 0, 0}}, {{1, 1, 1}}});
        tree->Build(items);
        return tree;
    }
    static double Bytes(const Tree& tree) { return static_cast<double>(tree.MemoryBytes()); }
    static int64_t Nearest(const Tree& tree, const omi_OctreePoint& p) {
        thread_local std::vector<omi_OctreeNeighbour> found;
        tree.FindNearest(p, kNearest, found);
        return found.front().id;
    }
    static int64_t Radius(const Tree& tree, const omi_OctreePoint& p) {
        int64_t sum = 0;
        tree.VisitWithinRadius(p, kRadius, [&sum](const Item& item) { sum += item.id; });
        return sum;
    }
    static int64_t InBox(const Tree& tree, const omi_OctreeBox& box) {
        int64_t sum = 0;
        tree.VisitInBox(box, [&sum](const Item& item) { sum += item.id; });
        return sum;
    }
    static int64_t FirstHit(const Tree& tree, const omi_OctreePoint& a, const omi_OctreePoint& b) {
        return tree.FirstHit(omi_OctreeSegment(a, b)).id;
    }
};

struct Nanoflann {
    using Item = omi_OctreePointItem;
    struct Tree {
        explicit Tree(const std::vector<Item>& items)
            : cloud{&items}, index(3, cloud, nanoflann::KDTreeSingleIndexAdaptorParams(10)) {}
        Cloud cloud;
        KdTree index;
    };
    static std::unique_ptr<Tree> Build(const std::vector<Item>& items) {
        return std::make_unique<Tree>(items);
    }
    static double Bytes(const Tree& tree) {
        // usedMemory reads only, but is not declared const.
        KdTree& index = const_cast<KdTree&>(tree.index);
        return static_cast<double>(index.usedMemory(index) +
                                   tree.cloud.items->size() * sizeof(Item));
    }
    static int64_t Nearest(const Tree& tree, const omi_OctreePoint& p) {
        uint32_t ids[kNearest];
        double distances[kNearest];
        tree.index.knnSearch(p.coord, kNearest, ids, distances);
        return ids[0];
    }
    static int64_t Radius(const Tree& tree, const omi_OctreePoint& p) {
        thread_local std::vector<std::pair<uint32_t, double>> found;
        found.clear();
        tree.index.radiusSearch(p.coord, kRadius * kRadius, found,
                                nanoflann::SearchParams(32, 0, false));
        int64_t sum = 0;
        for (const auto& [id, distance] : found) {
            sum += id;
        }
        return sum;
    }
};

template <class ItemType>
struct RTree {
    using Item = ItemType;
    using Value = decltype(ToBg(std::declval<Item>()));
    using Tree = BgTree<Value>;
    static std::unique_ptr<Tree> Build(const std::vector<Item>& items) {
        std::vector<Value> values;
        values.reserve(items.size());
        for (const Item& item : items) {
            values.push_back(ToBg(item));
        }
        return std::make_unique<Tree>(values.begin(), values.end());
    }
    static double Bytes(const Tree&) { return static_cast<double>(rtreeBytes); }
    static int64_t Nearest(const Tree& tree, const omi_OctreePoint& p) {
        int64_t sum = 0;
        for (auto it = tree.qbegin(bgi::nearest(ToBg(p), kNearest)); it != tree.qend(); ++it) {
            sum += it->second;
        }
        return sum;
    }
    static int64_t Radius(const Tree& tree, const omi_OctreePoint& p) {
        const BgPoint centre = ToBg(p);
        const BgBox around({p.coord[0] - kRadius, p.coord[1] - kRadius, p.coord[2] - kRadius},
                           {p.coord[0] + kRadius, p.coord[1] + kRadius, p.coord[2] + kRadius});
        int64_t sum = 0;
        tree.query(
            bgi::intersects(around) && bgi::satisfies([&](const Value& v) {
                return bg::comparable_distance(centre, v.first) <= kRadius * kRadius;
            }),
            boost::make_function_output_iterator([&sum](const Value& v) { sum += v.second; }));
        return sum;
    }
    static int64_t InBox(const Tree& tree, const omi_OctreeBox& box) {
        int64_t sum = 0;
        tree.query(bgi::intersects(ToBg(box)), boost::make_function_output_iterator(
                                                   [&sum](const Value& v) { sum += v.second; }));
        return sum;
    }
    static int64_t FirstHit(const Tree& tree, const omi_OctreePoint& a, const omi_OctreePoint& b) {
        thread_local std::vector<Value> crossed;
        crossed.clear();
        tree.query(bgi::intersects(BgSegment(ToBg(a), ToBg(b))), std::back_inserter(crossed));
        const vlt::detail::omi_PreparedLine line(omi_OctreeSegment(a, b));
        double best = std::numeric_limits<double>::infinity();
        int64_t id = -1;
        for (const Value& v : crossed) {
            const omi_OctreeBox box{
                {{bg::get<bg::min_corner, 0>(v.first), bg::get<bg::min_corner, 1>(v.first),
                  bg::get<bg::min_corner, 2>(v.first)}},
                {{bg::get<bg::max_corner, 0>(v.first), bg::get<bg::max_corner, 1>(v.first),
                  bg::get<bg::max_corner, 2>(v.first)}}};
            double enter;
            double exit;
            if (line.Crosses(box, 1.0, enter, exit) && enter < best) {
                best = enter;
                id = v.second;
            }
        }
        return id;
    }
};

template <class Peer>
const std::vector<typename Peer::Item>& Items() {
    if constexpr (std::is_same_v<typename Peer::Item, omi_OctreePointItem>) {
        return PointItems();
    } else {
        return BoxItems();
    }
}

// Also reports the bytes per item of the built structure.
template <class Peer>
void BM_Build(benchmark::State& state) {
    const auto& items = Items<Peer>();
    vlt::bench::TimeBuilds(state, items.size(), [&items] { return Peer::Build(items); });
    rtreeBytes = 0;
    const auto tree = Peer::Build(items);
    state.counters["bytes_per_item"] = Peer::Bytes(*tree) / static_cast<double>(items.size());
}

template <class Peer, class Query>
void TimeQueries(benchmark::State& state, Query query) {
    const auto tree = Peer::Build(Items<Peer>());
    for (auto _ : state) {
        benchmark::DoNotOptimize(query(*tree));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(QueryPoints().size()));
}

template <class Peer>
void BM_Nearest(benchmark::State& state) {
    TimeQueries<Peer>(state, [](const auto& tree) {
        int64_t sum = 0;
        for (const omi_OctreePoint& p : QueryPoints()) {
            sum += Peer::Nearest(tree, p);
        }
        return sum;
    });
}

template <class Peer>
void BM_Radius(benchmark::State& state) {
    TimeQueries<Peer>(state, [](const auto& tree) {
        int64_t sum = 0;
        for (const omi_OctreePoint& p : QueryPoints()) {
            sum += Peer::Radius(tree, p);
        }
        return sum;
    });
}

template <class Peer>
void BM_InBox(benchmark::State& state) {
    TimeQueries<Peer>(state, [](const auto& tree) {
        int64_t sum = 0;
        for (const omi_OctreeBox& box : QueryBoxes()) {
            sum += Peer::InBox(tree, box);
        }
        return sum;
    });
}

template <class Peer>
void BM_FirstHit(benchmark::State& state) {
    TimeQueries<Peer>(state, [](const auto& tree) {
        int64_t sum = 0;
        for (const auto& [a, b] : Segments()) {
            sum += Peer::FirstHit(tree, a, b);
        }
        return sum;
    });
}

using OctreePoints = Octree<omi_OctreePointItem>;
using OctreeBoxes = Octree<omi_OctreeBoxItem>;
using RTreePoints = RTree<omi_OctreePointItem>;
using RTreeBoxes = RTree<omi_OctreeBoxItem>;

} // namespace

#define VLT_OCTREE_BENCH(name, peer) BENCHMARK(name<peer>)->Unit(benchmark::kMillisecond)

VLT_OCTREE_BENCH(BM_Build, OctreePoints);
VLT_OCTREE_BENCH(BM_Build, Nanoflann);
VLT_OCTREE_BENCH(BM_Build, RTreePoints);
VLT_OCTREE_BENCH(BM_Build, OctreeBoxes);
VLT_OCTREE_BENCH(BM_Build, RTreeBoxes);
VLT_OCTREE_BENCH(BM_Nearest, OctreePoints);
VLT_OCTREE_BENCH(BM_Nearest, Nanoflann);
VLT_OCTREE_BENCH(BM_Nearest, RTreePoints);
VLT_OCTREE_BENCH(BM_Nearest, OctreeBoxes);
VLT_OCTREE_BENCH(BM_Nearest, RTreeBoxes);
VLT_OCTREE_BENCH(BM_Radius, OctreePoints);
VLT_OCTREE_BENCH(BM_Radius, Nanoflann);
VLT_OCTREE_BENCH(BM_Radius, RTreePoints);
VLT_OCTREE_BENCH(BM_InBox, OctreePoints);
VLT_OCTREE_BENCH(BM_InBox, RTreePoints);
VLT_OCTREE_BENCH(BM_InBox, OctreeBoxes);
VLT_OCTREE_BENCH(BM_InBox, RTreeBoxes);
VLT_OCTREE_BENCH(BM_FirstHit, OctreeBoxes);
VLT_OCTREE_BENCH(BM_FirstHit, RTreeBoxes);
