// The run over the fixed scene folders, one wrapper per scene.
#ifndef VIREO_RUN_DRIVER_H
#define VIREO_RUN_DRIVER_H

#include <cstdint>

#include "CfgFileParser.h"

namespace Vireo {

// Scene folders under the data directory, in the order they are run.
inline constexpr const char* SceneList[] = {"ball",     "chart",    "indoor_1",  "indoor_2",
                                            "indoor_3", "indoor_4", "outdoor_1", "outdoor_2"};

// Prepares the output folder and the results file, runs every scene and
// returns the run status: 0, or -1 when any failure happened.
int32_t RunScenes(const CfgFileParser& config);

}  // namespace Vireo

#endif  // VIREO_RUN_DRIVER_H
