// The three sample-file readers on the cases their format is known for,
// into records pre-filled with a byte pattern (more channel records than
// regions): each must leave exactly the expected bytes. The line rule itself
// is LineReaderTest's; that the textbook readers agree is the differential
// test's.
#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "ReaderTestSupport.h"
#include "SampleFileKeys.h"
#include "SampleReaders.h"

namespace {

using namespace Vireo::Testing;
using Vireo::CalibrationData;
using Vireo::ChannelData;
using Region = StatsBayerGridChannelInfoS;

constexpr unsigned char kPattern = 0xA5;

// A reader of a path into records.
template <typename Record>
using Reader = std::function<int32_t(char*, Record*)>;

const Reader<ChannelData> kHeaderReader = Vireo::ParseBGStatsInfo;
const Reader<CalibrationData> kCalibrationReader = Vireo::ParseCalibrationInfo;
Reader<Region> ChannelReader(int n) {
    return [n](char* path, Region* r) { return Vireo::ParseBGChannelInfo(path, n, r); };
}

// A sample file and the words that the records must hold after reading it.
struct ReadCase {
    const char* name;
    std::string content;
    std::vector<uint32_t> expected;
    int regionCount = 0;  // the channel reader's N
};

void PrintTo(const ReadCase& c, std::ostream* os) { *os << c.name; }
std::string NameOf(const testing::TestParamInfo<ReadCase>& info) { return info.param.name; }

// The reader must return 0 and leave the expected words. Empty content is
// also read from a directory, which opens but must read as an empty file.
template <typename Record>
void ExpectRead(const Reader<Record>& read, const ReadCase& c) {
    TempDir folder;
    std::vector<std::string> paths = {WriteSample(folder, "sample.txt", c.content)};
    if (c.content.empty()) paths.push_back(folder.path());
    for (std::string& path : paths) {
        std::vector<Record> records(c.expected.size() * 4 / sizeof(Record),
                                    Filled<Record>(kPattern));
        ASSERT_EQ(read(path.data(), records.data()), 0) << path;
        EXPECT_EQ(Words(records.data(), records.size()), c.expected) << path;
    }
}

std::string Join(const Lines& lines, const char* lineEnd = "\n") {
    std::string text;
    for (const std::string& line : lines) text += line + lineEnd;
    return text;
}

// Copies with some elements replaced, one inserted or one removed.
template <typename T>
std::vector<T> Replaced(std::vector<T> list, std::vector<std::pair<size_t, T>> changes) {
    for (auto& change : changes) list.at(change.first) = std::move(change.second);
    return list;
}
Lines Inserted(Lines lines, size_t at, std::string line) {
    lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(at), std::move(line));
    return lines;
}
Lines Erased(Lines lines, size_t at) {
    lines.erase(lines.begin() + static_cast<std::ptrdiff_t>(at));
    return lines;
}

// Values as a reader's slots hold them: atof, then single precision.
std::vector<float> SlotsOf(const Lines& values) {
    std::vector<float> slots;
    for (const std::string& value : values) slots.push_back(static_cast<float>(std::stod(value)));
    return slots;
}

// Key lines with a value on the key's own line, where it is lost.
std::string ValuesOnKeyLines(size_t first, size_t count) {
    std::string text;
    for (size_t k = first; k < first + count; ++k)
        text += Vireo::kSampleFileKeys[k].text + std::string(" 3\n");
    return text;
}

// ---- Statistics header

const Lines kHeaderValues = {"250.5", "1",    "64",   "48",   "3072", "30", "40", "10",   "7",
                             "1023",  "1022", "1021", "1020", "3000", "8",  "16", "1920", "1080"};
const std::vector<float> kHeaderSlots = SlotsOf(kHeaderValues);

// The well-formed header and the line that ends it. Line 2k is the key of
// field k for the first nine fields and line 2k + 1 its value; the
// saturation values are lines 19 to 22, the ROI values 26 to 29.
const Lines kHeader = Inserted(HeaderLines(kHeaderValues), 30, Vireo::kHeaderEndKey);

