// vireo-score: scores the driver's results file against a data set's ground
// truth, per scene and overall, optionally next to plain grey world, and
// fails when the errors exceed the limits given on the command line.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "DataSetId.h"
#include "GroundTruth.h"
#include "Metrics.h"
#include "Results.h"
#include "RunDriver.h"
#include "SampleStats.h"
#include "Scenes.h"
#include "vireo/Version.h"

namespace {

using namespace Vireo;

constexpr const char* kUsage =
    "usage: vireo-score --results FILE --truth FILE [options]\n"
    "  --results FILE        the driver's awbSimulationOutput.txt\n"
    "  --truth FILE          the data set's ground_truth.csv\n"
    "  --data DIR            the data set folder: also score plain grey world on it\n"
    "  --csv                 CSV instead of the table\n"
    "  --per-sample          with --csv: one row per sample instead of per scene\n"
    "  --max-mean DEG        fail when the overall mean angular error exceeds DEG\n"
    "  --max-median DEG      ... the overall median\n"
    "  --max-worst25 DEG     ... the overall mean of the worst 25 %\n"
    "  --max-mired M         ... the overall mean CCT error in mired\n"
    "  --beat-grey-world     fail when grey world's median is lower on any scene (needs --data)\n"
    "exit status: 0 within limits, 1 a limit exceeded or a sample without a result,\n"
    "2 bad usage or input\n"
    "  --help                this text\n"
    "  --version             the version\n";

struct Options {
    std::string results, truth, data;
    bool csv = false, beatGreyWorld = false, perSample = false;
    double maxMean = -1, maxMedian = -1, maxWorst25 = -1, maxMired = -1;
};

struct Scores {
    std::vector<double> angle, mired, greyAngle;
    int missing = 0;
};

bool ParseLimit(const char* text, double& value) {
    char* end = nullptr;
    value = std::strtod(text, &end);
    return end != text && *end == '\0' && value >= 0.0;
}

int ParseArgs(int argc, char** argv, Options& o) {
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        const bool hasValue = i + 1 < argc;
        if (a == "--help" || a == "-h") {
            std::fputs(kUsage, stdout);
            return 3;
        } else if (a == "--results" && hasValue) {
            o.results = argv[++i];
        } else if (a == "--truth" && hasValue) {
            o.truth = argv[++i];
        } else if (a == "--data" && hasValue) {
            o.data = argv[++i];
        } else if (a == "--csv") {
            o.csv = true;
        } else if (a == "--per-sample") {
            o.perSample = true;
        } else if (a == "--beat-grey-world") {
            o.beatGreyWorld = true;
        } else if (double* limit = a == "--max-mean"      ? &o.maxMean
                                   : a == "--max-median"  ? &o.maxMedian
                                   : a == "--max-worst25" ? &o.maxWorst25
                                   : a == "--max-mired"   ? &o.maxMired
                                                          : nullptr;
                   limit != nullptr && hasValue) {
            if (!ParseLimit(argv[++i], *limit)) {
                std::fprintf(stderr, "vireo-score: %s takes a number from 0 up, not \"%s\"\n",
                             a.c_str(), argv[i]);
                return 2;
            }
        } else {
            std::fprintf(stderr, "vireo-score: bad argument %s\n%s", a.c_str(), kUsage);
            return 2;
        }
    }
    if (o.perSample && !o.csv) {
        std::fprintf(stderr, "vireo-score: --per-sample needs --csv\n%s", kUsage);
        return 2;
    }
    if (o.results.empty() || o.truth.empty() || (o.beatGreyWorld && o.data.empty())) {
        std::fprintf(
            stderr, "vireo-score: --results and --truth are required%s\n%s",
            o.beatGreyWorld && o.data.empty() ? " (and --data with --beat-grey-world)" : "",
            kUsage);
        return 2;
    }
    return 0;
}

