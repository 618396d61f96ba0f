// Growable one-dimensional arrays stored as tables of equal-sized blocks, with copy-on-write
// at two levels.
//
// A `cow_1DArray<T>` owns a share of a block table: copies of an array share the table (one
// table counter counts them), and tables share individual `cow_1DArrayBlock<T>`s (each block
// counts the tables that hold it). Copying an array costs one increment. The first write after
// a copy copies the table of block pointers and the one block written, never the whole array.
// `Diff` and `ApplyDiff` exchange only the blocks in which two versions of an array differ.
//
// The array's length is always a whole number of blocks. Blocks are made on first access;
// their numbers are never cleared, so an element never written reads as whatever the memory
// held (elements of class type are default-constructed).
//
// `cow_1DArrayList<T, A>` keeps an explicit length over such an array and adds append,
// insert, remove, search and slicing.
//
// Reading with `PartialArrayConstGet` never un-shares, but it makes a missing block in place,
// even in a shared table: arrays that share storage belong to one thread at a time, readers
// included. Counters are plain integers.
//
// `GetBlockRun` and `ConstBlockRun` hand out the rest of one block as a span after a single
// privacy check, so that bulk loops (copies in and out, fills, shifts) run at memory speed; the
// list's own bulk operations use them.
//
// `begin()`/`end()` walk the elements a block's run at a time. Those of a const array or list
// read as `PartialArrayConstGet` does (never un-sharing); those of a non-const one hand out
// writable elements and un-share the table once and each shared block once, when the walk
// enters it, never per element.
#pragma once

#include "cow_List.h"
#include "cow_OutOfRange.h"
#include "cow_String.h"
#include "crt_Assert.h"
#include "vlt_Export.h"
#include "vlt_Iterator.h"

#include <algorithm>
#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <memory>
#include <new>
#include <span>
#include <type_traits>
#include <utility>
#include <vector>

namespace vlt::detail {
inline constexpr char cow_1DArrayPath[] = "include/cow_1DArray";
inline constexpr char cow_1DArrayListPath[] = "include/cow_1DArrayList";
// The caller's-array check reports the int instance's source for every element type, as
// published.
inline constexpr char cow_1DArrayListIntPath[] = "cow/impl/cow_1DArrayListInt";

// The block size that an array without one takes when it is first written or grown.
inline constexpr unsigned cow_1DArrayDefaultBlockSize = 16;

// Resizes a table of block pointers in place (realloc); entries added are null. A table of no
// entries still owns an allocation.
template <class Block>
Block** cow_1DArrayResizeTable(Block** table, unsigned oldCount, unsigned newCount) {
    const std::size_t entries = std::max(newCount, 1u);
    void* resized = std::realloc(table, entries * sizeof(Block*));
    if (resized == nullptr) {
        throw std::bad_alloc();
    }
    Block** result = static_cast<Block**>(resized);
    if (newCount > oldCount) {
        std::fill(result + oldCount, result + newCount, nullptr);
    }
    return result;
}
} // namespace vlt::detail

class bio_Ifilter;
class bio_Ofilter;
class pnt_PrettyPrint;

template <class T>
class cow_1DArray;
template <class T, class A>
class cow_1DArrayList;
template <class T, class A>
class cow_1DArrayListIter;

namespace vlt::detail {
// The list fields that the list's stream functions read and write.
struct cio_1DArrayListAccess;
} // namespace vlt::detail

namespace vlt::detail {
// Element equality of the list operations: `==`, and for lists of lists the inner list's
// IsEqual.
template <class T>
bool cow_1DArrayEqual(const T& a, const T& b) {
    return a == b;
}
template <class T, class A>
bool cow_1DArrayEqual(const cow_1DArrayList<T, A>& a, const cow_1DArrayList<T, A>& b) {
    return a.IsEqual(b);
}
} // namespace vlt::detail

// One block: a fixed number of elements, counted by the tables that hold it.
template <class T>
class cow_1DArrayBlock {
public:
    // Elements are value-initialised (numbers are 0): a stream carries whole blocks, tails
    // past a list's length included, and must not carry stray memory or differ between runs.
    explicit cow_1DArrayBlock(unsigned n) : size(n), data(std::make_unique<T[]>(n)) {}
    // The copy starts with a count of 1; its elements are assigned one by one.
    cow_1DArrayBlock(const cow_1DArrayBlock& other)
        : size(other.size), data(std::make_unique_for_overwrite<T[]>(other.size)) {
        std::copy(other.data.get(), other.data.get() + size, data.get());
    }
    cow_1DArrayBlock& operator=(const cow_1DArrayBlock&) = delete;
    ~cow_1DArrayBlock() = default;

