// The colour response of a camera as a DNG camera profile describes it: two
// colour matrices from CIE XYZ to the camera's native RGB, each calibrated
// under a standard illuminant, between which the response is interpolated
// in mired (reciprocal colour temperature).
#ifndef VIREO_DATAGEN_CAMERA_PROFILE_H
#define VIREO_DATAGEN_CAMERA_PROFILE_H

#include <array>
#include <string>
#include <vector>

#include "WavelengthGrid.h"

namespace Vireo::Datagen {

using Matrix3 = std::array<double, 9>;  // row-major

struct Rgb {
    double r = 0.0, g = 0.0, b = 0.0;
};

struct CameraProfile {
    std::string name;
    Matrix3 colorMatrix1{};  // XYZ -> camera under calibration illuminant 1
    Matrix3 colorMatrix2{};
    int calibrationIlluminant1 = 0;  // EXIF light source codes (17 = A, 21 = D65, ...)
    int calibrationIlluminant2 = 0;
};

// Colour temperature of an EXIF light source code; 0 for unknown codes.
double LightSourceKelvin(int exifLightSource);

// The matrix for a light of the given colour temperature: linear in mired
// between the two calibration matrices, clamped outside them.
Matrix3 ColorMatrixAt(const CameraProfile& profile, double kelvin);

// Camera native RGB of a stimulus, through the given matrix.
Rgb ToCamera(const Matrix3& colorMatrix, const Xyz& xyz);

// Profiles built into the generator (copied from Debian's rawtherapee-data,
// see CameraTables.h); the first is the default camera.
const std::vector<CameraProfile>& BuiltInCameras();

// Reads ColorMatrix1/2 and CalibrationIlluminant1/2 from a DNG camera
// profile (.dcp) file. Returns false, with a reason in `error`, when the file
// cannot be read or lacks them.
bool ReadDcpProfile(const std::string& path, CameraProfile& profile, std::string& error);

// Finds a camera by name: a built-in one first, then
// <profileDir>/<name>.dcp; a name ending in ".dcp" is read as a path.
bool FindCamera(const std::string& name, const std::string& profileDir, CameraProfile& profile,
                std::string& error);

constexpr const char* kRawTherapeeProfileDir = "/usr/share/rawtherapee/dcpprofiles";

}  // namespace Vireo::Datagen

#endif  // VIREO_DATAGEN_CAMERA_PROFILE_H
