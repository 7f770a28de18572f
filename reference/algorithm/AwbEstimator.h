// The reference AWB decision for one sample: region selection, grey zone,
// Bayesian search of the colour temperature along the white locus, and the
// plain grey-world mode it is compared with.
#ifndef VIREO_REFERENCE_AWB_ESTIMATOR_H
#define VIREO_REFERENCE_AWB_ESTIMATOR_H

#include <vector>

#include "CtCurve.h"
#include "FastMath.h"
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
    // The likelihood's smoothing along the curve: three box filters of this
    // odd width (in bins) approximate the Gaussian, and the scale brings a
    // lone vote's peak back to its weight.
    int boxWidth = 1;
    float boxScale = 1.0f;
    int margin = 0;  // empty bins on each side of the vote array
    // Scratch reused from sample to sample, so a steady run allocates nothing.
    // Per selected region: means, log chromaticity, place along the curve,
    // squared distance from it, the side it lies on, and its vote (0 outside
    // the grey zone).
    std::vector<float> meanR;
    std::vector<float> meanG;
    std::vector<float> meanB;
    std::vector<float> u;
    std::vector<float> v;
    std::vector<float> along;
    std::vector<float> squared;
    std::vector<float> side;
    std::vector<float> weight;
    // Per search bin (with margins): the votes, and the votes times their
    // signed distance from the curve.
    std::vector<float> votes;
    std::vector<float> offsetVotes;
    std::vector<float> prefix;
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
