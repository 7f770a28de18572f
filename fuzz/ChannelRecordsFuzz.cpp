// Feeds arbitrary bytes to the channel records reader as a sample file. The
// region count comes from the same file's statistics header, as in the
// driver, so the fuzzer steers both the count and the section. The records
// are allocated at exactly that count: AddressSanitizer reports any write
// past the last one.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "FuzzCheck.h"
#include "FuzzInputFile.h"
#include "SampleReaders.h"

namespace {

// Large enough for any real grid (64 x 48), small enough to keep runs fast.
constexpr int32_t kMaxRegions = 4096;
constexpr unsigned char kFill = 0xA5;

bool IsFilled(const uint8_t* bytes, size_t size) {
    for (size_t i = 0; i < size; ++i) {
        if (bytes[i] != kFill) {
            return false;
        }
    }
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    char* path = Vireo::Fuzz::WriteInputFile(data, size);

    Vireo::ChannelData header{};
    VIREO_FUZZ_CHECK(Vireo::ParseBGStatsInfo(path, &header) == 0);
    const int32_t count =
        header.totalRegionCount < kMaxRegions ? header.totalRegionCount : kMaxRegions;
    const size_t allocated = count > 0 ? static_cast<size_t>(count) : 0;

    // malloc(0) still gives a distinct pointer, which the reader must not
    // write through when the count is zero or negative.
    auto* records = static_cast<StatsBayerGridChannelInfoS*>(
        std::malloc(allocated * sizeof(StatsBayerGridChannelInfoS)));
    VIREO_FUZZ_CHECK(records != nullptr);
    std::memset(records, kFill, allocated * sizeof(StatsBayerGridChannelInfoS));

    VIREO_FUZZ_CHECK(Vireo::ParseBGChannelInfo(path, count, records) == 0);
    for (size_t i = 0; i < allocated; ++i) {
        VIREO_FUZZ_CHECK(IsFilled(records[i].reserved1, sizeof records[i].reserved1));
        VIREO_FUZZ_CHECK(IsFilled(records[i].reserved2, sizeof records[i].reserved2));
    }
    std::free(records);
    return 0;
}
