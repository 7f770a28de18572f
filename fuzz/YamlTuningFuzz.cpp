// Feeds arbitrary text to the YAML tuning reader of vireo-tune compile.
// What it accepts must be valid, and must read back the same from the YAML
// that vireo-tune dump writes of it.
#include <cstdint>
#include <string>

#include "FuzzCheck.h"
#include "YamlTuning.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    Vireo::Tuning::TuningParams params;
    std::string error;
    if (!Vireo::Tuning::ParseYaml(text, &params, &error)) {
        VIREO_FUZZ_CHECK(!error.empty());
        return 0;
    }
    VIREO_FUZZ_CHECK(Vireo::Tuning::Validate(params).empty());
    Vireo::Tuning::TuningParams again;
    VIREO_FUZZ_CHECK(Vireo::Tuning::ParseYaml(Vireo::Tuning::ToYaml(params), &again, &error));
    VIREO_FUZZ_CHECK(again == params);
    return 0;
}
