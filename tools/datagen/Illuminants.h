// Light sources of the data set, each as a relative spectral power
// distribution: blackbody (tungsten, halogen, horizon), CIE daylight,
// measured fluorescent tubes, modelled tri-phosphor tubes and white LEDs.
#ifndef VIREO_DATAGEN_ILLUMINANTS_H
#define VIREO_DATAGEN_ILLUMINANTS_H

#include <string>

#include "WavelengthGrid.h"

namespace Vireo::Datagen {

// What kind of light it is; tuning engineers build the white-point curve from
// the blackbody and daylight kinds and judge the others' spread around it.
enum class LightKind { Planckian, Daylight, Fluorescent, Led, Mixed };

const char* LightKindName(LightKind kind);

struct Light {
    std::string name;
    LightKind kind = LightKind::Planckian;
    Spectrum spectrum{};  // scaled to luminance Y = 1
    double cct = 0.0;     // correlated colour temperature, K
    double duv = 0.0;     // distance from the Planckian locus in uv, + is greener
};

Light MakeLight(std::string name, LightKind kind, const Spectrum& spectrum);

Light PlanckianLight(double kelvin, const std::string& name);
Light DaylightLight(double kelvin, const std::string& name);

// Fluorescent tubes measured by Argyll CMS: "F1", "F5", "F8", "Office",
// "Triband". Unknown names give an empty name.
Light MeasuredTube(const std::string& tube);

// A rare-earth tri-phosphor tube (TL84, U30, ...): mercury lines plus narrow
// blue, green and red phosphor bands, balanced to the given colour
// temperature on the Planckian locus.
Light TriphosphorTube(double kelvin, const std::string& name);

// A phosphor-converted white LED: blue InGaN pump, broad yellow garnet
// phosphor, and a red phosphor that warm LEDs need, balanced likewise.
Light WhiteLed(double kelvin, const std::string& name);

// Light mixed from two sources with the given luminance weights.
Light MixLights(const Light& a, double weightA, const Light& b, double weightB,
                const std::string& name);

}  // namespace Vireo::Datagen

#endif  // VIREO_DATAGEN_ILLUMINANTS_H
