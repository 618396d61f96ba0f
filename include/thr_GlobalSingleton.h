// A process-wide object created on first use by whichever thread comes first: the only
// thread-safe singleton of the library. T derives from `thr_GlobalSingleton<T>`.
#pragma once

#include "thr_GlobalSingletonBase.h"

namespace vlt::detail {
inline constexpr char thr_GlobalSingletonPath[] = "include/thr_GlobalSingleton";
} // namespace vlt::detail

template <class T>
class VLT_TEMPLATE_VISIBLE thr_GlobalSingleton : public thr_GlobalSingletonBase<T> {
    using Base = thr_GlobalSingletonBase<T>;

public:
    // Double-checked creation: the unlocked read is the fast path once the instance exists.
    static T& Instance() {
        T* found = Base::Instance();
        if (found == nullptr) {
            Base::CreateSingletonLocks();
            Base::LockBase();
            found = Base::Instance();
            if (found == nullptr) {
                found = new T;
            }
            Base::UnlockBase();
        }
        CRT_CHECK(found == Base::Instance(),
                  "instance == thr_GlobalSingletonBase<Class>::Instance()",
                  vlt::detail::thr_GlobalSingletonPath);
        return *found;
    }

protected:
    thr_GlobalSingleton() = default;
    ~thr_GlobalSingleton() = default;
};
