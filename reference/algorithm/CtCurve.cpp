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
    CurveBand& band = curve.band;
    const CurveNode& first = curve.nodes.front();
    const CurveNode& last = curve.nodes.back();
    const float chord = std::hypot(last.u - first.u, last.v - first.v);
    band.originU = first.u;
    band.originV = first.v;
    band.unitU = chord < kDegenerateLength ? 1.0f : (last.u - first.u) / chord;
    band.unitV = chord < kDegenerateLength ? 0.0f : (last.v - first.v) / chord;
    band.alongMin = band.alongMax = band.acrossMin = band.acrossMax = 0.0f;
    for (const CurveNode& node : curve.nodes) {
        const float du = node.u - first.u;
        const float dv = node.v - first.v;
        const float x = du * band.unitU + dv * band.unitV;
        const float y = dv * band.unitU - du * band.unitV;
        band.alongMin = std::min(band.alongMin, x);
        band.alongMax = std::max(band.alongMax, x);
        band.acrossMin = std::min(band.acrossMin, y);
        band.acrossMax = std::max(band.acrossMax, y);
    }
    return curve;
}

void IndexSegments(float reach, CtCurve* curve) {
    constexpr int kSlices = 64;
    SegmentIndex& index = curve->index;
    const CurveBand& band = curve->band;
    const auto chordOf = [&band](const CurveNode& node) {
        return (node.u - band.originU) * band.unitU + (node.v - band.originV) * band.unitV;
    };
    index.reach = reach;
    index.alongLow = band.alongMin - reach;
    index.alongHigh = band.alongMax + reach;
    index.acrossLow = band.acrossMin - reach;
    index.acrossHigh = band.acrossMax + reach;
    index.origin = band.alongMin - reach;
    const float span = band.alongMax - band.alongMin + 2.0f * reach;
    index.scale = span > 0.0f ? static_cast<float>(kSlices) / span : 0.0f;
    index.first.assign(kSlices, 0);
    index.last.assign(kSlices, 0);
    const size_t segments = curve->segments.size();
    for (int slice = 0; slice < kSlices; ++slice) {
        // Every chord coordinate that may fall into this slice, widened by
        // reach; the end slices also take what lies beyond the band.
        const float sliceLow = slice == 0 ? -INFINITY : index.origin + slice / index.scale;
        const float sliceHigh =
            slice == kSlices - 1 ? INFINITY : index.origin + (slice + 1) / index.scale;
        int first = static_cast<int>(segments);
        int last = -1;
        for (size_t k = 0; k < segments; ++k) {
            const float a = chordOf(curve->nodes[k]);
            const float b = chordOf(curve->nodes[k + 1]);
            if (std::max(a, b) >= sliceLow - reach && std::min(a, b) <= sliceHigh + reach) {
                first = std::min(first, static_cast<int>(k));
                last = static_cast<int>(k);
            }
        }
        if (last < 0) {  // no segment near: any will do, the point is far
            first = 0;
            last = 0;
        }
        index.first[slice] = static_cast<uint8_t>(first);
        index.last[slice] = static_cast<uint8_t>(last);
    }
    // Monotone envelopes: first[s] = min over slices from s on, last[s] =
    // max over slices up to s.
    for (int slice = kSlices - 2; slice >= 0; --slice) {
        index.first[slice] = std::min(index.first[slice], index.first[slice + 1]);
    }
    for (int slice = 1; slice < kSlices; ++slice) {
        index.last[slice] = std::max(index.last[slice], index.last[slice - 1]);
    }
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
