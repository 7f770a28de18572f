// Samples carried through the real driver and readers into the recording
// wrapper: the calls and bytes the wrapper sees, and the results file.
#include <dirent.h>

#include <cstring>
#include <string>
#include <vector>

#include "DriverFixture.h"
#include "SampleReaders.h"

namespace {

using Vireo::Testing::Hex;
using Vireo::Testing::ReadFile;
using Vireo::Testing::SampleFileText;
using Vireo::Testing::WriteFile;

// The word after the call name: the address a placeholder record had.
std::string Address(const std::string& call) {
    const size_t start = call.find("0x");
    return call.substr(start, call.find(' ', start) - start);
}
std::string Words(const std::string& call) { return call.substr(call.rfind(' ') + 1); }

class SampleFlow : public DriverFixture {};

TEST_F(SampleFlow, WrapperSeesTheFixedSequenceAndTheSampleBytes) {
    WriteFile(tuning, "output=1.5 1 2 5000 64\n");
    const std::string path =
        AddSample("chart", "s1.txt", SampleFileText(Vireo::Testing::MakeSample(2, 1)));
    const auto result = RunDriver();
    ASSERT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.standardOutput, "");

    // Scene "ball" is missing: set-up and Destroy only. "chart" has one sample.
    const std::vector<std::string> calls = Calls();
    std::string names;
    for (size_t i = 5; i < 5 + 4 + 16 + 1; ++i)
        names += calls.at(i).substr(0, calls[i].find(' ')) + " ";
    EXPECT_EQ(names,
              "create LoadAWBAlgorithm LoadTuningData InitializeAlgorithm SetCalibrationData "
              "SetExtraInfoA SetExtraInfoB SetExtraInfoG SetExtraInfoE SetExtraInfoF SetExtraInfoH "
              "SetExtraInfoC SetExtraInfoD SetFrameDimensions SetBGStatsConfig SetBGChannelInfo "
              "SetBGStatsInfo SetAuxiliaryInfo RunSimulation GetOutput Destroy ");

    // The records as the driver's readers fill them (their own tests check
    // the reading), handed over unchanged; what the readers never write is 0.
    std::string sample = path;
    Vireo::ChannelData header{};
    std::vector<StatsBayerGridChannelInfoS> regions(2, StatsBayerGridChannelInfoS{});
    Vireo::CalibrationData calibration{};
    ASSERT_EQ(Vireo::ParseBGStatsInfo(sample.data(), &header), 0);
    ASSERT_EQ(Vireo::ParseBGChannelInfo(sample.data(), 2, regions.data()), 0);
    ASSERT_EQ(Vireo::ParseCalibrationInfo(sample.data(), &calibration), 0);
    EXPECT_EQ(CallsNamed("SetBGStatsInfo").at(0),
              "SetBGStatsInfo " + Hex(&header, sizeof header) +
                  " regions=" + Hex(regions.data(), regions.size() * sizeof regions[0]));
    EXPECT_EQ(
        CallsNamed("SetCalibrationData").at(0),
        "SetCalibrationData " + Hex(calibration.moduleCalibrationFactors, 22 * sizeof(float)));
    EXPECT_EQ(CallsNamed("SetBGStatsConfig").at(0), "SetBGStatsConfig 2 1 10 32 24");
    EXPECT_EQ(CallsNamed("SetExtraInfoA").at(0), "SetExtraInfoA 0");
    EXPECT_EQ(CallsNamed("SetFrameDimensions").at(0), "SetFrameDimensions 4608 3456");
    EXPECT_EQ(CallsNamed("SetAuxiliaryInfo").at(0), "SetAuxiliaryInfo " + std::string(64, '0'));

    EXPECT_EQ(
        ReadFile(out + "/awbSimulationOutput.txt"),
        path + "\nr_gain : 1.5\ng_gain : 1\nb_gain : 2\ncct    : 5000\ndebugDataSize : 64\n\n");
}

