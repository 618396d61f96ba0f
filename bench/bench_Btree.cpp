// cow_Btree<cow_String, int> against std::map<std::string, int>: building from random keys,
// looking every key up, walking in order, and copying then changing one entry.
#include "bench_Size.h"
#include "cow_Btree.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace {

using vlt::bench::Size;
using CowTree = cow_Btree<cow_String, int>;
using StdMap = std::map<std::string, int>;

// Distinct keys of 12 to 13 characters ("key" and a random number), in random order.
std::vector<std::string> RandomKeys(std::size_t n) {
    std::mt19937 generator(12345);
    std::vector<std::string> keys;
    keys.reserve(n);
    for (std::size_t i = 0; i < n; ++i) {
        char text[32];
        std::snprintf(text, sizeof text, "key%010u", static_cast<unsigned>(generator()));
        keys.emplace_back(text);
    }
    std::sort(keys.begin(), keys.end());
    keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
    std::shuffle(keys.begin(), keys.end(), generator);
    return keys;
}

// The texts as each container takes them: the tree's keys share the caller's strings.
template <class Map>
auto KeysFor(const std::vector<std::string>& texts) {
    if constexpr (std::is_same_v<Map, CowTree>) {
        std::vector<cow_String> keys;
        keys.reserve(texts.size());
        for (const std::string& text : texts) {
            keys.emplace_back(text.c_str());
        }
        return keys;
    } else {
        return texts;
    }
}

template <class Map, class Key>
void Add(Map& map, const Key& key, int value) {
    if constexpr (std::is_same_v<Map, CowTree>) {
        map.Insert(key, value);
    } else {
        map.emplace(key, value);
    }
}

template <class Map, class Key>
int Lookup(const Map& map, const Key& key) {
    if constexpr (std::is_same_v<Map, CowTree>) {
        return map.ConstGet(key);
    } else {
        return map.find(key)->second;
    }
}

template <class Map, class Keys>
Map Build(const Keys& keys) {
    Map map;
    for (std::size_t i = 0; i < keys.size(); ++i) {
        Add(map, keys[i], static_cast<int>(i));
    }
    return map;
}

template <class Map>
void BM_BtreeInsert(benchmark::State& state) {
    const auto keys = KeysFor<Map>(RandomKeys(Size(state.range(0))));
    vlt::bench::TimeBuilds(state, keys.size(), [&] { return Build<Map>(keys); });
}

// Every key once, in an order other than the insertion order.
template <class Map>
void BM_BtreeFind(benchmark::State& state) {
    std::vector<std::string> texts = RandomKeys(Size(state.range(0)));
    const auto keys = KeysFor<Map>(texts);
    const Map map = Build<Map>(keys);
    std::shuffle(texts.begin(), texts.end(), std::mt19937(777));
    const auto probes = KeysFor<Map>(texts);
    for (auto _ : state) {
        long sum = 0;
        for (const auto& key : probes) {
            sum += Lookup(map, key);
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(probes.size()));
}

template <class Map>
void BM_BtreeIterate(benchmark::State& state) {
    const auto keys = KeysFor<Map>(RandomKeys(Size(state.range(0))));
    const Map map = Build<Map>(keys);
    for (auto _ : state) {
        long sum = 0;
        if constexpr (std::is_same_v<Map, CowTree>) {
            cow_BtreeIterator<cow_String, int> it(map);
            for (it.First(); !it.IsDone(); it.Next()) {
                sum += it.CurrentValue();
            }
        } else {
            for (const auto& entry : map) {
                sum += entry.second;
            }
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(keys.size()));
}

// A snapshot and one change: the tree copies the path to the entry, the map copies everything.
template <class Map>
void BM_BtreeCopyThenWrite(benchmark::State& state) {
    const auto keys = KeysFor<Map>(RandomKeys(Size(state.range(0))));
    const Map map = Build<Map>(keys);
    for (auto _ : state) {
        Map copy(map);
        if constexpr (std::is_same_v<Map, CowTree>) {
            copy.Get(keys.front()) = -1;
        } else {
            copy.find(keys.front())->second = -1;
        }
        benchmark::DoNotOptimize(copy);
    }
}

constexpr int kMillion = 1 << 20;

BENCHMARK(BM_BtreeInsert<CowTree>)->Arg(1 << 16)->Arg(kMillion)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BtreeInsert<StdMap>)->Arg(1 << 16)->Arg(kMillion)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BtreeFind<CowTree>)->Arg(1 << 16)->Arg(kMillion)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BtreeFind<StdMap>)->Arg(1 << 16)->Arg(kMillion)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BtreeIterate<CowTree>)->Arg(kMillion)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BtreeIterate<StdMap>)->Arg(kMillion)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BtreeCopyThenWrite<CowTree>)->Arg(kMillion)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_BtreeCopyThenWrite<StdMap>)->Arg(kMillion)->Unit(benchmark::kMillisecond);

} // namespace
