#include "SampleReaders.h"
// Placeholder until the real reader lands.
int32_t Vireo::ParseBGStatsInfo(char*, ChannelData*) { return -1; }
