// The thread library's mutex and the process-wide lock.
//
// `thr_Mutex` is a plain, non-recursive mutual-exclusion lock. `thr_GlobalLock` is the one lock
// of the process that serialises the creation of other locks (see `thr_GlobalSingleton`); it is
// reached through `omi_Singleton<thr_GlobalLock>::Instance()` and created by `thr_initialize`,
// so that concurrent first uses find it already there.
#pragma once

#include "omi_SingletonBase.h"
#include "vlt_Export.h"

#include <mutex>

class VLTTHR_API thr_Mutex {
public:
    // The argument is the spin count of the suite's original lock; this mutex lets the
    // operating system decide how long to spin.
    explicit thr_Mutex(unsigned spinCount = 0);
    thr_Mutex(const thr_Mutex&) = delete;
    thr_Mutex& operator=(const thr_Mutex&) = delete;
    ~thr_Mutex();

    void Lock();
    void Unlock();

private:
    std::mutex mutex;
};

class thr_GlobalLock;
// The instance lives in the library: one per process, also across a DLL boundary.
extern template class VLTTHR_API omi_SingletonBase<thr_GlobalLock>;

class VLTTHR_API thr_GlobalLock : public omi_SingletonBase<thr_GlobalLock> {
public:
    thr_GlobalLock();
    ~thr_GlobalLock();

    void Lock();
    void Unlock();

private:
    thr_Mutex mutex;
};

// The thread library's module pair, under the same use-count rule as every module.
VLTTHR_API void thr_initialize(int& tally);
VLTTHR_API void thr_finalize(int& tally);
