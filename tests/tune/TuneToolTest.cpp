// vireo-tune run as a program in a scratch folder: compile, dump, and the
// YAML mistakes it must refuse.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace {

namespace fs = std::filesystem;

std::string ReadAll(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

class TuneTool : public ::testing::Test {
protected:
    void SetUp() override {
        // Parameterised names hold '/', which must not become a sub-folder.
        std::string name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
        for (char& c : name) c = c == '/' ? '_' : c;
        dir_ = fs::temp_directory_path() / ("vireo_tune_" + std::to_string(getpid()) + "_" + name);
        fs::create_directories(dir_);
    }
    void TearDown() override { fs::remove_all(dir_); }

    // Exit status; stdout and stderr land in out_ and err_.
    int Tool(const std::string& arguments) {
        const std::string command = std::string("'") + VIREO_TEST_TUNE_TOOL + "' " + arguments +
                                    " >'" + (dir_ / "out").string() + "' 2>'" +
                                    (dir_ / "err").string() + "'";
        const int status = std::system(command.c_str());
        out_ = ReadAll(dir_ / "out");
        err_ = ReadAll(dir_ / "err");
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    std::string Path(const char* name) const { return "'" + (dir_ / name).string() + "'"; }
    void Write(const char* name, const std::string& text) { std::ofstream(dir_ / name) << text; }

    fs::path dir_;
    std::string out_;
    std::string err_;
};

TEST_F(TuneTool, CompileDumpCompileGivesTheSameBytes) {
    ASSERT_EQ(Tool(std::string("compile '") + VIREO_TEST_DEFAULT_YAML + "' " + Path("a.bin")), 0)
        << err_;
    ASSERT_EQ(Tool("dump " + Path("a.bin")), 0) << err_;
    Write("dumped.yaml", out_);
    ASSERT_EQ(Tool("compile " + Path("dumped.yaml") + " " + Path("b.bin")), 0) << err_;
    const std::string a = ReadAll(dir_ / "a.bin");
    EXPECT_EQ(a.substr(0, 4), "VWBT");
    EXPECT_EQ(a, ReadAll(dir_ / "b.bin"));
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
    const char* text;
    const char* reason;
};

class TuneToolRefuses : public TuneTool, public ::testing::WithParamInterface<BadYaml> {};

TEST_P(TuneToolRefuses, BadYamlWithOneLineAndNoOutputFile) {
    const BadYaml& bad = GetParam();
    Write("bad.yaml", bad.text);
    EXPECT_EQ(Tool("compile " + Path("bad.yaml") + " " + Path("bad.bin")), 1);
    EXPECT_EQ(err_.find('\n'), err_.size() - 1) << err_;
    EXPECT_NE(err_.find(bad.reason), std::string::npos) << err_;
    EXPECT_FALSE(fs::exists(dir_ / "bad.bin"));
}

INSTANTIATE_TEST_SUITE_P(
    Mistakes, TuneToolRefuses,
    ::testing::Values(
        BadYaml{"NoCurve", "grey_zone_width: 0.1\n", "ct_curve is required"},
        BadYaml{"UnknownKey", "ct_curve: [[2850, 0.85, 0.36], [6500, 0.5, 0.64]]\ngrey_zone: 1\n",
                "unknown key 'grey_zone'"},
        BadYaml{"OnePoint", "ct_curve: [[2850, 0.85, 0.36]]\n", "2 to 32 points"},
        BadYaml{"Descending", "ct_curve: [[6500, 0.5, 0.64], [2850, 0.85, 0.36]]\n", "ascending"},
        BadYaml{"ShortRow", "ct_curve: [[2850, 0.85], [6500, 0.5, 0.64]]\n", "3 numbers"},
        BadYaml{"NotANumber",
                "ct_curve: [[2850, 0.85, 0.36], [6500, 0.5, 0.64]]\nlikelihood_sigma: wide\n",
                "must be a number"},
        BadYaml{"BadMode", "ct_curve: [[2850, 0.85, 0.36], [6500, 0.5, 0.64]]\nmode: max_rgb\n",
                "bayes or grey_world"},
        BadYaml{"DefaultOffCurve",
                "ct_curve: [[2850, 0.85, 0.36], [6500, 0.5, 0.64]]\ndefault_ct: 9000\n",
                "default_ct"},
        BadYaml{"LuxOrder",
                "ct_curve: [[2850, 0.85, 0.36], [6500, 0.5, 0.64]]\nlux_index_outdoor: 400\n",
                "lux_index_outdoor"},
        BadYaml{"ZeroPriorWeight",
                "ct_curve: [[2850, 0.85, 0.36], [6500, 0.5, 0.64]]\nprior_indoor: [[3000, 0]]\n",
                "weight"},
        BadYaml{"NotYaml", "ct_curve: [[2850, 0.85\n", "not valid YAML"},
        BadYaml{"NotAMapping", "- 1\n- 2\n", "mapping"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(TuneTool, DumpRefusesABrokenFileAndUsageIsExplained) {
    Write("broken.bin", "VWBT\x01");
    EXPECT_EQ(Tool("dump " + Path("broken.bin")), 1);
    EXPECT_NE(err_.find("truncated"), std::string::npos) << err_;
    EXPECT_EQ(Tool("frobnicate"), 2);
    EXPECT_NE(err_.find("usage: vireo-tune compile"), std::string::npos) << err_;
}

}  // namespace
