// Which dictionaries a domain is looked up in, and in which order: the locale names the
// environment asks for, each from its most to its least specific form.
//
// Read from the environment on every call (the translation calls it once per domain load).
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vlt::detail {

// The variable that names the catalogue directory.
inline constexpr char trDirectoryVariable[] = "KES_LOCALE_DIR";

// The locale names to try, most wanted first, without repeats, up to the first "C" or "POSIX"
// (which translate nothing). Names that hold a path separator are passed over.
std::vector<std::string> trLocaleSearchList();

// "de_AT.UTF-8@euro" gives "de_AT.UTF-8@euro", "de_AT@euro", "de@euro", "de_AT.UTF-8",
// "de_AT", "de" (the repeats left out for shorter names).
std::vector<std::string> trLocaleVariants(std::string_view name);

} // namespace vlt::detail
