// vireo-tune crossval: K-fold cross-validation of the learned tuning. Each
// fold is learned from the other folds and decided through the reference
// algorithm library's C table, the same library file the driver maps; the
// errors are summarised with the scorer's statistics next to grey world and
// shades of grey on the same region statistics.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "GroundTruth.h"
#include "Learn.h"
#include "Metrics.h"
#include "TuningCodec.h"
#include "vireo/ReferenceAwbApi.h"

namespace {

using namespace Vireo;

constexpr const char* kUsage =
    "usage: vireo-tune crossval --data DIR [--truth CSV] [--folds K] [--profile FILE.dcp] [--csv]\n"
    "  --data DIR        labelled data folder (sample files, ground_truth.csv)\n"
    "  --truth CSV       their true whites (default DIR/ground_truth.csv)\n"
    "  --folds K         folds, 2 or more (default 3); sample i of the truth file, counted\n"
    "                    from 0 in file order, is in fold i mod K\n"
    "  --profile FILE    DCP camera profile for the curve's CTs (see learn)\n"
    "  --csv             CSV instead of the table\n"
    "Angular errors in degrees of the learned tuning on each held-out fold, of grey\n"
    "world and of shades of grey (p = 8) over the same usable region means.\n";

// Minkowski norm of shades of grey: p = 8 is the usual choice in the literature.
constexpr double kShadesOfGreyPower = 8.0;

bool ShadesOfGreyWhite(const Score::SampleStats& sample, double& rOverG, double& bOverG) {
    double r = 0.0, g = 0.0, b = 0.0;
    for (size_t i = 0; i < sample.regions.size(); ++i) {
        Score::RegionMeans m;
        if (!Score::UsableRegionMeans(sample, i, m)) continue;
        r += std::pow(m.r, kShadesOfGreyPower);
        g += std::pow(m.g, kShadesOfGreyPower);
        b += std::pow(m.b, kShadesOfGreyPower);
    }
    if (!(g > 0.0)) return false;
    rOverG = std::pow(r / g, 1.0 / kShadesOfGreyPower);
    bOverG = std::pow(b / g, 1.0 / kShadesOfGreyPower);
    return true;
}

// A baseline that finds no usable region has failed: 180 degrees, as the
// scorer counts a failed estimate.
double BaselineError(bool ok, double rg, double bg, const Tune::LabelledSample& s) {
    return ok ? Score::AngularError(rg, bg, s.whiteRG, s.whiteBG) : 180.0;
}

}  // namespace

int RunCrossVal(int argc, char** argv) {
    std::string data, truth, profile;
    int folds = 3;
    bool csv = false;
    for (int i = 2; i < argc; ++i) {
        const std::string a = argv[i];
        const bool hasValue = i + 1 < argc;
        if (a == "--data" && hasValue) {
            data = argv[++i];
        } else if (a == "--truth" && hasValue) {
            truth = argv[++i];
        } else if (a == "--profile" && hasValue) {
            profile = argv[++i];
        } else if (a == "--folds" && hasValue) {
            char* end = nullptr;
            const long k = std::strtol(argv[++i], &end, 10);
            if (*end != '\0' || k < 2 || k > 100) {
                std::fprintf(stderr, "vireo-tune crossval: --folds takes 2 to 100\n");
                return 2;
            }
            folds = static_cast<int>(k);
        } else if (a == "--csv") {
            csv = true;
        } else if (a == "--help" || a == "-h") {
            std::fputs(kUsage, stdout);
            return 0;
        } else {
            std::fprintf(stderr, "vireo-tune crossval: bad argument %s\n%s", a.c_str(), kUsage);
            return 2;
        }
    }
    if (data.empty()) {
        std::fprintf(stderr, "vireo-tune crossval: --data is required\n%s", kUsage);
        return 2;
    }
    if (truth.empty()) truth = data + "/" + Datagen::kGroundTruthFile;
    std::vector<Tune::LabelledSample> samples;
    std::string error;
    if (!Tune::LoadLabelled(data, truth, samples, error)) {
        std::fprintf(stderr, "vireo-tune crossval: %s\n", error.c_str());
        return 1;
    }
    if (static_cast<int>(samples.size()) < 2 * folds) {
        std::fprintf(stderr, "vireo-tune crossval: %zu samples are too few for %d folds\n",
                     samples.size(), folds);
        return 1;
    }
    const auto* api = static_cast<const VireoAwbApiV1*>(VireoAwbGetApi(VIREO_AWB_API_VERSION));
    if (api == nullptr) {
        std::fprintf(stderr, "vireo-tune crossval: the algorithm library has no version 1 table\n");
        return 1;
    }
    std::vector<double> learned, grey, shades;
    for (int fold = 0; fold < folds; ++fold) {
        std::vector<Tune::LabelledSample> training;
        for (size_t i = 0; i < samples.size(); ++i) {
            if (static_cast<int>(i % folds) != fold) training.push_back(samples[i]);
        }
        Tuning::TuningParams params;
        std::string source;
        const std::string progress = "vireo-tune crossval: fold " + std::to_string(fold + 1) +
                                     " of " + std::to_string(folds);
        if (!Tune::Learn(training, Tune::DefaultLearnSettings(), profile, params, source, error,
                         progress)) {
            std::fprintf(stderr, "vireo-tune crossval: fold %d: %s\n", fold, error.c_str());
            return 1;
        }
        const std::vector<uint8_t> file = Tuning::Encode(params);
        char why[256] = "";
        void* instance =
            api->create(file.data(), static_cast<uint32_t>(file.size()), why, sizeof why);
        if (instance == nullptr) {
            std::fprintf(stderr,
                         "vireo-tune crossval: fold %d: the library refuses the tuning: %s\n", fold,
                         why);
            return 1;
        }
        for (size_t i = fold; i < samples.size(); i += folds) {
            const Tune::LabelledSample& s = samples[i];
            const VireoAwbFrame frame = Score::FrameOf(s.stats);
            VireoAwbResult result{};
            const bool ok = api->process(instance, &frame, &result) == 0;
            learned.push_back(ok ? Score::AngularErrorFromGains(result.rGain, result.gGain,
                                                                result.bGain, s.whiteRG, s.whiteBG)
                                 : 180.0);
            double rg = 0.0, bg = 0.0;
            const bool greyOk = Score::GreyWorldWhite(s.stats, rg, bg);
            grey.push_back(BaselineError(greyOk, rg, bg, s));
            const bool shadesOk = ShadesOfGreyWhite(s.stats, rg, bg);
            shades.push_back(BaselineError(shadesOk, rg, bg, s));
        }
        api->destroy(instance);
    }
    const std::pair<const char*, std::vector<double>*> methods[] = {
        {"learned", &learned}, {"grey_world", &grey}, {"shades_of_grey", &shades}};
    std::printf(csv ? "method,n,mean,median,trimean,best25,worst25\n"
                    : "method            n    mean  median trimean  best25 worst25\n");
    for (const auto& [name, errors] : methods) {
        const Score::Summary s = Score::Summarise(*errors);
        std::printf(
            csv ? "%s,%d,%.4f,%.4f,%.4f,%.4f,%.4f\n" : "%-14s %4d %7.2f %7.2f %7.2f %7.2f %7.2f\n",
            name, s.count, s.mean, s.median, s.trimean, s.best25, s.worst25);
    }
    if (!csv)
        std::printf("angular errors in degrees, %d folds (sample i in fold i mod %d)\n", folds,
                    folds);
    return 0;
}
