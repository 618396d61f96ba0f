#include "utl_trPlatform.h"

namespace vlt::detail {

// The locale variables are the system's own setting here: the environment has said all.
std::string trSystemLocaleName() {
    return {};
}

} // namespace vlt::detail
