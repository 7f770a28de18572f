// The three sample-file readers written the textbook way: std::ifstream,
// getline into a 100-character buffer, atof/atol/atoi. Slow but obviously
// right, they serve as the oracle the fast readers are compared against
// (differential tests, benchmarks). Same signatures and results as the
// readers in SampleReaders.h.
#ifndef VIREO_STRAIGHTFORWARD_READERS_H
#define VIREO_STRAIGHTFORWARD_READERS_H

#include <cstdint>

#include "vireo/SampleRecords.h"

namespace Vireo {
namespace Straightforward {

int32_t ParseBGStatsInfo(char* path, ChannelData* record);
int32_t ParseBGChannelInfo(char* path, int regionCount, StatsBayerGridChannelInfoS* records);
int32_t ParseCalibrationInfo(char* path, CalibrationData* record);

}  // namespace Straightforward
}  // namespace Vireo

#endif  // VIREO_STRAIGHTFORWARD_READERS_H
