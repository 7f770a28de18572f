// Statistics header: value lines fill the 18 slots in file order; the header
// keys only have to appear, in order, between them.
#include <cstdio>

#include "FloatToInteger.h"
#include "LineReader.h"
#include "SampleFileKeys.h"
#include "SampleReaders.h"
#include "TextToNumber.h"

int32_t Vireo::ParseBGStatsInfo(char* path, ChannelData* record) {
    LineReader reader(path, LineReader::kSmallChunk);
    if (!reader.IsOpen()) {
        std::printf("Unable to open file:%s\n", path);
        return -1;
    }
    float slots[kHeaderSlotCount] = {};
    size_t filled = 0;
    size_t awaited = 0;  // index of the next header key; kHeaderKeyCount when all were seen
    Line line;
    while (reader.Next(line)) {
        if (line.MayHoldKey()) {
            if (line.Contains(kHeaderEndKey)) {
                break;
            }
            if (awaited < kHeaderKeyCount && line.Contains(kSampleFileKeys[awaited])) {
                ++awaited;
                continue;
            }
        }
        // Surplus values have no slot and are dropped.
        if (filled < kHeaderSlotCount) {
            slots[filled++] = static_cast<float>(TextToDouble(line.text));
        }
    }

    record->luxIndex = slots[0];
    record->aecSettled = FloatToInt32(slots[1]);
    record->horizontalRegionCount = FloatToInt32(slots[2]);
    record->verticalRegionCount = FloatToInt32(slots[3]);
    record->totalRegionCount = FloatToInt32(slots[4]);
    record->regionWidth = FloatToInt32(slots[5]);
    record->regionHeight = FloatToInt32(slots[6]);
    record->bitDepth = FloatToInt32(slots[7]);
    record->flags = FloatToInt32(slots[8]);
    for (size_t i = 0; i < 4; ++i) {
        record->saturationThreshold[i] = FloatToInt32(slots[9 + i]);
    }
    record->validRegionCount = FloatToInt32(slots[13]);
    for (size_t i = 0; i < 4; ++i) {
        record->statsROI[i] = FloatToUInt32(slots[14 + i]);
    }
    return 0;
}
