// How the container stream operators move one element, a run of elements, or a whole printed
// sequence: numbers in their plain encodings, strings as their object records (cio_String.h).
//
// Runs of numbers move as one block of bytes: the encoding of a run is the values back to back
// in the stream's byte order, which is the machine's. A count read from a stream sizes an
// allocation only after the filter has vouched for the bytes behind it
// (`bio_Ifilter::VouchForElements`, with the fewest bytes of one element, `cio_MinBytes`).
#pragma once

#include "bio_Ifilter.h"
#include "bio_Ofilter.h"
#include "cio_String.h"
#include "pnt_PrettyPrint.h"

#include <cstdint>
#include <type_traits>

template <class T, class A>
class cow_1DArrayList;

namespace vlt::detail {

template <class T>
concept cio_Plain = std::is_arithmetic_v<T>;

// The fewest stream bytes of one element: a string record is at least its type id, marker and
// two lengths.
template <class T>
inline constexpr unsigned cio_MinBytes = sizeof(T);
template <>
inline constexpr unsigned cio_MinBytes<cow_String> = 16;

template <cio_Plain T>
void cio_WriteElement(bio_Ofilter& out, const T& value) {
    out << value;
}
inline void cio_WriteElement(bio_Ofilter& out, const cow_String& value) {
    out << value;
}

template <cio_Plain T>
void cio_ReadElement(bio_Ifilter& in, T& value) {
    in >> value;
}
inline void cio_ReadElement(bio_Ifilter& in, cow_String& value) {
    cio_ReadStringElement(in, value);
}

// An element that the published readers take through the pointer form of its input operator:
// that form reads the value into a new one and nothing else, so it is read in place.
template <cio_Plain T>
void cio_ReadTemporary(bio_Ifilter& in, T& into) {
    in >> into;
}

template <cio_Plain T>
void cio_PrintElement(pnt_PrettyPrint& pp, const T& value) {
    if constexpr (std::is_floating_point_v<T>) {
        pp << static_cast<double>(value);
    } else {
        pp << value;
    }
}
inline void cio_PrintElement(pnt_PrettyPrint& pp, const cow_String& value) {
    pp << value;
}

// Lists of lists: an element list moves as its length and its storage, without a record
// (defined in cio_1DArray.h).
template <class U>
void cio_WriteElement(bio_Ofilter& out, const cow_1DArrayList<U, U>& list);
template <class U>
void cio_ReadElement(bio_Ifilter& in, cow_1DArrayList<U, U>& list);
template <class U>
void cio_PrintElement(pnt_PrettyPrint& pp, const cow_1DArrayList<U, U>& list);
// A list value of a map or list is read back as it was written: raw, in place.
template <class U>
void cio_ReadTemporary(bio_Ifilter& in, cow_1DArrayList<U, U>& into) {
    cio_ReadElement(in, into);
}
template <class U>
inline constexpr unsigned cio_MinBytes<cow_1DArrayList<U, U>> = 12;

template <cio_Plain T>
void cio_WriteRun(bio_Ofilter& out, const T* run, unsigned n) {
    out.longMove(reinterpret_cast<const char*>(run), static_cast<unsigned>(n * sizeof(T)));
}
template <class T>
void cio_WriteRun(bio_Ofilter& out, const T* run, unsigned n) {
    for (const T* end = run + n; run != end; ++run) {
        cio_WriteElement(out, *run);
    }
}

template <cio_Plain T>
void cio_ReadRun(bio_Ifilter& in, T* run, unsigned n) {
    in.extractVector(run, n);
}
template <class T>
void cio_ReadRun(bio_Ifilter& in, T* run, unsigned n) {
    for (T* end = run + n; run != end; ++run) {
        cio_ReadElement(in, *run);
    }
}

// The two printed forms of a sequence: the arrays' one element per line, and the compact form
// of the lists and maps, which fills lines.
enum class cio_Form { OnePerLine, Compact };

// The printed form of a sequence, inside ESC t ESC { ... ESC } ESC u: `open`, then each item
// preceded by " " ESC o (the first) or `separator` ESC n (the others) and followed by " " ESC o,
// then " " ESC o after the last item, then `close`. `item(i)` prints item i.
template <class Item>
pnt_PrettyPrint& cio_PrintSequence(pnt_PrettyPrint& pp, const char* open, const char* separator,
                                   const char* close, uint64_t count, Item item) {
    pp << pnt_IndentIn << pnt_GroupOpen << open;
    for (uint64_t i = 0; i < count; ++i) {
        if (i == 0) {
            pp << " " << pnt_OptionalBreak;
        } else {
            pp << separator << pnt_NewLine;
        }
        item(i);
        pp << " " << pnt_OptionalBreak;
    }
    if (count != 0) {
        pp << " " << pnt_OptionalBreak;
    }
    return pp << close << pnt_GroupClose << pnt_IndentOut;
}

// The compact form: `open`, " " ESC o, the items separated by `separator` " " ESC o, " ",
// `close`; "{ 1, 2, 3 }" on one line when it fits, otherwise as few lines as the width allows.
// No break comes before `close`, so that a bracket never starts a line.
template <class Item>
pnt_PrettyPrint& cio_PrintCompact(pnt_PrettyPrint& pp, const char* open, const char* separator,
                                  const char* close, uint64_t count, Item item) {
    pp << pnt_IndentIn << pnt_GroupOpen << open;
    for (uint64_t i = 0; i < count; ++i) {
        if (i != 0) {
            pp << separator;
        }
        pp << " " << pnt_OptionalBreak;
        item(i);
    }
    if (count != 0) {
        pp << " ";
    }
    return pp << close << pnt_GroupClose << pnt_IndentOut;
}

template <class Item>
pnt_PrettyPrint& cio_PrintIn(cio_Form form, pnt_PrettyPrint& pp, const char* open,
                             const char* separator, const char* close, uint64_t count, Item item) {
    return form == cio_Form::Compact ? cio_PrintCompact(pp, open, separator, close, count, item)
                                     : cio_PrintSequence(pp, open, separator, close, count, item);
}

} // namespace vlt::detail
