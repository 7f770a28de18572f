// Channel records reader: every case runs on the fast reader and on the
// textbook one, on more records than the region count, all pre-filled with a
// byte pattern, so that fields and records the reader must leave alone are
// checked too.
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "ReaderTestSupport.h"
#include "SampleFileKeys.h"
#include "SampleReaders.h"
#include "StraightforwardReaders.h"

namespace {

using Record = StatsBayerGridChannelInfoS;
using namespace Vireo::Testing;
using Grid = std::vector<Lines>;  // value lines of each subsection

const struct {
    const char* name;
    int32_t (*parse)(char*, int, Record*);
} kReaders[] = {{"fast", Vireo::ParseBGChannelInfo},
                {"textbook", Vireo::Straightforward::ParseBGChannelInfo}};

constexpr unsigned char kPattern = 0x5A;
constexpr size_t kRecordsAllocated = 4;  // more than any case's region count
constexpr int64_t U = INT64_MIN + 77;    // expected: the field keeps the pattern

// Expected fields of one record in file order: the R, G/GR, B and GB sums,
// then the counts in the same order.
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
        text += std::string(Vireo::kChannelKeys[k]) + lineEnd + Join(values[k], lineEnd);
    }
    return text + kAfter;
}

Grid Changed(size_t subsection, Lines values) {
    Grid grid = kValues;
    grid[subsection] = std::move(values);
    return grid;
}

std::vector<Record> Expected(const std::vector<Row>& rows) {
    std::vector<Record> records(kRecordsAllocated, Filled<Record>(kPattern));
    for (size_t i = 0; i < rows.size(); ++i) {
        Record& r = records[i];
        int64_t* sums[] = {&r.rSum, &r.grSum, &r.bSum, &r.gbSum};
        uint16_t* counts[] = {&r.rCount, &r.grCount, &r.bCount, &r.gbCount};
        for (size_t k = 0; k < 4; ++k) {
            if (rows[i][k] != U) *sums[k] = rows[i][k];
            if (rows[i][4 + k] != U) *counts[k] = static_cast<uint16_t>(rows[i][4 + k]);
        }
    }
    return records;
}

void ExpectReadAs(const std::string& content, int regionCount, const std::vector<Row>& rows) {
    for (const auto& reader : kReaders) {
        SCOPED_TRACE(reader.name);
        ExpectRead(
            [&](char* path, Record* records) { return reader.parse(path, regionCount, records); },
            content, Expected(rows), kPattern);
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

const std::string kWellFormed = ChannelText(kValues);

INSTANTIATE_TEST_SUITE_P(
    Cases, ChannelReaderTest,
    testing::Values(ChannelCase{"WellFormed", 2, kWellFormed, kRows},
                    ChannelCase{"CarriageReturns", 2, ChannelText(kValues, "\r\n"), kRows},
                    ChannelCase{"EmptyFileOrDirectory", 2, "", {}},
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
                    ChannelCase{"NoRegionsStoresNothing", 0, kWellFormed, {}},
                    ChannelCase{"NegativeRegionCountStoresNothing", -3, kWellFormed, {}},
                    ChannelCase{"RepeatedOwnKeyIsPassedOver", 2,
                                ChannelText(Changed(0, {"100", "R Sum:", "200"})), kRows},
                    ChannelCase{"NoChannelSection", 2, kBefore + "B Sum:\n5\nR sum:\n6\n", {}},
                    ChannelCase{"Line100EndsReading",
                                2,
                                ChannelText(Changed(1, {"300", std::string(100, '4')})),
                                {{100, 300, U, U, U, U, U, U}, {200, U, U, U, U, U, U, U}}},
                    ChannelCase{"Line99IsRead", 2,
                                ChannelText(Changed(1, {"300", "400" + std::string(96, ' ')})),
                                kRows},
                    ChannelCase{"FileEndsInsideSection",
                                2,
                                kWellFormed.substr(0, kWellFormed.find("500\n") + 4),
                                {{100, 300, 500, U, U, U, U, U}, {200, 400, U, U, U, U, U, U}}}),
    [](const testing::TestParamInfo<ChannelCase>& info) { return std::string(info.param.name); });

// A subsection one value short leaves that field of the last record alone
// and ends at the next key; one value too many loses the surplus line.
// Both must hold in every position.
TEST(ChannelReader, ShortAndLongSubsectionsInEveryPosition) {
    for (size_t k = 0; k < Vireo::kChannelSubsectionCount; ++k) {
        SCOPED_TRACE(k);
        std::vector<Row> rows = kRows;
        rows[1][k] = U;
        ExpectReadAs(ChannelText(Changed(k, {kValues[k][0]})), 2, rows);
        ExpectReadAs(ChannelText(Changed(k, {kValues[k][0], kValues[k][1], "9999"})), 2, kRows);
    }
}

TEST(ChannelReader, NullRecordsAndMissingFileReport) {
    TempFolder folder;
    std::string missing = folder.Path() + "/absent.txt";
    for (const auto& reader : kReaders) {
        testing::internal::CaptureStdout();
        EXPECT_EQ(reader.parse(missing.data(), 2, nullptr), -1) << reader.name;
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  "Invalid pointer to BayerGrid channel info buffer!\n");
        ExpectMissingFileReported<Record>(
            [&](char* path, Record* records) { return reader.parse(path, 2, records); },
            kRecordsAllocated, kPattern);
    }
}

}  // namespace
