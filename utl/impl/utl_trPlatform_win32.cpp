// Windows keeps the user's locale in its settings, not in the environment: GetUserDefaultLocaleName
// answers "de-AT", which the dictionaries' folders spell "de_AT".
#include "utl_trPlatform.h"

#include <windows.h>

namespace vlt::detail {

std::string trSystemLocaleName() {
    wchar_t name[LOCALE_NAME_MAX_LENGTH] = {};
    if (GetUserDefaultLocaleName(name, LOCALE_NAME_MAX_LENGTH) <= 0) {
        return {};
    }
    std::string spelt;
    for (const wchar_t* at = name; *at != L'\0'; ++at) {
        // Locale names are ASCII; anything else makes a name no folder carries.
        if (*at > 0x7f) {
            return {};
        }
        spelt += *at == L'-' ? '_' : static_cast<char>(*at);
    }
    return spelt;
}

} // namespace vlt::detail
