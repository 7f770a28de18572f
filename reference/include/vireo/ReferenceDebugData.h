// What the reference wrapper keeps behind the five fields of
// AWBSimulationOutput; debugDataSize is sizeof(ReferenceDebugData).
#ifndef VIREO_REFERENCE_DEBUG_DATA_H
#define VIREO_REFERENCE_DEBUG_DATA_H

#include <cstdint>

#include "vireo/ReferenceAwbApi.h"
#include "vireo/WrapperRecords.h"

namespace Vireo {

inline constexpr uint32_t kReferenceDebugVersion = 1;

struct ReferenceDebugData {
    uint32_t version;      // kReferenceDebugVersion
    uint32_t sampleIndex;  // samples run on this wrapper, from 0
    int32_t totalRegionCount;
    int32_t algorithmStatus;  // what the algorithm's process() returned
    VireoAwbResult algorithm;
};

// The record GetOutput hands out: the output the driver reads, then the
// debug data it never looks at.
struct ReferenceOutputRecord {
    AWBSimulationOutput output;
    ReferenceDebugData debug;
};

}  // namespace Vireo

#endif  // VIREO_REFERENCE_DEBUG_DATA_H
