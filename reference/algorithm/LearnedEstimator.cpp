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

typedef Float4 F;
typedef Int4 I;

// Where four chromaticities fall on the grid: the first of the four bin
// centres around each (its cell index, exact as a float) and the offsets fu, fv from it in
// bins. A point outside the grid of centres, or not a number, gets weight
// 0 (w is multiplied by 0 or 1). The positions are clamped before they
// become integers, so every lane converts a number in range.
VIREO_LANES_INLINE void Place(const Grid& grid, F u, F v, F* w, float* at, float* fu, float* fv) {
    const F zero = Splat<F>(0.0f);
    const F last = Splat<F>(grid.last);
    const F pu = (u - Splat<F>(grid.uStart)) * Splat<F>(grid.invWidth);
    const F pv = (v - Splat<F>(grid.vStart)) * Splat<F>(grid.invWidth);
    const auto inside = (pu >= zero) & (pu <= last) & (pv >= zero) & (pv <= last);
    *w = inside ? *w : zero;
    const F cu = inside ? pu : zero;
    const F cv = inside ? pv : zero;
    const I limit = Splat<I>(grid.n - 2);
    I iu = __builtin_convertvector(cu, I);
    I iv = __builtin_convertvector(cv, I);
    iu = iu < limit ? iu : limit;
    iv = iv < limit ? iv : limit;
    Store(at, __builtin_convertvector(iu * Splat<I>(grid.n) + iv, F));
    Store(fu, cu - __builtin_convertvector(iu, F));
    Store(fv, cv - __builtin_convertvector(iv, F));
}

// Adds weight w, shared between the four bin centres from `at` by the
// offsets fu, fv, to hist, and weight w2 likewise to hist2 (when not null).
inline void Share(int n, float first, float fu, float fv, float w, float* hist, float w2,
                  float* hist2) {
    const float shares[4] = {(1.0f - fu) * (1.0f - fv), (1.0f - fu) * fv, fu * (1.0f - fv),
                             fu * fv};
    const int at = static_cast<int>(first);
    const int offsets[4] = {0, 1, n, n + 1};
    for (int c = 0; c < 4; ++c) hist[at + offsets[c]] += w * shares[c];
    if (hist2 != nullptr) {
        for (int c = 0; c < 4; ++c) hist2[at + offsets[c]] += w2 * shares[c];
    }
}

void Normalise(float total, int cells, float* hist) {
    if (!(total > 0.0f)) return;
    const float scale = 1.0f / total;
    for (int k = 0; k < cells; ++k) hist[k] *= scale;
}

