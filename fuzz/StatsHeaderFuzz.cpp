// Feeds arbitrary bytes to the statistics header reader as a sample file.
#include <cstdint>

#include "FuzzCheck.h"
#include "FuzzInputFile.h"
#include "SampleReaders.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // Reused across runs, as the driver reuses its one record for every sample.
    static Vireo::ChannelData record;
    constexpr uint32_t kUntouched = 0xA5A5A5A5u;
    record.reserved = kUntouched;

    char* path = Vireo::Fuzz::WriteInputFile(data, size);
    VIREO_FUZZ_CHECK(Vireo::ParseBGStatsInfo(path, &record) == 0);
    VIREO_FUZZ_CHECK(record.reserved == kUntouched);
    return 0;
}
