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

namespace {

static_assert(offsetof(VireoAwbRegion, gbCount) == offsetof(VireoAwbRegion, rCount) + 6,
              "the four counts lie side by side");

// The four pixel counts of a record as one word, to compare them at once.
inline uint64_t CountsOf(const VireoAwbRegion& region) {
    uint64_t counts;
    std::memcpy(&counts, &region.rCount, sizeof counts);
    return counts;
}

// What a region's sums are multiplied by: 1/count per channel (0 for no
// pixels), in record order R, B, GR, GB, and what each green channel's mean
// counts for in the green mean: 1/2 when both have pixels, 1 when one has,
// 0 for a region without R, B or green pixels. A grid's regions nearly
// always share their pixel counts, so these are worked out once and reused
// while the counts stay the same.
struct Scales {
    uint64_t counts = 0;  // zero counts: zero reciprocals, no green share
    float inverse[4] = {0.0f, 0.0f, 0.0f, 0.0f};
    float greenShare = 0.0f;
};

inline void UpdateScales(const VireoAwbRegion& region, Scales* scales) {
    const uint64_t counts = CountsOf(region);
    if (counts == scales->counts) return;
    scales->counts = counts;
    const uint16_t each[4] = {region.rCount, region.bCount, region.grCount, region.gbCount};
    for (int c = 0; c < 4; ++c) {
        scales->inverse[c] = each[c] != 0 ? 1.0f / static_cast<float>(each[c]) : 0.0f;
    }
    const int greens = (region.grCount != 0 ? 1 : 0) + (region.gbCount != 0 ? 1 : 0);
    const bool counted = region.rCount != 0 && region.bCount != 0 && greens > 0;
    scales->greenShare = counted ? 1.0f / static_cast<float>(greens) : 0.0f;
}

}  // namespace

uint32_t SelectRegions(const VireoAwbRegion* regions, int32_t count, const SelectionLimits& limits,
                       const SelectedRegions& out) {
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
