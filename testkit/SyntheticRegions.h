// Region statistics of made-up scenes under a known illuminant, for the
// reference algorithm's tests and benchmark.
#ifndef VIREO_TESTS_SYNTHETIC_REGIONS_H
#define VIREO_TESTS_SYNTHETIC_REGIONS_H

#include <cmath>
#include <cstdint>
#include <vector>

#include "vireo/ReferenceAwbApi.h"

namespace Vireo {
namespace Testing {

// A surface's reflectance in the camera's R, G and B.
struct Surface {
    float r;
    float g;
    float b;
};

inline constexpr Surface kGrey{1.0f, 1.0f, 1.0f};

// Native illuminant colour: R/G and B/G that a grey surface shows.
struct Illuminant {
    float rOverG;
    float bOverG;
};

// Deterministic noise, so a failing case fails the same way every run.
class Lcg {
public:
    explicit Lcg(uint32_t seed) : state_(seed) {}
    // Uniform in [-1, 1).
    float Next() {
        state_ = state_ * 1664525u + 1013904223u;
        return static_cast<float>(state_ >> 8) / 8388608.0f - 1.0f;
    }

private:
    uint32_t state_;
};

// One region of 64 pixels per channel whose means are those of `surface`
// under `light` at `brightness` (green mean, 10-bit scale), each mean
// disturbed by up to `noise` (relative).
inline VireoAwbRegion MakeRegion(const Surface& surface, const Illuminant& light, float brightness,
                                 float noise, Lcg* lcg) {
    const uint16_t count = 64;
    auto sum = [&](float mean) {
        const float disturbed = mean * (1.0f + noise * lcg->Next());
        return static_cast<int64_t>(std::llround(static_cast<double>(disturbed) * count));
    };
    VireoAwbRegion region{};
    const float g = brightness * surface.g;
    region.rSum = sum(brightness * surface.r * light.rOverG);
    region.grSum = sum(g);
    region.gbSum = sum(g);
    region.bSum = sum(brightness * surface.b * light.bOverG);
    region.rCount = region.grCount = region.gbCount = region.bCount = count;
    return region;
}

// A scene of `count` regions: the first `colouredShare` of them show
// `coloured`, the rest grey, with brightness varying over 100..500.
inline std::vector<VireoAwbRegion> MakeScene(int count, const Illuminant& light,
                                             const Surface& coloured, float colouredShare,
                                             float noise, uint32_t seed) {
    Lcg lcg(seed);
    std::vector<VireoAwbRegion> regions;
    regions.reserve(count);
    const int colouredCount = static_cast<int>(std::lround(colouredShare * count));
    for (int i = 0; i < count; ++i) {
        const float brightness = 100.0f + 400.0f * (0.5f + 0.5f * lcg.Next());
        regions.push_back(
            MakeRegion(i < colouredCount ? coloured : kGrey, light, brightness, noise, &lcg));
    }
    return regions;
}

// Angle in degrees between two illuminant colours given as (R/G, 1, B/G).
inline double AngleDegrees(double r1, double b1, double r2, double b2) {
    const double dot = r1 * r2 + 1.0 + b1 * b2;
    const double norms = std::sqrt((r1 * r1 + 1.0 + b1 * b1) * (r2 * r2 + 1.0 + b2 * b2));
    return std::acos(std::fmin(1.0, dot / norms)) * 180.0 / 3.14159265358979323846;
}

// The illuminant the gains of a result stand for, against the truth.
inline double GainError(const VireoAwbResult& result, const Illuminant& truth) {
    return AngleDegrees(result.gGain / result.rGain, result.gGain / result.bGain, truth.rOverG,
                        truth.bOverG);
}

}  // namespace Testing
}  // namespace Vireo

#endif  // VIREO_TESTS_SYNTHETIC_REGIONS_H
