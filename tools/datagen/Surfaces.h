// Surface reflectances of the data set: the 24 colour checker patches and a
// catalogue of natural and man-made surfaces. Each is given by its CIE Lab
// colour under D50 and turned into a smooth reflectance spectrum that has
// exactly that colour (a three-parameter sigmoid of a quadratic in
// wavelength, which is how smooth natural reflectances behave), so that its
// colour under any other light follows from physics rather than from a
// chromatic-adaptation guess.
#ifndef VIREO_DATAGEN_SURFACES_H
#define VIREO_DATAGEN_SURFACES_H

#include <string>
#include <vector>

#include "WavelengthGrid.h"

namespace Vireo::Datagen {

struct Lab {
    double l = 0.0, a = 0.0, b = 0.0;
};

struct Surface {
    std::string name;
    Spectrum reflectance{};
    bool neutral = false;  // a grey that a tuning engineer would trust
};

// Smooth reflectance whose colour under D50 is the given Lab; colours that
// no reflectance of this form reaches come out as the nearest it can.
Spectrum ReflectanceFromLab(const Lab& lab);
Lab LabUnderD50(const Spectrum& reflectance);

// The colour checker, row by row (6 per row; the last row is the neutral
// scale from white to black).
const std::vector<Surface>& ColorCheckerPatches();

// Named catalogue surfaces ("white paint", "foliage", "red plastic", ...).
const Surface& CatalogueSurface(const std::string& name);
const std::vector<Surface>& Catalogue();

}  // namespace Vireo::Datagen

#endif  // VIREO_DATAGEN_SURFACES_H
