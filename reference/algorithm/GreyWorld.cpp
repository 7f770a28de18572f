// Grey world: the white point is the mean colour of the selected regions.
// A mode of its own, to compare the others with, and the Bayesian search's
// fallback when no region lies in the grey zone.
#include <cmath>

#include "AwbEstimator.h"

namespace Vireo {
namespace Awb {

// The grey-world average of the selected regions, in the log-chromaticity
// plane of the golden module.
void GreyWorld(const Estimator& e, int32_t count, float lnRFactor, float lnBFactor, float* u,
               float* v) {
    double sumR = 0.0;
    double sumG = 0.0;
    double sumB = 0.0;
    for (int32_t i = 0; i < count; ++i) {
        if (e.selected[i] == 0.0f) continue;
        sumR += e.meanR[i];
        sumG += e.meanG[i];
        sumB += e.meanB[i];
    }
    *u = static_cast<float>(std::log(sumR / sumG)) - lnRFactor;
    *v = static_cast<float>(std::log(sumB / sumG)) - lnBFactor;
}

void GreyWorldSearch(Estimator* e, const VireoAwbFrame& frame, float lnRFactor, float lnBFactor,
                     float rFactor, float bFactor, VireoAwbResult* result) {
    float u;
    float v;
    GreyWorld(*e, frame.regionCount, lnRFactor, lnBFactor, &u, &v);
    result->flags |= VIREO_AWB_FLAG_GREY_WORLD_MODE;
    // Gains straight from the average; the CCT from its nearest curve point.
    const CurvePosition position = Project(e->curve, u, v);
    result->transverseOffset = position.distance;
    SetWhite(u, v, PointAt(e->curve, position.s).mired, rFactor, bFactor, result);
}

}  // namespace Awb
}  // namespace Vireo
