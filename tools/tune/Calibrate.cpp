#include "Calibrate.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>

#include "AtomicFile.h"
#include "CtCurve.h"
#include "GroundTruth.h"
#include "SampleStats.h"
#include "Scenes.h"
#include "WhiteLocus.h"
#include "vireo/ReferenceAwbApi.h"

namespace Vireo::Tune {
namespace {

constexpr const char* kUsage =
    "usage: vireo-tune calibrate --data DIR [--truth FILE] [--out FILE.yaml]\n"
    "  --data DIR     data folder whose \"chart\" samples show the colour checker\n"
    "                 under laboratory lights\n"
    "  --truth FILE   which light each shot was taken under (default DIR/ground_truth.csv)\n"
    "  --out FILE     YAML tuning to write (default: standard output)\n";

// Margin of the grey zone beyond the farthest laboratory light: what is left
// of module spread after calibration, noise, and lights not in the lab.
constexpr double kGreyZoneMargin = 0.025;

float ModuleFactor(const CalibrationData& c, int index) {
    const float f = c.moduleCalibrationFactors[index];
    // The factors the algorithm believes, so calibration and decision agree.
    return std::isfinite(f) && f >= VIREO_AWB_MODULE_FACTOR_MIN && f <= VIREO_AWB_MODULE_FACTOR_MAX
               ? f
               : 1.0f;
}

// Sums of the usable regions inside the neutral patches (the checker's last
// row, white and black left out as the white may clip and the black is
// noisy), module calibration applied.
bool MeasureNeutral(const Score::SampleStats& sample, double& rg, double& bg) {
    using C = Datagen::ChartFrame;
    const int cols = sample.header.horizontalRegionCount, rows = sample.header.verticalRegionCount;
    const double pu = C::kWidth / C::kColumns, pv = C::kHeight / C::kRows;
    double r = 0, g = 0, b = 0;
    for (int col = 1; col + 1 < C::kColumns; ++col) {
        // The middle of the patch only: its edges mix with the chart's black.
        const double u0 = C::kLeft + (col + 0.25) * pu, u1 = C::kLeft + (col + 0.75) * pu;
        const double v0 = C::kTop + (C::kRows - 1 + 0.25) * pv,
                     v1 = C::kTop + (C::kRows - 0.25) * pv;
        for (int ry = 0; ry < rows; ++ry) {
            const double v = (ry + 0.5) / rows;
            if (v < v0 || v > v1) continue;
            for (int rx = 0; rx < cols; ++rx) {
                const double u = (rx + 0.5) / cols;
                if (u < u0 || u > u1) continue;
                Score::RegionMeans m;
                if (!Score::UsableRegionMeans(sample, static_cast<std::size_t>(ry * cols + rx), m))
                    continue;
                r += m.r, g += m.g, b += m.b;
            }
        }
    }
    if (g <= 0.0 || r <= 0.0 || b <= 0.0) return false;
    rg = r / g / ModuleFactor(sample.calibration, 0);
    bg = b / g / ModuleFactor(sample.calibration, 1);
    return true;
}

std::string Number(double v, int digits) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.*f", digits, v);
    return buf;
}

}  // namespace

bool Calibrate(const std::string& dataDir, const std::string& truthPath, CalibrationResult& result,
               std::string& error) {
    std::vector<Datagen::TruthRow> truth;
    if (!Datagen::ReadGroundTruth(truthPath, truth, error)) return false;

    struct Accumulator {
        LightMeasurement m;
        std::vector<White> shots;
    };
    std::map<std::string, Accumulator> byLight;
    for (const auto& row : truth) {
        // A chart shot without a known temperature (an imported capture)
        // cannot place a curve point.
        if (row.scene != "chart" || !std::isfinite(row.cct)) continue;
        Score::SampleStats sample;
        if (!Score::LoadSample(dataDir + "/" + row.path, sample, error)) return false;
        double rg = 0, bg = 0;
        if (!MeasureNeutral(sample, rg, bg)) {
            std::fprintf(stderr, "vireo-tune calibrate: %s: no usable neutral patch, left out\n",
                         row.path.c_str());
            continue;
        }
        Accumulator& a = byLight[row.illuminant];
        a.m.name = row.illuminant;
        a.m.kind = row.kind;
        a.m.cct = row.cct;
        a.shots.push_back({std::log(rg), std::log(bg), 1e6 / row.cct});
    }

    result = CalibrationResult{};
    std::vector<White> whites;
    double lowest = 1e9, highest = 0.0;  // the curve lights' mired
    for (auto& [name, a] : byLight) {
        double u = 0.0, v = 0.0, spread = 0.0;
        for (const White& w : a.shots) u += w.lnRG, v += w.lnBG;
        u /= static_cast<double>(a.shots.size()), v /= static_cast<double>(a.shots.size());
        for (const White& w : a.shots)
            spread += (w.lnRG - u) * (w.lnRG - u) + (w.lnBG - v) * (w.lnBG - v);
        a.m.scatter = std::sqrt(spread / static_cast<double>(a.shots.size()));
        a.m.rOverG = std::exp(u);
        a.m.bOverG = std::exp(v);
        a.m.shots = static_cast<int>(a.shots.size());
        result.lights.push_back(a.m);
        // Blackbody and daylight sources define the curve; the others only
        // tell how far real lights stray from it.
        if (a.m.kind != "planckian" && a.m.kind != "daylight") continue;
        lowest = std::min(lowest, 1e6 / a.m.cct), highest = std::max(highest, 1e6 / a.m.cct);
        whites.insert(whites.end(), a.shots.begin(), a.shots.end());
    }
    // Lights closer than 5 mired make one curve point.
    if (highest - lowest < 5.0) {
        error =
            "need chart shots under at least two blackbody or daylight sources of different "
            "colour temperature";
        return false;
    }
    // The laboratory knows each light's CCT: one curve point per light.
    result.curve = FitWhiteLocus(std::move(whites), Grouping::SameCt);

    // Each light's distance as the algorithm measures it against the grey zone.
    const Awb::CtCurve curve = Awb::BuildCurve(result.curve);
    double farthest = 0.0, scatter = 0.0;
    for (auto& m : result.lights) {
        const float u = static_cast<float>(std::log(m.rOverG)),
                    v = static_cast<float>(std::log(m.bOverG));
        m.distance = std::fabs(Awb::Project(curve, u, v).distance);
        farthest = std::max(farthest, m.distance);
        scatter = std::max(scatter, m.scatter);
    }
    result.greyZoneWidth = std::clamp(farthest + 2.0 * scatter + kGreyZoneMargin, 0.03, 0.3);
    return true;
}

