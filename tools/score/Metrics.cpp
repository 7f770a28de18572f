#include "Metrics.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace Vireo::Score {
namespace {

constexpr double kDegreesPerRadian = 57.29577951308232;

bool PositiveFinite(double v) { return std::isfinite(v) && v > 0.0; }

double Quantile(const std::vector<double>& sorted, double p) {
    const double pos = p * static_cast<double>(sorted.size() - 1);
    const auto lo = static_cast<std::size_t>(pos);
    const std::size_t hi = std::min(lo + 1, sorted.size() - 1);
    return sorted[lo] + (pos - static_cast<double>(lo)) * (sorted[hi] - sorted[lo]);
}

}  // namespace

double AngularError(double rg1, double bg1, double rg2, double bg2) {
    const double dot = rg1 * rg2 + 1.0 + bg1 * bg2;
    const double n1 = std::sqrt(rg1 * rg1 + 1.0 + bg1 * bg1),
                 n2 = std::sqrt(rg2 * rg2 + 1.0 + bg2 * bg2);
    return std::acos(std::clamp(dot / (n1 * n2), -1.0, 1.0)) * kDegreesPerRadian;
}

double AngularErrorFromGains(double rGain, double gGain, double bGain, double rOverG,
                             double bOverG) {
    if (!PositiveFinite(rGain) || !PositiveFinite(gGain) || !PositiveFinite(bGain)) return 180.0;
    return AngularError(gGain / rGain, gGain / bGain, rOverG, bOverG);
}

double MiredError(double estimatedKelvin, double trueKelvin) {
    const double truth = 1e6 / trueKelvin;
    if (!PositiveFinite(estimatedKelvin)) return std::fabs(1000.0 - truth);
    return std::fabs(1e6 / estimatedKelvin - truth);
}

Summary Summarise(std::vector<double> v) {
    Summary s;
    s.count = static_cast<int>(v.size());
    if (v.empty()) return s;
    std::sort(v.begin(), v.end());
    s.mean = std::accumulate(v.begin(), v.end(), 0.0) / static_cast<double>(v.size());
    s.median = Quantile(v, 0.5);
    s.trimean = 0.25 * (Quantile(v, 0.25) + 2.0 * s.median + Quantile(v, 0.75));
    const std::size_t quarter = std::max<std::size_t>(1, v.size() / 4);
    s.best25 = std::accumulate(v.begin(), v.begin() + static_cast<long>(quarter), 0.0) /
               static_cast<double>(quarter);
    s.worst25 = std::accumulate(v.end() - static_cast<long>(quarter), v.end(), 0.0) /
                static_cast<double>(quarter);
    return s;
}

}  // namespace Vireo::Score
