// Channel records reader: every case runs against the fast reader and the
// straightforward one, on records pre-filled with a byte pattern so that
// fields the reader must leave alone are checked too.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "ReaderTestSupport.h"
#include "SampleFileKeys.h"
#include "SampleReaders.h"
#include "StraightforwardReaders.h"

namespace {

using Record = StatsBayerGridChannelInfoS;
using Grid = std::vector<std::vector<std::string>>;  // [subsection][region] value lines

struct ChannelReader {
    const char* name;
    int32_t (*parse)(char*, int, Record*);
};
const ChannelReader kReaders[] = {{"fast", Vireo::ParseBGChannelInfo},
                                  {"straightforward", Vireo::Straightforward::ParseBGChannelInfo}};

constexpr unsigned char kPattern = 0x5A;
constexpr int64_t kUntouched = INT64_MIN + 77;  // expected: the field keeps the pattern
constexpr int kRecordsAllocated = 4;            // more than any case's region count

// Expected fields of one record in file order: R, G/GR, B, GB sums, then
// the counts in the same order.
using Row = std::array<int64_t, 8>;

const Grid kValues = {{"100", "200"}, {"300", "400"}, {"500", "600"}, {"700", "800"},
                      {"1", "2"},     {"3", "4"},     {"5", "6"},     {"7", "8"}};
const std::vector<Row> kRows = {{100, 300, 500, 700, 1, 3, 5, 7}, {200, 400, 600, 800, 2, 4, 6, 8}};

// The rest of a sample file around the channel section, passed over or never reached.
const std::string kBefore = "LuxIndex:\n250\nNum Calibration Factors:\n1\nGB Sum:\n9\n";
const std::string kAfter = "R SatSum:\n11\nR Sum:\n12\n";

std::string ChannelText(const Grid& values, const char* lineEnd = "\n") {
    std::string text = kBefore;
    for (size_t k = 0; k < values.size(); ++k) {
        text += std::string(Vireo::kChannelKeys[k]) + lineEnd;
        for (const std::string& value : values[k]) {
            text += value + lineEnd;
        }
    }
    return text + kAfter;
}

void ExpectRecords(const Record* records, const std::vector<Row>& rows, const char* reader) {
    SCOPED_TRACE(reader);
    Record pattern;
    std::memset(&pattern, kPattern, sizeof pattern);
    for (int i = 0; i < kRecordsAllocated; ++i) {
        const Record& r = records[i];
        Row row;
        row.fill(kUntouched);
        if (static_cast<size_t>(i) < rows.size()) {
            row = rows[static_cast<size_t>(i)];
        }
        auto expectSum = [&](int64_t actual, int64_t expected, int64_t untouched) {
            EXPECT_EQ(actual, expected == kUntouched ? untouched : expected) << "record " << i;
        };
        auto expectCount = [&](uint16_t actual, int64_t expected, uint16_t untouched) {
            EXPECT_EQ(actual, expected == kUntouched ? untouched : expected) << "record " << i;
        };
        expectSum(r.rSum, row[0], pattern.rSum);
        expectSum(r.grSum, row[1], pattern.grSum);
        expectSum(r.bSum, row[2], pattern.bSum);
        expectSum(r.gbSum, row[3], pattern.gbSum);
        expectCount(r.rCount, row[4], pattern.rCount);
        expectCount(r.grCount, row[5], pattern.grCount);
        expectCount(r.bCount, row[6], pattern.bCount);
        expectCount(r.gbCount, row[7], pattern.gbCount);
        EXPECT_EQ(std::memcmp(r.reserved1, pattern.reserved1, sizeof r.reserved1), 0) << i;
        EXPECT_EQ(std::memcmp(r.reserved2, pattern.reserved2, sizeof r.reserved2), 0) << i;
    }
}

void ExpectReadAs(const std::string& content, int regionCount, const std::vector<Row>& rows) {
    Vireo::Testing::TempFolder folder;
    std::string path = folder.Write("sample.txt", content);
    for (const ChannelReader& reader : kReaders) {
        Record records[kRecordsAllocated];
        std::memset(records, kPattern, sizeof records);
        ASSERT_EQ(reader.parse(path.data(), regionCount, records), 0) << reader.name;
        ExpectRecords(records, rows, reader.name);
    }
}

struct ChannelCase {
    const char* name;
    int regionCount;
    std::string content;
    std::vector<Row> rows;
};

void PrintTo(const ChannelCase& c, std::ostream* os) { *os << c.name; }

class ChannelReaderTest : public testing::TestWithParam<ChannelCase> {};

TEST_P(ChannelReaderTest, FillsNamedFieldsOfReachedRecords) {
    ExpectReadAs(GetParam().content, GetParam().regionCount, GetParam().rows);
}

Grid Changed(size_t subsection, std::vector<std::string> values) {
    Grid grid = kValues;
    grid[subsection] = std::move(values);
    return grid;
}

constexpr int64_t U = kUntouched;

INSTANTIATE_TEST_SUITE_P(
    Cases, ChannelReaderTest,
    testing::Values(
        ChannelCase{"WellFormed", 2, ChannelText(kValues), kRows},
        ChannelCase{"CarriageReturns", 2, ChannelText(kValues, "\r\n"), kRows},
        ChannelCase{"SumsAndCountsConversion",
                    3,
                    ChannelText({{"5000000000", "1234.9", ""},
                                 {"-7", "99999999999999999999", " +12\r"},
                                 {"abc", "0x10", "-9223372036854775809"},
                                 {"1e3", "\t42", "9"},
                                 {"65537", "-1", "abc"},
                                 {"70000.9", "", "4294967297"},
                                 {"1", "2", "3"},
                                 {"4", "5", "6"}}),
                    {{5000000000, -7, 0, 1, 1, 4464, 1, 4},
                     {1234, INT64_MAX, 0, 42, 65535, 0, 2, 5},
                     {0, 12, INT64_MIN, 9, 0, 1, 3, 6}}},
        ChannelCase{"NoRegionsStoresNothing", 0, ChannelText(kValues), {}},
        ChannelCase{"NegativeRegionCountStoresNothing", -3, ChannelText(kValues), {}},
        ChannelCase{"RepeatedOwnKeyIsPassedOver", 2,
                    ChannelText(Changed(0, {"100", "R Sum:", "200"})), kRows},
        ChannelCase{"NoChannelSection", 2, kBefore + "B Sum:\n5\nR sum:\n6\n", {}},
        ChannelCase{"LongLineEndsReading",
                    2,
                    ChannelText(Changed(1, {"300", std::string(100, '4')})),
                    {{100, 300, U, U, U, U, U, U}, {200, U, U, U, U, U, U, U}}},
        ChannelCase{"Line99IsRead", 2,
                    ChannelText(Changed(1, {"300", "400" + std::string(96, ' ')})), kRows},
        ChannelCase{"FileEndsInsideSection",
                    2,
                    ChannelText(kValues).substr(0, ChannelText(kValues).find("500\n") + 4),
                    {{100, 300, 500, U, U, U, U, U}, {200, 400, U, U, U, U, U, U}}}),
    [](const testing::TestParamInfo<ChannelCase>& info) { return std::string(info.param.name); });

// A subsection one value short leaves that field of the last record alone
// and ends at the next key; one value too many loses the surplus line.
// Both must hold in every position.
TEST(ChannelReaderShape, ShortAndLongSubsectionsInEveryPosition) {
    for (size_t k = 0; k < Vireo::kChannelSubsectionCount; ++k) {
        SCOPED_TRACE(k);
        std::vector<Row> rows = kRows;
        rows[1][k] = kUntouched;
        ExpectReadAs(ChannelText(Changed(k, {kValues[k][0]})), 2, rows);
        ExpectReadAs(ChannelText(Changed(k, {kValues[k][0], kValues[k][1], "9999"})), 2, kRows);
    }
}

TEST(ChannelReaderFiles, NullRecordsAndMissingFileReport) {
    Vireo::Testing::TempFolder folder;
    std::string missing = folder.Path() + "/absent.txt";
    for (const ChannelReader& reader : kReaders) {
        testing::internal::CaptureStdout();
        EXPECT_EQ(reader.parse(missing.data(), 2, nullptr), -1) << reader.name;
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  "Invalid pointer to BayerGrid channel info buffer!\n");
        Record records[kRecordsAllocated];
        std::memset(records, kPattern, sizeof records);
        testing::internal::CaptureStdout();
        EXPECT_EQ(reader.parse(missing.data(), 2, records), -1) << reader.name;
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "Unable to open file:" + missing + "\n");
        ExpectRecords(records, {}, reader.name);
    }
}

TEST(ChannelReaderFiles, DirectoryReadsAsEmptyFile) {
    Vireo::Testing::TempFolder folder;
    std::string path = folder.Path();
    for (const ChannelReader& reader : kReaders) {
        Record records[kRecordsAllocated];
        std::memset(records, kPattern, sizeof records);
        EXPECT_EQ(reader.parse(path.data(), 2, records), 0) << reader.name;
        ExpectRecords(records, {}, reader.name);
    }
}

}  // namespace
