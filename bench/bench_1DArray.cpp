// cow_1DArray<double> against std::vector<double>: sequential reads, writes, copy then write one
// element, and the difference of two versions.
//
// Arguments: the number of elements and the blocked array's block size (for the vector's
// difference, the size of the chunks it compares).
#include "bench_Size.h"
#include "cow_1DArray.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <span>
#include <vector>

namespace {

using vlt::bench::Size;

unsigned Elements(const benchmark::State& state) {
    return static_cast<unsigned>(Size(static_cast<std::size_t>(state.range(0))));
}

unsigned BlockSize(const benchmark::State& state) {
    return static_cast<unsigned>(state.range(1));
}

cow_1DArray<double> MakeArray(unsigned n, unsigned blockSize) {
    cow_1DArray<double> array((n + blockSize - 1) / blockSize, blockSize);
    for (unsigned i = 0; i < n; ++i) {
        array.Get(i) = 0.5 * i;
    }
    return array;
}

std::vector<double> MakeVector(unsigned n) {
    std::vector<double> vector(n);
    for (unsigned i = 0; i < n; ++i) {
        vector[i] = 0.5 * i;
    }
    return vector;
}

void Processed(benchmark::State& state, unsigned n) {
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(n));
}

// The element access of each container, so that one loop body serves both.
double Read(const cow_1DArray<double>& array, unsigned i) {
    return array.PartialArrayConstGet(i);
}
double Read(const std::vector<double>& vector, unsigned i) {
    return vector[i];
}
double& Write(cow_1DArray<double>& array, unsigned i) {
    return array.Get(i);
}
double& Write(std::vector<double>& vector, unsigned i) {
    return vector[i];
}

// The loops are functions of their own, as in a client that is handed the container: the
// compiler then keeps the sum in a register and spills it only around the rare call that
// makes a block.
template <class Container>
[[gnu::noinline]] double Sum(const Container& container, unsigned n) {
    double sum = 0;
    for (unsigned i = 0; i < n; ++i) {
        sum += Read(container, i);
    }
    return sum;
}

// Four independent sums: the loop is no longer bound by the latency of one addition chain, so
// the cost of reaching each element shows.
template <class Container>
[[gnu::noinline]] double Sum4(const Container& container, unsigned n) {
    double sum[4] = {0, 0, 0, 0};
    for (unsigned i = 0; i + 3 < n; i += 4) {
        for (unsigned k = 0; k < 4; ++k) {
            sum[k] += Read(container, i + k);
        }
    }
    return sum[0] + sum[1] + sum[2] + sum[3];
}

template <class Container>
[[gnu::noinline]] void Fill(Container& container, unsigned n) {
    for (unsigned i = 0; i < n; ++i) {
        Write(container, i) = static_cast<double>(i);
    }
}

cow_1DArray<double> MakeContainer(const benchmark::State& state, cow_1DArray<double>*) {
    return MakeArray(Elements(state), BlockSize(state));
}
std::vector<double> MakeContainer(const benchmark::State& state, std::vector<double>*) {
    return MakeVector(Elements(state));
}

template <class Container>
void BM_ReadSum(benchmark::State& state) {
    const Container container = MakeContainer(state, static_cast<Container*>(nullptr));
    for (auto _ : state) {
        benchmark::DoNotOptimize(Sum(container, Elements(state)));
    }
    Processed(state, Elements(state));
}

template <class Container>
void BM_ReadSum4(benchmark::State& state) {
    const Container container = MakeContainer(state, static_cast<Container*>(nullptr));
    for (auto _ : state) {
        benchmark::DoNotOptimize(Sum4(container, Elements(state)));
    }
    Processed(state, Elements(state));
}

// Fill through the block-wise access: one privacy check per block, then a loop over the run
// that the compiler vectorises as it does the vector's.
[[gnu::noinline]] void FillRuns(cow_1DArray<double>& array, unsigned n) {
    for (unsigned start = 0; start < n;) {
        const std::span<double> run = array.GetBlockRun(start);
        const auto count = static_cast<unsigned>(std::min<std::size_t>(run.size(), n - start));
        for (unsigned k = 0; k < count; ++k) {
            run[k] = static_cast<double>(start + k);
        }
        start += count;
    }
}

[[gnu::noinline]] double SumRuns(const cow_1DArray<double>& array, unsigned n) {
    double sum = 0;
    for (unsigned start = 0; start < n;) {
        const std::span<const double> run = array.ConstBlockRun(start);
        const auto count = static_cast<unsigned>(std::min<std::size_t>(run.size(), n - start));
        for (unsigned k = 0; k < count; ++k) {
            sum += run[k];
        }
        start += count;
    }
    return sum;
}

// Writes at the positions of a shuffled index list: neither loop can be turned into vector
// stores, and both wait on memory.
template <class Container>
[[gnu::noinline]] void Scatter(Container& container, const std::vector<unsigned>& positions) {
    for (unsigned position : positions) {
        Write(container, position) = static_cast<double>(position);
    }
}

std::vector<unsigned> Shuffled(unsigned n) {
    std::vector<unsigned> positions(n);
    for (unsigned i = 0; i < n; ++i) {
        positions[i] = i;
    }
    std::shuffle(positions.begin(), positions.end(), std::mt19937(12345));
    return positions;
}

