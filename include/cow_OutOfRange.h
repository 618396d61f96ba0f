// What an element access out of range sees after its assertion report.
//
// The arrays report a bad index and then carry on; carrying on must neither read nor write
// outside their storage. A read out of range gets a value-initialised element that nobody
// owns; a write out of range lands in a scratch element that is reset before each use. Both
// are per element type and per process, and, like the containers, for one thread at a time.
#pragma once

namespace vlt::detail {

template <class T>
const T& cow_OutOfRangeRead() {
    static const T missing{};
    return missing;
}

template <class T>
T& cow_OutOfRangeWrite() {
    static T discarded{};
    discarded = T{};
    return discarded;
}

} // namespace vlt::detail
