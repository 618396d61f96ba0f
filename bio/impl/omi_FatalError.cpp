#include "omi_FatalError.h"

#include <cstdlib>
#include <cstring>
#include <utility>

namespace {

// A heap copy, or the empty text when there is no memory left for one: copying an error
// that is being thrown must not throw in turn.
const char* duplicate(const char* text, bool& owned) noexcept {
    const std::size_t size = std::strlen(text) + 1;
    char* copy = static_cast<char*>(std::malloc(size));
    owned = copy != nullptr;
    if (copy == nullptr) {
        return "";
    }
    std::memcpy(copy, text, size);
    return copy;
}

} // namespace

omi_FatalError::omi_FatalError(const char* message, int32_t code) noexcept
    : message_(message != nullptr ? message : ""), code_(code) {}

omi_FatalError omi_FatalError::Copied(const char* message, int32_t code) {
    omi_FatalError error(message, code);
    error.message_ = duplicate(error.message_, error.owned_);
    return error;
}

omi_FatalError::omi_FatalError(const omi_FatalError& other)
    : message_(other.message_), code_(other.code_) {
    if (other.owned_) {
        message_ = duplicate(other.message_, owned_);
    }
}

omi_FatalError& omi_FatalError::operator=(const omi_FatalError& other) {
    if (this != &other) {
        omi_FatalError copy(other);
        std::swap(message_, copy.message_);
        std::swap(code_, copy.code_);
        std::swap(owned_, copy.owned_);
    }
    return *this;
}

omi_FatalError::~omi_FatalError() {
    if (owned_) {
        std::free(const_cast<char*>(message_));
    }
}