    int32_t References() const { return refCount; }
    unsigned Size() const { return size; }
    const T* ConstData() const { return data.get(); }

private:
    friend class cow_1DArray<T>;

    int32_t refCount = 1;
    uint32_t size;
    std::unique_ptr<T[]> data;
};

namespace vlt::detail {
// Where a standard iterator of a blocked array stands: an element of the run of one block that
// the walk has entered, the run ending at the block's end or at the length. Entering a run is
// the one access per block that reads (or un-shares) through the array; the elements of the
// run are then reached by pointer.
template <class T, bool Writable>
class cow_1DArrayCursor {
    using Array = std::conditional_t<Writable, cow_1DArray<T>, const cow_1DArray<T>>;
    using Element = std::conditional_t<Writable, T, const T>;

public:
    cow_1DArrayCursor() = default;
    // The first `count` elements of array, which holds at least that many.
    cow_1DArrayCursor(Array& array_, uint64_t count) : array(&array_), length(count) { Enter(0); }

    Element& Read() const { return *element; }
    void Advance() {
        if (++element == runEnd) {
            Enter(runNext);
        }
    }
    bool operator==(const cow_1DArrayCursor& other) const { return element == other.element; }

private:
    // Runs start at whole blocks, so a run is the rest of the block or of the length.
    void Enter(uint64_t start) {
        if (start >= length) {
            element = runEnd = nullptr;
            return;
        }
        const auto index = static_cast<unsigned>(start);
        if constexpr (Writable) {
            element = &array->Get(index);
        } else {
            element = &array->PartialArrayConstGet(index);
        }
        runNext = std::min<uint64_t>(start + array->BlockSize(), length);
        runEnd = element + (runNext - start);
    }

    Array* array = nullptr;
    uint64_t length = 0;
    Element* element = nullptr;
    Element* runEnd = nullptr;
    uint64_t runNext = 0;
};
} // namespace vlt::detail

template <class T>
class cow_1DArray {
public:
    using Block = cow_1DArrayBlock<T>;
    using value_type = T;
    using size_type = std::size_t;
    using iterator = vlt::detail::vlt_ForwardIterator<vlt::detail::cow_1DArrayCursor<T, true>>;
    using const_iterator =
        vlt::detail::vlt_ForwardIterator<vlt::detail::cow_1DArrayCursor<T, false>>;

    // One table entry and no block size yet.
    cow_1DArray() : cow_1DArray(1, 0) {}
    explicit cow_1DArray(unsigned blockSize) : cow_1DArray(1, blockSize) {}
    cow_1DArray(unsigned blockCount, unsigned blockSize);
    // One block of exactly the elements given, so that the length is their number.
    cow_1DArray(std::initializer_list<T> items)
        : cow_1DArray(1, static_cast<unsigned>(items.size())) {
        if (items.size() != 0) {
            std::copy(items.begin(), items.end(), &Get(0));
        }
    }
    cow_1DArray(const cow_1DArray& other) noexcept
        : blockCount(other.blockCount), blockSize(other.blockSize), tableCount(other.tableCount),
          table(other.table) {
        ++*tableCount;
    }
    cow_1DArray& operator=(const cow_1DArray& other);
    ~cow_1DArray() { ReleaseTable(); }

    unsigned BlockCount() const { return blockCount; }
    // 0 until a size is chosen.
    unsigned BlockSize() const { return blockSize; }
    // Block size times block count: always whole blocks.
    uint64_t Length() const { return static_cast<uint64_t>(blockSize) * blockCount; }
    size_type size() const { return static_cast<size_type>(Length()); }
    bool empty() const { return Length() == 0; }

    // Elements past the 2^32 that an unsigned index reaches are left out.
    const_iterator begin() const {
        return const_iterator(vlt::detail::cow_1DArrayCursor<T, false>(*this, Addressable()));
    }
    const_iterator end() const { return {}; }
    const_iterator cbegin() const { return begin(); }
    const_iterator cend() const { return end(); }
    iterator begin() {
        return iterator(vlt::detail::cow_1DArrayCursor<T, true>(*this, Addressable()));
    }
    iterator end() { return {}; }
    // The number of arrays sharing this array's block table.
    int32_t TableReferences() const { return *tableCount; }
    // The block at a table entry; null when it was never made or the entry is out of range.
    const Block* ConstBlock(unsigned block) const {
        return block < blockCount ? table[block] : nullptr;
    }

