// Feeds arbitrary bytes to the configuration reader as a configuration file.
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "CfgFileParser.h"
#include "FuzzCheck.h"
#include "FuzzInputFile.h"

namespace {

bool IsTerminatedWithin(const char (&field)[Vireo::kCfgPathSize]) {
    return std::memchr(field, '\0', sizeof field) != nullptr;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string path = Vireo::Fuzz::WriteInputFile(data, size);
    const auto parser = std::make_unique<Vireo::CfgFileParser>(path);

    // The driver uses the five paths as C strings whatever the file held.
    VIREO_FUZZ_CHECK(IsTerminatedWithin(parser->tuningFile));
    VIREO_FUZZ_CHECK(IsTerminatedWithin(parser->awbDLL));
    VIREO_FUZZ_CHECK(IsTerminatedWithin(parser->awbSimWrapperDLL));
    VIREO_FUZZ_CHECK(IsTerminatedWithin(parser->dataDir));
    VIREO_FUZZ_CHECK(IsTerminatedWithin(parser->outputDir));
    VIREO_FUZZ_CHECK(parser->cfgTemplateGenerated == 0);
    return 0;
}