// The record a table of slots gives, every slot within its field's range.
std::vector<uint32_t> Header(std::vector<float> s) {
    s.resize(Vireo::kHeaderSlotCount, 0.0f);
    auto r = Filled<ChannelData>(kPattern);  // reserved is never written
    r.luxIndex = s[0];
    // clang-format off
    int32_t* const fields[] = {&r.aecSettled, &r.horizontalRegionCount, &r.verticalRegionCount,
        &r.totalRegionCount, &r.regionWidth, &r.regionHeight, &r.bitDepth, &r.flags,
        &r.saturationThreshold[0], &r.saturationThreshold[1], &r.saturationThreshold[2],
        &r.saturationThreshold[3], &r.validRegionCount};
    // clang-format on
    for (size_t i = 0; i < 13; ++i) *fields[i] = static_cast<int32_t>(s[1 + i]);
    // The ROI is unsigned: a negative value reads as 0.
    for (size_t i = 0; i < 4; ++i) r.statsROI[i] = s[14 + i] > 0 ? uint32_t(s[14 + i]) : 0u;
    return Words(&r);
}

const std::string k99 = "250.5" + std::string(94, ' ');

class HeaderReaderTest : public testing::TestWithParam<ReadCase> {};
TEST_P(HeaderReaderTest, FillsRecordFromValueSlots) { ExpectRead(kHeaderReader, GetParam()); }

INSTANTIATE_TEST_SUITE_P(
    Cases, HeaderReaderTest,
    testing::Values(
        ReadCase{"WellFormedStopsAtItsEnd", Join(kHeader) + "Stats ROI:\n77\n",
                 Header(kHeaderSlots)},
        ReadCase{"EmptyFileOrDirectory", "", Header({})},
        ReadCase{"ValuesOnKeyLinesAreLost", ValuesOnKeyLines(0, Vireo::kHeaderKeyCount),
                 Header({})},
        ReadCase{"MissingLuxValueShiftsEarlier", Join(Erased(kHeader, 1)),
                 Header({1, 64, 48, 3072, 30, 40, 10, 7, 1023, 1022, 1021, 1020, 3000, 8, 16, 1920,
                         1080})},
        ReadCase{"ValueBeforeFirstKeyShiftsLater", Join(Inserted(kHeader, 0, "42")),
                 Header({42, 250.5f, 1, 64, 48, 3072, 30, 40, 10, 7, 1023, 1022, 1021, 1020, 3000,
                         8, 16, 1920})},
        ReadCase{"MissingKeyTurnsLaterKeysIntoZeros", Join(Erased(kHeader, 16)),  // "Flags:"
                 Header({250.5f, 1, 64, 48, 3072, 30, 40, 10, 7, 0, 1023, 1022, 1021, 1020, 0, 3000,
                         0, 8})},
        ReadCase{"RepeatedKeyIsAZeroValue", Join(Inserted(kHeader, 4, "AECSettled:")),
                 Header({250.5f, 1, 0, 64, 48, 3072, 30, 40, 10, 7, 1023, 1022, 1021, 1020, 3000, 8,
                         16, 1920})},
        ReadCase{"BlankAndTextValuesAreZero", Join(Replaced(kHeader, {{17, ""}, {11, "abc"}})),
                 Header(Replaced(kHeaderSlots, {{8, 0.0f}, {5, 0.0f}}))},
        ReadCase{
            "SinglePrecisionBeforeTruncation",
            Join(Replaced(kHeader, {{3, "16777217"}, {5, "12.9"}, {7, "-3.7"}, {9, "2.99999999"}})),
            Header(Replaced(kHeaderSlots, {{1, 16777216.0f}, {2, 12.0f}, {3, -3.0f}, {4, 3.0f}}))},
        ReadCase{"NegativeRoiIsZero", Join(Replaced(kHeader, {{26, "-5"}, {29, "-1e12"}})),
                 Header(Replaced(kHeaderSlots, {{14, -5.0f}, {17, -1e12f}}))},
        ReadCase{"LongLineBeforeStatsRoiEndsHeader",
                 Join(Inserted(kHeader, 25, std::string(120, '1'))),
                 Header({kHeaderSlots.begin(), kHeaderSlots.begin() + 14})},
        ReadCase{"EndKeyWinsOverAwaitedKey",
                 Join(Replaced(kHeader, {{25, "Stats ROI: Num Calibration Factors:"}})),
                 Header({kHeaderSlots.begin(), kHeaderSlots.begin() + 14})},
        ReadCase{"Line100Ends", Join(Replaced(kHeader, {{1, k99 + " "}})), Header({})}),
    NameOf);