    // Writable access: grows the array and un-shares the table and the one block as needed.
    T& Get(unsigned index) {
        std::size_t offset;
        Block* entry = FastEntry(index, offset);
        if (entry != nullptr && entry->refCount == 1 && *tableCount == 1) {
            return entry->data[offset];
        }
        return GetSlow(index);
    }

    // Read access: never un-shares and reports nothing, but makes a missing block in place.
    // An index outside the array reads a value-initialised element instead.
    const T& PartialArrayConstGet(unsigned index) const {
        std::size_t offset;
        const Block* entry = FastEntry(index, offset);
        if (entry != nullptr) {
            return entry->data[offset];
        }
        return ReadSlow(index);
    }

    // The elements from index to the end of its block, writable: the table and that one block
    // are made private (and the array grown) as one `Get` would, once for the whole run.
    std::span<T> GetBlockRun(unsigned index) {
        T& first = Get(index);
        return {&first, blockSize - index % blockSize};
    }
    // The elements from index to the end of its block, read as `PartialArrayConstGet` reads
    // (a missing block is made in place); empty outside the array.
    std::span<const T> ConstBlockRun(unsigned index) const {
        if (index >= Length()) {
            return {};
        }
        const T& first = PartialArrayConstGet(index);
        return {&first, blockSize - index % blockSize};
    }

    // Makes the length newLength rounded up to whole blocks; 0 drops the block size. Returns
    // true: only running out of memory can fail, and that throws.
    bool Grow(unsigned newLength);

    // Called on the older version with the newer as other: the blocks of other that this
    // array does not hold as the very same objects, with other's block count and size.
    cow_1DArray Diff(const cow_1DArray& other) const;
    // Takes every block that diff holds, at its index, and diff's length.
    void ApplyDiff(const cow_1DArray& diff);

    // Equal lengths and elements. Arrays that share their first element are equal without
    // looking further, as published, even where later blocks differ.
    // A member template, so that instantiating the whole class for other element types never
    // instantiates it (Clang 14 would, for a constrained ordinary member).
    template <class U = T>
    requires std::same_as<U, int>
    bool IsEqual(const cow_1DArray& other) const;

    // The array on a stream: u32 block count, u32 block size, then per block an i32 flag, 0 for
    // a block never made, 1 for a present block followed by all of its elements. The bodies of
    // these three are in cio_1DArray.h.
    static bio_Ofilter& WriteData(bio_Ofilter& out, const void* array);
    // Replaces the array with one read from the stream.
    static void ReadData(bio_Ifilter& in, void* array);
    // "[", one item per block ("..." for a block never made), "]".
    static pnt_PrettyPrint& PrintData(pnt_PrettyPrint& pp, const void* array);

private:
    uint64_t Addressable() const { return std::min<uint64_t>(Length(), uint64_t{UINT32_MAX} + 1); }

    // The table entry of an element, for the inline accesses. Only power-of-two block sizes,
    // the common case, take this path: they need a shift and a mask, not a division. Null for
    // other sizes, outside the table and for a block not made yet; the out-of-line accesses
    // handle those.
    Block* FastEntry(unsigned index, std::size_t& offset) const {
        const unsigned mask = blockSize - 1;
        if (mask < (blockSize ^ mask)) { // a power of two, not 0
            const std::size_t block = index >> std::countr_zero(blockSize);
            if (block < blockCount) {
                offset = index & mask;
                return table[block];
            }
        }
        return nullptr;
    }
    // Cold: the compiler then keeps a caller's loop state in registers on the inline path and
    // saves it only around these calls.
    [[gnu::cold]] T& GetSlow(unsigned index);
    [[gnu::cold]] const T& ReadSlow(unsigned index) const;
    void ChooseBlockSize() {
        if (blockSize == 0) {
            blockSize = vlt::detail::cow_1DArrayDefaultBlockSize;
        }
    }
    // Makes the block table private to this array.
    void CopyArray();
    // Makes the table private and resizes it, releasing the blocks beyond the new end.
    void SetBlockCount(unsigned target);
    void ReleaseTable();
    static void Release(Block* block) {
        if (block != nullptr && --block->refCount < 1) {
            delete block;
        }
    }

