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

struct RegionMeans {
    float r;
    float g;  // mean of the GR and GB means that have pixels
    float b;
};

SelectionLimits MakeLimits(const VireoAwbFrame& frame, const Tuning::TuningParams& params);

// Per-channel means of regions, one array per channel.
struct ChannelMeans {
    float* r;
    float* gr;
    float* gb;
    float* b;
    // 1/2 when both green channels have pixels, 1 when one has, 0 when R, B
    // or both greens have none: green mean = (gr + gb) * greenShare.
    float* greenShare;
};

// Reads the means of regions[0 .. count-1]; a channel without pixels reads
// 0. Never divides by zero.
void ReadMeans(const VireoAwbRegion* regions, int32_t count, const ChannelMeans& means);

// Which regions take part (selected[i] 1 or 0: not empty, not saturated,
// not too dark), with the green mean of each (1 where not selected, so later
// ratios stay finite); returns how many are selected. No branches on the
// data, so it runs several regions per instruction.
uint32_t SelectMeans(const ChannelMeans& means, int32_t count, const SelectionLimits& limits,
                     float* green, float* selected);

// The module's R/G and B/G relative to the golden module: the first two
// calibration factors, each replaced by 1 when not finite or outside
// [0.25, 4]. *ignored tells whether that happened.
void ModuleFactors(const VireoAwbFrame& frame, float* rFactor, float* bFactor, bool* ignored);

}  // namespace Awb
}  // namespace Vireo

#endif  // VIREO_REFERENCE_REGION_SELECTION_H