void BM_WriteRuns(benchmark::State& state) {
    cow_1DArray<double> array = MakeArray(Elements(state), BlockSize(state));
    for (auto _ : state) {
        FillRuns(array, Elements(state));
        benchmark::ClobberMemory();
    }
    Processed(state, Elements(state));
}

void BM_ReadSumRuns(benchmark::State& state) {
    const cow_1DArray<double> array = MakeArray(Elements(state), BlockSize(state));
    for (auto _ : state) {
        benchmark::DoNotOptimize(SumRuns(array, Elements(state)));
    }
    Processed(state, Elements(state));
}

template <class Container>
void BM_WriteShuffled(benchmark::State& state) {
    Container container = MakeContainer(state, static_cast<Container*>(nullptr));
    const std::vector<unsigned> positions = Shuffled(Elements(state));
    for (auto _ : state) {
        Scatter(container, positions);
        benchmark::ClobberMemory();
    }
    Processed(state, Elements(state));
}

template <class Container>
void BM_Write(benchmark::State& state) {
    Container container = MakeContainer(state, static_cast<Container*>(nullptr));
    for (auto _ : state) {
        Fill(container, Elements(state));
        benchmark::ClobberMemory();
    }
    Processed(state, Elements(state));
}

void BM_CopyThenWrite_cow(benchmark::State& state) {
    const unsigned n = Elements(state);
    const cow_1DArray<double> source = MakeArray(n, BlockSize(state));
    for (auto _ : state) {
        cow_1DArray<double> copy(source);
        copy.Get(n / 2) = -1;
        benchmark::DoNotOptimize(copy);
    }
}

void BM_CopyThenWrite_vector(benchmark::State& state) {
    const unsigned n = Elements(state);
    const std::vector<double> source = MakeVector(n);
    for (auto _ : state) {
        std::vector<double> copy(source);
        copy[n / 2] = -1;
        benchmark::DoNotOptimize(copy.data());
        benchmark::ClobberMemory();
    }
}

// Two versions that differ in one element, hence in one block.
void BM_Diff_cow(benchmark::State& state) {
    const unsigned n = Elements(state);
    const cow_1DArray<double> older = MakeArray(n, BlockSize(state));
    cow_1DArray<double> newer = older;
    newer.Get(n / 2) = -1;
    for (auto _ : state) {
        const cow_1DArray<double> diff = older.Diff(newer);
        benchmark::DoNotOptimize(&diff);
    }
}

// The vector's equivalent: compare the two versions chunk by chunk (the blocked array's block
// size) and list the chunks that differ.
void BM_Diff_vector(benchmark::State& state) {
    const unsigned n = Elements(state);
    const unsigned chunk = BlockSize(state);
    const std::vector<double> older = MakeVector(n);
    std::vector<double> newer = older;
    newer[n / 2] = -1;
    std::vector<unsigned> differing;
    for (auto _ : state) {
        differing.clear();
        for (unsigned start = 0; start < n; start += chunk) {
            const unsigned count = std::min(chunk, n - start);
            if (std::memcmp(&older[start], &newer[start], count * sizeof(double)) != 0) {
                differing.push_back(start / chunk);
            }
        }
        benchmark::DoNotOptimize(differing.data());
    }
}

constexpr int64_t k64K = 1 << 16;
constexpr int64_t kMillion = 1 << 20;
constexpr int64_t k16M = 1 << 24;

void MillionElements(benchmark::internal::Benchmark* b) {
    b->ArgNames({"n", "block"});
    for (int64_t block : {16, 256, 4096}) {
        b->Args({kMillion, block});
    }
}

// Blocks of 4096 elements, and 256 blocks whatever the number of elements.
void DiffSizes(benchmark::internal::Benchmark* b) {
    b->ArgNames({"n", "block"});
    for (int64_t n : {k64K, kMillion, k16M}) {
        b->Args({n, 4096});
    }
    for (int64_t n : {k64K, kMillion, k16M}) {
        b->Args({n, n / 256});
    }
}

using Blocked = cow_1DArray<double>;
using Vector = std::vector<double>;

BENCHMARK(BM_ReadSum<Blocked>)->Apply(MillionElements);
BENCHMARK(BM_ReadSum<Vector>)->ArgName("n")->Arg(kMillion);
BENCHMARK(BM_ReadSum4<Blocked>)->Apply(MillionElements);
BENCHMARK(BM_ReadSum4<Vector>)->ArgName("n")->Arg(kMillion);
BENCHMARK(BM_Write<Blocked>)->Apply(MillionElements);
BENCHMARK(BM_Write<Vector>)->ArgName("n")->Arg(kMillion);
BENCHMARK(BM_WriteRuns)->Apply(MillionElements);
BENCHMARK(BM_ReadSumRuns)->Apply(MillionElements);
BENCHMARK(BM_WriteShuffled<Blocked>)->Apply(MillionElements);
BENCHMARK(BM_WriteShuffled<Vector>)->ArgName("n")->Arg(kMillion);
BENCHMARK(BM_CopyThenWrite_cow)->Apply(MillionElements);
BENCHMARK(BM_CopyThenWrite_vector)->ArgName("n")->Arg(kMillion);
BENCHMARK(BM_Diff_cow)->Apply(DiffSizes);
BENCHMARK(BM_Diff_vector)->Apply(DiffSizes);

} // namespace
