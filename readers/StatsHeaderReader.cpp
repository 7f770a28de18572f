// Statistics header: value lines fill the slots in file order; the header
// keys only have to appear, in order, between them. The key table says which
// field each slot fills.
#include <cstdio>

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
            if (awaited < kHeaderKeyCount && line.Contains(kSampleFileKeys[awaited].text)) {
                ++awaited;
                continue;
            }
        }
        // Surplus values have no slot and are dropped.
        if (filled < kHeaderSlotCount) {
            slots[filled++] = static_cast<float>(TextToDouble(line.text));
        }
    }

    StoreHeaderSlots(slots, record);
    return 0;
}
