#include "SampleReaders.h"
int32_t Vireo::ParseCalibrationInfo(char*, CalibrationData*) { return -1; }
