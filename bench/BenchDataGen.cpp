// Writes the benchmark data set: eight scene folders, each with the given
// number of sample files for a statistics grid of the given size.
//
//   vireo-bench-datagen <dataDir> <samplesPerScene> <horizontalRegions> <verticalRegions>
//
// The output depends on the arguments alone (a fixed-seed generator, no
// clock, no locale), so every run of the benchmark reads the same bytes.
// The values look like what a phone camera records: a 4608 x 3456 sensor
// with 14-bit statistics, region sums in the millions, pixel counts in the
// hundreds to low thousands, a grey-world-ish illuminant per scene.
#include <sys/stat.h>

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr int kSensorWidth = 4608;
constexpr int kSensorHeight = 3456;
constexpr int kBitDepth = 14;
constexpr int kSaturationLevel = 16000;

// Illuminant and light level per scene, in the driver's scene order.
struct SceneLight {
    const char* name;
    double luxIndex;  // higher is darker, as the exposure control reports it
    double redOverGreen;
    double blueOverGreen;
    double meanGreen;  // mean green pixel value of a mid-grey region
};

constexpr SceneLight kScenes[] = {
    {"ball", 312.0, 0.52, 0.78, 2600.0},      {"chart", 255.0, 0.61, 0.66, 3100.0},
    {"indoor_1", 348.0, 0.82, 0.41, 1900.0},  {"indoor_2", 371.0, 0.76, 0.47, 1500.0},
    {"indoor_3", 333.0, 0.58, 0.62, 2300.0},  {"indoor_4", 402.0, 0.88, 0.36, 1100.0},
    {"outdoor_1", 118.0, 0.49, 0.83, 5200.0}, {"outdoor_2", 96.0, 0.46, 0.91, 6400.0},
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

struct Grid {
    int horizontal;
    int vertical;
    int Total() const { return horizontal * vertical; }
    int RegionWidth() const { return kSensorWidth / horizontal; }
    int RegionHeight() const { return kSensorHeight / vertical; }
    // Pixels of one Bayer channel in one region.
    int PixelsPerChannel() const { return (RegionWidth() / 2) * (RegionHeight() / 2); }
};

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

std::string MakeSample(int sceneIndex, int sampleIndex, const Grid& grid, Region* regions) {
    const SceneLight& scene = kScenes[sceneIndex];
    Random random{0x5EED0000ull + static_cast<uint64_t>(sceneIndex) * 100003u +
                  static_cast<uint64_t>(sampleIndex)};
    std::string out;
    out.reserve(static_cast<size_t>(grid.Total()) * 64 + 4096);

    FillRegions(scene, grid, random, regions);
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

bool MakeDirectory(const std::string& path) {
    return mkdir(path.c_str(), 0777) == 0 || errno == EEXIST;
}

bool ParsePositive(const char* text, int limit, int* value) {
    char* end = nullptr;
    long parsed = std::strtol(text, &end, 10);
    if (end == text || *end != '\0' || parsed < 1 || parsed > limit) return false;
    *value = static_cast<int>(parsed);
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    int samplesPerScene = 0;
    Grid grid{0, 0};
    if (argc != 5 || !ParsePositive(argv[2], 100000, &samplesPerScene) ||
        !ParsePositive(argv[3], 512, &grid.horizontal) ||
        !ParsePositive(argv[4], 512, &grid.vertical)) {
        std::fprintf(stderr,
                     "usage: %s <dataDir> <samplesPerScene> <horizontalRegions> "
                     "<verticalRegions>\n",
                     argv[0]);
        return 2;
    }
    // Regions must hold at least one pixel of each Bayer channel, and the
    // 16-bit counts must not wrap.
    if (grid.PixelsPerChannel() < 1 || grid.PixelsPerChannel() > 65535) {
        std::fprintf(stderr, "grid %dx%d does not fit a %dx%d sensor\n", grid.horizontal,
                     grid.vertical, kSensorWidth, kSensorHeight);
        return 2;
    }

    const std::string dataDir = argv[1];
    if (!MakeDirectory(dataDir)) {
        std::fprintf(stderr, "cannot create %s: %s\n", dataDir.c_str(), std::strerror(errno));
        return 1;
    }
    std::vector<Region> regions(static_cast<size_t>(grid.Total()));
    uint64_t totalBytes = 0;
    for (int scene = 0; scene < 8; ++scene) {
        const std::string sceneDir = dataDir + "/" + kScenes[scene].name;
        if (!MakeDirectory(sceneDir)) {
            std::fprintf(stderr, "cannot create %s: %s\n", sceneDir.c_str(), std::strerror(errno));
            return 1;
        }
        for (int sample = 0; sample < samplesPerScene; ++sample) {
            char name[32];
            std::snprintf(name, sizeof name, "/bg_stats_%05d.txt", sample);
            const std::string path = sceneDir + name;
            const std::string text = MakeSample(scene, sample, grid, regions.data());
            std::FILE* file = std::fopen(path.c_str(), "wb");
            if (file == nullptr || std::fwrite(text.data(), 1, text.size(), file) != text.size() ||
                std::fclose(file) != 0) {
                std::fprintf(stderr, "cannot write %s\n", path.c_str());
                return 1;
            }
            totalBytes += text.size();
        }
    }
    std::printf("%d samples, %llu bytes\n", 8 * samplesPerScene,
                static_cast<unsigned long long>(totalBytes));
    return 0;
}
