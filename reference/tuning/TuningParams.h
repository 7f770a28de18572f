// The reference AWB tuning as plain values, with its defaults and limits.
// docs/tuning.md is the user-facing reference for every field.
#ifndef VIREO_REFERENCE_TUNING_PARAMS_H
#define VIREO_REFERENCE_TUNING_PARAMS_H

#include <cstdint>
#include <string>
#include <vector>

namespace Vireo {
namespace Tuning {

enum class AwbMode : uint32_t { Bayes = 0, GreyWorld = 1, Learned = 2 };

struct CurvePoint {
    float ct;      // kelvin
    float rOverG;  // golden-module R/G of a grey patch
    float bOverG;  // golden-module B/G of a grey patch
};

struct PriorPoint {
    float ct;
    float weight;
};

inline constexpr size_t kMaxCurvePoints = 32;
inline constexpr size_t kMaxPriorPoints = 32;

// The learned estimator's model (mode learned; vireo-tune learn makes it). A
// posterior over the white point on a square grid of bins in the plane
// u = ln(G/R), v = ln(G/B) of the golden module: the bin [i][j] is centred
// at (uStart + i * binWidth, vStart + j * binWidth). Maps of bins x bins
// values, row-major in u: the filters applied (circularly) to the
// histograms of region chromaticities, of their local contrast, of the
// bright regions, of the dark ones, of the top half of the frame and of the
// grey-looking ones, and a bias added to the result before the softmax. A
// model learned before the dark and top histograms has neither of their
// filters (format version 2), one learned before the grey histogram no grey
// filter (version 3).
struct LearnedModel {
    uint32_t bins = 0;  // 0: no model; else a power of two in 8..64
    float binWidth = 0.0f;
    float uStart = 0.0f;
    float vStart = 0.0f;
    std::vector<float> filterMeans;
    std::vector<float> filterContrast;
    std::vector<float> filterBright;
    std::vector<float> bias;
    std::vector<float> filterDark;  // both or neither
    std::vector<float> filterTop;
    std::vector<float> filterGrey;  // only with the two above
};

// The learned model's maps, in payload order: YAML key, member, and the
// format version that first carries it (the maps after the bias are
// optional: a model has those of one version and every version before).
struct LearnedMapKey {
    const char* name;
    std::vector<float> LearnedModel::*member;
    uint32_t sinceVersion;
};
inline constexpr LearnedMapKey kLearnedMapKeys[] = {
    {"filter_means", &LearnedModel::filterMeans, 2},
    {"filter_contrast", &LearnedModel::filterContrast, 2},
    {"filter_bright", &LearnedModel::filterBright, 2},
    {"bias", &LearnedModel::bias, 2},
    {"filter_dark", &LearnedModel::filterDark, 3},
    {"filter_top", &LearnedModel::filterTop, 3},
    {"filter_grey", &LearnedModel::filterGrey, 4},
};

inline constexpr uint32_t kMinLearnedBins = 8;
inline constexpr uint32_t kMaxLearnedBins = 64;

struct TuningParams {
    TuningParams();  // every key at its default
    AwbMode mode = AwbMode::Bayes;
    // The scalar keys; their names, defaults and ranges are in kScalarKeys.
    float greyZoneWidth, defaultCt, darkFraction, saturationFraction, likelihoodSigma,
        likelihoodStrength, likelihoodFloor, transverseLimit, luxIndexOutdoor, luxIndexIndoor;
    std::vector<CurvePoint> ctCurve;  // required; no default
    std::vector<PriorPoint> priorOutdoor{
        {2000, 0.05f}, {4000, 0.3f}, {5000, 1}, {7500, 1}, {10000, 0.3f}};
    std::vector<PriorPoint> priorIndoor{
        {2000, 0.3f}, {2800, 1}, {4500, 1}, {6500, 0.4f}, {10000, 0.1f}};
    LearnedModel learned;  // required in mode learned, optional otherwise
};

// A key that is one number. Its row is all there is to know about it: the
// YAML, the binary codec, Validate and the docs check read it from here.
struct ScalarKey {
    const char* name;  // in the YAML and in messages
    const char* unit;  // as the docs table shows it
    float TuningParams::*member;
    float defaultValue;
    float low;
    float high;
    bool lowOpen;  // the end itself is outside the range
    bool highOpen;
};

// In payload order: the rows follow the mode word, one f32 each. Moving a
// row moves its field in the file, which breaks every tuning already out.
inline constexpr ScalarKey kScalarKeys[] = {
    {"grey_zone_width", "log-chromaticity distance", &TuningParams::greyZoneWidth, 0.10f, 0, 1,
     true, false},
    // Also inside the curve's CT range, which Validate checks on its own.
    {"default_ct", "K", &TuningParams::defaultCt, 5000, 1000, 20000, false, false},
    {"dark_fraction", "fraction of full scale", &TuningParams::darkFraction, 0.01f, 0, 1, false,
     true},
    {"saturation_fraction", "fraction of full scale", &TuningParams::saturationFraction, 0.95f, 0,
     1, true, false},
    {"likelihood_sigma", "log-chromaticity distance", &TuningParams::likelihoodSigma, 0.03f, 0.001f,
     0.5f, false, false},
    {"likelihood_strength", "(none)", &TuningParams::likelihoodStrength, 2, 0, 100, true, false},
    // Kept away from 0: where no region votes, ln(floor) must be the logarithm
    // of a normal float, which the fast logarithm needs.
    {"likelihood_floor", "fraction of regions", &TuningParams::likelihoodFloor, 0.001f, 1e-9f, 1,
     false, false},
    {"transverse_limit", "log-chromaticity distance", &TuningParams::transverseLimit, 0.05f, 0, 1,
     false, false},
    // Also outdoor below indoor, which Validate checks on its own.
    {"lux_index_outdoor", "lux index", &TuningParams::luxIndexOutdoor, 200, 0, 1e6f, false, false},
    {"lux_index_indoor", "lux index", &TuningParams::luxIndexIndoor, 320, 0, 1e6f, false, false},
};

// The keys that are more than one number, each read, written and checked by
// code of its own; their names live here.
inline constexpr char kModeKey[] = "mode";
inline constexpr char kCurveKey[] = "ct_curve";
inline constexpr char kPriorOutdoorKey[] = "prior_outdoor";
inline constexpr char kPriorIndoorKey[] = "prior_indoor";
inline constexpr char kLearnedKey[] = "learned";

// The range of a scalar key as messages and the docs write it: "(0, 1]".
std::string RangeText(const ScalarKey& key);

bool operator==(const LearnedModel& a, const LearnedModel& b);
bool operator==(const TuningParams& a, const TuningParams& b);

// Empty when every value is inside its documented range; otherwise one
// sentence naming the first offending key.
std::string Validate(const TuningParams& params);

}  // namespace Tuning
}  // namespace Vireo

#endif  // VIREO_REFERENCE_TUNING_PARAMS_H
