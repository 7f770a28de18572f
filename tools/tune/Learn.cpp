#include "Learn.h"

#include <fftw3.h>
#include <lbfgs.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "AtomicFile.h"
#include "CameraProfile.h"
#include "GroundTruth.h"
#include "LearnedEstimator.h"
#include "RegionSelection.h"
#include "WhiteLocus.h"
#include "YamlTuning.h"

namespace Vireo::Tune {

namespace {

constexpr const char* kUsage =
    "usage: vireo-tune learn --data DIR [--truth CSV] [--profile FILE.dcp] --out FILE.yaml\n"
    "  --data DIR        data folder: sample files in scene folders\n"
    "  --truth CSV       their true whites (default DIR/ground_truth.csv)\n"
    "  --profile FILE    DCP camera profile: the CT of curve points when the truth has no CCT\n"
    "  --out FILE        YAML tuning to write (mode learned)\n";

// Without CCTs in the truth and without a profile: the whites' spread
// along their main axis (5th to 95th percentile) is taken to span these
// CTs, the redder end the lower.
constexpr double kFallbackLowKelvin = 2700.0, kFallbackHighKelvin = 7000.0;

using Complex = fftw_complex;

// ---- the whites' CTs, then the white locus through them -------------------

// CCT of a chromaticity (McCamy's formula).
double CctOfXy(double x, double y) {
    const double n = (x - 0.3320) / (0.1858 - y);
    return 449.0 * n * n * n + 3525.0 * n * n + 6823.3 * n + 5520.33;
}

bool Invert(const Datagen::Matrix3& m, Datagen::Matrix3& out) {
    const double det = m[0] * (m[4] * m[8] - m[5] * m[7]) - m[1] * (m[3] * m[8] - m[5] * m[6]) +
                       m[2] * (m[3] * m[7] - m[4] * m[6]);
    if (!(std::fabs(det) > 1e-12)) return false;
    out = {(m[4] * m[8] - m[5] * m[7]) / det, (m[2] * m[7] - m[1] * m[8]) / det,
           (m[1] * m[5] - m[2] * m[4]) / det, (m[5] * m[6] - m[3] * m[8]) / det,
           (m[0] * m[8] - m[2] * m[6]) / det, (m[2] * m[3] - m[0] * m[5]) / det,
           (m[3] * m[7] - m[4] * m[6]) / det, (m[1] * m[6] - m[0] * m[7]) / det,
           (m[0] * m[4] - m[1] * m[3]) / det};
    return true;
}

// The CCT of a camera-native white through the profile's colour matrices:
// the matrix depends on the CCT, so a few rounds of fixed-point iteration.
double CctFromProfile(const Datagen::CameraProfile& profile, double rg, double bg) {
    double kelvin = 5000.0;
    for (int round = 0; round < 12; ++round) {
        Datagen::Matrix3 inverse;
        if (!Invert(Datagen::ColorMatrixAt(profile, kelvin), inverse)) return 0.0;
        const double X = inverse[0] * rg + inverse[1] + inverse[2] * bg;
        const double Y = inverse[3] * rg + inverse[4] + inverse[5] * bg;
        const double Z = inverse[6] * rg + inverse[7] + inverse[8] * bg;
        const double sum = X + Y + Z;
        if (!(sum > 0.0)) return 0.0;
        kelvin = std::clamp(CctOfXy(X / sum, Y / sum), 1500.0, 20000.0);
    }
    return kelvin;
}

// The whites' CTs from the truth's CCT, else from the profile, else from
// the fallback; the curve through them.
bool LearnCurve(const std::vector<LabelledSample>& samples, const std::string& profilePath,
                std::vector<Tuning::CurvePoint>& curve, std::string& source, std::string& error) {
    std::vector<White> all, known;
    for (const LabelledSample& s : samples) {
        const White w{std::log(s.whiteRG) - s.lnRFactor, std::log(s.whiteBG) - s.lnBFactor,
                      s.cct > 0.0 ? 1e6 / s.cct : 0.0};
        all.push_back(w);
        if (w.mired > 0.0) known.push_back(w);
    }
    double lowest = 1e9, highest = 0.0;
    for (const White& w : known)
        lowest = std::min(lowest, w.mired), highest = std::max(highest, w.mired);
    if (known.size() >= 2 && highest - lowest >= 20.0) {
        curve = FitWhiteLocus(known, Grouping::EqualShares);
        source = "taken from the ground truth's CCT (" + std::to_string(known.size()) + " of " +
                 std::to_string(all.size()) + " whites)";
        return true;
    }
    if (!profilePath.empty()) {
        Datagen::CameraProfile profile;
        if (!Datagen::ReadDcpProfile(profilePath, profile, error)) return false;
        for (White& w : all) {
            const double kelvin = CctFromProfile(profile, std::exp(w.lnRG), std::exp(w.lnBG));
            if (!(kelvin > 0.0)) {
                error = profilePath + ": its colour matrices cannot be inverted";
                return false;
            }
            w.mired = 1e6 / kelvin;
        }
        curve = FitWhiteLocus(all, Grouping::EqualShares);
        source = "computed from the colour matrices of " + profilePath;
        return true;
    }
    // The fallback: order along the whites' main axis.
    double mu = 0.0, mv = 0.0;
    for (const White& w : all) mu += w.lnRG, mv += w.lnBG;
    mu /= static_cast<double>(all.size()), mv /= static_cast<double>(all.size());
    double suu = 0.0, svv = 0.0, suv = 0.0;
    for (const White& w : all) {
        suu += (w.lnRG - mu) * (w.lnRG - mu), svv += (w.lnBG - mv) * (w.lnBG - mv);
        suv += (w.lnRG - mu) * (w.lnBG - mv);
    }
    const double angle = 0.5 * std::atan2(2.0 * suv, suu - svv);
    double du = std::cos(angle), dv = std::sin(angle);
    if (du > 0.0) du = -du, dv = -dv;  // along the axis: R/G falls, CT rises
    std::vector<double> along;
    for (const White& w : all) along.push_back((w.lnRG - mu) * du + (w.lnBG - mv) * dv);
    std::vector<double> sorted = along;
    std::sort(sorted.begin(), sorted.end());
    const double low = sorted[sorted.size() / 20], high = sorted[sorted.size() * 19 / 20];
    const double span = high > low ? high - low : 1.0;
    for (size_t i = 0; i < all.size(); ++i) {
        const double t = std::clamp((along[i] - low) / span, -0.5, 1.5);
        const double mired =
            1e6 / kFallbackLowKelvin + t * (1e6 / kFallbackHighKelvin - 1e6 / kFallbackLowKelvin);
        all[i].mired = std::clamp(mired, 1e6 / 15000.0, 1e6 / 1200.0);
    }
    curve = FitWhiteLocus(all, Grouping::EqualShares);
    source =
        "a fallback (no CCT in the truth, no --profile): the whites ordered along their main "
        "axis, its 5th to 95th percentile taken as 2700 to 7000 K";
    return true;
}

// ---- the learned maps ------------------------------------------------------

// The histograms the library makes, the first LearnSettings::histograms of
// them. The parameters are their filters and then the bias, bins x bins
// each.
constexpr int kMaxChannels = Awb::kLearnedHistograms;

struct Problem {
    const LearnSettings* settings;
    int n = 0;
    int half = 0;  // n / 2 + 1 columns of a real transform
    int channels = kMaxChannels;
    // Per histogram: per sample, its spectrum; the filter's spectrum; the
    // gradient's.
    std::vector<Complex*> histograms[kMaxChannels];
    Complex* filter[kMaxChannels] = {};
    Complex* gradient[kMaxChannels] = {};
    std::vector<double> truthU, truthV;  // in bins
    fftw_plan forward = nullptr, inverse = nullptr;
    double* real = nullptr;
    Complex* spectrum = nullptr;
    std::vector<double> z, grad;
    bool fullLoss = false;
    // Shown on a terminal while L-BFGS runs ("" for nothing).
    const std::string* progress = nullptr;
};

double Smoothness(const double* map, int n, double weight, double* gradient) {
    double sum = 0.0;
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            const double here = map[i * n + j];
            const double du = here - map[((i + 1) % n) * n + j];
            const double dv = here - map[i * n + (j + 1) % n];
            sum += du * du + dv * dv;
            gradient[i * n + j] += 2.0 * weight * (du + dv);
            gradient[((i + 1) % n) * n + j] -= 2.0 * weight * du;
            gradient[i * n + (j + 1) % n] -= 2.0 * weight * dv;
        }
    }
    return weight * sum;
}

