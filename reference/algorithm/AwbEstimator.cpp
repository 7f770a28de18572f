// The entry shared by the methods: the selection every method starts from,
// the dispatch on the tuning's mode, and the filling of the result.
#include "AwbEstimator.h"

#include <algorithm>
#include <cmath>

#include "RegionSelection.h"

namespace Vireo {
namespace Awb {

namespace {

// 1 at or below the outdoor lux index (bright), 0 at or above the indoor one.
float OutdoorWeight(const Tuning::TuningParams& p, float luxIndex) {
    if (!std::isfinite(luxIndex)) return 0.5f;
    const float t = (luxIndex - p.luxIndexOutdoor) / (p.luxIndexIndoor - p.luxIndexOutdoor);
    return std::clamp(1.0f - t, 0.0f, 1.0f);
}

uint32_t RoundCct(float mired) {
    const float ct = 1e6f / std::max(mired, 1.0f);
    return static_cast<uint32_t>(std::lround(ct));
}

// Means and selection of every region, into the scratch arrays. Returns how
// many regions are selected.
uint32_t SelectAll(Estimator* e, const VireoAwbFrame& frame, int32_t count) {
    const SelectedRegions out{e->meanR.data(), e->meanG.data(), e->meanB.data(),
                              e->selected.data()};
    const SelectionLimits limits = MakeLimits(frame, e->params);
    return e->plainTwins ? SelectRegionsPlain(frame.regions, count, limits, out)
                         : SelectRegions(frame.regions, count, limits, out);
}

}  // namespace

void SetWhite(float u, float v, float mired, float rFactor, float bFactor, VireoAwbResult* result) {
    result->whiteRg = std::exp(u);
    result->whiteBg = std::exp(v);
    result->rGain = 1.0f / (result->whiteRg * rFactor);
    result->gGain = 1.0f;
    result->bGain = 1.0f / (result->whiteBg * bFactor);
    result->cct = RoundCct(mired);
}

void SetWhiteNearCurve(const Estimator& e, float s, float offset, float rFactor, float bFactor,
                       VireoAwbResult* result) {
    const float limit = e.params.transverseLimit;
    offset = std::clamp(offset, -limit, limit);
    const CurvePoint2 point = PointAt(e.curve, s);
    result->transverseOffset = offset;
    SetWhite(point.u + offset * point.normalU, point.v + offset * point.normalV, point.mired,
             rFactor, bFactor, result);
}

void InitEstimator(const Tuning::TuningParams& params, Estimator* e) {
    e->params = params;
    e->curve = BuildCurve(params.ctCurve);
    InitBayes(e);
    if (params.learned.bins != 0) InitLearned(params.learned, &e->learned);
}

int Estimate(Estimator* e, const VireoAwbFrame& frame, VireoAwbResult* result) {
    const Tuning::TuningParams& p = e->params;
    *result = VireoAwbResult{};
    float rFactor;
    float bFactor;
    bool factorsIgnored;
    ModuleFactors(frame, &rFactor, &bFactor, &factorsIgnored);
    if (factorsIgnored) result->flags |= VIREO_AWB_FLAG_CALIBRATION_IGNORED;
    result->outdoorWeight = OutdoorWeight(p, frame.luxIndex);
    const bool usable = frame.regions != nullptr || frame.regionCount <= 0;
    const int32_t count = usable ? std::max<int32_t>(frame.regionCount, 0) : 0;
    const float lnRFactor = std::log(rFactor);
    const float lnBFactor = std::log(bFactor);

    // Room for the four-lane passes, which fill whole groups of four.
    const size_t room = (static_cast<size_t>(count) + 3) / 4 * 4;
    if (e->meanR.size() < room) {
        for (std::vector<float>* scratch : {&e->meanR, &e->meanG, &e->meanB, &e->selected, &e->u,
                                            &e->v, &e->chosen, &e->along, &e->squared, &e->side}) {
            scratch->resize(room);
        }
        e->bin.resize(room);
    }
    const uint32_t valid = SelectAll(e, frame, count);
    result->validRegionCount = valid;
    if (valid == 0) {
        result->flags |= VIREO_AWB_FLAG_DEFAULT_ILLUMINANT;
        SetWhiteNearCurve(*e, PositionOfCt(e->curve, p.defaultCt), 0.0f, rFactor, bFactor, result);
        return usable ? 0 : -1;
    }
    switch (p.mode) {
        case Tuning::AwbMode::Learned:
            LearnedSearch(e, frame, lnRFactor, lnBFactor, rFactor, bFactor, result);
            break;
        case Tuning::AwbMode::GreyWorld:
            GreyWorldSearch(e, frame, lnRFactor, lnBFactor, rFactor, bFactor, result);
            break;
        default:
            BayesSearch(e, frame, lnRFactor, lnBFactor, rFactor, bFactor, result);
            break;
    }
    return 0;
}

void ExplainRegions(const Estimator& e, const VireoAwbFrame& frame, const VireoAwbResult& result,
                    float* weights, int32_t count) {
    const bool usable = frame.regions != nullptr || frame.regionCount <= 0;
    const int32_t regions = usable ? std::max<int32_t>(frame.regionCount, 0) : 0;
    float rFactor;
    float bFactor;
    bool ignored;
    ModuleFactors(frame, &rFactor, &bFactor, &ignored);
    const float lnRFactor = std::log(rFactor);
    const float lnBFactor = std::log(bFactor);
    // Grey world, chosen or as the fallback, averages every selected region.
    const bool average =
        (result.flags & (VIREO_AWB_FLAG_GREY_WORLD_MODE | VIREO_AWB_FLAG_NO_GREY_REGION)) != 0;
    const float widthSquared = e.params.greyZoneWidth * e.params.greyZoneWidth;
    const float inv2Sigma2 = 0.5f / (e.params.likelihoodSigma * e.params.likelihoodSigma);
    for (int32_t i = 0; i < count; ++i) {
        if (i >= regions || result.validRegionCount == 0 || e.selected[i] == 0.0f) {
            weights[i] = -1.0f;
            continue;
        }
        if (average) {
            weights[i] = 1.0f;
            continue;
        }
        // The same measure as the vote, in plain arithmetic: a reading aid,
        // not a second decision.
        const float u = std::log(e.meanR[i] / e.meanG[i]) - lnRFactor;
        const float v = std::log(e.meanB[i] / e.meanG[i]) - lnBFactor;
        const float distance = Project(e.curve, u, v).distance;
        const float squared = distance * distance;
        weights[i] = squared <= widthSquared ? std::exp(-squared * inv2Sigma2) : 0.0f;
    }
}

}  // namespace Awb
}  // namespace Vireo
