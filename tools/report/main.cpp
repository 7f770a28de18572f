// vireo-report: one self-contained HTML page about one run, or two runs of
// the same data set: per-scene table, error distributions, the decided
// whites in the log-chromaticity plane next to the tuning's curve and grey
// zone, and per sample a preview, the regions used and the algorithm's own
// explanation. The page carries its data as embedded JSON and draws the
// plots itself, so it works offline and opens fast for thousands of samples.
#include <limits.h>
#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "AtomicFile.h"
#include "Explain.h"
#include "GroundTruth.h"
#include "Inputs.h"
#include "Metrics.h"
#include "Pairing.h"
#include "Png.h"
#include "RegionSelection.h"
#include "Results.h"
#include "RunDriver.h"
#include "SampleStats.h"
#include "TuningCodec.h"
#include "vireo/Version.h"

extern const char kReportPage[];  // page.html, embedded at build time

namespace {

using namespace Vireo;

constexpr const char* kUsage =
    "usage: vireo-report --data DIR RESULTS [RESULTS_B] -o report.html [options]\n"
    "  --data DIR        the data set the results were made from\n"
    "  RESULTS           awbSimulationOutput.txt of a run (RESULTS_B: a second run)\n"
    "  -o FILE           the HTML file to write\n"
    "  --truth CSV       ground truth (default DIR/ground_truth.csv when present)\n"
    "  --tuning FILE     the tuning of the run, .yaml or .bin (default: the\n"
    "                    TintraBinaryParameterSet.bin beside RESULTS, as vireo-run leaves it)\n"
    "  --tuning-b FILE   the second run's tuning (default: beside RESULTS_B, else --tuning)\n"
    "  --algorithm LIB   algorithm library asked for explanations (default: the\n"
    "                    reference algorithm; \"none\": no explanations)\n"
    "  --title TEXT      page title\n"
    "exit status: 0, 2 bad usage or input\n";

// Preview pixels across all samples; beyond this the previews are drawn
// from blocks of regions, which keeps a 2000-sample page far below 10 MB.
constexpr double kPreviewPixelBudget = 1.6e6;

struct Options {
    std::string data, out, truth, tuningA, tuningB, algorithm, title = "vireo-awbsim report";
    std::vector<std::string> results;
};

struct RunInput {
    std::string name, resultsPath, tuningPath, explainNote;
    std::vector<Score::ResultRecord> records;
    std::map<std::string, size_t> index;
    std::vector<uint8_t> tuning;
    Tuning::TuningParams params;
    bool haveTuning = false;
    std::unique_ptr<Report::Explainer> explainer;
    int mismatches = 0;
};

int Fail(const std::string& what) {
    std::fprintf(stderr, "vireo-report: %s\n", what.c_str());
    return 2;
}

int ParseArgs(int argc, char** argv, Options& o) {
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        const bool hasValue = i + 1 < argc;
        if (a == "--help" || a == "-h") {
            std::fputs(kUsage, stdout);
            return 3;
        } else if (a == "--data" && hasValue) {
            o.data = argv[++i];
        } else if (a == "-o" && hasValue) {
            o.out = argv[++i];
        } else if (a == "--truth" && hasValue) {
            o.truth = argv[++i];
        } else if (a == "--tuning" && hasValue) {
            o.tuningA = argv[++i];
        } else if (a == "--tuning-b" && hasValue) {
            o.tuningB = argv[++i];
        } else if (a == "--algorithm" && hasValue) {
            o.algorithm = argv[++i];
        } else if (a == "--title" && hasValue) {
            o.title = argv[++i];
        } else if (!a.empty() && a[0] != '-') {
            o.results.push_back(a);
        } else {
            std::fprintf(stderr, "vireo-report: bad argument %s\n%s", a.c_str(), kUsage);
            return 2;
        }
    }
    if (o.data.empty() || o.out.empty() || o.results.empty() || o.results.size() > 2) {
        std::fprintf(stderr, "vireo-report: --data, -o and one or two results files are needed\n%s",
                     kUsage);
        return 2;
    }
    return 0;
}

bool Exists(const std::string& path) {
    struct stat st {};
    return stat(path.c_str(), &st) == 0;
}

std::string Folder(const std::string& path) {
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash);
}

// ---- JSON -------------------------------------------------------------------

std::string Quote(const std::string& s) {
    std::string out = "\"";
    for (const char c : s) {
        const auto u = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            out += '\\', out += c;
        } else if (u < 0x20 || c == '<' || c == '>' || c == '&') {
            // "<" escaped too: the JSON sits inside a <script> element.
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\u%04x", u);
            out += buf;
        } else {
            out += c;
        }
    }
    return out + "\"";
}

