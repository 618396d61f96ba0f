// Sequential transfer through utl_File against raw write(2)/read(2) on the same file system.
#include "bench_Size.h"
#include "utl_File.h"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

using vlt::bench::Size;

constexpr std::size_t totalBytes = std::size_t{1} << 30;

// One scratch file per run, removed at exit.
struct ScratchFile {
    std::string path = "/tmp/vlt_bench_File." + std::to_string(getpid());
    ~ScratchFile() { unlink(path.c_str()); }
};
const ScratchFile scratch;

struct Raw {
    static bool WriteAll(const char* bytes, int chunk, std::size_t total) {
        const int fd = open(scratch.path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
        bool ok = fd >= 0;
        for (std::size_t done = 0; ok && done < total; done += static_cast<std::size_t>(chunk)) {
            ok = write(fd, bytes, static_cast<std::size_t>(chunk)) == chunk;
        }
        return close(fd) == 0 && ok;
    }
    static std::size_t ReadAll(char* bytes, int chunk) {
        const int fd = open(scratch.path.c_str(), O_RDONLY | O_CLOEXEC);
        std::size_t total = 0;
        for (ssize_t got = 0; (got = read(fd, bytes, static_cast<std::size_t>(chunk))) > 0;) {
            total += static_cast<std::size_t>(got);
        }
        close(fd);
        return total;
    }
};

struct Utl {
    static bool WriteAll(const char* bytes, int chunk, std::size_t total) {
        utl_File file(scratch.path.c_str(), utl_FileAccessWrite);
        bool ok = true;
        for (std::size_t done = 0; ok && done < total; done += static_cast<std::size_t>(chunk)) {
            ok = file.Write(bytes, chunk) == chunk;
        }
        return ok;
    }
    static std::size_t ReadAll(char* bytes, int chunk) {
        utl_File file(scratch.path.c_str(), utl_FileAccessRead);
        std::size_t total = 0;
        for (int got = 0; (got = file.Read(bytes, chunk)) > 0;) {
            total += static_cast<std::size_t>(got);
        }
        return total;
    }
};

// Puts the written pages on the disk outside the timing, so that each pass starts without the
// previous pass's write-back and the figures compare the calls rather than the disk.
void SyncScratch() {
    const int fd = open(scratch.path.c_str(), O_RDONLY | O_CLOEXEC);
    fsync(fd);
    close(fd);
}

std::vector<char> Pattern(std::size_t n) {
    std::vector<char> bytes(n);
    for (std::size_t i = 0; i < n; ++i) {
        bytes[i] = static_cast<char>(i * 131 % 251);
    }
    return bytes;
}

template <class Api>
void BM_FileWrite(benchmark::State& state) {
    const std::size_t total = Size(totalBytes);
    const int chunk = static_cast<int>(Size(static_cast<std::size_t>(state.range(0))));
    const std::vector<char> bytes = Pattern(static_cast<std::size_t>(chunk));
    for (auto _ : state) {
        if (!Api::WriteAll(bytes.data(), chunk, total)) {
            state.SkipWithError("write failed");
            break;
        }
        state.PauseTiming();
        SyncScratch();
        state.ResumeTiming();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(total));
}

// The file is written once, outside the timing; the reads then come from the page cache for
// both sides alike.
template <class Api>
void BM_FileRead(benchmark::State& state) {
    const std::size_t total = Size(totalBytes);
    const int chunk = static_cast<int>(Size(static_cast<std::size_t>(state.range(0))));
    std::vector<char> bytes = Pattern(static_cast<std::size_t>(chunk));
    if (!Raw::WriteAll(bytes.data(), chunk, total)) {
        state.SkipWithError("preparing the file failed");
        return;
    }
    for (auto _ : state) {
        if (Api::ReadAll(bytes.data(), chunk) != total) {
            state.SkipWithError("short read");
            break;
        }
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(total));
}

void Chunks(benchmark::internal::Benchmark* b) {
    b->ArgName("chunk")->Arg(1 << 20)->Arg(4096)->Unit(benchmark::kMillisecond)->UseRealTime();
}

BENCHMARK_TEMPLATE(BM_FileWrite, Utl)->Apply(Chunks);
BENCHMARK_TEMPLATE(BM_FileWrite, Raw)->Apply(Chunks);
BENCHMARK_TEMPLATE(BM_FileRead, Utl)->Apply(Chunks);
BENCHMARK_TEMPLATE(BM_FileRead, Raw)->Apply(Chunks);

} // namespace
