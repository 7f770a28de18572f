// Spectral arithmetic on one fixed wavelength grid: 380 nm to 780 nm in
// 5 nm steps, the range where the CIE observer and every light and surface
// of the data set are defined. Light spectra are relative (any scale);
// reflectances are in [0, 1].
#ifndef VIREO_DATAGEN_WAVELENGTH_GRID_H
#define VIREO_DATAGEN_WAVELENGTH_GRID_H

#include <array>
#include <cstddef>

namespace Vireo::Datagen {

constexpr int kBandCount = 81;
constexpr double kFirstNm = 380.0;
constexpr double kStepNm = 5.0;

using Spectrum = std::array<double, kBandCount>;

struct Xyz {
    double x = 0.0, y = 0.0, z = 0.0;
};

struct Chromaticity {
    double x = 0.0, y = 0.0;
};

inline double BandNm(int band) { return kFirstNm + kStepNm * band; }

// CIE 1931 2-degree observer at the grid wavelengths (analytic multi-lobe
// fit of the tabulated functions, accurate to about 1% of their peak).
const std::array<Spectrum, 3>& ColorMatchingFunctions();

// Tristimulus values of light with the given spectral power; a reflectance
// is folded in by multiplying it into the light first.
Xyz ToXyz(const Spectrum& light);
Xyz ToXyz(const Spectrum& light, const Spectrum& reflectance);
Chromaticity ToChromaticity(const Xyz& xyz);

// Blackbody radiator at the given temperature, relative.
Spectrum Planckian(double kelvin);

// CIE daylight of the given correlated colour temperature (4000 K to
// 25000 K) from the three daylight basis functions.
Spectrum Daylight(double kelvin);

// Resamples a tabulated spectrum (first wavelength, step, values) onto the
// grid by averaging over each 5 nm band, so that narrow emission lines keep
// their energy; outside the table the spectrum is 0.
Spectrum Resample(const double* values, std::size_t count, double firstNm, double stepNm);

// Correlated colour temperature: the temperature of the Planckian radiator
// nearest in the CIE 1960 uv plane. `duv` receives the signed distance
// (positive above the locus, towards green) when not null.
double CorrelatedColorTemperature(const Chromaticity& xy, double* duv = nullptr);

// Scales a spectrum so that its Y (luminance) is the given value.
Spectrum WithLuminance(const Spectrum& light, double y);

}  // namespace Vireo::Datagen

#endif  // VIREO_DATAGEN_WAVELENGTH_GRID_H
