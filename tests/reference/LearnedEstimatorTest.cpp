// The learned estimator's pieces against plain textbook sums in double
// precision: the small FFT against a direct DFT, the posterior against a
// direct circular convolution, and the estimator on a scene whose model
// puts all belief on one bin.
#include <gtest/gtest.h>

#include <cmath>
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
    m.bias = Noise(n * n, 5);
    for (float& value : m.filterMeans) value *= 20.0f;
    return m;
}

TEST(LearnedPosterior, IsTheCircularConvolutionOfTheHistogramsPlusTheBias) {
    const uint32_t n = 16;
    const Tuning::LearnedModel m = RandomModel(n);
    Awb::LearnedState state;
    Awb::InitLearned(m, &state);
    std::vector<float> means = Noise(n * n, 6), contrast = Noise(n * n, 7),
                       bright = Noise(n * n, 10), logPosterior(n * n);
    const Awb::LearnedWhite white = Awb::LearnedPosterior(&state, means.data(), contrast.data(),
                                                          bright.data(), logPosterior.data());
    std::vector<double> z(n * n);
    double peak = -1e300;
    for (uint32_t i = 0; i < n; ++i) {
        for (uint32_t j = 0; j < n; ++j) {
            double sum = m.bias[i * n + j];
            for (uint32_t a = 0; a < n; ++a) {
                for (uint32_t b = 0; b < n; ++b) {
                    const uint32_t f = ((i - a) & (n - 1)) * n + ((j - b) & (n - 1));
                    sum += means[a * n + b] * m.filterMeans[f] +
                           contrast[a * n + b] * m.filterContrast[f] +
                           bright[a * n + b] * m.filterBright[f];
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
    EXPECT_EQ(bytes[4], 2);
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
