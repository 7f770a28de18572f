// The reference algorithm on region sets with a known illuminant.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "AwbEstimator.h"
#include "SyntheticRegions.h"

namespace Vireo {
namespace {

using Testing::GainError;
using Testing::Illuminant;
using Testing::MakeScene;
using Testing::Surface;

Tuning::TuningParams TestTuning(Tuning::AwbMode mode = Tuning::AwbMode::Bayes) {
    Tuning::TuningParams p;
    p.mode = mode;
    p.ctCurve = {{2300, 0.98f, 0.30f}, {2850, 0.85f, 0.36f}, {3800, 0.70f, 0.46f},
                 {5000, 0.58f, 0.56f}, {6500, 0.50f, 0.64f}, {7500, 0.46f, 0.69f},
                 {10000, 0.40f, 0.78f}};
    return p;
}

VireoAwbFrame Frame(const std::vector<VireoAwbRegion>& regions, float luxIndex = 260.0f) {
    VireoAwbFrame frame{};
    frame.regions = regions.data();
    frame.regionCount = static_cast<int32_t>(regions.size());
    frame.horizontalRegionCount = frame.regionCount;
    frame.verticalRegionCount = 1;
    frame.bitDepth = 10;
    frame.luxIndex = luxIndex;
    for (float& f : frame.moduleCalibrationFactors) f = 1.0f;
    return frame;
}

VireoAwbResult Decide(const Tuning::TuningParams& params, const VireoAwbFrame& frame) {
    Awb::Estimator estimator;
    Awb::InitEstimator(params, &estimator);
    VireoAwbResult result{};
    EXPECT_EQ(Awb::Estimate(&estimator, frame, &result), 0);
    return result;
}

// A point a fraction t of the way between two curve nodes, in the curve's
// own terms: straight in log chromaticity, linear in mired.
struct Between {
    Illuminant light;
    float ct;
};
Between PointBetween(const Tuning::CurvePoint& a, const Tuning::CurvePoint& b, float t) {
    const float r = std::exp(std::log(a.rOverG) + t * (std::log(b.rOverG) - std::log(a.rOverG)));
    const float bg = std::exp(std::log(a.bOverG) + t * (std::log(b.bOverG) - std::log(a.bOverG)));
    const float mired = 1e6f / a.ct + t * (1e6f / b.ct - 1e6f / a.ct);
    return {{r, bg}, 1e6f / mired};
}

// --- neutral scenes recover their illuminant ---------------------------------

struct NeutralCase {
    int fromNode;
    float t;  // between node fromNode and the next
    float luxIndex;
};

class NeutralScene : public ::testing::TestWithParam<NeutralCase> {};

TEST_P(NeutralScene, RecoversIlluminantAndCct) {
    const Tuning::TuningParams params = TestTuning();
    const NeutralCase c = GetParam();
    const Between truth =
        PointBetween(params.ctCurve[c.fromNode], params.ctCurve[c.fromNode + 1], c.t);
    const auto regions = MakeScene(64 * 48, truth.light, Testing::kGrey, 0.0f, 0.01f, 7);
    const VireoAwbResult result = Decide(params, Frame(regions, c.luxIndex));
    EXPECT_LT(GainError(result, truth.light), 0.5);
    EXPECT_NEAR(static_cast<float>(result.cct), truth.ct, 0.02f * truth.ct);
    EXPECT_EQ(result.gGain, 1.0f);
    EXPECT_EQ(result.validRegionCount, 64u * 48u);
    EXPECT_EQ(result.flags, 0u);
}

INSTANTIATE_TEST_SUITE_P(AlongTheCurve, NeutralScene,
                         ::testing::Values(NeutralCase{0, 0.0f, 400}, NeutralCase{0, 0.5f, 400},
                                           NeutralCase{1, 0.3f, 400}, NeutralCase{2, 0.7f, 260},
                                           NeutralCase{3, 0.0f, 150}, NeutralCase{3, 0.5f, 150},
                                           NeutralCase{4, 0.5f, 150}, NeutralCase{5, 1.0f, 150}));

// --- a dominant colour fools grey world but not the Bayesian search -------------

struct DominantCase {
    const char* name;
    Surface colour;
    int ct;
    float luxIndex;
};

class DominantColour : public ::testing::TestWithParam<DominantCase> {};

TEST_P(DominantColour, GreyWorldFailsBayesDoesNot) {
    const DominantCase c = GetParam();
    Illuminant light{};
    for (const auto& point : TestTuning().ctCurve) {
        if (static_cast<int>(point.ct) == c.ct) light = {point.rOverG, point.bOverG};
    }
    const auto regions = MakeScene(64 * 48, light, c.colour, 0.7f, 0.01f, 11);
    const double greyWorld = GainError(
        Decide(TestTuning(Tuning::AwbMode::GreyWorld), Frame(regions, c.luxIndex)), light);
    const double bayes =
        GainError(Decide(TestTuning(Tuning::AwbMode::Bayes), Frame(regions, c.luxIndex)), light);
    EXPECT_GT(greyWorld, 5.0);
    EXPECT_LT(bayes, 1.0);
}

INSTANTIATE_TEST_SUITE_P(
    Scenes, DominantColour,
    ::testing::Values(DominantCase{"RedBallIndoors", {0.9f, 0.15f, 0.12f}, 2850, 400},
                      DominantCase{"GrassOutdoors", {0.35f, 0.8f, 0.25f}, 5000, 150},
                      DominantCase{"BlueWallDaylight", {0.2f, 0.35f, 0.9f}, 6500, 200},
                      DominantCase{"YellowTableLed", {0.9f, 0.8f, 0.2f}, 3800, 300}),
    [](const auto& info) { return std::string(info.param.name); });

// --- the lux index decides between two equally supported illuminants -----------

TEST(LuxPrior, IndoorAndOutdoorPriorsPickDifferentSides) {
    const Tuning::TuningParams params = TestTuning();
    const Illuminant warm{0.85f, 0.36f};  // 2850 K
    const Illuminant cool{0.50f, 0.64f};  // 6500 K
    auto regions = MakeScene(600, warm, Testing::kGrey, 0.0f, 0.005f, 3);
    const auto second = MakeScene(600, cool, Testing::kGrey, 0.0f, 0.005f, 4);
    regions.insert(regions.end(), second.begin(), second.end());
    const VireoAwbResult indoor = Decide(params, Frame(regions, 450));
    const VireoAwbResult outdoor = Decide(params, Frame(regions, 100));
    EXPECT_LT(GainError(indoor, warm), 0.5);
    EXPECT_LT(GainError(outdoor, cool), 0.5);
    EXPECT_FLOAT_EQ(indoor.outdoorWeight, 0.0f);
    EXPECT_FLOAT_EQ(outdoor.outdoorWeight, 1.0f);
}

// --- light off the locus -------------------------------------------------------

TEST(OffLocus, GreenishFluorescentIsFollowedAcrossTheCurve) {
    // 4000 K-ish fluorescent: 4 % greener than the curve point.
    const Illuminant fluorescent{0.68f / 1.04f, 0.47f / 1.04f};
    const auto regions = MakeScene(64 * 48, fluorescent, {0.7f, 0.9f, 0.4f}, 0.3f, 0.01f, 5);
    const VireoAwbResult result = Decide(TestTuning(), Frame(regions, 350));
    EXPECT_LT(GainError(result, fluorescent), 0.5);
    EXPECT_NE(result.transverseOffset, 0.0f);
}

// --- region selection ----------------------------------------------------------

enum class Fault {
    None,
    NoRed,
    NoBlue,
    NoGreen,
    OneGreenOnly,
    SampleSaturated,
    BitDepthSaturated,
    Dark
};

struct SelectionCase {
    const char* name;
    Fault fault;
    bool excluded;
};

class RegionSelection : public ::testing::TestWithParam<SelectionCase> {};

// Grey world over neutral regions plus one strongly red region: the result
// moves only if that region takes part.
TEST_P(RegionSelection, OnlyUsableRegionsCount) {
    const SelectionCase c = GetParam();
    const Illuminant light{0.58f, 0.56f};
    auto regions = MakeScene(40, light, Testing::kGrey, 0.0f, 0.0f, 1);
    Testing::Lcg lcg(9);
    VireoAwbRegion odd = Testing::MakeRegion({4.0f, 1.0f, 0.3f}, light, 200.0f, 0.0f, &lcg);
    VireoAwbFrame frame{};
    switch (c.fault) {
        case Fault::None:
            break;
        case Fault::NoRed:
            odd.rCount = 0;
            break;
        case Fault::NoBlue:
            odd.bCount = 0;
            break;
        case Fault::NoGreen:
            odd.grCount = odd.gbCount = 0;
            break;
        case Fault::OneGreenOnly:
            odd.gbCount = 0;
            odd.gbSum = 0;
            break;
        case Fault::SampleSaturated:
            break;  // threshold set below
        case Fault::BitDepthSaturated:
            odd.rSum = 1000 * 64;
            break;
        case Fault::Dark:
            odd = Testing::MakeRegion({4.0f, 1.0f, 0.3f}, light, 5.0f, 0.0f, &lcg);
            break;
    }
    regions.push_back(odd);
    frame = Frame(regions);
    if (c.fault == Fault::SampleSaturated) frame.saturationThreshold[0] = 400;
    const VireoAwbResult result = Decide(TestTuning(Tuning::AwbMode::GreyWorld), frame);
    EXPECT_EQ(result.validRegionCount, c.excluded ? 40u : 41u);
    if (c.excluded) {
        EXPECT_LT(GainError(result, light), 0.01);
    } else {
        EXPECT_GT(GainError(result, light), 1.0);
    }
    EXPECT_TRUE(std::isfinite(result.rGain) && std::isfinite(result.bGain));
}

INSTANTIATE_TEST_SUITE_P(
    Faults, RegionSelection,
    ::testing::Values(SelectionCase{"Usable", Fault::None, false},
                      SelectionCase{"NoRedPixels", Fault::NoRed, true},
                      SelectionCase{"NoBluePixels", Fault::NoBlue, true},
                      SelectionCase{"NoGreenPixels", Fault::NoGreen, true},
                      SelectionCase{"OneGreenChannelIsEnough", Fault::OneGreenOnly, false},
                      SelectionCase{"SampleThreshold", Fault::SampleSaturated, true},
                      SelectionCase{"FullScaleOfBitDepth", Fault::BitDepthSaturated, true},
                      SelectionCase{"TooDark", Fault::Dark, true}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(RegionBounds, NothingPastTotalRegionCountIsRead) {
    const Illuminant light{0.58f, 0.56f};
    auto regions = MakeScene(30, light, Testing::kGrey, 0.0f, 0.0f, 2);
    Testing::Lcg lcg(1);
    regions.push_back(Testing::MakeRegion({5.0f, 1.0f, 0.1f}, light, 300.0f, 0.0f, &lcg));
    VireoAwbFrame frame = Frame(regions);
    frame.regionCount = 30;
    const VireoAwbResult result = Decide(TestTuning(Tuning::AwbMode::GreyWorld), frame);
    EXPECT_EQ(result.validRegionCount, 30u);
    EXPECT_LT(GainError(result, light), 0.01);
}

// --- nothing usable: the tuning's default illuminant ----------------------------

struct EmptyCase {
    const char* name;
    int32_t count;
    bool nullRegions;
    bool allDark;
};

class NoUsableRegion : public ::testing::TestWithParam<EmptyCase> {};

TEST_P(NoUsableRegion, ReturnsDefaultIlluminantAndSaysSo) {
    const EmptyCase c = GetParam();
    auto regions = MakeScene(8, {0.9f, 0.3f}, Testing::kGrey, 0.0f, 0.0f, 5);
    if (c.allDark) {
        for (auto& region : regions) region = VireoAwbRegion{};  // zero sums and counts
    }
    VireoAwbFrame frame = Frame(regions);
    frame.regionCount = c.count;
    if (c.nullRegions) frame.regions = nullptr;
    for (auto mode : {Tuning::AwbMode::Bayes, Tuning::AwbMode::GreyWorld}) {
        const VireoAwbResult result = Decide(TestTuning(mode), frame);
        EXPECT_TRUE(result.flags & VIREO_AWB_FLAG_DEFAULT_ILLUMINANT);
        EXPECT_EQ(result.cct, 5000u);
        EXPECT_NEAR(result.rGain, 1.0f / 0.58f, 1e-4f);
        EXPECT_NEAR(result.bGain, 1.0f / 0.56f, 1e-4f);
    }
}

INSTANTIATE_TEST_SUITE_P(Cases, NoUsableRegion,
                         ::testing::Values(EmptyCase{"ZeroCount", 0, false, false},
                                           EmptyCase{"NegativeCount", -5, false, false},
                                           EmptyCase{"NullArrayZeroCount", 0, true, false},
                                           EmptyCase{"AllEmptyRegions", 8, false, true}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(NoGreyRegion, FallsBackToGreyWorldNearTheCurve) {
    const auto regions = MakeScene(100, {0.58f, 0.56f}, {0.2f, 1.0f, 0.2f}, 1.0f, 0.0f, 5);
    const VireoAwbResult result = Decide(TestTuning(), Frame(regions));
    EXPECT_TRUE(result.flags & VIREO_AWB_FLAG_NO_GREY_REGION);
    EXPECT_EQ(result.greyRegionCount, 0u);
    EXPECT_LE(std::fabs(result.transverseOffset), TestTuning().transverseLimit + 1e-6f);
}

// --- module calibration ---------------------------------------------------------

struct CalibrationCase {
    float rFactor;
    float bFactor;
    bool used;
};

class ModuleCalibration : public ::testing::TestWithParam<CalibrationCase> {};

TEST_P(ModuleCalibration, GainsFitTheModuleCctFitsTheGoldenCurve) {
    const CalibrationCase c = GetParam();
    const float r = c.used ? c.rFactor : 1.0f;
    const float b = c.used ? c.bFactor : 1.0f;
    // This module sees the 3800 K grey at the golden ratios times its factors.
    const Illuminant seen{0.70f * r, 0.46f * b};
    const auto regions = MakeScene(500, seen, Testing::kGrey, 0.0f, 0.005f, 8);
    VireoAwbFrame frame = Frame(regions);
    frame.moduleCalibrationFactors[0] = c.rFactor;
    frame.moduleCalibrationFactors[1] = c.bFactor;
    const VireoAwbResult result = Decide(TestTuning(), frame);
    EXPECT_LT(GainError(result, seen), 0.5);
    EXPECT_NEAR(static_cast<float>(result.cct), 3800.0f, 60.0f);
    EXPECT_EQ((result.flags & VIREO_AWB_FLAG_CALIBRATION_IGNORED) != 0, !c.used);
}

INSTANTIATE_TEST_SUITE_P(
    Factors, ModuleCalibration,
    ::testing::Values(CalibrationCase{1.0f, 1.0f, true}, CalibrationCase{1.15f, 0.9f, true},
                      CalibrationCase{0.8f, 1.2f, true}, CalibrationCase{0.0f, 1.0f, false},
                      CalibrationCase{std::numeric_limits<float>::quiet_NaN(), 1.0f, false},
                      CalibrationCase{1.0f, 9.0f, false}));

}  // namespace
}  // namespace Vireo
