#include "RegionSelection.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace Vireo {
namespace Awb {

namespace {

// A bit depth outside 1 to 24 is not believable; such a frame is read as
// 10-bit statistics.
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

uint32_t SelectRegionsPlain(const VireoAwbRegion* regions, int32_t count,
                            const SelectionLimits& limits, const SelectedRegions& out) {
    // A copy the stores below cannot alias, so it stays in registers.
    SelectionLimits l = limits;
    // A zero dark level still asks for a positive green mean.
    l.darkGreen = std::max(l.darkGreen, 1e-30f);
    Scales scales;
    uint32_t chosen = 0;
    for (int32_t i = 0; i < count; ++i) {
        const VireoAwbRegion& region = regions[i];
        UpdateScales(region, &scales);
        const float r = static_cast<float>(region.rSum) * scales.inverse[0];
        const float b = static_cast<float>(region.bSum) * scales.inverse[1];
        const float gr = static_cast<float>(region.grSum) * scales.inverse[2];
        const float gb = static_cast<float>(region.gbSum) * scales.inverse[3];
        // A green channel without pixels reads 0 and has no share.
        const float green = (gr + gb) * scales.greenShare;
        // & rather than &&: every test is cheap, a branch per test is not.
        const bool usable = (scales.greenShare > 0.0f) & (r < l.saturation[0]) &
                            (gr < l.saturation[1]) & (gb < l.saturation[2]) &
                            (b < l.saturation[3]) & (green >= l.darkGreen) & (r > 0.0f) &
                            (b > 0.0f);
        out.r[i] = r;
        out.g[i] = usable ? green : 1.0f;
        out.b[i] = b;
        out.selected[i] = usable ? 1.0f : 0.0f;
        chosen += usable ? 1 : 0;
    }
    return chosen;
}

void ModuleFactors(const VireoAwbFrame& frame, float* rFactor, float* bFactor, bool* ignored) {
    auto usable = [](float f) {
        return std::isfinite(f) && f >= VIREO_AWB_MODULE_FACTOR_MIN &&
               f <= VIREO_AWB_MODULE_FACTOR_MAX;
    };
    const float r = frame.moduleCalibrationFactors[0];
    const float b = frame.moduleCalibrationFactors[1];
    *rFactor = usable(r) ? r : 1.0f;
    *bFactor = usable(b) ? b : 1.0f;
    *ignored = !usable(r) || !usable(b);
}

}  // namespace Awb
}  // namespace Vireo
