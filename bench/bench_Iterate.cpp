// Range-for over the containers against the published iterator loops over the same data: a
// list, a map and a blocked array list of 1M elements each.
#include "bench_Size.h"
#include "cow_1DArray.h"
#include "cow_List.h"
#include "cow_Map.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <random>
#include <utility>

namespace {

using vlt::bench::Size;

constexpr std::size_t elements = 1 << 20;

cow_List<int> MakeList(std::size_t n) {
    std::mt19937 generator(12345);
    cow_List<int> list;
    for (std::size_t i = 0; i < n; ++i) {
        list.Prepend(static_cast<int>(generator()));
    }
    return list;
}

cow_Map<int, int> MakeMap(std::size_t n) {
    std::mt19937 generator(12345);
    cow_Map<int, int> map;
    while (map.Size() < n) {
        const auto key = static_cast<int>(generator());
        map.Insert(key, key / 2);
    }
    return map;
}

cow_1DArrayList<double, double> MakeArrayList(std::size_t n) {
    cow_1DArrayList<double, double> list;
    for (std::size_t i = 0; i < n; ++i) {
        list.Append(static_cast<double>(i) * 0.5);
    }
    return list;
}

// Every pass reads every element once, so both loops of a pair do the same work.
template <class Sum>
void Time(benchmark::State& state, std::size_t items, Sum sum) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(sum());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(items));
}

void BM_ListPublishedLoop(benchmark::State& state) {
    const cow_List<int> list = MakeList(Size(elements));
    Time(state, list.size(), [&list] {
        long sum = 0;
        for (cow_ListIter<int> it(list); !it.IsDone(); it.Next()) {
            sum += it.CurrentItem();
        }
        return sum;
    });
}

void BM_ListRangeFor(benchmark::State& state) {
    const cow_List<int> list = MakeList(Size(elements));
    Time(state, list.size(), [&list] {
        long sum = 0;
        for (int element : list) {
            sum += element;
        }
        return sum;
    });
}

void BM_MapPublishedLoop(benchmark::State& state) {
    const cow_Map<int, int> map = MakeMap(Size(elements));
    Time(state, map.size(), [&map] {
        long sum = 0;
        cow_ConstMapIterator<int, int> it(map);
        for (it.First(); !it.IsDone(); it.Next()) {
            sum += it.CurrentKey() ^ it.CurrentValue();
        }
        return sum;
    });
}

void BM_MapRangeFor(benchmark::State& state) {
    const cow_Map<int, int> map = MakeMap(Size(elements));
    Time(state, map.size(), [&map] {
        long sum = 0;
        for (const auto& [key, value] : map) {
            sum += key ^ value;
        }
        return sum;
    });
}

void BM_ArrayListPublishedLoop(benchmark::State& state) {
    const cow_1DArrayList<double, double> list = MakeArrayList(Size(elements));
    Time(state, list.size(), [&list] {
        double sum = 0;
        for (cow_1DArrayListIter<double, double> it(list); !it.IsDone(); it.Next()) {
            sum += it.CurrentItem();
        }
        return sum;
    });
}

void BM_ArrayListRangeFor(benchmark::State& state) {
    const cow_1DArrayList<double, double> list = MakeArrayList(Size(elements));
    Time(state, list.size(), [&list] {
        double sum = 0;
        for (double element : list) {
            sum += element;
        }
        return sum;
    });
}

} // namespace

BENCHMARK(BM_ListPublishedLoop)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ListRangeFor)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MapPublishedLoop)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MapRangeFor)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ArrayListPublishedLoop)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ArrayListRangeFor)->Unit(benchmark::kMillisecond);
