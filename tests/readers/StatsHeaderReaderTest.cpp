// Statistics header reader: every case runs against the fast reader and the
// straightforward one, and both must give the expected record.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "ReaderTestSupport.h"
#include "SampleFileKeys.h"
#include "SampleReaders.h"
#include "StraightforwardReaders.h"

namespace {

using Vireo::ChannelData;
using Lines = std::vector<std::string>;

struct HeaderReader {
    const char* name;
    int32_t (*parse)(char*, ChannelData*);
};
const HeaderReader kReaders[] = {{"fast", Vireo::ParseBGStatsInfo},
                                 {"straightforward", Vireo::Straightforward::ParseBGStatsInfo}};

const Lines kValues = {"250.5", "1",    "64",   "48",   "3072", "30", "40", "10",   "7",
                       "1023",  "1022", "1021", "1020", "3000", "8",  "16", "1920", "1080"};
const std::vector<float> kSlots = {250.5f, 1,    64,   48,   3072, 30, 40, 10,   7,
                                   1023,   1022, 1021, 1020, 3000, 8,  16, 1920, 1080};

// The well-formed header, one entry per line, followed by the line that ends it.
Lines HeaderLines(const Lines& values = kValues) {
    Lines lines;
    size_t next = 0;
    for (size_t k = 0; k < Vireo::kHeaderKeyCount; ++k) {
        lines.push_back(Vireo::kSampleFileKeys[k]);
        for (int i = 0; i < Vireo::Testing::HeaderValuesPerKey()[k]; ++i) {
            lines.push_back(values[next++]);
        }
    }
    lines.push_back("Num Calibration Factors:");
    return lines;
}

std::string Join(const Lines& lines, const char* end = "\n") {
    std::string text;
    for (const std::string& line : lines) {
        text += line + end;
    }
    return text;
}

Lines With(Lines lines, size_t at, const std::string& line, bool replace) {
    if (replace) {
        lines[at] = line;
    } else {
        lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(at), line);
    }
    return lines;
}

Lines Without(Lines lines, size_t at) {
    lines.erase(lines.begin() + static_cast<std::ptrdiff_t>(at));
    return lines;
}

std::vector<float> Slots(std::vector<float> slots) {
    slots.resize(Vireo::kHeaderSlotCount, 0.0f);
    return slots;
}

void ExpectRecord(const ChannelData& r, const std::vector<float>& s, const char* reader) {
    SCOPED_TRACE(reader);
    EXPECT_EQ(r.luxIndex, s[0]);
    EXPECT_EQ(r.aecSettled, static_cast<int32_t>(s[1]));
    EXPECT_EQ(r.reserved, 0xA5A5A5A5u) << "reserved must be left alone";
    EXPECT_EQ(r.horizontalRegionCount, static_cast<int32_t>(s[2]));
    EXPECT_EQ(r.verticalRegionCount, static_cast<int32_t>(s[3]));
    EXPECT_EQ(r.totalRegionCount, static_cast<int32_t>(s[4]));
    EXPECT_EQ(r.regionWidth, static_cast<int32_t>(s[5]));
    EXPECT_EQ(r.regionHeight, static_cast<int32_t>(s[6]));
    EXPECT_EQ(r.bitDepth, static_cast<int32_t>(s[7]));
    EXPECT_EQ(r.flags, static_cast<int32_t>(s[8]));
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(r.saturationThreshold[i], static_cast<int32_t>(s[9 + i])) << i;
        EXPECT_EQ(r.statsROI[i], static_cast<uint32_t>(s[14 + i])) << i;
    }
    EXPECT_EQ(r.validRegionCount, static_cast<int32_t>(s[13]));
}

struct HeaderCase {
    const char* name;
    std::string content;
    std::vector<float> slots;  // expected value slots, all within range
};

void PrintTo(const HeaderCase& c, std::ostream* os) { *os << c.name; }

class HeaderReaderTest : public testing::TestWithParam<HeaderCase> {};

TEST_P(HeaderReaderTest, FillsRecordFromValueSlots) {
    Vireo::Testing::TempFolder folder;
    std::string path = folder.Write("sample.txt", GetParam().content);
    for (const HeaderReader& reader : kReaders) {
        ChannelData record;
        std::memset(&record, 0xA5, sizeof record);
        ASSERT_EQ(reader.parse(path.data(), &record), 0) << reader.name;
        ExpectRecord(record, GetParam().slots, reader.name);
    }
}

const std::string kWellFormed = Join(HeaderLines()) + "Stats ROI:\n77\n";
std::vector<float> Shifted() {
    std::vector<float> s(kSlots.begin() + 1, kSlots.end());
    return Slots(s);
}
Lines ValuesOnKeyLines() {
    Lines lines;
    for (size_t k = 0; k < Vireo::kHeaderKeyCount; ++k) {
        lines.push_back(std::string(Vireo::kSampleFileKeys[k]) + " " + kValues[k]);
    }
    lines.push_back("Num Calibration Factors:");
    return lines;
}
Lines WithoutFlagsKey() {
    return Without(HeaderLines(), 16);  // "Flags:"
}

