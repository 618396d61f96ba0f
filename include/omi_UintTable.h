// Sparse tables keyed by unsigned integers, for large clustered key sets (entity numbers).
//
// A key's high bits choose an entry of the table; the low bits a cell of that entry's
// `omi_UintTableBlock`, a blocked array whose small blocks are made on first write, with a bit
// vector of the occupied cells. The default shape (12 high bits, 10 middle bits, 24 initial
// inner blocks) gives table blocks of 2^20 cells grouped in arrays of 1024. Table blocks are
// made on the first insertion into them and freed when their last key goes. The table owns its
// blocks and copies them in full; it is not shared and takes no locks.
//
// `omi_UintTableIterator` visits the keys in ascending order, or, given a comparison function,
// in the order that function gives to a snapshot of (key, value) pairs. A numeric iterator
// reads the live blocks and must not outlive a change to its table.
//
// `begin()`/`end()` walk the keys in ascending order with that iterator, reading each entry as a
// pair of the key and a reference to its value in the table.
#pragma once

#include "crt_Assert.h"
#include "omi_BlkBitVect.h"
#include "omi_BlockedArray.h"
#include "vlt_Export.h"
#include "vlt_Iterator.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <utility>
#include <vector>

namespace vlt::detail {
inline constexpr char omi_UintTablePath[] = "include/omi_UintTable";

// Where a standard iterator of an integer-keyed table stands: one of the tables' own iterators
// (`Iterator`) in numeric order, and the address of the value it stands on, which also tells
// apart two places of one key in a multimap. Value is the element type, const for reading.
template <class Iterator, class Value>
class omi_TableCursor {
    using Key = decltype(std::declval<const Iterator&>().CurrentKey());

public:
    omi_TableCursor() = default;
    template <class Table>
    explicit omi_TableCursor(const Table& table) : it(std::in_place, table) {
        it->First();
    }

    // The table is writable when Value is: the address comes from the live table.
    std::pair<Key, Value&> Read() const {
        return {it->CurrentKey(), *const_cast<Value*>(it->CurrentAddress())};
    }
    void Advance() { it->Next(); }
    bool operator==(const omi_TableCursor& other) const { return Address() == other.Address(); }

private:
    const void* Address() const {
        return it.has_value() && !it->IsDone() ? it->CurrentAddress() : nullptr;
    }

    std::optional<Iterator> it;
};
} // namespace vlt::detail

template <class T>
class omi_UintTableIterator;
template <class T>
class omi_IntTableIterator;

template <class T>
class omi_UintTableBlock : public omi_BlockedArray<T> {
public:
    omi_UintTableBlock(unsigned initialBlockCount, unsigned shift)
        : omi_BlockedArray<T>(initialBlockCount, shift) {}

    // The number of occupied cells.
    unsigned Count() const { return occupied.BitCount(); }
    bool IsMember(unsigned cell) const { return occupied.TestBit(cell); }
    // The value of an occupied cell, or null.
    const T* ConstGet(unsigned cell) const { return IsMember(cell) ? ValueAt(cell) : nullptr; }
    T* Get(unsigned cell) { return IsMember(cell) ? const_cast<T*>(ValueAt(cell)) : nullptr; }

    // Stores the value (replacing any); true when the cell was empty. The value goes in first,
    // so that an occupied cell always has its block, even when making one throws.
    bool Insert(unsigned cell, const T& value) {
        const unsigned before = Count();
        this->SetCell(cell, value);
        occupied.SetBit(cell);
        return Count() > before;
    }
    // Empties the cell; the stored value stays behind. True when the cell was occupied.
    bool Remove(unsigned cell) {
        const unsigned before = Count();
        occupied.UnsetBit(cell);
        return Count() < before;
    }

    const omi_BlkBitVect& Occupied() const { return occupied; }

    // The blocked array's walk would visit empty cells too: a table block is walked through its
    // table, which visits the occupied ones.
    void begin() const = delete;
    void end() const = delete;

private:
    friend class omi_UintTableIterator<T>;

    // An occupied cell's block exists (see `Insert`), so the look-up needs no checks.
    const T* ValueAt(unsigned cell) const {
        return this->blockTable[cell >> this->shift] + (cell & this->mask);
    }

    omi_BlkBitVect occupied;
};

template <class T>
class omi_UintTable {
public:
    typedef omi_UintTableBlock<T> Block;
    using size_type = std::size_t;
    using iterator =
        vlt::detail::vlt_ForwardIterator<vlt::detail::omi_TableCursor<omi_UintTableIterator<T>, T>>;
    using const_iterator = vlt::detail::vlt_ForwardIterator<
        vlt::detail::omi_TableCursor<omi_UintTableIterator<T>, const T>>;

