// The binary filters against memcpy and cereal's binary archives: 10M doubles written and read
// one by one and as one vector, and 1M short strings.
//
// bio_IOmemFilter has no rewind, so each pass writes into a fresh filter (sized up front, as a
// caller who knows the size does) and each read pass gets a freshly filled one, filled with the
// timer stopped. The internal filters stream through one loopback buffer sized for the whole
// data set and rewound between passes. cereal writes to and reads from caller memory through a
// plain stream buffer (its fastest set-up); memcpy is the floor, into fresh and into reused
// memory.
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

// A stream buffer over caller memory, for cereal's archives.
class MemoryStreamBuf : public std::streambuf {
public:
    MemoryStreamBuf(char* data, std::size_t n) {
        setp(data, data + n);
        setg(data, data, data + n);
    }
};

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

void BM_DoubleScalarWrite_Cereal(benchmark::State& state) {
    const std::vector<double> values = Doubles(Size(10'000'000));
    const std::size_t bytes = values.size() * sizeof(double);
    std::vector<char> memory(bytes);
    for (auto _ : state) {
        MemoryStreamBuf buf(memory.data(), bytes);
        std::ostream os(&buf);
        cereal::BinaryOutputArchive archive(os);
        for (const double& v : values) {
            archive(v);
        }
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
        MemoryStreamBuf buf(memory.get(), bytes);
        std::ostream os(&buf);
        cereal::BinaryOutputArchive archive(os);
        for (const double& v : values) {
            archive(v);
        }
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
    for (auto _ : state) {
        state.PauseTiming();
        std::unique_ptr<bio_IOmemFilter> mem = FilledMem(values);
        state.ResumeTiming();
        double v = 0;
        for (std::size_t i = 0; i < values.size(); ++i) {
            *mem >> v;
            sum += v;
        }
        state.PauseTiming();
        mem.reset();
        state.ResumeTiming();
    }
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
        double v = 0;
        for (std::size_t i = 0; i < values.size(); ++i) {
            loop.in >> v;
            sum += v;
        }
    }
    benchmark::DoNotOptimize(sum);
    SetBytes(state, bytes);
}

void BM_DoubleScalarRead_Cereal(benchmark::State& state) {
    const std::vector<double> values = Doubles(Size(10'000'000));
    const std::size_t bytes = values.size() * sizeof(double);
    std::vector<char> memory(bytes);
    std::memcpy(memory.data(), values.data(), bytes);
    double sum = 0;
    for (auto _ : state) {
        MemoryStreamBuf buf(memory.data(), bytes);
        std::istream is(&buf);
        cereal::BinaryInputArchive archive(is);
        double v = 0;
        for (std::size_t i = 0; i < values.size(); ++i) {
            archive(v);
            sum += v;
        }
    }
    benchmark::DoNotOptimize(sum);
    SetBytes(state, bytes);
}

void BM_DoubleScalarRead_Memcpy(benchmark::State& state) {
    const std::vector<double> values = Doubles(Size(10'000'000));
    const std::size_t bytes = values.size() * sizeof(double);
    std::vector<char> memory(bytes);
    std::memcpy(memory.data(), values.data(), bytes);
    double sum = 0;
    for (auto _ : state) {
        const char* p = memory.data();
        double v = 0;
        for (std::size_t i = 0; i < values.size(); ++i) {
            std::memcpy(&v, p, sizeof v);
            p += sizeof v;
            sum += v;
        }
    }
    benchmark::DoNotOptimize(sum);
    SetBytes(state, bytes);
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
        MemoryStreamBuf buf(memory.data(), bytes);
        std::ostream os(&buf);
        cereal::BinaryOutputArchive archive(os);
        archive(cereal::binary_data(values.data(), bytes));
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
    const std::size_t bytes = values.size() * sizeof(double);
    std::vector<char> memory(bytes);
    for (auto _ : state) {
        std::memcpy(memory.data(), values.data(), bytes);
        benchmark::ClobberMemory();
    }
    SetBytes(state, bytes);
}

