// The reference wrapper library through the interface alone, mapped as the
// driver maps it, with the reference algorithm library behind it.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <vector>

#include "SyntheticRegions.h"
#include "TuningCodec.h"
#include "WrapperHarness.h"
#include "vireo/ReferenceDebugData.h"

namespace Vireo {
namespace {

class WrapperLibrary : public ::testing::Test {
protected:
    void SetUp() override {
        tuningPath_ =
            Testing::WriteTemporary("wrapper", Tuning::Encode(Testing::ThreePointTuning()));
        for (float& f : calibration_.moduleCalibrationFactors) f = 1.0f;
    }
    void TearDown() override { std::remove(tuningPath_.c_str()); }

    Testing::WrapperPtr ReadyWrapper() {
        auto wrapper = Testing::MakeWrapper();
        EXPECT_EQ(wrapper->LoadAWBAlgorithm(VIREO_TEST_AWB_LIBRARY, VIREO_TEST_AWB_LIBRARY), 0);
        EXPECT_EQ(wrapper->LoadTuningData(tuningPath_.c_str()), 0);
        EXPECT_EQ(wrapper->InitializeAlgorithm(), 0);
        return wrapper;
    }

    // One sample, fed in the driver's order.
    AWBSimulationOutput* Feed(IAWBSimulationWrapper* w,
                              std::vector<StatsBayerGridChannelInfoS>* regions) {
        stats_.totalRegionCount = static_cast<int32_t>(regions->size());
        stats_.horizontalRegionCount = stats_.totalRegionCount;
        stats_.verticalRegionCount = 1;
        stats_.bitDepth = 10;
        stats_.luxIndex = 250;
        w->SetCalibrationData(calibration_.moduleCalibrationFactors);
        w->SetExtraInfoA(0);
        w->SetExtraInfoB(0, &extraB_);
        w->SetExtraInfoG(&extraG_);
        w->SetExtraInfoE(&extraE_);
        w->SetExtraInfoF(&extraE_);
        w->SetExtraInfoH(&extraH_);
        w->SetExtraInfoC(&extraC_);
        w->SetExtraInfoD(0, &extraD_);
        w->SetFrameDimensions(4608, 3456);
        w->SetBGStatsConfig(stats_.horizontalRegionCount, stats_.verticalRegionCount,
                            stats_.bitDepth, 16, 16);
        w->SetBGChannelInfo(regions->data());
        w->SetBGStatsInfo(&stats_);
        AuxiliaryInfoRecord auxiliary{};
        w->SetAuxiliaryInfo(&auxiliary);
        w->RunSimulation();
        return w->GetOutput();
    }

    static std::vector<StatsBayerGridChannelInfoS> Scene(const Testing::Illuminant& light,
                                                         int count) {
        const auto made = Testing::MakeScene(count, light, Testing::kGrey, 0.0f, 0.005f, 3);
        std::vector<StatsBayerGridChannelInfoS> regions(made.size());
        std::memcpy(regions.data(), made.data(), made.size() * sizeof made[0]);
        return regions;
    }