std::string FormatTuningYaml(const CalibrationResult& r, const std::string& source) {
    std::string y;
    y += "# Reference AWB tuning made by vireo-tune calibrate from the colour checker\n";
    y += "# shots in " + source + ".\n";
    y += "# Laboratory lights measured (neutral patches, module calibration applied;\n";
    y += "# distance from the curve in log chromaticity):\n";
    std::vector<LightMeasurement> lights = r.lights;
    std::sort(lights.begin(), lights.end(),
              [](const LightMeasurement& a, const LightMeasurement& b) { return a.cct < b.cct; });
    for (const auto& m : lights) {
        char line[160];
        std::snprintf(line, sizeof line,
                      "#   %-14s %-11s %5.0f K  R/G %.4f  B/G %.4f  shots %d  distance %.4f\n",
                      m.name.c_str(), m.kind.c_str(), m.cct, m.rOverG, m.bOverG, m.shots,
                      m.distance);
        y += line;
    }
    y += "ct_curve:  # [CT K, R/G, B/G] of a grey patch, golden module";
    // An end that no light measured was extended.
    const auto measured = [&lights](float ct) {
        return std::any_of(lights.begin(), lights.end(),
                           [ct](const LightMeasurement& m) { return std::fabs(m.cct - ct) < 0.5; });
    };
    y += !measured(r.curve.front().ct) || !measured(r.curve.back().ct)
             ? "; the end points extend the\n           # measured ones in a straight line against "
               "mired\n"
             : "\n";
    for (const auto& m : r.curve)
        y += "  - [" + Number(m.ct, 0) + ", " + Number(m.rOverG, 4) + ", " + Number(m.bOverG, 4) +
             "]\n";
    y += "# The farthest laboratory light from the curve, twice the largest scatter\n";
    y += "# of repeated shots, and a margin for lights and modules not measured.\n";
    y += "grey_zone_width: " + Number(r.greyZoneWidth, 3) + "\n";
    return y;
}

}  // namespace Vireo::Tune

int RunCalibrate(int argc, char** argv) {
    std::string data, truth, out;
    for (int i = 2; i < argc; ++i) {
        const std::string a = argv[i];
        const bool hasValue = i + 1 < argc;
        if (a == "--data" && hasValue)
            data = argv[++i];
        else if (a == "--truth" && hasValue)
            truth = argv[++i];
        else if (a == "--out" && hasValue)
            out = argv[++i];
        else if (a == "--help" || a == "-h") {
            std::fputs(Vireo::Tune::kUsage, stdout);
            return 0;
        } else {
            std::fprintf(stderr, "vireo-tune calibrate: bad argument %s\n%s", a.c_str(),
                         Vireo::Tune::kUsage);
            return 2;
        }
    }
    if (data.empty()) {
        std::fprintf(stderr, "vireo-tune calibrate: --data is required\n%s", Vireo::Tune::kUsage);
        return 2;
    }
    if (truth.empty()) truth = data + "/" + Vireo::Datagen::kGroundTruthFile;
    Vireo::Tune::CalibrationResult result;
    std::string error;
    if (!Vireo::Tune::Calibrate(data, truth, result, error)) {
        std::fprintf(stderr, "vireo-tune calibrate: %s\n", error.c_str());
        return 1;
    }
    const std::string yaml = Vireo::Tune::FormatTuningYaml(result, data);
    if (out.empty()) {
        std::fputs(yaml.c_str(), stdout);
        return 0;
    }
    if (!Vireo::WriteFileAtomically(out, yaml, error)) {
        std::fprintf(stderr, "vireo-tune calibrate: %s\n", error.c_str());
        return 1;
    }
    return 0;
}
