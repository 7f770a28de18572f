// Cheap stand-ins for logf and expf in the per-region loop, where a 64 x 48
// grid calls them thousands of times per sample and a relative error of
// 1e-7 (log) or 1e-5 (the weight table) is far below what colour needs.
#ifndef VIREO_REFERENCE_FAST_MATH_H
#define VIREO_REFERENCE_FAST_MATH_H

#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

namespace Vireo {
namespace Awb {

// Natural logarithm of a positive, normal float (anything else gives a
// finite but meaningless number): x = m * 2^e with m in
// [sqrt(1/2), sqrt(2)), ln m from the atanh series in t = (m-1)/(m+1),
// |t| <= 0.172, truncated after t^7 (error below 3e-8).
inline float FastLn(float x) {
    uint32_t bits;
    std::memcpy(&bits, &x, sizeof bits);
    int exponent = static_cast<int>((bits >> 23) & 0xFFu) - 127;
    bits = (bits & 0x007FFFFFu) | 0x3F800000u;
    float m;
    std::memcpy(&m, &bits, sizeof m);
    // Selects rather than a branch, so loops over arrays vectorise.
    const bool high = m > 1.41421356f;
    const float half = 0.5f * m;
    m = high ? half : m;
    exponent += high ? 1 : 0;
    const float t = (m - 1.0f) / (m + 1.0f);
    const float t2 = t * t;
    const float series = 1.0f + t2 * (1.0f / 3 + t2 * (1.0f / 5 + t2 * (1.0f / 7)));
    return static_cast<float>(exponent) * 0.693147181f + 2.0f * t * series;
}

// exp(-x) for x in [0, limit], from a table with linear interpolation;
// beyond the limit, the value at the limit.
class NegExpTable {
public:
    void Build(float limit) {
        limit_ = limit > 0.0f ? limit : 1.0f;
        scale_ = static_cast<float>(kSize - 1) / limit_;
        values_.resize(kSize + 1);
        for (int i = 0; i <= kSize; ++i) {
            values_[i] = std::exp(-static_cast<float>(i) / scale_);
        }
    }
    float operator()(float x) const {
        float position = x * scale_;
        if (!(position < static_cast<float>(kSize - 1))) position = static_cast<float>(kSize - 1);
        if (position < 0.0f) position = 0.0f;
        const int i = static_cast<int>(position);
        const float f = position - static_cast<float>(i);
        return values_[i] + f * (values_[i + 1] - values_[i]);
    }

private:
    static constexpr int kSize = 2048;
    float limit_ = 1.0f;
    float scale_ = 1.0f;
    std::vector<float> values_;
};

}  // namespace Awb
}  // namespace Vireo

#endif  // VIREO_REFERENCE_FAST_MATH_H
