// The B-tree's blocks come from the general heap: it hands out consecutive blocks close
// together, and coalesces what a torn-down tree gave back, so that a later tree's blocks are
// close together again (a free list of equal cells would scatter them).
#include "cow_BtreeBlock.h"

void* vlt::detail::cow_BtreeBlockTake(std::size_t size) {
    return ::operator new(size, vlt::detail::cow_BtreeBlockAlignment);
}

void vlt::detail::cow_BtreeBlockGive(void* block) noexcept {
    ::operator delete(block, vlt::detail::cow_BtreeBlockAlignment);
}
