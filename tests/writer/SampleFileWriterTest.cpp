// Files from the writer, read back by the driver's three readers: a writer
// that swaps channels, loses value lines or drops the key that ends the
// channel section fails here.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "SampleFileWriter.h"
#include "SampleReaders.h"
#include "TestSupport.h"

namespace {

// Distinct numbers in every slot, so that any shift or swap shows.
Vireo::SampleFileContent DistinctContent(int regionCount) {
    Vireo::SampleFileContent content;
    for (size_t i = 0; i < content.header.size(); ++i) {
        content.header[i] = std::to_string(101 + i);
    }
    ValueText(content, Vireo::kTotalRegionCountKey) = std::to_string(regionCount);
    for (size_t i = 0; i < content.calibration.size(); ++i) {
        content.calibration[i] = std::to_string(201 + i);
    }
    ValueText(content, Vireo::kNumCalibrationFactorsKey) = "6";  // all six CCTs are taken
    for (int r = 0; r < regionCount; ++r) {
        Vireo::SampleRegionValues region;
        for (size_t channel = 0; channel < 4; ++channel) {
            // Beyond 32 bits, as the sums of a big region are.
            region.sums[channel] = 5'000'000'000LL * (r + 1) + 10 * static_cast<int64_t>(channel);
            region.counts[channel] = 1000 * (r + 1) + static_cast<int64_t>(channel);
        }
        content.regions.push_back(region);
    }
    return content;
}

class SampleFileWriterRoundTrip : public testing::TestWithParam<int> {};

TEST_P(SampleFileWriterRoundTrip, EveryValueReachesItsField) {
    const int regionCount = GetParam();
    const Vireo::SampleFileContent content = DistinctContent(regionCount);
    std::string text;
    Vireo::AppendSampleFile(text, content);
    // What a recorder writes after the channel section must not be read.
    text += "7\n8\nG/GR SatSum:\n9\n";

    Vireo::Testing::TempDir dir;
    std::string path = dir / "sample.txt";
    Vireo::Testing::WriteFile(path, text);

    // Each header and calibration value in its field: the readers' tests,
    // whose sections come from the same key table. Here: they all read.
    Vireo::ChannelData header{};
    ASSERT_EQ(Vireo::ParseBGStatsInfo(path.data(), &header), 0);
    EXPECT_EQ(header.totalRegionCount, regionCount);
    Vireo::CalibrationData calibration{};
    ASSERT_EQ(Vireo::ParseCalibrationInfo(path.data(), &calibration), 0);
    EXPECT_EQ(calibration.singleLEDCalibrationPoint[1], 229.0f);

    // One record more than the file holds: it must stay untouched.
    std::vector<StatsBayerGridChannelInfoS> records(static_cast<size_t>(regionCount) + 1);
    ASSERT_EQ(Vireo::ParseBGChannelInfo(path.data(), regionCount + 1, records.data()), 0);
    for (int r = 0; r < regionCount; ++r) {
        const StatsBayerGridChannelInfoS& got = records[static_cast<size_t>(r)];
        const Vireo::SampleRegionValues& sent = content.regions[static_cast<size_t>(r)];
        SCOPED_TRACE("region " + std::to_string(r));
        EXPECT_EQ(got.rSum, sent.sums[0]);
        EXPECT_EQ(got.grSum, sent.sums[1]);
        EXPECT_EQ(got.bSum, sent.sums[2]);
        EXPECT_EQ(got.gbSum, sent.sums[3]);
        EXPECT_EQ(got.rCount, sent.counts[0]);
        EXPECT_EQ(got.grCount, sent.counts[1]);
        EXPECT_EQ(got.bCount, sent.counts[2]);
        EXPECT_EQ(got.gbCount, sent.counts[3]);
    }
    const StatsBayerGridChannelInfoS& spare = records.back();
    EXPECT_EQ(spare.rSum, 0);
    EXPECT_EQ(spare.gbCount, 0);
}

INSTANTIATE_TEST_SUITE_P(RegionCounts, SampleFileWriterRoundTrip, testing::Values(0, 1, 3, 64),
                         [](const auto& info) { return std::to_string(info.param) + "Regions"; });

// The exact bytes the readers' line rule relies on: line feeds only, the
// value text as given, and the key that ends the channel section last.
TEST(SampleFileWriter, WritesValueTextVerbatimAndEndsWithTheSectionEndKey) {
    Vireo::SampleFileContent content = DistinctContent(1);
    ValueText(content, Vireo::kLuxIndexKey) = " 12.5e1 lux";
    ValueText(content, Vireo::kSingleLedCalibrationPointKey, 1) = "-0.25";
    std::string text = "before\n";
    Vireo::AppendSampleFile(text, content);

    EXPECT_EQ(text.rfind("before\nLuxIndex:\n 12.5e1 lux\nAECSettled:\n102\n", 0), 0u);
    EXPECT_NE(text.find("\nSingle LED Calibration Point:\n228\n-0.25\nR Sum:\n5000000000\n"),
              std::string::npos);
    EXPECT_NE(text.find("\nGB Count:\n1003\nR SatSum:\n"), std::string::npos);
    EXPECT_EQ(text.size() - text.rfind("\nR SatSum:\n"), sizeof "\nR SatSum:\n" - 1);
    EXPECT_EQ(text.find('\r'), std::string::npos);
}

}  // namespace
