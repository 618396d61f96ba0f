// A stream buffer over caller memory, through which the peers' archives write and read.
#pragma once

#include <cstddef>
#include <streambuf>

namespace vlt::bench {

class MemoryStreamBuf : public std::streambuf {
public:
    MemoryStreamBuf(char* data, std::size_t n) {
        setp(data, data + n);
        setg(data, data, data + n);
    }
    std::size_t Written() const { return static_cast<std::size_t>(pptr() - pbase()); }
};

} // namespace vlt::bench
