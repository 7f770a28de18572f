// vireo-tune run as a program in a scratch folder: compile, dump, and the
// YAML mistakes it must refuse.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <string>

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

TEST_F(TuneTool, CompileDumpCompileGivesTheSameBytes) {
    ASSERT_EQ(Tool(std::string("compile '") + VIREO_TEST_DEFAULT_YAML + "' " + Path("a.bin")), 0)
        << err_;
    ASSERT_EQ(Tool("dump " + Path("a.bin")), 0) << err_;
    Write("dumped.yaml", out_);
    ASSERT_EQ(Tool("compile " + Path("dumped.yaml") + " " + Path("b.bin")), 0) << err_;
    const std::string a = Vireo::Testing::ReadFile(dir_ / "a.bin");
    EXPECT_EQ(a.substr(0, 4), "VWBT");
    EXPECT_EQ(a, Vireo::Testing::ReadFile(dir_ / "b.bin"));
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
        BadYaml{"BadMode", "mode: max_rgb\n", "bayes or grey_world", true},
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
