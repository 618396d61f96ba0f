// A process-wide object that is never created on demand: some other code constructs T
// explicitly (which registers it), and `omi_SingletonExplicit<T>::Instance()` finds it.
#pragma once

#include "omi_SingletonBase.h"

#include <stdexcept>

namespace vlt::detail {
inline constexpr char omi_SingletonExplicitPath[] = "include/omi_SingletonExplicit";
} // namespace vlt::detail

template <class T>
class VLT_TEMPLATE_VISIBLE omi_SingletonExplicit {
public:
    // Using the singleton before it exists is reported. There is no object to hand out, so
    // when the report returns the call ends in std::logic_error rather than a null reference.
    static T& Instance() {
        T* registered = omi_SingletonBase<T>::Instance();
        if (registered == nullptr) {
            crt_Assert("instance != 0", vlt::detail::omi_SingletonExplicitPath, __LINE__);
            throw std::logic_error("omi_SingletonExplicit: no instance registered");
        }
        return *registered;
    }
};
