// The learned white balance (mode learned), of the "fast Fourier colour
// constancy" kind: histograms of the sample in the log-chromaticity plane
// u = ln(G/R), v = ln(G/B) - of the region means, of their local absolute
// deviation over the region grid, and of the means again weighted towards
// the brightest, towards the darkest, to the top half of the frame and
// towards grey surfaces - are
// each convolved with a learned filter, a learned bias map is added, and
// the softmax of the sum is a posterior over the white point. Its mean is
// the estimate; its spread says how sure the estimate is. vireo-tune learn
// fits the filters and the bias with the same histograms
// (LearnedHistograms), so what is learned and what runs here cannot drift
// apart.
#ifndef VIREO_REFERENCE_LEARNED_ESTIMATOR_H
#define VIREO_REFERENCE_LEARNED_ESTIMATOR_H

#include <vector>

#include "SmallFft.h"
#include "TuningParams.h"
#include "vireo/ReferenceAwbApi.h"

namespace Vireo {
namespace Awb {

// The histograms, in the order they lie in a block of kLearnedHistograms
// times bins^2 floats (each row-major in u) and the order of the model's
// filters.
enum LearnedHistogram : int {
    kHistMeans,
    kHistContrast,
    kHistBright,
    kHistDark,
    kHistTop,
    kHistGrey
};
inline constexpr int kLearnedHistograms = 6;
// Transforms the posterior takes: two histograms each.
inline constexpr int kLearnedTransforms = (kLearnedHistograms + 1) / 2;
// The relative spread of a pair's channel deviations at which its weight
// in the grey histogram falls to exp(-1/2) (chosen on the development
// cameras among 0.015 to 0.2).
inline constexpr float kGreySpread = 0.05f;
// The model's filter of each histogram.
inline constexpr std::vector<float> Tuning::LearnedModel::*kLearnedFilters[kLearnedHistograms] = {
    &Tuning::LearnedModel::filterMeans,  &Tuning::LearnedModel::filterContrast,
    &Tuning::LearnedModel::filterBright, &Tuning::LearnedModel::filterDark,
    &Tuning::LearnedModel::filterTop,    &Tuning::LearnedModel::filterGrey};

// Fills the histograms of a sample (a block, in the order above) from its
// region means and selection as SelectRegions gives them (each array with
// room for the region count rounded up to a multiple of 4).
// The local contrast of a region is, per channel, the sum of the absolute
// differences between its mean and those of its selected four nearest
// neighbours (the local absolute deviation). Then pairs of regions (2k,
// 2k + 1) are pooled: their means weighted by pixel count, their deviations
// added. A pair counts with its pixel count; each histogram sums to 1 (or
// is all zero when nothing fell into it). A chromaticity is shared between
// the four nearest bin centres; one outside the grid is left out. The
// bright histogram holds the pooled means again, each weight times
// (L / M)^4, L the pair's mean of R, G and B, M the largest channel mean of
// a selected region: bright surfaces (white ones, highlights) show the
// light's colour most. The dark histogram weights them by (1 - L / M)^2
// instead: shadows and dark surfaces, lit by the same light, tell what the
// bright ones cannot (a bright surface may be coloured itself). The top
// histogram holds the pooled means of the upper half of the grid's rows
// (of a pair, its first region's row): sky and ceiling lights above, the
// ground and the subject below. The grey histogram weights the pooled means
// by how grey the pair looks: exp(-g^2 / (2 kGreySpread^2)), g the relative
// spread (standard deviation over mean) of the three channels' deviations,
// each over the channel's pooled mean. Shading changes every channel of a
// grey surface by the same factor whatever the light, so its relative
// deviations agree; a coloured surface next to another colour changes its
// channels unequally. A flat pair has no contrast and no grey weight.
// work is scratch, resized as needed.
// plain: the plain twin of the four-lane passes (the same bits, slower).
void LearnedHistograms(const Tuning::LearnedModel& model, const VireoAwbFrame& frame,
                       const float* r, const float* g, const float* b, const float* selected,
                       float lnRFactor, float lnBFactor, float* histograms,
                       std::vector<float>* work, bool plain = false);

// What the posterior tells.
struct LearnedWhite {
    float u = 0.0f;  // posterior mean, golden module, ln(G/R)
    float v = 0.0f;  // ln(G/B)
    // binWidth^2 / (binWidth^2 + posterior variance per axis): near 1 when
    // the posterior is one bin wide, 0.5 at a spread of one bin.
    float confidence = 0.0f;
};

struct LearnedState {
    Tuning::LearnedModel model;
    SmallFft fft;
    // Spectra of fa - i fb of the filters of the histograms that share a
    // transform (means and contrast, bright and dark, top and grey) and of the
    // bias, 1/n^2 folded in so the inverse transform needs no scaling (the
    // FFT's transposed layout).
    std::vector<float> filterRe[kLearnedTransforms], filterIm[kLearnedTransforms], biasRe, biasIm;
    // Scratch reused from sample to sample.
    std::vector<float> re, im;        // n^2
    std::vector<float> histograms;    // kLearnedHistograms n^2
    std::vector<float> topImaginary;  // n^2 zeros: the top transform's imaginary part without grey
};

// model must have passed Tuning::Validate with bins > 0.
void InitLearned(const Tuning::LearnedModel& model, LearnedState* state);

// The posterior of the histograms (a block from LearnedHistograms; when it
// is state->histograms, they are transformed in place); writes the
// unnormalised log posterior (n^2 floats) into logPosterior when not null.
// plain: the plain twin of the four-lane softmax.
LearnedWhite LearnedPosterior(LearnedState* state, const float* histograms, float* logPosterior,
                              bool plain = false);

// --- inside the library: the per-region passes of LearnedHistograms ---

// The planes LearnedHistograms lays out, `stride` floats each, with room
// past the last region for a row and eight: R, G, B means (padded with 1),
// the selection (padded with 0), the selection without the last column of
// each row (a region's right neighbour is in its row), the pixel counts of
// the selected regions (padded with 0); six planes of differences with
// `front` zeros before each, per pair of regions what the histograms take
// from it, and scratch for the histograms.
struct LearnedPlanes {
    const float* means;
    const float* chosen;
    const float* notLast;
    const float* weights;
    // Per region and channel, |difference| to the right and to the lower
    // neighbour when both are selected (0 otherwise): R, G, B right, then
    // R, G, B down.
    float* diff;
    int stride;
    int cols;
    int pairs;  // (regions + 1) / 2
    // The histogram grid.
    int n;
    float uStart;
    float vStart;
    float invWidth;
    float lnR;
    float lnB;
    // Pairs before this one lie in the top half (their first region's row).
    int topPairs;
    // Per pair: its weight in the means and contrast histograms and in the
    // bright and dark ones; for the means and for the contrast, the first of
    // the four bin centres around it (its cell index, exact as a float) and
    // the offsets from it in u and v.
    float* pairWeights;
    float* contrastWeights;
    float* brightWeights;
    float* darkWeights;
    // How grey each pair looks (its factor in the grey histogram's weight).
    float* greyness;
    float* meanAt;
    float* meanFu;
    float* meanFv;
    float* contrastAt;
    float* contrastFu;
    float* contrastFv;
    float* scratch;  // 12 n^2
    // The histograms, a block in LearnedHistogram order.
    float* histograms;
};

// Fills diff, the per-pair planes and the histograms: four regions (pairs)
// at a time (FourLanes.cpp), and the plain twin that gives the same bits.
void LearnedPairsInLanes(const LearnedPlanes& planes);
void LearnedPairsPlain(const LearnedPlanes& planes);

// exp(z - max z) over cells (a multiple of four) values, in place.
void SoftmaxInLanes(float* z, int cells);

}  // namespace Awb
}  // namespace Vireo

#endif  // VIREO_REFERENCE_LEARNED_ESTIMATOR_H
