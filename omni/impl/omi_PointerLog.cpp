#include "omi_PointerLog.h"

#include <algorithm>
#include <utility>

namespace vlt::detail {

void omi_AddressLog::Clear() {
    std::fill(slots_.begin(), slots_.end(), Slot{});
    count_ = 0;
}

void omi_AddressLog::Grow() {
    std::vector<Slot> old(slots_.size() * 2);
    old.swap(slots_);
    for (const Slot& slot : old) {
        if (slot.used) {
            slots_[Probe(slot.key)] = slot;
        }
    }
}

bool omi_MarkerLog::FindSparse(unsigned marker, void*& p, unsigned& type) const {
    const auto found = sparse_.find(marker);
    if (found == sparse_.end()) {
        return false;
    }
    p = found->second.object;
    type = found->second.type;
    return true;
}

} // namespace vlt::detail
