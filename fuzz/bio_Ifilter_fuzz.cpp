// libFuzzer target: arbitrary bytes decoded through both input filters. Nothing may crash,
// leak, hang or allocate beyond what the bytes justify, and every filter must decode the bytes
// alike; assertion reports are expected (a malformed stream raises them) and are counted.
#include "bio_IfilterDecode.h"
#include "fuzz_Support.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    const vlt::fuzz::QuietRun quiet;
    const std::array<unsigned, 3> steps = vlt::fuzz::DecodeEveryWay(data, size);
    if (steps[0] != steps[1] || steps[1] != steps[2]) {
        __builtin_trap(); // the filters disagree on one encoding
    }
    return 0;
}
