// HashTable<void*, unsigned> against std::unordered_map<void*, unsigned>, both sized for their
// keys up front (the table's bucket count is fixed; the map is reserved), on 1M object
// addresses 32 bytes apart. The second argument is the order in which the keys arrive: 0 in
// address order (a writer logging objects in the order it made them), 1 at random. The
// table's iteration goes bucket by bucket, that is in hash order, while its entries lie in
// memory in arrival order; the map walks one list in arrival order.
#include "HashTable.h"
#include "bench_Size.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <random>
#include <unordered_map>
#include <vector>

namespace {

using vlt::bench::Size;

constexpr std::int64_t kKeys = 1 << 20;
constexpr std::size_t kObjectSize = 32;

struct Data {
    std::vector<unsigned char> objects;
    std::vector<void*> keys; // in arrival order
};

Data MakeData(std::int64_t count, std::int64_t shuffled) {
    const std::size_t n = Size(static_cast<std::size_t>(count));
    Data data;
    data.objects.resize(n * kObjectSize);
    data.keys.reserve(n);
    for (std::size_t i = 0; i < n; ++i) {
        data.keys.push_back(&data.objects[i * kObjectSize]);
    }
    if (shuffled != 0) {
        std::shuffle(data.keys.begin(), data.keys.end(), std::mt19937(12345));
    }
    return data;
}

struct Omi {
    using Map = HashTable<void*, unsigned>;
    static std::unique_ptr<Map> Make(std::size_t n) {
        return std::make_unique<Map>(omi_nextPrime(static_cast<unsigned>(n)));
    }
    static void Insert(Map& map, void* key, unsigned value) { map.Insert(key, value); }
    static unsigned Find(const Map& map, void* key) {
        unsigned value = 0;
        map.LookUp(key, value);
        return value;
    }
    static unsigned Sum(const Map& map) {
        unsigned sum = 0;
        for (iterState pos = map.First(); pos.offset != 0; pos = map.Next(pos)) {
            sum += static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(map.CurrentKey(pos))) ^
                   map.CurrentValue(pos);
        }
        return sum;
    }
};

struct Std {
    using Map = std::unordered_map<void*, unsigned>;
    static std::unique_ptr<Map> Make(std::size_t n) {
        auto map = std::make_unique<Map>();
        map->reserve(n);
        return map;
    }
    static void Insert(Map& map, void* key, unsigned value) { map.insert_or_assign(key, value); }
    static unsigned Find(const Map& map, void* key) {
        const auto found = map.find(key);
        return found != map.end() ? found->second : 0;
    }
    static unsigned Sum(const Map& map) {
        unsigned sum = 0;
        for (const auto& [key, value] : map) {
            sum += static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(key)) ^ value;
        }
        return sum;
    }
};

template <class Peer>
std::unique_ptr<typename Peer::Map> Fill(const std::vector<void*>& keys) {
    auto map = Peer::Make(keys.size());
    for (std::size_t i = 0; i < keys.size(); ++i) {
        Peer::Insert(*map, keys[i], static_cast<unsigned>(i));
    }
    return map;
}

template <class Peer>
void BM_HashInsert(benchmark::State& state) {
    const Data data = MakeData(state.range(0), state.range(1));
    for (auto _ : state) {
        auto map = Fill<Peer>(data.keys);
        benchmark::DoNotOptimize(map.get());
        state.PauseTiming();
        map.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(data.keys.size()));
}

// Looks the keys up at random, in an order unrelated to the arrival order.
template <class Peer>
void BM_HashFind(benchmark::State& state) {
    const Data data = MakeData(state.range(0), state.range(1));
    const auto map = Fill<Peer>(data.keys);
    std::vector<void*> order = data.keys;
    std::shuffle(order.begin(), order.end(), std::mt19937(67890));
    for (auto _ : state) {
        unsigned sum = 0;
        for (void* key : order) {
            sum += Peer::Find(*map, key);
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(order.size()));
}

template <class Peer>
void BM_HashIterate(benchmark::State& state) {
    const Data data = MakeData(state.range(0), state.range(1));
    const auto map = Fill<Peer>(data.keys);
    for (auto _ : state) {
        benchmark::DoNotOptimize(Peer::Sum(*map));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(data.keys.size()));
}

} // namespace

#define VLT_HASH_BENCH(name)                                                                       \
    BENCHMARK(name)->Args({kKeys, 0})->Args({kKeys, 1})->Unit(benchmark::kMillisecond)

VLT_HASH_BENCH(BM_HashInsert<Omi>);
VLT_HASH_BENCH(BM_HashInsert<Std>);
VLT_HASH_BENCH(BM_HashFind<Omi>);
VLT_HASH_BENCH(BM_HashFind<Std>);
VLT_HASH_BENCH(BM_HashIterate<Omi>);
VLT_HASH_BENCH(BM_HashIterate<Std>);
