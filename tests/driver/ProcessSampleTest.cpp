// Sample processing with scripted readers and a strict mock wrapper: what
// each reader outcome prints, returns and feeds the wrapper.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "SampleProcessing.h"
#include "ScriptedReaders.h"

namespace {

using testing::_;
using testing::InSequence;
using testing::Return;

class MockWrapper : public Vireo::IAWBSimulationWrapper {
public:
    MOCK_METHOD(int32_t, LoadAWBAlgorithm, (const char*, const char*), (override));
    MOCK_METHOD(int32_t, LoadTuningData, (const char*), (override));
    MOCK_METHOD(int32_t, InitializeAlgorithm, (), (override));
    MOCK_METHOD(int32_t, SetBGStatsInfo, (const Vireo::ChannelData*), (override));
    MOCK_METHOD(int32_t, SetExtraInfoA, (int32_t), (override));
    MOCK_METHOD(int32_t, SetBGStatsConfig, (int32_t, int32_t, int32_t, int32_t, int32_t),
                (override));
    MOCK_METHOD(int32_t, SetBGChannelInfo, (const StatsBayerGridChannelInfoS*), (override));
    MOCK_METHOD(int32_t, SetExtraInfoB, (int32_t, Vireo::ExtraInfoBRecord*), (override));
    MOCK_METHOD(int32_t, ReservedEntry1, (), (override));
    MOCK_METHOD(int32_t, SetExtraInfoC, (Vireo::ExtraInfoCRecord*), (override));
    MOCK_METHOD(int32_t, SetExtraInfoD, (int32_t, Vireo::ExtraInfoDRecord*), (override));
    MOCK_METHOD(int32_t, SetFrameDimensions, (int32_t, int32_t), (override));
    MOCK_METHOD(int32_t, SetAuxiliaryInfo, (const Vireo::AuxiliaryInfoRecord*), (override));
    MOCK_METHOD(int32_t, SetExtraInfoE, (Vireo::ExtraInfoERecord*), (override));
    MOCK_METHOD(int32_t, SetExtraInfoF, (Vireo::ExtraInfoERecord*), (override));
    MOCK_METHOD(int32_t, SetExtraInfoG, (Vireo::ExtraInfoGRecord*), (override));
    MOCK_METHOD(int32_t, SetExtraInfoH, (Vireo::ExtraInfoHRecord*), (override));
    MOCK_METHOD(int32_t, SetCalibrationData, (const float*), (override));
    MOCK_METHOD(int32_t, RunSimulation, (), (override));
    MOCK_METHOD(AWBSimulationOutput*, GetOutput, (), (override));
    MOCK_METHOD(int32_t, ReservedEntry2, (), (override));
    MOCK_METHOD(int32_t, ReservedEntry3, (), (override));
    MOCK_METHOD(void, Destroy, (), (override));
};

struct Outcome {
    const char* name;
    int32_t headerResult, totalRegionCount, channelResult, calibrationResult;
    std::vector<std::string> readers;  // readers called, in order
    std::string message;               // printed, before " for <path>\n"
    int32_t returned;
};

void PrintTo(const Outcome& outcome, std::ostream* os) { *os << outcome.name; }

class ProcessSampleOutcome : public testing::TestWithParam<Outcome> {
protected:
    Vireo::RunContext context;
    testing::StrictMock<MockWrapper> wrapper;  // no call expected unless set

