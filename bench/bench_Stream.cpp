// Text output and input: 10M doubles written in a form that reads back exactly, and 10M lines
// read back, through utl_Stream and through what a user would pick instead (std::ofstream,
// fprintf, fmt; std::getline).
#include "bench_Size.h"
#include "utl_Stream.h"

#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <iomanip>
#include <iterator>
#include <random>
#include <string>
#include <vector>

namespace {

using vlt::bench::Size;

constexpr std::size_t valueCount = 10'000'000;
constexpr std::size_t flushSize = 64 * 1024;

struct ScratchFile {
    std::string path = "/tmp/vlt_bench_Stream." + std::to_string(getpid());
    ~ScratchFile() { std::remove(path.c_str()); }
};
const ScratchFile scratch;

// Values of a simulation's range: signed, of varying magnitude, with all their digits.
const std::vector<double>& Values() {
    static const std::vector<double> values = [] {
        std::mt19937_64 random(42);
        std::uniform_real_distribution<double> mantissa(-1.0, 1.0);
        std::uniform_int_distribution<int> exponent(-8, 8);
        std::vector<double> all(Size(valueCount));
        for (double& value : all) {
            value = mantissa(random) * std::pow(10.0, exponent(random));
        }
        return all;
    }();
    return values;
}

// Shortest form that reads back exactly.
struct Utl {
    static void Write(const std::vector<double>& values) {
        utl_Stream out(scratch.path.c_str(), utl_FileAccessWrite);
        for (const double value : values) {
            out << value << '\n';
        }
    }
};

// Seventeen significant digits: the stream's way to read back exactly.
struct Ofstream {
    static void Write(const std::vector<double>& values) {
        std::ofstream out(scratch.path, std::ios::binary);
        out << std::setprecision(17);
        for (const double value : values) {
            out << value << '\n';
        }
    }
};

template <const char* format>
struct Fprintf {
    static void Write(const std::vector<double>& values) {
        std::FILE* out = std::fopen(scratch.path.c_str(), "wb");
        for (const double value : values) {
            std::fprintf(out, format, value);
        }
        std::fclose(out);
    }
};
constexpr char exact[] = "%.17g\n";
constexpr char sixDigits[] = "%g\n";

// Shortest form that reads back exactly, into a buffer written out as ours is.
struct Fmt {
    static void Write(const std::vector<double>& values) {
        std::FILE* out = std::fopen(scratch.path.c_str(), "wb");
        fmt::memory_buffer buffer;
        for (const double value : values) {
            fmt::format_to(std::back_inserter(buffer), "{}\n", value);
            if (buffer.size() >= flushSize) {
                std::fwrite(buffer.data(), 1, buffer.size(), out);
                buffer.clear();
            }
        }
        std::fwrite(buffer.data(), 1, buffer.size(), out);
        std::fclose(out);
    }
};

template <class Api>
void BM_WriteDoubles(benchmark::State& state) {
    const std::vector<double>& values = Values();
    for (auto _ : state) {
        Api::Write(values);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(values.size()));
}

struct LineTotals {
    std::size_t lines = 0;
    std::size_t bytes = 0;
};

struct UtlLines {
    static LineTotals Read() {
        utl_Stream in(scratch.path.c_str(), utl_FileAccessRead);
        LineTotals totals;
        for (cow_String line; in.ReadLine(line); ++totals.lines) {
            totals.bytes += line.Length();
        }
        return totals;
    }
};

struct Getline {
    static LineTotals Read() {
        std::ifstream in(scratch.path, std::ios::binary);
        LineTotals totals;
        for (std::string line; std::getline(in, line); ++totals.lines) {
            totals.bytes += line.size();
        }
        return totals;
    }
};

// The lines are the doubles' texts, written once outside the timing; both read them from the
// page cache alike.
template <class Api>
void BM_ReadLines(benchmark::State& state) {
    Utl::Write(Values());
    const std::size_t expected = Values().size();
    for (auto _ : state) {
        const LineTotals totals = Api::Read();
        if (totals.lines != expected) {
            state.SkipWithError("wrong line count");
            break;
        }
        benchmark::DoNotOptimize(totals.bytes);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(expected));
}

BENCHMARK(BM_WriteDoubles<Utl>)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WriteDoubles<Fmt>)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WriteDoubles<Fprintf<exact>>)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WriteDoubles<Fprintf<sixDigits>>)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WriteDoubles<Ofstream>)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReadLines<UtlLines>)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReadLines<Getline>)->Unit(benchmark::kMillisecond);

} // namespace