// Adds, for every pair of regions `offset` apart in the flat grid of which
// both are selected (pair[j] * chosen[j + offset], pair being the selection
// with the pairs that would wrap around a row's end taken out), the
// absolute differences of their R, G and B means to the deviation sums of
// both. planes: R, G, B, then their three sums, `stride` apart, `all` (a
// multiple of four) regions each with room past them for a row and four;
// diff: three planes of scratch, `stride` apart, each with `front` zeros
// before it. The differences are written out first and added in a second
// pass, at j and (shifted back) at j + offset: adding them in place at both
// ends would load what the previous step has just stored at an overlapping
// offset, which the processor cannot forward and waits for.
void AddDeviations(float* planes, int stride, const float* pair, const float* chosen, int offset,
                   int all, float* diff) {
    const F zero = Splat<F>(0.0f);
    for (int j = 0; j < all; j += 4) {
        const F both = Load<F>(pair + j) * Load<F>(chosen + j + offset);
        for (int c = 0; c < 3; ++c) {
            const float* mean = planes + c * stride;
            const F d = Load<F>(mean + j) - Load<F>(mean + j + offset);
            Store(diff + c * stride + j, both * (d < zero ? -d : d));
        }
    }
    for (int c = 0; c < 3; ++c) {
        const float* d = diff + c * stride;
        float* sum = planes + (3 + c) * stride;
        for (int j = 0; j < all; j += 4) {
            Store(sum + j, Load<F>(sum + j) + Load<F>(d + j) + Load<F>(d + j - offset));
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
    // Planes, each `stride` floats (room for two rows and a bit past the
    // last region, which the neighbour passes read, and for the zeros
    // before each plane of differences): R, G, B means; the three sums of
    // absolute differences to the neighbours; the selection (0 or 1), and
    // the same without the last and without the first column; the pixel
    // counts of the selected regions; per pair of regions its pixel count,
    // bright weight and contrast weight, and per histogram the first bin
    // and the offsets in u and v; three planes of differences; the odd
    // pairs' histograms.
    const int stride = (count + 2 * cols + 16) / 4 * 4;
    const int planeCount = 19;
    const int front = (cols + 4) / 4 * 4;  // zeros before the differences
    const size_t size = static_cast<size_t>(planeCount + 3) * stride + front + 3 * cells;
    if (work->size() < size) work->resize(size);
    float* planes = work->data();
    float* pr = planes;
    float* pg = planes + stride;
    float* pb = planes + 2 * stride;
    float* chosen = planes + 6 * stride;
    float* notLast = planes + 7 * stride;
    float* notFirst = planes + 8 * stride;
    float* weights = planes + 9 * stride;
    float* pairWeights = planes + 10 * stride;
    float* brightWeights = planes + 11 * stride;
    float* contrastWeights = planes + 12 * stride;
    float* meanAt = planes + 13 * stride;
    float* meanFu = planes + 14 * stride;
    float* meanFv = planes + 15 * stride;
    float* contrastAt = planes + 16 * stride;
    float* contrastFu = planes + 17 * stride;
    float* contrastFv = planes + 18 * stride;
    float* diff = planes + planeCount * stride + front;
    // Copies with room past the last region (1 for the means, 0 for the
    // rest); a region not selected has finite means (SelectRegions sees to
    // that) and weight 0, and takes part in no difference.
    for (int c = 0; c < 3; ++c) {
        const float* from = c == 0 ? r : c == 1 ? g : b;
        std::copy(from, from + count, planes + c * stride);
        std::fill(planes + c * stride + count, planes + (c + 1) * stride, 1.0f);
    }
    std::fill(planes + 3 * stride, planes + 6 * stride, 0.0f);
    std::copy(selected, selected + count, chosen);
    std::fill(chosen + count, chosen + stride, 0.0f);
    std::fill(notLast, notLast + 2 * stride, 0.0f);
    std::fill(weights + count, weights + stride, 0.0f);
    for (int c = 0; c < 3; ++c) std::fill(diff + c * stride - front, diff + c * stride, 0.0f);
    for (int j = 0; j < count; ++j) {
        const VireoAwbRegion& region = frame.regions[j];
        weights[j] = selected[j] * static_cast<float>(region.rCount + region.bCount +
                                                      region.grCount + region.gbCount);
    }
    const int all = (count + 3) / 4 * 4;
    F brightestLanes = Splat<F>(0.0f);
    for (int j = 0; j < all; j += 4) {
        const F rr = Load<F>(pr + j);
        const F gg = Load<F>(pg + j);
        const F bb = Load<F>(pb + j);
        F largest = rr > gg ? rr : gg;
        largest = largest > bb ? largest : bb;
        largest *= Load<F>(chosen + j);
        brightestLanes = largest > brightestLanes ? largest : brightestLanes;
    }
    const float brightest = std::max(std::max(brightestLanes[0], brightestLanes[1]),
                                     std::max(brightestLanes[2], brightestLanes[3]));
    for (int y = 0; y < rows; ++y) {
        float* last = notLast + y * cols;
        float* first = notFirst + y * cols;
        const float* on = chosen + y * cols;
        std::copy(on, on + cols - 1, last);
        std::copy(on + 1, on + cols, first + 1);
    }
    // The local absolute deviation (as FFCC has it), on every region: per
    // channel, the sum of the absolute differences between a region and
    // its selected neighbours. Against the difference from the mean of the
    // 3 x 3 neighbourhood on pooled pairs it keeps both sides of an edge,
    // does not cancel on a smooth gradient and sees the finest detail the
    // grid has: on the development cameras it took the mean from 2.11 to
    // 2.08 degrees and the median from 1.43 to 1.37. The four nearest
    // neighbours do as well as all eight at half the cost. Each pair once,
    // added to both: right, down.
    AddDeviations(planes, stride, notLast, chosen, 1, all, diff);
    if (rows > 1) AddDeviations(planes, stride, chosen, chosen, cols, all, diff);
    // Then pairs of regions (2k, 2k + 1: side by side when the row has an
    // even count) are pooled, their means weighted by pixel count and their
    // deviations added: a 64 x 48 grid gives 32 x 48 points per histogram,
    // the thumbnail size FFCC was published with, and half the work below
    // (the histograms of all regions were 0.01 degrees better in
    // the mean at twice the cost). Four pairs at a time:
    // their chromaticities and where they fall on the grid; a pair with
    // nothing selected has weight 0 and finite nonsense elsewhere.
    const int pairs = (count + 1) / 2;
    const int pairLanes = (pairs + 3) / 4 * 4;
    const Grid grid{n, static_cast<float>(n - 1), m.uStart, m.vStart, 1.0f / m.binWidth};
    const F lnR = Splat<F>(lnRFactor);
    const F lnB = Splat<F>(lnBFactor);
    const F zero = Splat<F>(0.0f);
    const F one = Splat<F>(1.0f);
    const F inverseBrightest = Splat<F>(brightest > 0.0f ? 1.0f / (3.0f * brightest) : 0.0f);
    F totalMeans = zero;
    F totalContrast = zero;
    F totalBright = zero;
    for (int i = 0; i < pairLanes; i += 4) {
        const int j = 2 * i;
        const F w0 = Load<F>(weights + j);
        const F w1 = Load<F>(weights + j + 4);
        const F wa = __builtin_shufflevector(w0, w1, 0, 2, 4, 6);
        const F wb = __builtin_shufflevector(w0, w1, 1, 3, 5, 7);
        // Weighted sums of a channel plane over the pair, and plain sums.
        auto weighted = [&](const float* plane) {
            const F a = Load<F>(plane + j);
            const F c = Load<F>(plane + j + 4);
            return wa * __builtin_shufflevector(a, c, 0, 2, 4, 6) +
                   wb * __builtin_shufflevector(a, c, 1, 3, 5, 7);
        };
        auto summed = [&](const float* plane) {
            const F a = Load<F>(plane + j);
            const F c = Load<F>(plane + j + 4);
            return __builtin_shufflevector(a, c, 0, 2, 4, 6) +
                   __builtin_shufflevector(a, c, 1, 3, 5, 7);
        };
        F weight = wa + wb;
        const auto some = weight > zero;
        const F inverse = one / (some ? weight : one);
        const F rr = some ? weighted(pr) * inverse : one;
        const F gg = some ? weighted(pg) * inverse : one;
        const F bb = some ? weighted(pb) * inverse : one;
        Place(grid, FastLnLanes(gg / rr) + lnR, FastLnLanes(gg / bb) + lnB, &weight, meanAt + i,
              meanFu + i, meanFv + i);
        // The bright histogram: weight times (L / M)^4.
        const F level = (rr + gg + bb) * inverseBrightest;
        const F squared = level * level;
        const F brightWeight = weight * squared * squared;
        Store(pairWeights + i, weight);
        Store(brightWeights + i, brightWeight);
        totalMeans += weight;
        totalBright += brightWeight;
        F er = summed(pr + 3 * stride);
        F eg = summed(pr + 4 * stride);
        F eb = summed(pr + 5 * stride);
        // A flat neighbourhood (or none) has no contrast colour.
        const F floor = Splat<F>(1e-6f) * gg;
        const auto flat = (er <= floor) | (eg <= floor) | (eb <= floor);
        F contrastWeight = flat ? zero : wa + wb;
        er = er > floor ? er : floor;
        eg = eg > floor ? eg : floor;
        eb = eb > floor ? eb : floor;
        Place(grid, FastLnLanes(eg / er) + lnR, FastLnLanes(eg / eb) + lnB, &contrastWeight,
              contrastAt + i, contrastFu + i, contrastFv + i);
        Store(contrastWeights + i, contrastWeight);
        totalContrast += contrastWeight;
    }
    // Neighbouring pairs mostly fall into the same bins, and each addition
    // would wait for the one before it through memory: the odd pairs go to
    // a second set of histograms, which is added at the end.
    float* odd = diff + 3 * stride;
    std::fill(odd, odd + 3 * cells, 0.0f);
    for (int j = 0; j < pairs; ++j) {
        if (pairWeights[j] != 0.0f) {
            Share(n, meanAt[j], meanFu[j], meanFv[j], pairWeights[j], (j & 1) ? odd : means,
                  brightWeights[j], (j & 1) ? odd + cells : bright);
        }
        if (contrastWeights[j] != 0.0f) {
            Share(n, contrastAt[j], contrastFu[j], contrastFv[j], contrastWeights[j],
                  (j & 1) ? odd + 2 * cells : contrast, 0.0f, nullptr);
        }
    }
    for (int k = 0; k < cells; ++k) {
        means[k] += odd[k];
        bright[k] += odd[cells + k];
        contrast[k] += odd[2 * cells + k];
    }
    auto sum = [](F v) { return (v[0] + v[1]) + (v[2] + v[3]); };
    Normalise(sum(totalMeans), cells, means);
    Normalise(sum(totalContrast), cells, contrast);
    Normalise(sum(totalBright), cells, bright);
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
