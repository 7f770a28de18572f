// ground_truth.csv: one row per sample with the light it was taken under and
// the white point an ideal white balance finds. Written by vireo-datagen,
// read by vireo-score and vireo-tune calibrate.
#ifndef VIREO_DATAGEN_GROUND_TRUTH_H
#define VIREO_DATAGEN_GROUND_TRUTH_H

#include <string>
#include <vector>

namespace Vireo::Datagen {

constexpr const char* kGroundTruthFile = "ground_truth.csv";

struct TruthRow {
    std::string path;  // "<scene>/<file>", relative to the data folder
    std::string scene;
    std::string illuminant;  // name of the light (no commas)
    std::string kind;        // planckian, daylight, fluorescent, led or mixed
    double cct = 0.0;        // K; NaN (an empty cell) when not known
    double duv = 0.0;
    double whiteRG = 1.0, whiteBG = 1.0;  // this module's native white, ratios to G
    double gainR = 1.0, gainG = 1.0, gainB = 1.0;
    double lux = 0.0, luxIndex = 0.0;  // NaN when not known, as cct and duv
    int module = 0;

    std::string File() const;  // the part of `path` after the scene folder
};

std::string GroundTruthHeader();
std::string FormatTruthRow(const TruthRow& row);

// Reads the file; false with a reason when it cannot be read or a row is
// malformed (the header is checked too).
bool ReadGroundTruth(const std::string& path, std::vector<TruthRow>& rows, std::string& error);

}  // namespace Vireo::Datagen

#endif  // VIREO_DATAGEN_GROUND_TRUTH_H
