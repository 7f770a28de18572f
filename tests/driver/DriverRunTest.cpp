// The driver's entry, configuration and scene walk, run as a real process
// against the recording wrapper.
#include <limits.h>
#include <stdlib.h>

#include <filesystem>
#include <string>
#include <vector>

#include "DriverFixture.h"

namespace {

using Vireo::Testing::Exists;
using Vireo::Testing::ReadFile;
using Vireo::Testing::WriteFile;

class DriverRun : public DriverFixture {};

TEST_F(DriverRun, NoArgumentPrintsUsageWithoutLineEndAndTouchesNothing) {
    const auto result = Vireo::Testing::Run(VIREO_DRIVER, {}, dir.path());
    EXPECT_EQ(result.exitStatus, 255);
    EXPECT_EQ(result.standardOutput, "need argument: path to config file");
    EXPECT_FALSE(Exists(dir / "settings.cfg"));
}

// The template replaces what was there and the run stops with status 1,
// reporting success even when the file cannot be written. The message keeps
// its typo ("genrated generated"): scripts match that exact text.
TEST_F(DriverRun, GencfgWritesTheTemplateAndStopsWithOne) {
    char real[PATH_MAX];
    ASSERT_NE(realpath(dir.path().c_str(), real), nullptr);
    const std::string printed =
        std::string(real) + "/settings.cfg\nTemplate Cfg are genrated generated successfully!\n";
    WriteFile(dir / "settings.cfg", "old contents that are longer than the template ...........");
    auto result = Vireo::Testing::Run(VIREO_DRIVER, {"-gencfg", "ignored"}, dir.path());
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.standardOutput, printed);
    EXPECT_EQ(ReadFile(dir / "settings.cfg"),
              "tuningFile=\nawbDLL=\nawbSimWrapperDLL=\ndataDir=\noutputDir=\n");
    // Neither an output folder nor an output file on this path.
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(dir.path())) {
        names.push_back(entry.path().filename().string());
    }
    EXPECT_EQ(names, std::vector<std::string>{"settings.cfg"});

    std::filesystem::remove(dir / "settings.cfg");
    Vireo::Testing::MakeDirs(dir / "settings.cfg");  // not openable for writing, even as root
    result = Vireo::Testing::Run(VIREO_DRIVER, {"-gencfg"}, dir.path());
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.standardOutput, printed);
    EXPECT_TRUE(std::filesystem::is_directory(dir / "settings.cfg"));
}

TEST_F(DriverRun, UnreadableConfigurationStopsBeforeAnyOutput) {
    const auto result = Vireo::Testing::Run(VIREO_DRIVER, {dir / "missing.cfg"}, dir.path());
    EXPECT_EQ(result.exitStatus, 255);
    EXPECT_EQ(result.standardOutput, "Unable to open/read configuration file\n");
    EXPECT_FALSE(Exists(dir / "awbSimulationOutput.txt"));
}

// Every scene, missing or empty (an empty folder lists only "." and ".."),
// gets a wrapper of its own and no sample call. The side files are empty at
// every scene start: the wrapper appends a line to both at every Destroy and
// logs their sizes when the next scene creates it. "mapped" is logged each
// time the library is loaded, so an unmap between scenes would show twice.
TEST_F(DriverRun, EveryScenePutsUpAWrapperWithEmptySideFilesAndOneMapping) {
    Vireo::Testing::MakeDirs(data + "/ball");
    Vireo::Testing::MakeDirs(data + "/outdoor_2");
    const std::string summary = out + "/Summary.txt";
    const std::string agwdcn = out + "/agwdcn.txt";
    environment = {"VIREO_RECORDING_WATCH=" + summary + ":" + agwdcn};
    const auto result = RunDriver();
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.standardOutput, "");
    std::vector<std::string> expected = {"mapped"};
    for (int scene = 0; scene < 8; ++scene) {
        std::vector<std::string> setUp = SceneSetUp();
        setUp.insert(setUp.begin() + 1, {"watch " + summary + " 0", "watch " + agwdcn + " 0"});
        expected.insert(expected.end(), setUp.begin(), setUp.end());
        expected.push_back("Destroy");
    }
    EXPECT_EQ(Calls(), expected);
    EXPECT_EQ(ReadFile(out + "/awbSimulationOutput.txt"), "");
}

TEST_F(DriverRun, FailedLoadAWBAlgorithmIsIgnored) {
    environment = {"VIREO_RECORDING_ALGORITHM_RESULT=-1"};
    WriteFile(tuning, "output=1 1 1 5000 0\n");
    AddSample("indoor_4", "s.txt",
              Vireo::Testing::SampleFileText(Vireo::Testing::MakeSample(1, 1)));
    const auto result = RunDriver();
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.standardOutput, "");
    EXPECT_EQ(CallsNamed("LoadTuningData").size(), 8u);
    EXPECT_EQ(CallsNamed("InitializeAlgorithm").size(), 8u);
    EXPECT_EQ(Vireo::Testing::ReadLines(out + "/awbSimulationOutput.txt").size(), 7u);
}

