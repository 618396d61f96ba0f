// omi_UintTable<int> against std::unordered_map, std::map, absl::flat_hash_map and JudyL, on 1M
// keys that come in runs of 1,000 consecutive numbers starting at random points below 2^31 (the
// way entity numbers are handed out). Insert, look up (in run order and in random order),
// iterate (in key order where the container has one), and the heap held per key.
#include "bench_Size.h"
#include "omi_UintTable.h"

#include <Judy.h>
#include <absl/container/flat_hash_map.h>
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <random>
#include <unordered_map>
#include <vector>

namespace {

using vlt::bench::Size;

constexpr std::int64_t kKeys = 1 << 20;
constexpr unsigned kRunLength = 1000;

std::vector<unsigned> ClusteredKeys(std::size_t n) {
    std::mt19937 generator(12345);
    const unsigned runLength = static_cast<unsigned>(std::min<std::size_t>(kRunLength, n));
    std::uniform_int_distribution<unsigned> start(0, (1u << 31) - runLength);
    std::vector<unsigned> keys;
    keys.reserve(n);
    while (keys.size() < n) {
        const unsigned first = start(generator);
        for (unsigned i = 0; i < runLength && keys.size() < n; ++i) {
            keys.push_back(first + i);
        }
    }
    return keys;
}

std::vector<unsigned> Shuffled(std::vector<unsigned> keys) {
    std::shuffle(keys.begin(), keys.end(), std::mt19937(67890));
    return keys;
}

int ValueOf(unsigned key) {
    return static_cast<int>(key * 2654435761u);
}

// Heap bytes in use, counted by the C allocator: every peer, Judy included, ends in malloc.
std::size_t HeapInUse() {
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

// JudyL keeps a machine word per key; the int travels in it through uintptr_t.
class JudyMap {
public:
    JudyMap() = default;
    JudyMap(const JudyMap&) = delete;
    JudyMap& operator=(const JudyMap&) = delete;
    ~JudyMap() { JudyLFreeArray(&array, PJE0); }

    void Insert(unsigned key, int value) { *JudyLIns(&array, key, PJE0) = Pack(value); }
    // The value under key, 0 when absent.
    int Find(unsigned key) const {
        void* const* slot = JudyLGet(array, key, PJE0);
        return slot != nullptr ? Unpack(*slot) : 0;
    }
    template <class Visit>
    void ForEach(Visit visit) const {
        Word_t key = 0;
        for (void** slot = JudyLFirst(array, &key, PJE0); slot != nullptr;
             slot = JudyLNext(array, &key, PJE0)) {
            visit(static_cast<unsigned>(key), Unpack(*slot));
        }
    }

private:
    static void* Pack(int value) {
        return reinterpret_cast<void*>(static_cast<std::uintptr_t>(static_cast<unsigned>(value)));
    }
    static int Unpack(void* word) {
        return static_cast<int>(static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(word)));
    }

    Pvoid_t array = nullptr;
};

// Each peer behind the same three operations, so that one template times them all.
struct Omi {
    using Map = omi_UintTable<int>;
    static void Insert(Map& map, unsigned key, int value) { map.Insert(key, value); }
    static int Find(const Map& map, unsigned key) {
        const int* value = map.ConstGet(key);
        return value != nullptr ? *value : 0;
    }
    template <class Visit>
    static void ForEach(const Map& map, Visit visit) {
        omi_UintTableIterator<int> it(map);
        for (it.First(); !it.IsDone(); it.Next()) {
            visit(it.CurrentKey(), it.CurrentValue());
        }
    }
};

// The standard containers and Abseil share one interface.
template <class M>
struct Std {
    using Map = M;
    static void Insert(Map& map, unsigned key, int value) { map.insert_or_assign(key, value); }
    static int Find(const Map& map, unsigned key) {
        const auto found = map.find(key);
        return found != map.end() ? found->second : 0;
    }
    template <class Visit>
    static void ForEach(const Map& map, Visit visit) {
        for (const auto& [key, value] : map) {
            visit(key, value);
        }
    }
};

struct Judy {
    using Map = JudyMap;
    static void Insert(Map& map, unsigned key, int value) { map.Insert(key, value); }
    static int Find(const Map& map, unsigned key) { return map.Find(key); }
    template <class Visit>
    static void ForEach(const Map& map, Visit visit) {
        map.ForEach(visit);
    }
};

using Unordered = Std<std::unordered_map<unsigned, int>>;
using Ordered = Std<std::map<unsigned, int>>;
using Abseil = Std<absl::flat_hash_map<unsigned, int>>;

template <class Peer>
std::unique_ptr<typename Peer::Map> Make(const std::vector<unsigned>& keys) {
    auto map = std::make_unique<typename Peer::Map>();
    for (unsigned key : keys) {
        Peer::Insert(*map, key, ValueOf(key));
    }
    return map;
}

// Also reports the heap that the filled container holds, per key.
template <class Peer>
void BM_UintInsert(benchmark::State& state) {
    const std::vector<unsigned> keys = ClusteredKeys(Size(state.range(0)));
    for (auto _ : state) {
        auto map = Make<Peer>(keys);
        benchmark::DoNotOptimize(map.get());
        state.PauseTiming();
        map.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(keys.size()));
    const std::size_t before = HeapInUse();
    const auto map = Make<Peer>(keys);
    const std::size_t held = HeapInUse() - before;
    state.counters["bytes_per_key"] = static_cast<double>(held) / static_cast<double>(keys.size());
}

template <class Peer>
void LookUp(benchmark::State& state, const std::vector<unsigned>& keys,
            const std::vector<unsigned>& order) {
    const auto map = Make<Peer>(keys);
    for (auto _ : state) {
        int sum = 0;
        for (unsigned key : order) {
            sum += Peer::Find(*map, key);
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(order.size()));
}

template <class Peer>
void BM_UintLookUpRunOrder(benchmark::State& state) {
    const std::vector<unsigned> keys = ClusteredKeys(Size(state.range(0)));
    LookUp<Peer>(state, keys, keys);
}

template <class Peer>
void BM_UintLookUpRandomOrder(benchmark::State& state) {
    const std::vector<unsigned> keys = ClusteredKeys(Size(state.range(0)));
    LookUp<Peer>(state, keys, Shuffled(keys));
}

// In ascending key order for the table, std::map and JudyL; the hash maps walk their own order.
template <class Peer>
void BM_UintIterate(benchmark::State& state) {
    const std::vector<unsigned> keys = ClusteredKeys(Size(state.range(0)));
    const auto map = Make<Peer>(keys);
    for (auto _ : state) {
        unsigned sum = 0;
        Peer::ForEach(
            *map, [&sum](unsigned key, int value) { sum += key ^ static_cast<unsigned>(value); });
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(keys.size()));
}

} // namespace

#define VLT_UINT_BENCH(name)                                                                       \
    BENCHMARK(name<Omi>)->Arg(kKeys)->Unit(benchmark::kMillisecond);                               \
    BENCHMARK(name<Unordered>)->Arg(kKeys)->Unit(benchmark::kMillisecond);                         \
    BENCHMARK(name<Ordered>)->Arg(kKeys)->Unit(benchmark::kMillisecond);                           \
    BENCHMARK(name<Abseil>)->Arg(kKeys)->Unit(benchmark::kMillisecond);                            \
    BENCHMARK(name<Judy>)->Arg(kKeys)->Unit(benchmark::kMillisecond)

VLT_UINT_BENCH(BM_UintInsert);
VLT_UINT_BENCH(BM_UintLookUpRunOrder);
VLT_UINT_BENCH(BM_UintLookUpRandomOrder);
VLT_UINT_BENCH(BM_UintIterate);
