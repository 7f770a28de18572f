// Cheap stand-ins for logf and expf in the per-region passes, where a 64 x 48
// grid calls them thousands of times per sample and a relative error of a
// few 1e-6 is far below what colour needs.
#ifndef VIREO_REFERENCE_FAST_MATH_H
#define VIREO_REFERENCE_FAST_MATH_H

#include <cmath>
#include <cstdint>
#include <cstring>

#include "Lanes.h"

namespace Vireo {
namespace Awb {

// Natural logarithm of a positive, normal float (anything else gives a
// finite but meaningless number): x = m * 2^e with m in [sqrt(1/2),
// sqrt(2)), and ln m from a degree-7 polynomial in m - 1 fitted at
// Chebyshev nodes (error below 3e-7). No division and no branch, so loops
// over arrays vectorise well.
inline float FastLn(float x) {
    uint32_t bits;
    std::memcpy(&bits, &x, sizeof bits);
    int exponent = static_cast<int>((bits >> 23) & 0xFFu) - 127;
    bits = (bits & 0x007FFFFFu) | 0x3F800000u;
    float m;
    std::memcpy(&m, &bits, sizeof m);
    const bool high = m > 1.41421356f;
    const float half = 0.5f * m;
    m = high ? half : m;
    exponent += high ? 1 : 0;
    const float f = m - 1.0f;
    float p = 0.113242185f;
    p = p * f - 0.18732522f;
    p = p * f + 0.206900397f;
    p = p * f - 0.249028028f;
    p = p * f + 0.332982997f;
    p = p * f - 0.500014284f;
    p = p * f + 1.00000422f;
    p = p * f + 3.59022929e-08f;
    return static_cast<float>(exponent) * 0.693147181f + p;
}

// exp(-x) for x >= 0 (anything above 80 gives about 0): 2^(-x log2 e) split
// into a power of two built in the exponent bits and a degree-5 polynomial
// for 2^f on [0, 1) (relative error below 1e-4).
inline float FastNegExp(float x) {
    float y = x * -1.44269504f;
    y = y < -126.0f ? -126.0f : y;
    // Conversion truncates; one less below zero makes it the floor.
    const int whole = static_cast<int>(y) - (y < 0.0f ? 1 : 0);
    const float f = y - static_cast<float>(whole);  // [0, 1]
    float p = 0.00133335581f;
    p = p * f + 0.00961812911f;
    p = p * f + 0.0555041087f;
    p = p * f + 0.240226507f;
    p = p * f + 0.693147182f;
    p = p * f + 1.0f;
    const uint32_t bits = static_cast<uint32_t>(whole + 127) << 23;
    float power;
    std::memcpy(&power, &bits, sizeof power);
    return p * power;
}

// The whole-vector constants of FastLnLanes and FastNegExpLanes. They are
// defined in FastMath.cpp on purpose: where GCC sees the values it rebuilds
// each vector from a scalar (a load and a shuffle) at every use on SSE2,
// while values it cannot see are read straight from memory by the
// arithmetic.
struct FastMathConstants {
    Broadcast lnPolynomial[8];  // highest degree first
    Broadcast sqrt2;
    Broadcast ln2;
    Broadcast half;
    Broadcast one;
    Broadcast expPolynomial[6];  // highest degree first
    Broadcast negLog2e;
    Broadcast lowestPower;
};
extern const FastMathConstants kFastMath __attribute__((visibility("hidden")));

// FastLn on every lane at once, the same steps in the same order, so each
// lane gives exactly what FastLn gives.
template <typename F>
VIREO_LANES_INLINE F FastLnLanes(F x) {
    typedef MaskOf<F> I;
    const FastMathConstants& k = kFastMath;
    I bits = BitsOf(x);
    I exponent = ((bits >> 23) & 0xFF) - 127;
    bits = (bits & 0x007FFFFF) | 0x3F800000;
    F m = FloatOfBits(bits);
    const I high = m > Lanes<F>(k.sqrt2);
    const F half = Lanes<F>(k.half) * m;
    m = high ? half : m;
    exponent -= high;  // a set lane is -1
    const F f = m - Lanes<F>(k.one);
    F p = Lanes<F>(k.lnPolynomial[0]);
    for (int d = 1; d < 8; ++d) p = p * f + Lanes<F>(k.lnPolynomial[d]);
    return __builtin_convertvector(exponent, F) * Lanes<F>(k.ln2) + p;
}

// FastNegExp on every lane at once, the same steps in the same order.
template <typename F>
VIREO_LANES_INLINE F FastNegExpLanes(F x) {
    typedef MaskOf<F> I;
    const FastMathConstants& k = kFastMath;
    const F lowest = Lanes<F>(k.lowestPower);
    F y = x * Lanes<F>(k.negLog2e);
    y = y < lowest ? lowest : y;
    // Conversion truncates; one less below zero makes it the floor.
    const I whole = __builtin_convertvector(y, I) + (y < 0.0f);
    const F f = y - __builtin_convertvector(whole, F);  // [0, 1]
    F p = Lanes<F>(k.expPolynomial[0]);
    for (int d = 1; d < 6; ++d) p = p * f + Lanes<F>(k.expPolynomial[d]);
    return p * FloatOfBits((whole + 127) << 23);
}

}  // namespace Awb
}  // namespace Vireo

#endif  // VIREO_REFERENCE_FAST_MATH_H
