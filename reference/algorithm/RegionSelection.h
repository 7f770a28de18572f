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
// room for the region count.
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
// ratios stay finite. Returns how many regions are selected.
uint32_t SelectRegions(const VireoAwbRegion* regions, int32_t count, const SelectionLimits& limits,
                       const SelectedRegions& out);
// The form with a lane-width flag that callers written for the eight-lane
// build still pass; there is one width now, so the flag is ignored.
inline uint32_t SelectRegions(const VireoAwbRegion* regions, int32_t count,
                              const SelectionLimits& limits, const SelectedRegions& out, bool) {
    return SelectRegions(regions, count, limits, out);
}

// The module's R/G and B/G relative to the golden module: the first two
// calibration factors, each replaced by 1 when not finite or outside
// [VIREO_AWB_MODULE_FACTOR_MIN, VIREO_AWB_MODULE_FACTOR_MAX]. *ignored tells
// whether that happened.
void ModuleFactors(const VireoAwbFrame& frame, float* rFactor, float* bFactor, bool* ignored);

}  // namespace Awb
}  // namespace Vireo

#endif  // VIREO_REFERENCE_REGION_SELECTION_H
