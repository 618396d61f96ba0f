// libFuzzer target: arbitrary bytes dumped as vlt-dump dumps a stream file, each decoded
// record printed into a sink that drops it. Beyond surviving, the dump keeps its word: it stops
// inside the input, and it calls complete only an input in which it found a record.
#include "fuzz_Support.h"
#include "vlt_StreamDump.h"

#include <cstddef>
#include <cstdint>

namespace {

const bool started = vlt::fuzz::StartStreamModules();

void Require(bool rule) {
    if (!rule) {
        __builtin_trap();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    (void)started;
    const vlt::fuzz::QuietRun quiet;
    const vlt::tools::DumpOutcome outcome =
        vlt::tools::DumpStream(reinterpret_cast<const char*>(data), size, {}, vlt::fuzz::Discard());
    Require(outcome.offset <= size);
    Require(!outcome.complete || outcome.records > 0);
    Require(outcome.complete || !outcome.reason.empty());
    return 0;
}
