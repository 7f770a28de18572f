// The reference AWB decision for one sample: region selection, grey zone,
// Bayesian search of the colour temperature along the white locus, and the
// plain grey-world mode it is compared with.
#ifndef VIREO_REFERENCE_AWB_ESTIMATOR_H
#define VIREO_REFERENCE_AWB_ESTIMATOR_H

#include <vector>

#include "CtCurve.h"
#include "TuningParams.h"
#include "vireo/ReferenceAwbApi.h"

namespace Vireo {
namespace Awb {

// Positions searched along the curve; with typical curves about 0.003 log
// units apart, well below the likelihood's width.
inline constexpr int kSearchBins = 512;

struct Estimator {
    Tuning::TuningParams params;
    CtCurve curve;
    float binWidth = 0.0f;
    std::vector<float> lnPriorOutdoor;  // per search bin
    std::vector<float> lnPriorIndoor;
    std::vector<float> alongKernel;  // Gaussian by bin offset
    // Scratch reused from sample to sample, so a steady run allocates nothing.
    std::vector<float> greyS;
    std::vector<float> greyDistance;
    std::vector<float> greyWeight;
    std::vector<float> votes;
    std::vector<float> posterior;
};

// params must have passed Tuning::Validate.
void InitEstimator(const Tuning::TuningParams& params, Estimator* estimator);

// Reads frame.regions[0 .. regionCount-1] only. Always fills result; returns
// 0, or -1 when frame is unusable (null regions with a positive count).
int Estimate(Estimator* estimator, const VireoAwbFrame& frame, VireoAwbResult* result);

}  // namespace Awb
}  // namespace Vireo

#endif  // VIREO_REFERENCE_AWB_ESTIMATOR_H