    int32_t Process(const char* name, std::string* printed) {
        dirent entry{};
        std::strncpy(entry.d_name, name, sizeof entry.d_name - 1);
        context.sceneDirectory = "/data/ball/";
        testing::internal::CaptureStdout();
        const int32_t result = Vireo::ProcessSample(context, &wrapper, &entry);
        std::fflush(stdout);
        *printed = testing::internal::GetCapturedStdout();
        return result;
    }
};

TEST_P(ProcessSampleOutcome, ReaderFailuresNeverReachTheWrapper) {
    const Outcome& c = GetParam();
    readerScript = ReaderScript{};
    readerScript.headerResult = c.headerResult;
    readerScript.totalRegionCount = c.totalRegionCount;
    readerScript.channelResult = c.channelResult;
    readerScript.calibrationResult = c.calibrationResult;
    std::string printed;
    EXPECT_EQ(Process("s1.txt", &printed), c.returned);
    EXPECT_EQ(printed, c.message.empty() ? "" : c.message + " for /data/ball/s1.txt\n");
    EXPECT_EQ(readerScript.calls, c.readers);
}

INSTANTIATE_TEST_SUITE_P(Readers, ProcessSampleOutcome,
                         testing::Values(Outcome{"HeaderFailsEndsScene",
                                                 -1,
                                                 4,
                                                 0,
                                                 0,
                                                 {"header"},
                                                 "Error in reading parser bg stats info",
                                                 -1},
                                         Outcome{"NegativeCountEndsScene",
                                                 0,
                                                 -1,
                                                 0,
                                                 0,
                                                 {"header"},
                                                 "Error in allocating buffer for bg channel info",
                                                 -1},
                                         Outcome{"HugeNegativeCountEndsScene",
                                                 0,
                                                 INT32_MIN,
                                                 0,
                                                 0,
                                                 {"header"},
                                                 "Error in allocating buffer for bg channel info",
                                                 -1},
                                         Outcome{"ChannelFailsSkipsSample",
                                                 0,
                                                 4,
                                                 -1,
                                                 0,
                                                 {"header", "channel"},
                                                 "Error in reading parser bg channel info",
                                                 0},
                                         Outcome{"CalibrationFailsSkipsSample",
                                                 0,
                                                 4,
                                                 0,
                                                 -1,
                                                 {"header", "channel", "calibration"},
                                                 "Error in reading parser calibration info",
                                                 0}),
                         [](const testing::TestParamInfo<Outcome>& info) {
                             return std::string(info.param.name);
                         });

TEST_F(ProcessSampleOutcome, DotNamesAreNotRead) {
    readerScript = ReaderScript{};
    std::string printed;
    for (const char* name : {".", "..", ".hidden"}) {
        EXPECT_EQ(Process(name, &printed), 0);
    }
    EXPECT_TRUE(readerScript.calls.empty());
    EXPECT_EQ(printed, "");
}

TEST_F(ProcessSampleOutcome, SuccessfulSampleFeedsTheWrapperInOrder) {
    readerScript = ReaderScript{};
    readerScript.totalRegionCount = 0;  // a zero-size buffer is still a buffer
    context.channelData.horizontalRegionCount = 64;
    context.channelData.verticalRegionCount = 48;
    context.channelData.bitDepth = 10;
    context.channelData.regionWidth = 72;
    context.channelData.regionHeight = 54;
    for (float& factor : context.calibrationData.moduleCalibrationFactors) {
        factor = 7.0f;  // left by an earlier sample: must be reset to 1.0
    }
    {
        InSequence order;
        EXPECT_CALL(wrapper, SetCalibrationData(context.calibrationData.moduleCalibrationFactors));
        EXPECT_CALL(wrapper, SetExtraInfoA(0));
        EXPECT_CALL(wrapper, SetExtraInfoB(0, _));
        EXPECT_CALL(wrapper, SetExtraInfoG(_));
        EXPECT_CALL(wrapper, SetExtraInfoE(_));
        EXPECT_CALL(wrapper, SetExtraInfoF(_));
        EXPECT_CALL(wrapper, SetExtraInfoH(_));
        EXPECT_CALL(wrapper, SetExtraInfoC(_));
        EXPECT_CALL(wrapper, SetExtraInfoD(0, _));
        EXPECT_CALL(wrapper, SetFrameDimensions(4608, 3456));
        EXPECT_CALL(wrapper, SetBGStatsConfig(64, 48, 10, 72, 54));
        EXPECT_CALL(wrapper, SetBGChannelInfo(testing::NotNull()));
        EXPECT_CALL(wrapper, SetBGStatsInfo(&context.channelData));
        EXPECT_CALL(wrapper, SetAuxiliaryInfo(testing::NotNull()));
        EXPECT_CALL(wrapper, RunSimulation());
        EXPECT_CALL(wrapper, GetOutput()).WillOnce(Return(nullptr));
    }
    std::string printed;
    EXPECT_EQ(Process("s1.txt", &printed), 0);
    EXPECT_EQ(printed, "");
    EXPECT_EQ(readerScript.channelCount, 0);
    EXPECT_TRUE(readerScript.channelBuffer);
    EXPECT_EQ(readerScript.factorsOnEntry, std::vector<float>(20, 1.0f));
    EXPECT_STREQ(context.samplePath, "/data/ball/s1.txt");
}

TEST(ResultRecord, NumbersUseTheStreamDefaultNotation) {
    struct Case {
        AWBSimulationOutput output;
        const char* text;
    };
    const float inf = std::numeric_limits<float>::infinity();
    const Case cases[] = {
        {{1.5f, 1.23456789f, 0.00001f, 5000, 0},
         "p\nr_gain : 1.5\ng_gain : 1.23457\nb_gain : 1e-05\ncct    : 5000\ndebugDataSize : 0\n\n"},
        {{2.0f, 1234567.0f, -0.0f, 4294967295u, 1024},
         "p\nr_gain : 2\ng_gain : 1.23457e+06\nb_gain : -0\ncct    : 4294967295\n"
         "debugDataSize : 1024\n\n"},
        {{std::numeric_limits<float>::quiet_NaN(), inf, 0.0001f, 0, 7},
         "p\nr_gain : nan\ng_gain : inf\nb_gain : 0.0001\ncct    : 0\ndebugDataSize : 7\n\n"},
    };
    for (const Case& c : cases) {
        char buffer[512] = {};
        std::FILE* memory = fmemopen(buffer, sizeof buffer - 1, "w");
        ASSERT_NE(memory, nullptr);
        Vireo::WriteResultRecord(memory, "p", c.output);
        std::fclose(memory);
        EXPECT_STREQ(buffer, c.text);
    }
}

}  // namespace
