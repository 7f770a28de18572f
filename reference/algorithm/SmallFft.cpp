#include "SmallFft.h"

#include <cmath>
#include <utility>

namespace Vireo {
namespace Awb {

namespace {

// One-dimensional transforms of every column at once (along the row index):
// iterative radix-2 decimation in time. Each butterfly combines two whole
// rows with one twiddle factor, so the innermost loop runs over n
// contiguous floats.
void ColumnPass(const SmallFft& fft, float sign, float* re, float* im) {
    const int n = fft.n;
    for (int r = 0; r < n; ++r) {
        const int s = fft.reversed[r];
        if (s <= r) continue;
        for (int c = 0; c < n; ++c) {
            std::swap(re[r * n + c], re[s * n + c]);
            std::swap(im[r * n + c], im[s * n + c]);
        }
    }
    for (int half = 1; half < n; half *= 2) {
        const int step = n / (2 * half);
        for (int start = 0; start < n; start += 2 * half) {
            for (int j = 0; j < half; ++j) {
                const float wr = fft.cosine[j * step];
                const float wi = sign * fft.sine[j * step];
                float* __restrict ar = re + (start + j) * n;
                float* __restrict ai = im + (start + j) * n;
                float* __restrict br = re + (start + j + half) * n;
                float* __restrict bi = im + (start + j + half) * n;
                for (int c = 0; c < n; ++c) {
                    const float tr = wr * br[c] - wi * bi[c];
                    const float ti = wr * bi[c] + wi * br[c];
                    br[c] = ar[c] - tr;
                    bi[c] = ai[c] - ti;
                    ar[c] += tr;
                    ai[c] += ti;
                }
            }
        }
    }
}

void Transpose(int n, float* a) {
    for (int r = 0; r < n; ++r) {
        for (int c = r + 1; c < n; ++c) std::swap(a[r * n + c], a[c * n + r]);
    }
}

void Transform(const SmallFft& fft, float sign, float* re, float* im) {
    ColumnPass(fft, sign, re, im);
    Transpose(fft.n, re);
    Transpose(fft.n, im);
    ColumnPass(fft, sign, re, im);
}

}  // namespace

void InitSmallFft(int n, SmallFft* fft) {
    fft->n = n;
    fft->cosine.resize(static_cast<size_t>(n / 2));
    fft->sine.resize(static_cast<size_t>(n / 2));
    for (int k = 0; k < n / 2; ++k) {
        const double angle = 2.0 * 3.14159265358979323846 * k / n;
        fft->cosine[k] = static_cast<float>(std::cos(angle));
        fft->sine[k] = static_cast<float>(std::sin(angle));
    }
    int bits = 0;
    while ((1 << bits) < n) ++bits;
    fft->reversed.resize(static_cast<size_t>(n));
    for (int r = 0; r < n; ++r) {
        int s = 0;
        for (int b = 0; b < bits; ++b) s |= ((r >> b) & 1) << (bits - 1 - b);
        fft->reversed[r] = s;
    }
}

void ForwardFft(const SmallFft& fft, float* re, float* im) { Transform(fft, -1.0f, re, im); }

void InverseFft(const SmallFft& fft, float* re, float* im) { Transform(fft, 1.0f, re, im); }

}  // namespace Awb
}  // namespace Vireo
