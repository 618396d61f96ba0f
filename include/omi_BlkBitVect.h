// Blocked bit vectors: sparse sets of unsigned integers.
//
// `omi_BlkBitVect` stores bit i in 32-bit word i / 32 (bit 0 least significant) of a blocked
// array of 256-word blocks (8192 bits per block); a block is made only where a bit is set, and
// the vector keeps an exact count of its set bits. `omi_BlkBitVectTrav` walks the set bits in
// either direction, skipping absent blocks and zero words. A vector owns its blocks and is
// copied in full; it is not shared and takes no locks. A traverser reads the live blocks: it
// must not outlive a change to its vector that frees blocks or grows the block table.
//
// `begin()`/`end()` walk the set indices upwards for range-for and the standard algorithms. The
// iterator keeps the unvisited bits of its word by value, so that a loop over it runs in
// registers: a step is a clear of the lowest bit and a count of trailing zeros. It is valid
// under the same terms as a traverser.
#pragma once

#include "omi_BlockedArray.h"
#include "vlt_Export.h"
#include "vlt_Iterator.h"

#include <bit>
#include <cstdint>

class omi_BlkBitVectTrav;

namespace vlt::detail {
// Where a walk over the set bits stands: the bits not yet visited of the current pair of words,
// read as one 64-bit word (half the word changes, each a branch that the spread of the bits
// makes unpredictable), and the index of its bit 0. An ended cursor has no word.
class omi_BlkBitVectCursor {
public:
    static constexpr unsigned wordsPerBlock = 256;

    omi_BlkBitVectCursor() = default;
    omi_BlkBitVectCursor(const unsigned* const* table_, unsigned tableLength_)
        : table(table_), tableLength(tableLength_) {
        SeekBlock(0);
    }

    unsigned Read() const { return base + static_cast<unsigned>(std::countr_zero(bits)); }
    void Advance() {
        bits &= bits - 1;
        while (bits == 0) {
            word += 2;
            if (word == blockEnd) [[unlikely]] {
                SeekBlock(block + 1);
                return;
            }
            base += 64;
            bits = Pair(word);
        }
    }
    bool operator==(const omi_BlkBitVectCursor& other) const {
        return word == other.word && bits == other.bits;
    }

private:
    // Words i and i + 1 as one: bit k of the pair is bit k of the vector from word i's bit 0.
    static uint64_t Pair(const unsigned* word) {
        return word[0] | static_cast<uint64_t>(word[1]) << 32;
    }
    // The first set bit in blocks from `from` on; the end when there is none.
    void SeekBlock(unsigned from) {
        for (block = from; block < tableLength; ++block) {
            const unsigned* first = table[block];
            if (first == nullptr) {
                continue;
            }
            blockEnd = first + wordsPerBlock;
            for (word = first; word != blockEnd; word += 2) {
                bits = Pair(word);
                if (bits != 0) {
                    base = (block * wordsPerBlock + static_cast<unsigned>(word - first)) * 32;
                    return;
                }
            }
        }
        word = nullptr;
        bits = 0;
    }

    const unsigned* const* table = nullptr;
    unsigned tableLength = 0;
    unsigned block = 0;
    const unsigned* word = nullptr;
    const unsigned* blockEnd = nullptr;
    uint64_t bits = 0;
    unsigned base = 0;
};
} // namespace vlt::detail

namespace vlt::detail {
// Where the structures keyed by signed integers keep a negative key: under its magnitude, which
// for the smallest int is 2^31.
inline unsigned omi_Magnitude(int key) {
    const unsigned bits = static_cast<unsigned>(key);
    return key < 0 ? 0u - bits : bits;
}
} // namespace vlt::detail

class VLTUTL_API omi_BlkBitVect : protected omi_BlockedArray<unsigned int> {
public:
    omi_BlkBitVect();
    omi_BlkBitVect(const omi_BlkBitVect& other);
    omi_BlkBitVect& operator=(const omi_BlkBitVect& other);
    ~omi_BlkBitVect() override;

    void SetBit(unsigned index) {
        const unsigned w = index >> wordShift;
        unsigned& word = MakeBlock(w >> blockShift)[w & blockMask];
        const unsigned bit = 1u << (index & wordMask);
        if ((word & bit) == 0) {
            word |= bit;
            ++bitCount;
        }
    }
    // Clearing never frees a block; `Recount` does.
    void UnsetBit(unsigned index) {
        unsigned* word = const_cast<unsigned*>(FindWord(index));
        const unsigned bit = 1u << (index & wordMask);
        if (word != nullptr && (*word & bit) != 0) {
            *word &= ~bit;
            --bitCount;
        }
    }
    bool TestBit(unsigned index) const {
        const unsigned* word = FindWord(index);
        return word != nullptr && (*word >> (index & wordMask) & 1u) != 0;
    }
    // Sets every bit from `from` to `to`, both included; nothing when `from` > `to`.
    void SetFromTo(unsigned from, unsigned to);
    // Frees every block.
    void Clear();
    unsigned BitCount() const { return bitCount; }

    using const_iterator = vlt::detail::vlt_ForwardIterator<vlt::detail::omi_BlkBitVectCursor>;
    using iterator = const_iterator;
    // The set indices in ascending order.
    const_iterator begin() const {
        return const_iterator(vlt::detail::omi_BlkBitVectCursor(blockTable, tableLength));
    }
    const_iterator end() const { return {}; }

