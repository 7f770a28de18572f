// The calibration tool finds the golden module's white under each
// laboratory light from chart shots of calibrated modules.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>

#include "Calibrate.h"
#include "CameraProfile.h"
#include "Scenes.h"
#include "Sensor.h"
#include "TestSupport.h"

namespace {

using namespace Vireo::Datagen;

// Chart shots of `samples` laboratory lights in dir/d, calibrated.
bool GenerateAndCalibrate(const Vireo::Testing::TempDir& dir, int samples,
                          Vireo::Tune::CalibrationResult& result, std::string& error) {
    const auto run = Vireo::Testing::Run(VIREO_DATAGEN_EXE,
                                         {"--out", dir / "d", "--scenes", "chart", "--samples",
                                          std::to_string(samples), "--grid", "32x24", "--quiet"},
                                         dir.path());
    EXPECT_EQ(run.exitStatus, 0) << run.standardOutput;
    return Vireo::Tune::Calibrate(dir / "d", dir / "d/ground_truth.csv", result, error);
}

TEST(Calibrate, CurveFollowsTheGoldenWhiteOfTheLaboratoryLights) {
    Vireo::Testing::TempDir dir;
    Vireo::Tune::CalibrationResult result;
    std::string error;
    ASSERT_TRUE(
        GenerateAndCalibrate(dir, static_cast<int>(LaboratoryLights().size()), result, error))
        << error;
    ASSERT_EQ(result.lights.size(), LaboratoryLights().size());

    // Every blackbody or daylight source is a curve point, at the golden
    // module's white: the grey patches are not perfect greys, and a module
    // drifts from its D50 calibration towards the ends of the curve.
    const CameraProfile& camera = BuiltInCameras().front();
    int onCurve = 0;
    for (const auto& m : result.lights) {
        if (m.kind != "planckian" && m.kind != "daylight") continue;
        const auto point =
            std::find_if(result.curve.begin(), result.curve.end(),
                         [&m](const auto& p) { return std::fabs(p.ct - m.cct) < 0.5; });
        ASSERT_NE(point, result.curve.end()) << m.name;
        ++onCurve;
        SceneInstance s;
        s.truth =
            m.kind == "daylight" ? DaylightLight(m.cct, m.name) : PlanckianLight(m.cct, m.name);
        double rg = 0, bg = 0;
        TrueWhite(s, camera, GoldenModule(), rg, bg);
        EXPECT_NEAR(point->rOverG / rg, 1.0, 0.025) << m.name;
        EXPECT_NEAR(point->bOverG / bg, 1.0, 0.025) << m.name;
    }
    EXPECT_EQ(onCurve, 7);
    for (std::size_t i = 1; i < result.curve.size(); ++i)
        EXPECT_LT(result.curve[i - 1].ct, result.curve[i].ct);
    EXPECT_EQ(result.curve.front().ct, 2000.0f);
    EXPECT_EQ(result.curve.back().ct, 12000.0f);
    // The grey zone holds every laboratory light.
    for (const auto& m : result.lights) EXPECT_LT(m.distance, result.greyZoneWidth) << m.name;

    const std::string yaml = Vireo::Tune::FormatTuningYaml(result, "d");
    EXPECT_NE(yaml.find("\nct_curve:"), std::string::npos);
    EXPECT_NE(yaml.find("  - [2000, "), std::string::npos);
    EXPECT_NE(yaml.find("grey_zone_width: "), std::string::npos);
}

TEST(Calibrate, NeedsTwoCurveLights) {
    Vireo::Testing::TempDir dir;
    Vireo::Tune::CalibrationResult result;
    std::string error;
    EXPECT_FALSE(GenerateAndCalibrate(dir, 1, result, error));
    EXPECT_NE(error.find("at least two"), std::string::npos) << error;
}

}  // namespace
