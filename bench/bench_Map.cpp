// cow_Map against std::map and std::unordered_map, with int and cow_String keys: insert, lookup,
// iteration, a snapshot followed by one write, and the heap bytes each entry costs.
#include "bench_Size.h"
#include "cow_Map.h"

#include <benchmark/benchmark.h>

#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <new>
#include <random>
#include <string_view>
#include <unordered_map>
#include <vector>

// Counts the blocks the program allocates while `counting` is on, so that the footprint
// benchmark can report blocks per entry next to the bytes glibc has handed out.
namespace {
bool counting = false;
long liveBlocks = 0;

void Release(void* p) {
    if (counting && p != nullptr) {
        --liveBlocks;
    }
    std::free(p);
}
} // namespace

void* operator new(std::size_t size) {
    void* p = std::malloc(size != 0 ? size : 1);
    if (p == nullptr) {
        throw std::bad_alloc();
    }
    if (counting) {
        ++liveBlocks;
    }
    return p;
}

void operator delete(void* p) noexcept {
    Release(p);
}

void operator delete(void* p, std::size_t) noexcept {
    Release(p);
}

namespace {

using vlt::bench::Size;

struct StringHash {
    std::size_t operator()(const cow_String& s) const {
        return std::hash<std::string_view>()(std::string_view(s.c_str(), s.Length()));
    }
};

using CowInt = cow_Map<int, int>;
using CowString = cow_Map<cow_String, int>;
using StdInt = std::map<int, int>;
using StdString = std::map<cow_String, int>;
using HashInt = std::unordered_map<int, int>;
using HashString = std::unordered_map<cow_String, int, StringHash>;

// The same random keys for every container; string keys are decimal texts of random numbers,
// like the numbered names of a model.
template <class K>
const std::vector<K>& Keys(std::size_t n) {
    static std::map<std::size_t, std::vector<K>> made;
    std::vector<K>& keys = made[n];
    if (keys.empty()) {
        std::mt19937 generator(12345);
        for (std::size_t i = 0; i < n; ++i) {
            const int number = static_cast<int>(generator());
            if constexpr (std::is_same_v<K, int>) {
                keys.push_back(number);
            } else {
                keys.push_back(cow_String(number));
            }
        }
    }
    return keys;
}

// The three operations, spelt for each container.
template <class Map>
struct Ops {
    using Key = typename Map::key_type;
    static void Insert(Map& map, const Key& key, int value) { map.insert_or_assign(key, value); }
    static int Lookup(const Map& map, const Key& key) { return map.find(key)->second; }
    static long Sum(const Map& map) {
        long sum = 0;
        for (const auto& entry : map) {
            sum += entry.second;
        }
        return sum;
    }
};

template <class K>
struct Ops<cow_Map<K, int>> {
    using Key = K;
    static void Insert(cow_Map<K, int>& map, const K& key, int value) { map.Insert(key, value); }
    static int Lookup(const cow_Map<K, int>& map, const K& key) { return map.ConstGet(key); }
    static long Sum(const cow_Map<K, int>& map) {
        long sum = 0;
        cow_ConstMapIterator<K, int> it(map);
        for (it.First(); !it.IsDone(); it.Next()) {
            sum += it.CurrentValue();
        }
        return sum;
    }
};

template <class Map>
Map Build(const std::vector<typename Ops<Map>::Key>& keys) {
    Map map;
    int value = 0;
    for (const auto& key : keys) {
        Ops<Map>::Insert(map, key, value++);
    }
    return map;
}

template <class Map>
void BM_Insert(benchmark::State& state) {
    const auto& keys = Keys<typename Ops<Map>::Key>(Size(state.range(0)));
    for (auto _ : state) {
        Map map = Build<Map>(keys);
        benchmark::DoNotOptimize(map);
        state.PauseTiming();
        map = Map();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(keys.size()));
}

// Every key once, in an order unrelated to insertion.
template <class Map>
void BM_Lookup(benchmark::State& state) {
    const auto& keys = Keys<typename Ops<Map>::Key>(Size(state.range(0)));
    const Map map = Build<Map>(keys);
    auto order = keys;
    std::shuffle(order.begin(), order.end(), std::mt19937(99));
    for (auto _ : state) {
        long sum = 0;
        for (const auto& key : order) {
            sum += Ops<Map>::Lookup(map, key);
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(order.size()));
}

template <class Map>
void BM_Iterate(benchmark::State& state) {
    const auto& keys = Keys<typename Ops<Map>::Key>(Size(state.range(0)));
    const Map map = Build<Map>(keys);
    for (auto _ : state) {
        benchmark::DoNotOptimize(Ops<Map>::Sum(map));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(keys.size()));
}

// Copy the map, change one entry of the copy, drop the copy: the time of one iteration is the
// time of one snapshot-then-write.
template <class Map>
void BM_SnapshotThenWrite(benchmark::State& state) {
    const auto& keys = Keys<typename Ops<Map>::Key>(Size(state.range(0)));
    const Map map = Build<Map>(keys);
    std::size_t next = 0;
    for (auto _ : state) {
        Map snapshot = map;
        Ops<Map>::Insert(snapshot, keys[next], -1);
        next = (next + 7919) % keys.size();
        benchmark::DoNotOptimize(snapshot);
    }
}

// Heap bytes (glibc's own count, block headers included) and blocks per entry; the keys exist
// beforehand, so string keys count their handles and not their texts.
template <class Map>
void BM_Footprint(benchmark::State& state) {
    const auto& keys = Keys<typename Ops<Map>::Key>(Size(state.range(0)));
    for (auto _ : state) {
        const std::size_t before = mallinfo2().uordblks;
        liveBlocks = 0;
        counting = true;
        Map map = Build<Map>(keys);
        counting = false;
        const double entries = static_cast<double>(keys.size());
        state.counters["bytes_per_entry"] =
            static_cast<double>(mallinfo2().uordblks - before) / entries;
        state.counters["blocks_per_entry"] = static_cast<double>(liveBlocks) / entries;
    }
}

constexpr int64_t million = 1000000;

#define VLT_MAP_BENCHMARKS(Map)                                                                    \
    BENCHMARK_TEMPLATE(BM_Insert, Map)->Arg(million)->Unit(benchmark::kMillisecond);               \
    BENCHMARK_TEMPLATE(BM_Lookup, Map)->Arg(million)->Unit(benchmark::kMillisecond);               \
    BENCHMARK_TEMPLATE(BM_Iterate, Map)->Arg(million)->Unit(benchmark::kMillisecond);              \
    BENCHMARK_TEMPLATE(BM_Footprint, Map)                                                          \
        ->Arg(million)                                                                             \
        ->Iterations(1)                                                                            \
        ->Unit(benchmark::kMillisecond)

VLT_MAP_BENCHMARKS(CowInt);
VLT_MAP_BENCHMARKS(StdInt);
VLT_MAP_BENCHMARKS(HashInt);
VLT_MAP_BENCHMARKS(CowString);
VLT_MAP_BENCHMARKS(StdString);
VLT_MAP_BENCHMARKS(HashString);

// A snapshot of the copy-on-write map is one counter increment, so it runs 10,000 times; the
// peers copy a million entries each time and run a few times only.
BENCHMARK_TEMPLATE(BM_SnapshotThenWrite, CowInt)->Arg(million)->Iterations(10000);
BENCHMARK_TEMPLATE(BM_SnapshotThenWrite, StdInt)->Arg(million)->Iterations(5);
BENCHMARK_TEMPLATE(BM_SnapshotThenWrite, HashInt)->Arg(million)->Iterations(5);
BENCHMARK_TEMPLATE(BM_SnapshotThenWrite, CowString)->Arg(million)->Iterations(10000);
BENCHMARK_TEMPLATE(BM_SnapshotThenWrite, StdString)->Arg(million)->Iterations(5);
BENCHMARK_TEMPLATE(BM_SnapshotThenWrite, HashString)->Arg(million)->Iterations(5);

} // namespace
