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

// False for an empty, saturated or too dark region; never divides by zero.
bool SelectRegion(const VireoAwbRegion& region, const SelectionLimits& limits, RegionMeans* means);

// The module's R/G and B/G relative to the golden module: the first two
// calibration factors, each replaced by 1 when not finite or outside
// [0.25, 4]. *ignored tells whether that happened.
void ModuleFactors(const VireoAwbFrame& frame, float* rFactor, float* bFactor, bool* ignored);

}  // namespace Awb
}  // namespace Vireo

#endif  // VIREO_REFERENCE_REGION_SELECTION_H
