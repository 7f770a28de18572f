#include "SampleReaders.h"
int32_t Vireo::ParseBGChannelInfo(char*, int, StatsBayerGridChannelInfoS*) { return -1; }
