#include "WavelengthGrid.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "ReferenceCurves.h"

namespace Vireo::Datagen {
namespace {

// One lobe of the multi-lobe observer fit: a Gaussian with separate widths
// left and right of its peak.
double Lobe(double nm, double peak, double widthBelow, double widthAbove) {
    const double t = (nm - peak) / (nm < peak ? widthBelow : widthAbove);
    return std::exp(-0.5 * t * t);
}

std::array<Spectrum, 3> MakeColorMatchingFunctions() {
    std::array<Spectrum, 3> cmf{};
    for (int i = 0; i < kBandCount; ++i) {
        const double nm = BandNm(i);
        cmf[0][i] = 1.056 * Lobe(nm, 599.8, 37.9, 31.0) + 0.362 * Lobe(nm, 442.0, 16.0, 26.7) -
                    0.065 * Lobe(nm, 501.1, 20.4, 26.2);
        cmf[1][i] = 0.821 * Lobe(nm, 568.8, 46.9, 40.5) + 0.286 * Lobe(nm, 530.9, 16.3, 31.1);
        cmf[2][i] = 1.217 * Lobe(nm, 437.0, 11.8, 36.0) + 0.681 * Lobe(nm, 459.0, 26.0, 13.8);
    }
    return cmf;
}

struct UV {
    double u, v;
};

UV ToUV(const Chromaticity& c) {
    const double d = -2.0 * c.x + 12.0 * c.y + 3.0;
    return {4.0 * c.x / d, 6.0 * c.y / d};
}

// The Planckian locus in uv, tabulated once per mired step from 1 to 1000
// (1,000,000 K down to 1000 K); the search refines between table entries.
constexpr int kMiredMax = 1000;

UV PlanckianUV(double mired) { return ToUV(ToChromaticity(ToXyz(Planckian(1e6 / mired)))); }

const std::vector<UV>& LocusTable() {
    static const std::vector<UV> table = [] {
        std::vector<UV> t(kMiredMax + 1);
        t[0] = PlanckianUV(0.5);
        for (int m = 1; m <= kMiredMax; ++m) t[m] = PlanckianUV(m);
        return t;
    }();
    return table;
}

double Distance2(const UV& a, const UV& b) {
    return (a.u - b.u) * (a.u - b.u) + (a.v - b.v) * (a.v - b.v);
}

}  // namespace

const std::array<Spectrum, 3>& ColorMatchingFunctions() {
    static const std::array<Spectrum, 3> cmf = MakeColorMatchingFunctions();
    return cmf;
}

Xyz ToXyz(const Spectrum& light) {
    const auto& cmf = ColorMatchingFunctions();
    Xyz xyz;
    for (int i = 0; i < kBandCount; ++i) {
        xyz.x += light[i] * cmf[0][i];
        xyz.y += light[i] * cmf[1][i];
        xyz.z += light[i] * cmf[2][i];
    }
    return xyz;
}

Xyz ToXyz(const Spectrum& light, const Spectrum& reflectance) {
    Spectrum reflected;
    for (int i = 0; i < kBandCount; ++i) reflected[i] = light[i] * reflectance[i];
    return ToXyz(reflected);
}

Chromaticity ToChromaticity(const Xyz& xyz) {
    const double sum = xyz.x + xyz.y + xyz.z;
    if (sum <= 0.0) return {1.0 / 3.0, 1.0 / 3.0};
    return {xyz.x / sum, xyz.y / sum};
}

Spectrum Planckian(double kelvin) {
    // Second radiation constant in nm K; the first constant only scales.
    constexpr double c2 = 1.4388e7;
    Spectrum s;
    for (int i = 0; i < kBandCount; ++i) {
        const double nm = BandNm(i);
        s[i] = 1.0 / (std::pow(nm / 560.0, 5.0) * std::expm1(c2 / (nm * kelvin)));
    }
    return s;
}

Spectrum Daylight(double kelvin) {
    const double t = std::clamp(kelvin, 4000.0, 25000.0);
    const double t2 = t * t, t3 = t2 * t;
    const double xd = t <= 7000.0 ? -4.6070e9 / t3 + 2.9678e6 / t2 + 0.09911e3 / t + 0.244063
                                  : -2.0064e9 / t3 + 1.9018e6 / t2 + 0.24748e3 / t + 0.237040;
    const double yd = -3.000 * xd * xd + 2.870 * xd - 0.275;
    const double m = 0.0241 + 0.2562 * xd - 0.7341 * yd;
    const double m1 = (-1.3515 - 1.7703 * xd + 5.9114 * yd) / m;
    const double m2 = (0.0300 - 31.4424 * xd + 30.0717 * yd) / m;
    Spectrum s;
    for (int i = 0; i < kBandCount; ++i) {
        // The basis is tabulated every 10 nm: every other band lies between.
        const int lo = i / 2, hi = std::min(lo + (i % 2), Tables::kDaylightCount - 1);
        auto at = [&](int k) {
            return Tables::kDaylightS0[k] + m1 * Tables::kDaylightS1[k] +
                   m2 * Tables::kDaylightS2[k];
        };
        s[i] = 0.5 * (at(lo) + at(hi));
    }
    return s;
}

Spectrum Resample(const double* values, std::size_t count, double firstNm, double stepNm) {
    Spectrum s{};
    if (count == 0) return s;
    const double lastNm = firstNm + stepNm * static_cast<double>(count - 1);
    for (int i = 0; i < kBandCount; ++i) {
        // Average the linear interpolant over the band by sampling it finely.
        constexpr int kSubSamples = 20;
        double sum = 0.0;
        for (int k = 0; k < kSubSamples; ++k) {
            const double nm = BandNm(i) - 0.5 * kStepNm + kStepNm * (k + 0.5) / kSubSamples;
            if (nm < firstNm || nm > lastNm) continue;
            const double pos = (nm - firstNm) / stepNm;
            const std::size_t j = std::min(static_cast<std::size_t>(pos), count - 1);
            const double f = pos - static_cast<double>(j);
            sum += j + 1 < count ? values[j] * (1.0 - f) + values[j + 1] * f : values[j];
        }
        s[i] = std::max(0.0, sum / kSubSamples);
    }
    return s;
}

double CorrelatedColorTemperature(const Chromaticity& xy, double* duv) {
    const UV p = ToUV(xy);
    const auto& table = LocusTable();
    int best = 1;
    for (int m = 1; m <= kMiredMax; ++m)
        if (Distance2(p, table[m]) < Distance2(p, table[best])) best = m;
    // Golden-section search between the neighbours of the best table entry.
    double lo = std::max(0.5, best - 1.0), hi = std::min<double>(kMiredMax, best + 1.0);
    const double g = (std::sqrt(5.0) - 1.0) / 2.0;
    double a = hi - g * (hi - lo), b = lo + g * (hi - lo);
    double fa = Distance2(p, PlanckianUV(a)), fb = Distance2(p, PlanckianUV(b));
    for (int iter = 0; iter < 40; ++iter) {
        if (fa < fb) {
            hi = b, b = a, fb = fa;
            a = hi - g * (hi - lo);
            fa = Distance2(p, PlanckianUV(a));
        } else {
            lo = a, a = b, fa = fb;
            b = lo + g * (hi - lo);
            fb = Distance2(p, PlanckianUV(b));
        }
    }
    const double mired = 0.5 * (lo + hi);
    if (duv != nullptr) {
        const UV q = PlanckianUV(mired);
        *duv = std::copysign(std::sqrt(Distance2(p, q)), p.v - q.v);
    }
    return 1e6 / mired;
}

Spectrum WithLuminance(const Spectrum& light, double y) {
    const double current = ToXyz(light).y;
    Spectrum s = light;
    if (current <= 0.0) return s;
    for (double& v : s) v *= y / current;
    return s;
}

}  // namespace Vireo::Datagen
