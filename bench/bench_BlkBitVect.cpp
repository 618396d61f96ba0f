// omi_BlkBitVect against CRoaring and std::vector<bool>: 1M random bits in [0, 16M), set one
// by one, walked in ascending order, combined (union, intersection) and counted.
#include "bench_Size.h"
#include "omi_BlkBitVect.h"

#include <benchmark/benchmark.h>
#include <roaring/roaring.hh>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

namespace {

using vlt::bench::Size;

constexpr std::int64_t kBits = 1 << 20;
constexpr std::size_t kRange = std::size_t{1} << 24;

struct Data {
    std::size_t range;
    std::vector<unsigned> first;
    std::vector<unsigned> second;
};

std::vector<unsigned> RandomBits(std::size_t count, std::size_t range, unsigned seed) {
    std::mt19937 generator(seed);
    std::uniform_int_distribution<unsigned> pick(0, static_cast<unsigned>(range - 1));
    std::vector<unsigned> bits(count);
    for (unsigned& bit : bits) {
        bit = pick(generator);
    }
    return bits;
}

Data MakeData(std::int64_t count) {
    const std::size_t range = Size(kRange);
    const std::size_t n = Size(static_cast<std::size_t>(count));
    return {range, RandomBits(n, range, 12345), RandomBits(n, range, 67890)};
}

// Each peer behind the same four operations, so that one template times them all.
struct OmiBits {
    using Set = omi_BlkBitVect;
    static void Build(Set& set, const std::vector<unsigned>& bits, std::size_t) {
        for (unsigned bit : bits) {
            set.SetBit(bit);
        }
    }
    static std::uint64_t Sum(const Set& set) {
        std::uint64_t sum = 0;
        omi_BlkBitVectTrav trav(set);
        unsigned index = 0;
        for (bool found = trav.First(index); found; found = trav.Next(index)) {
            sum += index;
        }
        return sum;
    }
    static Set Union(const Set& a, const Set& b) {
        Set result(a);
        result |= b;
        return result;
    }
    static Set Intersection(const Set& a, const Set& b) {
        Set result(a);
        result &= b;
        return result;
    }
    static std::uint64_t Count(const Set& set) { return set.BitCount(); }
};

// The same vector walked by range-for instead of the traverser.
struct OmiBitsRangeFor : OmiBits {
    static std::uint64_t Sum(const Set& set) {
        std::uint64_t sum = 0;
        for (unsigned index : set) {
            sum += index;
        }
        return sum;
    }
};

struct RoaringBits {
    using Set = Roaring;
    static void Build(Set& set, const std::vector<unsigned>& bits, std::size_t) {
        for (unsigned bit : bits) {
            set.add(bit);
        }
    }
    static std::uint64_t Sum(const Set& set) {
        std::uint64_t sum = 0;
        for (std::uint32_t bit : set) {
            sum += bit;
        }
        return sum;
    }
    static Set Union(const Set& a, const Set& b) { return a | b; }
    static Set Intersection(const Set& a, const Set& b) { return a & b; }
    static std::uint64_t Count(const Set& set) { return set.cardinality(); }
};

struct VectorBits {
    using Set = std::vector<bool>;
    static void Build(Set& set, const std::vector<unsigned>& bits, std::size_t range) {
        set.assign(range, false);
        for (unsigned bit : bits) {
            set[bit] = true;
        }
    }
    static std::uint64_t Sum(const Set& set) {
        std::uint64_t sum = 0;
        for (std::size_t i = 0; i < set.size(); ++i) {
            if (set[i]) {
                sum += i;
            }
        }
        return sum;
    }
    template <class Op>
    static Set Combine(const Set& a, const Set& b, Op op) {
        Set result(a.size());
        std::transform(a.begin(), a.end(), b.begin(), result.begin(), op);
        return result;
    }
    static Set Union(const Set& a, const Set& b) { return Combine(a, b, std::logical_or<>()); }
    static Set Intersection(const Set& a, const Set& b) {
        return Combine(a, b, std::logical_and<>());
    }
    static std::uint64_t Count(const Set& set) {
        return static_cast<std::uint64_t>(std::count(set.begin(), set.end(), true));
    }
};

template <class Peer>
typename Peer::Set Make(const std::vector<unsigned>& bits, std::size_t range) {
    typename Peer::Set set;
    Peer::Build(set, bits, range);
    return set;
}

template <class Peer>
void BM_BitsSet(benchmark::State& state) {
    const Data data = MakeData(state.range(0));
    for (auto _ : state) {
        typename Peer::Set set;
        Peer::Build(set, data.first, data.range);
        benchmark::DoNotOptimize(set);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(data.first.size()));
}

template <class Peer>
void BM_BitsIterate(benchmark::State& state) {
    const Data data = MakeData(state.range(0));
    const auto set = Make<Peer>(data.first, data.range);
    for (auto _ : state) {
        benchmark::DoNotOptimize(Peer::Sum(set));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(Peer::Count(set)));
}

template <class Peer>
void BM_BitsUnion(benchmark::State& state) {
    const Data data = MakeData(state.range(0));
    const auto a = Make<Peer>(data.first, data.range);
    const auto b = Make<Peer>(data.second, data.range);
    for (auto _ : state) {
        auto result = Peer::Union(a, b);
        benchmark::DoNotOptimize(result);
    }
}

template <class Peer>
void BM_BitsIntersection(benchmark::State& state) {
    const Data data = MakeData(state.range(0));
    const auto a = Make<Peer>(data.first, data.range);
    const auto b = Make<Peer>(data.second, data.range);
    for (auto _ : state) {
        auto result = Peer::Intersection(a, b);
        benchmark::DoNotOptimize(result);
    }
}

template <class Peer>
void BM_BitsCount(benchmark::State& state) {
    const Data data = MakeData(state.range(0));
    const auto set = Make<Peer>(data.first, data.range);
    for (auto _ : state) {
        benchmark::DoNotOptimize(Peer::Count(set));
    }
}

} // namespace

#define VLT_BITS_BENCH(name)                                                                       \
    BENCHMARK(name<OmiBits>)->Arg(kBits)->Unit(benchmark::kMicrosecond);                           \
    BENCHMARK(name<RoaringBits>)->Arg(kBits)->Unit(benchmark::kMicrosecond);                       \
    BENCHMARK(name<VectorBits>)->Arg(kBits)->Unit(benchmark::kMicrosecond)

VLT_BITS_BENCH(BM_BitsSet);
VLT_BITS_BENCH(BM_BitsIterate);
BENCHMARK(BM_BitsIterate<OmiBitsRangeFor>)->Arg(kBits)->Unit(benchmark::kMicrosecond);
VLT_BITS_BENCH(BM_BitsUnion);
VLT_BITS_BENCH(BM_BitsIntersection);
VLT_BITS_BENCH(BM_BitsCount);
