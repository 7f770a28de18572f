// vireo-tune learn: a camera's tuning learned from labelled samples (sample
// files whose true white is known, real or generated): the white locus (CT
// curve) and the learned estimator's filters and bias (mode learned).
#ifndef VIREO_TUNE_LEARN_H
#define VIREO_TUNE_LEARN_H

#include <string>
#include <vector>

#include "SampleStats.h"
#include "TuningParams.h"
#include "vireo/ReferenceAwbApi.h"

// The whole command line, argv[1] being "learn". Returns the exit status.
int RunLearn(int argc, char** argv);

namespace Vireo::Tune {

// Everything fixed before learning, for every camera alike; changing one
// changes what crossval reports for all of them. Chosen by 3-fold
// cross-validation on four of the NUS-8 cameras only (Canon1DsMkIII,
// FujifilmXM1, OlympusEPL6, SamsungNX2000); the other four never drove a
// choice. docs/learning-experiments.md lists what else was tried and what
// it measured, so that the same idea is not tried twice.
struct LearnSettings {
    // 32 bins of 1/16 (two ln units) do as well on NUS-8 as 64 of 1/32 and
    // cost the library a quarter of the transform.
    int bins = 32;
    double binWidth = 1.0 / 16;  // ln units; the grid spans bins * binWidth
    // Regions whose green mean is below this fraction of full scale are
    // left out (the tuning's dark_fraction, used in learning and at run time).
    double darkFraction = 0.01;
    // The loss per sample, in bins: weight of the error of the posterior's
    // mean (a smooth absolute value, sqrt(e^2 + smoothing^2)) and of the
    // cross-entropy against the true white.
    double meanErrorWeight = 1.0;
    double crossEntropyWeight = 3.0;
    double errorSmoothing = 0.5;
    // Penalties on the maps: squared differences of neighbouring bins
    // (smooth maps generalise) and squared values.
    double filterSmoothness = 1e-4;
    double filterSize = 1e-5;
    double biasSmoothness = 1e-4;
    double biasSize = 1e-5;
    // L-BFGS iterations of the first (cross-entropy only, convex) pass and of
    // the second (the full loss, started from the first).
    int firstIterations = 150;
    int secondIterations = 250;
    // Each capture is learned from as a whole and from its four corner
    // crops of this fraction of the grid's width and height, under the
    // same white: a scene seen in part still has that white, and a hundred
    // or two captures teach the filters more this way (on the four cameras
    // the mean went from 2.08 to 2.06 degrees, the worst 25 % from 4.92 to
    // 4.87).
    int crops = 4;  // at most 4
    double cropFraction = 0.6;
    // How many of the library's histograms, in their order, the model
    // uses: 3 (means, contrast, bright; format version 2), 5 (and dark and
    // top; version 3) or 6 (and grey; version 4). Each has a filter of its
    // own. The dark surfaces and the upper half of the frame tell the
    // filters what the means, their contrast and the bright surfaces do not
    // (on all eight cameras the mean went from 2.07 to 2.05 degrees, the
    // median from 1.40 to 1.33); the grey-looking surfaces, whose shading
    // changes every channel alike, show the light's colour (on the four
    // cameras 2.032 to 2.009 and 1.338 to 1.293; 5-fold 2.044 to 2.017 and
    // 1.346 to 1.316).
    int histograms = 6;
};

// The committed settings (VIREO_LEARN_SETTINGS="name=value,..." overrides
// them for experiments).
LearnSettings DefaultLearnSettings();

// One labelled sample, read with the driver's readers.
struct LabelledSample {
    std::string path;
    Score::SampleStats stats;
    double whiteRG = 1.0, whiteBG = 1.0;      // this module's true white
    double cct = 0.0;                         // K; 0 when unknown
    double lnRFactor = 0.0, lnBFactor = 0.0;  // module calibration, as the algorithm takes it
};

// Reads the ground truth and every sample it names. False with a reason.
bool LoadLabelled(const std::string& dataDir, const std::string& truthPath,
                  std::vector<LabelledSample>& samples, std::string& error);

// Learns a tuning (mode learned) from the samples. profilePath: a DCP camera
// profile for the CT of curve points when the truth has no CCT ("" for
// none). *curveSource says where the curve's CTs came from. progress: the
// label of the progress line shown on a terminal while learning ("" for
// none).
bool Learn(const std::vector<LabelledSample>& samples, const LearnSettings& settings,
           const std::string& profilePath, Tuning::TuningParams& params, std::string& curveSource,
           std::string& error, const std::string& progress = "");

}  // namespace Vireo::Tune

#endif  // VIREO_TUNE_LEARN_H
