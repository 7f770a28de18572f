// The Bayesian search: the selected regions near the white locus (the grey
// zone) vote for positions along it, weighted by their distance from it; the
// smoothed votes are the likelihood, which meets a lux-dependent prior over
// the colour temperature, and the posterior's peak is the white point.
#include <algorithm>
#include <cmath>

#include "AwbEstimator.h"

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

// One moving average of odd width over two arrays at once, through running
// sums (two independent chains of additions run side by side). The vote
// arrays carry empty margins wider than three passes reach, so no window is
// ever cut short and a peak at the curve's end stays there.
void BoxFilter(int width, std::vector<float>* a, std::vector<float>* b,
               std::vector<float>* scratchA, std::vector<float>* scratchB) {
    const int n = static_cast<int>(a->size());
    const int half = width / 2;
    const float inverse = 1.0f / static_cast<float>(width);
    const float* inA = a->data();
    const float* inB = b->data();
    float* outA = scratchA->data();
    float* outB = scratchB->data();
    float sumA = 0.0f;
    float sumB = 0.0f;
    for (int i = 0; i < std::min(half, n); ++i) {
        sumA += inA[i];
        sumB += inB[i];
    }
    for (int j = 0; j < n; ++j) {
        if (j + half < n) {
            sumA += inA[j + half];
            sumB += inB[j + half];
        }
        if (j - half - 1 >= 0) {
            sumA -= inA[j - half - 1];
            sumB -= inB[j - half - 1];
        }
        outA[j] = sumA * inverse;
        outB[j] = sumB * inverse;
    }
    a->swap(*scratchA);
    b->swap(*scratchB);
}

}  // namespace

NearBox NearBoxOf(const Estimator& e, float lnRFactor, float lnBFactor) {
    // Widened by 0.1 %, far more than FastLn's error, so a region it leaves
    // out is surely outside.
    return {std::exp(e.nearLowU + lnRFactor) * 0.999f, std::exp(e.nearHighU + lnRFactor) * 1.001f,
            std::exp(e.nearLowV + lnBFactor) * 0.999f, std::exp(e.nearHighV + lnBFactor) * 1.001f};
}

VoteScales VoteScalesOf(const Estimator& e) {
    const Tuning::TuningParams& p = e.params;
    const int last = static_cast<int>(e.lanes.size()) - 1;
    return {p.greyZoneWidth * p.greyZoneWidth,
            0.5f / (p.likelihoodSigma * p.likelihoodSigma),
            e.binWidth > 0.0f ? 1.0f / e.binWidth : 0.0f,
            last,
            static_cast<float>(last),
            static_cast<float>(e.margin)};
}

