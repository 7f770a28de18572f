// What the generator writes is what the driver's readers read, field by
// field, and its ground truth is the white a perfect white surface shows.
#include <gtest/gtest.h>

#include <cmath>
#include <iterator>
#include <string>
#include <tuple>
#include <vector>

#include "CameraProfile.h"
#include "GroundTruth.h"
#include "RunDriver.h"
#include "SampleFile.h"
#include "SampleStats.h"
#include "Scenes.h"
#include "Sensor.h"
#include "Surfaces.h"
#include "TestSupport.h"

namespace {

using namespace Vireo::Datagen;

SensorConfig SmallGrid() {
    SensorConfig s;
    s.columns = 16;
    s.rows = 12;
    return s;
}

TEST(SampleFile, ReadersFindEveryFieldWhereTheGeneratorPutIt) {
    const CameraProfile& camera = BuiltInCameras().front();
    const SensorConfig sensor = SmallGrid();
    Module module = MakeModule(7, 1, camera);
    Random noise(7, {1});
    const Capture cap = Simulate(MakeScene("outdoor_2", 3, 7), camera, module, sensor, noise);

    Vireo::Testing::TempDir dir;
    std::string error;
    ASSERT_TRUE(WriteSampleFile(dir / "s.txt", cap, sensor, module, error)) << error;
    Vireo::Score::SampleStats read;
    ASSERT_TRUE(Vireo::Score::LoadSample(dir / "s.txt", read, error)) << error;

    // Field by field, in the readers' terms: a field written out of order shows here.
    const Vireo::ChannelData& h = read.header;
    EXPECT_FLOAT_EQ(h.luxIndex, cap.luxIndex);
    EXPECT_EQ(
        std::tie(h.aecSettled, h.horizontalRegionCount, h.verticalRegionCount, h.totalRegionCount,
                 h.regionWidth, h.regionHeight, h.bitDepth, h.flags, h.validRegionCount),
        std::make_tuple(1, 16, 12, 192, 288, 288, 10, 0, cap.validRegionCount));
    for (int32_t t : h.saturationThreshold) EXPECT_EQ(t, 1000);
    EXPECT_EQ(std::vector<uint32_t>(std::begin(h.statsROI), std::end(h.statsROI)),
              std::vector<uint32_t>({0, 0, 4608, 3456}));

    const Vireo::CalibrationData& c = read.calibration;
    EXPECT_EQ(c.numCalibrationFactors, 2u);
    EXPECT_FLOAT_EQ(c.calibrationFactorCCTs[0], 5003.0f);
    EXPECT_FLOAT_EQ(c.calibrationFactorCCTs[5], 0.0f);
    EXPECT_NEAR(c.moduleCalibrationFactors[0], module.measuredR, 1e-5);
    EXPECT_NEAR(c.moduleCalibrationFactors[1], module.measuredB, 1e-5);
    for (int i = 2; i < 20; ++i) EXPECT_FLOAT_EQ(c.moduleCalibrationFactors[i], 1.0f);
    EXPECT_NEAR(c.singleLEDCalibrationPoint[0], module.ledRatioR, 1e-5);
    EXPECT_NEAR(c.singleLEDCalibrationPoint[1], module.ledRatioB, 1e-5);

    ASSERT_EQ(read.regions.size(), cap.regions.size());
    for (std::size_t i = 0; i < cap.regions.size(); ++i) {
        const auto& w = cap.regions[i];
        const auto& r = read.regions[i];
        ASSERT_EQ(
            std::tie(r.rSum, r.grSum, r.gbSum, r.bSum, r.rCount, r.grCount, r.gbCount, r.bCount),
            std::tie(w.sum[kR], w.sum[kGR], w.sum[kGB], w.sum[kB], w.count[kR], w.count[kGR],
                     w.count[kGB], w.count[kB]))
            << i;
    }
    // Every line stays within the readers' 99 characters.
    for (const std::string& line : Vireo::Testing::ReadLines(dir / "s.txt"))
        ASSERT_LT(line.size(), 100u);
}

// A frame filled by a perfect white reflector: the statistics' own ratios
// must be the ground truth's white point, for every kind of light.
class PerfectWhite : public testing::TestWithParam<const char*> {};

TEST_P(PerfectWhite, ShowsTheTrueWhitePoint) {
    SceneInstance s = MakeScene(GetParam(), 2, 11);
    Material white;
    white.name = "perfect white";
    white.spectrum.fill(1.0);
    white.texture = 0.0;
    s.materials = {white};
    s.shapes.clear();
    s.gradientU = s.gradientV = 0.0;
    SensorConfig sensor = SmallGrid();
    sensor.noise = false;
    sensor.shading = false;
    const CameraProfile& camera = BuiltInCameras().front();
    const Module module = MakeModule(3, 0, camera);
    Random rng(1, {});
    const Capture cap = Simulate(s, camera, module, sensor, rng);

    double r = 0, g = 0, b = 0;
    for (const auto& reg : cap.regions) {
        r += static_cast<double>(reg.sum[kR]);
        g += 0.5 * static_cast<double>(reg.sum[kGR] + reg.sum[kGB]);
        b += static_cast<double>(reg.sum[kB]);
    }
    if (s.mix == LightMix::Single) {
        EXPECT_NEAR(r / g / cap.whiteRG, 1.0, 2e-3);
        EXPECT_NEAR(b / g / cap.whiteBG, 1.0, 2e-3);
    }
    // The middle of the frame is where mixed-light truth is taken.
    const auto& mid = cap.regions[static_cast<std::size_t>(6 * 16 + 8)];
    const double gm = 0.5 * static_cast<double>(mid.sum[kGR] + mid.sum[kGB]);
    EXPECT_NEAR(static_cast<double>(mid.sum[kR]) / gm / cap.whiteRG, 1.0, 0.02);
    EXPECT_NEAR(static_cast<double>(mid.sum[kB]) / gm / cap.whiteBG, 1.0, 0.02);
    // Module calibration takes this module's white back to the golden one.
    double goldenRG = 0, goldenBG = 0;
    TrueWhite(s, camera, GoldenModule(), goldenRG, goldenBG);
    EXPECT_NEAR(cap.whiteRG / module.measuredR / goldenRG, 1.0, 0.01);
    EXPECT_NEAR(cap.whiteBG / module.measuredB / goldenBG, 1.0, 0.01);
}

INSTANTIATE_TEST_SUITE_P(Scenes, PerfectWhite,
                         testing::Values("chart", "indoor_1", "indoor_2", "indoor_3", "indoor_4",
                                         "outdoor_2"),
                         [](const auto& info) { return std::string(info.param); });

TEST(Generator, WritesTheEightScenesAndTheirTruthTheSameForTheSameSeed) {
    Vireo::Testing::TempDir dir;
    for (const char* run : {"a 5", "b 5", "c 6"}) {
        ASSERT_EQ(Vireo::Testing::Run(VIREO_DATAGEN_EXE,
                                      {"--samples", "2", "--grid", "16x12", "--quiet", "--seed",
                                       run + 2, "--out", dir / std::string(run, 1)},
                                      dir.path())
                      .exitStatus,
                  0);
    }
    std::vector<TruthRow> truth;
    std::string error;
    ASSERT_TRUE(ReadGroundTruth(dir / "a/ground_truth.csv", truth, error)) << error;
    ASSERT_EQ(truth.size(), 16u);
    for (const auto& row : truth) {
        ASSERT_TRUE(Vireo::Testing::Exists(dir / ("a/" + row.path))) << row.path;
        EXPECT_EQ(row.path, row.scene + "/" + row.File());
        EXPECT_NEAR(row.gainR * row.whiteRG, 1.0, 1e-6);
        EXPECT_NEAR(row.gainB * row.whiteBG, 1.0, 1e-6);
    }
    for (const char* scene : Vireo::SceneList)
        EXPECT_TRUE(Vireo::Testing::Exists(dir / (std::string("a/") + scene + "/sample_0002.txt")))
            << scene;
    EXPECT_EQ(Vireo::Testing::ReadFile(dir / "a/indoor_4/sample_0001.txt"),
              Vireo::Testing::ReadFile(dir / "b/indoor_4/sample_0001.txt"));
    EXPECT_EQ(Vireo::Testing::ReadFile(dir / "a/ground_truth.csv"),
              Vireo::Testing::ReadFile(dir / "b/ground_truth.csv"));
    EXPECT_NE(Vireo::Testing::ReadFile(dir / "a/indoor_4/sample_0001.txt"),
              Vireo::Testing::ReadFile(dir / "c/indoor_4/sample_0001.txt"));
}

TEST(Generator, RefusesBadArguments) {
    Vireo::Testing::TempDir dir;
    const std::vector<std::vector<std::string>> cases = {
        {},                                                  // no --out
        {"--out", dir / "x", "--samples", "0"},              // no samples
        {"--out", dir / "x", "--grid", "64by48"},            // malformed grid
        {"--out", dir / "x", "--scenes", "ball,kitchen"},    // unknown scene
        {"--out", dir / "x", "--camera", "No Such Camera"},  // unknown camera
    };
    for (const auto& args : cases)
        EXPECT_NE(Vireo::Testing::Run(VIREO_DATAGEN_EXE, args, dir.path()).exitStatus, 0)
            << testing::PrintToString(args);
}

TEST(GroundTruth, RefusesMalformedRows) {
    Vireo::Testing::TempDir dir;
    TruthRow row;
    row.path = "ball/sample_0001.txt";
    row.scene = "ball";
    row.illuminant = "A";
    row.kind = "planckian";
    row.cct = 2856;
    const std::string good = FormatTruthRow(row);
    const std::string header = GroundTruthHeader();
    const struct {
        const char* name;
        std::string text;
        bool ok;
    } cases[] = {
        {"good", header + good, true},
        {"no header", good, false},
        {"short row", header + "ball/x.txt,ball,A\n", false},
        {"text for a number", header + "ball/x.txt,ball,A,planckian,hot,0,1,1,1,1,1,1,1,0\n",
         false},
        {"zero white", header + "ball/x.txt,ball,A,planckian,2856,0,0,1,1,1,1,1,1,0\n", false}};
    for (const auto& c : cases) {
        Vireo::Testing::WriteFile(dir / "t.csv", c.text);
        std::vector<TruthRow> rows;
        std::string error;
        EXPECT_EQ(ReadGroundTruth(dir / "t.csv", rows, error), c.ok) << c.name << ": " << error;
    }
}

}  // namespace
