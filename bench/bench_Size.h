// Data-set sizes of the benchmarks, shrunk to a few elements for the CTest smoke run.
#pragma once

#include <cstddef>

namespace vlt::bench {

extern bool smoke;

// `full` normally, a handful under --smoke.
inline std::size_t Size(std::size_t full) {
    return smoke ? (full < 16 ? full : 16) : full;
}

} // namespace vlt::bench