namespace {

// Weighs the selected regions in the grey zone and casts their votes,
// spread over the two nearest search bins so a position keeps its sub-bin
// part (the votes times the signed distance, which only feed a mean across
// the curve, go whole to the lower bin). Returns how many voted. The plain
// twin of VoteInLanes (FourLanes.cpp), which gives the same bits about
// three times faster (the vote is most of the decision's cost).
uint32_t PlainVote(Estimator* e, int32_t count, float lnRFactor, float lnBFactor) {
    // A region outside the box around the curve (a coloured surface) costs
    // two comparisons, not a projection.
    const NearBox box = NearBoxOf(*e, lnRFactor, lnBFactor);
    const VoteScales k = VoteScalesOf(*e);
    VoteLanes* bins = e->lanes.data();
    std::fill(e->lanes.begin(), e->lanes.end(), VoteLanes{});
    uint32_t grey = 0;
    for (int32_t i = 0; i < count; ++i) {
        if (e->selected[i] == 0.0f) continue;
        const float inverseG = 1.0f / e->meanG[i];
        const float rg = e->meanR[i] * inverseG;
        const float bg = e->meanB[i] * inverseG;
        if (!(rg >= box.rgLow && rg <= box.rgHigh && bg >= box.bgLow && bg <= box.bgHigh)) {
            continue;
        }
        const NearPosition near =
            ProjectNear(e->curve, FastLn(rg) - lnRFactor, FastLn(bg) - lnBFactor);
        if (!(near.squared <= k.widthSquared)) continue;
        ++grey;
        const float weight = FastNegExp(near.squared * k.inv2Sigma2);
        const float distance = std::sqrt(near.squared);
        const float offset = weight * (near.side >= 0.0f ? distance : -distance);
        const float position =
            std::min(std::max(k.margin + near.along * k.invBin, 0.0f), k.lastBin);
        const int low = std::min(static_cast<int>(position), k.last - 1);
        const float high = position - static_cast<float>(low);
        // Region i adds to lane i % kVoteLanes, so consecutive votes for the
        // same bin do not wait for each other's stores.
        const int lane = i % kVoteLanes;
        bins[low].weight[lane] += weight * (1.0f - high);
        bins[low].offset[lane] += offset;
        bins[low + 1].weight[lane] += weight * high;
    }
    return grey;
}

uint32_t Vote(Estimator* e, int32_t count, float lnRFactor, float lnBFactor) {
    if (e->plainTwins) return PlainVote(e, count, lnRFactor, lnBFactor);
    return VoteInLanes(e, count, lnRFactor, lnBFactor);
}

// The posterior from the votes, and its peak.
void SearchVotes(Estimator* e, float outdoor, uint32_t valid, float rFactor, float bFactor,
                 VireoAwbResult* result) {
    const Tuning::TuningParams& p = e->params;
    for (size_t j = 0; j < e->lanes.size(); ++j) {
        const VoteLanes& lanes = e->lanes[j];
        e->votes[j] = (lanes.weight[0] + lanes.weight[1]) + (lanes.weight[2] + lanes.weight[3]);
        e->offsetVotes[j] =
            (lanes.offset[0] + lanes.offset[1]) + (lanes.offset[2] + lanes.offset[3]);
    }
    for (int pass = 0; pass < 3; ++pass) {
        BoxFilter(e->boxWidth, &e->votes, &e->offsetVotes, &e->filterScratch, &e->filterScratch2);
    }
    const float floor = p.likelihoodFloor;
    const float scale = e->boxScale / static_cast<float>(valid);
    const float* votes = e->votes.data() + e->margin;
    for (int j = 0; j < kSearchBins; ++j) {
        const float lnPrior =
            outdoor * e->lnPriorOutdoor[j] + (1.0f - outdoor) * e->lnPriorIndoor[j];
        const float likelihood = std::max(votes[j], 0.0f) * scale;
        e->posterior[j] = p.likelihoodStrength * FastLn(likelihood + floor) + lnPrior;
    }
    int best = 0;
    for (int j = 1; j < kSearchBins; ++j) {
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

void InitBayes(Estimator* e) {
    const Tuning::TuningParams& params = e->params;
    IndexSegments(params.greyZoneWidth, &e->curve);
    e->nearLowU = e->nearHighU = e->curve.nodes.front().u;
    e->nearLowV = e->nearHighV = e->curve.nodes.front().v;
    for (const CurveNode& node : e->curve.nodes) {
        e->nearLowU = std::min(e->nearLowU, node.u);
        e->nearHighU = std::max(e->nearHighU, node.u);
        e->nearLowV = std::min(e->nearLowV, node.v);
        e->nearHighV = std::max(e->nearHighV, node.v);
    }
    e->nearLowU -= params.greyZoneWidth;
    e->nearHighU += params.greyZoneWidth;
    e->nearLowV -= params.greyZoneWidth;
    e->nearHighV += params.greyZoneWidth;
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
    e->lanes.assign(kSearchBins + 2 * e->margin, VoteLanes{});
    e->votes.assign(e->lanes.size(), 0.0f);
    e->offsetVotes.assign(e->lanes.size(), 0.0f);
    e->filterScratch.assign(e->lanes.size(), 0.0f);
    e->filterScratch2.assign(e->lanes.size(), 0.0f);
    e->posterior.assign(kSearchBins, 0.0f);
}

void BayesSearch(Estimator* e, const VireoAwbFrame& frame, float lnRFactor, float lnBFactor,
                 float rFactor, float bFactor, VireoAwbResult* result) {
    result->greyRegionCount = Vote(e, frame.regionCount, lnRFactor, lnBFactor);
    if (result->greyRegionCount == 0) {
        result->flags |= VIREO_AWB_FLAG_NO_GREY_REGION;
        float u;
        float v;
        GreyWorld(*e, frame.regionCount, lnRFactor, lnBFactor, &u, &v);
        const CurvePosition position = Project(e->curve, u, v);
        SetWhiteNearCurve(*e, position.s, position.distance, rFactor, bFactor, result);
        return;
    }
    SearchVotes(e, result->outdoorWeight, result->validRegionCount, rFactor, bFactor, result);
}

}  // namespace Awb
}  // namespace Vireo
