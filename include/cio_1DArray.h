// How the blocked arrays and the 1D array lists move through the binary streams and print:
// the bodies of `cow_1DArray<T>::WriteData`, `ReadData` and `PrintData`, and the raw form in
// which a list travels as an element of another container.
//
// They live here, beside the other container operators, so that a client of the containers
// alone never reads the filters or the printer. The library instantiates them for its element
// types (cio/impl/cio_1DArray.cpp); a client that streams a blocked array of its own element
// type includes this header.
#pragma once

#include "cio_Element.h"
#include "cow_1DArray.h"
#include "crt_Assert.h"

#include <cstdint>
#include <vector>

template <class T>
bio_Ofilter& cow_1DArray<T>::WriteData(bio_Ofilter& out, const void* object) {
    const cow_1DArray& array = *static_cast<const cow_1DArray*>(object);
    out << array.blockCount << array.blockSize;
    for (unsigned block = 0; block < array.blockCount; ++block) {
        const Block* entry = array.table[block];
        const int present = entry != nullptr ? 1 : 0;
        out << present;
        if (entry != nullptr) {
            vlt::detail::cio_WriteRun(out, entry->data.get(), array.blockSize);
        }
    }
    return out;
}

// Blocks are made only for a non-zero block size: a block of no elements could not serve the
// size that the next write chooses.
template <class T>
void cow_1DArray<T>::ReadData(bio_Ifilter& in, void* object) {
    unsigned count = 0;
    unsigned size = 0;
    in >> count >> size;
    in.VouchForElements(count, sizeof(int32_t));
    cow_1DArray fresh(count, size);
    for (unsigned block = 0; block < count; ++block) {
        int present = 0;
        in >> present;
        if (present != 0 && size != 0) {
            in.VouchForElements(size, vlt::detail::cio_MinBytes<T>);
            fresh.table[block] = new Block(size);
            vlt::detail::cio_ReadRun(in, fresh.table[block]->data.get(), size);
        }
    }
    *static_cast<cow_1DArray*>(object) = fresh;
}

template <class T>
pnt_PrettyPrint& cow_1DArray<T>::PrintData(pnt_PrettyPrint& pp, const void* object) {
    const cow_1DArray& array = *static_cast<const cow_1DArray*>(object);
    return vlt::detail::cio_PrintSequence(pp, "[", ",", "]", array.blockCount, [&](uint64_t i) {
        const Block* entry = array.table[i];
        if (entry == nullptr) {
            pp << "...";
            return;
        }
        for (unsigned element = 0; element < array.blockSize; ++element) {
            vlt::detail::cio_PrintElement(pp, entry->data[element]);
            pp << " " << pnt_OptionalBreak;
        }
    });
}

namespace vlt::detail {
inline constexpr char cio_1DArrayListPath[] = "include/cio_1DArrayList";

struct cio_1DArrayListAccess {
    template <class T, class A>
    static void Write(bio_Ofilter& out, const cow_1DArrayList<T, A>& list) {
        out << list.length;
        cow_1DArray<T>::WriteData(out, &list.storage);
    }
    // A length beyond the storage read with it is reported and clipped to the storage.
    template <class T, class A>
    static void Read(bio_Ifilter& in, cow_1DArrayList<T, A>& list) {
        unsigned length = 0;
        in >> length;
        cow_1DArray<T>::ReadData(in, &list.storage);
        const bool fits = length <= list.storage.Length();
        CRT_CHECK(fits, "length <= storage.Length()", cio_1DArrayListPath);
        list.length = fits ? length : static_cast<uint32_t>(list.storage.Length());
    }
    template <class T, class A>
    static pnt_PrettyPrint& Print(pnt_PrettyPrint& pp, const cow_1DArrayList<T, A>& list,
                                  cio_Form form = cio_Form::OnePerLine) {
        // Reads that make no block. A block never made prints "..." once, as the array's
        // own printer does: a list read from a stream may span many blocks it never had.
        const unsigned size = list.storage.BlockSize();
        std::vector<uint64_t> items; // element indices; absentBlock for a block never made
        constexpr uint64_t absentBlock = UINT64_MAX;
        for (uint64_t i = 0; i < list.length; ++i) {
            if (list.storage.ConstBlock(static_cast<unsigned>(i / size)) == nullptr) {
                items.push_back(absentBlock);
                i = (i / size + 1) * size - 1;
            } else {
                items.push_back(i);
            }
        }
        return cio_PrintIn(form, pp, "[", ",", "]", items.size(), [&](uint64_t item) {
            const uint64_t i = items[item];
            if (i == absentBlock) {
                pp << "...";
                return;
            }
            const auto* block = list.storage.ConstBlock(static_cast<unsigned>(i / size));
            cio_PrintElement(pp, block->ConstData()[i % size]);
        });
    }
};

template <class U>
void cio_WriteElement(bio_Ofilter& out, const cow_1DArrayList<U, U>& list) {
    cio_1DArrayListAccess::Write(out, list);
}
template <class U>
void cio_ReadElement(bio_Ifilter& in, cow_1DArrayList<U, U>& list) {
    cio_1DArrayListAccess::Read(in, list);
}
// A list held by a list or a map takes their compact form, while the list's own print operator
// keeps its published element per line.
template <class U>
void cio_PrintElement(pnt_PrettyPrint& pp, const cow_1DArrayList<U, U>& list) {
    cio_1DArrayListAccess::Print(pp, list, cio_Form::Compact);
}
} // namespace vlt::detail
