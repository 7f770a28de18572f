// A square two-dimensional FFT of a power-of-two size, small enough for the
// learned estimator's posterior (64 x 64 at most). The algorithm library may
// not depend on an FFT package, and at this size a plain radix-2 transform
// whose inner loops run along whole rows (which the compiler vectorises) is
// all that is needed.
#ifndef VIREO_REFERENCE_SMALL_FFT_H
#define VIREO_REFERENCE_SMALL_FFT_H

#include <vector>

namespace Vireo {
namespace Awb {

struct SmallFft {
    int n = 0;
    std::vector<float> cosine;  // cos(2 pi k / n), k < n / 2
    std::vector<float> sine;    // sin(2 pi k / n)
    std::vector<int> reversed;  // bit-reversed row index
};

// n must be a power of two, at least 2.
void InitSmallFft(int n, SmallFft* fft);

// Forward transform (exponent sign -1, no scaling) of the n x n row-major
// arrays re and im, in place. The spectrum comes out transposed: element
// [a][b] holds frequency (b, a). Products of spectra do not care, and
// InverseFft takes that layout back.
void ForwardFft(const SmallFft& fft, float* re, float* im);

// Inverse transform (exponent sign +1, no 1/n^2 scaling) of a transposed
// spectrum; the result is in the natural layout.
void InverseFft(const SmallFft& fft, float* re, float* im);

}  // namespace Awb
}  // namespace Vireo

#endif  // VIREO_REFERENCE_SMALL_FFT_H