    uint32_t blockCount;
    uint32_t blockSize;
    int32_t* tableCount;
    // A null entry is a block not made yet.
    Block** table;
};

// A list of `length` elements over an array that is at least that long.
template <class T, class A>
class cow_1DArrayList {
public:
    using value_type = T;
    using size_type = std::size_t;
    using iterator = typename cow_1DArray<T>::iterator;
    using const_iterator = typename cow_1DArray<T>::const_iterator;

    cow_1DArrayList() = default;
    // The elements in the order given, over an array of the default block size.
    cow_1DArrayList(std::initializer_list<T> items) {
        for (const T& item : items) {
            Append(item);
        }
    }
    // The first `length` elements of C_arr, copied a block at a time into an array of the
    // given shape. A block size of 0 takes the default size.
    cow_1DArrayList(const A* C_arr, unsigned length, unsigned blockCount, unsigned blockSize);
    cow_1DArrayList(const cow_1DArrayList&) = default;
    cow_1DArrayList& operator=(const cow_1DArrayList&) = default;
    ~cow_1DArrayList() = default;

    unsigned Length() const { return length; }
    size_type size() const { return length; }
    bool empty() const { return length == 0; }
    const cow_1DArray<T>& Storage() const { return storage; }

    const_iterator begin() const {
        return const_iterator(vlt::detail::cow_1DArrayCursor<T, false>(storage, length));
    }
    const_iterator end() const { return {}; }
    const_iterator cbegin() const { return begin(); }
    const_iterator cend() const { return end(); }
    iterator begin() { return iterator(vlt::detail::cow_1DArrayCursor<T, true>(storage, length)); }
    iterator end() { return {}; }

    // An index past the end is reported and reads a value-initialised element.
    const T& ConstGet(unsigned index) const {
        const bool inRange = index < length;
        CRT_CHECK(inRange, "index < Length()", vlt::detail::cow_1DArrayListPath);
        return inRange ? storage.PartialArrayConstGet(index) : vlt::detail::cow_OutOfRangeRead<T>();
    }
    // Writable access; writing at or past the end extends the list to index + 1.
    T& Get(unsigned index) {
        length = std::max(length, index + 1);
        return storage.Get(index);
    }

    void Append(const A& value) { Insert(length, value); }
    void Append(const cow_1DArrayList& other);
    void AppendUnlessMember(const A& value) {
        if (!IsMember(value)) {
            Append(value);
        }
    }
    // False, changing nothing, for an index past the end; the length appends.
    bool Insert(unsigned index, const A& value);
    // False for an index not below the length. The slot freed at the end is reset to the
    // default value.
    bool Remove(unsigned index);
    // Removes the first equal element, if any.
    void RemoveMember(const A& value) {
        const unsigned index = FindFirst(value);
        if (index < length) {
            Remove(index);
        }
    }
    // Removes and returns the last element; an empty list is reported and gives the default.
    T Pop();
    // Back to an empty list over a default array.
    void ClearAll() {
        storage = cow_1DArray<T>();
        length = 0;
    }

    // Elements from `from` up to, not including, the smaller of `to` and the length.
    cow_1DArrayList Slice(unsigned from, unsigned to) const {
        cow_1DArrayList out;
        Slice(from, to, out);
        return out;
    }
    // The same, appended to out (which may be this list).
    void Slice(unsigned from, unsigned to, cow_1DArrayList& out) const;

    // The index of the first (last) equal element; the length when there is none.
    unsigned FindFirst(const A& value) const;
    unsigned FindLast(const A& value) const;
    bool IsMember(const A& value) const { return FindFirst(value) < length; }

    // A new[]-allocated copy of the elements, which the caller deletes[]; count gets the
    // length.
    T* GetCArray(unsigned& count) const;

    // Equal lengths and equal elements in order; slots that are the same storage are equal
    // without comparing them.
    bool IsEqual(const cow_1DArrayList& other) const;

private:
    friend class cow_1DArrayListIter<T, A>;
    friend struct vlt::detail::cio_1DArrayListAccess;

