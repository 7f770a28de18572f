#include "TuningParams.h"

#include <cmath>
#include <cstdio>

namespace Vireo {
namespace Tuning {

namespace {

bool InRange(float value, float low, float high) {
    return std::isfinite(value) && value >= low && value <= high;
}

bool InRange(float value, const ScalarKey& key) {
    return std::isfinite(value) && (key.lowOpen ? value > key.low : value >= key.low) &&
           (key.highOpen ? value < key.high : value <= key.high);
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

std::string ValidateLearned(const LearnedModel& m) {
    if (m.bins == 0) {
        for (const LearnedMapKey& key : kLearnedMapKeys) {
            if (!(m.*key.member).empty()) return "learned maps given without learned bins";
        }
        return {};
    }
    if (m.bins < kMinLearnedBins || m.bins > kMaxLearnedBins || (m.bins & (m.bins - 1)) != 0) {
        return "learned bins must be 8, 16, 32 or 64";
    }
    if (!InRange(m.binWidth, 1e-4f, 1.0f)) {
        return OutOfRange("learned bin_width", m.binWidth, "[0.0001, 1]");
    }
    if (!InRange(m.uStart, -16.0f, 16.0f) || !InRange(m.vStart, -16.0f, 16.0f)) {
        return "learned u_start and v_start must lie in [-16, 16]";
    }
    const size_t cells = static_cast<size_t>(m.bins) * m.bins;
    if (m.filterDark.empty() != m.filterTop.empty()) {
        return "learned filter_dark and filter_top come together or not at all";
    }
    if (!m.filterGrey.empty() && m.filterTop.empty()) {
        return "learned filter_grey needs filter_dark and filter_top";
    }
    for (const LearnedMapKey& key : kLearnedMapKeys) {
        const std::vector<float>& map = m.*key.member;
        if (map.empty() && key.sinceVersion > 2) continue;
        if (map.size() != cells) return "learned maps must hold bins x bins values each";
        for (float value : map) {
            if (!InRange(value, -1e6f, 1e6f)) return "learned map values must be finite";
        }
    }
    return {};
}

}  // namespace

TuningParams::TuningParams() {
    for (const ScalarKey& key : kScalarKeys) this->*key.member = key.defaultValue;
}

std::string RangeText(const ScalarKey& key) {
    // Seven digits show every float of the table as written there.
    char text[64];
    std::snprintf(text, sizeof text, "%c%.7g, %.7g%c", key.lowOpen ? '(' : '[',
                  static_cast<double>(key.low), static_cast<double>(key.high),
                  key.highOpen ? ')' : ']');
    return text;
}

bool operator==(const LearnedModel& a, const LearnedModel& b) {
    for (const LearnedMapKey& key : kLearnedMapKeys) {
        if (a.*key.member != b.*key.member) return false;
    }
    return a.bins == b.bins && a.binWidth == b.binWidth && a.uStart == b.uStart &&
           a.vStart == b.vStart;
}

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
    for (const ScalarKey& key : kScalarKeys) {
        if (a.*key.member != b.*key.member) return false;
    }
    return a.mode == b.mode && samePrior(a.priorOutdoor, b.priorOutdoor) &&
           samePrior(a.priorIndoor, b.priorIndoor) && a.learned == b.learned;
}

std::string Validate(const TuningParams& p) {
    if (p.mode != AwbMode::Bayes && p.mode != AwbMode::GreyWorld && p.mode != AwbMode::Learned) {
        return "mode must be bayes, grey_world or learned";
    }
    if (p.mode == AwbMode::Learned && p.learned.bins == 0) {
        return "mode learned needs a learned model (vireo-tune learn makes one)";
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
    for (const ScalarKey& key : kScalarKeys) {
        if (!InRange(p.*key.member, key)) {
            return OutOfRange(key.name, p.*key.member, RangeText(key).c_str());
        }
    }
    if (!(p.defaultCt >= p.ctCurve.front().ct && p.defaultCt <= p.ctCurve.back().ct)) {
        return OutOfRange("default_ct", p.defaultCt, "the CT range of ct_curve");
    }
    if (!(p.luxIndexOutdoor < p.luxIndexIndoor)) {
        return "lux_index_outdoor must be below lux_index_indoor";
    }
    std::string prior = ValidatePrior(kPriorOutdoorKey, p.priorOutdoor);
    if (prior.empty()) prior = ValidatePrior(kPriorIndoorKey, p.priorIndoor);
    if (prior.empty()) prior = ValidateLearned(p.learned);
    return prior;
}

}  // namespace Tuning
}  // namespace Vireo
