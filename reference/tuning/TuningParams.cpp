#include "TuningParams.h"

#include <cmath>
#include <cstdio>

namespace Vireo {
namespace Tuning {

namespace {

bool InRange(float value, float low, float high) {
    return std::isfinite(value) && value >= low && value <= high;
}

std::string OutOfRange(const char* key, float value, const char* range) {
    char line[160];
    std::snprintf(line, sizeof line, "%s is %g, outside %s", key, static_cast<double>(value),
                  range);
    return line;
}

// The curve as the algorithm walks it, in log chromaticity: every segment
// must have a length (points on one chromaticity leave no direction to
// project onto), and the points must advance along the chord from the first
// to the last (a curve that turns back gives two CTs to one chromaticity).
std::string ValidateCurveShape(const std::vector<CurvePoint>& curve) {
    constexpr double kMinimumStep = 1e-3;
    const auto u = [](const CurvePoint& p) { return std::log(static_cast<double>(p.rOverG)); };
    const auto v = [](const CurvePoint& p) { return std::log(static_cast<double>(p.bOverG)); };
    const double chordU = u(curve.back()) - u(curve.front());
    const double chordV = v(curve.back()) - v(curve.front());
    char line[200];
    for (size_t i = 1; i < curve.size(); ++i) {
        const double du = u(curve[i]) - u(curve[i - 1]), dv = v(curve[i]) - v(curve[i - 1]);
        if (std::hypot(du, dv) < kMinimumStep) {
            std::snprintf(line, sizeof line,
                          "ct_curve points %zu and %zu (%g K, %g K) share one chromaticity", i,
                          i + 1, static_cast<double>(curve[i - 1].ct),
                          static_cast<double>(curve[i].ct));
            return line;
        }
        if (!(du * chordU + dv * chordV > 0.0)) {
            std::snprintf(line, sizeof line,
                          "ct_curve point %zu (%g K) turns back: the points must advance from "
                          "the first towards the last",
                          i + 1, static_cast<double>(curve[i].ct));
            return line;
        }
    }
    return {};
}

std::string ValidatePrior(const char* key, const std::vector<PriorPoint>& prior) {
    if (prior.empty() || prior.size() > kMaxPriorPoints) {
        return std::string(key) + " needs 1 to 32 points";
    }
    for (size_t i = 0; i < prior.size(); ++i) {
        if (!InRange(prior[i].ct, 1000.0f, 20000.0f)) {
            return OutOfRange(key, prior[i].ct, "the CT range 1000..20000 K");
        }
        if (i > 0 && !(prior[i].ct > prior[i - 1].ct)) {
            return std::string(key) + " CTs must be strictly ascending";
        }
        if (!InRange(prior[i].weight, 1e-30f, 1000.0f) || prior[i].weight <= 0.0f) {
            return OutOfRange(key, prior[i].weight, "the weight range (0, 1000]");
        }
    }
    return {};
}

}  // namespace

bool operator==(const TuningParams& a, const TuningParams& b) {
    auto samePrior = [](const std::vector<PriorPoint>& x, const std::vector<PriorPoint>& y) {
        if (x.size() != y.size()) return false;
        for (size_t i = 0; i < x.size(); ++i) {
            if (x[i].ct != y[i].ct || x[i].weight != y[i].weight) return false;
        }
        return true;
    };
    if (a.ctCurve.size() != b.ctCurve.size()) return false;
    for (size_t i = 0; i < a.ctCurve.size(); ++i) {
        const CurvePoint& p = a.ctCurve[i];
        const CurvePoint& q = b.ctCurve[i];
        if (p.ct != q.ct || p.rOverG != q.rOverG || p.bOverG != q.bOverG) return false;
    }
    return a.mode == b.mode && a.greyZoneWidth == b.greyZoneWidth && a.defaultCt == b.defaultCt &&
           a.darkFraction == b.darkFraction && a.saturationFraction == b.saturationFraction &&
           a.likelihoodSigma == b.likelihoodSigma && a.likelihoodStrength == b.likelihoodStrength &&
           a.likelihoodFloor == b.likelihoodFloor && a.transverseLimit == b.transverseLimit &&
           a.luxIndexOutdoor == b.luxIndexOutdoor && a.luxIndexIndoor == b.luxIndexIndoor &&
           samePrior(a.priorOutdoor, b.priorOutdoor) && samePrior(a.priorIndoor, b.priorIndoor);
}

std::string Validate(const TuningParams& p) {
    if (p.mode != AwbMode::Bayes && p.mode != AwbMode::GreyWorld) {
        return "mode must be bayes or grey_world";
    }
    if (p.ctCurve.size() < 2 || p.ctCurve.size() > kMaxCurvePoints) {
        return "ct_curve needs 2 to 32 points";
    }
    for (size_t i = 0; i < p.ctCurve.size(); ++i) {
        const CurvePoint& point = p.ctCurve[i];
        if (!InRange(point.ct, 1000.0f, 20000.0f)) {
            return OutOfRange("ct_curve CT", point.ct, "1000..20000 K");
        }
        if (i > 0 && !(point.ct > p.ctCurve[i - 1].ct)) {
            return "ct_curve CTs must be strictly ascending";
        }
        if (!InRange(point.rOverG, 1e-6f, 16.0f) || !InRange(point.bOverG, 1e-6f, 16.0f)) {
            return "ct_curve ratios must lie in (0, 16]";
        }
    }
    if (std::string shape = ValidateCurveShape(p.ctCurve); !shape.empty()) return shape;
    if (!InRange(p.greyZoneWidth, 1e-6f, 1.0f)) {
        return OutOfRange("grey_zone_width", p.greyZoneWidth, "(0, 1]");
    }
    if (!InRange(p.defaultCt, p.ctCurve.front().ct, p.ctCurve.back().ct)) {
        return OutOfRange("default_ct", p.defaultCt, "the CT range of ct_curve");
    }
    if (!InRange(p.darkFraction, 0.0f, 0.999999f)) {
        return OutOfRange("dark_fraction", p.darkFraction, "[0, 1)");
    }
    if (!InRange(p.saturationFraction, 1e-6f, 1.0f)) {
        return OutOfRange("saturation_fraction", p.saturationFraction, "(0, 1]");
    }
    if (!InRange(p.likelihoodSigma, 0.001f, 0.5f)) {
        return OutOfRange("likelihood_sigma", p.likelihoodSigma, "[0.001, 0.5]");
    }
    if (!InRange(p.likelihoodStrength, 1e-6f, 100.0f)) {
        return OutOfRange("likelihood_strength", p.likelihoodStrength, "(0, 100]");
    }
    if (!InRange(p.likelihoodFloor, 1e-9f, 1.0f)) {
        return OutOfRange("likelihood_floor", p.likelihoodFloor, "(0, 1]");
    }
    if (!InRange(p.transverseLimit, 0.0f, 1.0f)) {
        return OutOfRange("transverse_limit", p.transverseLimit, "[0, 1]");
    }
    if (!InRange(p.luxIndexOutdoor, 0.0f, 1e6f) || !InRange(p.luxIndexIndoor, 0.0f, 1e6f) ||
        !(p.luxIndexOutdoor < p.luxIndexIndoor)) {
        return "lux_index_outdoor must be >= 0 and below lux_index_indoor";
    }
    std::string prior = ValidatePrior("prior_outdoor", p.priorOutdoor);
    if (prior.empty()) prior = ValidatePrior("prior_indoor", p.priorIndoor);
    return prior;
}

}  // namespace Tuning
}  // namespace Vireo