    // Writes count elements to the slots from `to` on, a block's run at a time; the storage
    // grows as the writes need.
    void WriteElements(unsigned to, const T* from, unsigned count);
    // The same from the slots of source (which may share this list's storage).
    void WriteElements(unsigned to, const cow_1DArray<T>& source, unsigned from, unsigned count);
    // Moves the elements of slots [first, last) one slot up (down), from the end (the start),
    // a block's run at a time; the slot vacated keeps a moved-from value.
    void ShiftUp(unsigned first, unsigned last);
    void ShiftDown(unsigned first, unsigned last);

    uint32_t length = 0;
    cow_1DArray<T> storage;
};

// A read cursor over a snapshot of a list: it shares the list's storage, so the list may
// change while it runs without affecting it. It moves an element or a block's run at a time.
template <class T, class A>
class cow_1DArrayListIter {
public:
    explicit cow_1DArrayListIter(const cow_1DArrayList<T, A>& list)
        : storage(list.storage), length(list.length) {
        Seek(0);
    }
    cow_1DArrayListIter(const cow_1DArrayListIter&) = delete;
    cow_1DArrayListIter& operator=(const cow_1DArrayListIter&) = delete;
    // Releases the shared copy of the storage.
    ~cow_1DArrayListIter() = default;

    bool IsDone() const { return index >= length; }
    unsigned Index() const { return index; }
    const T& CurrentItem() const {
        const bool done = IsDone();
        CRT_CHECK(!done, "!IsDone()", vlt::detail::cow_1DArrayListPath);
        return done ? vlt::detail::cow_OutOfRangeRead<T>() : block[inBlock];
    }
    void Next() {
        if (IsDone()) {
            return;
        }
        ++index;
        if (++inBlock == storage.BlockSize() || IsDone()) {
            Seek(index);
        }
    }
    // Moves to an element; the length or beyond ends the iteration.
    void Seek(unsigned to);

    // The elements from the current one to the end of its block or of the list, whichever
    // comes first; none when the iteration has ended.
    const T* Run() const { return block + inBlock; }
    unsigned RunLength() const {
        return IsDone() ? 0 : std::min(storage.BlockSize() - inBlock, length - index);
    }
    void NextRun() { Seek(index + RunLength()); }

private:
    cow_1DArray<T> storage;
    uint32_t length;
    const T* block = nullptr;
    uint32_t index = 0;
    uint32_t inBlock = 0;
};

template <class T>
cow_1DArray<T>::cow_1DArray(unsigned blockCount_, unsigned blockSize_)
    : blockCount(blockCount_), blockSize(blockSize_), tableCount(nullptr), table(nullptr) {
    auto counter = std::make_unique<int32_t>(1);
    table = vlt::detail::cow_1DArrayResizeTable<Block>(nullptr, 0, blockCount);
    tableCount = counter.release();
}

// The other's table is taken before this one's is released, so that nothing this array
// releases can pull the other's table away.
template <class T>
cow_1DArray<T>& cow_1DArray<T>::operator=(const cow_1DArray& other) {
    if (this == &other) {
        return *this;
    }
    ++*other.tableCount;
    ReleaseTable();
    blockCount = other.blockCount;
    blockSize = other.blockSize;
    tableCount = other.tableCount;
    table = other.table;
    return *this;
}

template <class T>
void cow_1DArray<T>::ReleaseTable() {
    if (--*tableCount > 0) {
        return;
    }
    std::for_each(table, table + blockCount, &Release);
    std::free(table);
    delete tableCount;
}

template <class T>
void cow_1DArray<T>::CopyArray() {
    if (*tableCount == 1) {
        return;
    }
    auto counter = std::make_unique<int32_t>(1);
    Block** copy = vlt::detail::cow_1DArrayResizeTable<Block>(nullptr, 0, blockCount);
    std::copy(table, table + blockCount, copy);
    for (Block** entry = copy; entry != copy + blockCount; ++entry) {
        if (*entry != nullptr) {
            ++(*entry)->refCount;
        }
    }
    --*tableCount;
    tableCount = counter.release();
    table = copy;
}

template <class T>
void cow_1DArray<T>::SetBlockCount(unsigned target) {
    CopyArray();
    if (target < blockCount) {
        std::for_each(table + target, table + blockCount, &Release);
    }
    table = vlt::detail::cow_1DArrayResizeTable(table, blockCount, target);
    blockCount = target;
}

