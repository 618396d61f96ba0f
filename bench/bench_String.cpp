// cow_String against std::string and Qt's implicitly shared QByteArray.
#include "bench_Size.h"
#include "cow_String.h"

#include <QByteArray>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cctype>
#include <string>

namespace {

using vlt::bench::Size;

std::string Text(std::size_t n) {
    std::string text(n, 'a');
    for (std::size_t i = 0; i < n; ++i) {
        text[i] = static_cast<char>('a' + i * 7 % 26);
    }
    return text;
}

template <class String>
String Make(const std::string& text) {
    if constexpr (std::is_same_v<String, cow_String>) {
        return cow_String(text.data(), static_cast<unsigned>(text.size()));
    } else if constexpr (std::is_same_v<String, QByteArray>) {
        return QByteArray(text.data(), static_cast<int>(text.size()));
    } else {
        return text;
    }
}

template <class String>
void BM_StringCopy(benchmark::State& state) {
    const String source = Make<String>(Text(Size(state.range(0))));
    for (auto _ : state) {
        String copy(source);
        benchmark::DoNotOptimize(copy);
    }
}

template <class String>
void BM_StringAssign(benchmark::State& state) {
    const String source = Make<String>(Text(Size(state.range(0))));
    String target = Make<String>("x");
    for (auto _ : state) {
        target = source;
        benchmark::DoNotOptimize(target);
    }
}

// The needle sits at the very end of the haystack, so the whole text is scanned.
template <class String>
void BM_StringFind(benchmark::State& state) {
    const std::size_t n = Size(state.range(0));
    const std::string needle = "0123456789";
    const String haystack = Make<String>(Text(n) + needle);
    for (auto _ : state) {
        std::size_t at;
        if constexpr (std::is_same_v<String, cow_String>) {
            at = haystack.Find(needle.c_str());
        } else if constexpr (std::is_same_v<String, QByteArray>) {
            at = static_cast<std::size_t>(haystack.indexOf(needle.c_str()));
        } else {
            at = haystack.find(needle);
        }
        benchmark::DoNotOptimize(at);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(n));
}

// Builds a text of range(0) bytes by appends of range(1) bytes.
template <class String>
void BM_StringAppend(benchmark::State& state) {
    const std::size_t n = Size(state.range(0));
    const std::size_t piece = static_cast<std::size_t>(state.range(1));
    const std::string chunk = Text(piece);
    for (auto _ : state) {
        String built;
        for (std::size_t size = 0; size < n; size += piece) {
            if constexpr (std::is_same_v<String, cow_String>) {
                built.Append(chunk.c_str());
            } else {
                built.append(chunk.c_str());
            }
        }
        benchmark::DoNotOptimize(built);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(n));
}

// Upper-casing a copy that shares its text with the source.
template <class String>
void BM_StringToUpperShared(benchmark::State& state) {
    const String source = Make<String>(Text(Size(state.range(0))));
    for (auto _ : state) {
        String copy(source);
        if constexpr (std::is_same_v<String, cow_String>) {
            copy.ToUpper();
        } else if constexpr (std::is_same_v<String, QByteArray>) {
            copy = copy.toUpper();
        } else {
            std::transform(copy.begin(), copy.end(), copy.begin(),
                           [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
        }
        benchmark::DoNotOptimize(copy);
    }
}

#define VLT_STRING_BENCHMARK(name, ...)                                                            \
    BENCHMARK(name<cow_String>)->__VA_ARGS__;                                                      \
    BENCHMARK(name<std::string>)->__VA_ARGS__;                                                     \
    BENCHMARK(name<QByteArray>)->__VA_ARGS__

VLT_STRING_BENCHMARK(BM_StringCopy, Arg(16)->Arg(4 << 10)->Arg(1 << 20));
VLT_STRING_BENCHMARK(BM_StringAssign, Arg(16)->Arg(4 << 10)->Arg(1 << 20));
VLT_STRING_BENCHMARK(BM_StringFind, Arg(4 << 10)->Arg(1 << 20));
VLT_STRING_BENCHMARK(BM_StringAppend, Args({1 << 20, 1})->Args({1 << 20, 64}));
VLT_STRING_BENCHMARK(BM_StringToUpperShared, Arg(4 << 10)->Arg(1 << 20));

} // namespace
