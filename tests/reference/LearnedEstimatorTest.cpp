// The learned estimator's pieces against plain textbook sums in double
// precision: the small FFT against a direct DFT, the posterior against a
// direct circular convolution, and the estimator on a scene whose model
// puts all belief on one bin.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "AwbEstimator.h"
#include "SyntheticRegions.h"
#include "TuningCodec.h"

namespace Vireo {
namespace {

constexpr double kPi = 3.14159265358979323846;

std::vector<float> Noise(size_t size, uint32_t seed) {
    Testing::Lcg lcg(seed);
    std::vector<float> values(size);
    for (float& value : values) value = lcg.Next();
    return values;
}

TEST(SmallFft, MatchesADirectTransformInTheTransposedLayout) {
    for (int n : {2, 8, 64}) {
        std::vector<float> re = Noise(n * n, 1), im = Noise(n * n, 2);
        const std::vector<float> inRe = re, inIm = im;
        Awb::SmallFft fft;
        Awb::InitSmallFft(n, &fft);
        Awb::ForwardFft(fft, re.data(), im.data());
        double worst = 0.0;
        for (int ku = 0; ku < n; ++ku) {
            for (int kv = 0; kv < n; ++kv) {
                double sr = 0.0, si = 0.0;
                for (int u = 0; u < n; ++u) {
                    for (int v = 0; v < n; ++v) {
                        const double angle = -2.0 * kPi * (ku * u + kv * v) / n;
                        sr += inRe[u * n + v] * std::cos(angle) - inIm[u * n + v] * std::sin(angle);
                        si += inRe[u * n + v] * std::sin(angle) + inIm[u * n + v] * std::cos(angle);
                    }
                }
                worst = std::max(worst, std::hypot(sr - re[kv * n + ku], si - im[kv * n + ku]));
            }
        }
        EXPECT_LT(worst, 1e-4 * n) << n;
        Awb::InverseFft(fft, re.data(), im.data());
        for (int k = 0; k < n * n; ++k) {
            ASSERT_NEAR(re[k], inRe[k] * n * n, 1e-3 * n) << n;
            ASSERT_NEAR(im[k], inIm[k] * n * n, 1e-3 * n) << n;
        }
    }
}

Tuning::LearnedModel RandomModel(uint32_t n) {
    Tuning::LearnedModel m;
    m.bins = n;
    m.binWidth = 1.0f / 16;
    m.uStart = -1.0f;
    m.vStart = -1.5f;
    m.filterMeans = Noise(n * n, 3);
    m.filterContrast = Noise(n * n, 4);
    m.filterBright = Noise(n * n, 8);
    m.filterDark = Noise(n * n, 11);
    m.filterTop = Noise(n * n, 12);
    m.filterGrey = Noise(n * n, 14);
    m.bias = Noise(n * n, 5);
    for (float& value : m.filterMeans) value *= 20.0f;
    return m;
}

// A model of every histogram, and one learned before the grey histogram
// (its transform's other half is zeros rather than the grey histogram).
class LearnedPosterior : public ::testing::TestWithParam<bool> {};

TEST_P(LearnedPosterior, IsTheCircularConvolutionOfTheHistogramsPlusTheBias) {
    const uint32_t n = 16;
    Tuning::LearnedModel m = RandomModel(n);
    if (!GetParam()) m.filterGrey.clear();
    Awb::LearnedState state;
    Awb::InitLearned(m, &state);
    const std::vector<float> histograms = Noise(Awb::kLearnedHistograms * n * n, 6);
    std::vector<float> logPosterior(n * n);
    const Awb::LearnedWhite white =
        Awb::LearnedPosterior(&state, histograms.data(), logPosterior.data());
    // The same again after another sample: nothing of that one may stay in
    // the state's scratch and change a bit.
    std::vector<float> again(n * n);
    Awb::LearnedPosterior(&state, Noise(Awb::kLearnedHistograms * n * n, 13).data(), nullptr);
    Awb::LearnedPosterior(&state, histograms.data(), again.data());
    EXPECT_EQ(again, logPosterior);
    std::vector<double> z(n * n);
    double peak = -1e300;
    for (uint32_t i = 0; i < n; ++i) {
        for (uint32_t j = 0; j < n; ++j) {
            double sum = m.bias[i * n + j];
            for (uint32_t a = 0; a < n; ++a) {
                for (uint32_t b = 0; b < n; ++b) {
                    const uint32_t f = ((i - a) & (n - 1)) * n + ((j - b) & (n - 1));
                    for (int h = 0; h < Awb::kLearnedHistograms; ++h) {
                        const std::vector<float>& filter = m.*Awb::kLearnedFilters[h];
                        if (!filter.empty()) sum += histograms[(h * n + a) * n + b] * filter[f];
                    }
                }
            }
            z[i * n + j] = sum;
            peak = std::max(peak, sum);
            ASSERT_NEAR(logPosterior[i * n + j], sum, 1e-3) << i << " " << j;
        }
    }
    double total = 0.0, meanU = 0.0, meanV = 0.0;
    for (uint32_t k = 0; k < n * n; ++k) {
        const double p = std::exp(z[k] - peak);
        total += p;
        meanU += p * (k / n);
        meanV += p * (k % n);
    }
    EXPECT_NEAR(white.u, m.uStart + meanU / total * m.binWidth, 1e-4);
    EXPECT_NEAR(white.v, m.vStart + meanV / total * m.binWidth, 1e-4);
    EXPECT_GT(white.confidence, 0.0f);
    EXPECT_LE(white.confidence, 1.0f);
}

INSTANTIATE_TEST_SUITE_P(WithAndWithoutGrey, LearnedPosterior, ::testing::Bool());

// The four-lane histogram passes and softmax against their plain twins,
// bit for bit, on grids that stress the lanes' edges.
struct TwinCase {
    const char* name;
    int cols;
    int rows;
    int unselectedEvery;  // 0: all selected
    bool flat;            // every region the same colour: no contrast anywhere
};

void PrintTo(const TwinCase& c, std::ostream* os) { *os << c.name; }

class LearnedTwins : public ::testing::TestWithParam<TwinCase> {};

TEST_P(LearnedTwins, GiveTheSameHistogramsAndPosteriorBitForBit) {
    const TwinCase c = GetParam();
    const int count = c.cols * c.rows, room = (count + 7) / 8 * 8;
    Testing::Lcg lcg(21);
    std::vector<VireoAwbRegion> regions(count);
    std::vector<float> r(room, 1.0f), g(room, 1.0f), b(room, 1.0f), selected(room, 0.0f);
    for (int j = 0; j < count; ++j) {
        regions[j].rCount = regions[j].bCount = 16 + (j % 5);
        regions[j].grCount = regions[j].gbCount = 16;
        selected[j] = c.unselectedEvery > 0 && j % c.unselectedEvery == 0 ? 0.0f : 1.0f;
        const float shade = c.flat ? 1.0f : 1.0f + 0.5f * lcg.Next();
        r[j] = 300.0f * shade * (c.flat ? 1.0f : 1.0f + 0.6f * lcg.Next());
        g[j] = 300.0f * shade;
        b[j] = 300.0f * shade * (c.flat ? 1.0f : 1.0f + 0.6f * lcg.Next());
    }
    VireoAwbFrame frame{};
    frame.regions = regions.data();
    frame.regionCount = count;
    frame.horizontalRegionCount = c.cols;
    frame.verticalRegionCount = c.rows;
    const uint32_t n = 32;
    Awb::LearnedState states[2];
    std::vector<float> hist[2], logPosterior[2], work;
    Awb::LearnedWhite white[2];
    for (int plain = 0; plain < 2; ++plain) {
        Awb::InitLearned(RandomModel(n), &states[plain]);
        hist[plain].assign(Awb::kLearnedHistograms * n * n, -1.0f);
        logPosterior[plain].assign(n * n, 0.0f);
        Awb::LearnedHistograms(states[plain].model, frame, r.data(), g.data(), b.data(),
                               selected.data(), 0.1f, -0.2f, hist[plain].data(), &work, plain == 1);
        white[plain] = Awb::LearnedPosterior(&states[plain], hist[plain].data(),
                                             logPosterior[plain].data(), plain == 1);
    }
    for (int h = 0; h < Awb::kLearnedHistograms; ++h) {
        EXPECT_EQ(std::memcmp(hist[0].data() + h * n * n, hist[1].data() + h * n * n,
                              n * n * sizeof(float)),
                  0)
            << "histogram " << h;
    }
    float contrast = 0.0f;
    for (uint32_t k = 0; k < n * n; ++k) contrast += hist[0][Awb::kHistContrast * n * n + k];
    EXPECT_EQ(contrast == 0.0f, c.flat);
    // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison): the bits are the point
    EXPECT_EQ(std::memcmp(&white[0], &white[1], sizeof white[0]), 0);
    EXPECT_EQ(logPosterior[0], logPosterior[1]);
}

INSTANTIATE_TEST_SUITE_P(Grids, LearnedTwins,
                         ::testing::Values(TwinCase{"OddColumns", 13, 7, 0, false},
                                           TwinCase{"Masked", 16, 9, 3, false},
                                           TwinCase{"Flat", 10, 6, 4, true},
                                           TwinCase{"SingleRow", 37, 1, 5, false}),
                         [](const auto& info) { return std::string(info.param.name); });

// The histograms that take the pooled means (means, bright, dark, top)
// against their definitions summed in double, on grids with an odd and an
// even number of rows.
TEST(LearnedHistograms, HoldThePooledMeansWeightedAsDefined) {
    for (const auto& [cols, rows] : {std::pair{8, 6}, std::pair{6, 5}}) {
        const int count = cols * rows, room = (count + 7) / 8 * 8;
        Testing::Lcg lcg(33);
        std::vector<VireoAwbRegion> regions(count);
        std::vector<float> r(room, 1.0f), g(room, 1.0f), b(room, 1.0f), selected(room, 0.0f);
        for (int j = 0; j < count; ++j) {
            regions[j].rCount = regions[j].bCount = regions[j].grCount = regions[j].gbCount =
                4 + j % 3;
            selected[j] = j % 7 == 3 ? 0.0f : 1.0f;
            g[j] = 500.0f + 400.0f * lcg.Next();  // Next() is in [-1, 1)
            // Colours close enough to one another that the grey weights of
            // the pairs spread over a few orders of magnitude, not forty.
            r[j] = g[j] * (0.85f + 0.03f * lcg.Next());
            b[j] = g[j] * (0.9f + 0.03f * lcg.Next());
        }
        VireoAwbFrame frame{};
        frame.regions = regions.data();
        frame.regionCount = count;
        frame.horizontalRegionCount = cols;
        frame.verticalRegionCount = rows;
        const uint32_t n = 16;
        const Tuning::LearnedModel m = RandomModel(n);
        std::vector<float> hist(Awb::kLearnedHistograms * n * n), work;
        const float lnR = -0.7f, lnB = -1.2f;  // onto the model's grid
        Awb::LearnedHistograms(m, frame, r.data(), g.data(), b.data(), selected.data(), lnR, lnB,
                               hist.data(), &work);
        double brightest = 0.0;
        for (int j = 0; j < count; ++j) {
            if (selected[j] > 0.0f)
                brightest = std::max({brightest, 1.0 * r[j], 1.0 * g[j], 1.0 * b[j]});
        }
        // A channel's local absolute deviation at region j: to its selected
        // four nearest neighbours, when j is selected itself.
        auto deviation = [&](const std::vector<float>& c, int j) {
            const int x = j % cols, y = j / cols;
            double sum = 0.0;
            for (const auto& [dx, dy] : {std::pair{1, 0}, {-1, 0}, {0, 1}, {0, -1}}) {
                const int k = j + dy * cols + dx;
                if (x + dx < 0 || x + dx >= cols || y + dy < 0 || y + dy >= rows) continue;
                if (selected[j] > 0.0f && selected[k] > 0.0f) sum += std::fabs(1.0 * c[j] - c[k]);
            }
            return sum;
        };
        const int kinds[5] = {Awb::kHistMeans, Awb::kHistBright, Awb::kHistDark, Awb::kHistTop,
                              Awb::kHistGrey};
        std::vector<double> expected(5 * n * n, 0.0);
        double totals[5] = {};
        for (int j = 0; j + 1 < count; j += 2) {
            const double wa = selected[j] * 4.0 * regions[j].rCount;
            const double wb = selected[j + 1] * 4.0 * regions[j + 1].rCount;
            if (wa + wb == 0.0) continue;
            auto pooled = [&](const std::vector<float>& c) {
                return (wa * c[j] + wb * c[j + 1]) / (wa + wb);
            };
            const double pr = pooled(r), pg = pooled(g), pb = pooled(b);
            const double u = (std::log(pg / pr) + lnR - m.uStart) / m.binWidth;
            const double v = (std::log(pg / pb) + lnB - m.vStart) / m.binWidth;
            if (u < 0 || v < 0 || u > n - 1 || v > n - 1) continue;
            const double level = (pr + pg + pb) / (3.0 * brightest);
            const bool top = j / cols < rows / 2;
            // Each channel's deviation over the pair, relative to its mean;
            // the squared relative spread of the three (none when flat).
            const double e[3] = {deviation(r, j) + deviation(r, j + 1),
                                 deviation(g, j) + deviation(g, j + 1),
                                 deviation(b, j) + deviation(b, j + 1)};
            const double d[3] = {e[0] / pr, e[1] / pg, e[2] / pb};
            const double mean = (d[0] + d[1] + d[2]) / 3.0;
            const double spread =
                (std::pow(d[0] - mean, 2) + std::pow(d[1] - mean, 2) + std::pow(d[2] - mean, 2)) /
                (3.0 * mean * mean);
            const bool flat = std::min({e[0], e[1], e[2]}) <= 1e-6 * pg;
            const double grey = flat ? 0.0 : std::exp(-spread / (2.0 * 0.05 * 0.05));
            const double weights[5] = {wa + wb, (wa + wb) * std::pow(level, 4),
                                       (wa + wb) * std::pow(std::max(0.0, 1.0 - level), 2),
                                       top ? wa + wb : 0.0, (wa + wb) * grey};
            const int iu = std::min(static_cast<int>(u), static_cast<int>(n) - 2);
            const int iv = std::min(static_cast<int>(v), static_cast<int>(n) - 2);
            const double fu = u - iu, fv = v - iv;
            for (int h = 0; h < 5; ++h) {
                double* e = expected.data() + h * n * n;
                e[iu * n + iv] += weights[h] * (1 - fu) * (1 - fv);
                e[iu * n + iv + 1] += weights[h] * (1 - fu) * fv;
                e[(iu + 1) * n + iv] += weights[h] * fu * (1 - fv);
                e[(iu + 1) * n + iv + 1] += weights[h] * fu * fv;
                totals[h] += weights[h];
            }
        }
        for (int h = 0; h < 5; ++h) {
            ASSERT_GT(totals[h], 0.0);
            for (uint32_t k = 0; k < n * n; ++k) {
                ASSERT_NEAR(hist[kinds[h] * n * n + k], expected[h * n * n + k] / totals[h], 2e-5)
                    << cols << "x" << rows << " histogram " << kinds[h] << " cell " << k;
            }
        }
    }
}

TEST(LearnedMode, ABiasOnOneBinDecidesThatWhiteAndSaysSoInTheResult) {
    Tuning::TuningParams p;
    p.ctCurve = {{2850, 0.85f, 0.36f}, {5000, 0.58f, 0.56f}, {6500, 0.50f, 0.64f}};
    p.mode = Tuning::AwbMode::Learned;
    p.learned = RandomModel(32);
    for (float& value : p.learned.bias) value = 0.0f;
    // Bin (20, 5): ln(G/R) = -1 + 20/16, ln(G/B) = -1.5 + 5/16.
    p.learned.bias[20 * 32 + 5] = 200.0f;
    ASSERT_EQ(Tuning::Validate(p), "");
    // Through the codec, as the library gets it.
    const std::vector<uint8_t> bytes = Tuning::Encode(p);
    EXPECT_EQ(bytes[4], 4);
    Tuning::TuningParams decoded;
    std::string error;
    ASSERT_TRUE(Tuning::Decode(bytes.data(), bytes.size(), &decoded, &error)) << error;
    ASSERT_TRUE(decoded == p);

    Awb::Estimator estimator;
    Awb::InitEstimator(decoded, &estimator);
    Testing::Lcg lcg(9);
    std::vector<VireoAwbRegion> regions;
    for (int i = 0; i < 48; ++i) {
        const Testing::Surface surface{1.0f + 0.3f * lcg.Next(), 1.0f, 1.0f + 0.3f * lcg.Next()};
        regions.push_back(Testing::MakeRegion(surface, {0.6f, 0.55f}, 300.0f, 0.01f, &lcg));
    }
    VireoAwbFrame frame{};
    frame.regions = regions.data();
    frame.regionCount = 48;
    frame.horizontalRegionCount = 8;
    frame.verticalRegionCount = 6;
    frame.bitDepth = 10;
    for (float& f : frame.moduleCalibrationFactors) f = 1.0f;
    frame.moduleCalibrationFactors[0] = 1.25f;  // this module is redder than the golden one
    VireoAwbResult result{};
    ASSERT_EQ(Awb::Estimate(&estimator, frame, &result), 0);
    EXPECT_EQ(result.flags, VIREO_AWB_FLAG_LEARNED_MODE);
    EXPECT_NEAR(std::log(result.whiteRg), -(-1.0f + 20.0f / 16), 1e-4);
    EXPECT_NEAR(std::log(result.whiteBg), -(-1.5f + 5.0f / 16), 1e-4);
    EXPECT_NEAR(result.rGain, 1.0f / (result.whiteRg * 1.25f), 1e-5);
    EXPECT_GT(result.posteriorPeak, 0.99f);
    EXPECT_EQ(result.validRegionCount, 48u);
}

}  // namespace
}  // namespace Vireo