double Size(const double* map, int cells, double weight, double* gradient) {
    double sum = 0.0;
    for (int k = 0; k < cells; ++k) {
        sum += map[k] * map[k];
        gradient[k] += 2.0 * weight * map[k];
    }
    return weight * sum;
}

lbfgsfloatval_t Evaluate(void* instance, const lbfgsfloatval_t* x, lbfgsfloatval_t* g, const int,
                         const lbfgsfloatval_t) {
    Problem& p = *static_cast<Problem*>(instance);
    const LearnSettings& s = *p.settings;
    const int n = p.n, cells = n * n, halfCells = n * p.half, channels = p.channels;
    const double* bias = x + channels * cells;
    std::fill(g, g + (channels + 1) * cells, 0.0);
    for (int c = 0; c < channels; ++c) {
        std::copy(x + c * cells, x + (c + 1) * cells, p.real);
        fftw_execute_dft_r2c(p.forward, p.real, p.filter[c]);
        std::memset(p.gradient[c], 0, sizeof(Complex) * halfCells);
    }
    const double inverseCells = 1.0 / cells;
    const size_t samples = p.histograms[0].size();
    const double perSample = 1.0 / static_cast<double>(samples);
    double loss = 0.0;
    for (size_t sample = 0; sample < samples; ++sample) {
        std::memset(p.spectrum, 0, sizeof(Complex) * halfCells);
        for (int c = 0; c < channels; ++c) {
            const Complex* a = p.histograms[c][sample];
            const Complex* f = p.filter[c];
            for (int k = 0; k < halfCells; ++k) {
                p.spectrum[k][0] += a[k][0] * f[k][0] - a[k][1] * f[k][1];
                p.spectrum[k][1] += a[k][0] * f[k][1] + a[k][1] * f[k][0];
            }
        }
        fftw_execute_dft_c2r(p.inverse, p.spectrum, p.real);
        double peak = -1e300;
        for (int k = 0; k < cells; ++k) {
            p.z[k] = p.real[k] * inverseCells + bias[k];
            peak = std::max(peak, p.z[k]);
        }
        double total = 0.0, mu = 0.0, mv = 0.0;
        for (int k = 0; k < cells; ++k) {
            p.z[k] = std::exp(p.z[k] - peak);
            total += p.z[k];
        }
        for (int k = 0; k < cells; ++k) {
            p.z[k] /= total;
            mu += p.z[k] * (k / n);
            mv += p.z[k] * (k % n);
        }
        // Cross-entropy against the true white shared between its four bins.
        const double tu = p.truthU[sample], tv = p.truthV[sample];
        const int iu = std::clamp(static_cast<int>(tu), 0, n - 2);
        const int iv = std::clamp(static_cast<int>(tv), 0, n - 2);
        const double fu = std::clamp(tu - iu, 0.0, 1.0), fv = std::clamp(tv - iv, 0.0, 1.0);
        const int at[4] = {iu * n + iv, iu * n + iv + 1, (iu + 1) * n + iv, (iu + 1) * n + iv + 1};
        const double share[4] = {(1 - fu) * (1 - fv), (1 - fu) * fv, fu * (1 - fv), fu * fv};
        const double ce = p.fullLoss ? s.crossEntropyWeight : 1.0;
        for (int k = 0; k < cells; ++k) p.grad[k] = ce * p.z[k];
        for (int c = 0; c < 4; ++c) {
            loss -= perSample * ce * share[c] * std::log(std::max(p.z[at[c]], 1e-300));
            p.grad[at[c]] -= ce * share[c];
        }
        if (p.fullLoss) {
            const double eu = mu - tu, ev = mv - tv;
            const double error = std::sqrt(eu * eu + ev * ev + s.errorSmoothing * s.errorSmoothing);
            loss += perSample * s.meanErrorWeight * error;
            const double gu = s.meanErrorWeight * eu / error, gv = s.meanErrorWeight * ev / error;
            for (int k = 0; k < cells; ++k) {
                p.grad[k] += p.z[k] * ((k / n - mu) * gu + (k % n - mv) * gv);
            }
        }
        for (int k = 0; k < cells; ++k) {
            p.grad[k] *= perSample;
            g[channels * cells + k] += p.grad[k];
            p.real[k] = p.grad[k];
        }
        fftw_execute_dft_r2c(p.forward, p.real, p.spectrum);
        for (int c = 0; c < channels; ++c) {
            const Complex* a = p.histograms[c][sample];
            Complex* d = p.gradient[c];
            for (int k = 0; k < halfCells; ++k) {
                // conj(histogram) * gradient: the correlation that is dL/dfilter.
                const double gr = p.spectrum[k][0], gi = p.spectrum[k][1];
                d[k][0] += a[k][0] * gr + a[k][1] * gi;
                d[k][1] += a[k][0] * gi - a[k][1] * gr;
            }
        }
    }
    for (int c = 0; c < channels; ++c) {
        fftw_execute_dft_c2r(p.inverse, p.gradient[c], p.real);
        for (int k = 0; k < cells; ++k) g[c * cells + k] += p.real[k] * inverseCells;
        loss += Smoothness(x + c * cells, n, s.filterSmoothness, g + c * cells) +
                Size(x + c * cells, cells, s.filterSize, g + c * cells);
    }
    loss += Smoothness(bias, n, s.biasSmoothness, g + channels * cells) +
            Size(bias, cells, s.biasSize, g + channels * cells);
    return loss;
}

