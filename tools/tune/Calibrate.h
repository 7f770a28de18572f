// vireo-tune calibrate: derives a camera's white-balance tuning (its CT
// curve and grey-zone width) from colour checker shots under known
// laboratory lights, the way tuning engineers calibrate a new sensor. The
// curve is fitted as vireo-tune learn fits it (WhiteLocus.h).
#ifndef VIREO_TUNE_CALIBRATE_H
#define VIREO_TUNE_CALIBRATE_H

#include <string>
#include <vector>

#include "TuningParams.h"

// The whole command line, argv[1] being "calibrate". Returns the exit status.
int RunCalibrate(int argc, char** argv);

namespace Vireo::Tune {

// The neutral patches' white under one light, module calibration applied.
struct LightMeasurement {
    std::string name;
    std::string kind;  // as the ground truth names it (planckian, daylight, ...)
    double cct = 0.0;
    double rOverG = 0.0, bOverG = 0.0;
    int shots = 0;
    double scatter = 0.0;   // rms spread of the shots in log chromaticity
    double distance = 0.0;  // from the fitted curve, log chromaticity
};

struct CalibrationResult {
    std::vector<LightMeasurement> lights;
    std::vector<Tuning::CurvePoint> curve;  // ascending CT, ends extended
    double greyZoneWidth = 0.0;
};

// Calibrates from the "chart" samples of a data folder and its ground truth.
bool Calibrate(const std::string& dataDir, const std::string& truthPath, CalibrationResult& result,
               std::string& error);

std::string FormatTuningYaml(const CalibrationResult& result, const std::string& source);

}  // namespace Vireo::Tune

#endif  // VIREO_TUNE_CALIBRATE_H
