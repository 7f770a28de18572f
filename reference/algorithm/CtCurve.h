// The white locus of the tuning as a polyline in the log-chromaticity plane
// (ln R/G, ln B/G), parametrised by arc length, with the colour temperature
// carried along it in mired.
#ifndef VIREO_REFERENCE_CT_CURVE_H
#define VIREO_REFERENCE_CT_CURVE_H

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "Lanes.h"
#include "TuningParams.h"

namespace Vireo {
namespace Awb {

struct CurveNode {
    float u;      // ln(R/G)
    float v;      // ln(B/G)
    float mired;  // 1e6 / CT
    float s;      // arc length from the first node
};

// A segment between two nodes, with what projecting onto it needs.
struct CurveSegment {
    float u;
    float v;
    float du;
    float dv;
    float inverseLengthSquared;  // 0 for a segment of no length
    float s;                     // arc length at its start
    float length;
    // Unit direction ((1, 0) for a segment of no length, which then measures
    // the distance to its single point), and where the start
    // lies along it and across it: a point's coordinates in the segment's
    // own frame are then two dot products.
    float unitU;
    float unitV;
    float startAlong;
    float startAcross;
};

// What ProjectLanes needs of a segment, each value already in every lane,
// so the loop over segments loads rather than broadcasts.
struct SegmentLanes {
    Broadcast unitU;
    Broadcast unitV;
    Broadcast startAlong;
    Broadcast startAcross;
    Broadcast length;
    Broadcast s;
};

// The chord from the first node to the last, and the band around it that
// holds the whole curve: coordinates along and across the chord.
struct CurveBand {
    float originU = 0.0f;
    float originV = 0.0f;
    float unitU = 1.0f;
    float unitV = 0.0f;
    float alongMin = 0.0f;
    float alongMax = 0.0f;
    float acrossMin = 0.0f;
    float acrossMax = 0.0f;
};

// The band in vector lanes, with its limits widened by the index's reach,
// kept as data so the test of a group of points reads them straight from
// memory instead of broadcasting each scalar again for every group. The
// defaults hold every point inside.
struct BandLanes {
    Broadcast originU = Broadcasted(0.0f);
    Broadcast originV = Broadcasted(0.0f);
    Broadcast unitU = Broadcasted(1.0f);
    Broadcast unitV = Broadcasted(0.0f);
    Broadcast alongLow = Broadcasted(-INFINITY);
    Broadcast alongHigh = Broadcasted(INFINITY);
    Broadcast acrossLow = Broadcasted(-INFINITY);
    Broadcast acrossHigh = Broadcasted(INFINITY);
};

// For slices of the band along the chord, the segments that can hold the
// nearest curve point of any point in the slice that lies within reach of
// the curve (see IndexSegments). Neither first nor last ever falls
// from one slice to the next, so for points spread over slices a to b the
// segments first[a] to last[b] are enough.
struct SegmentIndex {
    float reach = INFINITY;  // INFINITY: not built, every segment is a candidate
    float origin = 0.0f;     // chord coordinate where slice 0 starts
    float scale = 0.0f;      // slices per unit of chord coordinate
    std::vector<uint8_t> first;
    std::vector<uint8_t> last;
};

struct CtCurve {
    std::vector<CurveNode> nodes;  // at least two
    std::vector<CurveSegment> segments;
    std::vector<SegmentLanes> segmentLanes;  // the same segments, for ProjectLanes
    float length = 0.0f;
    CurveBand band;
    BandLanes bandLanes;  // filled with the index
    SegmentIndex index;
};

// Where a chromaticity lies relative to the curve: the arc length of its
// nearest curve point, and its signed distance from the curve (positive on
// the side the normal (-dv, du) of the segment points to).
struct CurvePosition {
    float s;
    float distance;
};

struct CurvePoint2 {
    float u;
    float v;
    float normalU;
    float normalV;
    float mired;
};

CtCurve BuildCurve(const std::vector<Tuning::CurvePoint>& points);

// Builds the curve's segment index for points within reach. A point P
// within reach of the curve has its nearest curve point Q within reach, so
// Q's chord coordinate lies within reach of P's; only the segments whose
// chord span meets that interval can hold Q.
void IndexSegments(float reach, CtCurve* curve);

// Inline: it runs for every region of every sample.
inline CurvePosition Project(const CtCurve& curve, float u, float v) {
    float bestSquared = INFINITY;
    float bestS = 0.0f;
    float bestSide = 0.0f;
    for (const CurveSegment& g : curve.segments) {
        float t = ((u - g.u) * g.du + (v - g.v) * g.dv) * g.inverseLengthSquared;
        t = t < 0.0f ? 0.0f : (t > 1.0f ? 1.0f : t);
        const float eu = u - (g.u + t * g.du);
        const float ev = v - (g.v + t * g.dv);
        const float squared = eu * eu + ev * ev;
        if (squared < bestSquared) {
            bestSquared = squared;
            bestS = g.s + t * g.length;
            // The side from the segment's normal (-dv, du).
            bestSide = -g.dv * eu + g.du * ev;
        }
    }
    const float distance = std::sqrt(bestSquared);
    return {bestS, bestSide >= 0.0f ? distance : -distance};
}

// Project for a point in every lane at once: arc length, squared distance,
// and a value whose sign is the side.
// Points farther than the index's reach get a squared distance above
// reach^2, not necessarily the exact one.
template <typename F>
VIREO_LANES_INLINE void ProjectLanes(const CtCurve& curve, F pu, F pv, F* along, F* squared,
                                     F* side) {
    typedef MaskOf<F> I;
    const F zero = Splat<F>(0.0f);
    const BandLanes& band = curve.bandLanes;
    const SegmentIndex& index = curve.index;
    F best = Splat<F>(INFINITY);
    F bestAlong = zero;
    F bestSide = zero;
    // Points all farther than reach from the band that holds the curve need
    // no exact answer: coloured regions are cheap.
    const F du = pu - Lanes<F>(band.originU);
    const F dv = pv - Lanes<F>(band.originV);
    const F x = du * Lanes<F>(band.unitU) + dv * Lanes<F>(band.unitV);
    const F y = dv * Lanes<F>(band.unitU) - du * Lanes<F>(band.unitV);
    const I outside = (x < Lanes<F>(band.alongLow)) | (x > Lanes<F>(band.alongHigh)) |
                      (y < Lanes<F>(band.acrossLow)) | (y > Lanes<F>(band.acrossHigh));
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
        for (int k = 1; k < kLanesOf<F>; ++k) {
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
        const SegmentLanes& g = curve.segmentLanes[k];
        const F unitU = Lanes<F>(g.unitU);
        const F unitV = Lanes<F>(g.unitV);
        const F length = Lanes<F>(g.length);
        // In the segment's frame: x along it from its start, y across.
        const F x = pu * unitU + pv * unitV - Lanes<F>(g.startAlong);
        const F y = pv * unitU - pu * unitV - Lanes<F>(g.startAcross);
        F onSegment = x < zero ? zero : x;
        onSegment = onSegment > length ? length : onSegment;
        const F beyond = x - onSegment;
        const F candidate = beyond * beyond + y * y;
        const I closer = candidate < best;
        bestAlong = closer ? Lanes<F>(g.s) + onSegment : bestAlong;
        bestSide = closer ? y : bestSide;
        best = closer ? candidate : best;
    }
    *along = bestAlong;
    *squared = best;
    *side = bestSide;
}

// s is clamped to [0, length].
CurvePoint2 PointAt(const CtCurve& curve, float s);
// Arc length of the point whose CT is ct (clamped to the curve's range).
float PositionOfCt(const CtCurve& curve, float ct);

}  // namespace Awb
}  // namespace Vireo

#endif  // VIREO_REFERENCE_CT_CURVE_H
