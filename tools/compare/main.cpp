// vireo-compare: pairs two runs' results sample by sample and shows what
// changed, largest change first, with per-scene counts; a CI gate for tuning
// changes with --fail-on-regression.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "GroundTruth.h"
#include "Metrics.h"
#include "Pairing.h"
#include "Results.h"
#include "vireo/Version.h"

namespace {

using namespace Vireo;

constexpr const char* kUsage =
    "usage: vireo-compare A B [options]\n"
    "  A, B                      two results files (awbSimulationOutput.txt)\n"
    "  --truth CSV               ground truth: each run's angular error and its change\n"
    "  --csv                     every sample as CSV (with a header) instead of the table\n"
    "  --top N                   samples listed in the table (default 20; 0: all)\n"
    "  --fail-on-regression DEG  exit 1 when a sample's error grows by more than DEG\n"
    "                            or a sample of A has no result in B (needs --truth)\n"
    "exit status: 0, 1 a regression, 2 bad usage or input (a sample present twice)\n";

struct Options {
    std::string a, b, truth;
    bool csv = false;
    long top = 20;
    double failOnRegression = -1.0;
};

int ParseArgs(int argc, char** argv, Options& o) {
    std::vector<std::string> files;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const bool hasValue = i + 1 < argc;
        char* end = nullptr;
        if (arg == "--help" || arg == "-h") {
            std::fputs(kUsage, stdout);
            return 3;
        } else if (arg == "--truth" && hasValue) {
            o.truth = argv[++i];
        } else if (arg == "--csv") {
            o.csv = true;
        } else if (arg == "--top" && hasValue && (o.top = std::strtol(argv[i + 1], &end, 10), 1) &&
                   *end == '\0' && o.top >= 0) {
            ++i;
        } else if (arg == "--fail-on-regression" && hasValue &&
                   (o.failOnRegression = std::strtod(argv[i + 1], &end), 1) && *end == '\0' &&
                   end != argv[i + 1] && o.failOnRegression >= 0.0) {
            ++i;
        } else if (!arg.empty() && arg[0] != '-') {
            files.push_back(arg);
        } else {
            std::fprintf(stderr, "vireo-compare: bad argument %s\n%s", arg.c_str(), kUsage);
            return 2;
        }
    }
    if (files.size() != 2) {
        std::fprintf(stderr, "vireo-compare: two results files are needed\n%s", kUsage);
        return 2;
    }
    if (o.failOnRegression >= 0.0 && o.truth.empty()) {
        std::fprintf(stderr, "vireo-compare: --fail-on-regression needs --truth\n");
        return 2;
    }
    o.a = files[0], o.b = files[1];
    return 0;
}

bool Load(const std::string& path, std::vector<Score::ResultRecord>* records) {
    std::ifstream in(path);
    std::string error;
    if (!in) {
        std::fprintf(stderr, "vireo-compare: cannot open %s\n", path.c_str());
        return false;
    }
    if (!Score::ReadResults(in, *records, error)) {
        std::fprintf(stderr, "vireo-compare: %s: %s\n", path.c_str(), error.c_str());
        return false;
    }
    return true;
}

std::string Number(double v, int decimals) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.*f", decimals, v);
    return buf;
}

void PrintCsv(const std::vector<Compare::PairedSample>& pairs) {
    std::printf(
        "scene,file,r_gain_a,b_gain_a,cct_a,r_gain_b,b_gain_b,cct_b,white_angle,cct_change,"
        "error_a,error_b,error_change,verdict\n");
    for (const auto& p : pairs) {
        std::string fields;
        for (const Score::ResultRecord* r : {p.a, p.b}) {
            fields += r != nullptr ? Number(r->rGain, 6) + "," + Number(r->bGain, 6) + "," +
                                         Number(r->cct, 0) + ","
                                   : ",,,";
        }
        const bool both = p.a != nullptr && p.b != nullptr;
        fields += both ? Number(p.whiteAngle, 4) + "," + Number(p.cctChange, 0) + "," : ",,";
        if (p.truth != nullptr) {
            fields += (p.a != nullptr ? Number(p.errorA, 4) : "") + "," +
                      (p.b != nullptr ? Number(p.errorB, 4) : "") + "," +
                      (both ? Number(p.errorChange, 4) : "") + ",";
        } else {
            fields += ",,,";
        }
        std::printf("%s,%s,%s%s\n", p.scene.c_str(), p.file.c_str(), fields.c_str(),
                    Compare::VerdictName(p.verdict));
    }
}

