#include "omi_BlkBitVect.h"

#include "crt_Assert.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace {

constexpr char omi_BlkBitVectPath[] = "omni/impl/omi_BlkBitVect";

constexpr unsigned bitsPerWord = 32;

// The position of the highest set bit of a non-zero word.
unsigned Highest(unsigned bits) {
    return bitsPerWord - 1 - static_cast<unsigned>(std::countl_zero(bits));
}

// Whole blocks are combined and counted two words at a time. Blocks hold 2^8 words, an even
// number.
std::uint64_t LoadPair(const unsigned* words) {
    std::uint64_t pair;
    std::memcpy(&pair, words, sizeof pair);
    return pair;
}

void StorePair(unsigned* words, std::uint64_t pair) {
    std::memcpy(words, &pair, sizeof pair);
}

// The set bits of two words, counted in parallel: the base x86-64 target has no population
// count instruction, and the library's fallback is a call per word.
unsigned PairBits(std::uint64_t x) {
    x = x - ((x >> 1) & 0x5555555555555555ull);
    x = (x & 0x3333333333333333ull) + ((x >> 2) & 0x3333333333333333ull);
    x = (x + (x >> 4)) & 0x0f0f0f0f0f0f0f0full;
    return static_cast<unsigned>((x * 0x0101010101010101ull) >> 56);
}

unsigned BlockBits(const unsigned* block, unsigned blockSize) {
    unsigned bits = 0;
    for (unsigned w = 0; w < blockSize; w += 2) {
        bits += PairBits(LoadPair(block + w));
    }
    return bits;
}

bool BlockIsZero(const unsigned* block, unsigned blockSize) {
    return std::all_of(block, block + blockSize, [](unsigned word) { return word == 0; });
}

} // namespace

// clang-format off
const unsigned char omi_BlkBitVect::BitPerByte[256] = {
    0, 1, 1, 2, 1, 2, 2, 3, 1, 2, 2, 3, 2, 3, 3, 4, 1, 2, 2, 3, 2, 3, 3, 4, 2, 3, 3, 4, 3, 4, 4, 5,
    1, 2, 2, 3, 2, 3, 3, 4, 2, 3, 3, 4, 3, 4, 4, 5, 2, 3, 3, 4, 3, 4, 4, 5, 3, 4, 4, 5, 4, 5, 5, 6,
    1, 2, 2, 3, 2, 3, 3, 4, 2, 3, 3, 4, 3, 4, 4, 5, 2, 3, 3, 4, 3, 4, 4, 5, 3, 4, 4, 5, 4, 5, 5, 6,
    2, 3, 3, 4, 3, 4, 4, 5, 3, 4, 4, 5, 4, 5, 5, 6, 3, 4, 4, 5, 4, 5, 5, 6, 4, 5, 5, 6, 5, 6, 6, 7,
    1, 2, 2, 3, 2, 3, 3, 4, 2, 3, 3, 4, 3, 4, 4, 5, 2, 3, 3, 4, 3, 4, 4, 5, 3, 4, 4, 5, 4, 5, 5, 6,
    2, 3, 3, 4, 3, 4, 4, 5, 3, 4, 4, 5, 4, 5, 5, 6, 3, 4, 4, 5, 4, 5, 5, 6, 4, 5, 5, 6, 5, 6, 6, 7,
    2, 3, 3, 4, 3, 4, 4, 5, 3, 4, 4, 5, 4, 5, 5, 6, 3, 4, 4, 5, 4, 5, 5, 6, 4, 5, 5, 6, 5, 6, 6, 7,
    3, 4, 4, 5, 4, 5, 5, 6, 4, 5, 5, 6, 5, 6, 6, 7, 4, 5, 5, 6, 5, 6, 6, 7, 5, 6, 6, 7, 6, 7, 7, 8,
};
// clang-format on

unsigned omi_BlkBitVect::CountBits32(unsigned word) {
    return BitPerByte[word & 0xff] + BitPerByte[(word >> 8) & 0xff] +
           BitPerByte[(word >> 16) & 0xff] + BitPerByte[word >> 24];
}

omi_BlkBitVect::omi_BlkBitVect()
    : omi_BlockedArray<unsigned int>(initialBlocks, blockShift), bitCount(0) {}

omi_BlkBitVect::omi_BlkBitVect(const omi_BlkBitVect& other) = default;

omi_BlkBitVect& omi_BlkBitVect::operator=(const omi_BlkBitVect& other) {
    if (this != &other) {
        omi_BlockedArray<unsigned int>::operator=(other);
        bitCount = other.bitCount;
    }
    return *this;
}