void BM_DoubleVectorRead_IOmemFilter(benchmark::State& state) {
    const std::vector<double> values = Doubles(Size(10'000'000));
    std::vector<double> back(values.size());
    for (auto _ : state) {
        state.PauseTiming();
        std::unique_ptr<bio_IOmemFilter> mem = FilledMem(values);
        state.ResumeTiming();
        mem->extractVector(back.data(), static_cast<unsigned>(back.size()));
        benchmark::ClobberMemory();
        state.PauseTiming();
        mem.reset();
        state.ResumeTiming();
    }
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
    const std::size_t bytes = values.size() * sizeof(double);
    std::vector<char> memory(bytes);
    std::memcpy(memory.data(), values.data(), bytes);
    std::vector<double> back(values.size());
    for (auto _ : state) {
        MemoryStreamBuf buf(memory.data(), bytes);
        std::istream is(&buf);
        cereal::BinaryInputArchive archive(is);
        archive(cereal::binary_data(back.data(), bytes));
        benchmark::ClobberMemory();
    }
    SetBytes(state, bytes);
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

void BM_StringWrite_IOmemFilter(benchmark::State& state) {
    const std::vector<std::string> values = Strings(Size(1'000'000));
    const std::size_t bytes = StringBytes(values, 4);
    for (auto _ : state) {
        bio_IOmemFilter mem(static_cast<unsigned>(bytes));
        for (const std::string& s : values) {
            mem << s.c_str();
        }
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
        for (const std::string& s : values) {
            loop.out << s.c_str();
        }
        benchmark::ClobberMemory();
    }
    SetBytes(state, bytes);
}

void BM_StringWrite_Cereal(benchmark::State& state) {
    const std::vector<std::string> values = Strings(Size(1'000'000));
    const std::size_t bytes = StringBytes(values, 8);
    std::vector<char> memory(bytes);
    for (auto _ : state) {
        MemoryStreamBuf buf(memory.data(), bytes);
        std::ostream os(&buf);
        cereal::BinaryOutputArchive archive(os);
        for (const std::string& s : values) {
            archive(s);
        }
        benchmark::ClobberMemory();
    }
    SetBytes(state, bytes);
}

void BM_StringRead_IOmemFilter(benchmark::State& state) {
    const std::vector<std::string> values = Strings(Size(1'000'000));
    const std::size_t bytes = StringBytes(values, 4);
    std::size_t total = 0;
    for (auto _ : state) {
        state.PauseTiming();
        auto mem = std::make_unique<bio_IOmemFilter>(static_cast<unsigned>(bytes));
        for (const std::string& s : values) {
            *mem << s.c_str();
        }
        state.ResumeTiming();
        for (std::size_t i = 0; i < values.size(); ++i) {
            char* s = nullptr;
            *mem >> s;
            total += static_cast<unsigned char>(s[0]);
            delete[] s;
        }
        state.PauseTiming();
        mem.reset();
        state.ResumeTiming();
    }
    benchmark::DoNotOptimize(total);
    SetBytes(state, bytes);
}

void BM_StringRead_InternalLoopback(benchmark::State& state) {
    const std::vector<std::string> values = Strings(Size(1'000'000));
    const std::size_t bytes = StringBytes(values, 4);
    Loopback loop(bytes);
    for (const std::string& s : values) {
        loop.out << s.c_str();
    }
    std::size_t total = 0;
    for (auto _ : state) {
        loop.buffer.rd_off = 0;
        for (std::size_t i = 0; i < values.size(); ++i) {
            char* s = nullptr;
            loop.in >> s;
            total += static_cast<unsigned char>(s[0]);
            delete[] s;
        }
    }
    benchmark::DoNotOptimize(total);
    SetBytes(state, bytes);
}

void BM_StringRead_Cereal(benchmark::State& state) {
    const std::vector<std::string> values = Strings(Size(1'000'000));
    const std::size_t bytes = StringBytes(values, 8);
    std::vector<char> memory(bytes);
    {
        MemoryStreamBuf buf(memory.data(), bytes);
        std::ostream os(&buf);
        cereal::BinaryOutputArchive archive(os);
        for (const std::string& s : values) {
            archive(s);
        }
    }
    std::size_t total = 0;
    for (auto _ : state) {
        MemoryStreamBuf buf(memory.data(), bytes);
        std::istream is(&buf);
        cereal::BinaryInputArchive archive(is);
        for (std::size_t i = 0; i < values.size(); ++i) {
            std::string s;
            archive(s);
            total += static_cast<unsigned char>(s[0]);
        }
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