// The folder `levels` components above a path ("." when there is none).
std::string FolderAbove(const std::string& path, int levels) {
    std::string folder = path;
    for (int i = 0; i < levels; ++i) {
        const auto slash = folder.rfind('/');
        if (slash == std::string::npos) return ".";
        folder.erase(slash == 0 ? 1 : slash);
    }
    return folder;
}

// Results, ground truth and data folder must be one data set: every folder
// among them that keeps an identity (dataset.id) must keep the truth's. The
// results' data folder is the one the driver ran on (their paths start with
// it); a run may also leave a copy of the identity beside the results.
bool SameDataSet(const Options& o, const std::vector<Score::ResultRecord>& results,
                 std::string& error) {
    const std::string truthFolder = FolderAbove(o.truth, 1);
    const std::string truthId = Datagen::ReadDataSetId(truthFolder);
    if (truthId.empty()) return true;  // a data set made before identities were kept
    std::vector<std::pair<std::string, std::string>> folders;  // what, folder
    folders.emplace_back("the results", FolderAbove(o.results, 1));
    for (const auto& r : results) {
        const std::string folder = FolderAbove(r.path, 2);
        if (folders.size() < 2 || folders.back().second != folder)
            folders.emplace_back("the data folder the results were run on", folder);
    }
    if (!o.data.empty()) folders.emplace_back("--data", o.data);
    for (const auto& [what, folder] : folders) {
        const std::string id = Datagen::ReadDataSetId(folder);
        if (!id.empty() && id != truthId) {
            error = what + " (" + folder + "/" + Datagen::kDataSetIdFile + ": " + id +
                    ") and the ground truth (" + truthFolder + "/" + Datagen::kDataSetIdFile +
                    ": " + truthId +
                    ") belong to different data sets; score results against the ground truth "
                    "of the data set they were run on";
            return false;
        }
    }
    return true;
}

constexpr const char* kSampleColumns =
    "scene,file,r_gain,g_gain,b_gain,cct,truth_cct,angular_error,mired_error,grey_world_error\n";

// One --per-sample row; the result's columns stay empty for a sample without
// one, grey world's without --data.
std::string SampleRow(const Datagen::TruthRow& t, const Score::ResultRecord* r,
                      const double* greyAngle) {
    char text[256];
    std::string row = t.scene + "," + t.File() + ",";
    if (r != nullptr) {
        std::snprintf(
            text, sizeof text, "%.6g,%.6g,%.6g,%.0f,%.0f,%.4f,%.3f,", r->rGain, r->gGain, r->bGain,
            r->cct, t.cct,
            Score::AngularErrorFromGains(r->rGain, r->gGain, r->bGain, t.whiteRG, t.whiteBG),
            Score::MiredError(r->cct, t.cct));
    } else {
        std::snprintf(text, sizeof text, ",,,,%.0f,,,", t.cct);
    }
    row += text;
    if (greyAngle != nullptr) {
        std::snprintf(text, sizeof text, "%.4f", *greyAngle);
        row += text;
    }
    return row + "\n";
}

std::string Fixed(double v, int decimals = 2) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.*f", decimals, v);
    return buf;
}

void PrintTable(const std::vector<std::string>& order, const std::map<std::string, Scores>& byScene,
                bool withGrey) {
    std::printf("%-10s %4s %7s %7s %7s %7s %7s %7s", "scene", "n", "mean", "median", "trimean",
                "best25", "worst25", "mired");
    if (withGrey) std::printf("  | %-7s %7s %7s", "GW mean", "median", "worst25");
    std::printf("\n");
    for (const std::string& scene : order) {
        const Scores& s = byScene.at(scene);
        const Score::Summary a = Score::Summarise(s.angle), m = Score::Summarise(s.mired);
        std::printf("%-10s %4d %7s %7s %7s %7s %7s %7s", scene.c_str(), a.count,
                    Fixed(a.mean).c_str(), Fixed(a.median).c_str(), Fixed(a.trimean).c_str(),
                    Fixed(a.best25).c_str(), Fixed(a.worst25).c_str(),
                    m.count > 0 ? Fixed(m.mean, 1).c_str() : "-");
        if (withGrey) {
            const Score::Summary g = Score::Summarise(s.greyAngle);
            std::printf("  | %7s %7s %7s", Fixed(g.mean).c_str(), Fixed(g.median).c_str(),
                        Fixed(g.worst25).c_str());
        }
        if (s.missing > 0) std::printf("  (%d without result)", s.missing);
        std::printf("\n");
    }
    std::printf("angular errors in degrees; mired: mean CCT error%s\n",
                withGrey ? "; GW: plain grey world on the same statistics" : "");
}

