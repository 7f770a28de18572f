// Feeds arbitrary bytes to the calibration section reader as a sample file.
#include <cstdint>

#include "FuzzCheck.h"
#include "FuzzInputFile.h"
#include "SampleReaders.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // Reused across runs, as the driver reuses its one record for every
    // sample, with the factors reset to 1.0 before each read as it does.
    static Vireo::CalibrationData record;
    for (float& factor : record.moduleCalibrationFactors) {
        factor = 1.0f;
    }

    char* path = Vireo::Fuzz::WriteInputFile(data, size);
    VIREO_FUZZ_CHECK(Vireo::ParseCalibrationInfo(path, &record) == 0);
    if (record.numCalibrationFactors == 0) {
        for (const float factor : record.moduleCalibrationFactors) {
            VIREO_FUZZ_CHECK(factor == 1.0f);
        }
    }
    return 0;
}
