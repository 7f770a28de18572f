// Each row: a shell script run in a fresh folder (tools named by $DATAGEN,
// $TUNE, $SCORE, $MAINJOB), the exit status and a piece of the message it
// must give, and a check that what the folder holds afterwards is right.
// Write failures come from `ulimit -f 0` in a subshell around one command.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <string>

#include "TestSupport.h"
#include "TuningCodec.h"

namespace {

const char* const kPrelude = VIREO_TEST_TOOLS R"(
H=path,scene,illuminant,kind,cct,duv,white_r_over_g,white_b_over_g,gain_r,gain_g,gain_b,lux,lux_index,module
G=ball/s1.txt,ball,A,planckian,2856,0,0.5,0.6,2,1,1.6,100,350,0
truth() { printf '%s\n' "$H" "$@" >t.csv; }
res() { for p; do printf '/d/%s\nr_gain : 2\ng_gain : 1\nb_gain : 1.6\ncct    : 2856\ndebugDataSize : 0\n\n' "$p"; done >r.txt; }
score() { truth "$@"; [ -f r.txt ] || res ball/s1.txt; "$SCORE" --results r.txt --truth t.csv; }
full() { (ulimit -f 0 && exec "$@"); }
chart() { "$DATAGEN" --out d --scenes chart --samples 12 --grid 16x12 --quiet; }
curve() { printf 'ct_curve: [[2850, 0.85, 0.36], %s, [6500, 0.5, 0.64]]\n' "$1" >c.yaml && "$TUNE" compile c.yaml c.bin; }
)";

struct Row {
    const char* name;
    const char* script;
    int status;
    const char* message;
    const char* check;  // a shell test of the folder afterwards
};

void PrintTo(const Row& row, std::ostream* out) { *out << row.name; }

class Robust : public testing::TestWithParam<Row> {};

TEST_P(Robust, FailsCleanly) {
    const Row& row = GetParam();
    Vireo::Testing::TempDir dir;
    Vireo::Testing::WriteFile(dir / "run.sh", std::string(kPrelude) + row.script + "\n");
    Vireo::Testing::WriteFile(dir / "check.sh", std::string(kPrelude) + row.check + "\n");
    // Through a pipe: a file-size limit must not stop the message.
    const std::string command = "cd '" + dir.path() + "' && bash run.sh 2>&1 </dev/null";
    std::FILE* pipe = ::popen(command.c_str(), "r");
    ASSERT_NE(pipe, nullptr);
    std::string output;
    for (int c; (c = std::fgetc(pipe)) != EOF;) output += static_cast<char>(c);
    const int status = ::pclose(pipe);
    EXPECT_EQ(WIFEXITED(status) ? WEXITSTATUS(status) : -1, row.status) << output;
    EXPECT_NE(output.find(row.message), std::string::npos) << output;
    EXPECT_EQ(Vireo::Testing::Run("/bin/bash", {"check.sh"}, dir.path()).exitStatus, 0) << output;
}

