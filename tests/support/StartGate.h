// A gate that holds a number of threads until the last of them arrives, so that they race
// from one start. Built on a mutex and a condition variable: the toolchain's std::barrier on
// Windows can lose the wake-up of a waiter and hang the test.
#pragma once

#include <condition_variable>
#include <mutex>

namespace vlt::test {

class StartGate {
public:
    explicit StartGate(int threads) : waiting_(threads) {}

    void ArriveAndWait() {
        std::unique_lock<std::mutex> lock(mutex_);
        if (--waiting_ == 0) {
            opened_.notify_all();
            return;
        }
        opened_.wait(lock, [this] { return waiting_ == 0; });
    }

private:
    std::mutex mutex_;
    std::condition_variable opened_;
    int waiting_;
};

} // namespace vlt::test
