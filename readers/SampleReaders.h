// The three readers of a sample file. Each opens the file for itself, reads
// it from the start under the shared line rule (LineReader.h) and closes it.
// They return 0 when the file could be opened, whatever it holds, and -1
// otherwise.
#ifndef VIREO_SAMPLE_READERS_H
#define VIREO_SAMPLE_READERS_H

#include <cstdint>

#include "vireo/SampleRecords.h"

namespace Vireo {

// Statistics header (file start up to "Num Calibration Factors:").
int32_t ParseBGStatsInfo(char* path, ChannelData* record);

// Channel section ("R Sum:" up to "R SatSum:") into regionCount records.
int32_t ParseBGChannelInfo(char* path, int regionCount, StatsBayerGridChannelInfoS* records);

// Calibration section ("Num Calibration Factors:" up to "R Sum:").
int32_t ParseCalibrationInfo(char* path, CalibrationData* record);

}  // namespace Vireo

#endif  // VIREO_SAMPLE_READERS_H
