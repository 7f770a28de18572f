#include "StraightforwardReaders.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "SampleFileKeys.h"

namespace Vireo {
namespace Straightforward {

namespace {

constexpr std::streamsize kLineBufferSize = 100;

bool Contains(const char* line, const char* key) { return std::strstr(line, key) != nullptr; }

}  // namespace

int32_t ParseBGStatsInfo(char* path, ChannelData* record) {
    std::ifstream file(path);
    if (!file.is_open()) {
        std::printf("Unable to open file:%s\n", path);
        return -1;
    }
    float slots[kHeaderSlotCount] = {};
    size_t filled = 0;
    size_t awaited = 0;
    char line[kLineBufferSize];
    while (file.getline(line, kLineBufferSize)) {
        if (Contains(line, kHeaderEndKey)) {
            break;
        }
        if (awaited < kHeaderKeyCount && Contains(line, kSampleFileKeys[awaited].text)) {
            ++awaited;
            continue;
        }
        if (filled < kHeaderSlotCount) {
            slots[filled++] = static_cast<float>(std::atof(line));
        }
    }
    StoreHeaderSlots(slots, record);
    return 0;
}

int32_t ParseBGChannelInfo(char* path, int regionCount, StatsBayerGridChannelInfoS* records) {
    if (records == nullptr) {
        std::puts("Invalid pointer to BayerGrid channel info buffer!");
        return -1;
    }
    std::ifstream file(path);
    if (!file.is_open()) {
        std::printf("Unable to open file:%s\n", path);
        return -1;
    }
    char line[kLineBufferSize];
    while (file.getline(line, kLineBufferSize)) {
        if (Contains(line, kChannelKeys[0])) {
            break;
        }
    }
    for (size_t section = 0; section < kChannelSubsectionCount; ++section) {
        if (regionCount < 1) {
            file.getline(line, kLineBufferSize);
            continue;
        }
        int index = 0;
        while (file.getline(line, kLineBufferSize)) {
            if (Contains(line, kChannelKeys[section + 1])) {
                break;
            }
            if (Contains(line, kChannelKeys[section])) {
                continue;
            }
            StatsBayerGridChannelInfoS& region = records[index];
            switch (section) {
                case 0:
                    region.rSum = std::atol(line);
                    break;
                case 1:
                    region.grSum = std::atol(line);
                    break;
                case 2:
                    region.bSum = std::atol(line);
                    break;
                case 3:
                    region.gbSum = std::atol(line);
                    break;
                case 4:
                    region.rCount = static_cast<uint16_t>(std::atoi(line));
                    break;
                case 5:
                    region.grCount = static_cast<uint16_t>(std::atoi(line));
                    break;
                case 6:
                    region.bCount = static_cast<uint16_t>(std::atoi(line));
                    break;
                default:
                    region.gbCount = static_cast<uint16_t>(std::atoi(line));
                    break;
            }
            if (++index == regionCount) {
                file.getline(line, kLineBufferSize);
                break;
            }
        }
    }
    return 0;
}

int32_t ParseCalibrationInfo(char* path, CalibrationData* record) {
    std::ifstream file(path);
    if (!file.is_open()) {
        std::printf("Unable to open file:%s\n", path);
        return -1;
    }
    float slots[kCalibrationSlotCount] = {};
    size_t filled = 0;
    size_t awaited = 0;
    bool begun = false;
    char line[kLineBufferSize];
    while (file.getline(line, kLineBufferSize)) {
        if (Contains(line, kCalibrationEndKey)) {
            break;
        }
        if (awaited < kCalibrationKeyCount &&
            Contains(line, kSampleFileKeys[kHeaderKeyCount + awaited].text)) {
            begun = true;
            ++awaited;
            continue;
        }
        if (!begun) {
            continue;
        }
        if (filled < kCalibrationSlotCount) {
            slots[filled++] = static_cast<float>(std::atof(line));
        }
    }
    StoreCalibrationSlots(slots, record);
    return 0;
}

}  // namespace Straightforward
}  // namespace Vireo
