#include "utl_trLocale.h"

#include "utl_trPlatform.h"

#include <algorithm>
#include <cstdlib>

namespace vlt::detail {
namespace {

// In the order they rule; only the first may list several names.
constexpr const char* localeVariables[] = {"LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG"};

std::string AskedLocales() {
    for (const char* variable : localeVariables) {
        const char* value = std::getenv(variable);
        if (value != nullptr && *value != '\0') {
            return value;
        }
    }
    return trSystemLocaleName();
}

bool TranslatesNothing(std::string_view name) {
    const std::string_view language = name.substr(0, name.find_first_of(".@"));
    return language == "C" || language == "POSIX";
}

void AddOnce(std::vector<std::string>& names, std::string name) {
    if (std::find(names.begin(), names.end(), name) == names.end()) {
        names.push_back(std::move(name));
    }
}

} // namespace

std::vector<std::string> trLocaleVariants(std::string_view name) {
    // language[_territory][.codeset][@modifier]
    const std::size_t modifierAt = std::min(name.find('@'), name.size());
    const std::string_view modifier = name.substr(modifierAt);
    const std::string_view base = name.substr(0, modifierAt);
    const std::size_t codesetAt = std::min(base.find('.'), base.size());
    const std::size_t territoryAt = std::min(base.find('_'), codesetAt);
    const std::string_view forms[] = {base, base.substr(0, codesetAt), base.substr(0, territoryAt)};
    std::vector<std::string> variants;
    for (const std::string_view tail : {modifier, std::string_view()}) {
        for (const std::string_view form : forms) {
            if (!form.empty()) {
                AddOnce(variants, std::string(form) + std::string(tail));
            }
        }
    }
    return variants;
}

std::vector<std::string> trLocaleSearchList() {
    const std::string asked = AskedLocales();
    std::vector<std::string> names;
    std::size_t start = 0;
    while (start <= asked.size()) {
        const std::size_t end = std::min(asked.find(':', start), asked.size());
        const std::string_view name = std::string_view(asked).substr(start, end - start);
        if (TranslatesNothing(name)) {
            break;
        }
        // A name is one folder: none may climb out of the catalogue directory.
        if (name.find_first_of("/\\") != std::string_view::npos) {
            start = end + 1;
            continue;
        }
        for (std::string& variant : trLocaleVariants(name)) {
            AddOnce(names, std::move(variant));
        }
        start = end + 1;
    }
    return names;
}

} // namespace vlt::detail
