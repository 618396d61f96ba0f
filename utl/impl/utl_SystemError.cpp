#include "utl_SystemError.h"

#include "nex_TextException.h"
#include "omn_System.h"

#include <cstddef>
#include <cstdio>

namespace vlt::detail {
namespace {

constexpr std::size_t messageCapacity = 1024;

} // namespace

void RaiseText(const char* text, const char* path, int line) {
    nex_TextException(text).Throw(path, line);
}

void RaiseSystemError(const char* context, int error, const char* path, int line) {
    char system[messageCapacity / 4];
    SystemMessage(error, system, sizeof system);
    char text[messageCapacity];
    if (std::snprintf(text, sizeof text, "%s: %s", context, system) < 0) {
        text[0] = '\0';
    }
    RaiseText(text, path, line);
}

} // namespace vlt::detail
