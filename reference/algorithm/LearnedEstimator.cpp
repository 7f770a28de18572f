#include "LearnedEstimator.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "FastMath.h"

namespace Vireo {
namespace Awb {

namespace {

// Plain twins of the four-lane passes (FourLanes.cpp): one region or pair
// at a time, the same operations in the same order, sums and maxima kept in
// four partial lanes as there, so they give the same bits. The tests hold
// the two forms together; the library runs the four-lane ones.

float Magnitude(float d) { return d < 0.0f ? -d : d; }

void PlacePlain(const LearnedPlanes& p, float u, float v, float* w, float* at, float* fu,
                float* fv) {
    const float last = static_cast<float>(p.n - 1);
    const float pu = (u - p.uStart) * p.invWidth;
    const float pv = (v - p.vStart) * p.invWidth;
    const bool inside = pu >= 0.0f && pu <= last && pv >= 0.0f && pv <= last;
    *w = inside ? *w : 0.0f;
    const float cu = inside ? pu : 0.0f;
    const float cv = inside ? pv : 0.0f;
    const int iu = std::min(static_cast<int>(cu), p.n - 2);
    const int iv = std::min(static_cast<int>(cv), p.n - 2);
    const float whole = static_cast<float>(iu);
    const float part = static_cast<float>(iv);
    *at = whole * static_cast<float>(p.n) + part;
    *fu = cu - whole;
    *fv = cv - part;
}

float DeviationPlain(const float* right, const float* down, int cols, int j) {
    return ((right[j] + right[j - 1]) + down[j]) + down[j - cols];
}

// How grey a pair looks from its channels' deviations over their means is
// exp(-x), x = g^2 / (2 s^2) with g^2 = 3 (dr^2 + dg^2 + db^2) /
// (dr + dg + db)^2 - 1 the squared relative spread. x is held to [0, 100]
// (a not-a-number too, where a mean is 0).
float GreyExponentPlain(float er, float eg, float eb, float rr, float gg, float bb) {
    const float dr = er / rr;
    const float dg = eg / gg;
    const float db = eb / bb;
    const float sum = (dr + dg) + db;
    const float squares = (dr * dr + dg * dg) + db * db;
    float x = (3.0f * squares / (sum * sum) - 1.0f) * (0.5f / (kGreySpread * kGreySpread));
    x = x < 100.0f ? x : 100.0f;
    return x > 0.0f ? x : 0.0f;
}

// Shares each of the weights w[0..count) between the four bin centres from
// `at` by the offsets fu, fv, adding to hists[0..count).
inline void Share(int n, float first, float fu, float fv, const float* w, float* const* hists,
                  int count) {
    const float shares[4] = {(1.0f - fu) * (1.0f - fv), (1.0f - fu) * fv, fu * (1.0f - fv),
                             fu * fv};
    const int at = static_cast<int>(first);
    const int offsets[4] = {0, 1, n, n + 1};
    for (int h = 0; h < count; ++h) {
        for (int c = 0; c < 4; ++c) hists[h][at + offsets[c]] += w[h] * shares[c];
    }
}

// hist plus the odd pairs' part of it, scaled to sum to 1 (left as it is
// when nothing fell into it).
void Finish(float total, int cells, const float* odd, float* hist) {
    if (!(total > 0.0f)) {
        for (int k = 0; k < cells; ++k) hist[k] += odd[k];
        return;
    }
    const float scale = 1.0f / total;
    for (int k = 0; k < cells; ++k) hist[k] = (hist[k] + odd[k]) * scale;
}

}  // namespace

void LearnedPairsPlain(const LearnedPlanes& p) {
    const int stride = p.stride;
    const int cols = p.cols;
    const int span = (p.pairs + 3) / 4 * 8;
    float brightestLanes[4] = {0.0f, 0.0f, 0.0f, 0.0f};
    for (int j = 0; j < span; ++j) {
        const float on = p.chosen[j];
        const float right = p.notLast[j] * p.chosen[j + 1];
        const float down = on * p.chosen[j + cols];
        float largest = 0.0f;
        for (int c = 0; c < 3; ++c) {
            const float* mean = p.means + c * stride;
            const float m = mean[j];
            largest = c == 0 ? m : (largest > m ? largest : m);
            p.diff[c * stride + j] = right * Magnitude(m - mean[j + 1]);
            p.diff[(3 + c) * stride + j] = down * Magnitude(m - mean[j + cols]);
        }
        largest *= on;
        float& lane = brightestLanes[j % 4];
        lane = largest > lane ? largest : lane;
    }
    const float brightest = std::max(std::max(brightestLanes[0], brightestLanes[1]),
                                     std::max(brightestLanes[2], brightestLanes[3]));
    const float inverseBrightest = brightest > 0.0f ? 1.0f / (3.0f * brightest) : 0.0f;
    // Per histogram, four partial sums of its weights.
    float totals[kLearnedHistograms][4] = {};
    for (int i = 0; i < span / 2; ++i) {
        const int j = 2 * i;
        const float wa = p.weights[j];
        const float wb = p.weights[j + 1];
        auto weighted = [&](int c) {
            const float* plane = p.means + c * stride;
            return wa * plane[j] + wb * plane[j + 1];
        };
        auto deviation = [&](int c) {
            const float* right = p.diff + c * stride;
            const float* down = p.diff + (3 + c) * stride;
            return DeviationPlain(right, down, cols, j) + DeviationPlain(right, down, cols, j + 1);
        };
        float weight = wa + wb;
        const bool some = weight > 0.0f;
        const float inverse = 1.0f / (some ? weight : 1.0f);
        const float rr = some ? weighted(0) * inverse : 1.0f;
        const float gg = some ? weighted(1) * inverse : 1.0f;
        const float bb = some ? weighted(2) * inverse : 1.0f;
        PlacePlain(p, FastLn(gg / rr) + p.lnR, FastLn(gg / bb) + p.lnB, &weight, p.meanAt + i,
                   p.meanFu + i, p.meanFv + i);
        const float level = (rr + gg + bb) * inverseBrightest;
        const float squared = level * level;
        const float brightWeight = weight * squared * squared;
        float darkness = 1.0f - level;
        darkness = darkness > 0.0f ? darkness : 0.0f;
        const float darkWeight = weight * darkness * darkness;
        p.pairWeights[i] = weight;
        p.brightWeights[i] = brightWeight;
        p.darkWeights[i] = darkWeight;
        totals[kHistMeans][i % 4] += weight;
        totals[kHistBright][i % 4] += brightWeight;
        totals[kHistDark][i % 4] += darkWeight;
        totals[kHistTop][i % 4] += i < p.topPairs ? weight : 0.0f;
        float er = deviation(0);
        float eg = deviation(1);
        float eb = deviation(2);
        const float floor = 1e-6f * gg;
        const bool flat = er <= floor || eg <= floor || eb <= floor;
        float contrastWeight = flat ? 0.0f : wa + wb;
        er = er > floor ? er : floor;
        eg = eg > floor ? eg : floor;
        eb = eb > floor ? eb : floor;
        const float greyWeight =
            flat ? 0.0f : weight * FastNegExp(GreyExponentPlain(er, eg, eb, rr, gg, bb));
        p.greyness[i] = greyWeight;
        totals[kHistGrey][i % 4] += greyWeight;
        PlacePlain(p, FastLn(eg / er) + p.lnR, FastLn(eg / eb) + p.lnB, &contrastWeight,
                   p.contrastAt + i, p.contrastFu + i, p.contrastFv + i);
        p.contrastWeights[i] = contrastWeight;
        totals[kHistContrast][i % 4] += contrastWeight;
    }
    // Neighbouring pairs mostly fall into the same bins, and each addition
    // would wait for the one before it through memory: the odd pairs go to
    // a second set of histograms, which is added at the end.
    const int n = p.n;
    const int cells = n * n;
    float* odd = p.scratch;  // a block like p.histograms
    std::fill(odd, odd + kLearnedHistograms * cells, 0.0f);
    std::fill(p.histograms, p.histograms + kLearnedHistograms * cells, 0.0f);
    for (int j = 0; j < p.pairs; ++j) {
        float* block = (j & 1) ? odd : p.histograms;
        if (p.pairWeights[j] != 0.0f) {
            // The means, bright, dark, top and grey histograms take the pair
            // at the same place.
            const float w[5] = {p.pairWeights[j], p.brightWeights[j], p.darkWeights[j],
                                j < p.topPairs ? p.pairWeights[j] : 0.0f, p.greyness[j]};
            float* const hists[5] = {block + kHistMeans * cells, block + kHistBright * cells,
                                     block + kHistDark * cells, block + kHistTop * cells,
                                     block + kHistGrey * cells};
            Share(n, p.meanAt[j], p.meanFu[j], p.meanFv[j], w, hists, 5);
        }
        if (p.contrastWeights[j] != 0.0f) {
            float* const hists[1] = {block + kHistContrast * cells};
            Share(n, p.contrastAt[j], p.contrastFu[j], p.contrastFv[j], &p.contrastWeights[j],
                  hists, 1);
        }
    }
    for (int h = 0; h < kLearnedHistograms; ++h) {
        const float* v = totals[h];
        Finish((v[0] + v[1]) + (v[2] + v[3]), cells, odd + h * cells, p.histograms + h * cells);
    }
}

void LearnedHistograms(const Tuning::LearnedModel& m, const VireoAwbFrame& frame, const float* r,
                       const float* g, const float* b, const float* selected, float lnRFactor,
                       float lnBFactor, float* histograms, std::vector<float>* work, bool plain) {
    const int n = static_cast<int>(m.bins);
    const int cells = n * n;
    const int count = frame.regions != nullptr ? std::max(frame.regionCount, 0) : 0;
    if (count == 0) {
        std::fill(histograms, histograms + kLearnedHistograms * cells, 0.0f);
        return;
    }
    int cols = frame.horizontalRegionCount;
    int rows = frame.verticalRegionCount;
    if (cols <= 0 || rows <= 0 || static_cast<int64_t>(cols) * rows != count) {
        cols = count;  // no usable grid shape: one row
        rows = 1;
    }
    // The planes of LearnedPlanes, each `stride` floats (room for two rows
    // and a bit past the last region, which the neighbour passes read, and
    // for the zeros before each plane of differences), then scratch for the
    // histograms.
    const int stride = (count + 2 * cols + 16) / 4 * 4;
    const int planeCount = 17;
    const int front = (cols + 4) / 4 * 4;  // zeros before the differences
    const size_t size = static_cast<size_t>(planeCount + 6) * stride + front + 12 * cells;
    if (work->size() < size) work->resize(size);
    float* planes = work->data();
    float* chosen = planes + 3 * stride;
    float* notLast = planes + 4 * stride;
    float* weights = planes + 5 * stride;
    float* diff = planes + planeCount * stride + front;
    LearnedPlanes p{};
    p.means = planes;
    p.chosen = chosen;
    p.notLast = notLast;
    p.weights = weights;
    p.diff = diff;
    p.stride = stride;
    p.cols = cols;
    p.pairs = (count + 1) / 2;
    p.topPairs = (rows / 2 * cols + 1) / 2;
    p.n = n;
    p.uStart = m.uStart;
    p.vStart = m.vStart;
    p.invWidth = 1.0f / m.binWidth;
    p.lnR = lnRFactor;
    p.lnB = lnBFactor;
    p.pairWeights = planes + 6 * stride;
    p.brightWeights = planes + 7 * stride;
    p.contrastWeights = planes + 8 * stride;
    p.meanAt = planes + 9 * stride;
    p.meanFu = planes + 10 * stride;
    p.meanFv = planes + 11 * stride;
    p.contrastAt = planes + 12 * stride;
    p.contrastFu = planes + 13 * stride;
    p.contrastFv = planes + 14 * stride;
    p.darkWeights = planes + 15 * stride;
    p.greyness = planes + 16 * stride;
    p.scratch = diff + 6 * stride;
    p.histograms = histograms;
    // Copies with room past the last region (1 for the means, 0 for the
    // rest); a region not selected has finite means (SelectRegions sees to
    // that) and weight 0, and takes part in no difference. A single row
    // differs from none below it: the selection past the last region is 0.
    for (int c = 0; c < 3; ++c) {
        const float* from = c == 0 ? r : c == 1 ? g : b;
        std::copy(from, from + count, planes + c * stride);
        std::fill(planes + c * stride + count, planes + (c + 1) * stride, 1.0f);
    }
    std::copy(selected, selected + count, chosen);
    std::fill(chosen + count, chosen + stride, 0.0f);
    std::fill(notLast, notLast + stride, 0.0f);
    std::fill(weights + count, weights + stride, 0.0f);
    for (int c = 0; c < 6; ++c) std::fill(diff + c * stride - front, diff + c * stride, 0.0f);
    for (int j = 0; j < count; ++j) {
        const VireoAwbRegion& region = frame.regions[j];
        weights[j] = selected[j] * static_cast<float>(region.rCount + region.bCount +
                                                      region.grCount + region.gbCount);
    }
    for (int y = 0; y < rows; ++y) {
        const float* on = chosen + y * cols;
        std::copy(on, on + cols - 1, notLast + y * cols);
    }
    // The local absolute deviation (as FFCC has it), on every region: per
    // channel, the sum of the absolute differences between a region and
    // its selected neighbours. Against the difference from the mean of the
    // 3 x 3 neighbourhood on pooled pairs it keeps both sides of an edge,
    // does not cancel on a smooth gradient and sees the finest detail the
    // grid has: on the development cameras it took the mean from 2.11 to
    // 2.08 degrees and the median from 1.43 to 1.37. The four nearest
    // neighbours do as well as all eight at half the cost. Each pair's
    // difference is worked out once (right, down) and read from both ends,
    // by the pass that pools: summed there, no plane of sums is written.
    // Pairs of regions (2k, 2k + 1: side by side when the row has an even
    // count) are pooled, their means weighted by pixel count and their
    // deviations added: a 64 x 48 grid gives 32 x 48 points per histogram,
    // the thumbnail size FFCC was published with, and half the work below
    // (the histograms of all regions were 0.01 degrees better in the mean at
    // twice the cost). A pair with nothing selected has weight 0 and finite
    // nonsense elsewhere.
    if (plain) {
        LearnedPairsPlain(p);
    } else {
        LearnedPairsInLanes(p);
    }
}

void InitLearned(const Tuning::LearnedModel& model, LearnedState* s) {
    s->model = model;
    const int n = static_cast<int>(model.bins);
    const size_t cells = static_cast<size_t>(n) * n;
    InitSmallFft(n, &s->fft);
    // The spectrum of (first - i second) / n^2 of two maps (second may be
    // absent: zero).
    const float scale = 1.0f / static_cast<float>(cells);
    auto spectrum = [&](const std::vector<float>& first, const std::vector<float>* second,
                        std::vector<float>* re, std::vector<float>* im) {
        re->resize(cells);
        im->assign(cells, 0.0f);
        for (size_t k = 0; k < cells; ++k) (*re)[k] = first[k] * scale;
        if (second != nullptr && !second->empty()) {
            for (size_t k = 0; k < cells; ++k) (*im)[k] = -(*second)[k] * scale;
        }
        ForwardFft(s->fft, re->data(), im->data());
    };
    for (int t = 0; t < kLearnedTransforms; ++t) {
        const int first = 2 * t;
        const std::vector<float>* second =
            first + 1 < kLearnedHistograms ? &(model.*kLearnedFilters[first + 1]) : nullptr;
        const std::vector<float>& filter = model.*kLearnedFilters[first];
        if (filter.empty()) {
            s->filterRe[t].assign(cells, 0.0f);
            s->filterIm[t].assign(cells, 0.0f);
        } else {
            spectrum(filter, second, &s->filterRe[t], &s->filterIm[t]);
        }
    }
    // The bias is added to the convolution's result; in the frequency domain
    // it is one more term of the sum, which saves a pass over the bins.
    spectrum(model.bias, nullptr, &s->biasRe, &s->biasIm);
    s->re.assign(cells, 0.0f);
    s->im.assign(cells, 0.0f);
    s->histograms.assign(kLearnedHistograms * cells, 0.0f);
    s->topImaginary.assign(cells, 0.0f);
}

LearnedWhite LearnedPosterior(LearnedState* s, const float* histograms, float* logPosterior,
                              bool plain) {
    const Tuning::LearnedModel& m = s->model;
    const int n = static_cast<int>(m.bins);
    const int cells = n * n;
    float* h = s->histograms.data();
    if (h != histograms) std::copy(histograms, histograms + kLearnedHistograms * cells, h);
    // The histograms are real, so one complex transform carries two, a + i b
    // (means and contrast, bright and dark, top and grey; only those whose
    // filters the model has). Times the spectrum of fa - i fb, the real part
    // of the product's inverse transform is a * fa + b * fb (the circular
    // convolutions); its imaginary part is not needed. A model without the
    // grey filter gets zeros there rather than the grey histogram under a
    // zero filter: the same sum, but the rounding of its decisions stays
    // what it was.
    const bool top = !m.filterTop.empty();
    const bool grey = !m.filterGrey.empty();
    float* const hr[kLearnedTransforms] = {h + kHistMeans * cells, h + kHistBright * cells,
                                           h + kHistTop * cells};
    float* const hi[kLearnedTransforms] = {h + kHistContrast * cells, h + kHistDark * cells,
                                           grey ? h + kHistGrey * cells : s->topImaginary.data()};
    const int transforms = top ? kLearnedTransforms : kLearnedTransforms - 1;
    if (top && !grey) std::fill(hi[2], hi[2] + cells, 0.0f);
    for (int t = 0; t < transforms; ++t) ForwardFft(s->fft, hr[t], hi[t]);
    float* yr = s->re.data();
    float* yi = s->im.data();
    std::copy(s->biasRe.begin(), s->biasRe.end(), yr);
    std::copy(s->biasIm.begin(), s->biasIm.end(), yi);
    for (int t = 0; t < transforms; ++t) {
        const float* xr = hr[t];
        const float* xi = hi[t];
        const float* fr = s->filterRe[t].data();
        const float* fi = s->filterIm[t].data();
        for (int k = 0; k < cells; ++k) {
            yr[k] += xr[k] * fr[k] - xi[k] * fi[k];
            yi[k] += xr[k] * fi[k] + xi[k] * fr[k];
        }
    }
    InverseFft(s->fft, yr, yi);
    if (logPosterior != nullptr) std::copy(yr, yr + cells, logPosterior);

    // The softmax and its first two moments, in bins; the plain twin of
    // SoftmaxInLanes keeps the four partial maxima.
    if (plain) {
        float peaks[4] = {yr[0], yr[1], yr[2], yr[3]};
        for (int k = 4; k < cells; ++k) peaks[k % 4] = yr[k] > peaks[k % 4] ? yr[k] : peaks[k % 4];
        const float peak = std::max(std::max(peaks[0], peaks[1]), std::max(peaks[2], peaks[3]));
        for (int k = 0; k < cells; ++k) yr[k] = FastNegExp(peak - yr[k]);
    } else {
        SoftmaxInLanes(yr, cells);
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
