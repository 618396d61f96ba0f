// Base of every class held by `thr_GlobalSingleton`: the registered instance and the class's
// own mutex, which is created on demand under the process-wide `thr_GlobalLock`.
//
// Both statics are atomic so that the unlocked first read of the double-checked creation in
// `thr_GlobalSingleton<T>::Instance()` is well defined.
#pragma once

#include "crt_Assert.h"
#include "omi_Singleton.h"
#include "thr_Mutex.h"
#include "vlt_Export.h"

#include <atomic>

namespace vlt::detail {
inline constexpr char thr_GlobalSingletonBasePath[] = "include/thr_GlobalSingletonBase";
} // namespace vlt::detail

template <class T>
class VLT_TEMPLATE_VISIBLE thr_GlobalSingletonBase {
public:
    // Destroys the instance and the class's mutex. Lock order: class mutex, then the
    // process-wide lock. With nothing registered it does nothing (a mutex, if any, stays).
    static void Finalize() {
        T* registered = instance.load(std::memory_order_acquire);
        if (registered == nullptr) {
            return;
        }
        LockBase();
        delete registered;
        instance.store(nullptr, std::memory_order_release);
        thr_GlobalLock& global = omi_Singleton<thr_GlobalLock>::Instance();
        global.Lock();
        UnlockBase();
        delete lock.exchange(nullptr, std::memory_order_acq_rel);
        global.Unlock();
    }

    thr_GlobalSingletonBase(const thr_GlobalSingletonBase&) = delete;
    thr_GlobalSingletonBase& operator=(const thr_GlobalSingletonBase&) = delete;

protected:
    thr_GlobalSingletonBase() {
        CRT_CHECK(instance.load(std::memory_order_relaxed) == nullptr, "instance == 0",
                  vlt::detail::thr_GlobalSingletonBasePath);
        instance.store(static_cast<T*>(this), std::memory_order_release);
    }

    ~thr_GlobalSingletonBase() {
        T* self = static_cast<T*>(this);
        instance.compare_exchange_strong(self, nullptr, std::memory_order_acq_rel);
    }

    // The registered instance, possibly null, without locking.
    static T* Instance() { return instance.load(std::memory_order_acquire); }

    static void CreateSingletonLocks() {
        thr_GlobalLock& global = omi_Singleton<thr_GlobalLock>::Instance();
        global.Lock();
        if (lock.load(std::memory_order_relaxed) == nullptr) {
            lock.store(new thr_Mutex(0), std::memory_order_release);
        }
        global.Unlock();
    }

    static void LockBase() { lock.load(std::memory_order_acquire)->Lock(); }
    static void UnlockBase() { lock.load(std::memory_order_acquire)->Unlock(); }

private:
    static inline std::atomic<T*> instance{nullptr};
    static inline std::atomic<thr_Mutex*> lock{nullptr};
};
