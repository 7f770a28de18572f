// The white locus of the tuning as a polyline in the log-chromaticity plane
// (ln R/G, ln B/G), parametrised by arc length, with the colour temperature
// carried along it in mired.
#ifndef VIREO_REFERENCE_CT_CURVE_H
#define VIREO_REFERENCE_CT_CURVE_H

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

struct CtCurve {
    std::vector<CurveNode> nodes;  // at least two
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
CurvePosition Project(const CtCurve& curve, float u, float v);
// s is clamped to [0, length].
CurvePoint2 PointAt(const CtCurve& curve, float s);
// Arc length of the point whose CT is ct (clamped to the curve's range).
float PositionOfCt(const CtCurve& curve, float ct);

}  // namespace Awb
}  // namespace Vireo

#endif  // VIREO_REFERENCE_CT_CURVE_H
