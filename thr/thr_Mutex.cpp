#include "thr_Mutex.h"

#include "omi_Singleton.h"
#include "omi_UseCount.h"

template class omi_SingletonBase<thr_GlobalLock>;

thr_Mutex::thr_Mutex(unsigned /*spinCount*/) {}
thr_Mutex::~thr_Mutex() = default;

void thr_Mutex::Lock() {
    mutex.lock();
}
void thr_Mutex::Unlock() {
    mutex.unlock();
}

thr_GlobalLock::thr_GlobalLock() = default;
thr_GlobalLock::~thr_GlobalLock() = default;

void thr_GlobalLock::Lock() {
    mutex.Lock();
}
void thr_GlobalLock::Unlock() {
    mutex.Unlock();
}

namespace {
omi_UseCount useCount;
} // namespace

void thr_initialize(int& tally) {
    if (useCount.Initialize(tally)) {
        omi_Singleton<thr_GlobalLock>::Instance();
    }
}

void thr_finalize(int& tally) {
    if (useCount.Finalize(tally)) {
        omi_SingletonBase<thr_GlobalLock>::Finalize();
    }
}
