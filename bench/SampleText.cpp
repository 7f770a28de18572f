#include "SampleText.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <vector>

namespace VireoBench {
namespace {

constexpr int kBitDepth = 14;
constexpr int kSaturationLevel = 16000;

// Illuminant and light level per scene, in the order of kSceneNames.
struct SceneLight {
    double luxIndex;  // higher is darker, as the exposure control reports it
    double redOverGreen;
    double blueOverGreen;
    double meanGreen;  // mean green pixel value of a mid-grey region
};

constexpr SceneLight kScenes[] = {
    {312.0, 0.52, 0.78, 2600.0}, {255.0, 0.61, 0.66, 3100.0}, {348.0, 0.82, 0.41, 1900.0},
    {371.0, 0.76, 0.47, 1500.0}, {333.0, 0.58, 0.62, 2300.0}, {402.0, 0.88, 0.36, 1100.0},
    {118.0, 0.49, 0.83, 5200.0}, {96.0, 0.46, 0.91, 6400.0},
};

// splitmix64: small, fast and the same on every platform.
struct Random {
    uint64_t state;
    uint64_t Next() {
        uint64_t z = (state += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return z ^ (z >> 31);
    }
    // Uniform in [0, 1).
    double Unit() { return static_cast<double>(Next() >> 11) * (1.0 / 9007199254740992.0); }
};

void AppendInt(std::string& out, int64_t value) {
    char digits[24];
    auto [end, ec] = std::to_chars(digits, digits + sizeof digits, value);
    (void)ec;
    out.append(digits, end);
    out.push_back('\n');
}

void AppendFixed(std::string& out, double value, int decimals) {
    char text[48];
    int length = std::snprintf(text, sizeof text, "%.*f\n", decimals, value);
    out.append(text, static_cast<size_t>(length));
}

void AppendKey(std::string& out, const char* key) {
    out.append(key);
    out.push_back('\n');
}

// One region's four channel sums and counts, file channel order R, Gr, B, Gb.
struct Region {
    int64_t sums[4];
    int64_t counts[4];
    bool clipped;
};

void FillRegions(const SceneLight& scene, const Grid& grid, Random& random, Region* regions) {
    const int pixels = grid.PixelsPerChannel();
    // A light that drifts a little from sample to sample, as a hand-held
    // camera sees it.
    const double exposure = 0.85 + 0.3 * random.Unit();
    const double gains[4] = {scene.redOverGreen * (0.97 + 0.06 * random.Unit()), 1.0,
                             scene.blueOverGreen * (0.97 + 0.06 * random.Unit()), 1.0};
    for (int row = 0; row < grid.vertical; ++row) {
        for (int column = 0; column < grid.horizontal; ++column) {
            // Brighter towards the top (sky, lamps), darker in the corners.
            const double x = (column + 0.5) / grid.horizontal - 0.5;
            const double y = (row + 0.5) / grid.vertical;
            const double shading = (1.35 - 0.7 * y) * (1.0 - 0.6 * (x * x + (y - 0.5) * (y - 0.5)));
            const double surface = 0.4 + 1.2 * random.Unit();  // reflectance of what is there
            Region& region = regions[row * grid.horizontal + column];
            region.clipped = false;
            for (int channel = 0; channel < 4; ++channel) {
                double mean = scene.meanGreen * exposure * shading * surface * gains[channel] *
                              (0.98 + 0.04 * random.Unit());
                // A few defect and outlier pixels are always left out.
                int64_t count = pixels - static_cast<int64_t>(pixels * 0.03 * random.Unit());
                if (mean > 0.8 * kSaturationLevel) {
                    // So are clipped pixels, which take the region out of the
                    // valid ones.
                    count -= static_cast<int64_t>(pixels * 0.5 * random.Unit());
                    mean = 0.8 * kSaturationLevel;
                    region.clipped = true;
                }
                region.sums[channel] = static_cast<int64_t>(std::llround(mean * count));
                region.counts[channel] = count;
            }
        }
    }
}

}  // namespace

std::string MakeSampleText(int sceneIndex, int sampleIndex, const Grid& grid) {
    std::vector<Region> regions(static_cast<size_t>(grid.Total()));
    const SceneLight& scene = kScenes[sceneIndex];
    Random random{0x5EED0000ull + static_cast<uint64_t>(sceneIndex) * 100003u +
                  static_cast<uint64_t>(sampleIndex)};
    std::string out;
    out.reserve(static_cast<size_t>(grid.Total()) * 64 + 4096);

    FillRegions(scene, grid, random, regions.data());
    int validRegions = 0;
    for (int i = 0; i < grid.Total(); ++i) {
        validRegions += regions[i].clipped ? 0 : 1;
    }

    AppendKey(out, "LuxIndex:");
    AppendFixed(out, scene.luxIndex + 8.0 * random.Unit() - 4.0, 3);
    AppendKey(out, "AECSettled:");
    AppendInt(out, random.Unit() < 0.9 ? 1 : 0);
    AppendKey(out, "Horizontal Region Count:");
    AppendInt(out, grid.horizontal);
    AppendKey(out, "Vertical Region Count:");
    AppendInt(out, grid.vertical);
    AppendKey(out, "Total Region Count:");
    AppendInt(out, grid.Total());
    AppendKey(out, "Region Width:");
    AppendInt(out, grid.RegionWidth());
    AppendKey(out, "Region Height:");
    AppendInt(out, grid.RegionHeight());
    AppendKey(out, "Bit Depth:");
    AppendInt(out, kBitDepth);
    AppendKey(out, "Flags:");
    AppendInt(out, 0);
    AppendKey(out, "Saturation Threshold:");
    for (int i = 0; i < 4; ++i) AppendInt(out, kSaturationLevel - 200 + 64 * i);
    AppendKey(out, "Valid Region Count:");
    AppendInt(out, validRegions);
    AppendKey(out, "Stats ROI:");
    AppendInt(out, 0);
    AppendInt(out, 0);
    AppendInt(out, kSensorWidth);
    AppendInt(out, kSensorHeight);

    // A module calibrated at six colour temperatures: an R/G and a B/G
    // factor for each, then padding factors of 1.
    static const double kCalibrationCCTs[6] = {2300, 2850, 3800, 4100, 5000, 6500};
    AppendKey(out, "Num Calibration Factors:");
    AppendInt(out, 6);
    AppendKey(out, "Calibration Factor CCTs:");
    for (double cct : kCalibrationCCTs) AppendFixed(out, cct, 1);
    AppendKey(out, "Module Calibration Factors:");
    Random module{0xCA1B0000ull};  // the same module for every sample
    for (int i = 0; i < 20; ++i) {
        AppendFixed(out, i < 12 ? 0.96 + 0.08 * module.Unit() : 1.0, 6);
    }
    AppendKey(out, "Single LED Calibration Point:");
    AppendFixed(out, 0.5 + 0.05 * module.Unit(), 6);
    AppendFixed(out, 0.6 + 0.05 * module.Unit(), 6);

    // The file's channel order is R, G/GR, B, GB for the sums and the counts.
    static const char* const kSumKeys[4] = {"R Sum:", "G/GR Sum:", "B Sum:", "GB Sum:"};
    static const char* const kCountKeys[4] = {"R Count:", "G/GR Count:", "B Count:", "GB Count:"};
    for (int channel = 0; channel < 4; ++channel) {
        AppendKey(out, kSumKeys[channel]);
        for (int i = 0; i < grid.Total(); ++i) AppendInt(out, regions[i].sums[channel]);
    }
    for (int channel = 0; channel < 4; ++channel) {
        AppendKey(out, kCountKeys[channel]);
        for (int i = 0; i < grid.Total(); ++i) AppendInt(out, regions[i].counts[channel]);
    }
    // The recorder writes more after the channel sums; the driver stops at
    // "R SatSum:", so a short tail is enough to keep it honest.
    AppendKey(out, "R SatSum:");
    for (int i = 0; i < 4; ++i) AppendInt(out, 0);
    AppendKey(out, "Frame Id:");
    AppendInt(out, 1000 + sampleIndex);
    return out;
}

}  // namespace VireoBench