omi_BlkBitVect::~omi_BlkBitVect() = default;

void omi_BlkBitVect::SetFromTo(unsigned from, unsigned to) {
    if (from > to) {
        return;
    }
    const unsigned firstWord = from >> wordShift;
    const unsigned lastWord = to >> wordShift;
    for (unsigned w = firstWord;; ++w) {
        unsigned wanted = ~0u;
        if (w == firstWord) {
            wanted &= ~0u << (from & wordMask);
        }
        if (w == lastWord) {
            wanted &= ~0u >> (wordMask - (to & wordMask));
        }
        unsigned& word = Cell(w);
        bitCount += static_cast<unsigned>(std::popcount(wanted & ~word));
        word |= wanted;
        if (w == lastWord) {
            break;
        }
    }
}

void omi_BlkBitVect::Clear() {
    omi_BlockedArray<unsigned int>::Clear();
    bitCount = 0;
}

// Counting gives the numbers that `CountBits32` gives. Every block that an operator leaves
// without a set bit is freed.
template <class WordOp>
void omi_BlkBitVect::Combine(const omi_BlkBitVect& other, MineOnly mineOnly, TheirsOnly theirsOnly,
                             WordOp op) {
    const unsigned blocks = std::max(tableLength, other.tableLength);
    for (unsigned b = 0; b < blocks; ++b) {
        const unsigned* theirs = other.BlockAt(b);
        unsigned* mine = const_cast<unsigned*>(BlockAt(b));
        if (mine == nullptr && theirs == nullptr) {
            continue;
        }
        if (theirs == nullptr) {
            if (mineOnly == MineOnly::Drop) {
                bitCount -= BlockBits(mine, blockSize);
                FreeBlock(b);
            }
            continue;
        }
        if (mine == nullptr) {
            if (theirsOnly == TheirsOnly::Copy && !BlockIsZero(theirs, blockSize)) {
                mine = MakeBlock(b);
                std::copy(theirs, theirs + blockSize, mine);
                bitCount += BlockBits(mine, blockSize);
            }
            continue;
        }
        unsigned before = 0;
        unsigned after = 0;
        for (unsigned w = 0; w < blockSize; w += 2) {
            const std::uint64_t old = LoadPair(mine + w);
            const std::uint64_t combined = op(old, LoadPair(theirs + w));
            StorePair(mine + w, combined);
            before += PairBits(old);
            after += PairBits(combined);
        }
        bitCount = bitCount - before + after;
        if (after == 0) {
            FreeBlock(b);
        }
    }
}

omi_BlkBitVect& omi_BlkBitVect::operator&=(const omi_BlkBitVect& other) {
    Combine(other, MineOnly::Drop, TheirsOnly::Ignore,
            [](std::uint64_t a, std::uint64_t b) { return a & b; });
    return *this;
}

omi_BlkBitVect& omi_BlkBitVect::operator|=(const omi_BlkBitVect& other) {
    Combine(other, MineOnly::Keep, TheirsOnly::Copy,
            [](std::uint64_t a, std::uint64_t b) { return a | b; });
    return *this;
}

omi_BlkBitVect& omi_BlkBitVect::operator^=(const omi_BlkBitVect& other) {
    Combine(other, MineOnly::Keep, TheirsOnly::Copy,
            [](std::uint64_t a, std::uint64_t b) { return a ^ b; });
    return *this;
}

omi_BlkBitVect& omi_BlkBitVect::operator-=(const omi_BlkBitVect& other) {
    Combine(other, MineOnly::Keep, TheirsOnly::Ignore,
            [](std::uint64_t a, std::uint64_t b) { return a & ~b; });
    return *this;
}

bool omi_BlkBitVect::operator==(const omi_BlkBitVect& other) const {
    if (bitCount != other.bitCount) {
        return false;
    }
    const unsigned blocks = std::max(tableLength, other.tableLength);
    for (unsigned b = 0; b < blocks; ++b) {
        const unsigned* mine = BlockAt(b);
        const unsigned* theirs = other.BlockAt(b);
        if (mine == nullptr || theirs == nullptr) {
            if (mine != theirs && !BlockIsZero(mine != nullptr ? mine : theirs, blockSize)) {
                return false;
            }
        } else if (!std::equal(mine, mine + blockSize, theirs)) {
            return false;
        }
    }
    return true;
}

