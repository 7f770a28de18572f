#include "Illuminants.h"

#include <cmath>
#include <iterator>

#include "ReferenceCurves.h"

namespace Vireo::Datagen {
namespace {

Spectrum Band(double peakNm, double fwhmNm) {
    const double sigma = fwhmNm / 2.3548;
    Spectrum s;
    for (int i = 0; i < kBandCount; ++i) {
        const double t = (BandNm(i) - peakNm) / sigma;
        s[i] = std::exp(-0.5 * t * t);
    }
    return s;
}

Spectrum Add(const Spectrum& a, double wa, const Spectrum& b, double wb) {
    Spectrum s;
    for (int i = 0; i < kBandCount; ++i) s[i] = wa * a[i] + wb * b[i];
    return s;
}

// Balances base + p * first + q * second (p, q >= 0) so that its
// chromaticity lands on the Planckian locus at the given temperature, by
// Newton steps on the two weights.
Spectrum Balance(const Spectrum& base, const Spectrum& first, const Spectrum& second,
                 double kelvin) {
    const Chromaticity target = ToChromaticity(ToXyz(Planckian(kelvin)));
    double p = 1.0, q = 1.0;
    auto error = [&](double pp, double qq) {
        const Chromaticity c =
            ToChromaticity(ToXyz(Add(Add(base, 1.0, first, pp), 1.0, second, qq)));
        return Chromaticity{c.x - target.x, c.y - target.y};
    };
    for (int iter = 0; iter < 30; ++iter) {
        const Chromaticity e = error(p, q);
        const double h = 1e-4;
        const Chromaticity ep = error(p * (1 + h), q), eq = error(p, q * (1 + h));
        const double a = (ep.x - e.x) / (p * h), b = (eq.x - e.x) / (q * h);
        const double c = (ep.y - e.y) / (p * h), d = (eq.y - e.y) / (q * h);
        const double det = a * d - b * c;
        if (std::fabs(det) < 1e-15) break;
        const double dp = (d * e.x - b * e.y) / det, dq = (a * e.y - c * e.x) / det;
        // Damped so that a weight never goes negative.
        p = std::max(p * 0.2, p - dp);
        q = std::max(q * 0.2, q - dq);
        if (std::fabs(e.x) + std::fabs(e.y) < 1e-7) break;
    }
    return Add(Add(base, 1.0, first, p), 1.0, second, q);
}

}  // namespace

const char* LightKindName(LightKind kind) {
    switch (kind) {
        case LightKind::Planckian:
            return "planckian";
        case LightKind::Daylight:
            return "daylight";
        case LightKind::Fluorescent:
            return "fluorescent";
        case LightKind::Led:
            return "led";
        case LightKind::Mixed:
            return "mixed";
    }
    return "unknown";
}

Light MakeLight(std::string name, LightKind kind, const Spectrum& spectrum) {
    Light light;
    light.name = std::move(name);
    light.kind = kind;
    light.spectrum = WithLuminance(spectrum, 1.0);
    light.cct = CorrelatedColorTemperature(ToChromaticity(ToXyz(light.spectrum)), &light.duv);
    return light;
}

Light PlanckianLight(double kelvin, const std::string& name) {
    return MakeLight(name, LightKind::Planckian, Planckian(kelvin));
}

Light DaylightLight(double kelvin, const std::string& name) {
    return MakeLight(name, LightKind::Daylight, Daylight(kelvin));
}

Light MeasuredTube(const std::string& tube) {
    using namespace Tables;
    if (tube == "F1")
        return MakeLight("F1", LightKind::Fluorescent,
                         Resample(kTubeF1, std::size(kTubeF1), 380, 5));
    if (tube == "F5")
        return MakeLight("F5", LightKind::Fluorescent,
                         Resample(kTubeF5, std::size(kTubeF5), 380, 5));
    if (tube == "F8")
        return MakeLight("F8", LightKind::Fluorescent,
                         Resample(kTubeF8, std::size(kTubeF8), 380, 5));
    if (tube == "Office")
        return MakeLight("Office", LightKind::Fluorescent,
                         Resample(kTubeOffice, std::size(kTubeOffice), 355, 5));
    if (tube == "Triband")
        return MakeLight("Triband", LightKind::Fluorescent,
                         Resample(kTubeTriband, std::size(kTubeTriband), 350, 10.0 / 3.0));
    return Light{};
}

Light TriphosphorTube(double kelvin, const std::string& name) {
    // Mercury lines and the terbium green phosphor stay fixed; the europium
    // red and the barium-magnesium-aluminate blue are balanced.
    Spectrum base = Add(Band(404.7, 3), 0.3, Band(435.8, 3), 0.9);
    base = Add(base, 1.0, Band(546.1, 3), 0.8);
    base = Add(base, 1.0, Band(543.0, 12), 1.0);
    base = Add(base, 1.0, Band(578.0, 4), 0.15);
    const Spectrum red = Add(Band(611.0, 6), 1.0, Band(595.0, 30), 0.15);
    const Spectrum blue = Band(450.0, 50);
    return MakeLight(name, LightKind::Fluorescent, Balance(base, red, blue, kelvin));
}

Light WhiteLed(double kelvin, const std::string& name) {
    const Spectrum yellow = Band(560.0, 115);
    const Spectrum blue = Band(452.0, 22);
    const Spectrum red = Band(630.0, 85);
    return MakeLight(name, LightKind::Led, Balance(yellow, blue, red, kelvin));
}

Light MixLights(const Light& a, double weightA, const Light& b, double weightB,
                const std::string& name) {
    return MakeLight(name, LightKind::Mixed, Add(a.spectrum, weightA, b.spectrum, weightB));
}

}  // namespace Vireo::Datagen