// A minute of silence on a large data set looks like a hang: on a terminal,
// the pass and iteration, every tenth one, overwritten in place.
int ShowProgress(void* instance, const lbfgsfloatval_t*, const lbfgsfloatval_t*,
                 const lbfgsfloatval_t, const lbfgsfloatval_t, const lbfgsfloatval_t,
                 const lbfgsfloatval_t, int, int iteration, int) {
    const Problem& p = *static_cast<const Problem*>(instance);
    if (iteration % 10 == 0)
        std::fprintf(stderr, "\r\033[K%s: pass %d of 2, iteration %d", p.progress->c_str(),
                     p.fullLoss ? 2 : 1, iteration);
    return 0;
}

}  // namespace

LearnSettings DefaultLearnSettings() {
    LearnSettings s;
    // Experiments only: VIREO_LEARN_SETTINGS="name=value,..." overrides the
    // committed values (the names are the fields' names).
    const char* text = std::getenv("VIREO_LEARN_SETTINGS");
    if (text == nullptr) return s;
    const std::pair<const char*, double*> fields[] = {{"binWidth", &s.binWidth},
                                                      {"cropFraction", &s.cropFraction},
                                                      {"meanErrorWeight", &s.meanErrorWeight},
                                                      {"crossEntropyWeight", &s.crossEntropyWeight},
                                                      {"errorSmoothing", &s.errorSmoothing},
                                                      {"filterSmoothness", &s.filterSmoothness},
                                                      {"filterSize", &s.filterSize},
                                                      {"biasSmoothness", &s.biasSmoothness},
                                                      {"biasSize", &s.biasSize}};
    std::string all = text;
    size_t from = 0;
    while (from < all.size()) {
        size_t to = all.find(',', from);
        if (to == std::string::npos) to = all.size();
        const std::string item = all.substr(from, to - from);
        const size_t eq = item.find('=');
        const std::string name = item.substr(0, eq);
        const double value = eq == std::string::npos ? 0.0 : std::atof(item.c_str() + eq + 1);
        if (name == "bins") s.bins = static_cast<int>(value);
        if (name == "crops") s.crops = static_cast<int>(value);
        if (name == "histograms") s.histograms = static_cast<int>(value);
        if (name == "firstIterations") s.firstIterations = static_cast<int>(value);
        if (name == "secondIterations") s.secondIterations = static_cast<int>(value);
        for (const auto& [key, field] : fields) {
            if (name == key) *field = value;
        }
        from = to + 1;
    }
    return s;
}

