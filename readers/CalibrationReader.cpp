// Calibration section: from the first "Num Calibration Factors:" line up to
// the channel section; value lines fill the slots in file order, and the key
// table says which field each slot fills.
#include <cstdio>

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
    const SampleFileKey* const calibrationKeys = kSampleFileKeys + kHeaderKeyCount;
    float slots[kCalibrationSlotCount] = {};
    size_t filled = 0;
    size_t awaited = 0;  // index of the next calibration key
    Line line;
    while (reader.Next(line)) {
        if (line.MayHoldKey()) {
            if (line.Contains(kCalibrationEndKey)) {
                break;
            }
            if (awaited < kCalibrationKeyCount && line.Contains(calibrationKeys[awaited].text)) {
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

    StoreCalibrationSlots(slots, record);
    return 0;
}