    omi_UintTable() : omi_UintTable(12, 10, 24) {}
    // The key's top `highBits` (1 to 32) choose the table entry; a table block groups its cells
    // in arrays of 2^(32 - highBits - middleBits), its table starting at (and growing by)
    // `initialInnerBlockCount` entries.
    omi_UintTable(unsigned highBits, unsigned middleBits, unsigned initialInnerBlockCount);
    omi_UintTable(const omi_UintTable& other);
    omi_UintTable& operator=(const omi_UintTable& other);
    ~omi_UintTable();

    // Stores value under key (replacing any); true when the key is new.
    bool Insert(unsigned key, const T& value);
    // True when the key was present.
    bool Remove(unsigned key);
    void Clear();
    // A new deep copy, owned by the caller.
    omi_UintTable* Copy() const { return new omi_UintTable(*this); }

    bool IsMember(unsigned key) const {
        const Block* block = FindTableBlock(key);
        return block != nullptr && block->IsMember(key & lowMask);
    }
    // The value stored under key, or null when the key is absent.
    const T* ConstGet(unsigned key) const {
        const Block* block = FindTableBlock(key);
        return block != nullptr ? block->ConstGet(key & lowMask) : nullptr;
    }
    T* Get(unsigned key) { return const_cast<T*>(std::as_const(*this).ConstGet(key)); }
    // The number of keys present.
    int Count() const { return count; }
    size_type size() const { return static_cast<size_type>(count); }
    bool empty() const { return count == 0; }

    const_iterator begin() const { return const_iterator(typename const_iterator::Cursor(*this)); }
    const_iterator end() const { return {}; }
    const_iterator cbegin() const { return begin(); }
    const_iterator cend() const { return end(); }
    iterator begin() { return iterator(typename iterator::Cursor(*this)); }
    iterator end() { return {}; }

    // The number of entries of the block table (it grows 64 at a time and never shrinks).
    unsigned TableLength() const { return tableLength; }

    // The table block that holds key, or null.
    const Block* FindTableBlock(unsigned key) const {
        const unsigned index = key >> lowBits;
        return index < tableLength ? blockTable[index] : nullptr;
    }

private:
    friend class omi_UintTableIterator<T>;

    void Swap(omi_UintTable& other) noexcept;

    Block** blockTable;
    int count;
    unsigned tableLength;
    unsigned tableCapacity;
    unsigned lowMask;
    unsigned lowBits;
    unsigned initialInnerBlockCount;
    unsigned innerShift;
};

template <class T>
class omi_UintTableIterator {
public:
    struct Pair {
        unsigned key;
        T value;
    };
    // Orders two elements of the sorted array as the platform quick sort hands them: each
    // argument points at a `const Pair*`.
    typedef int (*CompareFunction)(const void* a, const void* b);

    explicit omi_UintTableIterator(const omi_UintTable<T>& table);
    omi_UintTableIterator(const omi_UintTable<T>& table, CompareFunction compare);

    // `Next`, `IsDone`, `CurrentKey` and `CurrentValue` are defined inline: they are the inner
    // loop of every walk over a table.
    void First();
    void Last();
    void Next();
    void Previous();
    // To the first key of the next block (the last key of the previous one); a sorted
    // iteration has no blocks and steps one pair.
    void NextBlock();
    void PreviousBlock();
    bool IsDone() const;
    unsigned CurrentKey() const;
    // The value under the current key; zero once the iteration is done.
    T CurrentValue() const;

private:
    template <class Iterator, class Value>
    friend class vlt::detail::omi_TableCursor;
    friend class omi_IntTableIterator<T>;

    static constexpr std::int64_t beforeFirstCall = -2;

    // The value under the current key in the live table, in numeric order; null once done.
    const T* CurrentAddress() const {
        return Readable() && compare == nullptr
                   ? table->blockTable[currentIndex]->ValueAt(currentCell)
                   : nullptr;
    }

    bool Started() const;
    bool Readable() const;
    void EnterForward(std::int64_t fromBlock);
    void EnterBackward(std::int64_t fromBlock);
    void Collect();
    void StepSorted(bool forwards);

    const omi_UintTable<T>* table;
    std::int64_t currentIndex;
    unsigned baseKey;
    unsigned currentCell;
    omi_BlkBitVectTrav trav;
    bool done;
    CompareFunction compare;
    std::vector<Pair> pairs; // in sorted order
    std::size_t position;
};

template <class T>
omi_UintTable<T>::omi_UintTable(unsigned highBits, unsigned middleBits,
                                unsigned initialInnerBlockCount_)
    : blockTable(nullptr), count(0), tableLength(0), tableCapacity(0), lowMask(0), lowBits(0),
      initialInnerBlockCount(initialInnerBlockCount_), innerShift(0) {
    const bool shapeValid = highBits >= 1 && highBits <= 32;
    CRT_CHECK(shapeValid, "highBits >= 1 && highBits <= 32", vlt::detail::omi_UintTablePath);
    lowBits = 32 - (shapeValid ? highBits : 12);
    CRT_CHECK(middleBits <= lowBits, "middleBits <= lowBits", vlt::detail::omi_UintTablePath);
    innerShift = middleBits <= lowBits ? lowBits - middleBits : 0;
    lowMask = (1u << lowBits) - 1;
    vlt::detail::omi_GrowBlockTable(blockTable, tableLength, tableCapacity, 2u);
}

