// Feeds arbitrary bytes to the binary tuning decoder, as the reference
// wrapper and algorithm get them from whatever file the configuration
// names: once as they are, and once with the header's size and checksum
// made to fit, so that mutations reach the payload's decoding and checks.
// What it accepts must pass validation and encode back to the very same
// bytes: the format has one spelling of each tuning.
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "FuzzCheck.h"
#include "TuningCodec.h"

namespace {

void Check(const uint8_t* data, size_t size) {
    Vireo::Tuning::TuningParams params;
    std::string error;
    if (!Vireo::Tuning::Decode(data, size, &params, &error)) {
        VIREO_FUZZ_CHECK(!error.empty());
        return;
    }
    VIREO_FUZZ_CHECK(Vireo::Tuning::Validate(params).empty());
    const std::vector<uint8_t> again = Vireo::Tuning::Encode(params);
    VIREO_FUZZ_CHECK(again.size() == size && std::memcmp(again.data(), data, size) == 0);
}

void PutU32(uint8_t* at, uint32_t value) {
    for (int i = 0; i < 4; ++i) at[i] = static_cast<uint8_t>(value >> (8 * i));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Check(data, size);
    if (size < Vireo::Tuning::kHeaderSize) return 0;
    std::vector<uint8_t> fitted(data, data + size);
    const size_t payload = size - Vireo::Tuning::kHeaderSize;
    PutU32(&fitted[8], static_cast<uint32_t>(payload));
    PutU32(&fitted[12], Vireo::Tuning::Crc32(fitted.data() + Vireo::Tuning::kHeaderSize, payload));
    Check(fitted.data(), fitted.size());
    return 0;
}
