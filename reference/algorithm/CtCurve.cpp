#include "CtCurve.h"

#include <algorithm>
#include <cmath>

namespace Vireo {
namespace Awb {

namespace {

// Segments shorter than this carry no direction; they only hand the CT on.
constexpr float kDegenerateLength = 1e-7f;

size_t SegmentAt(const CtCurve& curve, float s) {
    size_t k = 0;
    while (k + 2 < curve.nodes.size() && s > curve.nodes[k + 1].s) ++k;
    return k;
}

}  // namespace

CtCurve BuildCurve(const std::vector<Tuning::CurvePoint>& points) {
    CtCurve curve;
    float s = 0.0f;
    for (const Tuning::CurvePoint& point : points) {
        CurveNode node{std::log(point.rOverG), std::log(point.bOverG), 1e6f / point.ct, 0.0f};
        if (!curve.nodes.empty()) {
            const CurveNode& last = curve.nodes.back();
            s += std::hypot(node.u - last.u, node.v - last.v);
        }
        node.s = s;
        curve.nodes.push_back(node);
    }
    curve.length = s;
    for (size_t k = 0; k + 1 < curve.nodes.size(); ++k) {
        const CurveNode& a = curve.nodes[k];
        const CurveNode& b = curve.nodes[k + 1];
        const float length = b.s - a.s;
        const float inverse = length < kDegenerateLength ? 0.0f : 1.0f / (length * length);
        const float unitU = length < kDegenerateLength ? 1.0f : (b.u - a.u) / length;
        const float unitV = length < kDegenerateLength ? 0.0f : (b.v - a.v) / length;
        curve.segments.push_back({a.u, a.v, b.u - a.u, b.v - a.v, inverse, a.s, length, unitU,
                                  unitV, a.u * unitU + a.v * unitV, a.v * unitU - a.u * unitV});
    }
    return curve;
}

CurvePoint2 PointAt(const CtCurve& curve, float s) {
    s = std::clamp(s, 0.0f, curve.length);
    const size_t k = SegmentAt(curve, s);
    const CurveNode& a = curve.nodes[k];
    const CurveNode& b = curve.nodes[k + 1];
    const float length = b.s - a.s;
    if (length < kDegenerateLength) {
        return {a.u, a.v, 0.0f, 0.0f, a.mired};
    }
    const float t = std::clamp((s - a.s) / length, 0.0f, 1.0f);
    const float du = (b.u - a.u) / length;
    const float dv = (b.v - a.v) / length;
    return {a.u + t * (b.u - a.u), a.v + t * (b.v - a.v), -dv, du,
            a.mired + t * (b.mired - a.mired)};
}

float PositionOfCt(const CtCurve& curve, float ct) {
    // Mired falls as CT rises along the curve.
    const float mired = 1e6f / ct;
    const std::vector<CurveNode>& n = curve.nodes;
    if (mired >= n.front().mired) return 0.0f;
    if (mired <= n.back().mired) return curve.length;
    size_t k = 0;
    while (k + 2 < n.size() && mired < n[k + 1].mired) ++k;
    const float t = (n[k].mired - mired) / (n[k].mired - n[k + 1].mired);
    return n[k].s + t * (n[k + 1].s - n[k].s);
}

}  // namespace Awb
}  // namespace Vireo