template <class T>
omi_UintTable<T>::omi_UintTable(const omi_UintTable& other)
    : blockTable(nullptr), count(other.count), tableLength(0), tableCapacity(0),
      lowMask(other.lowMask), lowBits(other.lowBits),
      initialInnerBlockCount(other.initialInnerBlockCount), innerShift(other.innerShift) {
    vlt::detail::omi_GrowBlockTable(blockTable, tableLength, tableCapacity, other.tableLength);
    try {
        for (unsigned index = 0; index < tableLength; ++index) {
            if (other.blockTable[index] != nullptr) {
                blockTable[index] = new Block(*other.blockTable[index]);
            }
        }
    } catch (...) {
        Clear();
        delete[] blockTable;
        throw;
    }
}

template <class T>
omi_UintTable<T>& omi_UintTable<T>::operator=(const omi_UintTable& other) {
    if (this != &other) {
        omi_UintTable copy(other);
        Swap(copy);
    }
    return *this;
}

template <class T>
omi_UintTable<T>::~omi_UintTable() {
    Clear();
    delete[] blockTable;
}

template <class T>
void omi_UintTable<T>::Swap(omi_UintTable& other) noexcept {
    std::swap(blockTable, other.blockTable);
    std::swap(count, other.count);
    std::swap(tableLength, other.tableLength);
    std::swap(tableCapacity, other.tableCapacity);
    std::swap(lowMask, other.lowMask);
    std::swap(lowBits, other.lowBits);
    std::swap(initialInnerBlockCount, other.initialInnerBlockCount);
    std::swap(innerShift, other.innerShift);
}

template <class T>
bool omi_UintTable<T>::Insert(unsigned key, const T& value) {
    const unsigned index = key >> lowBits;
    if (index >= tableLength) {
        vlt::detail::omi_GrowBlockTable(blockTable, tableLength, tableCapacity,
                                        vlt::detail::omi_TableLengthFor(index, 64));
    }
    Block*& block = blockTable[index];
    if (block == nullptr) {
        block = new Block(initialInnerBlockCount, innerShift);
    }
    if (!block->Insert(key & lowMask, value)) {
        return false;
    }
    ++count;
    return true;
}

template <class T>
bool omi_UintTable<T>::Remove(unsigned key) {
    const unsigned index = key >> lowBits;
    if (index >= tableLength || blockTable[index] == nullptr) {
        return false;
    }
    Block*& block = blockTable[index];
    const bool removed = block->Remove(key & lowMask);
    if (block->Count() == 0) {
        delete block;
        block = nullptr;
    }
    if (removed) {
        --count;
    }
    return removed;
}

template <class T>
void omi_UintTable<T>::Clear() {
    for (unsigned index = 0; index < tableLength; ++index) {
        delete blockTable[index];
        blockTable[index] = nullptr;
    }
    count = 0;
}

template <class T>
omi_UintTableIterator<T>::omi_UintTableIterator(const omi_UintTable<T>& table_)
    : omi_UintTableIterator(table_, nullptr) {}

template <class T>
omi_UintTableIterator<T>::omi_UintTableIterator(const omi_UintTable<T>& table_,
                                                CompareFunction compare_)
    : table(&table_), currentIndex(beforeFirstCall), baseKey(0), currentCell(0), done(true),
      compare(compare_), position(0) {}

template <class T>
inline bool omi_UintTableIterator<T>::Started() const {
    if (currentIndex == beforeFirstCall) [[unlikely]] {
        CRT_CHECK(currentIndex != -2, "currentIndex != -2", vlt::detail::omi_UintTablePath);
        return false;
    }
    return true;
}

template <class T>
inline bool omi_UintTableIterator<T>::Readable() const {
    if (currentIndex <= beforeFirstCall) [[unlikely]] {
        CRT_CHECK(currentIndex > -2, "currentIndex > -2", vlt::detail::omi_UintTablePath);
        return false;
    }
    return !done;
}

template <class T>
void omi_UintTableIterator<T>::EnterForward(std::int64_t fromBlock) {
    for (std::int64_t index = fromBlock; index < table->tableLength; ++index) {
        const auto* block = table->blockTable[index];
        if (block == nullptr) {
            continue;
        }
        trav = omi_BlkBitVectTrav(block->Occupied());
        if (trav.First(currentCell)) {
            currentIndex = index;
            baseKey = static_cast<unsigned>(index) << table->lowBits;
            done = false;
            return;
        }
    }
    currentIndex = table->tableLength;
    done = true;
}

