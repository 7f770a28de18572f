// The reference algorithm on region sets with a known illuminant.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
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
using Regions = std::vector<VireoAwbRegion>;

Tuning::TuningParams TestTuning(Tuning::AwbMode mode = Tuning::AwbMode::Bayes) {
    Tuning::TuningParams p;
    p.mode = mode;
    p.ctCurve = {{2300, 0.98f, 0.30f}, {2850, 0.85f, 0.36f}, {3800, 0.70f, 0.46f},
                 {5000, 0.58f, 0.56f}, {6500, 0.50f, 0.64f}, {7500, 0.46f, 0.69f},
                 {10000, 0.40f, 0.78f}};
    return p;
}

VireoAwbFrame Frame(const Regions& regions, float luxIndex = 260.0f) {
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

VireoAwbResult Decide(const VireoAwbFrame& frame, Tuning::AwbMode mode = Tuning::AwbMode::Bayes,
                      bool plainTwins = false) {
    Awb::Estimator estimator;
    Awb::InitEstimator(TestTuning(mode), &estimator);
    estimator.plainTwins = plainTwins;
    VireoAwbResult result{};
    EXPECT_EQ(Awb::Estimate(&estimator, frame, &result), 0);
    return result;
}

// --- neutral scenes recover their illuminant and CCT ---------------------------

struct NeutralCase {
    int fromNode;
    float t;  // of the way to the next node: straight in log chromaticity, linear in mired
    float luxIndex;
};

class NeutralScene : public ::testing::TestWithParam<NeutralCase> {};

TEST_P(NeutralScene, RecoversIlluminantAndCct) {
    const NeutralCase c = GetParam();
    const auto curve = TestTuning().ctCurve;
    const auto& a = curve[c.fromNode];
    const auto& b = curve[c.fromNode + 1];
    auto along = [&](float x, float y) { return std::exp(std::log(x) + c.t * std::log(y / x)); };
    const Illuminant light{along(a.rOverG, b.rOverG), along(a.bOverG, b.bOverG)};
    const float ct = 1.0f / (1.0f / a.ct + c.t * (1.0f / b.ct - 1.0f / a.ct));
    const auto regions = MakeScene(64 * 48, light, Testing::kGrey, 0.0f, 0.01f, 7);
    const VireoAwbResult result = Decide(Frame(regions, c.luxIndex));
    EXPECT_LT(GainError(result, light), 0.5);
    EXPECT_NEAR(static_cast<float>(result.cct), ct, 0.02f * ct);
    EXPECT_EQ(result.gGain, 1.0f);
    EXPECT_EQ(result.validRegionCount, 64u * 48u);
    EXPECT_EQ(result.flags, 0u);
}

INSTANTIATE_TEST_SUITE_P(AlongTheCurve, NeutralScene,
                         ::testing::Values(NeutralCase{0, 0.0f, 400}, NeutralCase{1, 0.3f, 400},
                                           NeutralCase{2, 0.7f, 260}, NeutralCase{3, 0.5f, 150},
                                           NeutralCase{5, 1.0f, 150}),
                         [](const auto& info) {
                             return "Node" + std::to_string(info.param.fromNode) + "Lux" +
                                    std::to_string(static_cast<int>(info.param.luxIndex));
                         });

// --- a dominant colour fools grey world but not the Bayesian search -------------

struct DominantCase {
    const char* name;
    Surface colour;
    Illuminant light;
    float luxIndex;
};

class DominantColour : public ::testing::TestWithParam<DominantCase> {};

TEST_P(DominantColour, GreyWorldFailsBayesDoesNot) {
    const DominantCase c = GetParam();
    const auto regions = MakeScene(64 * 48, c.light, c.colour, 0.7f, 0.01f, 11);
    const VireoAwbFrame frame = Frame(regions, c.luxIndex);
    EXPECT_GT(GainError(Decide(frame, Tuning::AwbMode::GreyWorld), c.light), 5.0);
    EXPECT_LT(GainError(Decide(frame), c.light), 1.0);
}

INSTANTIATE_TEST_SUITE_P(
    Scenes, DominantColour,
    ::testing::Values(DominantCase{"RedBallIndoors", {0.9f, 0.15f, 0.12f}, {0.85f, 0.36f}, 400},
                      DominantCase{"GrassOutdoors", {0.35f, 0.8f, 0.25f}, {0.58f, 0.56f}, 150},
                      DominantCase{"BlueWallDaylight", {0.2f, 0.35f, 0.9f}, {0.50f, 0.64f}, 200}),
    [](const auto& info) { return std::string(info.param.name); });

// --- the lux prior, light off the locus, no grey region --------------------------

TEST(LuxPrior, IndoorAndOutdoorPriorsPickDifferentSides) {
    const Illuminant warm{0.85f, 0.36f}, cool{0.50f, 0.64f};  // 2850 K, 6500 K
    auto regions = MakeScene(600, warm, Testing::kGrey, 0.0f, 0.005f, 3);
    const auto second = MakeScene(600, cool, Testing::kGrey, 0.0f, 0.005f, 4);
    regions.insert(regions.end(), second.begin(), second.end());
    const VireoAwbResult indoor = Decide(Frame(regions, 450));
    const VireoAwbResult outdoor = Decide(Frame(regions, 100));
    EXPECT_LT(GainError(indoor, warm), 0.5);
    EXPECT_LT(GainError(outdoor, cool), 0.5);
    EXPECT_FLOAT_EQ(indoor.outdoorWeight, 0.0f);
    EXPECT_FLOAT_EQ(outdoor.outdoorWeight, 1.0f);
}

TEST(OffLocus, GreenishFluorescentIsFollowedAcrossTheCurve) {
    const Illuminant fluorescent{0.68f / 1.04f, 0.47f / 1.04f};  // 4 % greener than the curve
    const auto regions = MakeScene(64 * 48, fluorescent, {0.7f, 0.9f, 0.4f}, 0.3f, 0.01f, 5);
    const VireoAwbResult result = Decide(Frame(regions, 350));
    EXPECT_LT(GainError(result, fluorescent), 0.5);
    EXPECT_NE(result.transverseOffset, 0.0f);
}

TEST(NoGreyRegion, FallsBackToGreyWorldNearTheCurve) {
    const auto regions = MakeScene(100, {0.58f, 0.56f}, {0.2f, 1.0f, 0.2f}, 1.0f, 0.0f, 5);
    const VireoAwbResult result = Decide(Frame(regions));
    EXPECT_TRUE(result.flags & VIREO_AWB_FLAG_NO_GREY_REGION);
    EXPECT_EQ(result.greyRegionCount, 0u);
    EXPECT_LE(std::fabs(result.transverseOffset), TestTuning().transverseLimit + 1e-6f);
}

// --- region selection: grey world over 40 neutral regions and one strongly
// red one, which moves the result only if it takes part -------------------------

struct SelectionCase {
    const char* name;
    void (*spoil)(VireoAwbRegion* odd, VireoAwbFrame* frame);
    bool excluded;
};

const SelectionCase kSelectionCases[] = {
    {"Usable", [](VireoAwbRegion*, VireoAwbFrame*) {}, false},
    {"NoRedPixels", [](VireoAwbRegion* r, VireoAwbFrame*) { r->rCount = 0; }, true},
    {"NoBluePixels", [](VireoAwbRegion* r, VireoAwbFrame*) { r->bCount = 0; }, true},
    {"NoGreenPixels", [](VireoAwbRegion* r, VireoAwbFrame*) { r->grCount = r->gbCount = 0; }, true},
    {"OneGreenChannelIsEnough",
     [](VireoAwbRegion* r, VireoAwbFrame*) { r->gbCount = 0, r->gbSum = 0; }, false},
    {"SampleThreshold", [](VireoAwbRegion*, VireoAwbFrame* f) { f->saturationThreshold[0] = 400; },
     true},
    // Each green channel and B against its own level: one mean above its
    // channel's level, the others' levels left at full scale.
    {"SampleThresholdGb",
     [](VireoAwbRegion* r, VireoAwbFrame* f) {
         f->saturationThreshold[2] = 600, r->gbSum = 700 * r->gbCount;
     },
     true},
    {"SampleThresholdB",
     [](VireoAwbRegion* r, VireoAwbFrame* f) {
         f->saturationThreshold[3] = 600, r->bSum = 700 * r->bCount;
     },
     true},
    {"FullScaleOfBitDepth", [](VireoAwbRegion* r, VireoAwbFrame*) { r->rSum = 1000 * 64; }, true},
    {"TooDark",
     [](VireoAwbRegion* r, VireoAwbFrame*) {
         for (int64_t* sum : {&r->rSum, &r->grSum, &r->gbSum, &r->bSum}) *sum /= 40;
     },
     true},
    {"PastRegionCount", [](VireoAwbRegion*, VireoAwbFrame* f) { --f->regionCount; }, true},
};

class RegionSelection : public ::testing::TestWithParam<SelectionCase> {};

TEST_P(RegionSelection, OnlyUsableRegionsCount) {
    const Illuminant light{0.58f, 0.56f};
    auto regions = MakeScene(40, light, Testing::kGrey, 0.0f, 0.0f, 1);
    Testing::Lcg lcg(9);
    regions.push_back(Testing::MakeRegion({4.0f, 1.0f, 0.3f}, light, 200.0f, 0.0f, &lcg));
    VireoAwbFrame frame = Frame(regions);
    GetParam().spoil(&regions.back(), &frame);
    for (bool plain : {false, true}) {  // the four-lane selection and its twin
        const VireoAwbResult result = Decide(frame, Tuning::AwbMode::GreyWorld, plain);
        EXPECT_EQ(result.validRegionCount, GetParam().excluded ? 40u : 41u) << plain;
        if (GetParam().excluded) {
            EXPECT_LT(GainError(result, light), 0.01);
        } else {
            EXPECT_GT(GainError(result, light), 1.0);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Faults, RegionSelection, ::testing::ValuesIn(kSelectionCases),
                         [](const auto& info) { return std::string(info.param.name); });

// --- nothing usable: the tuning's default illuminant, in both modes ------------

struct EmptyCase {
    const char* name;
    int32_t count;
    bool nullRegions;
};

class NoUsableRegion : public ::testing::TestWithParam<EmptyCase> {};

TEST_P(NoUsableRegion, ReturnsDefaultIlluminantAndSaysSo) {
    const Regions empty(8);  // zero sums and counts
    VireoAwbFrame frame = Frame(empty);
    frame.regionCount = GetParam().count;
    if (GetParam().nullRegions) frame.regions = nullptr;
    for (auto mode : {Tuning::AwbMode::Bayes, Tuning::AwbMode::GreyWorld}) {
        const VireoAwbResult result = Decide(frame, mode);
        EXPECT_TRUE(result.flags & VIREO_AWB_FLAG_DEFAULT_ILLUMINANT);
        EXPECT_EQ(result.cct, 5000u);
        EXPECT_NEAR(result.rGain, 1.0f / 0.58f, 1e-4f);
        EXPECT_NEAR(result.bGain, 1.0f / 0.56f, 1e-4f);
    }
}

INSTANTIATE_TEST_SUITE_P(Cases, NoUsableRegion,
                         ::testing::Values(EmptyCase{"NegativeCount", -5, false},
                                           EmptyCase{"NullArrayZeroCount", 0, true},
                                           EmptyCase{"AllEmptyRegions", 8, false}),
                         [](const auto& info) { return std::string(info.param.name); });

// --- module calibration: gains fit the module, the CCT the golden curve ---------

struct CalibrationCase {
    float rFactor;
    float bFactor;
    bool used;
};

class ModuleCalibration : public ::testing::TestWithParam<CalibrationCase> {};

TEST_P(ModuleCalibration, GainsFitTheModuleCctFitsTheGoldenCurve) {
    const CalibrationCase c = GetParam();
    // This module sees the 3800 K grey at the golden ratios times its factors.
    const Illuminant seen{0.70f * (c.used ? c.rFactor : 1.0f), 0.46f * (c.used ? c.bFactor : 1.0f)};
    const auto regions = MakeScene(500, seen, Testing::kGrey, 0.0f, 0.005f, 8);
    VireoAwbFrame frame = Frame(regions);
    frame.moduleCalibrationFactors[0] = c.rFactor;
    frame.moduleCalibrationFactors[1] = c.bFactor;
    const VireoAwbResult result = Decide(frame);
    EXPECT_LT(GainError(result, seen), 0.5);
    EXPECT_NEAR(static_cast<float>(result.cct), 3800.0f, 60.0f);
    EXPECT_EQ((result.flags & VIREO_AWB_FLAG_CALIBRATION_IGNORED) != 0, !c.used);
}

INSTANTIATE_TEST_SUITE_P(
    Factors, ModuleCalibration,
    ::testing::Values(CalibrationCase{1.15f, 0.9f, true}, CalibrationCase{0.8f, 1.2f, true},
                      CalibrationCase{0.0f, 1.0f, false},
                      CalibrationCase{std::numeric_limits<float>::quiet_NaN(), 1.0f, false},
                      CalibrationCase{1.0f, 9.0f, false}));

// --- scenes that take every path of the per-region passes ---------------------

struct PassCase {
    const char* name;
    Regions regions;
    Tuning::AwbMode mode;
    std::vector<Tuning::CurvePoint> curve = {};  // empty: the test tuning's
};

Tuning::TuningParams PassTuning(const PassCase& c) {
    Tuning::TuningParams p = TestTuning(c.mode);
    if (!c.curve.empty()) p.ctCurve = c.curve;
    return p;
}

// A region of grey seen at (u, v) = (ln R/G, ln B/G).
VireoAwbRegion GreyAt(float u, float v) {
    VireoAwbRegion region{};
    region.rCount = region.bCount = region.grCount = region.gbCount = 64;
    region.grSum = region.gbSum = 300 * 64;
    region.rSum = std::lround(300.0f * 64 * std::exp(u));
    region.bSum = std::lround(300.0f * 64 * std::exp(v));
    return region;
}

// Full and partial groups of four, pixel counts changing within a group, sums
// that do not fit 31 bits, coloured regions outside the grey zone.
std::vector<PassCase> PassCases() {
    const Illuminant light{0.70f, 0.46f};
    const Surface red{0.9f, 0.15f, 0.12f};
    std::vector<PassCase> cases = {
        {"Neutral", MakeScene(64 * 48, light, Testing::kGrey, 0.0f, 0.01f, 7),
         Tuning::AwbMode::Bayes},
        {"DominantColourOddCount", MakeScene(3069, light, red, 0.7f, 0.01f, 11),
         Tuning::AwbMode::Bayes},
        {"FiveRegions", MakeScene(5, light, Testing::kGrey, 0.0f, 0.01f, 3),
         Tuning::AwbMode::Bayes},
        {"GreyWorld", MakeScene(1001, light, red, 0.5f, 0.01f, 5), Tuning::AwbMode::GreyWorld},
        {"NoGreyRegion", MakeScene(100, light, {0.2f, 1.0f, 0.2f}, 1.0f, 0.0f, 5),
         Tuning::AwbMode::Bayes},
    };
    Regions mixed = MakeScene(999, light, red, 0.3f, 0.01f, 13);
    for (size_t i = 6; i < mixed.size(); i += 13) {  // sometimes mid-group
        mixed[i].rCount = 32;                        // half the R pixels, the same mean
        mixed[i].rSum /= 2;
    }
    mixed[40].rSum = int64_t{1} << 40;  // saturated, and beyond 31 bits
    mixed[77].gbSum = -5;
    cases.push_back({"MixedCountsAndWideSums", mixed, Tuning::AwbMode::Bayes});
    // A curve that runs along its chord (u + 0.8 here) out to 1.6, back to
    // -0.6 and forward to its end at 1.0. Each group of four holds points
    // in the slices at -0.5 and 1.5, on the first segment at 0.5 (not a
    // candidate of the slice at -0.5 alone) and on the last one at 0.8 (not
    // a candidate of the slice at 1.5 alone).
    Regions folds;
    for (int group = 0; group < 3; ++group) {
        for (const auto& at : {std::pair{-0.3f, -1.09f}, std::pair{-1.3f, 0.1f},
                               std::pair{0.0f, -0.85f}, std::pair{0.7f, -1.23f}}) {
            folds.push_back(GreyAt(at.first + 0.01f * group, at.second));
        }
    }
    cases.push_back({"FoldingCurveGroupAcrossSlices",
                     folds,
                     Tuning::AwbMode::Bayes,
                     {{2300, 0.449f, 0.368f},
                      {3000, 2.226f, 0.273f},
                      {4000, 0.247f, 1.221f},
                      {5000, 1.221f, 0.368f}}});
    return cases;
}

void PrintTo(const PassCase& c, std::ostream* os) { *os << c.name; }

// The four-lane vote against its plain twin, bit for bit: once on a fresh
// estimator, once after a larger, different sample whose scratch must not
// leak into the next answer.
class VoteTwins : public ::testing::TestWithParam<PassCase> {};

TEST_P(VoteTwins, GiveTheSameResultBitForBit) {
    const VireoAwbFrame frame = Frame(GetParam().regions, 300);
    const Regions larger = MakeScene(64 * 48 + 13, {0.45f, 0.70f}, Testing::kGrey, 0.0f, 0.05f, 99);
    VireoAwbResult results[3];  // plain, four lanes, four lanes after the larger sample
    for (int run = 0; run < 3; ++run) {
        Awb::Estimator estimator;
        Awb::InitEstimator(PassTuning(GetParam()), &estimator);
        estimator.plainTwins = run == 0;
        if (run == 2) {
            ASSERT_EQ(Awb::Estimate(&estimator, Frame(larger, 300), &results[run]), 0);
        }
        ASSERT_EQ(Awb::Estimate(&estimator, frame, &results[run]), 0);
    }
    EXPECT_GT(results[0].validRegionCount, 0u);
    for (int run : {1, 2}) {
        // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison): the bits are the point
        EXPECT_EQ(std::memcmp(&results[0], &results[run], sizeof results[0]), 0)
            << "run " << run << ": cct " << results[0].cct << " vs " << results[run].cct;
    }
}

INSTANTIATE_TEST_SUITE_P(Scenes, VoteTwins, ::testing::ValuesIn(PassCases()),
                         [](const auto& info) { return std::string(info.param.name); });

// The indexed projection the vote uses tries only the segments its slice
// names; for points within reach of the curve (off its bends, its ends,
// both sides, at slice edges) it must find the nearest point the
// exhaustive projection finds.
class SegmentIndex : public ::testing::TestWithParam<std::vector<Tuning::CurvePoint>> {};

TEST_P(SegmentIndex, FindsTheNearestSegmentWithinReach) {
    Awb::CtCurve curve = Awb::BuildCurve(GetParam());
    const float reach = 0.08f;
    Awb::IndexSegments(reach, &curve);
    int tried = 0;
    for (float s = -0.05f; s <= curve.length + 0.05f; s += curve.length / 97.0f) {
        for (float across : {-0.95f, -0.5f, 0.0f, 0.5f, 0.95f}) {
            const Awb::CurvePoint2 at = Awb::PointAt(curve, s);
            const float u = at.u + across * reach * at.normalU;
            const float v = at.v + across * reach * at.normalV;
            const float exact = Awb::Project(curve, u, v).distance;
            if (std::fabs(exact) > 0.95f * reach) continue;
            const Awb::NearPosition near = Awb::ProjectNear(curve, u, v);
            EXPECT_NEAR(std::sqrt(near.squared), std::fabs(exact), 1e-5f) << "s " << s;
            ++tried;
        }
    }
    EXPECT_GT(tried, 400);
}

// The test tuning's curve, and one that folds back across its chord.
INSTANTIATE_TEST_SUITE_P(Curves, SegmentIndex,
                         ::testing::Values(TestTuning().ctCurve,
                                           std::vector<Tuning::CurvePoint>{{2300, 1.0f, 0.30f},
                                                                           {3000, 0.80f, 0.40f},
                                                                           {4000, 0.70f, 0.55f},
                                                                           {5000, 0.75f, 0.70f},
                                                                           {6500, 0.90f, 0.75f}}));

// The vector logarithm and exponential against their scalar twins, bit for
// bit, over the binades the passes meet.
TEST(FastMath, LanesMatchScalarBitForBit) {
    const float ln[4][4] = {{1e-3f, 0.0371f, 0.5f, 0.70710677f},
                            {0.7071068f, 1.0f, 1.41421354f, 1.41421366f},
                            {2.0f, 3.14159f, 17.5f, 1000.0f},
                            {1.0e-20f, 6.0e4f, 0.999999f, 1.000001f}};
    const float exp[2][4] = {{0.0f, 0.013f, 0.5f, 1.0f}, {2.5f, 7.25f, 30.0f, 90.0f}};
    for (const auto& x : ln) {
        const Awb::Float4 lanes = Awb::FastLnLanes(Awb::Load<Awb::Float4>(x));
        for (int k = 0; k < 4; ++k) EXPECT_EQ(lanes[k], Awb::FastLn(x[k])) << x[k];
    }
    for (const auto& x : exp) {
        const Awb::Float4 lanes = Awb::FastNegExpLanes(Awb::Load<Awb::Float4>(x));
        for (int k = 0; k < 4; ++k) EXPECT_EQ(lanes[k], Awb::FastNegExp(x[k])) << x[k];
    }
}

// The explanation's weights agree with the decision they explain: as many
// regions at or above 0 as were selected, above 0 as voted (all of them
// when grey world decided), and nothing past the frame's regions.
class Explanation : public ::testing::TestWithParam<PassCase> {};

TEST_P(Explanation, WeightsAgreeWithTheDecision) {
    const VireoAwbFrame frame = Frame(GetParam().regions, 300);
    Awb::Estimator estimator;
    Awb::InitEstimator(PassTuning(GetParam()), &estimator);
    VireoAwbResult result{};
    ASSERT_EQ(Awb::Estimate(&estimator, frame, &result), 0);
    std::vector<float> weights(GetParam().regions.size() + 3, 7.0f);
    Awb::ExplainRegions(estimator, frame, result, weights.data(),
                        static_cast<int32_t>(weights.size()));
    uint32_t selected = 0, voting = 0;
    for (size_t i = 0; i < GetParam().regions.size(); ++i) {
        selected += weights[i] >= 0.0f ? 1 : 0;
        voting += weights[i] > 0.0f ? 1 : 0;
        EXPECT_LE(weights[i], 1.0f);
    }
    const bool average =
        (result.flags & (VIREO_AWB_FLAG_GREY_WORLD_MODE | VIREO_AWB_FLAG_NO_GREY_REGION)) != 0;
    EXPECT_EQ(selected, result.validRegionCount);
    EXPECT_EQ(voting, average ? result.validRegionCount : result.greyRegionCount);
    for (size_t i = GetParam().regions.size(); i < weights.size(); ++i)
        EXPECT_EQ(weights[i], -1.0f);
}

INSTANTIATE_TEST_SUITE_P(Scenes, Explanation, ::testing::ValuesIn(PassCases()),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace Vireo
