// Cheap stand-ins for logf and expf in the per-region passes, where a 64 x 48
// grid calls them thousands of times per sample and a relative error of a
// few 1e-6 is far below what colour needs.
#ifndef VIREO_REFERENCE_FAST_MATH_H
#define VIREO_REFERENCE_FAST_MATH_H

#include <cmath>
#include <cstdint>
#include <cstring>

#include "Vector4.h"

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

// The whole-vector constants of FastLn4 and FastNegExp4. They are defined
// in FastMath.cpp on purpose: where GCC sees the values it rebuilds each
// vector from a scalar (a load and a shuffle) at every use on SSE2, while
// values it cannot see are read straight from memory by the arithmetic.
struct FastMathConstants {
    Float4 lnPolynomial[8];  // highest degree first
    Float4 sqrt2;
    Float4 ln2;
    Float4 half;
    Float4 one;
    Float4 expPolynomial[6];  // highest degree first
    Float4 negLog2e;
    Float4 lowestPower;
};
extern const FastMathConstants kFastMath __attribute__((visibility("hidden")));

// FastLn on four lanes at once, the same steps in the same order, so each
// lane gives exactly what FastLn gives.
inline Float4 FastLn4(Float4 x) {
    const FastMathConstants& k = kFastMath;
    Int4 bits = BitsOf(x);
    Int4 exponent = ((bits >> 23) & 0xFF) - 127;
    bits = (bits & 0x007FFFFF) | 0x3F800000;
    Float4 m = FloatOfBits(bits);
    const Int4 high = m > k.sqrt2;
    const Float4 half = k.half * m;
    m = high ? half : m;
    exponent -= high;  // a set lane is -1
    const Float4 f = m - k.one;
    Float4 p = k.lnPolynomial[0];
    for (int d = 1; d < 8; ++d) p = p * f + k.lnPolynomial[d];
    return __builtin_convertvector(exponent, Float4) * k.ln2 + p;
}

// exp(-x) for x >= 0 on four lanes (anything above 80 gives about 0):
// 2^(-x log2 e) split into a power of two built in the exponent bits and a
// degree-5 polynomial for 2^f on [0, 1) (relative error below 1e-4).
inline Float4 FastNegExp4(Float4 x) {
    const FastMathConstants& k = kFastMath;
    Float4 y = x * k.negLog2e;
    y = y < k.lowestPower ? k.lowestPower : y;
    // Conversion truncates; one less below zero makes it the floor.
    const Int4 whole = __builtin_convertvector(y, Int4) + (y < 0.0f);
    const Float4 f = y - __builtin_convertvector(whole, Float4);  // [0, 1]
    Float4 p = k.expPolynomial[0];
    for (int d = 1; d < 6; ++d) p = p * f + k.expPolynomial[d];
    return p * FloatOfBits((whole + 127) << 23);
}

}  // namespace Awb
}  // namespace Vireo

#endif  // VIREO_REFERENCE_FAST_MATH_H