    omi_BlkBitVect& operator&=(const omi_BlkBitVect& other);
    omi_BlkBitVect& operator|=(const omi_BlkBitVect& other);
    omi_BlkBitVect& operator^=(const omi_BlkBitVect& other);
    omi_BlkBitVect& operator-=(const omi_BlkBitVect& other);
    bool operator==(const omi_BlkBitVect& other) const;
    // True when every bit of `other` is set here.
    bool Contains(const omi_BlkBitVect& other) const;

    // Prints the count and every set index to standard error.
    virtual void DumpList() const;
    using omi_BlockedArray<unsigned int>::DumpArray;
    // The number of blocks held: a block stays after its last bit is cleared until `Recount`.
    using omi_BlockedArray<unsigned int>::BlockCount;

    // The number of set bits of each byte value.
    static const unsigned char BitPerByte[256];
    static unsigned CountBits32(unsigned word);

protected:
    // Recomputes the count from the words and frees every block without a set bit.
    void Recount();

    unsigned bitCount;

private:
    friend class omi_BlkBitVectTrav;

    static constexpr unsigned wordShift = 5;
    static constexpr unsigned wordMask = 31;
    static constexpr unsigned blockShift = 8;
    static constexpr unsigned blockMask = (1u << blockShift) - 1;
    static_assert(vlt::detail::omi_BlkBitVectCursor::wordsPerBlock == 1u << blockShift);
    static constexpr unsigned initialBlocks = 128;

    // The shape is fixed, so the bit accessors use these constants rather than reading the
    // shift and mask fields: one dependent load less on every test of a table's cell.
    const unsigned* BlockAt(unsigned block) const {
        return block < tableLength ? blockTable[block] : nullptr;
    }
    // The word that holds bit `index`, or null when its block was never made.
    const unsigned* FindWord(unsigned index) const {
        const unsigned w = index >> wordShift;
        const unsigned* block = BlockAt(w >> blockShift);
        return block != nullptr ? block + (w & blockMask) : nullptr;
    }

    // Which blocks an operator touches when only one operand has them: blocks found only here
    // are dropped or kept; blocks found only in the other vector are copied or ignored.
    enum class MineOnly { Drop, Keep };
    enum class TheirsOnly { Copy, Ignore };
    template <class WordOp>
    void Combine(const omi_BlkBitVect& other, MineOnly mineOnly, TheirsOnly theirsOnly, WordOp op);
};

class VLTUTL_API omi_BlkBitVectTrav {
public:
    // A traverser over no vector: it finds nothing until it is assigned one.
    omi_BlkBitVectTrav();
    explicit omi_BlkBitVectTrav(const omi_BlkBitVect& vector);
    omi_BlkBitVectTrav(const omi_BlkBitVectTrav& other);
    omi_BlkBitVectTrav& operator=(const omi_BlkBitVectTrav& other);
    virtual ~omi_BlkBitVectTrav();

    // Each returns true and sets `index` when a set bit was found, false at the end. Running
    // off one end leaves the cursor there: the opposite step then finds the extreme bit.
    bool First(unsigned& index);
    bool Last(unsigned& index);
    // Inline: the step to the next bit of the same block is the inner loop of every walk over
    // a vector or an integer table.
    bool Next(unsigned& index) {
        if (place != Place::OnBit) [[unlikely]] {
            return place == Place::BeforeFirst && First(index);
        }
        // Bits above the current one in the current word, then the following words of the block.
        unsigned bits = *currentWord & (0u - (bitMask << 1));
        const unsigned* word = currentWord;
        while (bits == 0) {
            if (++word == blockEnd) [[unlikely]] {
                return ScanForward(currentBlock + 1, index);
            }
            bits = *word;
        }
        return MoveInBlock(word, static_cast<unsigned>(std::countr_zero(bits)), index);
    }
    bool Prev(unsigned& index);

protected:
    // Back to the position before the first bit.
    void Initomi_BlkBitVect();
    void SetBitTraverseData(const omi_BlkBitVect& vector);

private:
    enum class Place { BeforeFirst, OnBit, AfterLast };

    bool ScanForward(unsigned fromBlock, unsigned& index);
    bool ScanBackward(unsigned blockLimit, unsigned& index);
    // The helpers below are inline so that the library calls them directly rather than through
    // its exported symbols.
    //
    // Positions on `bit` of `word`, a word of the block the cursor is on, and reports its index;
    // the index follows from the current one because words are 32-bit aligned.
    bool MoveInBlock(const unsigned* word, unsigned bit, unsigned& index) {
        const unsigned wordsAhead = static_cast<unsigned>(word - currentWord);
        currentBit = (currentBit & ~omi_BlkBitVect::wordMask) +
                     (wordsAhead << omi_BlkBitVect::wordShift) + bit;
        currentWord = word;
        bitMask = 1u << bit;
        index = currentBit;
        return true;
    }
    // Positions on `bit` of `word` in block `block`, entered afresh.
    bool Stop(unsigned block, const unsigned* word, unsigned bit, unsigned& index) {
        currentBlock = block;
        const unsigned* first = blockTable[block];
        blockEnd = first + blockSize;
        place = Place::OnBit;
        currentWord = word;
        bitMask = 1u << bit;
        const unsigned wordInBlock = static_cast<unsigned>(word - first);
        currentBit = (block << (shift + omi_BlkBitVect::wordShift)) +
                     (wordInBlock << omi_BlkBitVect::wordShift) + bit;
        index = currentBit;
        return true;
    }

    unsigned tableLength;
    unsigned blockSize;
    unsigned shift;
    unsigned mask;
    unsigned* const* blockTable;

    Place place;
    unsigned currentBlock;
    const unsigned* currentWord;
    const unsigned* blockEnd;
    unsigned bitMask;
    unsigned currentBit;
};
