// The readable YAML form of the reference tuning: reading it into params and
// writing params back as YAML.
#ifndef VIREO_TOOLS_YAML_TUNING_H
#define VIREO_TOOLS_YAML_TUNING_H

#include <string>

#include "TuningParams.h"

namespace Vireo {
namespace Tuning {

// Parses YAML text; keys missing from it keep their defaults, unknown keys
// and out-of-range values are errors (one sentence in *error).
bool ParseYaml(const std::string& text, TuningParams* params, std::string* error);

// Every key, defaults included, with floats that read back to the same bits.
std::string ToYaml(const TuningParams& params);

}  // namespace Tuning
}  // namespace Vireo

#endif  // VIREO_TOOLS_YAML_TUNING_H
