// Mode learned: the glue between the estimator and the learned posterior
// (LearnedEstimator.h), which vireo-tune learn shares.
#include "AwbEstimator.h"

namespace Vireo {
namespace Awb {

// The posterior's mean is the white point; the CCT is that of
// its nearest curve point.
void LearnedSearch(Estimator* e, const VireoAwbFrame& frame, float lnRFactor, float lnBFactor,
                   float rFactor, float bFactor, VireoAwbResult* result) {
    LearnedState& s = e->learned;
    LearnedHistograms(s.model, frame, e->meanR.data(), e->meanG.data(), e->meanB.data(),
                      e->selected.data(), lnRFactor, lnBFactor, s.histograms.data(),
                      &e->learnedWork, e->plainTwins);
    const LearnedWhite white = LearnedPosterior(&s, s.histograms.data(), nullptr, e->plainTwins);
    result->flags |= VIREO_AWB_FLAG_LEARNED_MODE;
    result->posteriorPeak = white.confidence;
    // The posterior lives in ln(G/R), ln(G/B); the curve in ln(R/G), ln(B/G).
    const CurvePosition position = Project(e->curve, -white.u, -white.v);
    result->transverseOffset = position.distance;
    SetWhite(-white.u, -white.v, PointAt(e->curve, position.s).mired, rFactor, bFactor, result);
}

}  // namespace Awb
}  // namespace Vireo
