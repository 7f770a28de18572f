#include "AwbEstimator.h"

#include <algorithm>
#include <cmath>

#include "RegionSelection.h"

namespace Vireo {
namespace Awb {

namespace {

// Prior weight at a CT: piecewise linear in mired, constant beyond the ends.
float PriorAt(const std::vector<Tuning::PriorPoint>& prior, float mired) {
    // Points are ascending in CT, so descending in mired.
    if (mired >= 1e6f / prior.front().ct) return prior.front().weight;
    if (mired <= 1e6f / prior.back().ct) return prior.back().weight;
    size_t k = 0;
    while (k + 2 < prior.size() && mired < 1e6f / prior[k + 1].ct) ++k;
    const float m0 = 1e6f / prior[k].ct;
    const float m1 = 1e6f / prior[k + 1].ct;
    const float t = (m0 - mired) / (m0 - m1);
    return prior[k].weight + t * (prior[k + 1].weight - prior[k].weight);
}

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

// Fills gains, white point and CCT from a white point in the golden
// module's log-chromaticity plane.
void SetWhite(float u, float v, float mired, float rFactor, float bFactor, VireoAwbResult* result) {
    result->whiteRg = std::exp(u);
    result->whiteBg = std::exp(v);
    result->rGain = 1.0f / (result->whiteRg * rFactor);
    result->gGain = 1.0f;
    result->bGain = 1.0f / (result->whiteBg * bFactor);
    result->cct = RoundCct(mired);
}

// A white point near the curve: the curve point at s, moved across it by
// offset limited to the tuning's transverse limit.
void SetWhiteNearCurve(const Estimator& e, float s, float offset, float rFactor, float bFactor,
                       VireoAwbResult* result) {
    const float limit = e.params.transverseLimit;
    offset = std::clamp(offset, -limit, limit);
    const CurvePoint2 point = PointAt(e.curve, s);
    result->transverseOffset = offset;
    SetWhite(point.u + offset * point.normalU, point.v + offset * point.normalV, point.mired,
             rFactor, bFactor, result);
}

// Spreads a vote over the two nearest bins, so the position keeps its
// sub-bin part; position is in bins and clamped to the array.
void AddVote(float* bins, int last, float position, float weight) {
    const float clamped = std::clamp(position, 0.0f, static_cast<float>(last));
    const int low = std::min(static_cast<int>(clamped), last - 1);
    const float high = clamped - static_cast<float>(low);
    bins[low] += weight * (1.0f - high);
    bins[low + 1] += weight * high;
}

// One moving average of odd width over the bins. The vote arrays carry
// empty margins wider than three passes reach, so no window is ever cut
// short and a peak at the curve's end stays there.
void BoxFilter(int width, std::vector<float>* values, std::vector<float>* prefix) {
    const int n = static_cast<int>(values->size());
    prefix->resize(n + 1);
    (*prefix)[0] = 0.0f;
    for (int i = 0; i < n; ++i) (*prefix)[i + 1] = (*prefix)[i] + (*values)[i];
    const int half = width / 2;
    const float inverse = 1.0f / static_cast<float>(width);
    for (int j = 0; j < n; ++j) {
        const int from = std::max(0, j - half);
        const int to = std::min(n, j + half + 1);
        (*values)[j] = ((*prefix)[to] - (*prefix)[from]) * inverse;
    }
}

// Pass 1: selection and means of the regions, compacted into the scratch
// arrays; returns how many were selected and adds their means to the sums.
uint32_t SelectAll(Estimator* e, const VireoAwbFrame& frame, int32_t count, double sums[3]) {
    const SelectionLimits limits = MakeLimits(frame, e->params);
    float* r = e->meanR.data();
    float* g = e->meanG.data();
    float* b = e->meanB.data();
    CountReciprocals reciprocals;
    uint32_t valid = 0;
    for (int32_t i = 0; i < count; ++i) {
        RegionMeans means;
        if (!SelectRegion(frame.regions[i], limits, &reciprocals, &means)) continue;
        r[valid] = means.r;
        g[valid] = means.g;
        b[valid] = means.b;
        sums[0] += means.r;
        sums[1] += means.g;
        sums[2] += means.b;
        ++valid;
    }
    return valid;
}

// Passes 2 to 4 over the selected regions: log chromaticity, place relative
// to the curve, vote weight (0 outside the grey zone). Straight loops over
// arrays, so they run several regions per instruction. Returns how many
// regions are in the grey zone.
uint32_t WeighAll(Estimator* e, uint32_t valid, float lnRFactor, float lnBFactor) {
    const Tuning::TuningParams& p = e->params;
    float* u = e->u.data();
    float* v = e->v.data();
    const float* r = e->meanR.data();
    const float* g = e->meanG.data();
    const float* b = e->meanB.data();
    const uint32_t padded = (valid + 3) / 4 * 4;
    for (uint32_t i = 0; i < valid; ++i) {
        const float inverseG = 1.0f / g[i];
        u[i] = FastLn(r[i] * inverseG) - lnRFactor;
        v[i] = FastLn(b[i] * inverseG) - lnBFactor;
    }
    for (uint32_t i = valid; i < padded; ++i) u[i] = v[i] = 0.0f;
    float* squared = e->squared.data();
    float* side = e->side.data();
    ProjectAll(e->curve, u, v, padded, e->along.data(), squared, side);
    const float widthSquared = p.greyZoneWidth * p.greyZoneWidth;
    const float inv2Sigma2 = 0.5f / (p.likelihoodSigma * p.likelihoodSigma);
    float* weight = e->weight.data();
    uint32_t grey = 0;
    for (uint32_t i = 0; i < valid; ++i) {
        const bool inside = squared[i] <= widthSquared;
        const float w = FastNegExp(squared[i] * inv2Sigma2);
        weight[i] = inside ? w : 0.0f;
        // From here on the side holds the signed distance itself.
        const float distance = std::sqrt(squared[i]);
        side[i] = side[i] >= 0.0f ? distance : -distance;
        grey += inside ? 1u : 0u;
    }
    return grey;
}

void BayesSearch(Estimator* e, float outdoor, uint32_t valid, float rFactor, float bFactor,
                 VireoAwbResult* result) {
    const Tuning::TuningParams& p = e->params;
    std::fill(e->votes.begin(), e->votes.end(), 0.0f);
    std::fill(e->offsetVotes.begin(), e->offsetVotes.end(), 0.0f);
    const float invBin = e->binWidth > 0.0f ? 1.0f / e->binWidth : 0.0f;
    const int last = static_cast<int>(e->votes.size()) - 1;
    const float margin = static_cast<float>(e->margin);
    for (uint32_t i = 0; i < valid; ++i) {
        const float w = e->weight[i];
        if (w == 0.0f) continue;
        const float position = margin + e->along[i] * invBin;
        AddVote(e->votes.data(), last, position, w);
        AddVote(e->offsetVotes.data(), last, position, w * e->side[i]);
    }
    for (int pass = 0; pass < 3; ++pass) {
        BoxFilter(e->boxWidth, &e->votes, &e->prefix);
        BoxFilter(e->boxWidth, &e->offsetVotes, &e->prefix);
    }
    const float floor = p.likelihoodFloor;
    const float scale = e->boxScale / static_cast<float>(valid);
    int best = 0;
    for (int j = 0; j < kSearchBins; ++j) {
        const float lnPrior =
            outdoor * e->lnPriorOutdoor[j] + (1.0f - outdoor) * e->lnPriorIndoor[j];
        const float likelihood = std::max(e->votes[e->margin + j], 0.0f) * scale;
        e->posterior[j] = p.likelihoodStrength * FastLn(likelihood + floor) + lnPrior;
        if (e->posterior[j] > e->posterior[best]) best = j;
    }
    // A parabola through the peak and its neighbours places it between bins.
    float peak = static_cast<float>(best);
    if (best > 0 && best < kSearchBins - 1) {
        const float y0 = e->posterior[best - 1];
        const float y1 = e->posterior[best];
        const float y2 = e->posterior[best + 1];
        const float curvature = y0 - 2.0f * y1 + y2;
        if (curvature < 0.0f) peak += std::clamp(0.5f * (y0 - y2) / curvature, -0.5f, 0.5f);
    }
    result->posteriorPeak = e->posterior[best];

    // Across the curve: the weighted mean signed distance of the regions
    // that voted near the peak, smoothed like the votes (fluorescent and LED
    // light sit off the locus).
    const int bin = e->margin + static_cast<int>(std::lround(peak));
    const float weightNear = e->votes[bin];
    const float offset = weightNear > 1e-12f ? e->offsetVotes[bin] / weightNear : 0.0f;
    SetWhiteNearCurve(*e, peak * e->binWidth, offset, rFactor, bFactor, result);
}

}  // namespace

void InitEstimator(const Tuning::TuningParams& params, Estimator* e) {
    e->params = params;
    e->curve = BuildCurve(params.ctCurve);
    e->binWidth = e->curve.length / static_cast<float>(kSearchBins - 1);
    e->lnPriorOutdoor.resize(kSearchBins);
    e->lnPriorIndoor.resize(kSearchBins);
    for (int j = 0; j < kSearchBins; ++j) {
        const float mired = PointAt(e->curve, static_cast<float>(j) * e->binWidth).mired;
        e->lnPriorOutdoor[j] = std::log(PriorAt(params.priorOutdoor, mired));
        e->lnPriorIndoor[j] = std::log(PriorAt(params.priorIndoor, mired));
    }
    // Three box filters of width w have the variance 3 (w^2 - 1) / 12.
    const float sigmaBins =
        e->binWidth > 0.0f ? params.likelihoodSigma / e->binWidth : static_cast<float>(kSearchBins);
    int width = static_cast<int>(std::lround(std::sqrt(4.0f * sigmaBins * sigmaBins + 1.0f)));
    width = std::clamp(width | 1, 1, 2 * kSearchBins + 1);
    e->boxWidth = width;
    const float sigmaBox = std::sqrt(0.25f * static_cast<float>(width * width - 1));
    e->boxScale = width > 1 ? sigmaBox * 2.50662827f : 1.0f;  // sqrt(2 pi)
    e->margin = 3 * (width / 2) + 1;
    e->votes.assign(kSearchBins + 2 * e->margin, 0.0f);
    e->offsetVotes.assign(e->votes.size(), 0.0f);
    e->prefix.assign(e->votes.size() + 1, 0.0f);
    e->posterior.assign(kSearchBins, 0.0f);
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

    // Room for the vector passes, which work four regions at a time.
    const size_t room = (static_cast<size_t>(count) + 3) / 4 * 4;
    if (e->meanR.size() < room) {
        for (std::vector<float>* scratch : {&e->meanR, &e->meanG, &e->meanB, &e->u, &e->v,
                                            &e->along, &e->squared, &e->side, &e->weight}) {
            scratch->resize(room);
        }
    }
    double sums[3] = {0.0, 0.0, 0.0};
    const uint32_t valid = SelectAll(e, frame, count, sums);
    result->validRegionCount = valid;
    if (valid == 0) {
        result->flags |= VIREO_AWB_FLAG_DEFAULT_ILLUMINANT;
        SetWhiteNearCurve(*e, PositionOfCt(e->curve, p.defaultCt), 0.0f, rFactor, bFactor, result);
        return usable ? 0 : -1;
    }
    const float greyU = static_cast<float>(std::log(sums[0] / sums[1])) - lnRFactor;
    const float greyV = static_cast<float>(std::log(sums[2] / sums[1])) - lnBFactor;
    if (p.mode == Tuning::AwbMode::GreyWorld) {
        result->flags |= VIREO_AWB_FLAG_GREY_WORLD_MODE;
        // Gains straight from the average; the CCT from its nearest curve point.
        const CurvePosition position = Project(e->curve, greyU, greyV);
        result->transverseOffset = position.distance;
        SetWhite(greyU, greyV, PointAt(e->curve, position.s).mired, rFactor, bFactor, result);
        return 0;
    }
    result->greyRegionCount = WeighAll(e, valid, lnRFactor, lnBFactor);
    if (result->greyRegionCount == 0) {
        result->flags |= VIREO_AWB_FLAG_NO_GREY_REGION;
        const CurvePosition position = Project(e->curve, greyU, greyV);
        SetWhiteNearCurve(*e, position.s, position.distance, rFactor, bFactor, result);
        return 0;
    }
    BayesSearch(e, result->outdoorWeight, valid, rFactor, bFactor, result);
    return 0;
}

}  // namespace Awb
}  // namespace Vireo
