// vireo-check on each way a configuration or a data folder goes wrong that
// the driver passes over: the exact problem line and the exit status.
#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "TestSupport.h"

namespace {

namespace Testing = Vireo::Testing;
using Testing::TempDir;

void WriteFile(const std::string& path, const std::string& text) {
    Testing::MakeDirs(path.substr(0, path.rfind('/')));
    Testing::WriteFile(path, text);
}

const char* const kScenes[] = {"ball",     "chart",    "indoor_1",  "indoor_2",
                               "indoor_3", "indoor_4", "outdoor_1", "outdoor_2"};

// A clean sample of two regions: sums at half of full scale.
std::string CleanSample() {
    Testing::SampleText sample = Testing::MakeSample(2, 1);
    sample.header[3] = "1";  // 2 x 1 grid
    for (auto& region : sample.regions)
        for (size_t c = 0; c < 4; ++c) region.sums[c] = region.counts[c] * 500;
    return Testing::SampleFileText(sample);
}

std::string Replace(std::string text, const std::string& from, const std::string& to) {
    const size_t at = text.find(from);
    return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

std::string Config(const std::string& dir) {
    return std::string("tuningFile=") + VIREO_TUNING_FILE + "\nawbDLL=" + VIREO_AWB_SO +
           "\nawbSimWrapperDLL=" + VIREO_WRAPPER_SO + "\ndataDir=" + dir +
           "/data\noutputDir=" + dir + "/out\n";
}

struct Case {
    const char* name;
    // Spoils the clean set-up in `dir`; returns the vireo-check arguments.
    std::vector<std::string> (*spoil)(const std::string& dir);
    int exitStatus;
    const char* line;  // "{dir}" stands for the folder
};

std::vector<std::string> WithConfig(const std::string& dir, const std::string& text) {
    WriteFile(dir + "/run.cfg", text);
    return {dir + "/run.cfg"};
}
std::vector<std::string> WithSample(const std::string& dir, const std::string& name,
                                    const std::string& text) {
    WriteFile(dir + "/data/" + name, text);
    return {"--data", dir + "/data"};
}

const Case kCases[] = {
    {"Clean", [](const std::string& d) { return WithConfig(d, Config(d)); }, 0, nullptr},
    {"AlgorithmDoesNotLoad",
     [](const std::string& d) { return WithConfig(d, Replace(Config(d), "awbDLL=", "awbDLL=/x")); },
     1,
     "{dir}/run.cfg:2: algorithm library \"/x" VIREO_AWB_SO "\" does not load: /x" VIREO_AWB_SO
     ": cannot open shared object file: No such file or directory; the reference wrapper says so "
     "on standard error, no sample gets a result, and the driver still exits 0"},
    {"SceneFolderAsDataDir",
     [](const std::string& d) { return WithConfig(d, Replace(Config(d), "/data", "/data/ball")); },
     1,
     "{dir}/run.cfg:4: none of the scene folders (ball, chart, indoor_1, indoor_2, indoor_3, "
     "indoor_4, outdoor_1, outdoor_2) is here; this is the scene folder \"ball\" itself: dataDir "
     "names the folder that holds the scene folders; the driver runs no sample and exits 0 with "
     "an empty results file"},
    {"DataDirMissing",
     [](const std::string& d) { return WithConfig(d, Replace(Config(d), "/data", "/dta")); }, 1,
     "{dir}/run.cfg:4: data folder \"{dir}/dta\" is not a folder; the driver runs no sample and "
     "exits 0 with an empty results file"},
    {"OutputParentMissing",
     [](const std::string& d) { return WithConfig(d, Replace(Config(d), "/out", "/no/out")); }, 1,
     "{dir}/run.cfg:5: the parent \"{dir}/no\" of the output folder does not exist; the driver "
     "makes only the last folder, so it runs every sample and keeps no result"},
    {"KeyTypo",
     [](const std::string& d) { return WithConfig(d, Replace(Config(d), "dataDir", "dataDri")); },
     1,
     "{dir}/run.cfg:4: unknown key \"dataDri\" (expected \"dataDir\"); the driver ignores keys "
     "and takes \"{dir}/data\" as the dataDir path"},
    {"SwappedLines",
     [](const std::string& d) {
         return WithConfig(d, Replace(Config(d), "dataDir=" + d + "/data\noutputDir=" + d + "/out",
                                      "outputDir=" + d + "/out\ndataDir=" + d + "/data"));
     },
     1,
     "{dir}/run.cfg:4: \"outputDir\" where \"dataDir\" belongs (lines out of order); the "
     "driver takes values by position, so \"{dir}/out\" becomes the dataDir path"},
    {"SpacesAroundEquals",
     [](const std::string& d) { return WithConfig(d, Replace(Config(d), "awbDLL=", "awbDLL = ")); },
     1,
     "{dir}/run.cfg:2: spaces around \"=\"; the driver takes the 3 words as fields of their own, "
     "so \"=\" becomes the awbSimWrapperDLL path and every later field moves"},
    {"CommentLine", [](const std::string& d) { return WithConfig(d, "# run\n" + Config(d)); }, 1,
     "{dir}/run.cfg:1: comment line; the driver has no comments: it takes \"#\" as the tuningFile "
     "path and every later field moves"},
    {"PathWithSpace",
     [](const std::string& d) { return WithConfig(d, Replace(Config(d), "/out", "/my out")); }, 1,
     "{dir}/run.cfg:5: value \"{dir}/my out\" holds a space; the driver cuts it at the space and "
     "takes \"out\" as nothing (the driver reads five words)"},
    {"PathTooLong",
     [](const std::string& d) {
         return WithConfig(d, Replace(Config(d), d + "/out", "/" + std::string(2100, 'o')));
     },
     1,
     "{dir}/run.cfg:5: outputDir path of 2101 characters; the driver keeps the first 2047 and "
     "uses a path that is not there"},
    {"LineMissing",
     [](const std::string& d) {
         return WithConfig(d, Config(d).substr(0, Config(d).find("outputDir")));
     },
     1,
     "{dir}/run.cfg:4: the file ends before \"outputDir\" (4 words of five); the driver takes the "
     "last value \"{dir}/data\" again as the outputDir path"},
    {"EmptySample", [](const std::string& d) { return WithSample(d, "ball/x.txt", ""); }, 1,
     "{dir}/data/ball/x.txt: empty file; the driver reads it as a sample all the same and writes "
     "a result for it"},
    {"NotesBesideSamples",
     [](const std::string& d) { return WithSample(d, "chart/notes.md", "# shot on Monday\n"); }, 1,
     "{dir}/data/chart/notes.md: not a sample file (none of the 25 keys); the driver reads it as "
     "a sample all the same and writes a result for it"},
    {"GarbageFile",
     [](const std::string& d) { return WithSample(d, "ball/g.bin", std::string(300, '\x7f')); }, 1,
     "{dir}/data/ball/g.bin: not a sample file (none of the 25 keys); the driver reads it as a "
     "sample all the same and writes a result for it"},
    {"HeaderLineDeleted",
     [](const std::string& d) {
         return WithSample(d, "ball/s.txt", Replace(CleanSample(), "1001\n", ""));
     },
     1,
     "{dir}/data/ball/s.txt:19: key \"Saturation Threshold:\" has 3 value lines, not 4; the "
     "driver fills the fields in file order, so the values after it land in other fields"},
    {"ChannelLineDeleted",
     [](const std::string& d) {
         return WithSample(d, "ball/s.txt",
                           Replace(CleanSample(), "GB Sum:\n115000\n", "GB Sum:\n"));
     },
     1,
     "{dir}/data/ball/s.txt:73: key \"GB Sum:\" has 1 value for 2 regions (Total Region "
     "Count:); the driver takes 0 for the last 1 region"},
    {"NotANumber",
     [](const std::string& d) {
         return WithSample(d, "ball/s.txt", Replace(CleanSample(), "\n210\n", "\n2l0\n"));
     },
     1, "{dir}/data/ball/s.txt:80: value \"2l0\" is not a whole number; the driver takes 2"},
    {"TotalNotGrid",
     [](const std::string& d) {
         return WithSample(
             d, "ball/s.txt",
             Replace(CleanSample(), "Vertical Region Count:\n1", "Vertical Region Count:\n2"));
     },
     1,
     "{dir}/data/ball/s.txt:9: Total Region Count: 2 is not Horizontal Region Count: x Vertical "
     "Region Count: (2 x 2 = 4); the driver reads 2 regions but hands the algorithm a 2 x 2 grid"},
    {"CountAbovePixels",
     [](const std::string& d) {
         return WithSample(d, "ball/s.txt",
                           Replace(CleanSample(), "Region Height:\n24", "Region Height:\n2"));
     },
     1,
     "{dir}/data/ball/s.txt:77: R Count: 200 of region 1 is more than the region's 64 pixels "
     "(and 1 more region); the driver passes it on as it is"},
    {"SumAboveFullScale",
     [](const std::string& d) {
         return WithSample(d, "ball/s.txt", Replace(CleanSample(), "\n100000\n", "\n300000\n"));
     },
     1,
     "{dir}/data/ball/s.txt:65: R Sum: 300000 of region 1 is more than its count 200 x full scale "
     "1023; the driver passes it on as it is"},
    {"ValueAfterKey",
     [](const std::string& d) {
         return WithSample(d, "ball/s.txt",
                           Replace(CleanSample(), "AECSettled:\n1", "AECSettled: 1"));
     },
     1,
     "{dir}/data/ball/s.txt:3: text \"1\" after the key; the driver ignores the rest of a key "
     "line; values go on the lines below it"},
    {"SceneNameMisspelt",
     [](const std::string& d) {
         std::rename((d + "/data/indoor_1").c_str(), (d + "/data/Indoor1").c_str());
         return std::vector<std::string>{"--data", d + "/data"};
     },
     1,
     "{dir}/data/indoor_1: scene folder missing (\"Indoor1\" is here: the name must match "
     "exactly); the driver passes over the scene without a word"},
    {"FolderAmongSamples",
     [](const std::string& d) { return WithSample(d, "indoor_2/old/x.txt", CleanSample()); }, 1,
     "{dir}/data/indoor_2/old: a folder among the samples; the driver reads it as an empty sample "
     "file and writes a result for it"},
};

void PrintTo(const Case& c, std::ostream* out) { *out << c.name; }

class CheckTool : public testing::TestWithParam<Case> {};

TEST_P(CheckTool, ReportsTheProblemLine) {
    const Case& c = GetParam();
    TempDir dir;
    for (const char* scene : kScenes)
        WriteFile(dir / "data" + "/" + scene + "/s.txt", CleanSample());
    std::vector<std::string> args = c.spoil(dir.path());
    args.push_back("--quiet");
    const Testing::RunResult run = Testing::Run(VIREO_CHECK_EXE, args, dir.path());
    EXPECT_EQ(run.exitStatus, c.exitStatus) << run.standardOutput;
    if (c.line == nullptr) {
        EXPECT_EQ(run.standardOutput, "");
        return;
    }
    std::string expected = c.line;
    for (size_t at; (at = expected.find("{dir}")) != std::string::npos;)
        expected.replace(at, 5, dir.path());
    std::istringstream lines(run.standardOutput);
    bool found = false;
    for (std::string line; std::getline(lines, line);) found = found || line == expected;
    EXPECT_TRUE(found) << "expected:\n" << expected << "\ngot:\n" << run.standardOutput;
}

INSTANTIATE_TEST_SUITE_P(Cases, CheckTool, testing::ValuesIn(kCases),
                         [](const testing::TestParamInfo<Case>& info) { return info.param.name; });

TEST(CheckToolUsage, UnusableInputExitsTwo) {
    TempDir dir;
    EXPECT_EQ(Testing::Run(VIREO_CHECK_EXE, {dir / "none.cfg"}, dir.path()).exitStatus, 2);
    EXPECT_EQ(Testing::Run(VIREO_CHECK_EXE, {"--data", dir / "none"}, dir.path()).exitStatus, 2);
    EXPECT_EQ(Testing::Run(VIREO_CHECK_EXE, {}, dir.path()).exitStatus, 2);
}

// Every tool declared with vireo_add_tool(): --help exits 0, --version names
// the project's one version.
TEST(Tools, AnswerHelpAndVersion) {
    std::istringstream tools(VIREO_TOOLS);
    for (std::string tool; std::getline(tools, tool, ',');) {
        TempDir dir;
        EXPECT_EQ(Testing::Run(tool, {"--help"}, dir.path()).exitStatus, 0) << tool;
        const Testing::RunResult version = Testing::Run(tool, {"--version"}, dir.path());
        EXPECT_EQ(version.exitStatus, 0) << tool;
        EXPECT_NE(
            version.standardOutput.find(" (" VIREO_PROJECT_NAME ") " VIREO_PROJECT_VERSION "\n"),
            std::string::npos)
            << tool << ": " << version.standardOutput;
    }
}

}  // namespace
