#include "SampleText.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>

#include "SampleFileWriter.h"

namespace Vireo::Bench {
namespace {

constexpr int kBitDepth = 14;
constexpr int kSaturationLevel = 16000;

// Illuminant and light level per scene, in the order of SceneList (driver/RunDriver.h).
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

std::string Fixed(double value, int decimals) {
    char text[48];
    const int length = std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return std::string(text, static_cast<size_t>(length));
}

// Fills the regions and returns how many of them are valid (not clipped).
int FillRegions(const SceneLight& scene, const Grid& grid, Random& random,
                Vireo::SampleRegionValues* regions) {
    const int pixels = grid.PixelsPerChannel();
    // A light that drifts a little from sample to sample, as a hand-held
    // camera sees it.
    const double exposure = 0.85 + 0.3 * random.Unit();
    const double gains[4] = {scene.redOverGreen * (0.97 + 0.06 * random.Unit()), 1.0,
                             scene.blueOverGreen * (0.97 + 0.06 * random.Unit()), 1.0};
    int validRegions = 0;
    for (int row = 0; row < grid.vertical; ++row) {
        for (int column = 0; column < grid.horizontal; ++column) {
            // Brighter towards the top (sky, lamps), darker in the corners.
            const double x = (column + 0.5) / grid.horizontal - 0.5;
            const double y = (row + 0.5) / grid.vertical;
            const double shading = (1.35 - 0.7 * y) * (1.0 - 0.6 * (x * x + (y - 0.5) * (y - 0.5)));
            const double surface = 0.4 + 1.2 * random.Unit();  // reflectance of what is there
            Vireo::SampleRegionValues& region = regions[row * grid.horizontal + column];
            bool clipped = false;
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
                    clipped = true;
                }
                region.sums[channel] = static_cast<int64_t>(std::llround(mean * count));
                region.counts[channel] = count;
            }
            validRegions += clipped ? 0 : 1;
        }
    }
    return validRegions;
}

}  // namespace

std::string MakeSampleText(int sceneIndex, int sampleIndex, const Grid& grid) {
    const SceneLight& scene = kScenes[sceneIndex];
    Random random{0x5EED0000ull + static_cast<uint64_t>(sceneIndex) * 100003u +
                  static_cast<uint64_t>(sampleIndex)};
    Vireo::SampleFileContent content;
    content.regions.resize(static_cast<size_t>(grid.Total()));
    const int validRegions = FillRegions(scene, grid, random, content.regions.data());

    const std::string luxIndex = Fixed(scene.luxIndex + 8.0 * random.Unit() - 4.0, 3);
    const std::string aecSettled = random.Unit() < 0.9 ? "1" : "0";
    content.header = {
        luxIndex, aecSettled, std::to_string(grid.horizontal), std::to_string(grid.vertical),
        std::to_string(grid.Total()), std::to_string(grid.RegionWidth()),
        std::to_string(grid.RegionHeight()), std::to_string(kBitDepth),
        "0",  // flags
        std::to_string(kSaturationLevel - 200), std::to_string(kSaturationLevel - 200 + 64),
        std::to_string(kSaturationLevel - 200 + 128), std::to_string(kSaturationLevel - 200 + 192),
        std::to_string(validRegions),
        // Stats ROI: the whole sensor.
        "0", "0", std::to_string(kSensorWidth), std::to_string(kSensorHeight)};

    // A module calibrated at six colour temperatures: an R/G and a B/G
    // factor for each, then padding factors of 1.
    static const double kCalibrationCCTs[6] = {2300, 2850, 3800, 4100, 5000, 6500};
    size_t next = 0;
    content.calibration[next++] = "6";
    for (double cct : kCalibrationCCTs) content.calibration[next++] = Fixed(cct, 1);
    Random module{0xCA1B0000ull};  // the same module for every sample
    for (int i = 0; i < 20; ++i) {
        content.calibration[next++] = Fixed(i < 12 ? 0.96 + 0.08 * module.Unit() : 1.0, 6);
    }
    content.calibration[next++] = Fixed(0.5 + 0.05 * module.Unit(), 6);  // LED point
    content.calibration[next++] = Fixed(0.6 + 0.05 * module.Unit(), 6);

    std::string out;
    Vireo::AppendSampleFile(out, content);
    // The recorder writes more after "R SatSum:", where the driver stops
    // reading, so a short tail is enough to keep it honest.
    for (int i = 0; i < 4; ++i) Vireo::AppendLine(out, int64_t{0});
    Vireo::AppendLine(out, "Frame Id:");
    Vireo::AppendLine(out, int64_t{1000 + sampleIndex});
    return out;
}

}  // namespace Vireo::Bench
