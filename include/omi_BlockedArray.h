// Blocked one-dimensional storage for large, sparse index ranges.
//
// `omi_BlockedArray<T>` keeps its elements in blocks of 2^shift elements, reached through a
// table of block pointers. A block is made (zero-filled) on the first write into it, so memory
// follows the indices in use; the table grows by a fixed increment and never shrinks. The array
// owns its blocks; copies are deep. It is not shared and takes no locks.
//
// `begin()`/`end()` visit the cells of the blocks made so far, in index order, each as a pair of
// its index and its element: a cell that was never written in a made block reads zero, and the
// cells of blocks never made are not visited (they read zero too, and may be billions).
#pragma once

#include "crt_Assert.h"
#include "vlt_Export.h"
#include "vlt_Iterator.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

namespace vlt::detail {

inline constexpr char omi_BlockedArrayPath[] = "include/omi_BlockedArray";

// The smallest multiple of `increment` above `index`: the table length that holds `index`.
// A table longer than 32 bits can count cannot be held.
inline unsigned omi_TableLengthFor(unsigned index, unsigned increment) {
    const std::uint64_t length = (static_cast<std::uint64_t>(index) / increment + 1) * increment;
    if (length > UINT32_MAX) {
        throw std::bad_alloc();
    }
    return static_cast<unsigned>(length);
}

// Grows an owned table of block pointers to `wanted` entries: old pointers are kept, new
// entries are null, and a table never shrinks. The allocation at least doubles, so that keys
// arriving in ascending order do not copy the table once per step; entries between the length
// and the capacity are always null.
template <class Block>
void omi_GrowBlockTable(Block**& table, unsigned& length, unsigned& capacity, unsigned wanted) {
    if (wanted <= length) {
        return;
    }
    if (wanted > capacity) {
        const unsigned doubled = capacity > UINT32_MAX / 2 ? UINT32_MAX : 2 * capacity;
        const unsigned allocated = std::max(wanted, doubled);
        Block** grown = new Block*[allocated]();
        std::copy(table, table + length, grown);
        delete[] table;
        table = grown;
        capacity = allocated;
    }
    length = wanted;
}

} // namespace vlt::detail

template <class T>
class omi_BlockedArray;

namespace vlt::detail {
// Where a standard iterator of a blocked array stands: a cell of a made block, reached by
// pointer within the block; moving past a block looks for the next made one.
template <class T, bool Writable>
class omi_BlockedArrayCursor {
    using Array = std::conditional_t<Writable, omi_BlockedArray<T>, const omi_BlockedArray<T>>;
    using Element = std::conditional_t<Writable, T, const T>;

public:
    omi_BlockedArrayCursor() = default;
    explicit omi_BlockedArrayCursor(Array& array_) : array(&array_) { EnterFrom(0); }

    std::pair<unsigned, Element&> Read() const { return {index, *element}; }
    void Advance() {
        if (++element == blockEnd) {
            EnterFrom(nextBlock);
        } else {
            ++index;
        }
    }
    bool operator==(const omi_BlockedArrayCursor& other) const { return element == other.element; }

private:
    // Looks for the first made block at or after the one that holds `first`, a block's start.
    void EnterFrom(uint64_t first) {
        const uint64_t size = array->BlockSize();
        const uint64_t cells = static_cast<uint64_t>(array->TableLength()) * size;
        for (uint64_t start = first; start < cells && start <= UINT32_MAX; start += size) {
            element = array->FindCell(static_cast<unsigned>(start));
            if (element != nullptr) {
                index = static_cast<unsigned>(start);
                blockEnd = element + size;
                nextBlock = start + size;
                return;
            }
        }
        element = blockEnd = nullptr;
    }

    Array* array = nullptr;
    Element* element = nullptr;
    Element* blockEnd = nullptr;
    unsigned index = 0;
    uint64_t nextBlock = 0;
};
} // namespace vlt::detail

template <class T>
class omi_BlockedArray {
public:
    using iterator = vlt::detail::vlt_ForwardIterator<vlt::detail::omi_BlockedArrayCursor<T, true>>;
    using const_iterator =
        vlt::detail::vlt_ForwardIterator<vlt::detail::omi_BlockedArrayCursor<T, false>>;

    // `initialBlockCount` is both the first table length and the growth increment (128 when 0);
    // `shift` gives blocks of 2^shift elements.
    omi_BlockedArray(unsigned initialBlockCount, unsigned shift);
    omi_BlockedArray(const omi_BlockedArray& other);
    omi_BlockedArray& operator=(const omi_BlockedArray& other);
    virtual ~omi_BlockedArray();

    void SetCell(unsigned index, const T& value) { Cell(index) = value; }

    // The element at `index`, or null when its block was never made.
    const T* FindCell(unsigned index) const {
        const unsigned block = index >> shift;
        if (block >= tableLength || blockTable[block] == nullptr) {
            return nullptr;
        }
        return blockTable[block] + (index & mask);
    }
    T* FindCell(unsigned index) {
        return const_cast<T*>(static_cast<const omi_BlockedArray&>(*this).FindCell(index));
    }

    // The element at `index`; zero where nothing was written.
    T GetCell(unsigned index) const {
        const T* cell = FindCell(index);
        return cell != nullptr ? *cell : T();
    }

    unsigned BlockSize() const { return blockSize; }
    unsigned TableLength() const { return tableLength; }
    // The number of blocks made so far.
    unsigned BlockCount() const;

