// Fixed placeholder inputs for the parts of the wrapper interface that
// recorded sample files do not carry.
#ifndef VIREO_DUMMY_INFO_H
#define VIREO_DUMMY_INFO_H

#include "vireo/IAWBSimulationWrapper.h"

// Feeds the nine placeholder calls, always with the same values and the same
// static records, which stay valid for the whole run.
void setDummyInfo(Vireo::IAWBSimulationWrapper* wrapper);

#endif  // VIREO_DUMMY_INFO_H
