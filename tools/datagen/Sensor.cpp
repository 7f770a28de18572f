#include "Sensor.h"

#include <algorithm>
#include <cmath>

namespace Vireo::Datagen {
namespace {

constexpr double kD50Mired = 1e6 / 5003.0;
constexpr int kSubSamples = 4;  // points per region side used to find what it shows

// Factor of R (which = 0) or B (which = 1) of this module at a temperature.
double ModuleFactor(const Module& m, int which, double kelvin) {
    const double drift = (1e6 / kelvin - kD50Mired) / 100.0;
    return which == 0 ? m.rFactor * (1.0 + m.rSlope * drift) : m.bFactor * (1.0 + m.bSlope * drift);
}

std::array<double, 4> ToChannels(const Rgb& c, const Module& m, double kelvin) {
    const double g = c.g;
    return {c.r * ModuleFactor(m, 0, kelvin), g * (1.0 + m.greenImbalance),
            g * (1.0 - m.greenImbalance), c.b * ModuleFactor(m, 1, kelvin)};
}

double NormalCdf(double x) { return 0.5 * std::erfc(-x / std::sqrt(2.0)); }
double NormalPdf(double x) { return std::exp(-0.5 * x * x) / 2.5066282746310002; }

// Sum and count of the pixels of one channel of one region that stay below
// the saturation threshold, when their values spread normally around `mean`
// (texture of the content plus noise) and the sum carries the noise of the
// pixels it adds up.
void ChannelSums(double mean, double spread, double noiseSd, int pixels, double threshold,
                 double fullScale, Random* rng, int64_t& sum, uint16_t& count,
                 int64_t& saturatedSum) {
    double below = 1.0, clippedMean = mean;
    if (spread > 0.0) {
        const double alpha = (threshold - mean) / spread;
        below = NormalCdf(alpha);
        if (below > 1e-9) clippedMean = mean - spread * NormalPdf(alpha) / below;
    } else if (mean >= threshold) {
        below = 0.0;
    }
    const int n = static_cast<int>(std::lround(pixels * below));
    double s = n * std::clamp(clippedMean, 0.0, threshold);
    if (rng != nullptr && n > 0) s += std::sqrt(static_cast<double>(n)) * noiseSd * rng->Normal();
    // Every counted pixel lies below the threshold, so the noise cannot take
    // the sum past n times it: a sum that did would be no recording.
    sum = n > 0 ? std::clamp<int64_t>(std::llround(s), 0, std::llround(n * threshold)) : 0;
    count = static_cast<uint16_t>(n);
    saturatedSum = std::llround((pixels - n) * 0.5 * (threshold + fullScale));
}

}  // namespace

Module MakeModule(uint64_t seed, int id, const CameraProfile& camera) {
    Random rng(seed, {0x6d6f64756c65ull, static_cast<uint64_t>(id)});
    Module m;
    m.id = id;
    m.rFactor = 1.0 + 0.03 * rng.Normal();
    m.bFactor = 1.0 + 0.04 * rng.Normal();
    m.rSlope = 0.004 * rng.Normal();
    m.bSlope = 0.004 * rng.Normal();
    m.greenImbalance = 0.003 * rng.Normal();
    // Factory calibration under D50 measures the factors to about 0.3 %.
    m.measuredR = m.rFactor * (1.0 + 0.003 * rng.Normal());
    m.measuredB = m.bFactor * (1.0 + 0.003 * rng.Normal());
    // The flash LED (a 5500 K white LED) as this module sees it.
    const Light led = WhiteLed(5500, "flash");
    const Rgb w = ToCamera(ColorMatrixAt(camera, led.cct), ToXyz(led.spectrum));
    m.ledRatioR = ModuleFactor(m, 0, led.cct) * w.r / w.g;
    m.ledRatioB = ModuleFactor(m, 1, led.cct) * w.b / w.g;
    return m;
}

Module GoldenModule() { return Module{}; }

double LuxIndexOf(double lux) { return 500.0 - 75.0 * std::log10(std::max(lux, 1e-3)); }

void TrueWhite(const SceneInstance& scene, const CameraProfile& camera, const Module& module,
               double& rOverG, double& bOverG) {
    const double kelvin = scene.truth.cct;
    const Rgb w = ToCamera(ColorMatrixAt(camera, kelvin), ToXyz(scene.truth.spectrum));
    const auto ch = ToChannels(w, module, kelvin);
    const double g = 0.5 * (ch[kGR] + ch[kGB]);
    rOverG = ch[kR] / g;
    bOverG = ch[kB] / g;
}

Capture Simulate(const SceneInstance& scene, const CameraProfile& camera, const Module& module,
                 const SensorConfig& sensor, Random& rng) {
    Capture cap;
    const double kelvin = scene.truth.cct;
    const Matrix3 cm = ColorMatrixAt(camera, kelvin);

    // Each material's channel response under each light (or its own light).
    std::vector<std::array<double, 4>> underA, underB;
    for (const auto& m : scene.materials) {
        if (m.emissive) {
            auto e = ToChannels(ToCamera(cm, ToXyz(m.spectrum)), module, kelvin);
            for (double& v : e) v *= m.radiance;
            underA.push_back(e);
            underB.push_back({0, 0, 0, 0});
        } else {
            underA.push_back(
                ToChannels(ToCamera(cm, ToXyz(scene.lightA.spectrum, m.spectrum)), module, kelvin));
            underB.push_back(
                scene.mix == LightMix::Single
                    ? std::array<double, 4>{0, 0, 0, 0}
                    : ToChannels(ToCamera(cm, ToXyz(scene.lightB.spectrum, m.spectrum)), module,
                                 kelvin));
        }
    }

    const int cols = sensor.columns, rows = sensor.rows;
    cap.regionWidth = (sensor.frameWidth / cols) & ~1;
    cap.regionHeight = (sensor.frameHeight / rows) & ~1;
    const int pixels = (cap.regionWidth / 2) * (cap.regionHeight / 2);

    // Scene radiance per region: mean and spread of what its points show.
    std::vector<std::array<double, 4>> mean(static_cast<std::size_t>(cols * rows));
    std::vector<std::array<double, 4>> spread(mean.size());
    for (int ry = 0; ry < rows; ++ry) {
        for (int rx = 0; rx < cols; ++rx) {
            std::array<double, 4> m{}, m2{}, tex{};
            for (int sy = 0; sy < kSubSamples; ++sy) {
                for (int sx = 0; sx < kSubSamples; ++sx) {
                    const double u = (rx + (sx + 0.5) / kSubSamples) / cols;
                    const double v = (ry + (sy + 0.5) / kSubSamples) / rows;
                    const ScenePoint pt = Evaluate(scene, u, v);
                    const auto& a = underA[static_cast<std::size_t>(pt.material)];
                    const auto& b = underB[static_cast<std::size_t>(pt.material)];
                    const bool emits =
                        scene.materials[static_cast<std::size_t>(pt.material)].emissive;
                    const double texture =
                        scene.materials[static_cast<std::size_t>(pt.material)].texture;
                    for (int c = 0; c < 4; ++c) {
                        const double x = emits ? a[c] : pt.weightA * a[c] + pt.weightB * b[c];
                        m[c] += x;
                        m2[c] += x * x;
                        tex[c] += texture * texture * x * x;
                    }
                }
            }
            const double n = kSubSamples * kSubSamples;
            auto& me = mean[static_cast<std::size_t>(ry * cols + rx)];
            auto& sp = spread[static_cast<std::size_t>(ry * cols + rx)];
            for (int c = 0; c < 4; ++c) {
                me[c] = m[c] / n;
                sp[c] = std::sqrt(std::max(0.0, m2[c] / n - me[c] * me[c]) + tex[c] / n);
            }
        }
    }

    // Residual shading after the ISP's lens shading correction: a little
    // darker towards the corners, with a slight colour cast.
    auto shade = [&](int rx, int ry, int c) {
        if (!sensor.shading) return 1.0;
        const double x = ((rx + 0.5) / cols - 0.5) * 2.0, y = ((ry + 0.5) / rows - 0.5) * 2.0;
        const double r2 = 0.5 * (x * x + y * y);  // 1 in the corners
        const double luma = 1.0 - 0.3 * r2;
        if (c == kR) return luma * (1.0 + 0.015 * r2);
        if (c == kB) return luma * (1.0 - 0.01 * r2);
        return luma;
    };

    // Auto exposure: the mean green lands on the target.
    double greenTotal = 0.0;
    for (int i = 0; i < cols * rows; ++i)
        greenTotal +=
            0.5 *
            (mean[static_cast<std::size_t>(i)][kGR] + mean[static_cast<std::size_t>(i)][kGB]) *
            shade(i % cols, i / cols, kGR);
    const double fullScale = std::ldexp(1.0, sensor.bitDepth) - 1.0;
    const double exposure =
        sensor.exposureTarget * fullScale / std::max(greenTotal / (cols * rows), 1e-12);

    // Noise: a 6000 electron full well at base gain, more gain when dim.
    const double gain = std::clamp(2000.0 / scene.lux, 1.0, 16.0);
    const double electronsPerDn = 6000.0 / (fullScale * gain);
    const double readNoise = (0.8 + 0.4 * gain) * fullScale / 1023.0;

    cap.luxIndex = static_cast<float>(std::round(LuxIndexOf(scene.lux) * 10.0) / 10.0);
    cap.regions.resize(static_cast<std::size_t>(cols * rows));
    for (int ry = 0; ry < rows; ++ry) {
        for (int rx = 0; rx < cols; ++rx) {
            const std::size_t i = static_cast<std::size_t>(ry * cols + rx);
            RegionStats& st = cap.regions[i];
            bool valid = true;
            for (int c = 0; c < 4; ++c) {
                const double mu = std::max(0.0, mean[i][c] * shade(rx, ry, c) * exposure);
                const double noiseSd = std::sqrt(mu / electronsPerDn + readNoise * readNoise);
                const double sp = spread[i][c] * shade(rx, ry, c) * exposure;
                const double total = sensor.noise ? std::sqrt(sp * sp + noiseSd * noiseSd) : sp;
                ChannelSums(mu, total, noiseSd, pixels, sensor.saturationThreshold, fullScale,
                            sensor.noise ? &rng : nullptr, st.sum[static_cast<std::size_t>(c)],
                            st.count[static_cast<std::size_t>(c)],
                            st.saturatedSum[static_cast<std::size_t>(c)]);
                if (st.count[static_cast<std::size_t>(c)] == 0) valid = false;
            }
            if (valid) ++cap.validRegionCount;
        }
    }
    TrueWhite(scene, camera, module, cap.whiteRG, cap.whiteBG);
    return cap;
}

}  // namespace Vireo::Datagen