TEST_F(SampleFlow, PlaceholdersAreRestoredAtEveryFeedAndKeepTheirAddresses) {
    WriteFile(tuning, "scribble=1\noutput=1 1 1 1 1\n");
    for (const char* scene : {"ball", "chart", "outdoor_2"}) {
        AddSample(scene, "s.txt", SampleFileText(Vireo::Testing::MakeSample(1, 2)));
    }
    ASSERT_EQ(RunDriver().exitStatus, 0);
    const auto g = CallsNamed("SetExtraInfoG");
    const auto e = CallsNamed("SetExtraInfoE");
    const auto f = CallsNamed("SetExtraInfoF");
    const auto h = CallsNamed("SetExtraInfoH");
    const auto c = CallsNamed("SetExtraInfoC");
    const auto b = CallsNamed("SetExtraInfoB");
    const auto d = CallsNamed("SetExtraInfoD");
    ASSERT_EQ(g.size(), 3u);
    for (size_t feed = 0; feed < 3; ++feed) {
        EXPECT_EQ(Words(g[feed]), "ffffff7f");
        EXPECT_EQ(Words(e[feed]), "ffffffff" + std::string(40, '0'));
        EXPECT_EQ(Words(f[feed]), Words(e[feed]));
        EXPECT_EQ(Address(f[feed]), Address(e[feed]));
        EXPECT_EQ(Words(h[feed]), std::string(32, '0'));
        EXPECT_EQ(Words(c[feed]).substr(0, 8), "00000000");
        for (const auto* calls : {&g, &e, &h, &c, &b, &d}) {
            EXPECT_EQ(Address((*calls)[feed]), Address((*calls)[0]));
        }
    }
    // Never rewritten: the first feed sees zeros, later feeds what the
    // wrapper scribbled (0x5A5A0000 + word index).
    EXPECT_EQ(Words(b[0]), std::string(32, '0'));
    EXPECT_EQ(Words(b[1]), "00005a5a01005a5a02005a5a03005a5a");
    EXPECT_EQ(Words(c[2]).substr(8, 8), "01005a5a");
    EXPECT_EQ(Words(d[1]).substr(0, 16), "00005a5a01005a5a");
}

// The non-hidden names of a scene folder in the order the driver lists them.
std::vector<std::string> Listing(const std::string& folder) {
    std::vector<std::string> names;
    DIR* listing = opendir(folder.c_str());
    while (listing != nullptr) {
        const dirent* entry = readdir(listing);
        if (entry == nullptr) break;
        if (entry->d_name[0] != '.') names.push_back(entry->d_name);
    }
    if (listing != nullptr) closedir(listing);
    return names;
}

// Each sample of a scene gets the next output of its wrapper, in listing
// order; a null output leaves no record, and the numbers keep the output
// stream's default notation (%g, six digits).
TEST_F(SampleFlow, OneRecordPerOutputInListingOrderWithExactNumberFormats) {
    WriteFile(tuning,
              "output=1.5 1.23456789 0.00001 6500 0\n"
              "output=null\n"
              "output=2 1234567 -0 4294967295 1024\n"
              "output=nan inf 0.0001 0 7\n");
    const std::vector<std::string> printed = {
        "r_gain : 1.5\ng_gain : 1.23457\nb_gain : 1e-05\ncct    : 6500\ndebugDataSize : 0\n\n", "",
        "r_gain : 2\ng_gain : 1.23457e+06\nb_gain : -0\ncct    : 4294967295\n"
        "debugDataSize : 1024\n\n",
        "r_gain : nan\ng_gain : inf\nb_gain : 0.0001\ncct    : 0\ndebugDataSize : 7\n\n"};
    for (const char* name : {"a.txt", "name.with.dots", "c", "d"}) {
        AddSample("outdoor_1", name, SampleFileText(Vireo::Testing::MakeSample(1, 3)));
    }
    AddSample("outdoor_1", ".hidden", "not a sample");
    // A scene later in the walk, with a fresh wrapper: its first output again.
    const std::string last =
        AddSample("outdoor_2", "z", SampleFileText(Vireo::Testing::MakeSample(1, 1)));
    const auto result = RunDriver();
    ASSERT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.standardOutput, "");

    std::string expected;
    const std::vector<std::string> names = Listing(data + "/outdoor_1");
    ASSERT_EQ(names.size(), 4u);
    for (size_t i = 0; i < names.size(); ++i) {
        if (!printed[i].empty()) expected += data + "/outdoor_1/" + names[i] + "\n" + printed[i];
    }
    expected += last + "\n" + printed[0];
    EXPECT_EQ(ReadFile(out + "/awbSimulationOutput.txt"), expected);
}

