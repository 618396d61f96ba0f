// The decoding program shared by the input-filter fuzz target and its regression replay.
//
// The bytes are read as a script: each step reads one opcode byte from the stream and then
// the value it names, so the fuzzer steers which reads meet which bytes. Every step consumes
// at least its opcode, so the script ends with the stream, on `omi_FatalError`.
#pragma once

#include "../tests/bio/bio_TestChannels.h"
#include "bio_Complex.h"
#include "bio_IOmemFilter.h"
#include "bio_InternalFilter.h"
#include "bio_MemoryDevice.h"
#include "omi_FatalError.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

namespace vlt::fuzz {

template <class T>
void ReadScalar(bio_Ifilter& f) {
    T v{};
    f >> v;
}

template <class T>
void ReadPointer(bio_Ifilter& f) {
    T* p = nullptr;
    f >> p;
    delete p;
}

// A vector whose count comes from the stream, bounded by the harness (not by the library: a
// vector read has no length of its own on the stream).
template <class T>
void ReadVector(bio_Ifilter& f) {
    unsigned short count = 0;
    f >> count;
    const unsigned n = count % 512 + 1;
    const std::unique_ptr<T[]> values(new T[n]());
    f.extractVector(values.get(), n);
}

inline void ReadString(bio_Ifilter& f) {
    char* s = nullptr;
    f >> s;
    delete[] s;
}

inline void ReadRaw(bio_Ifilter& f) {
    unsigned char n = 0;
    f >> n;
    char bytes[256];
    char* dst = bytes;
    f.extract(dst, n);
}

inline void ReadSwapped(bio_Ifilter& f) {
    char bytes[8];
    f.shortSwap(bytes, sizeof bytes);
}

inline void ReadComplex(bio_Ifilter& f) {
    omi_complex c;
    f >> c;
}

using Step = void (*)(bio_Ifilter&);

inline constexpr Step script[] = {
    ReadScalar<double>,
    ReadScalar<float>,
    ReadScalar<unsigned long>,
    ReadScalar<long>,
    ReadScalar<unsigned>,
    ReadScalar<int>,
    ReadScalar<unsigned short>,
    ReadScalar<short>,
    ReadScalar<unsigned char>,
    ReadScalar<char>,
    ReadScalar<bool>,
    ReadString,
    ReadRaw,
    ReadSwapped,
    ReadComplex,
    ReadPointer<bool>,
    ReadPointer<long>,
    ReadPointer<double>,
    ReadVector<double>,
    ReadVector<float>,
    ReadVector<unsigned long>,
    ReadVector<long>,
    ReadVector<unsigned>,
    ReadVector<int>,
    ReadVector<unsigned short>,
    ReadVector<short>,
    ReadVector<unsigned char>,
    ReadVector<char>,
    ReadVector<bool>,
};

// Runs the script to the end of the stream; the number of steps that completed.
inline unsigned Decode(bio_Ifilter& f) {
    unsigned done = 0;
    try {
        for (;; ++done) {
            unsigned char op = 0;
            f >> op;
            script[op % std::size(script)](f);
        }
    } catch (const omi_FatalError&) {
    }
    return done;
}

// Decodes the bytes through the memory filter, through the internal filter over one loopback
// buffer, and through the internal filter over a device that cuts them into small buffers
// (the first byte picks the size). The steps completed each way: all three must agree, since
// the filters share one encoding and each stops on the first read the bytes cannot satisfy.
inline std::array<unsigned, 3> DecodeEveryWay(const uint8_t* data, std::size_t size) {
    const unsigned n = static_cast<unsigned>(size);
    std::array<unsigned, 3> steps{};
    {
        bio_IOmemFilter mem(n);
        mem.insertVector(reinterpret_cast<const char*>(data), n);
        steps[0] = Decode(mem);
    }
    {
        bio_Buffer buffer(n);
        if (n != 0) {
            std::memcpy(buffer.Data(), data, n);
        }
        buffer.wr_off = n;
        bio_ImemoryDevice device(buffer);
        bio_IinternalFilter in(device);
        steps[1] = Decode(in);
    }
    {
        const unsigned piece = size != 0 ? 1 + data[0] % 13 : 1;
        test::PieceSource device(std::string(reinterpret_cast<const char*>(data), size), piece);
        bio_IinternalFilter in(device);
        steps[2] = Decode(in);
    }
    return steps;
}

} // namespace vlt::fuzz