std::string Num(double v) {
    if (!std::isfinite(v)) return "null";
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.5g", v);
    return buf;
}

// ---- previews -------------------------------------------------------------

struct Grid {
    int width = 0, height = 0, block = 1;
    int Columns() const { return (width + block - 1) / block; }
    int Rows() const { return (height + block - 1) / block; }
};

Grid GridOf(const Score::SampleStats& s, size_t samples) {
    Grid g;
    g.width = std::max(1, s.header.horizontalRegionCount);
    g.height = std::max(1, static_cast<int>(s.regions.size()) / g.width);
    while (static_cast<double>(g.Columns()) * g.Rows() * static_cast<double>(samples) >
               kPreviewPixelBudget &&
           g.block < 16) {
        ++g.block;
    }
    return g;
}

// The camera's own colours, not balanced, each channel as sqrt of its share
// of the brightest mean: the page applies any gains to it.
std::string PreviewPng(const Score::SampleStats& s, const Grid& g) {
    std::vector<double> rgb(static_cast<size_t>(g.Columns() * g.Rows()) * 3, 0.0);
    std::vector<int> counts(static_cast<size_t>(g.Columns() * g.Rows()), 0);
    for (int y = 0; y < g.height; ++y) {
        for (int x = 0; x < g.width; ++x) {
            const size_t k = static_cast<size_t>(y * g.width + x);
            if (k >= s.regions.size()) continue;
            const auto& r = s.regions[k];
            const double gr = r.grCount ? static_cast<double>(r.grSum) / r.grCount : 0.0;
            const double gb = r.gbCount ? static_cast<double>(r.gbSum) / r.gbCount : 0.0;
            const int greens = (r.grCount ? 1 : 0) + (r.gbCount ? 1 : 0);
            const size_t p = static_cast<size_t>((y / g.block) * g.Columns() + x / g.block);
            rgb[3 * p] += r.rCount ? static_cast<double>(r.rSum) / r.rCount : 0.0;
            rgb[3 * p + 1] += greens ? (gr + gb) / greens : 0.0;
            rgb[3 * p + 2] += r.bCount ? static_cast<double>(r.bSum) / r.bCount : 0.0;
            ++counts[p];
        }
    }
    double brightest = 1e-9;
    for (size_t p = 0; p < counts.size(); ++p) {
        for (int c = 0; c < 3; ++c) {
            rgb[3 * p + c] /= std::max(1, counts[p]);
            brightest = std::max(brightest, rgb[3 * p + c]);
        }
    }
    std::vector<uint8_t> pixels(rgb.size());
    for (size_t i = 0; i < rgb.size(); ++i) {
        pixels[i] = static_cast<uint8_t>(
            std::lround(255.0 * std::sqrt(std::clamp(rgb[i] / brightest, 0.0, 1.0))));
    }
    return Report::EncodePng(pixels, g.Columns(), g.Rows(), 3);
}

// 0 left out, 1 selected but not voting, 2..5 the weight in quarters (few
// levels compress far better, and a dot's size shows no more); the largest
// of a block.
std::string WeightsPng(const std::vector<float>& weights, const Grid& g) {
    std::vector<uint8_t> pixels(static_cast<size_t>(g.Columns() * g.Rows()), 0);
    for (size_t k = 0; k < weights.size(); ++k) {
        const int x = static_cast<int>(k) % g.width, y = static_cast<int>(k) / g.width;
        if (y >= g.height) break;
        const float w = std::min(weights[k], 1.0f);
        const uint8_t code =
            w < 0.0f ? 0 : (w == 0.0f ? 1 : static_cast<uint8_t>(2 + std::min(3.0f, w * 4.0f)));
        uint8_t& p = pixels[static_cast<size_t>((y / g.block) * g.Columns() + x / g.block)];
        p = std::max(p, code);
    }
    return Report::EncodePng(pixels, g.Columns(), g.Rows(), 1);
}

// ---- inputs ----------------------------------------------------------------

bool LoadRun(const std::string& path, RunInput* run, std::string* error) {
    run->resultsPath = path;
    std::ifstream in(path);
    if (!in) {
        *error = "cannot open " + path;
        return false;
    }
    if (!Score::ReadResults(in, run->records, *error) ||
        !Compare::IndexRecords(run->records, &run->index, error)) {
        *error = path + ": " + *error;
        return false;
    }
    const std::string folder = Folder(path);
    const size_t slash = folder.rfind('/');
    run->name = slash == std::string::npos ? folder : folder.substr(slash + 1);
    if (run->name.empty() || run->name == ".") run->name = "run";
    return true;
}

