// The sensor model's exposure, clipping and noise, on frames of known
// content.
#include <gtest/gtest.h>

#include <cmath>

#include "CameraProfile.h"
#include "Scenes.h"
#include "Sensor.h"

namespace {

using namespace Vireo::Datagen;

// A chart instance repainted: a grey card filling the frame but for a lamp of
// the given brightness in the top right region.
SceneInstance GreyAndLamp(double lampRadiance) {
    SceneInstance s = MakeScene("chart", 4, 1);
    Material grey{"grey", {}, false, 0.0, 0.0};
    grey.spectrum.fill(0.18);
    Material lamp{"lamp", s.lightA.spectrum, true, lampRadiance, 0.0};
    s.materials = {grey, lamp};
    s.shapes = {{Shape::Type::Rect, 15.0 / 16.0, 0.0, 1.0, 1.0 / 12.0, 1, 1.0, false}};
    s.gradientU = s.gradientV = 0.0;
    return s;
}

SensorConfig Quiet() {
    SensorConfig s;
    s.columns = 16, s.rows = 12, s.noise = false, s.shading = false;
    return s;
}

TEST(Sensor, ClippedRegionsLoseTheirPixelsAndCountAsInvalid) {
    const struct {
        double radiance;
        bool lampClips;
    } cases[] = {{0.3, false}, {100.0, true}};
    for (const auto& c : cases) {
        Random rng(1, {});
        const Capture cap = Simulate(GreyAndLamp(c.radiance), BuiltInCameras().front(),
                                     GoldenModule(), Quiet(), rng);
        const RegionStats& grey = cap.regions[0];
        const RegionStats& lamp = cap.regions[15];
        for (int ch = 0; ch < 4; ++ch) {
            EXPECT_EQ(grey.count[ch], 144 * 144) << ch;  // (288 / 2)^2 pixels
            EXPECT_EQ(grey.saturatedSum[ch], 0) << ch;
            if (c.lampClips) {
                EXPECT_EQ(lamp.count[ch], 0) << ch;
                EXPECT_EQ(lamp.sum[ch], 0) << ch;
                EXPECT_GT(lamp.saturatedSum[ch], 0) << ch;
            }
        }
        EXPECT_EQ(cap.validRegionCount, c.lampClips ? 16 * 12 - 1 : 16 * 12) << c.radiance;
    }
}

TEST(Sensor, ExposureBringsTheMeanGreenToItsTarget) {
    SceneInstance s = GreyAndLamp(0.18);  // the lamp as bright as the grey card
    Random rng(1, {});
    const Capture cap = Simulate(s, BuiltInCameras().front(), GoldenModule(), Quiet(), rng);
    double green = 0.0;
    for (const auto& r : cap.regions)
        green += 0.5 * static_cast<double>(r.sum[kGR] + r.sum[kGB]) / r.count[kGR];
    EXPECT_NEAR(green / static_cast<double>(cap.regions.size()), 0.18 * 1023, 0.5);
}

TEST(Sensor, NoiseAveragesOutOverARegion) {
    SensorConfig noisy = Quiet();
    noisy.noise = true;
    Random a(1, {}), b(2, {});
    const SceneInstance s = GreyAndLamp(0.3);
    const Capture clean = Simulate(s, BuiltInCameras().front(), GoldenModule(), Quiet(), a);
    const Capture withNoise = Simulate(s, BuiltInCameras().front(), GoldenModule(), noisy, b);
    int differ = 0;
    for (std::size_t i = 0; i < clean.regions.size(); ++i) {
        const double x = static_cast<double>(clean.regions[i].sum[kR]);
        const double y = static_cast<double>(withNoise.regions[i].sum[kR]);
        EXPECT_NEAR(y / x, 1.0, 0.01) << i;
        differ += x != y;
    }
    EXPECT_GT(differ, 0);
}

TEST(Sensor, LuxIndexFallsWithLight) {
    const struct {
        double lux, index;
    } cases[] = {{100000, 125}, {10000, 200}, {100, 350}, {1, 500}};
    for (const auto& c : cases) EXPECT_DOUBLE_EQ(LuxIndexOf(c.lux), c.index) << c.lux;
}

}  // namespace
