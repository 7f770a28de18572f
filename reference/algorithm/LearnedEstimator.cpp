#include "LearnedEstimator.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "FastMath.h"

namespace Vireo {
namespace Awb {

namespace {

// The histogram grid in locals, so the stores into a histogram do not make
// the compiler read the model again.
struct Grid {
    int n;
    float last;  // n - 1
    float uStart;
    float vStart;
    float invWidth;
};

// Shares weight w between the four bin centres around (u, v) of hist, and
// weight w2 likewise in hist2 (null for none); a point outside the grid of
// centres (or not a number) is left out. Returns whether it was added.
inline bool Splat(const Grid grid, float u, float v, float w, float* hist, float w2, float* hist2) {
    const float pu = (u - grid.uStart) * grid.invWidth;
    const float pv = (v - grid.vStart) * grid.invWidth;
    if (!(pu >= 0.0f && pu <= grid.last && pv >= 0.0f && pv <= grid.last)) return false;
    const int n = grid.n;
    const int iu = std::min(static_cast<int>(pu), n - 2);
    const int iv = std::min(static_cast<int>(pv), n - 2);
    const float fu = pu - static_cast<float>(iu);
    const float fv = pv - static_cast<float>(iv);
    const float shares[4] = {(1.0f - fu) * (1.0f - fv), (1.0f - fu) * fv, fu * (1.0f - fv),
                             fu * fv};
    const int at = iu * n + iv;
    const int offsets[4] = {0, 1, n, n + 1};
    for (int c = 0; c < 4; ++c) hist[at + offsets[c]] += w * shares[c];
    if (hist2 != nullptr) {
        for (int c = 0; c < 4; ++c) hist2[at + offsets[c]] += w2 * shares[c];
    }
    return true;
}

void Normalise(float total, int cells, float* hist) {
    if (!(total > 0.0f)) return;
    const float scale = 1.0f / total;
    for (int k = 0; k < cells; ++k) hist[k] *= scale;
}

// Sums over the 3 x 3 neighbourhood (cut at the grid's edges) of each of
// four planes of cols x rows values, `stride` apart, from `in` into `out`;
// `row` is one plane of scratch. The edges are done apart so the inner
// loops have no branch and vectorise.
void BoxSums(const float* in, int cols, int rows, int stride, float* row, float* out) {
    for (int plane = 0; plane < 4; ++plane) {
        const float* a = in + plane * stride;
        float* o = out + plane * stride;
        for (int y = 0; y < rows; ++y) {
            const float* __restrict line = a + y * cols;
            float* __restrict sum = row + y * cols;
            if (cols == 1) {
                sum[0] = line[0];
                continue;
            }
            sum[0] = line[0] + line[1];
            for (int x = 1; x + 1 < cols; ++x) sum[x] = line[x - 1] + line[x] + line[x + 1];
            sum[cols - 1] = line[cols - 2] + line[cols - 1];
        }
        for (int y = 0; y < rows; ++y) {
            const float* __restrict above = row + (y > 0 ? y - 1 : y) * cols;
            const float* __restrict here = row + y * cols;
            const float* __restrict below = row + (y + 1 < rows ? y + 1 : y) * cols;
            float* __restrict sum = o + y * cols;
            // Cut edges add nothing: the row itself stands in and is taken off.
            const float edge = (y > 0 ? 0.0f : 1.0f) + (y + 1 < rows ? 0.0f : 1.0f);
            for (int x = 0; x < cols; ++x) {
                sum[x] = above[x] + here[x] + below[x] - edge * here[x];
            }
        }
    }
}

}  // namespace

void LearnedHistograms(const Tuning::LearnedModel& m, const VireoAwbFrame& frame, const float* r,
                       const float* g, const float* b, const float* selected, float lnRFactor,
                       float lnBFactor, float* means, float* contrast, float* bright,
                       std::vector<float>* work) {
    const int n = static_cast<int>(m.bins);
    const int cells = n * n;
    std::fill(means, means + cells, 0.0f);
    std::fill(contrast, contrast + cells, 0.0f);
    std::fill(bright, bright + cells, 0.0f);
    const int count = frame.regions != nullptr ? std::max(frame.regionCount, 0) : 0;
    if (count == 0) return;
    int cols = frame.horizontalRegionCount;
    int rows = frame.verticalRegionCount;
    if (cols <= 0 || rows <= 0 || static_cast<int64_t>(cols) * rows != count) {
        cols = count;  // no usable grid shape: one row
        rows = 1;
    }
    // Pairs of side-by-side regions are pooled first (their means weighted
    // by pixel count): a 64 x 48 grid becomes 32 x 48, the thumbnail size
    // the method was published with, at half the cost of the passes below.
    const int pooledCols = (cols + 1) / 2;
    const int pooled = pooledCols * rows;
    // Planes, each `stride` floats: pooled R, G, B means masked by the
    // selection, the selection itself; their neighbourhood sums; one plane
    // of scratch for the box filter; the chromaticities of the means and of
    // the contrast, and whether a region has contrast; the pooled pixel
    // counts and the pooled means (1 where nothing is selected).
    typedef Float4 F;
    const int stride = (pooled + 3) / 4 * 4;
    if (work->size() < static_cast<size_t>(18) * stride + count) work->resize(18 * stride + count);
    float* planes = work->data();
    float* sums = planes + 4 * stride;
    float* scratch = planes + 8 * stride;
    float* meanU = planes + 9 * stride;
    float* meanV = planes + 10 * stride;
    float* contrastU = planes + 11 * stride;
    float* contrastV = planes + 12 * stride;
    float* hasContrast = planes + 13 * stride;
    float* weights = planes + 14 * stride;
    float* pr = planes + 15 * stride;
    float* pg = planes + 16 * stride;
    float* pb = planes + 17 * stride;
    // Per region its weight (pixel count, 0 when not selected), then the
    // pairs' sums in straight loops without branches.
    float* regionWeight = planes + 18 * stride;
    for (int i = 0; i < count; ++i) {
        const VireoAwbRegion& region = frame.regions[i];
        regionWeight[i] = selected[i] * static_cast<float>(region.rCount + region.bCount +
                                                           region.grCount + region.gbCount);
    }
    const int pairs = cols / 2;
    for (int y = 0; y < rows; ++y) {
        const float* w = regionWeight + y * cols;
        const float* rr = r + y * cols;
        const float* gg = g + y * cols;
        const float* bb = b + y * cols;
        float* __restrict out = weights + y * pooledCols;
        float* __restrict sr = pr + y * pooledCols;
        float* __restrict sg = pg + y * pooledCols;
        float* __restrict sb = pb + y * pooledCols;
        for (int x = 0; x < pairs; ++x) {
            const float w0 = w[2 * x];
            const float w1 = w[2 * x + 1];
            out[x] = w0 + w1;
            sr[x] = w0 * rr[2 * x] + w1 * rr[2 * x + 1];
            sg[x] = w0 * gg[2 * x] + w1 * gg[2 * x + 1];
            sb[x] = w0 * bb[2 * x] + w1 * bb[2 * x + 1];
        }
        if (pairs < pooledCols) {  // an odd column count: the last one alone
            const int k = cols - 1;
            out[pairs] = w[k];
            sr[pairs] = w[k] * rr[k];
            sg[pairs] = w[k] * gg[k];
            sb[pairs] = w[k] * bb[k];
        }
    }
    float brightest = 0.0f;
    for (int j = 0; j < pooled; ++j) {
        const float w = weights[j];
        const float chosen = w > 0.0f ? 1.0f : 0.0f;
        const float inverse = 1.0f / (w > 0.0f ? w : 1.0f);
        // Means of 1 where nothing is selected keep the logarithms finite.
        pr[j] = w > 0.0f ? pr[j] * inverse : 1.0f;
        pg[j] = w > 0.0f ? pg[j] * inverse : 1.0f;
        pb[j] = w > 0.0f ? pb[j] * inverse : 1.0f;
        planes[j] = chosen * pr[j];
        planes[stride + j] = chosen * pg[j];
        planes[2 * stride + j] = chosen * pb[j];
        planes[3 * stride + j] = chosen;
        const float largest = std::max(pr[j], std::max(pg[j], pb[j]));
        brightest = std::max(brightest, chosen * largest);
    }
    // The lanes past the last pooled region: nothing selected, zero sums.
    for (int plane = 0; plane < 18; ++plane) {
        const float fill = plane >= 15 ? 1.0f : 0.0f;
        std::fill(planes + plane * stride + pooled, planes + (plane + 1) * stride, fill);
    }
    BoxSums(planes, pooledCols, rows, stride, scratch, sums);
    // Four regions at a time; a region not selected gets finite nonsense
    // that the next loop skips (its green mean is 1, its neighbourhood may
    // be empty).
    const F lnR = Splat<F>(lnRFactor);
    const F lnB = Splat<F>(lnBFactor);
    const F one = Splat<F>(1.0f);
    const F zero = Splat<F>(0.0f);
    for (int i = 0; i < stride; i += 4) {
        const F rr = Load<F>(pr + i);
        const F gg = Load<F>(pg + i);
        const F bb = Load<F>(pb + i);
        Store(meanU + i, FastLnLanes(gg / rr) + lnR);
        Store(meanV + i, FastLnLanes(gg / bb) + lnB);
        F neighbours = Load<F>(sums + 3 * stride + i);
        neighbours = neighbours < one ? one : neighbours;
        const F inverse = one / neighbours;
        F er = rr - Load<F>(sums + i) * inverse;
        F eg = gg - Load<F>(sums + stride + i) * inverse;
        F eb = bb - Load<F>(sums + 2 * stride + i) * inverse;
        er = er < zero ? -er : er;
        eg = eg < zero ? -eg : eg;
        eb = eb < zero ? -eb : eb;
        // A flat neighbourhood has no contrast colour.
        const F floor = Splat<F>(1e-6f) * gg;
        Store(hasContrast + i, ((er > floor) & (eg > floor) & (eb > floor)) ? one : zero);
        er = er > floor ? er : floor;
        eb = eb > floor ? eb : floor;
        Store(contrastU + i, FastLnLanes(eg / er) + lnR);
        Store(contrastV + i, FastLnLanes(eg / eb) + lnB);
    }

    const Grid grid{n, static_cast<float>(n - 1), m.uStart, m.vStart, 1.0f / m.binWidth};
    float totalMeans = 0.0f;
    float totalContrast = 0.0f;
    float totalBright = 0.0f;
    const float inverseBrightest = brightest > 0.0f ? 1.0f / (3.0f * brightest) : 0.0f;
    for (int j = 0; j < pooled; ++j) {
        const float weight = weights[j];
        if (weight == 0.0f) continue;
        const float level = (pr[j] + pg[j] + pb[j]) * inverseBrightest;  // L / M
        const float squared = level * level;
        const float brightWeight = weight * squared * squared;
        if (Splat(grid, meanU[j], meanV[j], weight, means, brightWeight, bright)) {
            totalMeans += weight;
            totalBright += brightWeight;
        }
        if (hasContrast[j] != 0.0f) {
            if (Splat(grid, contrastU[j], contrastV[j], weight, contrast, 0.0f, nullptr)) {
                totalContrast += weight;
            }
        }
    }
    Normalise(totalMeans, cells, means);
    Normalise(totalContrast, cells, contrast);
    Normalise(totalBright, cells, bright);
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
    spectrum(model.filterBright, &s->brightRe, &s->brightIm);
    // The bias is added to the convolution's result; in the frequency domain
    // it is one more term of the sum, which saves a pass over the bins.
    spectrum(model.bias, &s->biasRe, &s->biasIm);
    s->re.assign(cells, 0.0f);
    s->im.assign(cells, 0.0f);
    s->histMeans.assign(cells, 0.0f);
    s->histContrast.assign(cells, 0.0f);
    s->histBright.assign(cells, 0.0f);
    s->brightScratch.assign(cells, 0.0f);
}

LearnedWhite LearnedPosterior(LearnedState* s, const float* means, const float* contrast,
                              const float* bright, float* logPosterior) {
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
    // The bright histogram on its own (its imaginary part zero).
    float* br = s->histBright.data();
    float* bi = s->brightScratch.data();
    if (br != bright) std::copy(bright, bright + cells, br);
    std::fill(bi, bi + cells, 0.0f);
    ForwardFft(s->fft, br, bi);
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
                    c1i * s->contrastIm[k] + br[k] * s->brightRe[k] - bi[k] * s->brightIm[k] +
                    s->biasRe[k];
            yi[k] = m1r * s->meansIm[k] + m1i * s->meansRe[k] + c1r * s->contrastIm[k] +
                    c1i * s->contrastRe[k] + br[k] * s->brightIm[k] + bi[k] * s->brightRe[k] +
                    s->biasIm[k];
        }
    }
    InverseFft(s->fft, yr, yi);
    if (logPosterior != nullptr) std::copy(yr, yr + cells, logPosterior);

