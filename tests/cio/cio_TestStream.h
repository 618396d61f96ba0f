// Shared by the marshalling and container suites: the modules they need, and byte-level views
// of a memory filter.
#pragma once

#include "bio_IOmemFilter.h"
#include "utl_Modules.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

namespace vlt::test {

// Starts the type table, the streams and the registered cio rows (nested starts are harmless).
class StreamTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        int tally = 0;
        typ_initialize(tally);
        bio_initialize(tally);
        pnt_initialize(tally);
        obj_initialize(tally);
        cio_initialize(tally);
    }

    bio_IOmemFilter mem{64};

    std::vector<uint8_t> Written() const {
        const auto* data = reinterpret_cast<const uint8_t*>(mem.Data());
        return {data, data + mem.Written()};
    }
    // Puts raw bytes on the stream, as a foreign writer would.
    void Feed(const std::vector<uint8_t>& bytes) {
        mem.longMove(reinterpret_cast<const char*>(bytes.data()),
                     static_cast<unsigned>(bytes.size()));
    }
};

// Little-endian bytes of 32-bit words and of text, for expected encodings.
class Bytes {
public:
    Bytes& Words(std::initializer_list<uint32_t> words) {
        for (uint32_t w : words) {
            for (int i = 0; i < 4; ++i) {
                bytes.push_back(static_cast<uint8_t>(w >> (8 * i)));
            }
        }
        return *this;
    }
    Bytes& Text(const std::string& text) {
        bytes.insert(bytes.end(), text.begin(), text.end());
        return *this;
    }
    template <class T>
    Bytes& Raw(const T& value) {
        const auto* p = reinterpret_cast<const uint8_t*>(&value);
        bytes.insert(bytes.end(), p, p + sizeof(T));
        return *this;
    }
    // The string record: type id, marker 0, length, then the stream string.
    Bytes& StringRecord(const std::string& text) {
        const auto n = static_cast<uint32_t>(text.size());
        return Words({0x1a0001, 0, n, n}).Text(text);
    }
    operator std::vector<uint8_t>() const { return bytes; }

private:
    std::vector<uint8_t> bytes;
};

} // namespace vlt::test
