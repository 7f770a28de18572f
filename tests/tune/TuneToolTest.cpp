// vireo-tune run as a program in a scratch folder: compile, dump, the golden
// version-1 tuning, and the YAML mistakes it must refuse.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "TestSupport.h"

namespace {

class TuneTool : public ::testing::Test {
protected:
    // Exit status; stdout and stderr land in out_ and err_.
    int Tool(const std::string& arguments) {
        const std::string command = std::string("'") + VIREO_TEST_TUNE_TOOL + "' " + arguments +
                                    " >'" + dir_ / "out" + "' 2>'" + dir_ / "err" + "'";
        const int status = std::system(command.c_str());
        out_ = Vireo::Testing::ReadFile(dir_ / "out");
        err_ = Vireo::Testing::ReadFile(dir_ / "err");
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    std::string Path(const char* name) const { return "'" + dir_ / name + "'"; }
    void Write(const char* name, const std::string& text) {
        Vireo::Testing::WriteFile(dir_ / name, text);
    }

    Vireo::Testing::TempDir dir_;
    std::string out_;
    std::string err_;
};

// golden/tuning-v1.bin was compiled from golden/tuning-v1.yaml (every key off
// its default) before format version 2. The YAML compiled, and the file dumped
// and compiled, must still give its bytes: users' tunings keep their values.
TEST_F(TuneTool, GoldenVersionOneTuningKeepsItsBytes) {
    const std::string golden = std::string(VIREO_TEST_GOLDEN_DIR) + "/tuning-v1";
    ASSERT_EQ(Tool("compile '" + golden + ".yaml' " + Path("a.bin")), 0) << err_;
    ASSERT_EQ(Tool("dump '" + golden + ".bin'"), 0) << err_;
    Write("dumped.yaml", out_);
    ASSERT_EQ(Tool("compile " + Path("dumped.yaml") + " " + Path("b.bin")), 0) << err_;
    const std::string bytes = Vireo::Testing::ReadFile(golden + ".bin");
    EXPECT_EQ(Vireo::Testing::ReadFile(dir_ / "a.bin"), bytes);
    EXPECT_EQ(Vireo::Testing::ReadFile(dir_ / "b.bin"), bytes);
}

TEST_F(TuneTool, CalibratedKeysAloneCompileAndDumpShowsTheDefaults) {
    Write("min.yaml",
          "ct_curve:\n  - [2856, 0.9, 0.35]\n  - [6504, 0.5, 0.66]\ngrey_zone_width: 0.08\n");
    ASSERT_EQ(Tool("compile " + Path("min.yaml") + " " + Path("min.bin")), 0) << err_;
    ASSERT_EQ(Tool("dump " + Path("min.bin")), 0) << err_;
    for (const char* line : {"mode: bayes\n", "  - [2856, 0.9, 0.35]\n", "grey_zone_width: 0.08\n",
                             "default_ct: 5000\n", "likelihood_sigma: 0.03\n",
                             "lux_index_indoor: 320\n", "prior_indoor:\n"}) {
        EXPECT_NE(out_.find(line), std::string::npos) << line << " not in\n" << out_;
    }
}

struct BadYaml {
    const char* name;
    const char* text;  // after a good two-point curve when `withCurve`
    const char* reason;
    bool withCurve;
};

class TuneToolRefuses : public TuneTool, public ::testing::WithParamInterface<BadYaml> {};

TEST_P(TuneToolRefuses, BadYamlWithOneLineAndNoOutputFile) {
    const BadYaml& bad = GetParam();
    Write("bad.yaml",
          std::string(bad.withCurve ? "ct_curve: [[2850, 0.85, 0.36], [6500, 0.5, 0.64]]\n" : "") +
              bad.text);
    EXPECT_EQ(Tool("compile " + Path("bad.yaml") + " " + Path("bad.bin")), 1);
    EXPECT_EQ(err_.find('\n'), err_.size() - 1) << err_;
    EXPECT_NE(err_.find(bad.reason), std::string::npos) << err_;
    EXPECT_FALSE(Vireo::Testing::Exists(dir_ / "bad.bin"));
}

INSTANTIATE_TEST_SUITE_P(
    Mistakes, TuneToolRefuses,
    ::testing::Values(
        BadYaml{"NoCurve", "grey_zone_width: 0.1\n", "ct_curve is required", false},
        BadYaml{"UnknownKey", "grey_zone: 1\n", "unknown key 'grey_zone'", true},
        BadYaml{"OnePoint", "ct_curve: [[2850, 0.85, 0.36]]\n", "2 to 32 points", false},
        BadYaml{"Descending", "ct_curve: [[6500, 0.5, 0.64], [2850, 0.85, 0.36]]\n", "ascending",
                false},
        BadYaml{"ShortRow", "ct_curve: [[2850, 0.85], [6500, 0.5, 0.64]]\n", "3 numbers", false},
        BadYaml{"NotANumber", "likelihood_sigma: wide\n", "must be a number", true},
        BadYaml{"BadMode", "mode: max_rgb\n", "grey_world or learned", true},
        BadYaml{"LearnedWithoutModel", "mode: learned\n", "learned model", true},
        BadYaml{"DefaultOffCurve", "default_ct: 9000\n", "default_ct", true},
        BadYaml{"LuxOrder", "lux_index_outdoor: 400\n", "lux_index_outdoor", true},
        BadYaml{"ZeroPriorWeight", "prior_indoor: [[3000, 0]]\n", "weight", true},
        BadYaml{"NotYaml", "ct_curve: [[2850, 0.85\n", "not valid YAML", false},
        BadYaml{"NotAMapping", "- 1\n- 2\n", "mapping", false}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(TuneTool, DumpRefusesABrokenFileAndUsageIsExplained) {
    Write("broken.bin", "VWBT\x01");
    EXPECT_EQ(Tool("dump " + Path("broken.bin")), 1);
    EXPECT_NE(err_.find("truncated"), std::string::npos) << err_;
    EXPECT_EQ(Tool("frobnicate"), 2);
    EXPECT_NE(err_.find("usage: vireo-tune compile"), std::string::npos) << err_;
}

}  // namespace

#ifdef VIREO_DATAGEN_EXE
// learn and crossval on a small generated data set: a learned tuning that
// compiles as format version 4, the curve's CT source named, and errors on
// held-out folds well below grey world's.
TEST_F(TuneTool, LearnedTuningCompilesAndCrossValidationBeatsGreyWorld) {
    const std::string data = dir_ / "data";
    ASSERT_EQ(std::system(("'" + std::string(VIREO_DATAGEN_EXE) + "' --out '" + data +
                           "' --samples 3 --seed 2 >/dev/null")
                              .c_str()),
              0);
    ASSERT_EQ(Tool("learn --data '" + data + "' --out " + Path("t.yaml")), 0) << err_;
    const std::string yaml = Vireo::Testing::ReadFile(dir_ / "t.yaml");
    EXPECT_NE(yaml.find("from the ground truth's CCT (24 of 24 whites)"), std::string::npos);
    EXPECT_NE(yaml.find("mode: learned\n"), std::string::npos);
    ASSERT_EQ(Tool("compile " + Path("t.yaml") + " " + Path("t.bin")), 0) << err_;
    EXPECT_EQ(Vireo::Testing::ReadFile(dir_ / "t.bin")[4], 4);

    ASSERT_EQ(Tool("crossval --data '" + data + "' --folds 2 --csv"), 0) << err_;
    double learned[5] = {}, grey[5] = {};
    int n = 0;
    ASSERT_EQ(std::sscanf(out_.c_str(),
                          "method,n,mean,median,trimean,best25,worst25\nlearned,%d,%lf,%lf,%lf,%lf,"
                          "%lf\ngrey_world,%*d,%lf,%lf,%lf,%lf,%lf\nshades_of_grey,",
                          &n, &learned[0], &learned[1], &learned[2], &learned[3], &learned[4],
                          &grey[0], &grey[1], &grey[2], &grey[3], &grey[4]),
              11)
        << out_;
    EXPECT_EQ(n, 24);
    EXPECT_LT(learned[0], 0.6 * grey[0]) << out_;
    EXPECT_LT(learned[1], 0.6 * grey[1]) << out_;

    // Without CCTs in the truth and without a profile: the documented fallback.
    std::string truth;
    for (const std::string& line : Vireo::Testing::ReadLines(data + "/ground_truth.csv")) {
        size_t at = 0;
        for (int comma = 0; comma < 4; ++comma) at = line.find(',', at) + 1;
        truth += truth.empty() ? line + "\n"
                               : line.substr(0, at) + line.substr(line.find(',', at)) + "\n";
    }
    Write("nocct.csv", truth);
    ASSERT_EQ(Tool("learn --data '" + data + "' --truth " + Path("nocct.csv") + " --out " +
                   Path("f.yaml")),
              0)
        << err_;
    EXPECT_NE(Vireo::Testing::ReadFile(dir_ / "f.yaml")
                  .find("a fallback (no CCT in the truth, no --profile)"),
              std::string::npos);

    // Whites spread over more than the default grid (their ln(R/G) and
    // ln(B/G) stretched fourfold about their means) widen the bins instead
    // of falling off the grid; whites that fit keep the default bins of 1/16.
    EXPECT_NE(yaml.find("bin_width: 0.0625\n"), std::string::npos);
    const std::vector<std::string> lines = Vireo::Testing::ReadLines(data + "/ground_truth.csv");
    std::vector<size_t> from(lines.size()), to(lines.size());
    std::vector<double> ln[2];
    double mean[2] = {};
    for (size_t i = 1; i < lines.size(); ++i) {
        from[i] = 0;
        for (int comma = 0; comma < 6; ++comma) from[i] = lines[i].find(',', from[i]) + 1;
        to[i] =
            lines[i].find(',', lines[i].find(',', from[i]) + 1);  // r and b, the white's columns
        const std::string pair = lines[i].substr(from[i], to[i] - from[i]);
        for (int c = 0; c < 2; ++c) {
            ln[c].push_back(std::log(std::stod(c == 0 ? pair : pair.substr(pair.find(',') + 1))));
            mean[c] += ln[c].back() / static_cast<double>(lines.size() - 1);
        }
    }
    std::string spread = lines[0] + "\n";
    double low = 1e9, high = -1e9;
    for (size_t i = 1; i < lines.size(); ++i) {
        const double r = mean[0] + 4.0 * (ln[0][i - 1] - mean[0]);
        const double b = mean[1] + 4.0 * (ln[1][i - 1] - mean[1]);
        low = std::min(low, r), high = std::max(high, r);
        spread += lines[i].substr(0, from[i]) + std::to_string(std::exp(r)) + "," +
                  std::to_string(std::exp(b)) + lines[i].substr(to[i]) + "\n";
    }
    ASSERT_GT(high - low, 2.5);  // more than the default grid holds
    Write("spread.csv", spread);
    ASSERT_EQ(Tool("learn --data '" + data + "' --truth " + Path("spread.csv") + " --out " +
                   Path("s.yaml")),
              0)
        << err_;
    const std::string wide = Vireo::Testing::ReadFile(dir_ / "s.yaml");
    const size_t at = wide.find("bin_width: ");
    ASSERT_NE(at, std::string::npos);
    // 31 bin widths between the first and last centres: the whites and a
    // margin (module calibration moves each white a little).
    EXPECT_GT(31 * std::stod(wide.substr(at + 11)), high - low + 0.4) << wide.substr(at, 40);
}
#endif

TEST_F(TuneTool, LearnAndCrossvalRefuseBadUse) {
    EXPECT_EQ(Tool("learn --data " + Path("none")), 2);  // no --out
    EXPECT_EQ(Tool("crossval --data " + Path("none") + " --folds 1"), 2);
    EXPECT_EQ(Tool("learn --data " + Path("none") + " --out " + Path("x.yaml")), 1);
    EXPECT_NE(err_.find("ground_truth.csv"), std::string::npos) << err_;
    EXPECT_FALSE(Vireo::Testing::Exists(dir_ / "x.yaml"));
    EXPECT_EQ(Tool("learn --help"), 0);
    EXPECT_NE(out_.find("usage: vireo-tune learn"), std::string::npos);
}
