// The shared system helpers that need no system call.
#include "omn_System.h"

#include <cstring>

namespace vlt::detail {

void SystemCutLineEnd(char* text, std::size_t length) {
    while (length > 0 &&
           (text[length - 1] == '\r' || text[length - 1] == '\n' || text[length - 1] == ' ')) {
        --length;
    }
    text[length] = '\0';
}

std::size_t SystemCopyText(char* target, std::size_t capacity, const char* source) {
    if (capacity == 0) {
        return 0;
    }
    if (source == nullptr) {
        target[0] = '\0';
        return 0;
    }
    const std::size_t length = strnlen(source, capacity - 1);
    std::memcpy(target, source, length);
    target[length] = '\0';
    return length;
}

} // namespace vlt::detail
