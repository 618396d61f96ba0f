#include "utl_PerfCounters.h"

#include "utl_PerfCounterPlatform.h"

#include <iterator>

using vlt::detail::PerfBit;
using vlt::detail::PerfMask;

namespace {

constexpr const char* counterNames[] = {
    "cycles",      "instructions", "cache-misses",  "branch-misses", "context-switches",
    "page-faults", "bytes-read",   "bytes-written", "read-calls",    "write-calls",
};
static_assert(std::size(counterNames) == utl_PerfCounterCount);

constexpr PerfMask everyCounter = (PerfMask{1} << utl_PerfCounterCount) - 1;

} // namespace

const char* utl_PerfCounterName(utl_PerfCounter counter) {
    const auto index = static_cast<std::size_t>(counter);
    return index < utl_PerfCounterCount ? counterNames[index] : "";
}

std::optional<utl_PerfCounter> utl_PerfCounterNamed(std::string_view name) {
    for (std::size_t index = 0; index < utl_PerfCounterCount; ++index) {
        if (name == counterNames[index]) {
            return static_cast<utl_PerfCounter>(index);
        }
    }
    return std::nullopt;
}

utl_PerfSample utl_PerfSample::Since(const utl_PerfSample& earlier) const {
    utl_PerfSample difference;
    for (std::size_t index = 0; index < utl_PerfCounterCount; ++index) {
        const auto counter = static_cast<utl_PerfCounter>(index);
        if (Has(counter) && earlier.Has(counter)) {
            const uint64_t now = m_Values[index];
            const uint64_t before = earlier.m_Values[index];
            difference.Set(counter, now > before ? now - before : 0);
        }
    }
    return difference;
}

utl_PerfCounters::utl_PerfCounters() : m_Sources(vlt::detail::PerfOpen(everyCounter)) {}

utl_PerfCounters::utl_PerfCounters(std::initializer_list<utl_PerfCounter> counters) {
    PerfMask wanted = 0;
    for (const utl_PerfCounter counter : counters) {
        wanted |= PerfBit(counter) & everyCounter;
    }
    m_Sources.reset(vlt::detail::PerfOpen(wanted));
}

utl_PerfCounters::~utl_PerfCounters() = default;
utl_PerfCounters::utl_PerfCounters(utl_PerfCounters&&) noexcept = default;
utl_PerfCounters& utl_PerfCounters::operator=(utl_PerfCounters&&) noexcept = default;

// A moved-from object has no sources and answers like a machine without counters.
bool utl_PerfCounters::Available(utl_PerfCounter counter) const {
    return m_Sources && (vlt::detail::PerfAvailable(*m_Sources) & PerfBit(counter)) != 0;
}

utl_PerfSample utl_PerfCounters::Sample() const {
    utl_PerfSample sample;
    if (m_Sources) {
        vlt::detail::PerfRead(*m_Sources, everyCounter, sample);
    }
    return sample;
}

std::optional<uint64_t> utl_PerfCounters::Read(utl_PerfCounter counter) const {
    utl_PerfSample sample;
    if (m_Sources) {
        vlt::detail::PerfRead(*m_Sources, PerfBit(counter), sample);
    }
    return sample[counter];
}
