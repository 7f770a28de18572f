// Calibration section: from the first "Num Calibration Factors:" line up to
// the channel section; value lines fill the 29 slots in file order.
#include <cstdio>
#include <cstring>

#include "FloatToInteger.h"
#include "LineReader.h"
#include "SampleFileKeys.h"
#include "SampleReaders.h"
#include "TextToNumber.h"

int32_t Vireo::ParseCalibrationInfo(char* path, CalibrationData* record) {
    LineReader reader(path, LineReader::kSmallChunk);
    if (!reader.IsOpen()) {
        std::printf("Unable to open file:%s\n", path);
        return -1;
    }
    const char* const* calibrationKeys = kSampleFileKeys + kHeaderKeyCount;
    float slots[kCalibrationSlotCount] = {};
    size_t filled = 0;
    size_t awaited = 0;  // index of the next calibration key
    Line line;
    while (reader.Next(line)) {
        if (line.MayHoldKey()) {
            if (line.Contains(kCalibrationEndKey)) {
                break;
            }
            if (awaited < kCalibrationKeyCount && line.Contains(calibrationKeys[awaited])) {
                ++awaited;
                continue;
            }
        }
        // Lines before the first calibration key (the header) are not ours;
        // surplus values have no slot and are dropped.
        if (awaited > 0 && filled < kCalibrationSlotCount) {
            slots[filled++] = static_cast<float>(TextToDouble(line.text));
        }
    }

    record->numCalibrationFactors = FloatToUInt32(slots[0]);
    if (record->numCalibrationFactors != 0) {
        std::memcpy(record->calibrationFactorCCTs, &slots[1], sizeof record->calibrationFactorCCTs);
        std::memcpy(record->moduleCalibrationFactors, &slots[7],
                    sizeof record->moduleCalibrationFactors);
        std::memcpy(record->singleLEDCalibrationPoint, &slots[27],
                    sizeof record->singleLEDCalibrationPoint);
    } else {
        // Without calibration the wrapper gets neutral factors; the CCTs and
        // the LED point keep what an earlier sample left.
        for (float& factor : record->moduleCalibrationFactors) {
            factor = 1.0f;
        }
    }
    return 0;
}