bool LoadTuning(const std::string& given, RunInput* run, std::string* error) {
    std::string path = given;
    const std::string beside = Folder(run->resultsPath) + "/" + Tuning::kDefaultFileName;
    if (path.empty() && Exists(beside)) path = beside;
    if (path.empty()) return true;
    if (!Run::LoadTuningAny(path, &run->tuning, &run->params, error)) return false;
    run->tuningPath = path;
    run->haveTuning = true;
    return true;
}

void OpenExplainer(const std::string& library, RunInput* run) {
    if (library == "none") {
        run->explainNote = "not asked for (--algorithm none)";
    } else if (!run->haveTuning) {
        run->explainNote = "no tuning known for this run (--tuning)";
    } else if (library.empty()) {
        run->explainNote = "no algorithm library found (--algorithm)";
    } else {
        run->explainer = std::make_unique<Report::Explainer>();
        std::string why;
        if (!run->explainer->Open(library, run->tuning, &why)) {
            run->explainer.reset();
            run->explainNote = why;
        }
    }
}

// ---- page ------------------------------------------------------------------

std::string RunJson(RunInput& run, const Score::ResultRecord& r, const Datagen::TruthRow* truth,
                    const Score::SampleStats* sample, float rFactor, float bFactor, const Grid& g) {
    std::string j = "{\"g\":[" + Num(r.rGain) + "," + Num(r.bGain) + "],\"c\":" + Num(r.cct);
    if (truth != nullptr) {
        j += ",\"e\":" + Num(Score::AngularErrorFromGains(r.rGain, r.gGain, r.bGain, truth->whiteRG,
                                                          truth->whiteBG));
    }
    // The decided white in the golden module's log-chromaticity plane, where
    // the tuning's curve lives.
    if (r.rGain > 0 && r.bGain > 0 && r.gGain > 0) {
        j += ",\"u\":" + Num(std::log(r.gGain / r.rGain / rFactor)) +
             ",\"v\":" + Num(std::log(r.gGain / r.bGain / bFactor));
    }
    VireoAwbResult x{};
    std::vector<float> weights;
    if (sample != nullptr && run.explainer && run.explainer->Explain(*sample, &x, &weights)) {
        const bool match = std::fabs(x.rGain - r.rGain) <= 1e-4 * std::fabs(r.rGain) + 1e-6 &&
                           std::fabs(x.bGain - r.bGain) <= 1e-4 * std::fabs(r.bGain) + 1e-6 &&
                           std::fabs(static_cast<double>(x.cct) - r.cct) <= 1.0;
        run.mismatches += match ? 0 : 1;
        j += ",\"x\":{\"f\":" + std::to_string(x.flags) +
             ",\"n\":" + std::to_string(x.validRegionCount) +
             ",\"gr\":" + std::to_string(x.greyRegionCount) + ",\"o\":" + Num(x.transverseOffset) +
             ",\"pk\":" + Num(x.posteriorPeak) + ",\"od\":" + Num(x.outdoorWeight) +
             ",\"m\":" + (match ? "1" : "0") + ",\"w\":\"" +
             Report::Base64(WeightsPng(weights, g)) + "\"}";
    }
    return j + "}";
}

std::string SummaryJson(const std::vector<double>& errors) {
    const Score::Summary s = Score::Summarise(errors);
    return "{\"n\":" + std::to_string(s.count) + ",\"mean\":" + Num(s.mean) +
           ",\"median\":" + Num(s.median) + ",\"worst25\":" + Num(s.worst25) + "}";
}

}  // namespace

