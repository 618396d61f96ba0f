// The use count of one module: the rule shared by every `<module>_initialize(int&)` and
// `<module>_finalize(int&)` pair.
//
// Only the first initialise (count 0 to 1) and the matching last finalise (1 to 0) act, and
// each of those moves the caller's tally by one. A finalise without an initialise wraps the
// count to the largest unsigned value and does nothing else (deliberate: the next initialise
// then only brings it back to 0). No locking: modules start and stop on one thread.
#pragma once

#include <cstdint>

class omi_UseCount {
public:
    // True when the caller must do the module's start-up work.
    bool Initialize(int& tally) {
        const uint32_t old = count++;
        if (old != 0) {
            return false;
        }
        ++tally;
        return true;
    }

    // True when the caller must do the module's shut-down work.
    bool Finalize(int& tally) {
        const uint32_t old = count--;
        if (old != 1) {
            return false;
        }
        --tally;
        return true;
    }

    uint32_t Count() const { return count; }

private:
    uint32_t count = 0;
};