template <class T>
bool cow_1DArray<T>::Grow(unsigned newLength) {
    if (Length() == newLength) {
        return true;
    }
    if (newLength == 0) {
        // The table keeps one entry (deliberate). Its block stays only if it has the size
        // that the next write will choose: a block of another size would not fit it.
        blockSize = 0;
        SetBlockCount(1);
        if (table[0] != nullptr && table[0]->size != vlt::detail::cow_1DArrayDefaultBlockSize) {
            Release(table[0]);
            table[0] = nullptr;
        }
        return true;
    }
    ChooseBlockSize();
    const uint64_t blocks = (static_cast<uint64_t>(newLength) + blockSize - 1) / blockSize;
    SetBlockCount(static_cast<unsigned>(blocks));
    return true;
}

// Growing to index + 1 elements is growing to the block that holds index.
template <class T>
T& cow_1DArray<T>::GetSlow(unsigned index) {
    ChooseBlockSize();
    const unsigned block = index / blockSize;
    if (block < blockCount) {
        CopyArray();
    } else if (block == UINT32_MAX) {
        throw std::bad_alloc(); // a table of 2^32 entries
    } else {
        SetBlockCount(block + 1);
    }
    Block*& entry = table[block];
    if (entry == nullptr) {
        entry = new Block(blockSize);
    } else if (entry->refCount >= 2) {
        Block* copy = new Block(*entry);
        --entry->refCount;
        entry = copy;
    }
    return entry->data[index - block * blockSize];
}

template <class T>
const T& cow_1DArray<T>::ReadSlow(unsigned index) const {
    if (blockSize == 0) {
        return vlt::detail::cow_OutOfRangeRead<T>();
    }
    const unsigned block = index / blockSize;
    if (block >= blockCount) {
        return vlt::detail::cow_OutOfRangeRead<T>();
    }
    Block*& entry = table[block];
    if (entry == nullptr) {
        entry = new Block(blockSize);
    }
    return entry->data[index - block * blockSize];
}

// Built in one pass rather than as a private copy of other whose shared blocks are then
// dropped: the same result, without moving the count of every block up and down.
template <class T>
cow_1DArray<T> cow_1DArray<T>::Diff(const cow_1DArray& other) const {
    CRT_CHECK(blockSize == other.blockSize, "blockSize == other.blockSize",
              vlt::detail::cow_1DArrayPath);
    cow_1DArray result(other.blockCount, other.blockSize);
    for (unsigned block = 0; block < other.blockCount; ++block) {
        Block* entry = other.table[block];
        const bool shared = block < blockCount && table[block] == entry;
        if (entry != nullptr && !shared) {
            ++entry->refCount;
            result.table[block] = entry;
        }
    }
    return result;
}

// After a block size mismatch nothing is applied: blocks of another size would not fit.
template <class T>
void cow_1DArray<T>::ApplyDiff(const cow_1DArray& diff) {
    const bool sameBlockSize = blockSize == diff.blockSize;
    CRT_CHECK(sameBlockSize, "blockSize == diff.blockSize", vlt::detail::cow_1DArrayPath);
    if (!sameBlockSize) {
        return;
    }
    if (blockSize == 0) {
        Grow(0);
    } else {
        SetBlockCount(diff.blockCount);
    }
    CopyArray();
    const unsigned common = std::min(blockCount, diff.blockCount);
    for (unsigned block = 0; block < common; ++block) {
        Block* entry = diff.table[block];
        if (entry != nullptr) {
            ++entry->refCount;
            Release(table[block]);
            table[block] = entry;
        }
    }
}

template <class T>
template <class U>
requires std::same_as<U, int>
bool cow_1DArray<T>::IsEqual(const cow_1DArray& other) const {
    const uint64_t length = Length();
    if (length != other.Length()) {
        return false;
    }
    if (length == 0) {
        return true;
    }
    if (&PartialArrayConstGet(0) == &other.PartialArrayConstGet(0)) {
        return true;
    }
    for (uint64_t index = 0; index < length; ++index) {
        const unsigned i = static_cast<unsigned>(index);
        if (PartialArrayConstGet(i) != other.PartialArrayConstGet(i)) {
            return false;
        }
    }
    return true;
}

template <class T, class A>
void cow_1DArrayListIter<T, A>::Seek(unsigned to) {
    index = to;
    inBlock = 0;
    block = nullptr;
    const unsigned size = storage.BlockSize();
    if (IsDone() || size == 0 || to >= storage.Length()) {
        index = std::max(to, length);
        return;
    }
    inBlock = to % size;
    block = &storage.PartialArrayConstGet(to) - inBlock;
}