// ---- Calibration section

const Lines kCalibrationValues = {
    "3",   "2850", "4150", "5000", "6500", "7500", "10000",                          // count, CCTs
    "0.9", "0.91", "0.92", "0.93", "0.94", "0.95", "0.96",  "0.97", "0.98", "0.99",  // factors
    "1.0", "1.01", "1.02", "1.03", "1.04", "1.05", "1.06",  "1.07", "1.08", "1.09",
    "0.5", "0.6"};  // LED point
const std::vector<float> kCalibrationSlots = SlotsOf(kCalibrationValues);

// Key lines with their values: line 1 is the count, lines 3 to 8 the CCTs,
// 10 to 29 the factors, 31 and 32 the LED point. Fewer values leave the
// later keys without any.
const Lines kCalibration = CalibrationLines(kCalibrationValues);

// Between a header that must be passed over and a channel section that must
// not be read.
std::string CalibrationFile(const Lines& section, const char* lineEnd = "\n") {
    return "LuxIndex:\n250\nStats ROI:\n1\n2\n" + Join(section, lineEnd) +
           "R Sum:\n100\nSingle LED Calibration Point:\n0.25\n";
}

// The record that a count and the slots (slot 0 is the count as read) give.
std::vector<uint32_t> Calibration(uint32_t count, std::vector<float> slots) {
    slots.resize(Vireo::kCalibrationSlotCount, 0.0f);
    auto r = Filled<CalibrationData>(kPattern);
    r.numCalibrationFactors = count;
    for (int i = 0; i < 20; ++i) r.moduleCalibrationFactors[i] = count ? slots[7 + i] : 1.0f;
    if (count != 0) {
        for (int i = 0; i < 6; ++i) r.calibrationFactorCCTs[i] = slots[1 + i];
        for (int i = 0; i < 2; ++i) r.singleLEDCalibrationPoint[i] = slots[27 + i];
    }
    return Words(&r);
}

class CalibrationReaderTest : public testing::TestWithParam<ReadCase> {};
TEST_P(CalibrationReaderTest, FillsRecordFromValueSlots) {
    ExpectRead(kCalibrationReader, GetParam());
}

const std::vector<uint32_t> kComplete = Calibration(3, kCalibrationSlots);
const std::vector<uint32_t> kNoCalibration = Calibration(0, {});