bool omi_BlkBitVect::Contains(const omi_BlkBitVect& other) const {
    if (other.bitCount > bitCount) {
        return false;
    }
    for (unsigned b = 0; b < other.tableLength; ++b) {
        const unsigned* theirs = other.blockTable[b];
        if (theirs == nullptr) {
            continue;
        }
        const unsigned* mine = BlockAt(b);
        if (mine == nullptr) {
            if (!BlockIsZero(theirs, blockSize)) {
                return false;
            }
            continue;
        }
        for (unsigned w = 0; w < blockSize; ++w) {
            if ((theirs[w] & ~mine[w]) != 0) {
                return false;
            }
        }
    }
    return true;
}

void omi_BlkBitVect::Recount() {
    bitCount = 0;
    for (unsigned b = 0; b < tableLength; ++b) {
        if (blockTable[b] == nullptr) {
            continue;
        }
        const unsigned bits = BlockBits(blockTable[b], blockSize);
        if (bits == 0) {
            FreeBlock(b);
        }
        bitCount += bits;
    }
}

void omi_BlkBitVect::DumpList() const {
    omi_BlkBitVectTrav trav(*this);
    unsigned index = 0;
    if (!trav.First(index)) {
        std::fputs("Empty List\n", stderr);
        return;
    }
    std::fprintf(stderr, "ListCount=%u\n", bitCount);
    unsigned cnt = 0;
    do {
        std::fprintf(stderr, "%8d", static_cast<int>(index));
        if (++cnt % 8 == 0) {
            std::fputs("\n", stderr);
        }
    } while (trav.Next(index));
    CRT_CHECK(cnt == BitCount(), "cnt == BitCount()", omi_BlkBitVectPath);
}

omi_BlkBitVectTrav::omi_BlkBitVectTrav()
    : tableLength(0), blockSize(0), shift(0), mask(0), blockTable(nullptr) {
    Initomi_BlkBitVect();
}

omi_BlkBitVectTrav::omi_BlkBitVectTrav(const omi_BlkBitVect& vector) {
    SetBitTraverseData(vector);
    Initomi_BlkBitVect();
}

omi_BlkBitVectTrav::omi_BlkBitVectTrav(const omi_BlkBitVectTrav& other) = default;

omi_BlkBitVectTrav& omi_BlkBitVectTrav::operator=(const omi_BlkBitVectTrav& other) = default;

omi_BlkBitVectTrav::~omi_BlkBitVectTrav() = default;

void omi_BlkBitVectTrav::SetBitTraverseData(const omi_BlkBitVect& vector) {
    tableLength = vector.tableLength;
    blockSize = vector.blockSize;
    shift = vector.shift;
    mask = vector.mask;
    blockTable = vector.blockTable;
}

void omi_BlkBitVectTrav::Initomi_BlkBitVect() {
    place = Place::BeforeFirst;
    currentBlock = 0;
    currentWord = nullptr;
    blockEnd = nullptr;
    bitMask = 0;
    currentBit = 0;
}

bool omi_BlkBitVectTrav::First(unsigned& index) {
    return ScanForward(0, index);
}

bool omi_BlkBitVectTrav::Last(unsigned& index) {
    return ScanBackward(tableLength, index);
}

bool omi_BlkBitVectTrav::Prev(unsigned& index) {
    if (place != Place::OnBit) {
        return place == Place::AfterLast && Last(index);
    }
    unsigned bits = *currentWord & (bitMask - 1);
    const unsigned* word = currentWord;
    while (bits == 0) {
        if (word == blockEnd - blockSize) {
            return ScanBackward(currentBlock, index);
        }
        bits = *--word;
    }
    return MoveInBlock(word, Highest(bits), index);
}

bool omi_BlkBitVectTrav::ScanForward(unsigned fromBlock, unsigned& index) {
    for (unsigned b = fromBlock; b < tableLength; ++b) {
        const unsigned* block = blockTable[b];
        if (block == nullptr) {
            continue;
        }
        for (const unsigned* word = block; word < block + blockSize; ++word) {
            if (*word != 0) {
                return Stop(b, word, static_cast<unsigned>(std::countr_zero(*word)), index);
            }
        }
    }
    place = Place::AfterLast;
    return false;
}

bool omi_BlkBitVectTrav::ScanBackward(unsigned blockLimit, unsigned& index) {
    for (unsigned b = blockLimit; b-- > 0;) {
        const unsigned* block = blockTable[b];
        if (block == nullptr) {
            continue;
        }
        for (const unsigned* word = block + blockSize; word != block;) {
            --word;
            if (*word != 0) {
                return Stop(b, word, Highest(*word), index);
            }
        }
    }
    place = Place::BeforeFirst;
    return false;
}
