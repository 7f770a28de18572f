// Which regions of a sample take part in the decision, and their means.
#ifndef VIREO_REFERENCE_REGION_SELECTION_H
#define VIREO_REFERENCE_REGION_SELECTION_H

#include "TuningParams.h"
#include "vireo/ReferenceAwbApi.h"

namespace Vireo {
namespace Awb {

// Per-channel levels in the sample's pixel scale.
struct SelectionLimits {
    float saturation[4];  // R, GR, GB, B: a mean at or above this is saturated
    float darkGreen;      // a green mean below this is too dark
};

struct RegionMeans {
    float r;
    float g;  // mean of the GR and GB means that have pixels
    float b;
};

SelectionLimits MakeLimits(const VireoAwbFrame& frame, const Tuning::TuningParams& params);

// 1/count per channel (0 for no pixels), remembered: a grid's regions
// nearly always share their pixel counts, so this saves a division per
// channel and region.
class CountReciprocals {
public:
    float Of(int channel, uint16_t count) {
        if (count != counts_[channel]) {
            counts_[channel] = count;
            inverses_[channel] = count != 0 ? 1.0f / static_cast<float>(count) : 0.0f;
        }
        return inverses_[channel];
    }

private:
    uint16_t counts_[4] = {0, 0, 0, 0};
    float inverses_[4] = {0.0f, 0.0f, 0.0f, 0.0f};
};

// Means of a region, and whether it takes part: false for an empty,
// saturated or too dark region. Never divides by zero. Inline and without
// branches on the data: it runs for every region of every sample, and a
// grid mixes usable and unusable regions unpredictably.
inline bool SelectRegion(const VireoAwbRegion& region, const SelectionLimits& limits,
                         CountReciprocals* reciprocals, RegionMeans* means) {
    const bool hasGr = region.grCount != 0;
    const bool hasGb = region.gbCount != 0;
    const float r = static_cast<float>(region.rSum) * reciprocals->Of(0, region.rCount);
    const float gr = static_cast<float>(region.grSum) * reciprocals->Of(1, region.grCount);
    const float gb = static_cast<float>(region.gbSum) * reciprocals->Of(2, region.gbCount);
    const float b = static_cast<float>(region.bSum) * reciprocals->Of(3, region.bCount);
    // A green channel without pixels reads 0 here, so the sum is the other.
    const float g = hasGr & hasGb ? 0.5f * (gr + gb) : gr + gb;
    const bool counted = (region.rCount != 0) & (region.bCount != 0) & (hasGr | hasGb);
    const bool unsaturated = (r < limits.saturation[0]) & (gr < limits.saturation[1]) &
                             (gb < limits.saturation[2]) & (b < limits.saturation[3]);
    // Ratios and logarithms follow: every mean must be positive, whatever
    // the dark level is tuned to.
    const bool bright = (g >= limits.darkGreen) & (g > 0.0f) & (r > 0.0f) & (b > 0.0f);
    *means = {r, g, b};
    return counted & unsaturated & bright;
}

// The module's R/G and B/G relative to the golden module: the first two
// calibration factors, each replaced by 1 when not finite or outside
// [0.25, 4]. *ignored tells whether that happened.
void ModuleFactors(const VireoAwbFrame& frame, float* rFactor, float* bFactor, bool* ignored);

}  // namespace Awb
}  // namespace Vireo

#endif  // VIREO_REFERENCE_REGION_SELECTION_H