bool LoadLabelled(const std::string& dataDir, const std::string& truthPath,
                  std::vector<LabelledSample>& samples, std::string& error) {
    std::vector<Datagen::TruthRow> truth;
    if (!Datagen::ReadGroundTruth(truthPath, truth, error)) return false;
    samples.clear();
    samples.reserve(truth.size());
    for (const Datagen::TruthRow& row : truth) {
        LabelledSample s;
        s.path = row.path;
        if (!Score::LoadSample(dataDir + "/" + row.path, s.stats, error)) return false;
        s.whiteRG = row.whiteRG;
        s.whiteBG = row.whiteBG;
        s.cct = std::isfinite(row.cct) && row.cct > 0.0 ? row.cct : 0.0;
        float rFactor, bFactor;
        bool ignored;
        Awb::ModuleFactors(Score::FrameOf(s.stats), &rFactor, &bFactor, &ignored);
        s.lnRFactor = std::log(rFactor);
        s.lnBFactor = std::log(bFactor);
        samples.push_back(std::move(s));
    }
    if (samples.empty()) {
        error = truthPath + " names no sample";
        return false;
    }
    return true;
}

bool Learn(const std::vector<LabelledSample>& samples, const LearnSettings& settings,
           const std::string& profilePath, Tuning::TuningParams& params, std::string& curveSource,
           std::string& error, const std::string& progress) {
    if (settings.histograms != Awb::kHistDark && settings.histograms != Awb::kHistGrey &&
        settings.histograms != kMaxChannels) {
        error = "the learned model takes 3, 5 or 6 histograms, not " +
                std::to_string(settings.histograms);
        return false;
    }
    Tuning::TuningParams out;
    if (!LearnCurve(samples, profilePath, out.ctCurve, curveSource, error)) return false;
    out.mode = Tuning::AwbMode::Learned;
    out.darkFraction = static_cast<float>(settings.darkFraction);

    // The grid: centred on the range of the true whites (golden module),
    // with a margin around them so that a white near the edge still has
    // bins on both sides. Whites that span more than the settings' grid
    // widen its bins rather than fall off it (no NUS-8 camera needs that:
    // their whites span at most 1.4 ln units of the 1.94 between the first
    // and last bin centres).
    const int n = settings.bins;
    double lowU = 1e9, highU = -1e9, lowV = 1e9, highV = -1e9;
    for (const LabelledSample& s : samples) {
        const double u = -std::log(s.whiteRG) + s.lnRFactor, v = -std::log(s.whiteBG) + s.lnBFactor;
        lowU = std::min(lowU, u), highU = std::max(highU, u);
        lowV = std::min(lowV, v), highV = std::max(highV, v);
    }
    constexpr double kWhiteMargin = 0.25;  // ln units, four bins of 1/16
    const double span = std::max(highU - lowU, highV - lowV) + 2.0 * kWhiteMargin;
    const double width = std::max(settings.binWidth, span / (n - 1));
    Tuning::LearnedModel& m = out.learned;
    m.bins = static_cast<uint32_t>(n);
    m.binWidth = static_cast<float>(width);
    m.uStart = static_cast<float>(0.5 * (lowU + highU) - 0.5 * (n - 1) * width);
    m.vStart = static_cast<float>(0.5 * (lowV + highV) - 0.5 * (n - 1) * width);
    // The default CT (no usable region) is the middle of the curve.
    out.defaultCt = std::sqrt(out.ctCurve.front().ct * out.ctCurve.back().ct);

    Problem p;
    p.settings = &settings;
    p.n = n;
    p.half = n / 2 + 1;
    p.channels = settings.histograms;
    const int cells = n * n, halfCells = n * p.half, channels = p.channels;
    p.real = fftw_alloc_real(cells);
    p.spectrum = fftw_alloc_complex(halfCells);
    for (int c = 0; c < channels; ++c) {
        p.filter[c] = fftw_alloc_complex(halfCells);
        p.gradient[c] = fftw_alloc_complex(halfCells);
    }
    p.forward = fftw_plan_dft_r2c_2d(n, n, p.real, p.spectrum, FFTW_ESTIMATE);
    p.inverse = fftw_plan_dft_c2r_2d(n, n, p.spectrum, p.real, FFTW_ESTIMATE);
    p.z.resize(cells);
    p.grad.resize(cells);

    // The histograms exactly as the library makes them, then their spectra.
    const Tuning::TuningParams& selection = out;  // region selection as the library will do it
    std::vector<float> r, g, b, selected, work, hist(kMaxChannels * cells);
    Score::SampleStats crop;
    for (const LabelledSample& s : samples) {
        const double truthU = (-std::log(s.whiteRG) + s.lnRFactor - m.uStart) / m.binWidth;
        const double truthV = (-std::log(s.whiteBG) + s.lnBFactor - m.vStart) / m.binWidth;
        // The whole grid, then its corner crops under the same white.
        for (int view = 0; view <= std::min(settings.crops, 4); ++view) {
            if (view > 0 && !Score::CornerCrop(s.stats, view - 1, settings.cropFraction, crop))
                break;
            const Score::SampleStats& stats = view == 0 ? s.stats : crop;
            const VireoAwbFrame frame = Score::FrameOf(stats);
            const size_t room = (stats.regions.size() + 3) / 4 * 4;  // whole groups of four
            r.resize(room), g.resize(room), b.resize(room), selected.resize(room);
            Awb::SelectRegions(frame.regions, frame.regionCount, Awb::MakeLimits(frame, selection),
                               {r.data(), g.data(), b.data(), selected.data()});
            Awb::LearnedHistograms(m, frame, r.data(), g.data(), b.data(), selected.data(),
                                   static_cast<float>(s.lnRFactor), static_cast<float>(s.lnBFactor),
                                   hist.data(), &work);
            for (int c = 0; c < channels; ++c) {
                std::copy(hist.begin() + c * cells, hist.begin() + (c + 1) * cells, p.real);
                Complex* spectrum = fftw_alloc_complex(halfCells);
                fftw_execute_dft_r2c(p.forward, p.real, spectrum);
                p.histograms[c].push_back(spectrum);
            }
            p.truthU.push_back(truthU);
            p.truthV.push_back(truthV);
        }
    }

    const int parameters = (channels + 1) * cells;
    lbfgsfloatval_t* x = lbfgs_malloc(parameters);
    std::fill(x, x + parameters, 0.0);
    lbfgs_parameter_t lp;
    lbfgs_parameter_init(&lp);
    lp.epsilon = 1e-6;
    lp.past = 10;
    lp.delta = 1e-7;
    int status = 0;
    p.progress = &progress;
    const bool showProgress = !progress.empty() && isatty(2) != 0;
    for (int pass = 0; pass < 2; ++pass) {
        p.fullLoss = pass == 1;
        lp.max_iterations = pass == 0 ? settings.firstIterations : settings.secondIterations;
        if (lp.max_iterations <= 0) continue;
        lbfgsfloatval_t loss = 0.0;
        status =
            lbfgs(parameters, x, &loss, Evaluate, showProgress ? ShowProgress : nullptr, &p, &lp);
        if (std::getenv("VIREO_LEARN_TRACE") != nullptr)
            std::fprintf(stderr, "vireo-tune learn: pass %d: loss %.5f, L-BFGS status %d\n", pass,
                         loss, status);
    }
    for (int c = 0; c < channels; ++c)
        (m.*Awb::kLearnedFilters[c]).assign(x + c * cells, x + (c + 1) * cells);
    m.bias.assign(x + channels * cells, x + (channels + 1) * cells);
    lbfgs_free(x);
    if (showProgress) std::fputs("\r\033[K", stderr);
    for (int c = 0; c < channels; ++c) {
        for (Complex* spectrum : p.histograms[c]) fftw_free(spectrum);
        fftw_free(p.filter[c]);
        fftw_free(p.gradient[c]);
    }
    fftw_destroy_plan(p.forward);
    fftw_destroy_plan(p.inverse);
    fftw_free(p.real);
    fftw_free(p.spectrum);
    // A failed line search still leaves the best point found; only a
    // result that is not a number is a failure.
    const std::string invalid = Tuning::Validate(out);
    if (!invalid.empty()) {
        error = "learning gave an unusable tuning (" + invalid + "; L-BFGS status " +
                std::to_string(status) + ")";
        return false;
    }
    params = std::move(out);
    return true;
}

}  // namespace Vireo::Tune

