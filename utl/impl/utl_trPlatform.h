// What the translation asks of the operating system: the locale of the user when the
// environment names none. Each platform answers in utl_trPlatform_<os>.cpp; neither throws.
#pragma once

#include <string>

namespace vlt::detail {

// The user's default locale name in the environment's spelling ("de_AT"); empty when the
// system keeps none beside the environment (as on Linux).
std::string trSystemLocaleName();

} // namespace vlt::detail
