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

// For slices of the band along the chord, the segments that can hold the
// nearest curve point of any point in the slice that lies within reach of
// the curve (see IndexSegments). Neither first nor last ever falls
// from one slice to the next, so for points spread over slices a to b the
// segments first[a] to last[b] are enough.
struct SegmentIndex {
    float reach = INFINITY;  // INFINITY: not built, every segment is a candidate
    // The band widened by reach on every side: a point outside it is
    // farther than reach from the curve.
    float alongLow = -INFINITY;
    float alongHigh = INFINITY;
    float acrossLow = -INFINITY;
    float acrossHigh = INFINITY;
    float origin = 0.0f;  // chord coordinate where slice 0 starts
    float scale = 0.0f;   // slices per unit of chord coordinate
    std::vector<uint8_t> first;
    std::vector<uint8_t> last;
};

struct CtCurve {
    std::vector<CurveNode> nodes;  // at least two
    std::vector<CurveSegment> segments;
    float length = 0.0f;
    CurveBand band;
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

// What the vote needs of a point's projection: the arc length of its
// nearest curve point, the squared distance, and a value whose sign is the
// side. Only the segments the index names are tried, so a point farther
// than the index's reach gets a squared distance above reach^2, not
// necessarily the exact one.
struct NearPosition {
    float along;
    float squared;
    float side;
};

// Inline: it runs for every region near the curve of every sample.
inline NearPosition ProjectNear(const CtCurve& curve, float u, float v) {
    const CurveBand& band = curve.band;
    const SegmentIndex& index = curve.index;
    NearPosition best{0.0f, INFINITY, 0.0f};
    // Coordinates along and across the chord; a point outside the widened
    // band is far from the curve and needs no exact answer.
    const float du = u - band.originU;
    const float dv = v - band.originV;
    const float chord = du * band.unitU + dv * band.unitV;
    const float across = dv * band.unitU - du * band.unitV;
    if (chord < index.alongLow || chord > index.alongHigh || across < index.acrossLow ||
        across > index.acrossHigh) {
        return best;
    }
    size_t from = 0;
    size_t to = curve.segments.size();
    const int slices = static_cast<int>(index.first.size());
    if (slices > 0) {
        const float top = static_cast<float>(slices - 1);
        const int slice =
            static_cast<int>(std::min(std::max((chord - index.origin) * index.scale, 0.0f), top));
        from = index.first[slice];
        to = static_cast<size_t>(index.last[slice]) + 1;
    }
    for (size_t k = from; k < to; ++k) {
        const CurveSegment& g = curve.segments[k];
        // In the segment's frame: x along it from its start, y across.
        const float x = u * g.unitU + v * g.unitV - g.startAlong;
        const float y = v * g.unitU - u * g.unitV - g.startAcross;
        const float onSegment = std::min(std::max(x, 0.0f), g.length);
        const float beyond = x - onSegment;
        const float candidate = beyond * beyond + y * y;
        if (candidate < best.squared) best = {g.s + onSegment, candidate, y};
    }
    return best;
}

// s is clamped to [0, length].
CurvePoint2 PointAt(const CtCurve& curve, float s);
// Arc length of the point whose CT is ct (clamped to the curve's range).
float PositionOfCt(const CtCurve& curve, float ct);

}  // namespace Awb
}  // namespace Vireo

#endif  // VIREO_REFERENCE_CT_CURVE_H
