// The floating-point trap switch: whether the environment asks for traps. The processor's
// controls are reached through omn_InterruptPlatform.h.
#include "omn_Interrupt.h"
#include "omn_InterruptPlatform.h"

#include <cstdlib>
#include <cstring>

namespace {

constexpr char patternVariable[] = "KSR_PATTERN";

// Whole, case-sensitive values only.
constexpr const char* trapValues[] = {"PATTERN", "FPE", "pattern"};

bool AsksForTraps(const char* value) {
    for (const char* trapValue : trapValues) {
        if (std::strcmp(value, trapValue) == 0) {
            return true;
        }
    }
    return false;
}

} // namespace

void omn_enableFPE() {
    const char* value = std::getenv(patternVariable);
    if (value != nullptr && AsksForTraps(value)) {
        vlt::detail::FloatingPointTrapAndFlush();
    }
}