int main(int argc, char** argv) {
    if (Vireo::AnswerVersion(argc, argv, "vireo-report")) return 0;
    Options o;
    if (const int rc = ParseArgs(argc, argv, o); rc != 0) return rc == 3 ? 0 : 2;
    std::string error;
    std::vector<RunInput> runs(o.results.size());
    for (size_t k = 0; k < runs.size(); ++k) {
        if (!LoadRun(o.results[k], &runs[k], &error)) return Fail(error);
    }
    if (runs.size() == 2 && runs[0].name == runs[1].name) {
        runs[0].name += " (A)", runs[1].name += " (B)";
    }
    if (!LoadTuning(o.tuningA, &runs[0], &error)) return Fail(error);
    if (runs.size() == 2) {
        if (!LoadTuning(o.tuningB, &runs[1], &error)) return Fail(error);
        if (!runs[1].haveTuning && runs[0].haveTuning) {
            runs[1].tuning = runs[0].tuning, runs[1].params = runs[0].params;
            runs[1].tuningPath = runs[0].tuningPath, runs[1].haveTuning = true;
        }
    }
    const std::string library =
        o.algorithm.empty() ? Run::FindInstalled(Run::Installed::Algorithm) : o.algorithm;
    for (RunInput& run : runs) OpenExplainer(library, &run);

    std::vector<Datagen::TruthRow> truth;
    if (o.truth.empty() && Exists(o.data + "/" + Datagen::kGroundTruthFile)) {
        o.truth = o.data + "/" + Datagen::kGroundTruthFile;
    }
    if (!o.truth.empty() && !Datagen::ReadGroundTruth(o.truth, truth, error)) return Fail(error);
    const std::vector<Datagen::TruthRow>* truthRows = o.truth.empty() ? nullptr : &truth;

    // Every sample of either run, in the driver's scene order.
    std::vector<Compare::PairedSample> pairs;
    if (!Compare::PairRuns(runs[0].records, runs.size() == 2 ? runs[1].records : runs[0].records,
                           truthRows, &pairs, &error)) {
        return Fail(error);
    }
    std::vector<std::string> sceneNames;
    for (const char* s : SceneList) sceneNames.push_back(s);
    for (const auto& p : pairs) {
        if (std::find(sceneNames.begin(), sceneNames.end(), p.scene) == sceneNames.end()) {
            sceneNames.push_back(p.scene);
        }
    }
    std::sort(pairs.begin(), pairs.end(), [&](const auto& x, const auto& y) {
        const auto sx = std::find(sceneNames.begin(), sceneNames.end(), x.scene);
        const auto sy = std::find(sceneNames.begin(), sceneNames.end(), y.scene);
        return sx != sy ? sx < sy : x.file < y.file;
    });

    // Links in the page point at the sample files, so they need the whole path.
    char resolved[PATH_MAX];
    const std::string data = realpath(o.data.c_str(), resolved) != nullptr ? resolved : o.data;
    std::string samplesJson;
    Grid grid;
    int unreadable = 0;
    for (const auto& p : pairs) {
        Score::SampleStats sample;
        const std::string path = data + "/" + p.scene + "/" + p.file;
        // The readers say on standard output when a file cannot be opened;
        // a missing file is counted here instead.
        const bool loaded = Exists(path) ? Score::LoadSample(path, sample, error)
                                         : (error = "no sample file " + path, false);
        if (!loaded && ++unreadable <= 3) {
            std::fprintf(stderr, "vireo-report: no preview: %s\n", error.c_str());
        }
        float rFactor = 1.0f, bFactor = 1.0f;
        if (loaded) {
            bool ignored = false;
            Awb::ModuleFactors(Score::FrameOf(sample), &rFactor, &bFactor, &ignored);
        }
        const int scene = static_cast<int>(
            std::find(sceneNames.begin(), sceneNames.end(), p.scene) - sceneNames.begin());
        std::string j = "{\"k\":" + Quote(p.scene + "/" + p.file) +
                        ",\"s\":" + std::to_string(scene) + ",\"p\":" + Quote(path);
        if (loaded && !sample.regions.empty()) {
            grid = GridOf(sample, pairs.size());
            j += ",\"gw\":" + std::to_string(grid.Columns()) +
                 ",\"gh\":" + std::to_string(grid.Rows()) + ",\"img\":\"" +
                 Report::Base64(PreviewPng(sample, grid)) + "\"";
        }
        if (p.truth != nullptr) {
            const Datagen::TruthRow& t = *p.truth;
            j += ",\"t\":{\"rg\":" + Num(t.whiteRG) + ",\"bg\":" + Num(t.whiteBG) +
                 ",\"c\":" + Num(t.cct) + ",\"u\":" + Num(std::log(t.whiteRG / rFactor)) +
                 ",\"v\":" + Num(std::log(t.whiteBG / bFactor)) + ",\"i\":" + Quote(t.illuminant) +
                 ",\"kind\":" + Quote(t.kind) + "}";
        }
        j += ",\"r\":[";
        for (size_t k = 0; k < runs.size(); ++k) {
            const auto it = runs[k].index.find(p.scene + "/" + p.file);
            if (k > 0) j += ",";
            j += it == runs[k].index.end()
                     ? "null"
                     : RunJson(runs[k], runs[k].records[it->second], p.truth,
                               loaded ? &sample : nullptr, rFactor, bFactor, grid);
        }
        samplesJson += (samplesJson.empty() ? "" : ",\n") + j + "]}";
    }

    if (unreadable > 3) {
        std::fprintf(stderr,
                     "vireo-report: %d samples without a preview in all: is %s their data set?\n",
                     unreadable, o.data.c_str());
    }

    // Per-scene figures.
    std::string scenesJson;
    const auto counts = Compare::CountByScene(pairs);
    for (const auto& c : counts) {
        std::vector<std::vector<double>> errors(runs.size());
        for (const auto& p : pairs) {
            if (p.truth == nullptr || (c.scene != "overall" && p.scene != c.scene)) continue;
            for (size_t k = 0; k < runs.size(); ++k) {
                const auto it = runs[k].index.find(p.scene + "/" + p.file);
                if (it == runs[k].index.end()) continue;
                const auto& r = runs[k].records[it->second];
                errors[k].push_back(Score::AngularErrorFromGains(
                    r.rGain, r.gGain, r.bGain, p.truth->whiteRG, p.truth->whiteBG));
            }
        }
        std::string j = "{\"name\":" + Quote(c.scene) + ",\"runs\":[";
        for (size_t k = 0; k < runs.size(); ++k) j += (k ? "," : "") + SummaryJson(errors[k]);
        j += "],\"improved\":" + std::to_string(c.improved) +
             ",\"worsened\":" + std::to_string(c.worsened) +
             ",\"unchanged\":" + std::to_string(c.unchanged) +
             ",\"changed\":" + std::to_string(c.changed) + ",\"onlyA\":" + std::to_string(c.onlyA) +
             ",\"onlyB\":" + std::to_string(c.onlyB) + "}";
        scenesJson += (scenesJson.empty() ? "" : ",") + j;
    }

    std::string runsJson;
    for (const RunInput& run : runs) {
        std::string note = run.explainNote;
        if (run.explainer && run.mismatches > 0) {
            note = std::to_string(run.mismatches) +
                   " samples decided differently when asked again: the run used another "
                   "algorithm or tuning";
        }
        runsJson += std::string(runsJson.empty() ? "" : ",") + "{\"name\":" + Quote(run.name) +
                    ",\"results\":" + Quote(run.resultsPath) +
                    ",\"tuning\":" + Quote(run.tuningPath) +
                    ",\"explained\":" + (run.explainer ? "true" : "false") +
                    ",\"note\":" + Quote(note) + "}";
    }
    // The curve and grey zone of each tuning; the second only when it differs.
    std::string curves;
    for (size_t k = 0; k < runs.size(); ++k) {
        if (!runs[k].haveTuning || (k == 1 && runs[1].tuning == runs[0].tuning)) continue;
        std::string points;
        for (const auto& c : runs[k].params.ctCurve) {
            points += std::string(points.empty() ? "" : ",") + "[" + Num(std::log(c.rOverG)) + "," +
                      Num(std::log(c.bOverG)) + "," + Num(c.ct) + "]";
        }
        curves += std::string(curves.empty() ? "" : ",") + "{\"run\":" + std::to_string(k) +
                  ",\"zone\":" + Num(runs[k].params.greyZoneWidth) + ",\"points\":[" + points +
                  "]}";
    }
    const std::string json = "{\"title\":" + Quote(o.title) + ",\"data\":" + Quote(o.data) +
                             ",\"truth\":" + (truthRows ? "true" : "false") + ",\"scenes\":" + "[" +
                             scenesJson + "],\"runs\":[" + runsJson + "],\"curves\":[" + curves +
                             "],\"samples\":[\n" + samplesJson + "]}";

    std::string page = kReportPage;
    const std::string marker = "/*VIREO_REPORT_DATA*/";
    const size_t at = page.find(marker);
    if (at == std::string::npos) return Fail("the page template has no data marker");
    page.replace(at, marker.size(), json);
    const std::string titleMarker = "<title></title>";
    const size_t t = page.find(titleMarker);
    if (t != std::string::npos) {
        std::string escaped;
        for (const char c : o.title) {
            escaped += c == '<' ? "&lt;" : c == '&' ? "&amp;" : std::string(1, c);
        }
        page.replace(t, titleMarker.size(), "<title>" + escaped + "</title>");
    }
    if (!WriteFileAtomically(o.out, page, error)) return Fail(error);
    std::printf("%s: %zu samples, %zu runs, %.1f MB\n", o.out.c_str(), pairs.size(), runs.size(),
                static_cast<double>(page.size()) / 1e6);
    for (const RunInput& run : runs) {
        if (!run.explainer) {
            std::fprintf(stderr, "vireo-report: %s: no explanations: %s\n", run.name.c_str(),
                         run.explainNote.c_str());
        } else if (run.mismatches > 0) {
            std::fprintf(
                stderr,
                "vireo-report: %s: %d samples decided differently when asked again (another "
                "algorithm or tuning?)\n",
                run.name.c_str(), run.mismatches);
        }
    }
    return 0;
}