INSTANTIATE_TEST_SUITE_P(Cases, HeaderReaderTest,
                         testing::Values(
                             HeaderCase{"WellFormedStopsAtCalibration", kWellFormed, kSlots},
                             HeaderCase{"Empty", "", Slots({})},
                             HeaderCase{"ValuesOnKeyLinesAreLost", Join(ValuesOnKeyLines()),
                                        Slots({})},
                             HeaderCase{"MissingLuxValueShiftsEarlier",
                                        Join(Without(HeaderLines(), 1)), Shifted()},
                             HeaderCase{"CarriageReturns", Join(HeaderLines(), "\r\n"), kSlots},
                             HeaderCase{"BlankFlagsValue", Join(With(HeaderLines(), 17, "", true)),
                                        [] {
                                            auto s = kSlots;
                                            s[8] = 0;
                                            return s;
                                        }()},
                             HeaderCase{
                                 "SinglePrecisionBeforeTruncation",
                                 Join(With(With(With(With(HeaderLines(), 3, "16777217", true), 5,
                                                     "12.9", true),
                                                7, "-3.7", true),
                                           9, "2.99999999", true)),
                                 [] {
                                     auto s = kSlots;
                                     s[1] = 16777216;
                                     s[2] = 12;
                                     s[3] = -3;
                                     s[4] = 3;
                                     return s;
                                 }()},
                             HeaderCase{"LongLineBeforeStatsRoiEndsHeader",
                                        Join(With(HeaderLines(), 25, std::string(120, '1'), false)),
                                        Slots({kSlots.begin(), kSlots.begin() + 14})},
                             HeaderCase{
                                 "Line99IsRead",
                                 Join(With(HeaderLines(), 1, "250.5" + std::string(94, ' '), true)),
                                 kSlots},
                             HeaderCase{
                                 "Line100Ends",
                                 Join(With(HeaderLines(), 1, "250.5" + std::string(95, ' '), true)),
                                 Slots({})},
                             HeaderCase{"ValueBeforeFirstKeyShiftsLater",
                                        Join(With(HeaderLines(), 0, "42", false)),
                                        Slots({42, 250.5f, 1, 64,
                                               48, 3072, 30, 40, 10, 7, 1023, 1022, 1021, 1020, 3000, 8, 16, 1920})},
                             HeaderCase{"NineteenthValueIgnored",
                                        Join(With(HeaderLines(), 30, "5", false)), kSlots},
                             HeaderCase{"TextIsZero", Join(With(HeaderLines(), 11, "abc", true)),
                                        [] {
                                            auto s = kSlots;
                                            s[5] = 0;
                                            return s;
                                        }()},
                             HeaderCase{"MissingKeyTurnsLaterKeysIntoZeros",
                                        Join(WithoutFlagsKey()),
                                        Slots({250.5f, 1, 64, 48, 3072, 30, 40, 10, 7, 0, 1023,
                                               1022, 1021, 1020, 0, 3000, 0, 8})}),
                         [](const testing::TestParamInfo<HeaderCase>& info) {
                             return std::string(info.param.name);
                         });

// Values outside an integer field's range saturate, NaN and negative
// unsigned values give 0.
TEST(HeaderReaderRange, OutOfRangeValuesSaturate) {
    Lines values = kValues;
    values[1] = "1e10";
    values[2] = "-1e10";
    values[3] = "nan";
    values[14] = "-5";
    values[15] = "5e9";
    values[16] = "-inf";
    Vireo::Testing::TempFolder folder;
    std::string path = folder.Write("sample.txt", Join(HeaderLines(values)));
    for (const HeaderReader& reader : kReaders) {
        ChannelData record{};
        ASSERT_EQ(reader.parse(path.data(), &record), 0);
        EXPECT_EQ(record.aecSettled, INT32_MAX) << reader.name;
        EXPECT_EQ(record.horizontalRegionCount, INT32_MIN) << reader.name;
        EXPECT_EQ(record.verticalRegionCount, 0) << reader.name;
        EXPECT_EQ(record.statsROI[0], 0u) << reader.name;
        EXPECT_EQ(record.statsROI[1], UINT32_MAX) << reader.name;
        EXPECT_EQ(record.statsROI[2], 0u) << reader.name;
    }
}

TEST(HeaderReaderFiles, MissingFileReportsAndLeavesRecordAlone) {
    Vireo::Testing::TempFolder folder;
    std::string missing = folder.Path() + "/absent.txt";
    for (const HeaderReader& reader : kReaders) {
        ChannelData record;
        std::memset(&record, 0x5C, sizeof record);
        const ChannelData before = record;
        testing::internal::CaptureStdout();
        EXPECT_EQ(reader.parse(missing.data(), &record), -1) << reader.name;
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "Unable to open file:" + missing + "\n");
        EXPECT_EQ(std::memcmp(&record, &before, sizeof record), 0) << reader.name;
    }
}

TEST(HeaderReaderFiles, DirectoryReadsAsEmptyFile) {
    Vireo::Testing::TempFolder folder;
    std::string path = folder.Path();
    for (const HeaderReader& reader : kReaders) {
        ChannelData record;
        std::memset(&record, 0xA5, sizeof record);
        EXPECT_EQ(reader.parse(path.data(), &record), 0) << reader.name;
        ExpectRecord(record, Slots({}), reader.name);
    }
}

}  // namespace
