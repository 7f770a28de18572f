// From a lit scene to the statistics a camera's ISP records: the camera's
// colour response (its profile's matrices at the scene light's colour
// temperature), this module's deviation from the golden module, automatic
// exposure, residual lens shading, shot and read noise, and clipping of
// saturated pixels, summed per region of the Bayer statistics grid.
#ifndef VIREO_DATAGEN_SENSOR_H
#define VIREO_DATAGEN_SENSOR_H

#include <array>
#include <cstdint>
#include <vector>

#include "CameraProfile.h"
#include "Random.h"
#include "Scenes.h"

namespace Vireo::Datagen {

struct SensorConfig {
    int columns = 64, rows = 48;                // statistics grid
    int frameWidth = 4608, frameHeight = 3456;  // full sensor
    int bitDepth = 10;
    int saturationThreshold = 1000;  // pixels at or above are left out of the sums
    double exposureTarget = 0.18;    // mean green as a fraction of full scale
    bool noise = true;
    bool shading = true;  // residual lens shading (vignetting) after the ISP's correction
};

// One camera module: how its colour response differs from the golden
// module's, and what its factory calibration measured of that.
struct Module {
    int id = 0;
    double rFactor = 1.0, bFactor = 1.0;      // R/G and B/G relative to golden, at D50
    double rSlope = 0.0, bSlope = 0.0;        // their drift per 100 mired away from D50
    double greenImbalance = 0.0;              // GR = G (1 + x), GB = G (1 - x)
    double measuredR = 1.0, measuredB = 1.0;  // the calibration's estimate of the factors
    double ledRatioR = 1.0, ledRatioB = 1.0;  // the flash LED's white seen by this module
};

Module MakeModule(uint64_t seed, int id, const CameraProfile& camera);
Module GoldenModule();

// Channel order of the statistics: R, GR, GB, B.
enum Channel { kR = 0, kGR = 1, kGB = 2, kB = 3 };

struct RegionStats {
    std::array<int64_t, 4> sum{};
    std::array<uint16_t, 4> count{};
    std::array<int64_t, 4> saturatedSum{};
};

struct Capture {
    float luxIndex = 0.0f;
    int regionWidth = 0, regionHeight = 0;
    int validRegionCount = 0;
    std::vector<RegionStats> regions;  // row by row from the top left
    // The truth: the scene light's white as this module sees it.
    double whiteRG = 1.0, whiteBG = 1.0;
};

// Lux index: the exposure index of the auto exposure, larger when darker;
// 500 - 75 log10(lux) (bright sun near 125, a dim room near 350).
double LuxIndexOf(double lux);

Capture Simulate(const SceneInstance& scene, const CameraProfile& camera, const Module& module,
                 const SensorConfig& sensor, Random& noise);

// The scene light's white in this module's native RGB, ratios to green.
void TrueWhite(const SceneInstance& scene, const CameraProfile& camera, const Module& module,
               double& rOverG, double& bOverG);

}  // namespace Vireo::Datagen

#endif  // VIREO_DATAGEN_SENSOR_H
