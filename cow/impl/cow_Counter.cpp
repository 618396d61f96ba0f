// The pool of counter cells.
//
// Each thread keeps a free list of 8-byte cells cut from 64 KiB slabs. A cell freed on another
// thread joins that thread's list (values may move between threads under the client's lock),
// and a thread that ends hands its list to a shared one under a mutex. Slabs are kept for the
// life of the process: the memory of counters is reused, never returned. Under
// AddressSanitizer the pool steps aside so that every counter is checked on its own. It also
// steps aside on Windows, where the toolchain's emulated thread-local storage is released
// before the destructors of thread-local objects run: an ending thread could not hand its list
// on.
#include "cow_CountedHld.h"

#include <cstdlib>
#include <mutex>
#include <new>
#include <vector>

#if defined(__SANITIZE_ADDRESS__) || defined(_WIN32)
#define COW_COUNTER_POOL 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define COW_COUNTER_POOL 0
#endif
#endif
#ifndef COW_COUNTER_POOL
#define COW_COUNTER_POOL 1
#endif

#if COW_COUNTER_POOL

namespace {

struct Cell {
    Cell* next;
};
static_assert(sizeof(Cell) >= sizeof(cow_Counter) && alignof(Cell) >= alignof(cow_Counter));

constexpr std::size_t kCellsPerSlab = 8192;

// Cells of ended threads, and every slab ever made (kept reachable on purpose).
struct SharedPool {
    std::mutex mutex;
    Cell* freeCells = nullptr;
    std::vector<Cell*> slabs;
};

SharedPool& Shared() {
    static SharedPool* pool = new SharedPool; // outlives every thread's list
    return *pool;
}

// The calling thread's free cells. The hot path reads the head through the initial-exec model,
// one load from the thread pointer instead of a call into the dynamic linker per counter: the
// library is linked by its clients, and a pointer fits the static surplus of a late load.
[[gnu::tls_model("initial-exec")]] thread_local Cell* freeHead = nullptr;

// Hands the thread's cells to the shared pool when the thread ends. Armed whenever the list
// starts from empty, so that the head above stays a plain variable with no guard per access.
struct ThreadExit {
    bool armed = false;

    ~ThreadExit() {
        if (freeHead == nullptr) {
            return;
        }
        Cell* tail = freeHead;
        while (tail->next != nullptr) {
            tail = tail->next;
        }
        SharedPool& pool = Shared();
        std::lock_guard<std::mutex> lock(pool.mutex);
        tail->next = pool.freeCells;
        pool.freeCells = freeHead;
        freeHead = nullptr;
    }
};

thread_local ThreadExit threadExit;

// Takes the shared cells when there are any, else a new slab threaded into a list.
Cell* Refill() {
    threadExit.armed = true;
    SharedPool& pool = Shared();
    std::lock_guard<std::mutex> lock(pool.mutex);
    if (pool.freeCells != nullptr) {
        Cell* taken = pool.freeCells;
        pool.freeCells = nullptr;
        return taken;
    }
    auto* slab = static_cast<Cell*>(std::malloc(kCellsPerSlab * sizeof(Cell)));
    if (slab == nullptr) {
        throw std::bad_alloc();
    }
    pool.slabs.push_back(slab);
    for (std::size_t i = 0; i + 1 < kCellsPerSlab; ++i) {
        slab[i].next = &slab[i + 1];
    }
    slab[kCellsPerSlab - 1].next = nullptr;
    return slab;
}

} // namespace

void* cow_Counter::operator new(std::size_t) {
    Cell* cell = freeHead;
    if (cell == nullptr) {
        cell = Refill();
    }
    freeHead = cell->next;
    return cell;
}

void cow_Counter::operator delete(void* cell) noexcept {
    auto* freed = static_cast<Cell*>(cell);
    if (freeHead == nullptr) {
        threadExit.armed = true; // a thread that only frees must hand its cells on too
    }
    freed->next = freeHead;
    freeHead = freed;
}

#else

void* cow_Counter::operator new(std::size_t size) {
    return ::operator new(size);
}

void cow_Counter::operator delete(void* cell) noexcept {
    ::operator delete(cell);
}

#endif
