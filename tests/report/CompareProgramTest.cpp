// vireo-compare on hand-made results with known answers, and vireo-run end
// to end on a small generated data set.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "GroundTruth.h"
#include "TestSupport.h"

namespace {

std::string Record(const std::string& path, double r, double b, int cct) {
    return path + "\nr_gain : " + std::to_string(r) +
           "\ng_gain : 1\nb_gain : " + std::to_string(b) + "\ncct    : " + std::to_string(cct) +
           "\ndebugDataSize : 0\n\n";
}

class CompareProgram : public testing::Test {
protected:
    void SetUp() override {
        // Truth: white (0.5, 1, 0.5), gains (2, 1, 2). Gains (1, 1, 2) are
        // 17.7155 degrees off it (acos(1.75 / sqrt(2.25 * 1.5))).
        std::string truth = Vireo::Datagen::GroundTruthHeader();
        for (const char* path : {"ball/s1.txt", "ball/s2.txt", "chart/s1.txt"}) {
            Vireo::Datagen::TruthRow row;
            row.path = path;
            row.scene = std::string(path).substr(0, std::string(path).find('/'));
            row.illuminant = "D50", row.kind = "daylight", row.cct = 5000;
            row.whiteRG = row.whiteBG = 0.5;
            Vireo::Testing::WriteFile(dir / "truth.csv",
                                      truth += Vireo::Datagen::FormatTruthRow(row));
        }
        // ball/s2 gets better by exactly as much as chart/s1 gets worse (a
        // tie, broken by scene order); ball/s1 stays; indoor_1/x is lost in
        // B and outdoor_1/y new in B.
        Vireo::Testing::WriteFile(dir / "a.txt", Record("/d/ball/s1.txt", 2, 2, 5000) +
                                                     Record("/d/ball/s2.txt", 1, 2, 4000) +
                                                     Record("/d/chart/s1.txt", 2, 2, 5000) +
                                                     Record("/d/indoor_1/x.txt", 2, 2, 5000));
        Vireo::Testing::WriteFile(dir / "b.txt", Record("/e/chart/s1.txt", 1, 2, 4000) +
                                                     Record("/e/ball/s2.txt", 2, 2, 5000) +
                                                     Record("/e/ball/s1.txt", 2, 2, 5000) +
                                                     Record("/e/outdoor_1/y.txt", 2, 2, 5000));
        Vireo::Testing::WriteFile(dir / "twice.txt", Record("/d/ball/s1.txt", 2, 2, 5000) +
                                                         Record("/d/ball/s1.txt", 1, 2, 5000));
    }
    Vireo::Testing::RunResult Compare(const std::vector<std::string>& args) {
        std::vector<std::string> full;
        for (const std::string& a : args) full.push_back(a.size() > 4 && a[1] == '.' ? dir / a : a);
        return Vireo::Testing::Run(VIREO_COMPARE_EXE, full, dir.path());
    }
    Vireo::Testing::TempDir dir;
};

TEST_F(CompareProgram, CsvPairsLargestChangeFirstWithTiesMissingAndUnchanged) {
    const auto r = Compare({"a.txt", "b.txt", "--truth", "truth.csv", "--csv"});
    EXPECT_EQ(r.exitStatus, 0);
    EXPECT_EQ(r.standardOutput,
              "scene,file,r_gain_a,b_gain_a,cct_a,r_gain_b,b_gain_b,cct_b,white_angle,cct_change,"
              "error_a,error_b,error_change,verdict\n"
              "ball,s2.txt,1.000000,2.000000,4000,2.000000,2.000000,5000,17.7155,1000,17.7155,"
              "0.0000,-17.7155,improved\n"
              "chart,s1.txt,2.000000,2.000000,5000,1.000000,2.000000,4000,17.7155,-1000,0.0000,"
              "17.7155,17.7155,worsened\n"
              "ball,s1.txt,2.000000,2.000000,5000,2.000000,2.000000,5000,0.0000,0,0.0000,0.0000,"
              "0.0000,unchanged\n"
              "indoor_1,x.txt,2.000000,2.000000,5000,,,,,,,,,only_a\n"
              "outdoor_1,y.txt,,,,2.000000,2.000000,5000,,,,,,only_b\n");
    const auto table = Compare({"a.txt", "b.txt", "--truth", "truth.csv"});
    for (const char* row : {"ball           2        1        0         1      0      0      8.86",
                            "overall        5        1        1         1      1      1"}) {
        EXPECT_NE(table.standardOutput.find(row), std::string::npos) << table.standardOutput;
    }
}

TEST_F(CompareProgram, ExitStatus) {
    const struct {
        std::vector<std::string> args;
        int status;
    } cases[] = {
        {{"a.txt", "a.txt", "--truth", "truth.csv", "--fail-on-regression", "0"}, 0},
        {{"a.txt", "b.txt", "--truth", "truth.csv", "--fail-on-regression", "17.7"}, 1},
        // Within the limit, but indoor_1/x has no result in B.
        {{"a.txt", "b.txt", "--truth", "truth.csv", "--fail-on-regression", "18"}, 1},
        {{"b.txt", "a.txt", "--truth", "truth.csv", "--fail-on-regression", "18"}, 1},  // y lost
        {{"a.txt", "b.txt", "--fail-on-regression", "1"}, 2},  // needs the truth
        {{"twice.txt", "a.txt"}, 2},
        {{"a.txt", "twice.txt"}, 2},
        {{"a.txt", "missing.txt"}, 2},
        {{"a.txt"}, 2},
        {{"--help"}, 0},
    };
    for (const auto& c : cases) {
        const auto r = Compare(c.args);
        EXPECT_EQ(r.exitStatus, c.status) << c.args[0] << " " << c.args.back();
        if (c.status == 2) {
            EXPECT_EQ(r.standardOutput, "") << c.args[0];
        }
    }
}

TEST(RunProgram, TwoTuningsEndToEndAndMissingSamples) {
    Vireo::Testing::TempDir dir;
    ASSERT_EQ(
        Vireo::Testing::Run(VIREO_DATAGEN_EXE,
                            {"--out", dir / "data", "--samples", "2", "--grid", "16x12", "--quiet"},
                            dir.path())
            .exitStatus,
        0);
    const std::string yaml = Vireo::Testing::ReadFile(VIREO_DEFAULT_YAML);
    Vireo::Testing::WriteFile(dir / "wide.yaml", yaml + "transverse_limit: 0.1\n");
    const std::vector<std::string> args = {"--data",    dir / "data",     "--out",
                                           dir / "out", "--tuning",       VIREO_DEFAULT_YAML,
                                           "--tuning",  dir / "wide.yaml"};
    const auto run = Vireo::Testing::Run(VIREO_RUN_EXE, args, dir.path());
    EXPECT_EQ(run.exitStatus, 0);
    for (const char* name : {"default", "wide"}) {
        EXPECT_EQ(
            Vireo::Testing::ReadLines(dir / "out" + "/" + name + "/awbSimulationOutput.txt").size(),
            16u * 7u);
        EXPECT_NE(run.standardOutput.find(std::string(name) + " "), std::string::npos);
    }
    EXPECT_NE(run.standardOutput.find("16 of 16 samples"), std::string::npos) << run.standardOutput;
    // A sample the driver cannot open stops its scene. vireo-check names it
    // and nothing runs; run regardless, the samples left without a result
    // are counted.
    ASSERT_EQ(symlink("/nonexistent", (dir / "data/ball/sample_0000.txt").c_str()), 0);
    const auto checked = Vireo::Testing::Run(VIREO_RUN_EXE, args, dir.path());
    EXPECT_EQ(checked.exitStatus, 2);
    EXPECT_NE(checked.standardOutput.find("ball/sample_0000.txt: cannot be read"),
              std::string::npos)
        << checked.standardOutput;
    std::vector<std::string> unchecked = args;
    unchecked.push_back("--no-check");
    const auto missing = Vireo::Testing::Run(VIREO_RUN_EXE, unchecked, dir.path());
    EXPECT_EQ(missing.exitStatus, 1);
    EXPECT_NE(missing.standardOutput.find("15 of 17 samples"), std::string::npos)
        << missing.standardOutput;
    // Paths the driver's configuration cannot hold are refused up front.
    const auto blank = Vireo::Testing::Run(
        VIREO_RUN_EXE,
        {"--data", dir / "data", "--out", dir / "o u t", "--tuning", VIREO_DEFAULT_YAML},
        dir.path());
    EXPECT_EQ(blank.exitStatus, 2);
    EXPECT_FALSE(Vireo::Testing::Exists(dir / "o u t"));
}

}  // namespace
