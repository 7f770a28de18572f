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
// at (uStart + i * binWidth, vStart + j * binWidth). Four maps of
// bins x bins values, row-major in u: the filters applied (circularly) to
// the histogram of region chromaticities and to the histogram of their
// local contrast, and to the histogram of the bright regions, and a bias
// added to the result before the softmax.
struct LearnedModel {
    uint32_t bins = 0;  // 0: no model; else a power of two in 8..64
    float binWidth = 0.0f;
    float uStart = 0.0f;
    float vStart = 0.0f;
    std::vector<float> filterMeans;
    std::vector<float> filterContrast;
    std::vector<float> filterBright;
    std::vector<float> bias;
};

inline constexpr uint32_t kMinLearnedBins = 8;
inline constexpr uint32_t kMaxLearnedBins = 64;

struct TuningParams {
    AwbMode mode = AwbMode::Bayes;
    float greyZoneWidth = 0.10f;
    float defaultCt = 5000.0f;
    float darkFraction = 0.01f;
    float saturationFraction = 0.95f;
    float likelihoodSigma = 0.03f;
    float likelihoodStrength = 2.0f;
    float likelihoodFloor = 0.001f;
    float transverseLimit = 0.05f;
    float luxIndexOutdoor = 200.0f;
    float luxIndexIndoor = 320.0f;
    std::vector<CurvePoint> ctCurve;  // required; no default
    std::vector<PriorPoint> priorOutdoor{
        {2000, 0.05f}, {4000, 0.3f}, {5000, 1}, {7500, 1}, {10000, 0.3f}};
    std::vector<PriorPoint> priorIndoor{
        {2000, 0.3f}, {2800, 1}, {4500, 1}, {6500, 0.4f}, {10000, 0.1f}};
    LearnedModel learned;  // required in mode learned, optional otherwise
};

bool operator==(const LearnedModel& a, const LearnedModel& b);
bool operator==(const TuningParams& a, const TuningParams& b);

// Empty when every value is inside its documented range; otherwise one
// sentence naming the first offending key.
std::string Validate(const TuningParams& params);

}  // namespace Tuning
}  // namespace Vireo

#endif  // VIREO_REFERENCE_TUNING_PARAMS_H
