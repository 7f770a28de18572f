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

struct CtCurve {
    std::vector<CurveNode> nodes;  // at least two
    std::vector<CurveSegment> segments;
    float length = 0.0f;
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

// Project for n points at once, into arrays: arc length, squared distance,
// and a value whose sign is the side. Four points at a time in vector
// registers (GCC/Clang vector extensions, so SSE and NEON alike); the arrays
// must have room for n rounded up to a multiple of four.
inline void ProjectAll(const CtCurve& curve, const float* u, const float* v, uint32_t n,
                       float* along, float* squared, float* side) {
    typedef float Float4 __attribute__((vector_size(16)));
    const Float4 zero = {0.0f, 0.0f, 0.0f, 0.0f};
    for (uint32_t i = 0; i < n; i += 4) {
        Float4 pu;
        Float4 pv;
        std::memcpy(&pu, u + i, sizeof pu);
        std::memcpy(&pv, v + i, sizeof pv);
        Float4 best = {INFINITY, INFINITY, INFINITY, INFINITY};
        Float4 bestAlong = zero;
        Float4 bestSide = zero;
        for (const CurveSegment& g : curve.segments) {
            // In the segment's frame: x along it from its start, y across.
            const Float4 x = pu * g.unitU + pv * g.unitV - g.startAlong;
            const Float4 y = pv * g.unitU - pu * g.unitV - g.startAcross;
            const Float4 length = zero + g.length;
            Float4 onSegment = x < zero ? zero : x;
            onSegment = onSegment > length ? length : onSegment;
            const Float4 beyond = x - onSegment;
            const Float4 candidate = beyond * beyond + y * y;
            const auto closer = candidate < best;
            bestAlong = closer ? g.s + onSegment : bestAlong;
            bestSide = closer ? y : bestSide;
            best = closer ? candidate : best;
        }
        std::memcpy(along + i, &bestAlong, sizeof bestAlong);
        std::memcpy(squared + i, &best, sizeof best);
        std::memcpy(side + i, &bestSide, sizeof bestSide);
    }
}

// s is clamped to [0, length].
CurvePoint2 PointAt(const CtCurve& curve, float s);
// Arc length of the point whose CT is ct (clamped to the curve's range).
float PositionOfCt(const CtCurve& curve, float ct);

}  // namespace Awb
}  // namespace Vireo

#endif  // VIREO_REFERENCE_CT_CURVE_H
