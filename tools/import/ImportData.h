// What the importer writes (sample files, safely) and the ground truth it
// reads: the CSV that comes with a data set of images.
#ifndef VIREO_IMPORT_IMPORT_DATA_H
#define VIREO_IMPORT_IMPORT_DATA_H

#include <limits>
#include <string>
#include <vector>

#include "GridStats.h"
#include "ImageFiles.h"

namespace Vireo::Import {

// Unknown lux or colour temperature.
constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();

// Scene illuminance from the exposure as an incident-light meter reading:
// EV100 = log2(N^2 / t * 100 / ISO), E = 2.5 * 2^EV100 lux (calibration
// constant 250). kUnknown when the file lacks any of the three.
double LuxFromExposure(const Exposure& exposure);

// The text of a sample file: header from `stats`, no factory calibration
// (factor count 0, twenty factors of 1, no LED point), the channel section
// and, after it, the sums of the clipped pixels as a recorder writes them.
std::string FormatSample(const GridStats& stats, const GridSize& grid, double luxIndex);

// One row of an input ground truth: "file,r,g,b" with optional "scene",
// "lux" and "cct" columns, in any order after the header line that names
// them; empty lux or cct cells are unknown.
struct TruthInput {
    std::string file, scene;
    double r = 0, g = 0, b = 0;
    double lux = kUnknown, cct = kUnknown;
    int line = 0;
};

// False with "<path>:<line>: reason" for a missing column, a malformed or
// non-positive white, an unknown scene or a file named twice.
bool ReadTruthCsv(const std::string& path, std::vector<TruthInput>& rows, std::string& error);

}  // namespace Vireo::Import

#endif  // VIREO_IMPORT_IMPORT_DATA_H
