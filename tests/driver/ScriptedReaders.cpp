#include "ScriptedReaders.h"

#include <iterator>

#include "SampleReaders.h"

ReaderScript readerScript;

int32_t Vireo::ParseBGStatsInfo(char*, ChannelData* record) {
    readerScript.calls.push_back("header");
    record->totalRegionCount = readerScript.totalRegionCount;
    return readerScript.headerResult;
}

int32_t Vireo::ParseBGChannelInfo(char*, int regionCount, StatsBayerGridChannelInfoS* records) {
    readerScript.calls.push_back("channel");
    readerScript.channelCount = regionCount;
    readerScript.channelBuffer = records != nullptr;
    return readerScript.channelResult;
}

int32_t Vireo::ParseCalibrationInfo(char*, CalibrationData* record) {
    readerScript.calls.push_back("calibration");
    readerScript.factorsOnEntry.assign(std::begin(record->moduleCalibrationFactors),
                                       std::end(record->moduleCalibrationFactors));
    record->moduleCalibrationFactors[0] = 2.0f;
    return readerScript.calibrationResult;
}