template <class T, class A>
cow_1DArrayList<T, A>::cow_1DArrayList(const A* C_arr, unsigned length_, unsigned blockCount,
                                       unsigned blockSize)
    : storage(blockCount, blockSize) {
    CRT_CHECK(C_arr != nullptr, "C_arr != 0", vlt::detail::cow_1DArrayListIntPath);
    if (C_arr == nullptr) {
        return;
    }
    WriteElements(0, C_arr, length_);
    length = length_;
}

template <class T, class A>
void cow_1DArrayList<T, A>::WriteElements(unsigned to, const T* from, unsigned count) {
    while (count > 0) {
        const std::span<T> run = storage.GetBlockRun(to);
        const auto n = static_cast<unsigned>(std::min<std::size_t>(run.size(), count));
        std::copy_n(from, n, run.begin());
        to += n;
        from += n;
        count -= n;
    }
}

// Each source run is read before the target is un-shared: the source's share keeps the run's
// block alive when the write copies it away from under this list.
template <class T, class A>
void cow_1DArrayList<T, A>::WriteElements(unsigned to, const cow_1DArray<T>& source, unsigned from,
                                          unsigned count) {
    while (count > 0) {
        const std::span<const T> run = source.ConstBlockRun(from);
        if (run.empty()) {
            return;
        }
        const auto n = static_cast<unsigned>(std::min<std::size_t>(run.size(), count));
        WriteElements(to, run.data(), n);
        to += n;
        from += n;
        count -= n;
    }
}

// Run by run from the end: within a run the elements move together, and the run's first
// slot takes the element before it, which may lie in the previous block.
template <class T, class A>
void cow_1DArrayList<T, A>::ShiftUp(unsigned first, unsigned last) {
    if (first >= last) {
        return;
    }
    storage.Get(last); // grows the storage and chooses its block size
    const unsigned size = storage.BlockSize();
    for (unsigned top = last; top > first;) {
        const unsigned start = std::max(first + 1, top - top % size);
        const std::span<T> run = storage.GetBlockRun(start);
        std::move_backward(run.begin(), run.begin() + (top - start),
                           run.begin() + (top - start + 1));
        run.front() = std::move(storage.Get(start - 1));
        top = start - 1;
    }
}

// Run by run from the start: the run's last slot takes the element after it, which may lie in
// the next block.
template <class T, class A>
void cow_1DArrayList<T, A>::ShiftDown(unsigned first, unsigned last) {
    while (first < last) {
        const std::span<T> run = storage.GetBlockRun(first);
        const auto n = static_cast<unsigned>(std::min<std::size_t>(run.size(), last - first));
        std::move(run.begin() + 1, run.begin() + n, run.begin());
        run[n - 1] = std::move(storage.Get(first + n));
        first += n;
    }
}

// The storage first grows to other's length only, not to the sum (as published); the
// element writes grow it further.
template <class T, class A>
void cow_1DArrayList<T, A>::Append(const cow_1DArrayList& other) {
    const cow_1DArrayList source(other);
    if (source.length > length) {
        storage.Grow(source.length);
    }
    WriteElements(length, source.storage, 0, source.length);
    length += source.length;
}

template <class T, class A>
bool cow_1DArrayList<T, A>::Insert(unsigned index, const A& value) {
    if (index > length) {
        return false;
    }
    T inserted(value);
    ShiftUp(index, length);
    storage.Get(index) = std::move(inserted);
    ++length;
    return true;
}

template <class T, class A>
bool cow_1DArrayList<T, A>::Remove(unsigned index) {
    if (index >= length) {
        return false;
    }
    --length;
    ShiftDown(index, length);
    storage.Get(length) = T{};
    return true;
}

template <class T, class A>
T cow_1DArrayList<T, A>::Pop() {
    CRT_CHECK(length, "length", vlt::detail::cow_1DArrayListPath);
    if (length == 0) {
        return T{};
    }
    T last(storage.PartialArrayConstGet(length - 1));
    Remove(length - 1);
    return last;
}

// Reads from a shared snapshot, so that out may be this very list.
template <class T, class A>
void cow_1DArrayList<T, A>::Slice(unsigned from, unsigned to, cow_1DArrayList& out) const {
    const cow_1DArrayList source(*this);
    const unsigned end = std::min(to, source.length);
    if (from < end) {
        out.WriteElements(out.length, source.storage, from, end - from);
        out.length += end - from;
    }
}

