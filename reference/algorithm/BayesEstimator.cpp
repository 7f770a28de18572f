// The Bayesian search: the selected regions near the white locus (the grey
// zone) vote for positions along it, weighted by their distance from it; the
// smoothed votes are the likelihood, which meets a lux-dependent prior over
// the colour temperature, and the posterior's peak is the white point.
#include <algorithm>
#include <cmath>

#include "AwbEstimator.h"
#include "Lanes.h"

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

// Weighs the selected regions in the grey zone and casts their votes,
// spread over the two nearest search bins so a position keeps its sub-bin
// part (the votes times the signed distance, which only feed a mean across
// the curve, go whole to the lower bin). Returns how many voted. The plain
// twin of the four-lane passes below, which give the same bits about three
// times faster (the vote is most of the decision's cost).
uint32_t PlainVote(Estimator* e, int32_t count, float lnRFactor, float lnBFactor) {
    const Tuning::TuningParams& p = e->params;
    // The box around the curve in ratios of this module: a region outside it
    // (a coloured surface) costs two comparisons, not a projection. Widened
    // by 0.1 %, far more than FastLn's error, so a region it leaves out is
    // surely outside.
    const float rgLow = std::exp(e->nearLowU + lnRFactor) * 0.999f;
    const float rgHigh = std::exp(e->nearHighU + lnRFactor) * 1.001f;
    const float bgLow = std::exp(e->nearLowV + lnBFactor) * 0.999f;
    const float bgHigh = std::exp(e->nearHighV + lnBFactor) * 1.001f;
    const float widthSquared = p.greyZoneWidth * p.greyZoneWidth;
    const float inv2Sigma2 = 0.5f / (p.likelihoodSigma * p.likelihoodSigma);
    const float invBin = e->binWidth > 0.0f ? 1.0f / e->binWidth : 0.0f;
    const int last = static_cast<int>(e->lanes.size()) - 1;
    const float lastBin = static_cast<float>(last);
    const float margin = static_cast<float>(e->margin);
    VoteLanes* bins = e->lanes.data();
    std::fill(e->lanes.begin(), e->lanes.end(), VoteLanes{});
    uint32_t grey = 0;
    for (int32_t i = 0; i < count; ++i) {
        if (e->selected[i] == 0.0f) continue;
        const float inverseG = 1.0f / e->meanG[i];
        const float rg = e->meanR[i] * inverseG;
        const float bg = e->meanB[i] * inverseG;
        if (!(rg >= rgLow && rg <= rgHigh && bg >= bgLow && bg <= bgHigh)) continue;
        const NearPosition near =
            ProjectNear(e->curve, FastLn(rg) - lnRFactor, FastLn(bg) - lnBFactor);
        if (!(near.squared <= widthSquared)) continue;
        ++grey;
        const float weight = FastNegExp(near.squared * inv2Sigma2);
        const float distance = std::sqrt(near.squared);
        const float offset = weight * (near.side >= 0.0f ? distance : -distance);
        const float position = std::min(std::max(margin + near.along * invBin, 0.0f), lastBin);
        const int low = std::min(static_cast<int>(position), last - 1);
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

// --- the vote four regions at a time -------------------------------------

using F4 = Float4;
using I4 = Int4;

// Project for a point in every lane at once: arc length, squared distance,
// and a value whose sign is the side.
// Points farther than the index's reach get a squared distance above
// reach^2, not necessarily the exact one.
void ProjectLanes(const CtCurve& curve, F4 pu, F4 pv, F4* along, F4* squared, F4* side) {
    const F4 zero = Splat<F4>(0.0f);
    const CurveBand& band = curve.band;
    const SegmentIndex& index = curve.index;
    F4 best = Splat<F4>(INFINITY);
    F4 bestAlong = zero;
    F4 bestSide = zero;
    // Points all farther than reach from the band that holds the curve need
    // no exact answer: coloured regions are cheap.
    const F4 du = pu - Splat<F4>(band.originU);
    const F4 dv = pv - Splat<F4>(band.originV);
    const F4 x = du * Splat<F4>(band.unitU) + dv * Splat<F4>(band.unitV);
    const F4 y = dv * Splat<F4>(band.unitU) - du * Splat<F4>(band.unitV);
    const I4 outside = (x < Splat<F4>(index.alongLow)) | (x > Splat<F4>(index.alongHigh)) |
                       (y < Splat<F4>(index.acrossLow)) | (y > Splat<F4>(index.acrossHigh));
    if (!AnyLane(~outside)) {
        *along = bestAlong;
        *squared = best;
        *side = bestSide;
        return;
    }
    // The candidate segments of the points' slices.
    size_t from = 0;
    size_t to = curve.segments.size();
    const int slices = static_cast<int>(index.first.size());
    if (slices > 0) {
        float lowest = x[0];
        float highest = x[0];
        for (int k = 1; k < 4; ++k) {
            lowest = std::min(lowest, x[k]);
            highest = std::max(highest, x[k]);
        }
        const float top = static_cast<float>(slices - 1);
        const float a = std::min(std::max((lowest - index.origin) * index.scale, 0.0f), top);
        const float b = std::min(std::max((highest - index.origin) * index.scale, 0.0f), top);
        from = index.first[static_cast<int>(a)];
        to = static_cast<size_t>(index.last[static_cast<int>(b)]) + 1;
    }
    for (size_t k = from; k < to; ++k) {
        const CurveSegment& g = curve.segments[k];
        const F4 unitU = Splat<F4>(g.unitU);
        const F4 unitV = Splat<F4>(g.unitV);
        const F4 length = Splat<F4>(g.length);
        // In the segment's frame: x along it from its start, y across.
        const F4 x = pu * unitU + pv * unitV - Splat<F4>(g.startAlong);
        const F4 y = pv * unitU - pu * unitV - Splat<F4>(g.startAcross);
        F4 onSegment = x < zero ? zero : x;
        onSegment = onSegment > length ? length : onSegment;
        const F4 beyond = x - onSegment;
        const F4 candidate = beyond * beyond + y * y;
        const I4 closer = candidate < best;
        bestAlong = closer ? Splat<F4>(g.s) + onSegment : bestAlong;
        bestSide = closer ? y : bestSide;
        best = closer ? candidate : best;
    }
    *along = bestAlong;
    *squared = best;
    *side = bestSide;
}

// The regions that may vote, a group of lanes at a time: groups with nothing
// selected, or whose ratios all lie outside the box around the curve
// (coloured surfaces), cost a few comparisons; the others are packed, in
// order, into the group scratch with their log chromaticity and which lanes
// are selected. Returns how many lanes were packed (a multiple of the
// lane count).
uint32_t GatherCandidates(Estimator* e, int32_t count, float lnRFactor, float lnBFactor) {
    // The rest of the last group reads as regions not selected.
    for (int32_t i = count; i % 4 != 0; ++i) {
        e->meanR[i] = e->meanB[i] = e->selected[i] = 0.0f;
        e->meanG[i] = 1.0f;
    }
    // The box in ratios of this module; widened by 0.1 %, far more than
    // FastLn's error, so a region it leaves out is surely outside.
    const float rgLow = std::exp(e->nearLowU + lnRFactor) * 0.999f;
    const float rgHigh = std::exp(e->nearHighU + lnRFactor) * 1.001f;
    const float bgLow = std::exp(e->nearLowV + lnBFactor) * 0.999f;
    const float bgHigh = std::exp(e->nearHighV + lnBFactor) * 1.001f;
    uint32_t packed = 0;
    for (int32_t i = 0; i < count; i += 4) {
        const I4 chosen = Load<F4>(e->selected.data() + i) != 0.0f;
        if (!AnyLane(chosen)) continue;
        const F4 inverseG = 1.0f / Load<F4>(e->meanG.data() + i);
        const F4 rg = Load<F4>(e->meanR.data() + i) * inverseG;
        const F4 bg = Load<F4>(e->meanB.data() + i) * inverseG;
        const I4 near = chosen & (rg >= rgLow) & (rg <= rgHigh) & (bg >= bgLow) & (bg <= bgHigh);
        if (!AnyLane(near)) continue;
        Store(e->u.data() + packed, FastLnLanes(rg) - lnRFactor);
        Store(e->v.data() + packed, FastLnLanes(bg) - lnBFactor);
        Store(e->chosen.data() + packed, chosen ? Splat<F4>(1.0f) : Splat<F4>(0.0f));
        packed += 4;
    }
    return packed;
}

// Weighs the packed regions and casts their votes, spread over the two
// nearest search bins so a position keeps its sub-bin part (the votes times
// the signed distance, which only feed a mean across the curve, go whole to
// the lower bin). Short passes with independent iterations, which the
// processor overlaps far better than one long chain per group. Returns how
// many selected regions are in the grey zone.
uint32_t WeighAndVote(Estimator* e, uint32_t packed) {
    const Tuning::TuningParams& p = e->params;
    float* u = e->u.data();
    float* v = e->v.data();
    float* along = e->along.data();
    float* squared = e->squared.data();
    float* side = e->side.data();
    for (uint32_t j = 0; j < packed; j += 4) {
        F4 a;
        F4 d2;
        F4 sign;
        ProjectLanes(e->curve, Load<F4>(u + j), Load<F4>(v + j), &a, &d2, &sign);
        Store(along + j, a);
        Store(squared + j, d2);
        Store(side + j, sign);
    }
    const float widthSquared = p.greyZoneWidth * p.greyZoneWidth;
    const float inv2Sigma2 = 0.5f / (p.likelihoodSigma * p.likelihoodSigma);
    const float invBin = e->binWidth > 0.0f ? 1.0f / e->binWidth : 0.0f;
    const int last = static_cast<int>(e->lanes.size()) - 1;
    const float lastBin = static_cast<float>(last);
    const float margin = static_cast<float>(e->margin);
    const F4 zero = Splat<F4>(0.0f);
    // From here on u holds the weight at the lower bin, v the weight at the
    // upper one, side the weight times the signed distance.
    int32_t* bin = e->bin.data();
    I4 grey = Splat<I4>(0);
    for (uint32_t j = 0; j < packed; j += 4) {
        const F4 d2 = Load<F4>(squared + j);
        const I4 inside = (d2 <= widthSquared) & (Load<F4>(e->chosen.data() + j) != 0.0f);
        grey += inside;
        // Lanes outside vote 0 at bin 0, which changes nothing; their
        // squared distance may be infinite, hence the masks.
        const F4 weight = inside ? FastNegExpLanes(d2 * inv2Sigma2) : zero;
        float root[4];
        for (int k = 0; k < 4; ++k) root[k] = std::sqrt(d2[k]);
        const F4 distance = Load<F4>(root);
        const F4 offset =
            inside ? weight * (Load<F4>(side + j) >= 0.0f ? distance : -distance) : zero;
        F4 position = margin + Load<F4>(along + j) * invBin;
        position = position < 0.0f ? zero : position;
        position = position > lastBin ? Splat<F4>(lastBin) : position;
        position = inside ? position : zero;
        I4 low = __builtin_convertvector(position, I4);
        low = low > last - 1 ? Splat<I4>(last - 1) : low;
        const F4 high = position - __builtin_convertvector(low, F4);
        Store(bin + j, low);
        Store(u + j, weight * (1.0f - high));
        Store(v + j, weight * high);
        Store(side + j, offset);
    }
    // Region j writes lane j % kVoteLanes, so consecutive votes for the same
    // bin do not wait for each other's stores.
    VoteLanes* bins = e->lanes.data();
    std::fill(e->lanes.begin(), e->lanes.end(), VoteLanes{});
    // A group per step, so the lanes are fixed offsets rather than worked
    // out per region (packed is a multiple of the lane count).
    for (uint32_t j = 0; j < packed; j += 4) {
        for (int lane = 0; lane < 4; ++lane) {
            VoteLanes* at = bins + bin[j + lane];
            at[0].weight[lane % kVoteLanes] += u[j + lane];
            at[0].offset[lane % kVoteLanes] += side[j + lane];
            at[1].weight[lane % kVoteLanes] += v[j + lane];
        }
    }
    return CountLanes(grey);
}

uint32_t Vote(Estimator* e, int32_t count, float lnRFactor, float lnBFactor) {
    if (e->plainVote) return PlainVote(e, count, lnRFactor, lnBFactor);
    return WeighAndVote(e, GatherCandidates(e, count, lnRFactor, lnBFactor));
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