    std::string tuningPath_;
    ChannelData stats_{};
    CalibrationData calibration_{};
    ExtraInfoBRecord extraB_{};
    ExtraInfoGRecord extraG_{};
    ExtraInfoERecord extraE_{};
    ExtraInfoHRecord extraH_{};
    ExtraInfoCRecord extraC_{};
    ExtraInfoDRecord extraD_{};
};

TEST_F(WrapperLibrary, DecidesEachSampleAndKeepsDebugDataBehindTheOutput) {
    auto wrapper = ReadyWrapper();
    const struct {
        Testing::Illuminant light;
        uint32_t cct;
        uint32_t validRegions;  // 0: every region empty, the default illuminant
    } samples[] = {{{0.58f, 0.56f}, 5000, 300},
                   {{0.85f, 0.36f}, 2850, 300},
                   {{0.50f, 0.64f}, 6500, 300},
                   {{0.58f, 0.56f}, 5000, 0}};
    for (uint32_t i = 0; i < std::size(samples); ++i) {
        const auto& sample = samples[i];
        auto regions = Scene(sample.light, 300);
        if (sample.validRegions == 0) regions.assign(300, StatsBayerGridChannelInfoS{});
        AWBSimulationOutput* out = Feed(wrapper.get(), &regions);
        ASSERT_NE(out, nullptr);
        EXPECT_EQ(out->g_gain, 1.0f);
        EXPECT_NEAR(out->r_gain, 1.0f / sample.light.rOverG, 0.01f);
        EXPECT_NEAR(out->b_gain, 1.0f / sample.light.bOverG, 0.01f);
        EXPECT_NEAR(static_cast<double>(out->cct), sample.cct, 0.02 * sample.cct);
        EXPECT_EQ(out->debugDataSize, sizeof(ReferenceDebugData));
        const auto& debug = reinterpret_cast<const ReferenceOutputRecord*>(out)->debug;
        EXPECT_EQ(debug.version, kReferenceDebugVersion);
        EXPECT_EQ(debug.sampleIndex, i);
        EXPECT_EQ(debug.totalRegionCount, 300);
        EXPECT_EQ(debug.algorithm.validRegionCount, sample.validRegions);
        EXPECT_EQ((debug.algorithm.flags & VIREO_AWB_FLAG_DEFAULT_ILLUMINANT) != 0,
                  sample.validRegions == 0);

        // The driver frees the array and rereads its records for the next
        // sample; the output must not point into them.
        const AWBSimulationOutput copy = *out;
        std::memset(regions.data(), 0xA5, regions.size() * sizeof regions[0]);
        std::memset(&stats_, 0x5A, sizeof stats_);
        std::memset(&calibration_, 0x5A, sizeof calibration_);
        ASSERT_EQ(wrapper->GetOutput(), out);
        EXPECT_EQ(std::memcmp(out, &copy, sizeof copy), 0);
        stats_ = ChannelData{};
        for (float& f : calibration_.moduleCalibrationFactors) f = 1.0f;
    }
}

struct BrokenSetup {
    const char* name;
    const char* algorithm;  // null: LoadAWBAlgorithm is not called
    bool loadTuning;
};

class WrapperWithoutAlgorithm : public WrapperLibrary,
                                public ::testing::WithParamInterface<BrokenSetup> {};

// The driver ignores these results; the wrapper must then answer each
// sample with no output rather than crash.
TEST_P(WrapperWithoutAlgorithm, YieldsNoOutput) {
    const BrokenSetup setup = GetParam();
    auto wrapper = Testing::MakeWrapper();
    ::testing::internal::CaptureStderr();
    if (setup.algorithm != nullptr) {
        EXPECT_NE(wrapper->LoadAWBAlgorithm(setup.algorithm, setup.algorithm), 0);
    }
    if (setup.loadTuning) {
        EXPECT_EQ(wrapper->LoadTuningData(tuningPath_.c_str()), 0);
    }
    EXPECT_NE(wrapper->InitializeAlgorithm(), 0);
    const std::string messages = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(messages.find("AWB algorithm"), std::string::npos) << messages;
    auto regions = Scene({0.58f, 0.56f}, 10);
    EXPECT_EQ(Feed(wrapper.get(), &regions), nullptr);
}

INSTANTIATE_TEST_SUITE_P(
    Setups, WrapperWithoutAlgorithm,
    ::testing::Values(BrokenSetup{"NotCalled", nullptr, true},
                      BrokenSetup{"MissingLibrary", "/nonexistent/libvireo_awb.so", true},
                      BrokenSetup{"LibraryWithoutTable", VIREO_TEST_WRAPPER_LIBRARY, true},
                      BrokenSetup{"NoTuning", nullptr, false}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(AlgorithmLibrary, OffersVersionsOneAndTwoOnly) {
    void* library = dlopen(VIREO_TEST_AWB_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr);
    auto getApi = reinterpret_cast<VireoAwbGetApiFn>(dlsym(library, VIREO_AWB_ENTRY_SYMBOL));
    ASSERT_NE(getApi, nullptr);
    const auto* v1 = static_cast<const VireoAwbApiV1*>(getApi(1));
    ASSERT_NE(v1, nullptr);
    EXPECT_EQ(v1->version, 1u);
    EXPECT_EQ(v1->structSize, sizeof(VireoAwbApiV1));
    EXPECT_EQ(getApi(0), nullptr);
    EXPECT_EQ(getApi(3), nullptr);
    // Version 2 begins with version 1's entries, and adds explain.
    const auto* v2 = static_cast<const VireoAwbApiV2*>(getApi(2));
    ASSERT_NE(v2, nullptr);
    EXPECT_EQ(v2->version, 2u);
    EXPECT_EQ(v2->structSize, sizeof(VireoAwbApiV2));
    EXPECT_EQ(v2->process, v1->process);
    EXPECT_NE(v2->explain, nullptr);
    char error[64];
    const uint8_t junk[20] = {};
    EXPECT_EQ(v1->create(junk, sizeof junk, error, sizeof error), nullptr);
    EXPECT_NE(std::strstr(error, "magic"), nullptr) << error;
    dlclose(library);
}

}  // namespace
}  // namespace Vireo