    // The softmax and its first two moments, in bins.
    typedef Float4 F;
    F peaks = Load<F>(yr);
    for (int k = 4; k < cells; k += 4) {
        const F z = Load<F>(yr + k);
        peaks = z > peaks ? z : peaks;
    }
    const float peak = std::max(std::max(peaks[0], peaks[1]), std::max(peaks[2], peaks[3]));
    for (int k = 0; k < cells; k += 4) {
        Store(yr + k, FastNegExpLanes(Splat<F>(peak) - Load<F>(yr + k)));
    }
    double total = 0.0;
    double sumU = 0.0;
    double sumV = 0.0;
    double sumUU = 0.0;
    double sumVV = 0.0;
    for (int i = 0; i < n; ++i) {
        // Four partial sums each, so the additions do not wait on each other.
        float row[4] = {0.0f, 0.0f, 0.0f, 0.0f};
        float rowV[4] = {0.0f, 0.0f, 0.0f, 0.0f};
        float rowVV[4] = {0.0f, 0.0f, 0.0f, 0.0f};
        for (int j = 0; j < n; j += 4) {
            for (int lane = 0; lane < 4; ++lane) {
                const float p = yr[i * n + j + lane];
                const float fj = static_cast<float>(j + lane);
                row[lane] += p;
                rowV[lane] += p * fj;
                rowVV[lane] += p * fj * fj;
            }
        }
        const double fi = static_cast<double>(i);
        const double inRow = (row[0] + row[1]) + (row[2] + row[3]);
        total += inRow;
        sumU += inRow * fi;
        sumUU += inRow * fi * fi;
        sumV += (rowV[0] + rowV[1]) + (rowV[2] + rowV[3]);
        sumVV += (rowVV[0] + rowVV[1]) + (rowVV[2] + rowVV[3]);
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
