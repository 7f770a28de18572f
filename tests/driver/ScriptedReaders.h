// Stand-ins for the three sample readers, scripted by the test, so sample
// processing can be driven through failures a real file cannot produce.
#ifndef VIREO_SCRIPTED_READERS_H
#define VIREO_SCRIPTED_READERS_H

#include <cstdint>
#include <string>
#include <vector>

struct ReaderScript {
    int32_t headerResult = 0;
    int32_t totalRegionCount = 4;
    int32_t channelResult = 0;
    int32_t calibrationResult = 0;
    // What the readers saw: their names in call order, the count and
    // whether the channel buffer was non-null, the factors on entry.
    std::vector<std::string> calls;
    int channelCount = 0;
    bool channelBuffer = false;
    std::vector<float> factorsOnEntry;
};

extern ReaderScript readerScript;

#endif  // VIREO_SCRIPTED_READERS_H