INSTANTIATE_TEST_SUITE_P(
    Cases, CalibrationReaderTest,
    testing::Values(
        ReadCase{"Complete", CalibrationFile(kCalibration), kComplete},
        ReadCase{"NoSection", CalibrationFile({}), kNoCalibration},
        ReadCase{"ZeroCountDropsValues", CalibrationFile(Replaced(kCalibration, {{1, "0"}})),
                 kNoCalibration},
        ReadCase{"CountBelowOneIsZero", CalibrationFile(Replaced(kCalibration, {{1, "0.9"}})),
                 kNoCalibration},
        ReadCase{"CountTruncated", CalibrationFile(Replaced(kCalibration, {{1, "3.7"}})),
                 Calibration(3, Replaced(kCalibrationSlots, {{0, 3.7f}}))},
        ReadCase{"OnlyCctsGiveZeroFactors",
                 CalibrationFile(CalibrationLines({kCalibrationValues.begin(),
                                                   kCalibrationValues.begin() + 7})),
                 Calibration(3, {kCalibrationSlots.begin(), kCalibrationSlots.begin() + 7})},
        ReadCase{"ValuesOnKeyLinesAreLost",
                 ValuesOnKeyLines(Vireo::kHeaderKeyCount, Vireo::kCalibrationKeyCount),
                 kNoCalibration},
        ReadCase{"LongLineAmongFactorsEndsSection",
                 CalibrationFile(Inserted(kCalibration, 15, std::string(120, '1'))),
                 Calibration(3, {kCalibrationSlots.begin(), kCalibrationSlots.begin() + 12})},
        ReadCase{
            "EndKeyWinsOverAwaitedKey",
            CalibrationFile(Replaced(kCalibration, {{30, "R Sum: Single LED Calibration Point:"}})),
            Calibration(3, {kCalibrationSlots.begin(), kCalibrationSlots.begin() + 27})},
        ReadCase{"BlankLineIsZero", CalibrationFile(Replaced(kCalibration, {{3, ""}})),
                 Calibration(3, Replaced(kCalibrationSlots, {{1, 0.0f}}))},
        ReadCase{"MissingKeyTurnsLaterKeyIntoZero",
                 CalibrationFile(Erased(kCalibration, 9)),  // "Module Calibration Factors:"
                 Calibration(3, Replaced(kCalibrationSlots, {{27, 0.0f}, {28, 0.5f}}))}),
    NameOf);

// ---- Channel records

constexpr size_t kRegionsAllocated = 4;  // more than any case's N
constexpr int64_t U = INT64_MIN + 77;    // expected: the field keeps the pattern

// Expected fields of one record in file order: the R, G/GR, B and GB sums,
// then the counts in the same order.
using Row = std::array<int64_t, 8>;
using Grid = std::vector<Lines>;  // value lines of each subsection

const Grid kChannelValues = {{"100", "200"}, {"300", "400"}, {"500", "600"}, {"700", "800"},
                             {"1", "2"},     {"3", "4"},     {"5", "6"},     {"7", "8"}};
const std::vector<Row> kRows = {{100, 300, 500, 700, 1, 3, 5, 7}, {200, 400, 600, 800, 2, 4, 6, 8}};

// What stands before the channel section must be passed over, what stands
// after "R SatSum:" must not be read.
const std::string kBefore = "LuxIndex:\n250\nNum Calibration Factors:\n1\nGB Sum:\n9\n";

std::string ChannelFile(const Grid& values, const char* lineEnd = "\n") {
    std::string text = kBefore;
    for (size_t k = 0; k < values.size(); ++k) {
        text += std::string(Vireo::kChannelKeys[k]) + lineEnd + Join(values[k], lineEnd);
    }
    return text + "R SatSum:\n11\nR Sum:\n12\n";
}

Grid Changed(size_t subsection, Lines values) {
    return Replaced(kChannelValues, {{subsection, std::move(values)}});
}

std::vector<uint32_t> Regions(const std::vector<Row>& rows) {
    std::vector<Region> regions(kRegionsAllocated, Filled<Region>(kPattern));
    for (size_t i = 0; i < rows.size(); ++i) {
        Region& r = regions[i];
        int64_t* sums[] = {&r.rSum, &r.grSum, &r.bSum, &r.gbSum};
        uint16_t* counts[] = {&r.rCount, &r.grCount, &r.bCount, &r.gbCount};
        for (size_t k = 0; k < 4; ++k) {
            if (rows[i][k] != U) *sums[k] = rows[i][k];
            if (rows[i][4 + k] != U) *counts[k] = static_cast<uint16_t>(rows[i][4 + k]);
        }
    }
    return Words(regions.data(), regions.size());
}

class ChannelReaderTest : public testing::TestWithParam<ReadCase> {};
TEST_P(ChannelReaderTest, FillsNamedFieldsOfReachedRecords) {
    ExpectRead(ChannelReader(GetParam().regionCount), GetParam());
}

const std::string kWellFormed = ChannelFile(kChannelValues);

