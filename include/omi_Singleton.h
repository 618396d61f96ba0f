// A process-wide object created on first use: `omi_Singleton<T>::Instance()`.
//
// T derives from `omi_SingletonBase<T>` and is default-constructible by `omi_Singleton<T>`.
// It lives until `omi_SingletonBase<T>::Finalize()`; the next `Instance()` makes a new one.
#pragma once

#include "omi_SingletonBase.h"

namespace vlt::detail {
inline constexpr char omi_SingletonPath[] = "include/omi_Singleton";
} // namespace vlt::detail

template <class T>
class VLT_TEMPLATE_VISIBLE omi_Singleton {
public:
    static T& Instance() {
        if (T* existing = omi_SingletonBase<T>::Instance()) {
            return *existing;
        }
        T* created = new T;
        CRT_CHECK(created == omi_SingletonBase<T>::Instance(),
                  "instance == omi_SingletonBase<Class>::Instance()",
                  vlt::detail::omi_SingletonPath);
        return *created;
    }
};
