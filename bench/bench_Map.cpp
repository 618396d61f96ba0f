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
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <vector>

// Counts the blocks the program allocates while `counting` is on, so that the footprint
// benchmark can report blocks per entry next to the bytes glibc has handed out. Kept out of line:
// inlined into their callers, GCC would pair the allocator's malloc with operator delete and
// report a mismatch.
namespace {
bool counting = false;
long liveBlocks = 0;
} // namespace

[[gnu::noinline]] void* operator new(std::size_t size) {
    void* p = std::malloc(size != 0 ? size : 1);
    if (p == nullptr) {
        throw std::bad_alloc();
    }
    if (counting) {
        ++liveBlocks;
    }
    return p;
}

[[gnu::noinline]] void operator delete(void* p) noexcept {
    if (counting && p != nullptr) {
        --liveBlocks;
    }
    std::free(p);
}

[[gnu::noinline]] void operator delete(void* p, std::size_t) noexcept {
    operator delete(p);
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

// The same random keys for every container. String keys are random lower-case words of a given
// length: the map takes one branch bit from each byte, so a word of n letters can tell at most
// 2^(n+1) paths apart and longer chains form beyond that (the short-key rows show it).
template <class K>
const std::vector<K>& Keys(std::size_t n, std::size_t length) {
    static std::map<std::pair<std::size_t, std::size_t>, std::vector<K>> made;
    std::vector<K>& keys = made[{n, length}];
    std::mt19937 generator(12345);
    while (keys.size() < n) {
        if constexpr (std::is_same_v<K, int>) {
            keys.push_back(static_cast<int>(generator()));
        } else {
            std::string word(length, 'a');
            for (char& letter : word) {
                letter = static_cast<char>('a' + generator() % 26);
            }
            keys.push_back(cow_String(word.c_str()));
        }
    }
    return keys;
}

// The benchmark's keys: its first argument is the count, its second the length of string keys.
template <class Map>
const auto& KeysFor(const benchmark::State& state) {
    using Key = typename Ops<Map>::Key;
    const auto length = std::is_same_v<Key, int> ? 0 : static_cast<std::size_t>(state.range(1));
    return Keys<Key>(Size(static_cast<std::size_t>(state.range(0))), length);
}

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
    const auto& keys = KeysFor<Map>(state);
    vlt::bench::TimeBuilds(state, keys.size(), [&] { return Build<Map>(keys); });
}

// Every key once, in an order unrelated to insertion.
template <class Map>
void BM_Lookup(benchmark::State& state) {
    const auto& keys = KeysFor<Map>(state);
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
    const auto& keys = KeysFor<Map>(state);
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
    const auto& keys = KeysFor<Map>(state);
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
// beforehand, so string keys count their handles and not their texts. The counter pool keeps the
// cells of released counters for reuse, so the footprints are measured first, once each, and
// their maps are kept to the end: no measured map reuses another's cells.
template <class Map>
void BM_Footprint(benchmark::State& state) {
    static std::vector<Map> kept;
    kept.reserve(1);
    const auto& keys = KeysFor<Map>(state);
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
        kept.push_back(map);
    }
}

constexpr int64_t million = 1000000;

// Arguments: the number of keys, and the length of string keys (0 for integer keys).
#define VLT_MAP_FOOTPRINT(Map, length)                                                             \
    BENCHMARK_TEMPLATE(BM_Footprint, Map)->Args({million, length})->Iterations(1)->Repetitions(1)
#define VLT_MAP_BENCHMARKS(Map, count, length)                                                     \
    BENCHMARK_TEMPLATE(BM_Insert, Map)->Args({count, length})->Unit(benchmark::kMillisecond);      \
    BENCHMARK_TEMPLATE(BM_Lookup, Map)->Args({count, length})->Unit(benchmark::kMillisecond);      \
    BENCHMARK_TEMPLATE(BM_Iterate, Map)->Args({count, length})->Unit(benchmark::kMillisecond)
#define VLT_MAP_SNAPSHOT(Map, length, iterations)                                                  \
    BENCHMARK_TEMPLATE(BM_SnapshotThenWrite, Map)->Args({million, length})->Iterations(iterations)

VLT_MAP_FOOTPRINT(CowInt, 0);
VLT_MAP_FOOTPRINT(StdInt, 0);
VLT_MAP_FOOTPRINT(HashInt, 0);
VLT_MAP_FOOTPRINT(CowString, 24);
VLT_MAP_FOOTPRINT(StdString, 24);
VLT_MAP_FOOTPRINT(HashString, 24);

VLT_MAP_BENCHMARKS(CowInt, million, 0);
VLT_MAP_BENCHMARKS(StdInt, million, 0);
VLT_MAP_BENCHMARKS(HashInt, million, 0);
VLT_MAP_BENCHMARKS(CowString, million, 24);
VLT_MAP_BENCHMARKS(StdString, million, 24);
VLT_MAP_BENCHMARKS(HashString, million, 24);
// Keys of 8 letters have 9 branch bits: a hundred thousand of them form chains of ~200.
VLT_MAP_BENCHMARKS(CowString, 100000, 8);
VLT_MAP_BENCHMARKS(StdString, 100000, 8);

// A snapshot of the copy-on-write map is one counter increment, so it runs 10,000 times; the
// peers copy a million entries each time and run a few times only.
VLT_MAP_SNAPSHOT(CowInt, 0, 10000);
VLT_MAP_SNAPSHOT(StdInt, 0, 5);
VLT_MAP_SNAPSHOT(HashInt, 0, 5);
VLT_MAP_SNAPSHOT(CowString, 24, 10000);
VLT_MAP_SNAPSHOT(StdString, 24, 5);
VLT_MAP_SNAPSHOT(HashString, 24, 5);

} // namespace
