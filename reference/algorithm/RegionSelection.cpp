#include "RegionSelection.h"

#include <algorithm>
#include <cmath>

namespace Vireo {
namespace Awb {

namespace {

// Bit depths outside this range are not believable; 10 bits is the
// statistics depth of the cameras this was made for.
constexpr int kDefaultBitDepth = 10;

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
