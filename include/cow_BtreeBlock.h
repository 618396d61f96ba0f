// Where the B-tree keeps a node and the handle made with it: side by side in one heap block.
//
// A walk down the tree reads each child's handle and then its node; side by side, the two come
// with one miss, or two to neighbouring lines, instead of two to anywhere. Every node lives in
// a block. A handle takes the room beside its node when that room is free, which it is for the
// handle made with the node; any other handle (a second holder of a shared node) is allocated
// apart. The block holds two independent lives, since a shared node outlives the handle beside
// it and a handle that made its node private outlives the old node: the block is freed when
// both have gone.
//
// A block's handle sits 8 bytes past a 16-byte boundary and a handle allocated apart on one;
// that is how a handle is told from the other kind when it is freed. Counters stay in their own
// allocations, as the holders make them.
#pragma once

#include "vlt_Export.h"

#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>

namespace vlt::detail {

// Blocks and handles allocated apart both start on a 16-byte boundary.
inline constexpr std::align_val_t cow_BtreeBlockAlignment{16};
VLTUTL_API void* cow_BtreeBlockTake(std::size_t size);
VLTUTL_API void cow_BtreeBlockGive(void* block) noexcept;

template <class Node, class Handle>
class cow_BtreeBlock {
public:
    static constexpr std::size_t kHandleOffset = 8;
    static constexpr std::size_t kNodeOffset = kHandleOffset + sizeof(Handle);
    static constexpr std::size_t kSize = kNodeOffset + sizeof(Node);

    static void* NewNode() {
        static_assert(alignof(Node) <= 8 && alignof(Handle) <= 8 && sizeof(Handle) == 16);
        auto* block = static_cast<unsigned char*>(cow_BtreeBlockTake(kSize));
        new (block) Parts(kNodeLives);
        return block + kNodeOffset;
    }
    static void FreeNode(void* node) noexcept {
        Drop(static_cast<unsigned char*>(node) - kNodeOffset, kNodeLives);
    }

    // A handle made from args that holds node, a node made by NewNode.
    template <class... Args>
    static Handle* NewHandle(const Node* node, Args&&... args) {
        unsigned char* block = BlockOf(node);
        if ((PartsOf(block) & kHandleLives) == 0) {
            auto* handle = new (block + kHandleOffset) Handle(std::forward<Args>(args)...);
            PartsOf(block) |= kHandleLives;
            return handle;
        }
        void* apart = ::operator new(sizeof(Handle), cow_BtreeBlockAlignment);
        try {
            return new (apart) Handle(std::forward<Args>(args)...);
        } catch (...) {
            ::operator delete(apart, cow_BtreeBlockAlignment);
            throw;
        }
    }
    // Null is allowed.
    static void FreeHandle(Handle* handle) noexcept {
        if (handle == nullptr) {
            return;
        }
        const bool inBlock = reinterpret_cast<std::uintptr_t>(handle) %
                                 static_cast<std::size_t>(cow_BtreeBlockAlignment) ==
                             kHandleOffset;
        handle->~Handle(); // may free the node beside it
        if (inBlock) {
            Drop(reinterpret_cast<unsigned char*>(handle) - kHandleOffset, kHandleLives);
        } else {
            ::operator delete(handle, cow_BtreeBlockAlignment);
        }
    }

private:
    using Parts = std::uint32_t;
    static constexpr Parts kHandleLives = 1;
    static constexpr Parts kNodeLives = 2;

    static unsigned char* BlockOf(const Node* node) {
        return reinterpret_cast<unsigned char*>(const_cast<Node*>(node)) - kNodeOffset;
    }
    static Parts& PartsOf(unsigned char* block) {
        return *std::launder(reinterpret_cast<Parts*>(block));
    }
    static void Drop(unsigned char* block, Parts part) noexcept {
        Parts& parts = PartsOf(block);
        parts &= ~part;
        if (parts == 0) {
            cow_BtreeBlockGive(block);
        }
    }
};

} // namespace vlt::detail
