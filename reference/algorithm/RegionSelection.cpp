#include "RegionSelection.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

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

namespace {

// 1/count per channel (0 for no pixels), remembered: a grid's regions
// nearly always share their pixel counts, so one comparison of the four
// counts together replaces four divisions.
static_assert(offsetof(VireoAwbRegion, gbCount) == offsetof(VireoAwbRegion, rCount) + 6,
              "the four counts lie side by side");

class CountReciprocals {
public:
    // In record order: R, B, GR, GB.
    const float* For(const VireoAwbRegion& region) {
        uint64_t counts;
        std::memcpy(&counts, &region.rCount, sizeof counts);
        if (counts != counts_) {
            counts_ = counts;
            const uint16_t each[4] = {region.rCount, region.bCount, region.grCount, region.gbCount};
            for (int c = 0; c < 4; ++c) {
                inverses_[c] = each[c] != 0 ? 1.0f / static_cast<float>(each[c]) : 0.0f;
            }
            const int greens = (region.grCount != 0 ? 1 : 0) + (region.gbCount != 0 ? 1 : 0);
            const bool counted = region.rCount != 0 && region.bCount != 0 && greens > 0;
            greenShare_ = counted ? 1.0f / static_cast<float>(greens) : 0.0f;
        }
        return inverses_;
    }
    // What each green channel's mean counts for in the green mean: 1/2 when
    // both have pixels, 1 when one has; 0 for a region without R, B or
    // green pixels.
    float GreenShare() const { return greenShare_; }

private:
    uint64_t counts_ = 0;
    float inverses_[4] = {0.0f, 0.0f, 0.0f, 0.0f};
    float greenShare_ = 0.0f;
};

}  // namespace

void ReadMeans(const VireoAwbRegion* regions, int32_t count, const ChannelMeans& means) {
    CountReciprocals reciprocals;
    for (int32_t i = 0; i < count; ++i) {
        const VireoAwbRegion& region = regions[i];
        const float* inverse = reciprocals.For(region);
        means.r[i] = static_cast<float>(region.rSum) * inverse[0];
        means.b[i] = static_cast<float>(region.bSum) * inverse[1];
        means.gr[i] = static_cast<float>(region.grSum) * inverse[2];
        means.gb[i] = static_cast<float>(region.gbSum) * inverse[3];
        means.greenShare[i] = reciprocals.GreenShare();
    }
}

namespace {

// The selection proper, on plain arrays so the vectoriser sees them whole.
void SelectArrays(const float* __restrict r, const float* __restrict gr, const float* __restrict gb,
                  const float* __restrict b, const float* __restrict share, int32_t count,
                  float satR, float satGr, float satGb, float satB, float darkGreen,
                  float* __restrict g, float* __restrict chosen) {
    for (int32_t i = 0; i < count; ++i) {
        // A green channel without pixels reads 0 and has no share.
        const float mean = (gr[i] + gb[i]) * share[i];
        // A chain of float selects rather than of bools: this form the
        // vectoriser takes.
        float usable = share[i] > 0.0f ? 1.0f : 0.0f;
        usable = r[i] < satR ? usable : 0.0f;
        usable = gr[i] < satGr ? usable : 0.0f;
        usable = gb[i] < satGb ? usable : 0.0f;
        usable = b[i] < satB ? usable : 0.0f;
        usable = mean >= darkGreen ? usable : 0.0f;
        usable = r[i] > 0.0f ? usable : 0.0f;
        usable = b[i] > 0.0f ? usable : 0.0f;
        g[i] = usable != 0.0f ? mean : 1.0f;
        chosen[i] = usable;
    }
}

}  // namespace

uint32_t SelectMeans(const ChannelMeans& means, int32_t count, const SelectionLimits& limits,
                     float* green, float* selected) {
    // A zero dark level still asks for a positive green mean.
    const float darkGreen = std::max(limits.darkGreen, 1e-30f);
    SelectArrays(means.r, means.gr, means.gb, means.b, means.greenShare, count,
                 limits.saturation[0], limits.saturation[1], limits.saturation[2],
                 limits.saturation[3], darkGreen, green, selected);
    uint32_t total = 0;
    for (int32_t i = 0; i < count; ++i) total += selected[i] != 0.0f ? 1u : 0u;
    return total;
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
