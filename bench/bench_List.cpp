// cow_List against std::forward_list and std::list.
#include "bench_Size.h"
#include "cow_List.h"

#include <benchmark/benchmark.h>

#include <forward_list>
#include <list>
#include <random>
#include <vector>

namespace {

using vlt::bench::Size;

std::vector<int> RandomInts(std::size_t n) {
    std::mt19937 generator(12345);
    std::vector<int> values(n);
    for (int& value : values) {
        value = static_cast<int>(generator());
    }
    return values;
}

cow_List<int> MakeCowList(const std::vector<int>& values) {
    cow_List<int> list;
    for (auto it = values.rbegin(); it != values.rend(); ++it) {
        list.Prepend(*it);
    }
    return list;
}

template <class List>
List MakeStdList(const std::vector<int>& values) {
    return List(values.begin(), values.end());
}

template <class List>
List MakeList(const std::vector<int>& values) {
    if constexpr (std::is_same_v<List, cow_List<int>>) {
        return MakeCowList(values);
    } else {
        return MakeStdList<List>(values);
    }
}

template <class List>
void BM_ListCopy(benchmark::State& state) {
    const List source = MakeList<List>(RandomInts(Size(state.range(0))));
    for (auto _ : state) {
        List copy(source);
        benchmark::DoNotOptimize(copy);
    }
}

// Copy, then change the first element: the copy-on-write list copies one node.
void BM_ListCopyThenWriteHead_cow(benchmark::State& state) {
    const cow_List<int> source = MakeCowList(RandomInts(Size(state.range(0))));
    for (auto _ : state) {
        cow_List<int> copy(source);
        copy.InsertAfter(0, 7);
        benchmark::DoNotOptimize(copy);
    }
}

template <class List>
void BM_ListCopyThenWriteHead_std(benchmark::State& state) {
    const List source = MakeStdList<List>(RandomInts(Size(state.range(0))));
    for (auto _ : state) {
        List copy(source);
        copy.front() = 7;
        benchmark::DoNotOptimize(copy);
    }
}

void BM_ListIterate_cow(benchmark::State& state) {
    const cow_List<int> list = MakeCowList(RandomInts(Size(state.range(0))));
    for (auto _ : state) {
        long sum = 0;
        for (cow_ListIter<int> it(list); !it.IsDone(); it.Next()) {
            sum += it.CurrentItem();
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(list.Size()));
}

template <class List>
void BM_ListIterate_std(benchmark::State& state) {
    const List list = MakeStdList<List>(RandomInts(Size(state.range(0))));
    for (auto _ : state) {
        long sum = 0;
        for (int value : list) {
            sum += value;
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(Size(state.range(0))));
}

template <class List>
void BM_ListSort(benchmark::State& state) {
    const std::vector<int> values = RandomInts(Size(state.range(0)));
    for (auto _ : state) {
        state.PauseTiming();
        List list = MakeList<List>(values);
        state.ResumeTiming();
        if constexpr (std::is_same_v<List, cow_List<int>>) {
            list.Sort();
        } else {
            list.sort();
        }
        benchmark::DoNotOptimize(list);
        state.PauseTiming();
        list = List();
        state.ResumeTiming();
    }
}

template <class List>
void BM_ListPrepend(benchmark::State& state) {
    const std::size_t n = Size(state.range(0));
    for (auto _ : state) {
        List list;
        for (std::size_t i = 0; i < n; ++i) {
            if constexpr (std::is_same_v<List, cow_List<int>>) {
                list.Prepend(static_cast<int>(i));
            } else {
                list.push_front(static_cast<int>(i));
            }
        }
        benchmark::DoNotOptimize(list);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(n));
}

constexpr int kMillion = 1 << 20;

BENCHMARK(BM_ListCopy<cow_List<int>>)->Arg(1 << 10)->Arg(kMillion);
BENCHMARK(BM_ListCopy<std::forward_list<int>>)->Arg(1 << 10)->Arg(kMillion);
BENCHMARK(BM_ListCopy<std::list<int>>)->Arg(1 << 10)->Arg(kMillion);
BENCHMARK(BM_ListCopyThenWriteHead_cow)->Arg(kMillion);
BENCHMARK(BM_ListCopyThenWriteHead_std<std::forward_list<int>>)->Arg(kMillion);
BENCHMARK(BM_ListCopyThenWriteHead_std<std::list<int>>)->Arg(kMillion);
BENCHMARK(BM_ListIterate_cow)->Arg(kMillion);
BENCHMARK(BM_ListIterate_std<std::forward_list<int>>)->Arg(kMillion);
BENCHMARK(BM_ListIterate_std<std::list<int>>)->Arg(kMillion);
BENCHMARK(BM_ListSort<cow_List<int>>)->Arg(kMillion)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ListSort<std::forward_list<int>>)->Arg(kMillion)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ListSort<std::list<int>>)->Arg(kMillion)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ListPrepend<cow_List<int>>)->Arg(kMillion)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ListPrepend<std::forward_list<int>>)->Arg(kMillion)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ListPrepend<std::list<int>>)->Arg(kMillion)->Unit(benchmark::kMillisecond);

} // namespace
