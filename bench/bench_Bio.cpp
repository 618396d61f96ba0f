// The binary filters against memcpy and cereal's binary archives: 10M doubles written and read
// one by one and as one vector, and 1M short strings.
//
// bio_IOmemFilter has no rewind, so each pass writes into a fresh filter (sized up front, as a
// caller who knows the size does) and each read pass gets a freshly filled one, filled with the
// timer stopped. The internal filters stream through one loopback buffer sized for the whole
// data set and rewound between passes. cereal writes to and reads from caller memory through a
// plain stream buffer (its fastest set-up); memcpy is the floor, into fresh and into reused
// memory.
#include "bench_MemoryStreamBuf.h"
#include "bench_Size.h"
#include "bio_IOmemFilter.h"
#include "bio_InternalFilter.h"
#include "bio_MemoryDevice.h"

#include <benchmark/benchmark.h>
#include <cereal/archives/binary.hpp>
#include <cereal/types/string.hpp>

#include <cstring>
#include <istream>
#include <memory>
#include <ostream>
#include <streambuf>
#include <string>
#include <vector>

namespace {

using vlt::bench::MemoryStreamBuf;
using vlt::bench::Size;

std::vector<double> Doubles(std::size_t n) {
    std::vector<double> values(n);
    for (std::size_t i = 0; i < n; ++i) {
        values[i] = static_cast<double>(i) * 0.37 - 1e5;
    }
    return values;
}

std::vector<std::string> Strings(std::size_t n) {
    std::vector<std::string> values(n);
    for (std::size_t i = 0; i < n; ++i) {
        values[i] = "key" + std::to_string(i * 7919 % 1000003);
    }
    return values;
}

std::size_t StringBytes(const std::vector<std::string>& values, std::size_t lengthWidth) {
    std::size_t bytes = 0;
    for (const std::string& s : values) {
        bytes += lengthWidth + s.size();
    }
    return bytes;
}

// The internal filters over a loopback that holds a whole data set.
struct Loopback {
    explicit Loopback(std::size_t bytes) : buffer(static_cast<unsigned>(bytes)) {}
    void Rewind() {
        buffer.wr_off = 0;
        buffer.rd_off = 0;
    }
    bio_Buffer buffer;
    bio_OmemoryDevice odev{buffer};
    bio_ImemoryDevice idev{buffer};
    bio_OinternalFilter out{odev};
    bio_IinternalFilter in{idev};
};

std::unique_ptr<bio_IOmemFilter> FilledMem(const std::vector<double>& values) {
    const unsigned bytes = static_cast<unsigned>(values.size() * sizeof(double));
    auto mem = std::make_unique<bio_IOmemFilter>(bytes);
    mem->insertVector(values.data(), static_cast<unsigned>(values.size()));
    return mem;
}

// One cereal archive of type Archive over caller memory, handed to body.
template <class Archive, class Stream, class Body>
void WithArchive(char* memory, std::size_t bytes, Body body) {
    MemoryStreamBuf buf(memory, bytes);
    Stream stream(&buf);
    Archive archive(stream);
    body(archive);
}

// The bytes of the values, as every filter writes them.
std::vector<char> ImageOf(const std::vector<double>& values) {
    std::vector<char> memory(values.size() * sizeof(double));
    std::memcpy(memory.data(), values.data(), memory.size());
    return memory;
}

// The sum of n doubles, each read through read(v).
template <class ReadOne>
double SumOf(std::size_t n, ReadOne read) {
    double sum = 0;
    double v = 0;
    for (std::size_t i = 0; i < n; ++i) {
        read(v);
        sum += v;
    }
    return sum;
}

// Each pass reads a memory filter that fill() made with the timer stopped; the filter is
// destroyed with the timer stopped too.
template <class Fill, class Read>
void ReadFreshFilters(benchmark::State& state, Fill fill, Read read) {
    for (auto _ : state) {
        state.PauseTiming();
        std::unique_ptr<bio_IOmemFilter> mem = fill();
        state.ResumeTiming();
        read(*mem);
        state.PauseTiming();
        mem.reset();
        state.ResumeTiming();
    }
}

void SetBytes(benchmark::State& state, std::size_t bytes) {
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}

// ---- doubles, one at a time ----

void BM_DoubleScalarWrite_IOmemFilter(benchmark::State& state) {
    const std::vector<double> values = Doubles(Size(10'000'000));
    const std::size_t bytes = values.size() * sizeof(double);
    for (auto _ : state) {
        bio_IOmemFilter mem(static_cast<unsigned>(bytes));
        for (const double& v : values) {
            mem << v;
        }
        benchmark::DoNotOptimize(mem.Data());
    }
    SetBytes(state, bytes);
}

void BM_DoubleScalarWrite_InternalLoopback(benchmark::State& state) {
    const std::vector<double> values = Doubles(Size(10'000'000));
    const std::size_t bytes = values.size() * sizeof(double);
    Loopback loop(bytes);
    for (auto _ : state) {
        loop.Rewind();
        for (const double& v : values) {
            loop.out << v;
        }
        benchmark::ClobberMemory();
    }
    SetBytes(state, bytes);
}

void WriteEachToCereal(char* memory, std::size_t bytes, const std::vector<double>& values) {
    WithArchive<cereal::BinaryOutputArchive, std::ostream>(memory, bytes, [&](auto& archive) {
        for (const double& v : values) {
            archive(v);
        }
    });
}

void BM_DoubleScalarWrite_Cereal(benchmark::State& state) {
    const std::vector<double> values = Doubles(Size(10'000'000));
    const std::size_t bytes = values.size() * sizeof(double);
    std::vector<char> memory(bytes);
    for (auto _ : state) {
        WriteEachToCereal(memory.data(), bytes, values);
        benchmark::ClobberMemory();
    }
    SetBytes(state, bytes);
}

// Into fresh memory, as the memory filter writes.
void BM_DoubleScalarWrite_CerealFresh(benchmark::State& state) {
    const std::vector<double> values = Doubles(Size(10'000'000));
    const std::size_t bytes = values.size() * sizeof(double);
    for (auto _ : state) {
        std::unique_ptr<char[]> memory(new char[bytes]);
        WriteEachToCereal(memory.get(), bytes, values);
        benchmark::DoNotOptimize(memory.get());
    }
    SetBytes(state, bytes);
}

void BM_DoubleScalarWrite_Memcpy(benchmark::State& state) {
    const std::vector<double> values = Doubles(Size(10'000'000));
    const std::size_t bytes = values.size() * sizeof(double);
    std::vector<char> memory(bytes);
    for (auto _ : state) {
        char* p = memory.data();
        for (const double& v : values) {
            std::memcpy(p, &v, sizeof v);
            p += sizeof v;
        }
        benchmark::ClobberMemory();
    }
    SetBytes(state, bytes);
}

void BM_DoubleScalarRead_IOmemFilter(benchmark::State& state) {
    const std::vector<double> values = Doubles(Size(10'000'000));
    double sum = 0;
    ReadFreshFilters(
        state, [&] { return FilledMem(values); },
        [&](bio_IOmemFilter& mem) { sum += SumOf(values.size(), [&](double& v) { mem >> v; }); });
    benchmark::DoNotOptimize(sum);
    SetBytes(state, values.size() * sizeof(double));
}

void BM_DoubleScalarRead_InternalLoopback(benchmark::State& state) {
    const std::vector<double> values = Doubles(Size(10'000'000));
    const std::size_t bytes = values.size() * sizeof(double);
    Loopback loop(bytes);
    loop.out.insertVector(values.data(), static_cast<unsigned>(bytes));
    double sum = 0;
    for (auto _ : state) {
        loop.buffer.rd_off = 0;
        sum += SumOf(values.size(), [&](double& v) { loop.in >> v; });
    }
    benchmark::DoNotOptimize(sum);
    SetBytes(state, bytes);
}

void BM_DoubleScalarRead_Cereal(benchmark::State& state) {
    const std::vector<double> values = Doubles(Size(10'000'000));
    std::vector<char> memory = ImageOf(values);
    double sum = 0;
    for (auto _ : state) {
        WithArchive<cereal::BinaryInputArchive, std::istream>(
            memory.data(), memory.size(),
            [&](auto& archive) { sum += SumOf(values.size(), [&](double& v) { archive(v); }); });
    }
    benchmark::DoNotOptimize(sum);
    SetBytes(state, memory.size());
}

void BM_DoubleScalarRead_Memcpy(benchmark::State& state) {
    const std::vector<double> values = Doubles(Size(10'000'000));
    std::vector<char> memory = ImageOf(values);
    double sum = 0;
    for (auto _ : state) {
        const char* p = memory.data();
        sum += SumOf(values.size(), [&](double& v) {
            std::memcpy(&v, p, sizeof v);
            p += sizeof v;
        });
    }
    benchmark::DoNotOptimize(sum);
    SetBytes(state, memory.size());
}

// ---- doubles as one vector ----

void BM_DoubleVectorWrite_IOmemFilter(benchmark::State& state) {
    const std::vector<double> values = Doubles(Size(10'000'000));
    const std::size_t bytes = values.size() * sizeof(double);
    for (auto _ : state) {
        bio_IOmemFilter mem(static_cast<unsigned>(bytes));
        mem.insertVector(values.data(), static_cast<unsigned>(values.size()));
        benchmark::DoNotOptimize(mem.Data());
    }
    SetBytes(state, bytes);
}

void BM_DoubleVectorWrite_InternalLoopback(benchmark::State& state) {
    const std::vector<double> values = Doubles(Size(10'000'000));
    const std::size_t bytes = values.size() * sizeof(double);
    Loopback loop(bytes);
    for (auto _ : state) {
        loop.Rewind();
        loop.out.insertVector(values.data(), static_cast<unsigned>(bytes));
        benchmark::ClobberMemory();
    }
    SetBytes(state, bytes);
}

void BM_DoubleVectorWrite_Cereal(benchmark::State& state) {
    const std::vector<double> values = Doubles(Size(10'000'000));
    const std::size_t bytes = values.size() * sizeof(double);
    std::vector<char> memory(bytes);
    for (auto _ : state) {
        WithArchive<cereal::BinaryOutputArchive, std::ostream>(
            memory.data(), bytes,
            [&](auto& archive) { archive(cereal::binary_data(values.data(), bytes)); });
        benchmark::ClobberMemory();
    }
    SetBytes(state, bytes);
}

// Into fresh memory, as the memory filter writes.
void BM_DoubleVectorWrite_MemcpyFresh(benchmark::State& state) {
    const std::vector<double> values = Doubles(Size(10'000'000));
    const std::size_t bytes = values.size() * sizeof(double);
    for (auto _ : state) {
        std::unique_ptr<char[]> memory(new char[bytes]);
        std::memcpy(memory.get(), values.data(), bytes);
        benchmark::DoNotOptimize(memory.get());
    }
    SetBytes(state, bytes);
}

// Into reused memory, as the loopback writes.
void BM_DoubleVectorWrite_MemcpyReused(benchmark::State& state) {
    const std::vector<double> values = Doubles(Size(10'000'000));
    std::vector<char> memory(values.size() * sizeof(double));
    for (auto _ : state) {
        std::memcpy(memory.data(), values.data(), memory.size());
        benchmark::ClobberMemory();
    }
    SetBytes(state, memory.size());
}

void BM_DoubleVectorRead_IOmemFilter(benchmark::State& state) {
    const std::vector<double> values = Doubles(Size(10'000'000));
    std::vector<double> back(values.size());
    ReadFreshFilters(
        state, [&] { return FilledMem(values); },
        [&](bio_IOmemFilter& mem) {
            mem.extractVector(back.data(), static_cast<unsigned>(back.size()));
            benchmark::ClobberMemory();
        });
    SetBytes(state, values.size() * sizeof(double));
}

void BM_DoubleVectorRead_InternalLoopback(benchmark::State& state) {
    const std::vector<double> values = Doubles(Size(10'000'000));
    const std::size_t bytes = values.size() * sizeof(double);
    Loopback loop(bytes);
    loop.out.insertVector(values.data(), static_cast<unsigned>(bytes));
    std::vector<double> back(values.size());
    for (auto _ : state) {
        loop.buffer.rd_off = 0;
        loop.in.extractVector(back.data(), static_cast<unsigned>(back.size()));
        benchmark::ClobberMemory();
    }
    SetBytes(state, bytes);
}

void BM_DoubleVectorRead_Cereal(benchmark::State& state) {
    const std::vector<double> values = Doubles(Size(10'000'000));
    std::vector<char> memory = ImageOf(values);
    std::vector<double> back(values.size());
    for (auto _ : state) {
        WithArchive<cereal::BinaryInputArchive, std::istream>(
            memory.data(), memory.size(),
            [&](auto& archive) { archive(cereal::binary_data(back.data(), memory.size())); });
        benchmark::ClobberMemory();
    }
    SetBytes(state, memory.size());
}

void BM_DoubleVectorRead_Memcpy(benchmark::State& state) {
    const std::vector<double> values = Doubles(Size(10'000'000));
    const std::size_t bytes = values.size() * sizeof(double);
    std::vector<double> back(values.size());
    for (auto _ : state) {
        std::memcpy(back.data(), values.data(), bytes);
        benchmark::ClobberMemory();
    }
    SetBytes(state, bytes);
}

// ---- short strings ----

template <class Filter>
void WriteStrings(Filter& out, const std::vector<std::string>& values) {
    for (const std::string& s : values) {
        out << s.c_str();
    }
}

void WriteStringsToCereal(char* memory, std::size_t bytes, const std::vector<std::string>& values) {
    WithArchive<cereal::BinaryOutputArchive, std::ostream>(memory, bytes, [&](auto& archive) {
        for (const std::string& s : values) {
            archive(s);
        }
    });
}

// Reads n strings through `in`, which answers each string's first byte.
template <class ReadFirstByte>
std::size_t SumOfFirstBytes(std::size_t n, ReadFirstByte in) {
    std::size_t total = 0;
    for (std::size_t i = 0; i < n; ++i) {
        total += in();
    }
    return total;
}

// One filter string: its first byte, then freed.
template <class Filter>
unsigned char TakeFilterString(Filter& in) {
    char* s = nullptr;
    in >> s;
    const auto first = static_cast<unsigned char>(s[0]);
    delete[] s;
    return first;
}

void BM_StringWrite_IOmemFilter(benchmark::State& state) {
    const std::vector<std::string> values = Strings(Size(1'000'000));
    const std::size_t bytes = StringBytes(values, 4);
    for (auto _ : state) {
        bio_IOmemFilter mem(static_cast<unsigned>(bytes));
        WriteStrings(mem, values);
        benchmark::DoNotOptimize(mem.Data());
    }
    SetBytes(state, bytes);
}

void BM_StringWrite_InternalLoopback(benchmark::State& state) {
    const std::vector<std::string> values = Strings(Size(1'000'000));
    const std::size_t bytes = StringBytes(values, 4);
    Loopback loop(bytes);
    for (auto _ : state) {
        loop.Rewind();
        WriteStrings(loop.out, values);
        benchmark::ClobberMemory();
    }
    SetBytes(state, bytes);
}

void BM_StringWrite_Cereal(benchmark::State& state) {
    const std::vector<std::string> values = Strings(Size(1'000'000));
    const std::size_t bytes = StringBytes(values, 8);
    std::vector<char> memory(bytes);
    for (auto _ : state) {
        WriteStringsToCereal(memory.data(), bytes, values);
        benchmark::ClobberMemory();
    }
    SetBytes(state, bytes);
}

void BM_StringRead_IOmemFilter(benchmark::State& state) {
    const std::vector<std::string> values = Strings(Size(1'000'000));
    const std::size_t bytes = StringBytes(values, 4);
    std::size_t total = 0;
    const auto fill = [&] {
        auto mem = std::make_unique<bio_IOmemFilter>(static_cast<unsigned>(bytes));
        WriteStrings(*mem, values);
        return mem;
    };
    ReadFreshFilters(state, fill, [&](bio_IOmemFilter& mem) {
        total += SumOfFirstBytes(values.size(), [&] { return TakeFilterString(mem); });
    });
    benchmark::DoNotOptimize(total);
    SetBytes(state, bytes);
}

void BM_StringRead_InternalLoopback(benchmark::State& state) {
    const std::vector<std::string> values = Strings(Size(1'000'000));
    const std::size_t bytes = StringBytes(values, 4);
    Loopback loop(bytes);
    WriteStrings(loop.out, values);
    std::size_t total = 0;
    for (auto _ : state) {
        loop.buffer.rd_off = 0;
        total += SumOfFirstBytes(values.size(), [&] { return TakeFilterString(loop.in); });
    }
    benchmark::DoNotOptimize(total);
    SetBytes(state, bytes);
}

void BM_StringRead_Cereal(benchmark::State& state) {
    const std::vector<std::string> values = Strings(Size(1'000'000));
    const std::size_t bytes = StringBytes(values, 8);
    std::vector<char> memory(bytes);
    WriteStringsToCereal(memory.data(), bytes, values);
    std::size_t total = 0;
    for (auto _ : state) {
        WithArchive<cereal::BinaryInputArchive, std::istream>(
            memory.data(), bytes, [&](auto& archive) {
                total += SumOfFirstBytes(values.size(), [&] {
                    std::string s;
                    archive(s);
                    return static_cast<unsigned char>(s[0]);
                });
            });
    }
    benchmark::DoNotOptimize(total);
    SetBytes(state, bytes);
}

} // namespace

BENCHMARK(BM_DoubleScalarWrite_IOmemFilter)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DoubleScalarWrite_InternalLoopback)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DoubleScalarWrite_Cereal)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DoubleScalarWrite_CerealFresh)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DoubleScalarWrite_Memcpy)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DoubleScalarRead_IOmemFilter)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DoubleScalarRead_InternalLoopback)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DoubleScalarRead_Cereal)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DoubleScalarRead_Memcpy)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DoubleVectorWrite_IOmemFilter)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DoubleVectorWrite_InternalLoopback)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DoubleVectorWrite_Cereal)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DoubleVectorWrite_MemcpyFresh)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DoubleVectorWrite_MemcpyReused)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DoubleVectorRead_IOmemFilter)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DoubleVectorRead_InternalLoopback)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DoubleVectorRead_Cereal)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DoubleVectorRead_Memcpy)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_StringWrite_IOmemFilter)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_StringWrite_InternalLoopback)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_StringWrite_Cereal)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_StringRead_IOmemFilter)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_StringRead_InternalLoopback)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_StringRead_Cereal)->Unit(benchmark::kMillisecond);
