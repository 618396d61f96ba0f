// Container and object serialisation against cereal's and Boost's binary archives: a map of
// 100,000 string keys to floats, a list of 10M doubles (std::map<std::string, float> and
// std::vector<double> for the peers), and a graph of 1M pointers of which half repeat an
// earlier one, which our pointer records and Boost's object tracking write once each.
//
// Every pass writes into fresh memory sized up front; every read pass reads a copy filled with
// the timer stopped. The peers' archives go through a plain stream buffer over caller memory
// (their fastest set-up); Boost's without its header.
#include "bench_MemoryStreamBuf.h"
#include "bench_Size.h"
#include "bio_IOmemFilter.h"
#include "cio_1DArrayList.h"
#include "cio_Map.h"
#include "cio_String.h"
#include "obj_p0Interface.h"
#include "utl_Modules.h"

#include <benchmark/benchmark.h>
#include <boost/archive/binary_iarchive.hpp>
#include <boost/archive/binary_oarchive.hpp>
#include <boost/serialization/map.hpp>
#include <boost/serialization/string.hpp>
#include <boost/serialization/vector.hpp>
#include <cereal/archives/binary.hpp>
#include <cereal/types/map.hpp>
#include <cereal/types/string.hpp>
#include <cereal/types/vector.hpp>

#include <map>
#include <memory>
#include <streambuf>
#include <string>
#include <vector>

namespace {

using vlt::bench::MemoryStreamBuf;
using vlt::bench::Size;

const bool started = [] {
    int tally = 0;
    typ_initialize(tally);
    bio_initialize(tally);
    obj_initialize(tally);
    cio_initialize(tally);
    return true;
}();

// Keys of 16 letters, spread like words: the map's digital tree takes one bit per byte.
std::string Key(std::size_t i) {
    uint64_t x = (i + 1) * 0x9e3779b97f4a7c15ull;
    std::string key(16, 'a');
    for (char& c : key) {
        x ^= x >> 29;
        x *= 0xbf58476d1ce4e5b9ull;
        c = static_cast<char>('a' + x % 26);
    }
    return key;
}

constexpr auto boostFlags = boost::archive::no_header | boost::archive::no_codecvt;

// Our data and the peers' copy of it.
struct MapData {
    explicit MapData(std::size_t n) {
        for (std::size_t i = 0; i < n; ++i) {
            ours.Insert(Key(i).c_str(), static_cast<float>(i) * 0.5f);
            theirs.emplace(Key(i), static_cast<float>(i) * 0.5f);
        }
    }
    cow_Map<cow_String, float> ours;
    std::map<std::string, float> theirs;
};

struct ListData {
    explicit ListData(std::size_t n) {
        for (std::size_t i = 0; i < n; ++i) {
            theirs.push_back(static_cast<double>(i) * 0.37 - 1e5);
        }
        ours = cow_1DArrayList<double, double>(theirs.data(), static_cast<unsigned>(n), 1, 4096);
    }
    cow_1DArrayList<double, double> ours;
    std::vector<double> theirs;
};

// What our write of value produces, to fill the read passes' filters.
template <class Value>
std::vector<char> OurBytes(const Value& value) {
    bio_IOmemFilter mem(1 << 20);
    mem << value;
    return {mem.Data(), mem.Data() + mem.Written()};
}

std::unique_ptr<bio_IOmemFilter> Filled(const std::vector<char>& bytes) {
    auto mem = std::make_unique<bio_IOmemFilter>(static_cast<unsigned>(bytes.size() + 16));
    mem->longMove(bytes.data(), static_cast<unsigned>(bytes.size()));
    return mem;
}

template <class Value>
void OursWrite(benchmark::State& state, const Value& value, std::size_t bytes) {
    for (auto _ : state) {
        bio_IOmemFilter mem(static_cast<unsigned>(bytes + 16));
        mem << value;
        benchmark::DoNotOptimize(mem.Data());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes));
}

template <class Value>
void OursRead(benchmark::State& state, const Value& value) {
    const std::vector<char> bytes = OurBytes(value);
    for (auto _ : state) {
        state.PauseTiming();
        auto mem = Filled(bytes);
        Value read;
        state.ResumeTiming();
        *mem >> read;
        benchmark::DoNotOptimize(read);
        state.PauseTiming();
        mem.reset();
        read = Value();
        state.ResumeTiming();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes.size()));
}