    const_iterator begin() const {
        return const_iterator(vlt::detail::omi_BlockedArrayCursor<T, false>(*this));
    }
    const_iterator end() const { return {}; }
    const_iterator cbegin() const { return begin(); }
    const_iterator cend() const { return end(); }
    iterator begin() { return iterator(vlt::detail::omi_BlockedArrayCursor<T, true>(*this)); }
    iterator end() { return {}; }

    // Prints every made block to standard output, each element as its bytes in memory order.
    void DumpArray() const;

protected:
    // The element at `index`, making its block (and growing the table) first when needed.
    T& Cell(unsigned index) { return MakeBlock(index >> shift)[index & mask]; }

    // The block at table entry `block`, made zero-filled when absent.
    T* MakeBlock(unsigned block) {
        if (block >= tableLength) {
            Realloc(vlt::detail::omi_TableLengthFor(block, growthIncrement));
        }
        T*& entry = blockTable[block];
        if (entry == nullptr) {
            entry = BlockInitialize();
        }
        return entry;
    }

    // Grows the table to `newTableLength` entries (never shrinks it).
    void Realloc(unsigned newTableLength) {
        vlt::detail::omi_GrowBlockTable(blockTable, tableLength, tableCapacity, newTableLength);
    }
    void FreeBlock(unsigned block) {
        delete[] blockTable[block];
        blockTable[block] = nullptr;
    }
    void Clear();

    unsigned growthIncrement;
    unsigned tableLength;
    unsigned blockSize;
    unsigned shift;
    unsigned mask;
    T** blockTable;

private:
    unsigned tableCapacity;

    T* BlockInitialize() const { return new T[blockSize](); }
    T* BlockCopy(const T* source) const;
    void Swap(omi_BlockedArray& other) noexcept;
};

template <class T>
omi_BlockedArray<T>::omi_BlockedArray(unsigned initialBlockCount, unsigned shift_)
    : growthIncrement(initialBlockCount != 0 ? initialBlockCount : 128), tableLength(0),
      blockSize(0), shift(shift_), mask(0), blockTable(nullptr), tableCapacity(0) {
    CRT_CHECK(shift < 32, "shift < 32", vlt::detail::omi_BlockedArrayPath);
    shift = std::min(shift, 31u);
    blockSize = 1u << shift;
    mask = blockSize - 1;
    blockTable = new T*[growthIncrement]();
    tableLength = growthIncrement;
    tableCapacity = growthIncrement;
}

template <class T>
omi_BlockedArray<T>::omi_BlockedArray(const omi_BlockedArray& other)
    : growthIncrement(other.growthIncrement), tableLength(0), blockSize(other.blockSize),
      shift(other.shift), mask(other.mask), blockTable(new T*[other.tableLength]()),
      tableCapacity(other.tableLength) {
    tableLength = other.tableLength;
    try {
        for (unsigned block = 0; block < tableLength; ++block) {
            if (other.blockTable[block] != nullptr) {
                blockTable[block] = BlockCopy(other.blockTable[block]);
            }
        }
    } catch (...) {
        Clear();
        delete[] blockTable;
        throw;
    }
}

template <class T>
omi_BlockedArray<T>& omi_BlockedArray<T>::operator=(const omi_BlockedArray& other) {
    if (this != &other) {
        omi_BlockedArray copy(other);
        Swap(copy);
    }
    return *this;
}

template <class T>
omi_BlockedArray<T>::~omi_BlockedArray() {
    Clear();
    delete[] blockTable;
}

template <class T>
unsigned omi_BlockedArray<T>::BlockCount() const {
    return static_cast<unsigned>(
        std::count_if(blockTable, blockTable + tableLength, [](const T* b) { return b; }));
}

template <class T>
void omi_BlockedArray<T>::Clear() {
    for (unsigned block = 0; block < tableLength; ++block) {
        FreeBlock(block);
    }
}

template <class T>
T* omi_BlockedArray<T>::BlockCopy(const T* source) const {
    T* block = new T[blockSize];
    std::copy(source, source + blockSize, block);
    return block;
}

template <class T>
void omi_BlockedArray<T>::Swap(omi_BlockedArray& other) noexcept {
    std::swap(growthIncrement, other.growthIncrement);
    std::swap(tableLength, other.tableLength);
    std::swap(blockSize, other.blockSize);
    std::swap(shift, other.shift);
    std::swap(mask, other.mask);
    std::swap(blockTable, other.blockTable);
    std::swap(tableCapacity, other.tableCapacity);
}

template <class T>
void omi_BlockedArray<T>::DumpArray() const {
    for (unsigned block = 0; block < tableLength; ++block) {
        const T* elements = blockTable[block];
        if (elements == nullptr) {
            continue;
        }
        const unsigned first = block << shift;
        std::printf("Block indices= %d - %d\n", static_cast<int>(first),
                    static_cast<int>(first + mask));
        for (unsigned i = 0; i < blockSize; ++i) {
            unsigned char bytes[sizeof(T)];
            std::memcpy(bytes, &elements[i], sizeof(T));
            for (unsigned char byte : bytes) {
                // The byte is widened as a signed char, so 0x80 and up print as ffffff80:
                // deliberate, readers of old dumps expect it.
                std::printf("%02x", static_cast<int>(static_cast<signed char>(byte)));
            }
            const bool endOfLine = (i + 1) % 8 == 0;
            if (endOfLine || i + 1 < blockSize) {
                std::fputs(endOfLine ? "\n" : "|", stdout);
            }
        }
        std::fputs("\n", stdout);
    }
}

extern template class VLTUTL_API omi_BlockedArray<int>;
extern template class VLTUTL_API omi_BlockedArray<unsigned int>;
extern template class VLTUTL_API omi_BlockedArray<double>;
extern template class VLTUTL_API omi_BlockedArray<void*>;
