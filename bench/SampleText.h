// Text of one benchmark sample file, made deterministically from the scene,
// the sample number and the grid size (a fixed-seed generator, no clock, no
// locale), so every run of the benchmark reads the same bytes. The values
// look like what a phone camera records: a 4608 x 3456 sensor with 14-bit
// statistics, region sums in the millions, pixel counts in the hundreds to
// low thousands, and a light of its own for every scene.
#ifndef VIREO_BENCH_SAMPLE_TEXT_H
#define VIREO_BENCH_SAMPLE_TEXT_H

#include <string>

namespace Vireo::Bench {

inline constexpr int kSensorWidth = 4608;
inline constexpr int kSensorHeight = 3456;

struct Grid {
    int horizontal;
    int vertical;
    int Total() const { return horizontal * vertical; }
    int RegionWidth() const { return kSensorWidth / horizontal; }
    int RegionHeight() const { return kSensorHeight / vertical; }
    // Pixels of one Bayer channel in one region.
    int PixelsPerChannel() const { return (RegionWidth() / 2) * (RegionHeight() / 2); }
    // Every region holds a pixel of each channel and its counts fit 16 bits.
    bool FitsSensor() const {
        return horizontal > 0 && vertical > 0 && PixelsPerChannel() >= 1 &&
               PixelsPerChannel() <= 65535;
    }
};

// sceneIndex follows SceneList (driver/RunDriver.h), 0 to 7.
std::string MakeSampleText(int sceneIndex, int sampleIndex, const Grid& grid);

}  // namespace Vireo::Bench

#endif  // VIREO_BENCH_SAMPLE_TEXT_H
