// vireo-score as CI runs it: table, CSV and the exit status that gates a
// tuning change.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "GroundTruth.h"
#include "TestSupport.h"

namespace {

using Vireo::Datagen::TruthRow;

std::string Record(const std::string& path, double r, double b, int cct) {
    return path + "\nr_gain : " + std::to_string(r) +
           "\ng_gain : 1\nb_gain : " + std::to_string(b) + "\ncct    : " + std::to_string(cct) +
           "\ndebugDataSize : 0\n\n";
}

class ScoreProgram : public testing::Test {
protected:
    void SetUp() override {
        // Two scenes; the truth's white is (0.5, 1, 0.5) everywhere at 5000 K.
        std::string truth = Vireo::Datagen::GroundTruthHeader();
        for (const char* path : {"ball/s1.txt", "ball/s2.txt", "chart/s1.txt"}) {
            TruthRow row;
            row.path = path;
            row.scene = std::string(path).substr(0, std::string(path).find('/'));
            row.illuminant = "D50";
            row.kind = "daylight";
            row.cct = 5000;
            row.whiteRG = row.whiteBG = 0.5;
            row.gainR = row.gainB = 2;
            truth += Vireo::Datagen::FormatTruthRow(row);
        }
        Vireo::Testing::WriteFile(dir / "truth.csv", truth);
        // Exact on ball/s1 and chart; ball/s2 has gains (1, 1, 2): white
        // (1, 1, 0.5) against (0.5, 1, 0.5) is acos(1.75 / sqrt(2.25 * 1.5)) =
        // 17.7155 degrees, and 4000 K is 50 mired off.
        Vireo::Testing::WriteFile(dir / "out.txt", Record("/d/ball/s1.txt", 2, 2, 5000) +
                                                       Record("/d/ball/s2.txt", 1, 2, 4000) +
                                                       Record("/d/chart/s1.txt", 2, 2, 5000));
    }
    Vireo::Testing::RunResult Score(std::vector<std::string> extra) {
        std::vector<std::string> args = {"--results", dir / "out.txt", "--truth",
                                         dir / "truth.csv"};
        args.insert(args.end(), extra.begin(), extra.end());
        return Vireo::Testing::Run(VIREO_SCORE_EXE, args, dir.path());
    }
    Vireo::Testing::TempDir dir;
};

TEST_F(ScoreProgram, TablePerSceneAndCsvRows) {
    const auto table = Score({});
    EXPECT_EQ(table.exitStatus, 0);
    for (const char* row : {"ball          2    8.86    8.86", "chart         1    0.00    0.00",
                            "overall       3    5.91    0.00"})
        EXPECT_NE(table.standardOutput.find(row), std::string::npos) << table.standardOutput;
    const auto csv = Score({"--csv"});
    EXPECT_EQ(csv.exitStatus, 0);
    for (const char* row :
         {"scene,method,n,mean,median,trimean,best25,worst25,mired_mean,missing\n",
          "ball,awb,2,8.8577,8.8577,8.8577,0.0000,17.7155,25.000,0\n"})
        EXPECT_NE(csv.standardOutput.find(row), std::string::npos) << csv.standardOutput;
}

TEST_F(ScoreProgram, ExitStatusGatesOnTheLimitsAndFailsOnBadInput) {
    const struct {
        std::vector<std::string> args;
        int status;
        const char* results;  // replaces out.txt unless null
    } cases[] = {
        {{"--max-median", "0.5"}, 0, nullptr},
        {{"--max-mean", "5"}, 1, nullptr},
        {{"--max-mean", "6"}, 0, nullptr},
        {{"--max-worst25", "17"}, 1, nullptr},
        {{"--max-worst25", "17.8"}, 0, nullptr},
        {{"--max-mired", "16.6"}, 1, nullptr},
        {{"--max-mired", "16.7"}, 0, nullptr},
        {{"--max-median", "x"}, 2, nullptr},
        {{"--beat-grey-world"}, 2, nullptr},
        {{}, 1, "/d/ball/s1.txt"},   // two samples without a result
        {{}, 2, "/d/other/s9.txt"},  // nothing matches
        {{}, 2, ""},                 // a cut record
    };
    for (const auto& c : cases) {
        if (c.results != nullptr) {
            Vireo::Testing::WriteFile(dir / "out.txt", *c.results ? Record(c.results, 2, 2, 5000)
                                                                  : "/d/ball/s1.txt\nr_gain : 2\n");
        }
        EXPECT_EQ(Score(c.args).exitStatus, c.status)
            << testing::PrintToString(c.args) << (c.results ? c.results : "");
    }
    std::remove((dir / "out.txt").c_str());
    EXPECT_EQ(Score({}).exitStatus, 2);
}

TEST_F(ScoreProgram, PerSampleRowsAndDataSetIdentity) {
    const auto rows = Score({"--csv", "--per-sample"});
    EXPECT_EQ(rows.exitStatus, 0);
    EXPECT_EQ(rows.standardOutput,
              "scene,file,r_gain,g_gain,b_gain,cct,truth_cct,angular_error,mired_error,"
              "grey_world_error\n"
              "ball,s1.txt,2,1,2,5000,5000,0.0000,0.000,\n"
              "ball,s2.txt,1,1,2,4000,5000,17.7155,50.000,\n"
              "chart,s1.txt,2,1,2,5000,5000,0.0000,0.000,\n");
    // The truth's data set against the identity a run left beside its results.
    Vireo::Testing::WriteFile(dir / "dataset.id", "00000000000000aa\n");
    Vireo::Testing::MakeDirs(dir / "run");
    Vireo::Testing::WriteFile(dir / "run/out.txt", Vireo::Testing::ReadFile(dir / "out.txt"));
    const std::vector<std::string> args = {"--results", dir / "run/out.txt", "--truth",
                                           dir / "truth.csv"};
    for (const auto& [id, status] :
         {std::pair{"00000000000000aa\n", 0}, {"00000000000000bb\n", 2}}) {
        Vireo::Testing::WriteFile(dir / "run/dataset.id", id);
        EXPECT_EQ(Vireo::Testing::Run(VIREO_SCORE_EXE, args, dir.path()).exitStatus, status) << id;
    }
}

}  // namespace