int RunLearn(int argc, char** argv) {
    std::string data, truth, profile, out;
    for (int i = 2; i < argc; ++i) {
        const std::string a = argv[i];
        const bool hasValue = i + 1 < argc;
        if (a == "--data" && hasValue) {
            data = argv[++i];
        } else if (a == "--truth" && hasValue) {
            truth = argv[++i];
        } else if (a == "--profile" && hasValue) {
            profile = argv[++i];
        } else if (a == "--out" && hasValue) {
            out = argv[++i];
        } else if (a == "--help" || a == "-h") {
            std::fputs(Vireo::Tune::kUsage, stdout);
            return 0;
        } else {
            std::fprintf(stderr, "vireo-tune learn: bad argument %s\n%s", a.c_str(),
                         Vireo::Tune::kUsage);
            return 2;
        }
    }
    if (data.empty() || out.empty()) {
        std::fprintf(stderr, "vireo-tune learn: --data and --out are required\n%s",
                     Vireo::Tune::kUsage);
        return 2;
    }
    if (truth.empty()) truth = data + "/" + Vireo::Datagen::kGroundTruthFile;
    std::vector<Vireo::Tune::LabelledSample> samples;
    std::string error, source;
    Vireo::Tuning::TuningParams params;
    if (!Vireo::Tune::LoadLabelled(data, truth, samples, error) ||
        !Vireo::Tune::Learn(samples, Vireo::Tune::DefaultLearnSettings(), profile, params, source,
                            error,
                            "vireo-tune learn: " + std::to_string(samples.size()) + " samples")) {
        std::fprintf(stderr, "vireo-tune learn: %s\n", error.c_str());
        return 1;
    }
    std::string yaml = "# Learned by vireo-tune learn from " + std::to_string(samples.size()) +
                       " labelled samples in " + data + ".\n# CT of the curve points: " + source +
                       ".\n";
    yaml += Vireo::Tuning::ToYaml(params);
    if (!Vireo::WriteFileAtomically(out, yaml, error)) {
        std::fprintf(stderr, "vireo-tune learn: %s\n", error.c_str());
        return 1;
    }
    return 0;
}