void PrintCsv(const std::vector<std::string>& order, const std::map<std::string, Scores>& byScene,
              bool withGrey) {
    std::printf("scene,method,n,mean,median,trimean,best25,worst25,mired_mean,missing\n");
    for (const std::string& scene : order) {
        const Scores& s = byScene.at(scene);
        const Score::Summary a = Score::Summarise(s.angle), m = Score::Summarise(s.mired);
        const std::string mired = m.count > 0 ? Fixed(m.mean, 3) : "";
        std::printf("%s,awb,%d,%.4f,%.4f,%.4f,%.4f,%.4f,%s,%d\n", scene.c_str(), a.count, a.mean,
                    a.median, a.trimean, a.best25, a.worst25, mired.c_str(), s.missing);
        if (withGrey) {
            const Score::Summary g = Score::Summarise(s.greyAngle);
            std::printf("%s,grey_world,%d,%.4f,%.4f,%.4f,%.4f,%.4f,,0\n", scene.c_str(), g.count,
                        g.mean, g.median, g.trimean, g.best25, g.worst25);
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (AnswerVersion(argc, argv, "vireo-score")) return 0;
    Options o;
    if (const int rc = ParseArgs(argc, argv, o); rc != 0) return rc == 3 ? 0 : 2;

    std::vector<Datagen::TruthRow> truth;
    std::string error;
    if (!Datagen::ReadGroundTruth(o.truth, truth, error)) {
        std::fprintf(stderr, "vireo-score: %s\n", error.c_str());
        return 2;
    }
    std::ifstream in(o.results);
    std::vector<Score::ResultRecord> results;
    if (!in) {
        std::fprintf(stderr, "vireo-score: cannot open %s\n", o.results.c_str());
        return 2;
    }
    if (!Score::ReadResults(in, results, error)) {
        std::fprintf(stderr, "vireo-score: %s: %s\n", o.results.c_str(), error.c_str());
        return 2;
    }

    if (!SameDataSet(o, results, error)) {
        std::fprintf(stderr, "vireo-score: %s\n", error.c_str());
        return 2;
    }

    // Results are matched by scene folder and file name: the driver's
    // record path starts with whatever data folder it was given.
    std::map<std::string, const Score::ResultRecord*> byKey;
    for (const auto& r : results) byKey[r.scene + "/" + r.file] = &r;

    std::vector<std::string> order;
    for (const char* s : SceneList) order.push_back(s);
    std::map<std::string, Scores> byScene;
    Scores overall;
    int matched = 0;
    std::string sampleRows;
    for (const auto& t : truth) {
        if (!byScene.count(t.scene)) {
            byScene[t.scene];
            bool known = false;
            for (const auto& s : order) known = known || s == t.scene;
            if (!known) order.push_back(t.scene);
        }
        Scores& s = byScene[t.scene];
        const auto it = byKey.find(t.scene + "/" + t.File());
        if (it == byKey.end()) {
            ++s.missing, ++overall.missing;
        } else {
            ++matched;
            const Score::ResultRecord& r = *it->second;
            const double angle =
                Score::AngularErrorFromGains(r.rGain, r.gGain, r.bGain, t.whiteRG, t.whiteBG);
            s.angle.push_back(angle), overall.angle.push_back(angle);
            // Imported captures may not know their light's temperature.
            if (std::isfinite(t.cct)) {
                const double mired = Score::MiredError(r.cct, t.cct);
                s.mired.push_back(mired), overall.mired.push_back(mired);
            }
        }
        if (!o.data.empty()) {
            Score::SampleStats sample;
            double rg = 0, bg = 0;
            if (!Score::LoadSample(o.data + "/" + t.path, sample, error)) {
                std::fprintf(stderr, "vireo-score: %s\n", error.c_str());
                return 2;
            }
            const double angle = Score::GreyWorldWhite(sample, rg, bg)
                                     ? Score::AngularError(rg, bg, t.whiteRG, t.whiteBG)
                                     : 180.0;
            s.greyAngle.push_back(angle), overall.greyAngle.push_back(angle);
        }
        if (o.perSample)
            sampleRows += SampleRow(t, it == byKey.end() ? nullptr : it->second,
                                    o.data.empty() ? nullptr : &s.greyAngle.back());
    }
    // A result the truth does not know is most likely a wrong data folder
    // or truth file: say which, but a subset of the truth is legitimate.
    std::map<std::string, bool> inTruth;
    for (const auto& t : truth) inTruth[t.scene + "/" + t.File()] = true;
    int unknown = 0;
    for (const auto& r : results) {
        if (inTruth.count(r.scene + "/" + r.file) || ++unknown > 5) continue;
        std::fprintf(stderr, "vireo-score: warning: %s:%ld: %s is not in %s, left out\n",
                     o.results.c_str(), r.line, r.path.c_str(), o.truth.c_str());
    }
    if (unknown > 5) {
        std::fprintf(stderr, "vireo-score: warning: %d more results not in %s, left out\n",
                     unknown - 5, o.truth.c_str());
    }
    std::vector<std::string> shown;
    for (const auto& s : order)
        if (byScene.count(s)) shown.push_back(s);
    byScene["overall"] = overall;
    shown.push_back("overall");

    if (matched == 0) {
        std::fprintf(stderr, "vireo-score: no result of %s matches a sample of %s\n",
                     o.results.c_str(), o.truth.c_str());
        return 2;
    }
    const bool withGrey = !o.data.empty();
    if (o.perSample)
        std::printf("%s%s", kSampleColumns, sampleRows.c_str());
    else if (o.csv)
        PrintCsv(shown, byScene, withGrey);
    else
        PrintTable(shown, byScene, withGrey);

    // Gates.
    int status = 0;
    const Score::Summary a = Score::Summarise(overall.angle), m = Score::Summarise(overall.mired);
    auto gate = [&](double limit, double value, const char* what) {
        if (limit >= 0.0 && !(value <= limit)) {
            std::fprintf(stderr, "vireo-score: overall %s %.3f exceeds the limit %.3f\n", what,
                         value, limit);
            status = 1;
        }
    };
    gate(o.maxMean, a.mean, "mean angular error");
    gate(o.maxMedian, a.median, "median angular error");
    gate(o.maxWorst25, a.worst25, "worst-25% angular error");
    if (o.maxMired >= 0.0 && m.count == 0) {
        std::fprintf(stderr, "vireo-score: --max-mired: no sample of %s has a known CCT\n",
                     o.truth.c_str());
        status = 1;
    }
    gate(o.maxMired, m.mean, "mean mired error");
    if (overall.missing > 0) {
        std::fprintf(stderr, "vireo-score: %d samples of the ground truth have no result\n",
                     overall.missing);
        status = 1;
    }
    if (o.beatGreyWorld) {
        for (const auto& scene : shown) {
            const Scores& s = byScene[scene];
            const double mine = Score::Summarise(s.angle).median,
                         grey = Score::Summarise(s.greyAngle).median;
            if (!(mine < grey)) {
                std::fprintf(stderr,
                             "vireo-score: %s: median %.3f does not beat grey world's %.3f\n",
                             scene.c_str(), mine, grey);
                status = 1;
            }
        }
    }
    return status;
}