template <class T>
void omi_UintTableIterator<T>::EnterBackward(std::int64_t fromBlock) {
    for (std::int64_t index = fromBlock; index >= 0; --index) {
        const auto* block = table->blockTable[index];
        if (block == nullptr) {
            continue;
        }
        trav = omi_BlkBitVectTrav(block->Occupied());
        if (trav.Last(currentCell)) {
            currentIndex = index;
            baseKey = static_cast<unsigned>(index) << table->lowBits;
            done = false;
            return;
        }
    }
    currentIndex = -1;
    done = true;
}

template <class T>
void omi_UintTableIterator<T>::Collect() {
    pairs.clear();
    pairs.reserve(static_cast<std::size_t>(table->Count()));
    omi_UintTableIterator numeric(*table);
    for (numeric.First(); !numeric.IsDone(); numeric.Next()) {
        pairs.push_back({numeric.CurrentKey(), numeric.CurrentValue()});
    }
    if (pairs.empty()) {
        return;
    }
    std::vector<const Pair*> order;
    order.reserve(pairs.size());
    for (const Pair& pair : pairs) {
        order.push_back(&pair);
    }
    std::qsort(order.data(), order.size(), sizeof(const Pair*), compare);
    std::vector<Pair> sorted;
    sorted.reserve(order.size());
    for (const Pair* pair : order) {
        sorted.push_back(*pair);
    }
    pairs.swap(sorted);
}

template <class T>
void omi_UintTableIterator<T>::First() {
    currentIndex = -1;
    if (compare == nullptr) {
        EnterForward(0);
        return;
    }
    Collect();
    position = 0;
    done = pairs.empty();
}

template <class T>
void omi_UintTableIterator<T>::Last() {
    currentIndex = table->tableLength;
    if (compare == nullptr) {
        EnterBackward(currentIndex - 1);
        return;
    }
    Collect();
    position = pairs.empty() ? 0 : pairs.size() - 1;
    done = pairs.empty();
}

template <class T>
void omi_UintTableIterator<T>::StepSorted(bool forwards) {
    if (forwards ? position + 1 >= pairs.size() : position == 0) {
        done = true;
        return;
    }
    position = forwards ? position + 1 : position - 1;
}

template <class T>
inline void omi_UintTableIterator<T>::Next() {
    if (!Started() || done) [[unlikely]] {
        return;
    }
    if (compare != nullptr) [[unlikely]] {
        StepSorted(true);
    } else if (!trav.Next(currentCell)) [[unlikely]] {
        EnterForward(currentIndex + 1);
    }
}

template <class T>
void omi_UintTableIterator<T>::Previous() {
    if (!Started() || done) {
        return;
    }
    if (compare != nullptr) {
        StepSorted(false);
    } else if (!trav.Prev(currentCell)) {
        EnterBackward(currentIndex - 1);
    }
}

template <class T>
void omi_UintTableIterator<T>::NextBlock() {
    if (!Started() || done) {
        return;
    }
    if (compare != nullptr) {
        StepSorted(true);
    } else {
        EnterForward(currentIndex + 1);
    }
}

template <class T>
void omi_UintTableIterator<T>::PreviousBlock() {
    if (!Started() || done) {
        return;
    }
    if (compare != nullptr) {
        StepSorted(false);
    } else {
        EnterBackward(currentIndex - 1);
    }
}

template <class T>
inline bool omi_UintTableIterator<T>::IsDone() const {
    return !Started() || done;
}

template <class T>
inline unsigned omi_UintTableIterator<T>::CurrentKey() const {
    if (!Readable()) [[unlikely]] {
        return 0;
    }
    if (compare != nullptr) [[unlikely]] {
        return pairs[position].key;
    }
    return baseKey + currentCell;
}

template <class T>
inline T omi_UintTableIterator<T>::CurrentValue() const {
    if (!Readable()) [[unlikely]] {
        return T();
    }
    if (compare != nullptr) [[unlikely]] {
        return pairs[position].value;
    }
    // The traverser stands on an occupied cell.
    return *table->blockTable[currentIndex]->ValueAt(currentCell);
}

extern template class VLTUTL_API omi_UintTableBlock<int>;
extern template class VLTUTL_API omi_UintTableBlock<double>;
extern template class VLTUTL_API omi_UintTableBlock<void*>;
extern template class VLTUTL_API omi_UintTable<int>;
extern template class VLTUTL_API omi_UintTable<double>;
extern template class VLTUTL_API omi_UintTable<void*>;
extern template class VLTUTL_API omi_UintTableIterator<int>;
extern template class VLTUTL_API omi_UintTableIterator<double>;
extern template class VLTUTL_API omi_UintTableIterator<void*>;
