// The per-region passes of the decision, four regions at a time in vector
// lanes (Lanes.h): the region selection, the Bayesian vote, and the learned
// mode's histograms and softmax. They are the costly part of a sample, and
// each is the twin of a plain form elsewhere (SelectRegionsPlain in
// RegionSelection.cpp, the plain vote in BayesEstimator.cpp, the plain
// passes in LearnedEstimator.cpp) that computes the same bits in the same
// order: the tests run both forms and compare the results bit for bit.
// Every hand-written vector loop of the library lives in this file.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "AwbEstimator.h"
#include "FastMath.h"
#include "Lanes.h"
#include "LearnedEstimator.h"
#include "RegionSelection.h"

namespace Vireo {
namespace Awb {

namespace {

using F4 = Float4;
using I4 = Int4;

// --- the selection -----------------------------------------------------------

// The channel means of a group of four regions, one per lane, and the share
// of each green channel's mean in the green mean.
struct GroupMeans {
    F4 r;
    F4 b;
    F4 gr;
    F4 gb;
    F4 greenShare;
};

static_assert(offsetof(VireoAwbRegion, bSum) == offsetof(VireoAwbRegion, rSum) + 8 &&
                  offsetof(VireoAwbRegion, grSum) == offsetof(VireoAwbRegion, rSum) + 16 &&
                  offsetof(VireoAwbRegion, gbSum) == offsetof(VireoAwbRegion, rSum) + 24,
              "the four sums lie side by side");

// The four sums of four records as floats, in the order R, B, GR, GB. For
// the usual sums that fit 31 bits, their low words are gathered by shuffles
// and converted four at a time, where each 64-bit sum would cost a
// conversion of its own; both round the same exact integer, so the floats
// are the same. Any larger or negative sum: one conversion per sum.
VIREO_LANES_INLINE GroupMeans SumsOf(const VireoAwbRegion* four) {
    I4 rb[4];
    I4 greens[4];
    for (int k = 0; k < 4; ++k) {
        std::memcpy(&rb[k], &four[k].rSum, sizeof rb[k]);
        std::memcpy(&greens[k], &four[k].grSum, sizeof greens[k]);
    }
    const I4 all =
        (rb[0] | rb[1]) | (rb[2] | rb[3]) | (greens[0] | greens[1]) | (greens[2] | greens[3]);
    // Little-endian words {low, high, low, high}: the high words zero and the
    // low words' top bits clear.
    if (AnyLane(all & I4{INT32_MIN, -1, INT32_MIN, -1})) {
        auto lanes = [four](int64_t VireoAwbRegion::*sum) {
            return F4{static_cast<float>(four[0].*sum), static_cast<float>(four[1].*sum),
                      static_cast<float>(four[2].*sum), static_cast<float>(four[3].*sum)};
        };
        return {lanes(&VireoAwbRegion::rSum), lanes(&VireoAwbRegion::bSum),
                lanes(&VireoAwbRegion::grSum), lanes(&VireoAwbRegion::gbSum), F4{}};
    }
    // {R0, B0, R1, B1} and {R2, B2, R3, B3}, then R and B apart; the same
    // for the greens.
    const I4 rb01 = __builtin_shufflevector(rb[0], rb[1], 0, 2, 4, 6);
    const I4 rb23 = __builtin_shufflevector(rb[2], rb[3], 0, 2, 4, 6);
    const I4 g01 = __builtin_shufflevector(greens[0], greens[1], 0, 2, 4, 6);
    const I4 g23 = __builtin_shufflevector(greens[2], greens[3], 0, 2, 4, 6);
    return {__builtin_convertvector(__builtin_shufflevector(rb01, rb23, 0, 2, 4, 6), F4),
            __builtin_convertvector(__builtin_shufflevector(rb01, rb23, 1, 3, 5, 7), F4),
            __builtin_convertvector(__builtin_shufflevector(g01, g23, 0, 2, 4, 6), F4),
            __builtin_convertvector(__builtin_shufflevector(g01, g23, 1, 3, 5, 7), F4), F4{}};
}

// Records whose counts differ from the ones in scales, and the last group of
// a sample: one region at a time, as the plain form does. Lanes past `lanes`
// read as regions without pixels.
VIREO_LANES_INLINE GroupMeans MeansOfEach(const VireoAwbRegion* group, int32_t lanes,
                                          Scales* scales) {
    float r[4] = {};
    float b[4] = {};
    float gr[4] = {};
    float gb[4] = {};
    float share[4] = {};
    for (int32_t k = 0; k < lanes; ++k) {
        UpdateScales(group[k], scales);
        r[k] = static_cast<float>(group[k].rSum) * scales->inverse[0];
        b[k] = static_cast<float>(group[k].bSum) * scales->inverse[1];
        gr[k] = static_cast<float>(group[k].grSum) * scales->inverse[2];
        gb[k] = static_cast<float>(group[k].gbSum) * scales->inverse[3];
        share[k] = scales->greenShare;
    }
    return {Load<F4>(r), Load<F4>(b), Load<F4>(gr), Load<F4>(gb), Load<F4>(share)};
}

}  // namespace

uint32_t SelectRegions(const VireoAwbRegion* regions, int32_t count, const SelectionLimits& limits,
                       const SelectedRegions& out) {
    // Locals, so the stores into the float arrays cannot make the loop read
    // them again.
    const float saturationR = limits.saturation[0];
    const float saturationGr = limits.saturation[1];
    const float saturationGb = limits.saturation[2];
    const float saturationB = limits.saturation[3];
    // A zero dark level still asks for a positive green mean.
    const float darkGreen = std::max(limits.darkGreen, 1e-30f);
    float* const outR = out.r;
    float* const outG = out.g;
    float* const outB = out.b;
    float* const outSelected = out.selected;
    Scales scales;
    GroupMeans shared{};  // the scales of `scales`, in every lane
    I4 chosen = Splat<I4>(0);
    for (int32_t i = 0; i < count; i += 4) {
        const VireoAwbRegion* group = regions + i;
        const int32_t lanes = std::min<int32_t>(count - i, 4);
        uint64_t differ = lanes == 4 ? 0 : 1;
        for (int32_t k = 0; k < lanes; ++k) differ |= CountsOf(group[k]) ^ scales.counts;
        GroupMeans m;
        if (differ == 0) {
            // The usual case: the whole grid shares its pixel counts.
            const GroupMeans sums = SumsOf(group);
            m = {sums.r * shared.r, sums.b * shared.b, sums.gr * shared.gr, sums.gb * shared.gb,
                 shared.greenShare};
        } else {
            m = MeansOfEach(group, lanes, &scales);
            shared = {Splat<F4>(scales.inverse[0]), Splat<F4>(scales.inverse[1]),
                      Splat<F4>(scales.inverse[2]), Splat<F4>(scales.inverse[3]),
                      Splat<F4>(scales.greenShare)};
        }
        // A green channel without pixels reads 0 and has no share.
        const F4 green = (m.gr + m.gb) * m.greenShare;
        const I4 usable = (m.greenShare > 0.0f) & (m.r < saturationR) & (m.gr < saturationGr) &
                          (m.gb < saturationGb) & (m.b < saturationB) & (green >= darkGreen) &
                          (m.r > 0.0f) & (m.b > 0.0f);
        Store(outR + i, m.r);
        Store(outG + i, usable ? green : Splat<F4>(1.0f));
        Store(outB + i, m.b);
        Store(outSelected + i, usable ? Splat<F4>(1.0f) : Splat<F4>(0.0f));
        chosen += usable;
    }
    return CountLanes(chosen);
}

namespace {

// --- the vote ----------------------------------------------------------------

// ProjectNear for a point in every lane at once: arc length, squared
// distance, and a value whose sign is the side. The group tries the
// segments of every slice its points fall in, which holds each point's own
// candidates (the index's envelopes); the nearest is the same.
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

// The regions that may vote, a group at a time: groups with nothing
// selected, or whose ratios all lie outside the box around the curve
// (coloured surfaces), cost a few comparisons; the others are packed, in
// order, into the group scratch with their log chromaticity and which lanes
// are selected. The selection has filled the last group whole (lanes past
// the regions not selected). Returns how many lanes were packed (a multiple
// of four).
uint32_t GatherCandidates(Estimator* e, int32_t count, float lnRFactor, float lnBFactor) {
    const NearBox box = NearBoxOf(*e, lnRFactor, lnBFactor);
    uint32_t packed = 0;
    for (int32_t i = 0; i < count; i += 4) {
        const I4 chosen = Load<F4>(e->selected.data() + i) != 0.0f;
        if (!AnyLane(chosen)) continue;
        const F4 inverseG = 1.0f / Load<F4>(e->meanG.data() + i);
        const F4 rg = Load<F4>(e->meanR.data() + i) * inverseG;
        const F4 bg = Load<F4>(e->meanB.data() + i) * inverseG;
        const I4 near = chosen & (rg >= box.rgLow) & (rg <= box.rgHigh) & (bg >= box.bgLow) &
                        (bg <= box.bgHigh);
        if (!AnyLane(near)) continue;
        Store(e->u.data() + packed, FastLnLanes(rg) - lnRFactor);
        Store(e->v.data() + packed, FastLnLanes(bg) - lnBFactor);
        Store(e->chosen.data() + packed, chosen ? Splat<F4>(1.0f) : Splat<F4>(0.0f));
        packed += 4;
    }
    return packed;
}

}  // namespace

// Weighs the packed regions and casts their votes: short passes with
// independent iterations, which the processor overlaps far better than one
// long chain per group.
uint32_t VoteInLanes(Estimator* e, int32_t count, float lnRFactor, float lnBFactor) {
    const uint32_t packed = GatherCandidates(e, count, lnRFactor, lnBFactor);
    const VoteScales k = VoteScalesOf(*e);
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
    const F4 zero = Splat<F4>(0.0f);
    // From here on u holds the weight at the lower bin, v the weight at the
    // upper one, side the weight times the signed distance.
    int32_t* bin = e->bin.data();
    I4 grey = Splat<I4>(0);
    for (uint32_t j = 0; j < packed; j += 4) {
        const F4 d2 = Load<F4>(squared + j);
        const I4 inside = (d2 <= k.widthSquared) & (Load<F4>(e->chosen.data() + j) != 0.0f);
        grey += inside;
        // Lanes outside vote 0 at bin 0, which changes nothing; their
        // squared distance may be infinite, hence the masks.
        const F4 weight = inside ? FastNegExpLanes(d2 * k.inv2Sigma2) : zero;
        float root[4];
        for (int lane = 0; lane < 4; ++lane) root[lane] = std::sqrt(d2[lane]);
        const F4 distance = Load<F4>(root);
        const F4 offset =
            inside ? weight * (Load<F4>(side + j) >= 0.0f ? distance : -distance) : zero;
        F4 position = k.margin + Load<F4>(along + j) * k.invBin;
        position = position < 0.0f ? zero : position;
        position = position > k.lastBin ? Splat<F4>(k.lastBin) : position;
        position = inside ? position : zero;
        I4 low = __builtin_convertvector(position, I4);
        low = low > k.last - 1 ? Splat<I4>(k.last - 1) : low;
        const F4 high = position - __builtin_convertvector(low, F4);
        Store(bin + j, low);
        Store(u + j, weight * (1.0f - high));
        Store(v + j, weight * high);
        Store(side + j, offset);
    }
    // Region j writes lane j % kVoteLanes, as in the plain vote.
    VoteLanes* bins = e->lanes.data();
    std::fill(e->lanes.begin(), e->lanes.end(), VoteLanes{});
    // A group per step, so the lanes are fixed offsets rather than worked
    // out per region (packed is a multiple of four).
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

namespace {

// --- the learned histograms --------------------------------------------------

// Where four chromaticities fall on the histogram grid: the first of the
// four bin centres around each and the offsets fu, fv from it in bins. A
// point outside the grid of centres, or not a number, gets weight 0. The
// positions are clamped before they become integers, so every lane
// converts a number in range; the cell index is worked out in floats,
// exact at these sizes, as SSE2 has no 32-bit integer multiply.
VIREO_LANES_INLINE void Place(const LearnedPlanes& p, F4 u, F4 v, F4* w, float* at, float* fu,
                              float* fv) {
    const F4 zero = Splat<F4>(0.0f);
    const F4 last = Splat<F4>(static_cast<float>(p.n - 1));
    const F4 pu = (u - Splat<F4>(p.uStart)) * Splat<F4>(p.invWidth);
    const F4 pv = (v - Splat<F4>(p.vStart)) * Splat<F4>(p.invWidth);
    const I4 inside = (pu >= zero) & (pu <= last) & (pv >= zero) & (pv <= last);
    *w = inside ? *w : zero;
    const F4 cu = inside ? pu : zero;
    const F4 cv = inside ? pv : zero;
    const I4 limit = Splat<I4>(p.n - 2);
    I4 iu = __builtin_convertvector(cu, I4);
    I4 iv = __builtin_convertvector(cv, I4);
    iu = iu < limit ? iu : limit;
    iv = iv < limit ? iv : limit;
    const F4 whole = __builtin_convertvector(iu, F4);
    const F4 part = __builtin_convertvector(iv, F4);
    Store(at, whole * Splat<F4>(static_cast<float>(p.n)) + part);
    Store(fu, cu - whole);
    Store(fv, cv - part);
}

// The sums of one channel's differences to the four neighbours of regions
// j .. j + 3: right, left, down, up, in that order.
VIREO_LANES_INLINE F4 DeviationOf(const float* right, const float* down, int cols, int j) {
    return ((Load<F4>(right + j) + Load<F4>(right + j - 1)) + Load<F4>(down + j)) +
           Load<F4>(down + j - cols);
}

// GreyExponentPlain (LearnedEstimator.cpp) on four pairs at once.
VIREO_LANES_INLINE F4 GreyExponent(F4 er, F4 eg, F4 eb, F4 rr, F4 gg, F4 bb) {
    const F4 dr = er / rr;
    const F4 dg = eg / gg;
    const F4 db = eb / bb;
    const F4 sum = (dr + dg) + db;
    const F4 squares = (dr * dr + dg * dg) + db * db;
    F4 x = (Splat<F4>(3.0f) * squares / (sum * sum) - Splat<F4>(1.0f)) *
           Splat<F4>(0.5f / (kGreySpread * kGreySpread));
    const F4 most = Splat<F4>(100.0f);
    const F4 zero = Splat<F4>(0.0f);
    x = x < most ? x : most;
    return x > zero ? x : zero;
}

}  // namespace

void LearnedPairsInLanes(const LearnedPlanes& p) {
    const int stride = p.stride;
    const int cols = p.cols;
    const int span = (p.pairs + 3) / 4 * 8;  // regions, whole groups of four pairs
    const F4 zero = Splat<F4>(0.0f);
    const F4 one = Splat<F4>(1.0f);
    // The differences of each region to its right and lower neighbours,
    // written out once and read at both ends by the pass below; on the way
    // the brightest channel mean of a selected region.
    F4 brightestLanes = zero;
    for (int j = 0; j < span; j += 4) {
        const F4 on = Load<F4>(p.chosen + j);
        const F4 right = Load<F4>(p.notLast + j) * Load<F4>(p.chosen + j + 1);
        const F4 down = on * Load<F4>(p.chosen + j + cols);
        F4 largest = zero;
        for (int c = 0; c < 3; ++c) {
            const float* mean = p.means + c * stride;
            const F4 m = Load<F4>(mean + j);
            largest = c == 0 ? m : (largest > m ? largest : m);
            const F4 dr = m - Load<F4>(mean + j + 1);
            const F4 dd = m - Load<F4>(mean + j + cols);
            Store(p.diff + c * stride + j, right * (dr < zero ? -dr : dr));
            Store(p.diff + (3 + c) * stride + j, down * (dd < zero ? -dd : dd));
        }
        largest *= on;
        brightestLanes = largest > brightestLanes ? largest : brightestLanes;
    }
    const float brightest = std::max(std::max(brightestLanes[0], brightestLanes[1]),
                                     std::max(brightestLanes[2], brightestLanes[3]));
    const F4 lnR = Splat<F4>(p.lnR);
    const F4 lnB = Splat<F4>(p.lnB);
    const F4 inverseBrightest = Splat<F4>(brightest > 0.0f ? 1.0f / (3.0f * brightest) : 0.0f);
    // Per histogram, four partial sums of its weights.
    F4 totals[kLearnedHistograms] = {zero, zero, zero, zero, zero, zero};
    const float* pr = p.means;
    const float* pg = p.means + stride;
    const float* pb = p.means + 2 * stride;
    // Three short passes rather than one long one: the long body spilled
    // its registers and left the processor little to overlap. First the
    // pooled means and deviations, and the ratios whose logarithms give the
    // chromaticities, kept for now where the bins will go.
    float* const meanU = p.meanAt;
    float* const meanV = p.meanFu;
    float* const contrastU = p.contrastAt;
    float* const contrastV = p.contrastFu;
    float* const levels = p.brightWeights;  // until the last pass
    for (int i = 0; i < span / 2; i += 4) {
        const int j = 2 * i;
        const F4 w0 = Load<F4>(p.weights + j);
        const F4 w1 = Load<F4>(p.weights + j + 4);
        const F4 wa = __builtin_shufflevector(w0, w1, 0, 2, 4, 6);
        const F4 wb = __builtin_shufflevector(w0, w1, 1, 3, 5, 7);
        // Weighted sums of a channel plane over the pair.
        auto weighted = [&](const float* plane) {
            const F4 a = Load<F4>(plane + j);
            const F4 c = Load<F4>(plane + j + 4);
            return wa * __builtin_shufflevector(a, c, 0, 2, 4, 6) +
                   wb * __builtin_shufflevector(a, c, 1, 3, 5, 7);
        };
        // A channel's deviation summed over the pair.
        auto deviation = [&](int c) {
            const float* right = p.diff + c * stride;
            const float* down = p.diff + (3 + c) * stride;
            const F4 a = DeviationOf(right, down, cols, j);
            const F4 d = DeviationOf(right, down, cols, j + 4);
            return __builtin_shufflevector(a, d, 0, 2, 4, 6) +
                   __builtin_shufflevector(a, d, 1, 3, 5, 7);
        };
        const F4 weight = wa + wb;
        const I4 some = weight > zero;
        const F4 inverse = one / (some ? weight : one);
        const F4 rr = some ? weighted(pr) * inverse : one;
        const F4 gg = some ? weighted(pg) * inverse : one;
        const F4 bb = some ? weighted(pb) * inverse : one;
        Store(meanU + i, gg / rr);
        Store(meanV + i, gg / bb);
        // L / M, for the bright and dark histograms' weights.
        Store(levels + i, (rr + gg + bb) * inverseBrightest);
        Store(p.pairWeights + i, weight);
        F4 er = deviation(0);
        F4 eg = deviation(1);
        F4 eb = deviation(2);
        // A flat neighbourhood (or none) has no contrast colour.
        const F4 floor = Splat<F4>(1e-6f) * gg;
        const I4 flat = (er <= floor) | (eg <= floor) | (eb <= floor);
        Store(p.contrastWeights + i, flat ? zero : weight);
        er = er > floor ? er : floor;
        eg = eg > floor ? eg : floor;
        eb = eb > floor ? eb : floor;
        Store(p.greyness + i, flat ? Splat<F4>(-1.0f) : GreyExponent(er, eg, eb, rr, gg, bb));
        Store(contrastU + i, eg / er);
        Store(contrastV + i, eg / eb);
    }
    // The chromaticities, and how grey each pair looks (none when flat).
    for (int i = 0; i < span / 2; i += 4) {
        const F4 exponent = Load<F4>(p.greyness + i);
        Store(p.greyness + i, exponent < zero ? zero : FastNegExpLanes(exponent));
        Store(meanU + i, FastLnLanes(Load<F4>(meanU + i)) + lnR);
        Store(meanV + i, FastLnLanes(Load<F4>(meanV + i)) + lnB);
        Store(contrastU + i, FastLnLanes(Load<F4>(contrastU + i)) + lnR);
        Store(contrastV + i, FastLnLanes(Load<F4>(contrastV + i)) + lnB);
    }
    // Where they fall on the grid, and the weights of those that do: the
    // bright histogram's weight times (L / M)^4, the dark one's times
    // (1 - L / M)^2; the top one's as the means' in the pairs before topPairs.
    const F4 topPairs = Splat<F4>(static_cast<float>(p.topPairs));
    for (int i = 0; i < span / 2; i += 4) {
        F4 weight = Load<F4>(p.pairWeights + i);
        Place(p, Load<F4>(meanU + i), Load<F4>(meanV + i), &weight, p.meanAt + i, p.meanFu + i,
              p.meanFv + i);
        const F4 level = Load<F4>(levels + i);
        const F4 squared = level * level;
        const F4 brightWeight = weight * squared * squared;
        F4 darkness = one - level;
        darkness = darkness > zero ? darkness : zero;
        const F4 darkWeight = weight * darkness * darkness;
        const I4 top = Splat<F4>(static_cast<float>(i)) + F4{0.0f, 1.0f, 2.0f, 3.0f} < topPairs;
        Store(p.pairWeights + i, weight);
        Store(p.brightWeights + i, brightWeight);
        Store(p.darkWeights + i, darkWeight);
        const F4 greyWeight = weight * Load<F4>(p.greyness + i);
        Store(p.greyness + i, greyWeight);
        totals[kHistGrey] += greyWeight;
        totals[kHistMeans] += weight;
        totals[kHistBright] += brightWeight;
        totals[kHistDark] += darkWeight;
        totals[kHistTop] += top ? weight : zero;
        F4 contrastWeight = Load<F4>(p.contrastWeights + i);
        Place(p, Load<F4>(contrastU + i), Load<F4>(contrastV + i), &contrastWeight,
              p.contrastAt + i, p.contrastFu + i, p.contrastFv + i);
        Store(p.contrastWeights + i, contrastWeight);
        totals[kHistContrast] += contrastWeight;
    }
    // Each pair's weight shared between its four bin centres. The means,
    // bright, dark and grey histograms take a pair at the same place, so
    // they are built interleaved, cell by cell: a pair adds to all four at a
    // cell with one four-lane addition. The top histogram is the means one
    // as it stands after the top pairs, which come first: a copy taken
    // then. Neighbouring pairs mostly fall into the same bins, and each
    // addition would wait for the one before it through memory: the odd
    // pairs go to a second set of histograms, which is added at the end.
    // Every bin receives the same additions in the same order as in the
    // plain form.
    const int n = p.n;
    const int cells = n * n;
    float* interleaved = p.scratch;               // even, odd: 4 n^2 each
    float* contrastSets = p.scratch + 8 * cells;  // even, odd: n^2 each
    float* topSets = p.scratch + 10 * cells;      // even, odd: n^2 each
    std::fill(p.scratch, p.scratch + 10 * cells, 0.0f);
    auto share = [&](int from, int to) {
        for (int j = from; j < to; ++j) {
            const int set = j & 1;
            const float weight = p.pairWeights[j];
            if (weight != 0.0f) {
                const float fu = p.meanFu[j];
                const float fv = p.meanFv[j];
                const float shares[4] = {(1.0f - fu) * (1.0f - fv), (1.0f - fu) * fv,
                                         fu * (1.0f - fv), fu * fv};
                const F4 weights{weight, p.brightWeights[j], p.darkWeights[j], p.greyness[j]};
                float* at = interleaved + set * 4 * cells + 4 * static_cast<int>(p.meanAt[j]);
                const int offsets[4] = {0, 4, 4 * n, 4 * n + 4};
                for (int c = 0; c < 4; ++c) {
                    float* cell = at + offsets[c];
                    Store(cell, Load<F4>(cell) + weights * Splat<F4>(shares[c]));
                }
            }
            const float contrastWeight = p.contrastWeights[j];
            if (contrastWeight != 0.0f) {
                const float fu = p.contrastFu[j];
                const float fv = p.contrastFv[j];
                float* at = contrastSets + set * cells + static_cast<int>(p.contrastAt[j]);
                at[0] += contrastWeight * ((1.0f - fu) * (1.0f - fv));
                at[1] += contrastWeight * ((1.0f - fu) * fv);
                at[n] += contrastWeight * (fu * (1.0f - fv));
                at[n + 1] += contrastWeight * (fu * fv);
            }
        }
    };
    const int topEnd = std::min(p.topPairs, p.pairs);
    share(0, topEnd);
    for (int k = 0; k < 2 * cells; ++k) topSets[k] = interleaved[4 * k];
    share(topEnd, p.pairs);
    // Even plus odd, scaled to sum to 1 (left as they are when nothing fell
    // into them).
    const float* odd = interleaved + 4 * cells;
    float* const out[4] = {p.histograms + kHistMeans * cells, p.histograms + kHistBright * cells,
                           p.histograms + kHistDark * cells, p.histograms + kHistGrey * cells};
    for (int k = 0; k < cells; k += 4) {
        // Four cells of four histograms each, transposed into four cells of
        // each histogram.
        F4 v[4];
        for (int c = 0; c < 4; ++c) {
            v[c] = Load<F4>(interleaved + 4 * (k + c)) + Load<F4>(odd + 4 * (k + c));
        }
        const F4 low01 = __builtin_shufflevector(v[0], v[1], 0, 4, 1, 5);
        const F4 high01 = __builtin_shufflevector(v[0], v[1], 2, 6, 3, 7);
        const F4 low23 = __builtin_shufflevector(v[2], v[3], 0, 4, 1, 5);
        const F4 high23 = __builtin_shufflevector(v[2], v[3], 2, 6, 3, 7);
        Store(out[0] + k, __builtin_shufflevector(low01, low23, 0, 1, 4, 5));
        Store(out[1] + k, __builtin_shufflevector(low01, low23, 2, 3, 6, 7));
        Store(out[2] + k, __builtin_shufflevector(high01, high23, 0, 1, 4, 5));
        Store(out[3] + k, __builtin_shufflevector(high01, high23, 2, 3, 6, 7));
        Store(p.histograms + kHistContrast * cells + k,
              Load<F4>(contrastSets + k) + Load<F4>(contrastSets + cells + k));
        Store(p.histograms + kHistTop * cells + k,
              Load<F4>(topSets + k) + Load<F4>(topSets + cells + k));
    }
    for (int h = 0; h < kLearnedHistograms; ++h) {
        const F4 v = totals[h];
        const float total = (v[0] + v[1]) + (v[2] + v[3]);
        if (!(total > 0.0f)) continue;
        const float scale = 1.0f / total;
        float* hist = p.histograms + h * cells;
        for (int k = 0; k < cells; ++k) hist[k] *= scale;
    }
}

void SoftmaxInLanes(float* z, int cells) {
    F4 peaks = Load<F4>(z);
    for (int k = 4; k < cells; k += 4) {
        const F4 value = Load<F4>(z + k);
        peaks = value > peaks ? value : peaks;
    }
    const F4 peak = Splat<F4>(std::max(std::max(peaks[0], peaks[1]), std::max(peaks[2], peaks[3])));
    for (int k = 0; k < cells; k += 4) Store(z + k, FastNegExpLanes(peak - Load<F4>(z + k)));
}

}  // namespace Awb
}  // namespace Vireo