// An unreadable sample and a negative region count each end their scene
// where the listing reaches them, set the status, and the walk goes on.
TEST_F(SampleFlow, SceneEndingFailuresStopTheirSceneOnlyAndSetTheStatus) {
    WriteFile(tuning, "output=1 1 1 5000 0\n");
    for (const char* name : {"a", "b", "c", "d", "e", "f"}) {
        AddSample("ball", name, SampleFileText(Vireo::Testing::MakeSample(1, 1)));
    }
    const std::string dangling = data + "/ball/dangling";
    ASSERT_EQ(symlink("/nonexistent/sample", dangling.c_str()), 0);
    Vireo::Testing::SampleText negative = Vireo::Testing::MakeSample(1, 1);
    ValueText(negative, Vireo::kTotalRegionCountKey) = "-1";
    const std::string bad = AddSample("chart", "negative", SampleFileText(negative));
    const std::string good =
        AddSample("indoor_3", "good", SampleFileText(Vireo::Testing::MakeSample(1, 1)));

    std::vector<std::string> expected;
    for (const std::string& name : Listing(data + "/ball")) {
        if (name == "dangling") break;
        expected.push_back(data + "/ball/" + name);
    }
    expected.push_back(good);

    const auto result = RunDriver();
    EXPECT_EQ(result.exitStatus, 255);
    EXPECT_EQ(result.standardOutput,
              "Unable to open file:" + dangling + "\nError in reading parser bg stats info for " +
                  dangling + "\nError in allocating buffer for bg channel info for " + bad + "\n");
    EXPECT_EQ(CallsNamed("Destroy").size(), 8u);
    std::vector<std::string> written;
    const auto lines = Vireo::Testing::ReadLines(out + "/awbSimulationOutput.txt");
    for (size_t line = 0; line < lines.size(); line += 7) written.push_back(lines[line]);
    EXPECT_EQ(written, expected);
}

TEST_F(SampleFlow, PathsLongerThan255AreCutAndTheCutPathIsRead) {
    WriteFile(tuning, "output=1 1 1 5000 0\n");
    const std::string sceneDir = data + "/ball/";
    ASSERT_LT(sceneDir.size(), 200u);
    const std::string longName(260 - sceneDir.size(), 'n');
    const std::string cutName = longName.substr(0, 255 - sceneDir.size());
    AddSample("ball", longName, SampleFileText(Vireo::Testing::MakeSample(1, 1)));
    AddSample("ball", cutName, SampleFileText(Vireo::Testing::MakeSample(1, 2)));
    ASSERT_EQ(RunDriver().exitStatus, 0);
    const auto lines = Vireo::Testing::ReadLines(out + "/awbSimulationOutput.txt");
    ASSERT_EQ(lines.size(), 14u);
    EXPECT_EQ(lines[0], sceneDir + cutName);
    EXPECT_EQ(lines[7], sceneDir + cutName);
    // Both records were read from the cut path: the same lux index twice.
    const auto stats = CallsNamed("SetBGStatsInfo");
    EXPECT_EQ(stats.at(0).substr(0, 23), stats.at(1).substr(0, 23));
}

TEST_F(SampleFlow, FieldsAReaderLeavesAloneCarryOverToTheNextSample) {
    WriteFile(tuning, "output=1 1 1 5000 0\n");
    AddSample("ball", "first", SampleFileText(Vireo::Testing::MakeSample(1, 1)));
    Vireo::Testing::SampleText second = Vireo::Testing::MakeSample(1, 2);
    ValueText(second, Vireo::kNumCalibrationFactorsKey) = "0";  // factors 1.0, LED point kept
    AddSample("chart", "second", SampleFileText(second));
    ASSERT_EQ(RunDriver().exitStatus, 0);
    float expected[22];
    for (int i = 0; i < 20; ++i) {
        expected[i] = 1.0f;
    }
    expected[20] = 0.5f;
    expected[21] = 0.25f;
    EXPECT_EQ(CallsNamed("SetCalibrationData").at(1),
              "SetCalibrationData " + Hex(expected, sizeof expected));
}

}  // namespace
