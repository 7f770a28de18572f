// Writes one sample file: the statistics header, the calibration section
// and the Bayer-grid channel section, one value per line below each key, as
// the driver's readers expect them.
#ifndef VIREO_DATAGEN_SAMPLE_FILE_H
#define VIREO_DATAGEN_SAMPLE_FILE_H

#include <string>

#include "Sensor.h"

namespace Vireo::Datagen {

// The whole file's text.
std::string FormatSampleFile(const Capture& capture, const SensorConfig& sensor,
                             const Module& module);

// Whole file or nothing; false with the reason in `error`.
bool WriteSampleFile(const std::string& path, const Capture& capture, const SensorConfig& sensor,
                     const Module& module, std::string& error);

}  // namespace Vireo::Datagen

#endif  // VIREO_DATAGEN_SAMPLE_FILE_H
