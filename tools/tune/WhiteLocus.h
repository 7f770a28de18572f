// The white locus (CT curve) of a camera through whites of known colour
// temperature: the one curve fit of vireo-tune, for calibrate (chart shots
// under laboratory lights) and learn (any labelled samples).
#ifndef VIREO_TUNE_WHITE_LOCUS_H
#define VIREO_TUNE_WHITE_LOCUS_H

#include <vector>

#include "TuningParams.h"

namespace Vireo::Tune {

struct White {
    double lnRG, lnBG;  // golden module
    double mired;       // 1e6 / CT
};

// How the whites, ordered by CT, become curve points (each a group's mean).
enum class Grouping {
    EqualShares,  // a few groups of equal count: whites of scattered CTs
    SameCt,       // one group per CT: repeated shots under known lights
};

// The curve through the groups' means, ascending in CT, reaching 2000 and
// 12000 K (straight on against mired beyond the whites). Needs a white.
std::vector<Tuning::CurvePoint> FitWhiteLocus(std::vector<White> whites, Grouping grouping);

}  // namespace Vireo::Tune

#endif  // VIREO_TUNE_WHITE_LOCUS_H
