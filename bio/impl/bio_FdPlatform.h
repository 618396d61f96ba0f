// The operating system's side of the descriptor devices.
#pragma once

#include <cstddef>

namespace vlt::detail {

// One write of up to n bytes: the count written, or -1 with the error number in errno. An
// interrupted call is retried; a reader that has gone away gives an error, never a signal.
long bio_FdWrite(int fd, const char* data, std::size_t n);

// One read of up to n bytes: the count read, 0 at end of file, or -1 with the error number in
// errno. An interrupted call is retried.
long bio_FdRead(int fd, char* data, std::size_t n);

} // namespace vlt::detail
