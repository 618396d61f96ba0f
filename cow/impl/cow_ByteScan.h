// The scan under the string search: the first byte that is either a given byte or a NUL.
//
// A search that must stop at the first NUL, as a C-string search does, cannot use a plain
// memchr over the known length, and strchr tests both bytes with two compares per vector. This
// scan folds the NUL test of four vectors into one minimum, so it costs about what memchr costs.
#pragma once

namespace vlt::detail {

// The first position in [first, last) holding `byte` or a NUL; last when there is none. Reads
// nothing at or beyond last.
const char* cow_FindByteOrNul(const char* first, const char* last, char byte);

} // namespace vlt::detail
