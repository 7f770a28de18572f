// Error measures of colour constancy: the angle between the estimated and
// the true white point in the camera's RGB space, summarised the way the
// literature does (mean, median, trimean, best and worst quarter), and the
// colour temperature error in mired.
#ifndef VIREO_SCORE_METRICS_H
#define VIREO_SCORE_METRICS_H

#include <vector>

namespace Vireo::Score {

// Angle in degrees between the white point (1/rGain, 1/gGain, 1/bGain) that
// the gains imply and the true white (rOverG, 1, bOverG). Gains that are not
// positive finite numbers are a failed estimate: 180 degrees.
double AngularErrorFromGains(double rGain, double gGain, double bGain, double rOverG,
                             double bOverG);

// Angle in degrees between two white points given as ratios to green.
double AngularError(double rg1, double bg1, double rg2, double bg2);

// |10^6/estimated - 10^6/true|; a non-positive estimate counts as 10^6/1000
// away from the truth's mired, the far end of any tuning's range.
double MiredError(double estimatedKelvin, double trueKelvin);

struct Summary {
    int count = 0;
    double mean = 0, median = 0, trimean = 0, best25 = 0, worst25 = 0;
};

// Quartiles interpolate linearly between order statistics; best and worst
// 25 % are the means of the lowest and highest max(1, floor(n/4)) values.
Summary Summarise(std::vector<double> values);

}  // namespace Vireo::Score

#endif  // VIREO_SCORE_METRICS_H
