// Cheap stand-ins for logf and expf in the per-region loops, where a 64 x 48
// grid calls them thousands of times per sample and a relative error of a
// few 1e-6 is far below what colour needs.
#ifndef VIREO_REFERENCE_FAST_MATH_H
#define VIREO_REFERENCE_FAST_MATH_H

#include <cmath>
#include <cstdint>
#include <cstring>

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

// exp(-x) for x >= 0 (anything above 80 gives about 0): 2^(-x log2 e)
// split into a power of two built in the exponent bits and a degree-5
// polynomial for 2^f on [0, 1) (relative error below 1e-4). No branch, so
// loops over arrays vectorise.
inline float FastNegExp(float x) {
    float y = -x * 1.44269504f;
    y = y < -126.0f ? -126.0f : y;
    const float floorY = static_cast<float>(static_cast<int>(y) - (y < 0.0f ? 1 : 0));
    const float f = y - floorY;  // [0, 1)
    const float p =
        1.0f +
        f * (0.693147182f +
             f * (0.240226507f + f * (0.0555041087f + f * (0.00961812911f + f * 0.00133335581f))));
    const uint32_t bits = static_cast<uint32_t>(static_cast<int>(floorY) + 127) << 23;
    float scale;
    std::memcpy(&scale, &bits, sizeof scale);
    return p * scale;
}

}  // namespace Awb
}  // namespace Vireo

#endif  // VIREO_REFERENCE_FAST_MATH_H
