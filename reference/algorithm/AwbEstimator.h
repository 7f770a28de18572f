// The reference AWB decision for one sample: region selection, then one of
// three methods, each in a file of its own: the Bayesian search of the
// colour temperature along the white locus (BayesEstimator.cpp), the
// learned posterior (LearnedSearch.cpp, LearnedEstimator.h) and the plain
// grey world they are compared with (GreyWorld.cpp).
#ifndef VIREO_REFERENCE_AWB_ESTIMATOR_H
#define VIREO_REFERENCE_AWB_ESTIMATOR_H

#include <cstdint>
#include <vector>

#include "CtCurve.h"
#include "FastMath.h"
#include "LearnedEstimator.h"
#include "TuningParams.h"
#include "vireo/ReferenceAwbApi.h"

namespace Vireo {
namespace Awb {

// Positions searched along the curve; with typical curves about 0.005 log
// units apart, well below the likelihood's width (a parabola through the
// peak's neighbours places it between them).
inline constexpr int kSearchBins = 256;

// Votes and votes times signed distance, per bin, in kVoteLanes lanes:
// region i writes lane i % kVoteLanes, so consecutive votes for the same bin
// do not wait for each other's stores.
inline constexpr int kVoteLanes = 4;
struct VoteLanes {
    float weight[kVoteLanes];
    float offset[kVoteLanes];
};

struct Estimator {
    Tuning::TuningParams params;
    // The plain twins of the four-lane passes (FourLanes.cpp), the selection,
    // the vote and the learned histograms and softmax: the same bits,
    // slower; for the tests that hold the two forms together.
    bool plainTwins = false;
    CtCurve curve;
    float binWidth = 0.0f;
    std::vector<float> lnPriorOutdoor;  // per search bin
    std::vector<float> lnPriorIndoor;
    // The likelihood's smoothing along the curve: three box filters of this
    // odd width (in bins) approximate the Gaussian, and the scale brings a
    // lone vote's peak back to its weight.
    int boxWidth = 1;
    float boxScale = 1.0f;
    int margin = 0;  // empty bins on each side of the vote array
    // The box (ln R/G, ln B/G) that holds every point within the grey zone
    // of the curve: a region whose ratios lie outside it cannot vote.
    float nearLowU = 0.0f;
    float nearHighU = 0.0f;
    float nearLowV = 0.0f;
    float nearHighV = 0.0f;
    // Scratch reused from sample to sample, so a steady run allocates nothing.
    // Per region, with room for whole groups of four: R, green and B means,
    // and whether it is selected (1/0).
    std::vector<float> meanR;
    std::vector<float> meanG;
    std::vector<float> meanB;
    std::vector<float> selected;
    // Per group of four regions that may vote, packed: log chromaticity
    // (later the vote weights), which lanes are selected (1/0), place along
    // the curve, squared distance from it, the side it lies on (later the
    // vote times the signed distance) and the lower search bin of the vote.
    std::vector<float> u;
    std::vector<float> v;
    std::vector<float> chosen;
    std::vector<float> along;
    std::vector<float> squared;
    std::vector<float> side;
    std::vector<int32_t> bin;
    // Per search bin (with margins): the votes, and the votes times their
    // signed distance from the curve.
    std::vector<float> votes;
    std::vector<float> offsetVotes;
    std::vector<float> filterScratch;  // the box filter's second buffers
    std::vector<float> filterScratch2;
    std::vector<VoteLanes> lanes;
    std::vector<float> posterior;
    // Mode learned (or a model carried in another mode).
    LearnedState learned;
    std::vector<float> learnedWork;
};

// params must have passed Tuning::Validate.
void InitEstimator(const Tuning::TuningParams& params, Estimator* estimator);

// Reads frame.regions[0 .. regionCount-1] only. Always fills result; returns
// 0, or -1 when frame is unusable (null regions with a positive count).
int Estimate(Estimator* estimator, const VireoAwbFrame& frame, VireoAwbResult* result);

// What each region contributed to the decision Estimate just made for this
// frame (the estimator's scratch still holds its selection): below 0 left
// out by the selection, 0 selected but outside the grey zone, above 0 its
// weight. Fills weights[0 .. count-1]; regions past the frame's are -1.
void ExplainRegions(const Estimator& estimator, const VireoAwbFrame& frame,
                    const VireoAwbResult& result, float* weights, int32_t count);

// --- inside the library: what the methods share and what each provides ---

// Gains, white point and CCT from a white point in the golden module's
// log-chromaticity plane.
void SetWhite(float u, float v, float mired, float rFactor, float bFactor, VireoAwbResult* result);
// The same for the curve point at arc length s, moved across the curve by
// offset limited to the tuning's transverse limit.
void SetWhiteNearCurve(const Estimator& e, float s, float offset, float rFactor, float bFactor,
                       VireoAwbResult* result);

// The methods, run once the selection (the estimator's scratch) has found
// at least one region: each fills what it decides into result, which
// already holds the outdoor weight and the selected region count.
void GreyWorldSearch(Estimator* e, const VireoAwbFrame& frame, float lnRFactor, float lnBFactor,
                     float rFactor, float bFactor, VireoAwbResult* result);
void BayesSearch(Estimator* e, const VireoAwbFrame& frame, float lnRFactor, float lnBFactor,
                 float rFactor, float bFactor, VireoAwbResult* result);
void LearnedSearch(Estimator* e, const VireoAwbFrame& frame, float lnRFactor, float lnBFactor,
                   float rFactor, float bFactor, VireoAwbResult* result);

// The mean of the selected regions in the golden module's plane.
void GreyWorld(const Estimator& e, int32_t count, float lnRFactor, float lnBFactor, float* u,
               float* v);
// The Bayesian search's part of InitEstimator: priors, smoothing, scratch.
void InitBayes(Estimator* e);

// What both forms of the vote share. The box in this module's ratios R/G,
// B/G that holds every point within the grey zone of the curve: a region
// outside it cannot vote.
struct NearBox {
    float rgLow;
    float rgHigh;
    float bgLow;
    float bgHigh;
};
NearBox NearBoxOf(const Estimator& e, float lnRFactor, float lnBFactor);
// The grey zone, the likelihood's width and the search bins, as the vote
// uses them.
struct VoteScales {
    float widthSquared;
    float inv2Sigma2;
    float invBin;
    int last;  // the last bin, margins included
    float lastBin;
    float margin;
};
VoteScales VoteScalesOf(const Estimator& e);
// The vote four regions at a time (FourLanes.cpp): weighs the selected
// regions in the grey zone into e->lanes; returns how many voted.
uint32_t VoteInLanes(Estimator* e, int32_t count, float lnRFactor, float lnBFactor);

}  // namespace Awb
}  // namespace Vireo

#endif  // VIREO_REFERENCE_AWB_ESTIMATOR_H
