// One scene directory entry, from file name to result record.
#ifndef VIREO_SAMPLE_PROCESSING_H
#define VIREO_SAMPLE_PROCESSING_H

#include <dirent.h>

#include <cstdint>
#include <cstdio>

#include "RunContext.h"
#include "vireo/IAWBSimulationWrapper.h"

namespace Vireo {

// Reads the sample the entry names, feeds it to the wrapper and appends the
// wrapper's output to the results file. Returns 0 to go on with the next
// entry, -1 to end the scene.
int32_t ProcessSample(RunContext& context, IAWBSimulationWrapper* wrapper, const dirent* entry);

// The seven-line result record of one sample.
void WriteResultRecord(std::FILE* results, const char* samplePath,
                       const AWBSimulationOutput& output);

}  // namespace Vireo

#endif  // VIREO_SAMPLE_PROCESSING_H
