// What vireo-run and vireo-report share: finding the driver and the
// reference libraries beside the running program, and reading a tuning
// given either as YAML or as a compiled file.
#ifndef VIREO_RUN_INPUTS_H
#define VIREO_RUN_INPUTS_H

#include <cstdint>
#include <string>
#include <vector>

#include "TuningParams.h"

namespace Vireo::Run {

// The folder of the running executable, without a trailing slash; empty
// when it cannot be found.
std::string ExecutableFolder();

// Which of the reference build's files to look for.
enum class Installed { Driver, Check, Wrapper, Algorithm };

// The file where a build tree (build/<preset>/tools/<tool>/) or an install
// tree (<prefix>/bin/) keeps it, relative to the running executable; empty
// when neither has it.
std::string FindInstalled(Installed what);

// Reads a tuning: .yaml/.yml files are compiled with the tuning compiler's
// own code, anything else must be a valid compiled file. Fills the file
// image the algorithm is given and the decoded values; false with one
// sentence naming the file otherwise.
bool LoadTuningAny(const std::string& path, std::vector<uint8_t>* image,
                   Tuning::TuningParams* params, std::string* error);

// The tuning's name for folders and labels: the file name without its
// extension.
std::string TuningName(const std::string& path);

}  // namespace Vireo::Run

#endif  // VIREO_RUN_INPUTS_H