INSTANTIATE_TEST_SUITE_P(
    Cases, ChannelReaderTest,
    testing::Values(
        ReadCase{"WellFormed", kWellFormed, Regions(kRows), 2},
        ReadCase{"CarriageReturns", ChannelFile(kChannelValues, "\r\n"), Regions(kRows), 2},
        ReadCase{"SumsAndCountsConversion",
                 ChannelFile({{"5000000000", "1234.9", ""},
                              {"-7", "99999999999999999999", " +12\r"},
                              {"abc", "0x10", "-9223372036854775809"},
                              {"1e3", "\t42", "9"},
                              {"65537", "-1", "abc"},
                              {"70000.9", "", "4294967297"},
                              {"1", "2", "3"},
                              {"4", "5", "6"}}),
                 Regions({{5000000000, -7, 0, 1, 1, 4464, 1, 4},
                          {1234, INT64_MAX, 0, 42, 65535, 0, 2, 5},
                          {0, 12, INT64_MIN, 9, 0, 1, 3, 6}}),
                 3},
        ReadCase{"NoRegionsStoresNothing", kWellFormed, Regions({}), 0},
        ReadCase{"NegativeRegionCountStoresNothing", kWellFormed, Regions({}), -3},
        ReadCase{"RepeatedOwnKeyIsPassedOver", ChannelFile(Changed(0, {"100", "R Sum:", "200"})),
                 Regions(kRows), 2},
        ReadCase{"NoChannelSection", kBefore + "B Sum:\n5\nR sum:\n6\n", Regions({}), 2},
        ReadCase{"Line100EndsReading", ChannelFile(Changed(1, {"300", std::string(100, '4')})),
                 Regions({{100, 300, U, U, U, U, U, U}, {200, U, U, U, U, U, U, U}}), 2},
        ReadCase{"FileEndsInsideSection", kWellFormed.substr(0, kWellFormed.find("500\n") + 4),
                 Regions({{100, 300, 500, U, U, U, U, U}, {200, 400, U, U, U, U, U, U}}), 2}),
    NameOf);

// A subsection one value short leaves that field of the last record alone
// and ends at the next key; one value too many loses the surplus line.
// Both must hold in every position.
TEST(ChannelReader, ShortAndLongSubsectionsInEveryPosition) {
    for (size_t k = 0; k < Vireo::kChannelSubsectionCount; ++k) {
        SCOPED_TRACE(k);
        std::vector<Row> rows = kRows;
        rows[1][k] = U;
        const Lines& values = kChannelValues[k];
        ExpectRead(ChannelReader(2), {"", ChannelFile(Changed(k, {values[0]})), Regions(rows)});
        ExpectRead(ChannelReader(2),
                   {"", ChannelFile(Changed(k, {values[0], values[1], "9999"})), Regions(kRows)});
    }
}

// ---- Failures

// Each reader on a path that names no file must print exactly the open
// failure, return -1 and leave the records alone.
template <typename Record>
void ExpectMissingFileReported(const Reader<Record>& read, size_t count) {
    TempDir folder;
    std::string path = folder.path() + "/absent.txt";
    const std::vector<Record> before(count, Filled<Record>(kPattern));
    std::vector<Record> records = before;
    testing::internal::CaptureStdout();
    EXPECT_EQ(read(path.data(), records.data()), -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Unable to open file:" + path + "\n");
    EXPECT_EQ(Words(records.data(), count), Words(before.data(), count));
}

TEST(SampleReaders, MissingFileReportsAndLeavesRecordsAlone) {
    ExpectMissingFileReported(kHeaderReader, 1);
    ExpectMissingFileReported(kCalibrationReader, 1);
    ExpectMissingFileReported(ChannelReader(2), kRegionsAllocated);
}

TEST(ChannelReader, NullRecordsReportEvenWithoutFile) {
    std::string path = "/nonexistent/absent.txt";
    testing::internal::CaptureStdout();
    EXPECT_EQ(Vireo::ParseBGChannelInfo(path.data(), 2, nullptr), -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Invalid pointer to BayerGrid channel info buffer!\n");
}

}  // namespace