template <class Archive, class Value, class... Flags>
std::size_t PeerWrite(std::vector<char>& memory, const Value& value, Flags... flags) {
    MemoryStreamBuf buf(memory.data(), memory.size());
    std::ostream out(&buf);
    {
        Archive archive(out, flags...);
        archive << value;
    }
    return buf.Written();
}

template <class Archive, class Value, class... Flags>
void PeerWriteBench(benchmark::State& state, const Value& value, std::size_t bytes,
                    Flags... flags) {
    for (auto _ : state) {
        std::vector<char> memory(bytes * 2 + 1024);
        benchmark::DoNotOptimize(PeerWrite<Archive>(memory, value, flags...));
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes));
}

template <class OArchive, class IArchive, class Value, class... Flags>
void PeerReadBench(benchmark::State& state, const Value& value, std::size_t bytes, Flags... flags) {
    std::vector<char> written(bytes * 2 + 1024);
    const std::size_t used = PeerWrite<OArchive>(written, value, flags...);
    for (auto _ : state) {
        state.PauseTiming();
        std::vector<char> memory(written.begin(), written.begin() + static_cast<long>(used));
        Value read;
        state.ResumeTiming();
        {
            MemoryStreamBuf buf(memory.data(), memory.size());
            std::istream in(&buf);
            IArchive archive(in, flags...);
            archive >> read;
        }
        benchmark::DoNotOptimize(read);
        state.PauseTiming();
        read = Value();
        state.ResumeTiming();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes));
}

std::size_t MapBytes(const MapData& data) {
    return OurBytes(data.ours).size();
}

void BM_MapWrite_Ours(benchmark::State& state) {
    const MapData data(Size(100000));
    OursWrite(state, data.ours, MapBytes(data));
}
void BM_MapWrite_Cereal(benchmark::State& state) {
    const MapData data(Size(100000));
    PeerWriteBench<cereal::BinaryOutputArchive>(state, data.theirs, MapBytes(data));
}
void BM_MapWrite_Boost(benchmark::State& state) {
    const MapData data(Size(100000));
    PeerWriteBench<boost::archive::binary_oarchive>(state, data.theirs, MapBytes(data), boostFlags);
}
void BM_MapRead_Ours(benchmark::State& state) {
    const MapData data(Size(100000));
    OursRead(state, data.ours);
}
void BM_MapRead_Cereal(benchmark::State& state) {
    const MapData data(Size(100000));
    PeerReadBench<cereal::BinaryOutputArchive, cereal::BinaryInputArchive>(state, data.theirs,
                                                                           MapBytes(data));
}
void BM_MapRead_Boost(benchmark::State& state) {
    const MapData data(Size(100000));
    PeerReadBench<boost::archive::binary_oarchive, boost::archive::binary_iarchive>(
        state, data.theirs, MapBytes(data), boostFlags);
}

std::size_t ListBytes(std::size_t n) {
    return n * sizeof(double);
}

void BM_ListWrite_Ours(benchmark::State& state) {
    const ListData data(Size(10000000));
    OursWrite(state, data.ours, OurBytes(data.ours).size());
}
void BM_ListWrite_Cereal(benchmark::State& state) {
    const ListData data(Size(10000000));
    PeerWriteBench<cereal::BinaryOutputArchive>(state, data.theirs, ListBytes(data.theirs.size()));
}
void BM_ListWrite_Boost(benchmark::State& state) {
    const ListData data(Size(10000000));
    PeerWriteBench<boost::archive::binary_oarchive>(state, data.theirs,
                                                    ListBytes(data.theirs.size()), boostFlags);
}
void BM_ListRead_Ours(benchmark::State& state) {
    const ListData data(Size(10000000));
    OursRead(state, data.ours);
}
void BM_ListRead_Cereal(benchmark::State& state) {
    const ListData data(Size(10000000));
    PeerReadBench<cereal::BinaryOutputArchive, cereal::BinaryInputArchive>(
        state, data.theirs, ListBytes(data.theirs.size()));
}
void BM_ListRead_Boost(benchmark::State& state) {
    const ListData data(Size(10000000));
    PeerReadBench<boost::archive::binary_oarchive, boost::archive::binary_iarchive>(
        state, data.theirs, ListBytes(data.theirs.size()), boostFlags);
}

// The pointer graph: n pointers over n / 2 objects, each object named twice.
struct Item {
    std::string text;
    template <class Archive>
    void serialize(Archive& archive, unsigned) {
        archive& text;
    }
};