void PrintTable(const Options& o, const std::vector<Compare::PairedSample>& pairs, bool withTruth) {
    std::printf("A: %s\nB: %s\n\n", o.a.c_str(), o.b.c_str());
    std::printf("%-32s %7s %6s %6s %6s", withTruth ? "largest error changes" : "largest changes",
                "white", "CCT A", "CCT B", "dCCT");
    if (withTruth) std::printf(" %7s %7s %7s", "err A", "err B", "change");
    std::printf("\n");
    long shown = 0;
    for (const auto& p : pairs) {
        if (o.top > 0 && shown == o.top) break;
        if (p.a == nullptr || p.b == nullptr) break;  // listed below
        ++shown;
        std::printf("%-32s %7.2f %6.0f %6.0f %+6.0f", (p.scene + "/" + p.file).c_str(),
                    p.whiteAngle, p.a->cct, p.b->cct, p.cctChange);
        if (p.truth != nullptr)
            std::printf(" %7.2f %7.2f %+7.2f", p.errorA, p.errorB, p.errorChange);
        std::printf("\n");
    }
    for (const auto& p : pairs) {
        if (p.a == nullptr || p.b == nullptr) {
            std::printf("%-32s only in %s\n", (p.scene + "/" + p.file).c_str(), p.a ? "A" : "B");
        }
    }
    std::printf("\n%-10s %5s", "scene", "n");
    if (withTruth) {
        std::printf(" %8s %8s %9s %6s %6s %9s %9s\n", "improved", "worsened", "unchanged", "only A",
                    "only B", "mean A", "mean B");
    } else {
        std::printf(" %8s %9s %6s %6s\n", "changed", "unchanged", "only A", "only B");
    }
    for (const auto& c : Compare::CountByScene(pairs)) {
        const int n = c.improved + c.worsened + c.unchanged + c.changed + c.onlyA + c.onlyB;
        std::printf("%-10s %5d", c.scene.c_str(), n);
        if (withTruth) {
            std::printf(" %8d %8d %9d %6d %6d %9.2f %9.2f\n", c.improved, c.worsened, c.unchanged,
                        c.onlyA, c.onlyB, Score::Summarise(c.errorsA).mean,
                        Score::Summarise(c.errorsB).mean);
        } else {
            std::printf(" %8d %9d %6d %6d\n", c.changed, c.unchanged, c.onlyA, c.onlyB);
        }
    }
    std::printf("white: degrees between the decided whites; dCCT: B - A in K%s\n",
                withTruth ? "; err: angular error in degrees; unchanged: |change| <= 0.005" : "");
}

}  // namespace

int main(int argc, char** argv) {
    if (Vireo::AnswerVersion(argc, argv, "vireo-compare")) return 0;
    Options o;
    if (const int rc = ParseArgs(argc, argv, o); rc != 0) return rc == 3 ? 0 : 2;
    std::vector<Score::ResultRecord> a, b;
    if (!Load(o.a, &a) || !Load(o.b, &b)) return 2;
    std::vector<Datagen::TruthRow> truth;
    std::string error;
    if (!o.truth.empty() && !Datagen::ReadGroundTruth(o.truth, truth, error)) {
        std::fprintf(stderr, "vireo-compare: %s\n", error.c_str());
        return 2;
    }
    std::vector<Compare::PairedSample> pairs;
    if (!Compare::PairRuns(a, b, o.truth.empty() ? nullptr : &truth, &pairs, &error)) {
        std::fprintf(stderr, "vireo-compare: %s\n", error.c_str());
        return 2;
    }
    if (o.csv) {
        PrintCsv(pairs);
    } else {
        PrintTable(o, pairs, !o.truth.empty());
    }
    if (o.failOnRegression < 0.0) return 0;
    int regressions = 0;
    for (const auto& p : pairs) {
        if (p.a != nullptr && p.b == nullptr) {
            std::fprintf(stderr, "vireo-compare: %s/%s has no result in B\n", p.scene.c_str(),
                         p.file.c_str());
            ++regressions;
        } else if (p.a != nullptr && p.truth != nullptr && p.errorChange > o.failOnRegression) {
            std::fprintf(stderr,
                         "vireo-compare: %s/%s: error grew by %.3f degrees (%.3f -> %.3f), more "
                         "than %g\n",
                         p.scene.c_str(), p.file.c_str(), p.errorChange, p.errorA, p.errorB,
                         o.failOnRegression);
            ++regressions;
        }
    }
    if (regressions > 0) {
        std::fprintf(stderr, "vireo-compare: %d regressions\n", regressions);
        return 1;
    }
    return 0;
}
