// The driver with both reference libraries and a tuning compiled by
// vireo-tune, on a small scene tree of known illuminants.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "SyntheticRegions.h"
#include "TestSupport.h"

namespace {

using Vireo::Testing::TempDir;

struct SamplePlan {
    const char* scene;
    const char* name;
    Vireo::Testing::Illuminant seen;  // what this module's raw data shows for grey
    float rFactor;                    // module calibration factors 1 and 2
    float bFactor;
    bool blank;    // every region empty
    uint32_t cct;  // expected, +-2 %
};

// Curve of the test tuning: the points the scenes are lit by.
constexpr const char kTuningYaml[] =
    "ct_curve:\n"
    "  - [2850, 0.85, 0.36]\n"
    "  - [5000, 0.58, 0.56]\n"
    "  - [6500, 0.50, 0.64]\n"
    "grey_zone_width: 0.1\n"
    "default_ct: 4000\n";

std::string SampleFile(const SamplePlan& plan, int seed) {
    const int columns = 16;
    const int rows = 12;
    auto made = Vireo::Testing::MakeScene(columns * rows, plan.seen, {0.9f, 0.3f, 0.2f}, 0.5f,
                                          0.01f, static_cast<uint32_t>(seed));
    Vireo::Testing::SampleText text = Vireo::Testing::MakeSample(columns * rows, seed);
    ValueText(text, Vireo::kLuxIndexKey) = "150";  // outdoors
    ValueText(text, Vireo::kHorizontalRegionCountKey) = std::to_string(columns);
    ValueText(text, Vireo::kVerticalRegionCountKey) = std::to_string(rows);
    ValueText(text, Vireo::kNumCalibrationFactorsKey) = "1";
    for (int i = 0; i < 20; ++i) ValueText(text, Vireo::kModuleCalibrationFactorsKey, i) = "1.0";
    ValueText(text, Vireo::kModuleCalibrationFactorsKey, 0) = std::to_string(plan.rFactor);
    ValueText(text, Vireo::kModuleCalibrationFactorsKey, 1) = std::to_string(plan.bFactor);
    for (size_t i = 0; i < made.size(); ++i) {
        const VireoAwbRegion& r = made[i];
        if (plan.blank) {
            text.regions[i] = {};
            continue;
        }
        text.regions[i] = {{{r.rSum, r.grSum, r.bSum, r.gbSum}},
                           {{r.rCount, r.grCount, r.bCount, r.gbCount}}};
    }
    return Vireo::Testing::SampleFileText(text);
}

struct Record {
    float r, g, b;
    uint32_t cct, debugSize;
};

// Runs the driver over dir/data with the given tuning; its results by sample path.
std::map<std::string, Record> RunDriver(const TempDir& dir, const std::string& tuning) {
    Vireo::Testing::WriteFile(dir / "run.cfg",
                              "tuningFile=" + tuning +
                                  "\nawbDLL=" VIREO_TEST_AWB_LIBRARY
                                  "\nawbSimWrapperDLL=" VIREO_TEST_WRAPPER_LIBRARY "\ndataDir=" +
                                  dir / "data" + "\noutputDir=" + dir / "out" + "\n");
    const auto run = Vireo::Testing::Run(VIREO_TEST_DRIVER, {dir / "run.cfg"}, dir.path());
    EXPECT_EQ(run.exitStatus, 0) << run.standardOutput;
    const std::vector<std::string> lines =
        Vireo::Testing::ReadLines(dir / "out/awbSimulationOutput.txt");
    std::map<std::string, Record> records;
    for (size_t i = 0; i + 6 <= lines.size(); i += 7) {
        auto value = [&](size_t line) {
            return lines[i + line].substr(lines[i + line].find(':') + 2);
        };
        records[lines[i]] = {std::stof(value(1)), std::stof(value(2)), std::stof(value(3)),
                             static_cast<uint32_t>(std::stoul(value(4))),
                             static_cast<uint32_t>(std::stoul(value(5)))};
    }
    return records;
}

TEST(ReferenceEndToEnd, DriverDecidesEverySampleOfTheSceneTree) {
    TempDir dir;
    Vireo::Testing::WriteFile(dir / "tuning.yaml", kTuningYaml);
    const auto compiled = Vireo::Testing::Run(
        VIREO_TEST_TUNE_TOOL, {"compile", dir / "tuning.yaml", dir / "tuning.bin"}, dir.path());
    ASSERT_EQ(compiled.exitStatus, 0);

    const SamplePlan samples[] = {
        {"ball", "sample_001.txt", {0.58f, 0.56f}, 1.0f, 1.0f, false, 5000},
        {"chart", "sample_001.txt", {0.85f, 0.36f}, 1.0f, 1.0f, false, 2850},
        {"chart", "sample_002.txt", {0.50f, 0.64f}, 1.0f, 1.0f, false, 6500},
        // A module 10 % redder and 8 % less blue than the golden one.
        {"outdoor_1", "sample_001.txt", {0.58f * 1.1f, 0.56f * 0.92f}, 1.1f, 0.92f, false, 5000},
        {"indoor_4", "sample_001.txt", {0.7f, 0.46f}, 1.0f, 1.0f, true, 4000},
    };
    int seed = 1;
    for (const SamplePlan& plan : samples) {
        Vireo::Testing::MakeDirs(dir / "data" + "/" + plan.scene);
        Vireo::Testing::WriteFile(dir / "data" + "/" + plan.scene + "/" + plan.name,
                                  SampleFile(plan, seed++));
    }
    const auto records = RunDriver(dir, dir / "tuning.bin");
    ASSERT_EQ(records.size(), std::size(samples));
    for (const SamplePlan& plan : samples) {
        const std::string path = dir / "data" + "/" + plan.scene + "/" + plan.name;
        ASSERT_EQ(records.count(path), 1u) << path;
        const Record& got = records.at(path);
        SCOPED_TRACE(path);
        EXPECT_EQ(got.g, 1.0f);
        EXPECT_NEAR(static_cast<double>(got.cct), plan.cct, 0.02 * plan.cct);
        EXPECT_GT(got.debugSize, 0u);
        if (!plan.blank) {
            // Gains print with six digits; the angle still shows a miss.
            EXPECT_LT(Vireo::Testing::AngleDegrees(1.0 / got.r, 1.0 / got.b, plan.seen.rOverG,
                                                   plan.seen.bOverG),
                      0.5);
        }
    }
}

TEST(ReferenceEndToEnd, DefaultTuningBuiltWithTheProjectRunsTheDriver) {
    TempDir dir;
    Vireo::Testing::MakeDirs(dir / "data/chart");
    Vireo::Testing::WriteFile(
        dir / "data/chart/s.txt",
        SampleFile({"chart", "s.txt", {0.6f, 0.55f}, 1.0f, 1.0f, false, 0}, 3));
    EXPECT_EQ(RunDriver(dir, VIREO_TEST_DEFAULT_TUNING).size(), 1u);
}

}  // namespace