template <class Object>
struct Graph {
    explicit Graph(std::size_t n) {
        for (std::size_t i = 0; i < n / 2; ++i) {
            objects.push_back(std::make_unique<Object>());
            Text(*objects.back()) = Key(i).c_str();
        }
        for (std::size_t i = 0; i < n; ++i) {
            pointers.push_back(objects[(i * 7919) % objects.size()].get());
        }
    }
    static auto& Text(Item& item) { return item.text; }
    static cow_String& Text(cio_String& s) { return s; }
    std::vector<std::unique_ptr<Object>> objects;
    std::vector<Object*> pointers;
};

constexpr std::size_t graphPointers = 1000000;

void WriteOurGraph(bio_Ofilter& out, const std::vector<cio_String*>& pointers) {
    for (const cio_String* p : pointers) {
        obj_OutputP0Ptr(out, p, cio_String::TypeId());
    }
}

void BM_PointersWrite_Ours(benchmark::State& state) {
    const Graph<cio_String> graph(Size(graphPointers));
    for (auto _ : state) {
        bio_IOmemFilter mem(16 << 20);
        WriteOurGraph(mem, graph.pointers);
        benchmark::DoNotOptimize(mem.Data());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(graph.pointers.size()));
}

void BM_PointersRead_Ours(benchmark::State& state) {
    const Graph<cio_String> graph(Size(graphPointers));
    bio_IOmemFilter written(16 << 20);
    WriteOurGraph(written, graph.pointers);
    const std::vector<char> bytes(written.Data(), written.Data() + written.Written());
    std::vector<void*> read(graph.pointers.size());
    for (auto _ : state) {
        state.PauseTiming();
        auto mem = Filled(bytes);
        state.ResumeTiming();
        for (void*& p : read) {
            obj_InputP0Ptr(*mem, &p, cio_String::TypeId());
        }
        state.PauseTiming();
        mem.reset();
        std::sort(read.begin(), read.end());
        read.erase(std::unique(read.begin(), read.end()), read.end());
        for (void* p : read) {
            cio_String::DtorFunc(p);
        }
        read.assign(graph.pointers.size(), nullptr);
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(graph.pointers.size()));
}

std::size_t WriteBoostGraph(std::vector<char>& memory, const std::vector<Item*>& pointers) {
    MemoryStreamBuf buf(memory.data(), memory.size());
    std::ostream out(&buf);
    {
        boost::archive::binary_oarchive archive(out, boostFlags);
        for (const Item* p : pointers) {
            archive << p;
        }
    }
    return buf.Written();
}

void BM_PointersWrite_Boost(benchmark::State& state) {
    const Graph<Item> graph(Size(graphPointers));
    for (auto _ : state) {
        std::vector<char> memory(32 << 20);
        benchmark::DoNotOptimize(WriteBoostGraph(memory, graph.pointers));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(graph.pointers.size()));
}

void BM_PointersRead_Boost(benchmark::State& state) {
    const Graph<Item> graph(Size(graphPointers));
    std::vector<char> written(32 << 20);
    written.resize(WriteBoostGraph(written, graph.pointers));
    std::vector<Item*> read(graph.pointers.size());
    for (auto _ : state) {
        state.PauseTiming();
        std::vector<char> memory(written);
        state.ResumeTiming();
        {
            MemoryStreamBuf buf(memory.data(), memory.size());
            std::istream in(&buf);
            boost::archive::binary_iarchive archive(in, boostFlags);
            for (Item*& p : read) {
                archive >> p;
            }
        }
        state.PauseTiming();
        std::sort(read.begin(), read.end());
        read.erase(std::unique(read.begin(), read.end()), read.end());
        for (Item* p : read) {
            delete p;
        }
        read.assign(graph.pointers.size(), nullptr);
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(graph.pointers.size()));
}

} // namespace

BENCHMARK(BM_MapWrite_Ours)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MapWrite_Cereal)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MapWrite_Boost)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MapRead_Ours)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MapRead_Cereal)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MapRead_Boost)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ListWrite_Ours)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ListWrite_Cereal)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ListWrite_Boost)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ListRead_Ours)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ListRead_Cereal)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ListRead_Boost)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PointersWrite_Ours)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PointersWrite_Boost)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PointersRead_Ours)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PointersRead_Boost)->Unit(benchmark::kMillisecond);
