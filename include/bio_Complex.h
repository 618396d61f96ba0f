// `omi_complex`, a complex number carrying an integer alongside, and its stream operators.
//
// On a stream it is its integer (32-bit), then the real and the imaginary part (two doubles),
// in that order, with no padding.
#pragma once

#include "bio_Ifilter.h"
#include "bio_Ofilter.h"

#include <cstdint>

struct omi_complex {
    int32_t tag = 0;
    double re = 0.0;
    double im = 0.0;
};

inline bio_Ofilter& operator<<(bio_Ofilter& f, const omi_complex& c) {
    return f << c.tag << c.re << c.im;
}

inline bio_Ifilter& operator>>(bio_Ifilter& f, omi_complex& c) {
    return f >> c.tag >> c.re >> c.im;
}