INSTANTIATE_TEST_SUITE_P(
    Tools, Robust,
    testing::Values(
        Row{"JobKeepsUserFolder", "mkdir u; echo x >u/f; bash $MAINJOB --data $PWD/u", 2,
            "holds no data set", "[ -f u/f ]"},
        Row{"JobDataSpace", "bash $MAINJOB --data \"$PWD/a b\"", 2, "white space",
            "[ ! -e 'a b' ]"},
        Row{"JobOutSpace", "bash $MAINJOB --out \"$PWD/a b\"", 2, "white space", "[ ! -e 'a b' ]"},
        Row{"JobCheckoutSpace",
            "mkdir -p 'c d/tools'; touch 'c d/CMakeLists.txt'; cp $MAINJOB 'c d/tools'; bash 'c "
            "d/tools/main-job.sh'",
            2, "checkout folder", "true"},
        Row{"JobLongData", "bash $MAINJOB --data $PWD/$(printf %0230d 0)", 2, "characters long",
            "true"},
        Row{"CalibrateFull", "chart; echo old >o.yaml; full $TUNE calibrate --data d --out o.yaml",
            1, "o.yaml: File too large",
            "[ \"$(cat o.yaml)\" = old ] && ! ls -a | grep -q '^\\.o'"},
        Row{"CalibrateNanCct",
            "chart; sed -i "
            "'2s/,planckian,[0-9]*,/,planckian,nan,/;2s/,daylight,[0-9]*,/,daylight,nan,/' "
            "d/ground_truth.csv; $TUNE calibrate --data d",
            1, "(cct) is not a finite number", "true"},
        Row{"CompileFull", "echo old >o.bin; full $TUNE compile $YAML o.bin", 1, "File too large",
            "[ \"$(cat o.bin)\" = old ] && ! ls -a | grep -q '^\\.o'"},
        Row{"CompileFifo", "mkfifo p.bin; $TUNE compile $YAML p.bin", 1, "not a regular file",
            "[ -p p.bin ]"},
        Row{"CompileThroughLink", "ln -s real.bin l.bin; $TUNE compile $YAML l.bin", 0, "",
            "[ -L l.bin ] && [ -s real.bin ]"},
        Row{"DatagenFull", "full $DATAGEN --out g --samples 1 --quiet", 1, "File too large",
            "[ ! -e g ]"},
        Row{"DatagenOldSet", "chart; $DATAGEN --out d --samples 1 --scenes ball", 1,
            "already holds a data set", "[ $(ls d/chart | wc -l) = 12 ] && [ ! -e d/ball ]"},
        Row{"DatagenSceneTwice", "$DATAGEN --out g --scenes ball,ball", 1, "\"ball\" twice",
            "[ ! -e g ]"},
        Row{"DatagenCameraFolder", "mkdir x.dcp; $DATAGEN --out g --camera x.dcp", 1,
            "is not a file", "[ ! -e g ]"},
        Row{"DatagenZeroMatrix",
            "printf "
            "'IIRC\\10\\0\\0\\0\\1\\0\\41\\306\\12\\0\\11\\0\\0\\0\\32\\0\\0\\0\\0\\0\\0\\0' "
            ">z.dcp; "
            "for i in 1 2 3 4 5 6 7 8 9; do printf '\\0\\0\\0\\0\\1\\0\\0\\0' >>z.dcp; done; "
            "$DATAGEN --out g --camera $PWD/z.dcp",
            1, "singular", "[ ! -e g ]"},
        Row{"DatagenRange", "$DATAGEN --out g --samples 0", 1, "from 1 to 9999", "true"},
        Row{"YamlKeyTwice",
            "printf 'ct_curve: [[2850, 0.85, 0.36], [6500, 0.5, 0.64]]\\ndefault_ct: "
            "4000\\ndefault_ct: 5000\\n' >k.yaml; $TUNE compile k.yaml k.bin",
            1, "set twice (line 2 and line 3)", "[ ! -e k.bin ]"},
        Row{"CurveOnePoint", "curve '[4000, 0.85, 0.36]'", 1, "share one chromaticity",
            "[ ! -e c.bin ]"},
        Row{"CurveTurnsBack", "curve '[4000, 0.9, 0.3]'", 1, "turns back", "[ ! -e c.bin ]"},
        Row{"TruthCctZero", "score ${G/2856/0}", 2, ":2: column 5 (cct) is 0", "true"},
        Row{"TruthCctNan", "score ${G/2856/nan}", 2, "(cct) is not a finite number", "true"},
        Row{"TruthCctNegative", "score ${G/2856/-1}", 2, "(cct) is -1", "true"},
        Row{"TruthWhiteInf", "score ${G/0.5/inf}", 2, "column 7 (white_r_over_g) is not a finite",
            "true"},
        Row{"TruthModuleHuge", "score ${G%,0}',1e300'", 2, "column 14 (module) is 1e300", "true"},
        Row{"TruthRowTwice", "score $G $G", 2,
            ":3: sample ball/s1.txt is listed twice (first on line 2)", "true"},
        Row{"TruthSceneNotFolder", "score ${G/,ball,/,chart,}", 2, "column 2 (scene) is 'chart'",
            "true"},
        Row{"TruthCrLf", "score \"$G\"$'\\r'", 2, ":2: column 62: the line ends in CR LF", "true"},
        Row{"TruthColumnMissing", "score ${G%,0}", 2,
            "13 columns, the header has 14: column 14 (module) is missing", "true"},
        Row{"TruthColumnExtra", "score $G,1", 2, "column 15 is one too many", "true"},
        Row{"TruthQuoted", "score ${G/,A,/,\\\"A\\\",}", 2, "column 3 (illuminant) is quoted",
            "true"},
        Row{"ResultTwice", "res ball/s1.txt ball/s1.txt; score $G", 2,
            "line 8: a second record for ball/s1.txt (the first is on line 1)", "true"},
        Row{"ResultNotInTruth", "res ball/s1.txt ball/s9.txt; score $G", 0,
            "warning: r.txt:8: /d/ball/s9.txt is not in t.csv", "true"},
        Row{"ScoreRange", "$SCORE --results r --truth t --max-mean -1", 2,
            "--max-mean takes a number from 0 up", "true"}),
    [](const testing::TestParamInfo<Row>& info) { return std::string(info.param.name); });

// The binary decoder refuses what the YAML compiler refuses: one check.
TEST(TuningDecode, RefusesDegenerateCurves) {
    const struct {
        Vireo::Tuning::CurvePoint middle;
        const char* message;
    } rows[] = {{{4000, 0.85f, 0.36f}, "share one chromaticity"},
                {{4000, 0.9f, 0.3f}, "turns back"}};
    for (const auto& row : rows) {
        Vireo::Tuning::TuningParams params;
        params.ctCurve = {{2850, 0.85f, 0.36f}, row.middle, {6500, 0.5f, 0.64f}};
        const std::vector<uint8_t> bytes = Vireo::Tuning::Encode(params);
        std::string error;
        EXPECT_FALSE(Vireo::Tuning::Decode(bytes.data(), bytes.size(), &params, &error));
        EXPECT_NE(error.find(row.message), std::string::npos) << error;
    }
}

}  // namespace
