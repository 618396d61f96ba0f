// omi_Btree<int> against absl::btree_map<std::string, int>, std::map<std::string, int> and the
// library's copy-on-write cow_Btree<cow_String, int>: 1M random keys of 8 to 40 letters,
// inserted, found, walked in order, scanned by prefix, and the heap bytes each keeps per key.
#include "bench_Size.h"
#include "cow_Btree.h"
#include "omi_Btree.h"

#include <absl/container/btree_map.h>
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_set>
#include <vector>

namespace {

using vlt::bench::Size;
using OmiTree = omi_Btree<int>;
using AbslMap = absl::btree_map<std::string, int>;
using StdMap = std::map<std::string, int>;
using CowTree = cow_Btree<cow_String, int>;

// Distinct keys of 8 to 40 lower-case letters, in random order; the same on every run.
const std::vector<std::string>& Keys() {
    static const std::vector<std::string> keys = [] {
        const std::size_t n = Size(1000000);
        std::mt19937_64 random(20261125);
        std::unordered_set<std::string> seen;
        std::vector<std::string> made;
        made.reserve(n);
        while (made.size() < n) {
            std::string key(8 + random() % 33, ' ');
            for (char& c : key) {
                c = static_cast<char>('a' + random() % 26);
            }
            if (seen.insert(key).second) {
                made.push_back(std::move(key));
            }
        }
        return made;
    }();
    return keys;
}

// The keys again in another order, as each map is searched with them.
template <class Map>
const auto& Probes() {
    static const auto probes = [] {
        std::vector<std::string> texts = Keys();
        std::shuffle(texts.begin(), texts.end(), std::mt19937(777));
        if constexpr (std::is_same_v<Map, CowTree>) {
            return std::vector<cow_String>(texts.begin(), texts.end());
        } else {
            return texts;
        }
    }();
    return probes;
}

// 10,000 three-letter prefixes of random keys: about 57 keys each.
const std::vector<std::string>& Prefixes() {
    static const std::vector<std::string> prefixes = [] {
        std::mt19937 random(99);
        std::vector<std::string> made;
        const std::vector<std::string>& keys = Keys();
        for (std::size_t i = 0; i < Size(10000); ++i) {
            made.push_back(keys[random() % keys.size()].substr(0, 3));
        }
        return made;
    }();
    return prefixes;
}

// Every map takes the keys as a user holding std::string texts would give them.
template <class Map>
Map Build() {
    Map map;
    const std::vector<std::string>& keys = Keys();
    for (std::size_t i = 0; i < keys.size(); ++i) {
        if constexpr (std::is_same_v<Map, OmiTree>) {
            map.Insert(keys[i], static_cast<int>(i));
        } else if constexpr (std::is_same_v<Map, CowTree>) {
            map.Insert(cow_String(keys[i].c_str()), static_cast<int>(i));
        } else {
            map.emplace(keys[i], static_cast<int>(i));
        }
    }
    return map;
}

template <class Map>
const Map& Built() {
    static const Map map = Build<Map>();
    return map;
}

template <class Map>
void BM_Insert(benchmark::State& state) {
    Keys();
    vlt::bench::TimeBuilds(state, Keys().size(), [] { return Build<Map>(); });
}

template <class Map>
void BM_Find(benchmark::State& state) {
    const Map& map = Built<Map>();
    const auto& probes = Probes<Map>();
    for (auto _ : state) {
        long sum = 0;
        for (const auto& key : probes) {
            if constexpr (std::is_same_v<Map, OmiTree>) {
                sum += *map.ConstGet(key);
            } else if constexpr (std::is_same_v<Map, CowTree>) {
                sum += map.ConstGet(key);
            } else {
                sum += map.find(key)->second;
            }
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(probes.size()));
}

// Reads every key's length and every value, in key order.
template <class Map>
void BM_Iterate(benchmark::State& state) {
    const Map& map = Built<Map>();
    for (auto _ : state) {
        std::size_t sum = 0;
        if constexpr (std::is_same_v<Map, CowTree>) {
            cow_BtreeIterator<cow_String, int> it(map);
            for (it.First(); !it.IsDone(); it.Next()) {
                sum += it.CurrentKey().Length() + static_cast<std::size_t>(it.CurrentValue());
            }
        } else {
            for (const auto& [key, value] : map) {
                sum += key.size() + static_cast<std::size_t>(value);
            }
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(map.size()));
}

// The entries under each prefix, found from the first one on. cow_Btree has no ordered search,
// so it has no row here.
template <class Map>
void BM_PrefixScan(benchmark::State& state) {
    const Map& map = Built<Map>();
    const std::vector<std::string>& prefixes = Prefixes();
    for (auto _ : state) {
        std::size_t found = 0;
        for (const std::string& prefix : prefixes) {
            if constexpr (std::is_same_v<Map, OmiTree>) {
                for (const auto& entry : map.PrefixRange(prefix)) {
                    found += static_cast<std::size_t>(entry.second);
                }
            } else {
                for (auto it = map.lower_bound(prefix);
                     it != map.end() && std::string_view(it->first).starts_with(prefix); ++it) {
                    found += static_cast<std::size_t>(it->second);
                }
            }
        }
        benchmark::DoNotOptimize(found);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(prefixes.size()));
}

// Heap bytes per key while the map lives: glibc's count of bytes handed out (block headers
// included) before and after building, the same count for every map. The B-tree also reports
// its own accounting of node and held-key bytes.
template <class Map>
void BM_BytesPerKey(benchmark::State& state) {
    Keys();
    for (auto _ : state) {
        const std::size_t before = mallinfo2().uordblks;
        const Map map = Build<Map>();
        const double keys = static_cast<double>(map.size());
        state.counters["bytes_per_key"] = static_cast<double>(mallinfo2().uordblks - before) / keys;
        if constexpr (std::is_same_v<Map, OmiTree>) {
            state.counters["own_accounting"] = static_cast<double>(map.MemoryBytes()) / keys;
        }
    }
}

#define VLT_BTREE_BENCHMARKS(Map)                                                                  \
    BENCHMARK_TEMPLATE(BM_Insert, Map)->Unit(benchmark::kMillisecond);                             \
    BENCHMARK_TEMPLATE(BM_Find, Map)->Unit(benchmark::kMillisecond);                               \
    BENCHMARK_TEMPLATE(BM_Iterate, Map)->Unit(benchmark::kMillisecond);                            \
    BENCHMARK_TEMPLATE(BM_BytesPerKey, Map)->Iterations(1)

VLT_BTREE_BENCHMARKS(OmiTree);
VLT_BTREE_BENCHMARKS(AbslMap);
VLT_BTREE_BENCHMARKS(StdMap);
VLT_BTREE_BENCHMARKS(CowTree);
BENCHMARK_TEMPLATE(BM_PrefixScan, OmiTree)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_PrefixScan, AbslMap)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_PrefixScan, StdMap)->Unit(benchmark::kMillisecond);

} // namespace