template <class T, class A>
unsigned cow_1DArrayList<T, A>::FindFirst(const A& value) const {
    const auto equal = [&value](const T& element) {
        return vlt::detail::cow_1DArrayEqual(element, value);
    };
    for (cow_1DArrayListIter<T, A> it(*this); !it.IsDone(); it.NextRun()) {
        const T* run = it.Run();
        const T* found = std::find_if(run, run + it.RunLength(), equal);
        if (found != run + it.RunLength()) {
            return it.Index() + static_cast<unsigned>(found - run);
        }
    }
    return length;
}

// Block by block from the end, each block's run scanned backwards.
template <class T, class A>
unsigned cow_1DArrayList<T, A>::FindLast(const A& value) const {
    const unsigned size = storage.BlockSize();
    if (length == 0 || size == 0) {
        return length;
    }
    cow_1DArrayListIter<T, A> it(*this);
    for (unsigned start = (length - 1) / size * size;; start -= size) {
        it.Seek(start);
        for (unsigned offset = it.RunLength(); offset > 0; --offset) {
            if (vlt::detail::cow_1DArrayEqual(it.Run()[offset - 1], value)) {
                return start + offset - 1;
            }
        }
        if (start == 0) {
            return length;
        }
    }
}

template <class T, class A>
T* cow_1DArrayList<T, A>::GetCArray(unsigned& count) const {
    auto copy = std::make_unique<T[]>(length);
    for (cow_1DArrayListIter<T, A> it(*this); !it.IsDone(); it.NextRun()) {
        std::copy(it.Run(), it.Run() + it.RunLength(), copy.get() + it.Index());
    }
    count = length;
    return copy.release();
}

template <class T, class A>
bool cow_1DArrayList<T, A>::IsEqual(const cow_1DArrayList& other) const {
    if (length != other.length) {
        return false;
    }
    for (unsigned index = 0; index < length; ++index) {
        const T& mine = storage.PartialArrayConstGet(index);
        const T& theirs = other.storage.PartialArrayConstGet(index);
        if (&mine != &theirs && !vlt::detail::cow_1DArrayEqual(mine, theirs)) {
            return false;
        }
    }
    return true;
}

// The library's instances: declared here with the library's export attribute so that
// clients link them; defined in the files cow/impl/cow_1DArrayList*.cpp with
// VLT_COW_1DARRAY_DEFINE.
#define VLT_COW_1DARRAY_DECLARE(T)                                                                 \
    extern template class VLTUTL_API cow_1DArrayBlock<T>;                                          \
    extern template class VLTUTL_API cow_1DArray<T>;                                               \
    extern template class VLTUTL_API cow_1DArrayList<T, T>;                                        \
    extern template class VLTUTL_API cow_1DArrayListIter<T, T>
#define VLT_COW_1DARRAY_DEFINE(T)                                                                  \
    template class cow_1DArrayBlock<T>;                                                            \
    template class cow_1DArray<T>;                                                                 \
    template class cow_1DArrayList<T, T>;                                                          \
    template class cow_1DArrayListIter<T, T>

// Single names for the element types with a comma, for the instantiation macros.
namespace vlt::detail {
using cow_IntArrayList = cow_1DArrayList<int, int>;
using cow_FloatArrayList = cow_1DArrayList<float, float>;
using cow_StringArrayList = cow_1DArrayList<cow_String, cow_String>;
} // namespace vlt::detail

// The element types of the library's instances, for the macros above and cio_1DArray.cpp.
#define VLT_COW_1DARRAY_ELEMENT_TYPES(apply)                                                       \
    apply(int);                                                                                    \
    apply(unsigned int);                                                                           \
    apply(float);                                                                                  \
    apply(double);                                                                                 \
    apply(cow_String);                                                                             \
    apply(vlt::detail::cow_IntArrayList);                                                          \
    apply(vlt::detail::cow_FloatArrayList)

VLT_COW_1DARRAY_ELEMENT_TYPES(VLT_COW_1DARRAY_DECLARE);

VLT_COW_LIST_DECLARE(vlt::detail::cow_IntArrayList);
VLT_COW_LIST_DECLARE(vlt::detail::cow_FloatArrayList);
VLT_COW_LIST_DECLARE(vlt::detail::cow_StringArrayList);
