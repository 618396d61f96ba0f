// Base of every class held by `omi_Singleton` or `omi_SingletonExplicit`.
//
// Constructing the class registers the object as the process's instance; `Finalize()` destroys
// it. Creation and first use are not locked: they belong on one thread (see
// `thr_GlobalSingleton` for the locked form).
#pragma once

#include "crt_Assert.h"
#include "vlt_Export.h"

namespace vlt::detail {
inline constexpr char omi_SingletonBasePath[] = "include/omi_SingletonBase";
} // namespace vlt::detail

template <class T>
class VLT_TEMPLATE_VISIBLE omi_SingletonBase {
public:
    // Destroys the instance, if any. Calling it again is harmless.
    static void Finalize() {
        if (instance != nullptr) {
            delete instance;
        }
        instance = nullptr;
    }

    // The registered instance, or null.
    static T* Instance() { return instance; }

    omi_SingletonBase(const omi_SingletonBase&) = delete;
    omi_SingletonBase& operator=(const omi_SingletonBase&) = delete;

protected:
    omi_SingletonBase() {
        CRT_CHECK(instance == nullptr, "instance == 0", vlt::detail::omi_SingletonBasePath);
        instance = static_cast<T*>(this);
    }

    // A registered object that is destroyed some other way than through Finalize() must not
    // stay registered.
    ~omi_SingletonBase() {
        if (instance == static_cast<T*>(this)) {
            instance = nullptr;
        }
    }

private:
    static inline T* instance = nullptr;
};
