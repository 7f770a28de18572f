// Which regions of a sample take part in the decision, and their means.
#ifndef VIREO_REFERENCE_REGION_SELECTION_H
#define VIREO_REFERENCE_REGION_SELECTION_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "TuningParams.h"
#include "vireo/ReferenceAwbApi.h"

namespace Vireo {
namespace Awb {

// Per-channel levels in the sample's pixel scale.
struct SelectionLimits {
    float saturation[4];  // R, GR, GB, B: a mean at or above this is saturated
    float darkGreen;      // a green mean below this is too dark
};

SelectionLimits MakeLimits(const VireoAwbFrame& frame, const Tuning::TuningParams& params);

// Per-region results of the selection, one array per quantity, each with
// room for the region count rounded up to a multiple of four.
struct SelectedRegions {
    float* r;         // R mean
    float* g;         // green mean: of the GR and GB means that have pixels
    float* b;         // B mean
    float* selected;  // 1 or 0
};

// Reads regions[0 .. count-1] (never a record past them) and decides which
// take part: not empty (R, B and at least one green channel have pixels),
// not saturated, not too dark. A channel without pixels reads 0 and nothing
// divides by zero; the green mean of a region not selected is 1, so later
// ratios stay finite. Lanes of the last group of four past count come out
// not selected. Returns how many regions are selected. Four regions at a
// time (FourLanes.cpp).
uint32_t SelectRegions(const VireoAwbRegion* regions, int32_t count, const SelectionLimits& limits,
                       const SelectedRegions& out);
// Its plain twin, one region at a time: the same bits for regions[0 ..
// count-1], nothing written past them.
uint32_t SelectRegionsPlain(const VireoAwbRegion* regions, int32_t count,
                            const SelectionLimits& limits, const SelectedRegions& out);

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

// The module's R/G and B/G relative to the golden module: the first two
// calibration factors, each replaced by 1 when not finite or outside
// [VIREO_AWB_MODULE_FACTOR_MIN, VIREO_AWB_MODULE_FACTOR_MAX]. *ignored tells
// whether that happened.
void ModuleFactors(const VireoAwbFrame& frame, float* rFactor, float* bFactor, bool* ignored);

}  // namespace Awb
}  // namespace Vireo

#endif  // VIREO_REFERENCE_REGION_SELECTION_H
