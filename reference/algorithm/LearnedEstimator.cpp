#include "LearnedEstimator.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "FastMath.h"

namespace Vireo {
namespace Awb {

namespace {

// exp(-x) for x in [0, 87]: 2^(-x log2 e) as a power of two built in the
// exponent bits times a degree-5 polynomial for 2^f, f in [0, 1) (relative
// error about 1e-4, far below what a posterior over bins needs). No branch,
// so the loop over the bins vectorises.
inline float NegExp(float x) {
    const float y = std::min(x, 87.0f) * 1.44269504f;
    const int whole = static_cast<int>(y);
    const float f = static_cast<float>(whole) - y;  // (-1, 0]
    float p = 1.3333558e-3f;
    p = p * f + 9.6181291e-3f;
    p = p * f + 5.5504109e-2f;
    p = p * f + 2.4022651e-1f;
    p = p * f + 6.9314718e-1f;
    p = p * f + 1.0f;
    const uint32_t bits = static_cast<uint32_t>(127 - whole) << 23;
    float scale;
    std::memcpy(&scale, &bits, sizeof scale);
    return p * scale;
}

// Shares weight w between the four bin centres around (u, v); a point
// outside the grid of centres (or not a number) is left out. Returns the
// weight added.
inline float Splat(const Tuning::LearnedModel& m, float invWidth, float u, float v, float w,
                   float* hist) {
    const int n = static_cast<int>(m.bins);
    const float last = static_cast<float>(n - 1);
    const float pu = (u - m.uStart) * invWidth;
    const float pv = (v - m.vStart) * invWidth;
    if (!(pu >= 0.0f && pu <= last && pv >= 0.0f && pv <= last)) return 0.0f;
    const int iu = std::min(static_cast<int>(pu), n - 2);
    const int iv = std::min(static_cast<int>(pv), n - 2);
    const float fu = pu - static_cast<float>(iu);
    const float fv = pv - static_cast<float>(iv);
    float* at = hist + iu * n + iv;
    at[0] += w * (1.0f - fu) * (1.0f - fv);
    at[1] += w * (1.0f - fu) * fv;
    at[n] += w * fu * (1.0f - fv);
    at[n + 1] += w * fu * fv;
    return w;
}

void Normalise(float total, int cells, float* hist) {
    if (!(total > 0.0f)) return;
    const float scale = 1.0f / total;
    for (int k = 0; k < cells; ++k) hist[k] *= scale;
}

// Sums over the 3 x 3 neighbourhood (cut at the grid's edges) of each of
// four planes of cols x rows values, from `in` into `out`; `row` is one
// plane of scratch.
void BoxSums(const float* in, int cols, int rows, float* row, float* out) {
    const int count = cols * rows;
    for (int plane = 0; plane < 4; ++plane) {
        const float* a = in + plane * count;
        float* o = out + plane * count;
        for (int y = 0; y < rows; ++y) {
            const float* line = a + y * cols;
            for (int x = 0; x < cols; ++x) {
                float sum = line[x];
                if (x > 0) sum += line[x - 1];
                if (x + 1 < cols) sum += line[x + 1];
                row[y * cols + x] = sum;
            }
        }
        for (int y = 0; y < rows; ++y) {
            for (int x = 0; x < cols; ++x) {
                float sum = row[y * cols + x];
                if (y > 0) sum += row[(y - 1) * cols + x];
                if (y + 1 < rows) sum += row[(y + 1) * cols + x];
                o[y * cols + x] = sum;
            }
        }
    }
}

}  // namespace

void LearnedHistograms(const Tuning::LearnedModel& m, const VireoAwbFrame& frame, const float* r,
                       const float* g, const float* b, const float* selected, float lnRFactor,
                       float lnBFactor, float* means, float* contrast, std::vector<float>* work) {
    const int n = static_cast<int>(m.bins);
    const int cells = n * n;
    std::fill(means, means + cells, 0.0f);
    std::fill(contrast, contrast + cells, 0.0f);
    const int count = frame.regions != nullptr ? std::max(frame.regionCount, 0) : 0;
    if (count == 0) return;
    int cols = frame.horizontalRegionCount;
    int rows = frame.verticalRegionCount;
    if (cols <= 0 || rows <= 0 || static_cast<int64_t>(cols) * rows != count) {
        cols = count;  // no usable grid shape: one row
        rows = 1;
    }
    // Planes: R, G, B masked by the selection, the selection itself; their
    // neighbourhood sums; one plane of scratch for the box filter.
    work->resize(static_cast<size_t>(9) * count);
    float* planes = work->data();
    float* sums = planes + 4 * count;
    float* scratch = planes + 8 * count;
    for (int i = 0; i < count; ++i) {
        const float s = selected[i];
        planes[i] = s * r[i];
        planes[count + i] = s * g[i];
        planes[2 * count + i] = s * b[i];
        planes[3 * count + i] = s;
    }
    BoxSums(planes, cols, rows, scratch, sums);

    const float invWidth = 1.0f / m.binWidth;
    float totalMeans = 0.0f;
    float totalContrast = 0.0f;
    for (int i = 0; i < count; ++i) {
        if (selected[i] == 0.0f) continue;
        const VireoAwbRegion& region = frame.regions[i];
        const float weight = static_cast<float>(region.rCount) + static_cast<float>(region.bCount) +
                             static_cast<float>(region.grCount) +
                             static_cast<float>(region.gbCount);
        totalMeans += Splat(m, invWidth, FastLn(g[i] / r[i]) + lnRFactor,
                            FastLn(g[i] / b[i]) + lnBFactor, weight, means);
        // The neighbourhood holds the region itself, so its count is >= 1.
        const float inverse = 1.0f / sums[3 * count + i];
        const float er = std::fabs(r[i] - sums[i] * inverse);
        const float eg = std::fabs(g[i] - sums[count + i] * inverse);
        const float eb = std::fabs(b[i] - sums[2 * count + i] * inverse);
        // A flat neighbourhood has no contrast colour.
        const float floor = 1e-6f * g[i];
        if (er > floor && eg > floor && eb > floor) {
            totalContrast += Splat(m, invWidth, FastLn(eg / er) + lnRFactor,
                                   FastLn(eg / eb) + lnBFactor, weight, contrast);
        }
    }
    Normalise(totalMeans, cells, means);
    Normalise(totalContrast, cells, contrast);
}

void InitLearned(const Tuning::LearnedModel& model, LearnedState* s) {
    s->model = model;
    const int n = static_cast<int>(model.bins);
    const size_t cells = static_cast<size_t>(n) * n;
    InitSmallFft(n, &s->fft);
    const float scale = 1.0f / static_cast<float>(cells);
    auto spectrum = [&](const std::vector<float>& map, std::vector<float>* re,
                        std::vector<float>* im) {
        re->resize(cells);
        im->assign(cells, 0.0f);
        for (size_t k = 0; k < cells; ++k) (*re)[k] = map[k] * scale;
        ForwardFft(s->fft, re->data(), im->data());
    };
    spectrum(model.filterMeans, &s->meansRe, &s->meansIm);
    spectrum(model.filterContrast, &s->contrastRe, &s->contrastIm);
    // The bias is added to the convolution's result; in the frequency domain
    // it is one more term of the sum, which saves a pass over the bins.
    spectrum(model.bias, &s->biasRe, &s->biasIm);
    s->re.assign(cells, 0.0f);
    s->im.assign(cells, 0.0f);
    s->histMeans.assign(cells, 0.0f);
    s->histContrast.assign(cells, 0.0f);
}

LearnedWhite LearnedPosterior(LearnedState* s, const float* means, const float* contrast,
                              float* logPosterior) {
    const Tuning::LearnedModel& m = s->model;
    const int n = static_cast<int>(m.bins);
    const int cells = n * n;
    // Both histograms are real, so one complex transform carries them: the
    // means as the real part, the contrast as the imaginary part.
    float* re = s->histMeans.data();
    float* im = s->histContrast.data();
    if (re != means) std::copy(means, means + cells, re);
    if (im != contrast) std::copy(contrast, contrast + cells, im);
    ForwardFft(s->fft, re, im);
    float* yr = s->re.data();
    float* yi = s->im.data();
    for (int a = 0; a < n; ++a) {
        const int ac = (n - a) & (n - 1);
        for (int c = 0; c < n; ++c) {
            const int k = a * n + c;
            const int kc = ac * n + ((n - c) & (n - 1));
            // The spectra of the two histograms, from S(k) and conj(S(-k)).
            const float m1r = 0.5f * (re[k] + re[kc]);
            const float m1i = 0.5f * (im[k] - im[kc]);
            const float c1r = 0.5f * (im[k] + im[kc]);
            const float c1i = -0.5f * (re[k] - re[kc]);
            yr[k] = m1r * s->meansRe[k] - m1i * s->meansIm[k] + c1r * s->contrastRe[k] -
                    c1i * s->contrastIm[k] + s->biasRe[k];
            yi[k] = m1r * s->meansIm[k] + m1i * s->meansRe[k] + c1r * s->contrastIm[k] +
                    c1i * s->contrastRe[k] + s->biasIm[k];
        }
    }
    InverseFft(s->fft, yr, yi);
    if (logPosterior != nullptr) std::copy(yr, yr + cells, logPosterior);

    // The softmax and its first two moments, in bins.
    float peak = yr[0];
    for (int k = 1; k < cells; ++k) peak = std::max(peak, yr[k]);
    for (int k = 0; k < cells; ++k) yr[k] = NegExp(peak - yr[k]);
    double total = 0.0;
    double sumU = 0.0;
    double sumV = 0.0;
    double sumUU = 0.0;
    double sumVV = 0.0;
    for (int i = 0; i < n; ++i) {
        float row = 0.0f;
        float rowV = 0.0f;
        float rowVV = 0.0f;
        for (int j = 0; j < n; ++j) {
            const float p = yr[i * n + j];
            const float fj = static_cast<float>(j);
            row += p;
            rowV += p * fj;
            rowVV += p * fj * fj;
        }
        const double fi = static_cast<double>(i);
        total += row;
        sumU += row * fi;
        sumUU += row * fi * fi;
        sumV += rowV;
        sumVV += rowVV;
    }
    LearnedWhite white;
    const double meanU = sumU / total;
    const double meanV = sumV / total;
    const double variance =
        0.5 * std::max(0.0, sumUU / total - meanU * meanU + sumVV / total - meanV * meanV);
    white.u = m.uStart + static_cast<float>(meanU) * m.binWidth;
    white.v = m.vStart + static_cast<float>(meanV) * m.binWidth;
    white.confidence = static_cast<float>(1.0 / (1.0 + variance));
    return white;
}

}  // namespace Awb
}  // namespace Vireo
