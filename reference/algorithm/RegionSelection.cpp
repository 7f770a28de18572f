#include "RegionSelection.h"

#include <algorithm>
#include <cmath>

namespace Vireo {
namespace Awb {

namespace {

// Bit depths outside this range are not believable; 10 bits is the
// statistics depth of the cameras this was made for.
constexpr int kDefaultBitDepth = 10;

float Mean(int64_t sum, uint16_t count) {
    return static_cast<float>(static_cast<double>(sum) / count);
}

}  // namespace

SelectionLimits MakeLimits(const VireoAwbFrame& frame, const Tuning::TuningParams& params) {
    const int bitDepth =
        frame.bitDepth >= 1 && frame.bitDepth <= 24 ? frame.bitDepth : kDefaultBitDepth;
    const float fullScale = static_cast<float>((1 << bitDepth) - 1);
    SelectionLimits limits;
    for (int c = 0; c < 4; ++c) {
        float level = params.saturationFraction * fullScale;
        if (frame.saturationThreshold[c] > 0) {
            level = std::min(level, static_cast<float>(frame.saturationThreshold[c]));
        }
        limits.saturation[c] = level;
    }
    limits.darkGreen = params.darkFraction * fullScale;
    return limits;
}

bool SelectRegion(const VireoAwbRegion& region, const SelectionLimits& limits, RegionMeans* means) {
    if (region.rCount == 0 || region.bCount == 0) return false;
    const bool hasGr = region.grCount != 0;
    const bool hasGb = region.gbCount != 0;
    if (!hasGr && !hasGb) return false;
    const float r = Mean(region.rSum, region.rCount);
    const float b = Mean(region.bSum, region.bCount);
    const float gr = hasGr ? Mean(region.grSum, region.grCount) : 0.0f;
    const float gb = hasGb ? Mean(region.gbSum, region.gbCount) : 0.0f;
    if (r >= limits.saturation[0] || (hasGr && gr >= limits.saturation[1]) ||
        (hasGb && gb >= limits.saturation[2]) || b >= limits.saturation[3]) {
        return false;
    }
    const float g = hasGr && hasGb ? 0.5f * (gr + gb) : (hasGr ? gr : gb);
    // Ratios and logarithms follow: every mean must be positive, whatever
    // the dark level is tuned to.
    if (g < limits.darkGreen || !(g > 0.0f) || !(r > 0.0f) || !(b > 0.0f)) return false;
    *means = {r, g, b};
    return true;
}

void ModuleFactors(const VireoAwbFrame& frame, float* rFactor, float* bFactor, bool* ignored) {
    auto usable = [](float f) { return std::isfinite(f) && f >= 0.25f && f <= 4.0f; };
    const float r = frame.moduleCalibrationFactors[0];
    const float b = frame.moduleCalibrationFactors[1];
    *rFactor = usable(r) ? r : 1.0f;
    *bFactor = usable(b) ? b : 1.0f;
    *ignored = !usable(r) || !usable(b);
}

}  // namespace Awb
}  // namespace Vireo