struct SetUpFailure {
    const char* name;
    const char* wrapperPath;  // nullptr for the recording wrapper
    std::string tuningText;
    std::string environment;
    std::string message;
    enum Reached { kNothing, kNullFactory, kTuning } reached;  // calls the wrapper saw
};

void PrintTo(const SetUpFailure& failure, std::ostream* os) { *os << failure.name; }

class DriverSetUpFailure : public DriverFixture,
                           public testing::WithParamInterface<SetUpFailure> {};

TEST_P(DriverSetUpFailure, EndsTheRunAfterTheFirstScene) {
    const SetUpFailure& c = GetParam();
    if (c.wrapperPath != nullptr) {
        wrapper = c.wrapperPath;
    }
    WriteFile(tuning, c.tuningText);
    if (!c.environment.empty()) {
        environment.push_back(c.environment);
    }
    AddSample("chart", "sample.txt",
              Vireo::Testing::SampleFileText(Vireo::Testing::MakeSample(2, 1)));
    Vireo::Testing::MakeDirs(out);
    WriteFile(out + "/awbSimulationOutput.txt", "stale record\n");

    const auto result = RunDriver();
    EXPECT_EQ(result.exitStatus, 255);
    EXPECT_EQ(result.standardOutput, c.message + "\n");
    std::vector<std::string> expected;
    if (c.reached == SetUpFailure::kNullFactory) {
        expected = {"create null"};
    } else if (c.reached == SetUpFailure::kTuning) {
        // No InitializeAlgorithm, no samples and no Destroy after it.
        expected = {"create", SceneSetUp()[1], SceneSetUp()[2]};
    }
    EXPECT_EQ(Calls(), expected);
    EXPECT_TRUE(Exists(out + "/awbSimulationOutput.txt"));
    EXPECT_EQ(ReadFile(out + "/awbSimulationOutput.txt"), "");
}

INSTANTIATE_TEST_SUITE_P(
    Cases, DriverSetUpFailure,
    testing::Values(
        SetUpFailure{"WrongLibraryPath", "/nonexistent/libwrapper.so", "", "",
                     "Unable to load AWBSimulationWrapper library", SetUpFailure::kNothing},
        // The untouched template leaves the library path empty.
        SetUpFailure{"EmptyLibraryPath", "", "", "", "Unable to load AWBSimulationWrapper library",
                     SetUpFailure::kNothing},
        SetUpFailure{"LibraryWithoutFactory", VIREO_NO_FACTORY_WRAPPER, "", "",
                     "Unable to find CreateAWBSimulationWrapper", SetUpFailure::kNothing},
        SetUpFailure{"FactoryReturnsNull", nullptr, "", "VIREO_RECORDING_FACTORY_NULL=1",
                     "CreateAWBSimulationWrapper returned no wrapper object",
                     SetUpFailure::kNullFactory},
        SetUpFailure{"TuningReturnsOne", nullptr, "load_result=1\n", "",
                     "Error in reading TintraBinaryParameterSet.bin file", SetUpFailure::kTuning},
        SetUpFailure{"TuningReturnsMinusOne", nullptr, "load_result=-1\n", "",
                     "Error in reading TintraBinaryParameterSet.bin file", SetUpFailure::kTuning}),
    [](const testing::TestParamInfo<SetUpFailure>& info) { return std::string(info.param.name); });

class DriverOutputFolder : public DriverFixture {};

TEST_F(DriverOutputFolder, ExistingFolderIsUsedAndItsResultsTruncated) {
    Vireo::Testing::MakeDirs(out);
    WriteFile(out + "/awbSimulationOutput.txt", "stale\n");
    WriteFile(out + "/Summary.txt", "stale\n");
    WriteFile(out + "/keep.txt", "mine\n");
    EXPECT_EQ(RunDriver().exitStatus, 0);
    EXPECT_EQ(ReadFile(out + "/awbSimulationOutput.txt"), "");
    EXPECT_EQ(ReadFile(out + "/Summary.txt"), "");
    EXPECT_EQ(ReadFile(out + "/keep.txt"), "mine\n");
}

TEST_F(DriverOutputFolder, FolderWithMissingParentIsNotMadeButTheRunGoesOn) {
    const std::string deep = dir / "no/such/parent/out";
    WriteConfig(deep);
    WriteFile(tuning, "output=1 1 1 5000 0\n");
    AddSample("indoor_1", "sample.txt",
              Vireo::Testing::SampleFileText(Vireo::Testing::MakeSample(2, 1)));
    const auto result = RunDriver();
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.standardOutput, "");
    EXPECT_FALSE(Exists(dir / "no"));
    EXPECT_EQ(CallsNamed("RunSimulation").size(), 1u);
}

}  // namespace
