// Statistics header reader: every case runs on the fast reader and on the
// textbook one, and both must give the expected record byte for byte.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ReaderTestSupport.h"
#include "SampleFileKeys.h"
#include "SampleReaders.h"
#include "StraightforwardReaders.h"

namespace {

using Vireo::ChannelData;
using namespace Vireo::Testing;

const struct {
    const char* name;
    int32_t (*parse)(char*, ChannelData*);
} kReaders[] = {{"fast", Vireo::ParseBGStatsInfo},
                {"textbook", Vireo::Straightforward::ParseBGStatsInfo}};

constexpr unsigned char kPattern = 0xA5;

const Lines kValues = {"250.5", "1",    "64",   "48",   "3072", "30", "40", "10",   "7",
                       "1023",  "1022", "1021", "1020", "3000", "8",  "16", "1920", "1080"};
const std::vector<float> kSlots = {250.5f, 1,    64,   48,   3072, 30, 40, 10,   7,
                                   1023,   1022, 1021, 1020, 3000, 8,  16, 1920, 1080};

// The well-formed header followed by the line that ends it. Line 2k is the
// key of field k for the first nine fields, line 2k + 1 its value; the
// saturation values are lines 19 to 22, the ROI values 26 to 29.
Lines HeaderLines(const Lines& values = kValues) {
    Lines lines = SectionLines(Vireo::kSampleFileKeys, kHeaderValuesPerKey, values);
    lines.push_back(Vireo::kHeaderEndKey);
    return lines;
}

// The record a table of slots gives, all slots within their fields' ranges.
ChannelData Expected(std::vector<float> s) {
    s.resize(Vireo::kHeaderSlotCount, 0.0f);
    auto r = Filled<ChannelData>(kPattern);  // reserved is never written
    r.luxIndex = s[0];
    int32_t* const fields[] = {&r.aecSettled,
                               &r.horizontalRegionCount,
                               &r.verticalRegionCount,
                               &r.totalRegionCount,
                               &r.regionWidth,
                               &r.regionHeight,
                               &r.bitDepth,
                               &r.flags,
                               &r.saturationThreshold[0],
                               &r.saturationThreshold[1],
                               &r.saturationThreshold[2],
                               &r.saturationThreshold[3],
                               &r.validRegionCount};
    for (size_t i = 0; i < 13; ++i) *fields[i] = static_cast<int32_t>(s[1 + i]);
    for (size_t i = 0; i < 4; ++i) r.statsROI[i] = static_cast<uint32_t>(s[14 + i]);
    return r;
}

struct HeaderCase {
    const char* name;
    std::string content;
    std::vector<float> slots;
};

void PrintTo(const HeaderCase& c, std::ostream* os) { *os << c.name; }

class HeaderReaderTest : public testing::TestWithParam<HeaderCase> {};

TEST_P(HeaderReaderTest, FillsRecordFromValueSlots) {
    for (const auto& reader : kReaders) {
        SCOPED_TRACE(reader.name);
        ExpectRead<ChannelData>(reader.parse, GetParam().content, {Expected(GetParam().slots)},
                                kPattern);
    }
}

std::vector<float> Shifted(int by) {
    std::vector<float> slots = kSlots;
    if (by < 0) slots.erase(slots.begin());
    if (by > 0) slots.insert(slots.begin(), 42.0f);
    slots.resize(kSlots.size());
    return slots;
}

const std::string k99 = "250.5" + std::string(94, ' ');

INSTANTIATE_TEST_SUITE_P(
    Cases, HeaderReaderTest,
    testing::Values(
        HeaderCase{"WellFormedStopsAtItsEnd", Join(HeaderLines()) + "Stats ROI:\n77\n", kSlots},
        HeaderCase{"EmptyFileOrDirectory", "", {}},
        HeaderCase{"CarriageReturns", Join(HeaderLines(), "\r\n"), kSlots},
        HeaderCase{"ValuesOnKeyLinesAreLost",
                   Join(ValuesOnKeyLines(Vireo::kSampleFileKeys, 12, kValues)),
                   {}},
        HeaderCase{"MissingLuxValueShiftsEarlier", Join(Erased(HeaderLines(), 1)), Shifted(-1)},
        HeaderCase{"ValueBeforeFirstKeyShiftsLater", Join(Inserted(HeaderLines(), 0, "42")),
                   Shifted(1)},
        HeaderCase{"NineteenthValueIgnored", Join(Inserted(HeaderLines(), 30, "5")), kSlots},
        HeaderCase{
            "MissingKeyTurnsLaterKeysIntoZeros",
            Join(Erased(HeaderLines(), 16)),  // "Flags:"
            {250.5f, 1, 64, 48, 3072, 30, 40, 10, 7, 0, 1023, 1022, 1021, 1020, 0, 3000, 0, 8}},
        HeaderCase{
            "RepeatedKeyIsAZeroValue",
            Join(Inserted(HeaderLines(), 4, "AECSettled:")),
            {250.5f, 1, 0, 64, 48, 3072, 30, 40, 10, 7, 1023, 1022, 1021, 1020, 3000, 8, 16, 1920}},
        HeaderCase{"BlankAndTextValuesAreZero",
                   Join(Replaced(HeaderLines(), {{17, ""}, {11, "abc"}})),
                   Replaced(kSlots, {{8, 0.0f}, {5, 0.0f}})},
        HeaderCase{"SinglePrecisionBeforeTruncation",
                   Join(Replaced(HeaderLines(),
                                 {{3, "16777217"}, {5, "12.9"}, {7, "-3.7"}, {9, "2.99999999"}})),
                   Replaced(kSlots, {{1, 16777216.0f}, {2, 12.0f}, {3, -3.0f}, {4, 3.0f}})},
        HeaderCase{"NegativeRoiIsZero", Join(Replaced(HeaderLines(), {{26, "-5"}})),
                   Replaced(kSlots, {{14, 0.0f}})},
        HeaderCase{"LongLineBeforeStatsRoiEndsHeader",
                   Join(Inserted(HeaderLines(), 25, std::string(120, '1'))),
                   {kSlots.begin(), kSlots.begin() + 14}},
        HeaderCase{"Line99IsRead", Join(Replaced(HeaderLines(), {{1, k99}})), kSlots},
        HeaderCase{"Line100Ends", Join(Replaced(HeaderLines(), {{1, k99 + " "}})), {}}),
    [](const testing::TestParamInfo<HeaderCase>& info) { return std::string(info.param.name); });

TEST(HeaderReader, MissingFileReportsAndLeavesRecordAlone) {
    for (const auto& reader : kReaders) {
        SCOPED_TRACE(reader.name);
        ExpectMissingFileReported<ChannelData>(reader.parse, 1, kPattern);
    }
}

}  // namespace
