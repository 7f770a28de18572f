// Calibration section reader: every case runs against the fast reader and
// the straightforward one. Records start with a byte pattern so that the
// fields a zero count leaves alone are checked too.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "ReaderTestSupport.h"
#include "SampleFileKeys.h"
#include "SampleReaders.h"
#include "StraightforwardReaders.h"

namespace {

using Vireo::CalibrationData;
using Lines = std::vector<std::string>;

struct CalibrationReader {
    const char* name;
    int32_t (*parse)(char*, CalibrationData*);
};
const CalibrationReader kReaders[] = {
    {"fast", Vireo::ParseCalibrationInfo},
    {"straightforward", Vireo::Straightforward::ParseCalibrationInfo}};

constexpr unsigned char kPattern = 0x3C;

// A header that must be passed over, and a channel section that must not be read.
const std::string kHeader = "LuxIndex:\n250\nStats ROI:\n1\n2\n";
const std::string kChannel = "R Sum:\n100\nSingle LED Calibration Point:\n0.25\n";

Lines ValueLines() {
    Lines values = {"3", "2850", "4150", "5000", "6500", "7500", "10000"};
    for (int i = 0; i < 20; ++i) {
        values.push_back(std::to_string(0.9 + i * 0.01));
    }
    values.push_back("0.5");
    values.push_back("0.6");
    return values;
}

Lines FirstValues(size_t count) {
    Lines values = ValueLines();
    values.resize(count);
    return values;
}

std::vector<float> ValueSlots() {
    std::vector<float> slots;
    for (const std::string& value : ValueLines()) {
        slots.push_back(static_cast<float>(std::stod(value)));
    }
    return slots;
}

// Key lines with their values; a value list shorter than 29 leaves the
// later keys without values.
Lines SectionLines(const Lines& values = ValueLines()) {
    Lines lines;
    size_t next = 0;
    for (size_t k = 0; k < Vireo::kCalibrationKeyCount; ++k) {
        lines.push_back(Vireo::kSampleFileKeys[Vireo::kHeaderKeyCount + k]);
        for (int i = 0; i < Vireo::Testing::CalibrationValuesPerKey()[k] && next < values.size();
             ++i) {
            lines.push_back(values[next++]);
        }
    }
    return lines;
}

std::string File(const Lines& section, const char* lineEnd = "\n") {
    std::string text = kHeader;
    for (const std::string& line : section) {
        text += line + lineEnd;
    }
    return text + kChannel;
}

Lines With(Lines lines, size_t at, const std::string& line, bool replace) {
    if (replace) {
        lines[at] = line;
    } else {
        lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(at), line);
    }
    return lines;
}

struct CalibrationCase {
    const char* name;
    std::string content;
    uint32_t count;
    std::vector<float> slots;  // slots 2 to 29 as stored when count is not 0
};

void PrintTo(const CalibrationCase& c, std::ostream* os) { *os << c.name; }

void ExpectRecord(const CalibrationData& r, uint32_t count, std::vector<float> slots,
                  const char* reader) {
    SCOPED_TRACE(reader);
    CalibrationData pattern;
    std::memset(&pattern, kPattern, sizeof pattern);
    slots.resize(Vireo::kCalibrationSlotCount, 0.0f);
    EXPECT_EQ(r.numCalibrationFactors, count);
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(r.calibrationFactorCCTs[i],
                  count ? slots[1 + i] : pattern.calibrationFactorCCTs[i])
            << i;
    }
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(r.moduleCalibrationFactors[i], count ? slots[7 + i] : 1.0f) << i;
    }
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(r.singleLEDCalibrationPoint[i],
                  count ? slots[27 + i] : pattern.singleLEDCalibrationPoint[i])
            << i;
    }
}

class CalibrationReaderTest : public testing::TestWithParam<CalibrationCase> {};

TEST_P(CalibrationReaderTest, FillsRecordFromValueSlots) {
    Vireo::Testing::TempFolder folder;
    std::string path = folder.Write("sample.txt", GetParam().content);
    for (const CalibrationReader& reader : kReaders) {
        CalibrationData record;
        std::memset(&record, kPattern, sizeof record);
        ASSERT_EQ(reader.parse(path.data(), &record), 0) << reader.name;
        ExpectRecord(record, GetParam().count, GetParam().slots, reader.name);
    }
}

std::vector<float> SlotsWith(std::vector<std::pair<size_t, float>> changes, size_t keep = 29) {
    std::vector<float> slots = ValueSlots();
    slots.resize(keep);
    for (const auto& change : changes) {
        slots[change.first] = change.second;
    }
    return slots;
}

Lines ValuesOnKeyLines() {
    Lines lines;
    for (size_t k = 0; k < Vireo::kCalibrationKeyCount; ++k) {
        lines.push_back(std::string(Vireo::kSampleFileKeys[Vireo::kHeaderKeyCount + k]) + " 3");
    }
    return lines;
}

Lines WithoutModuleKey() {
    Lines lines = SectionLines();
    lines.erase(lines.begin() + 9);  // "Module Calibration Factors:"
    return lines;
}

INSTANTIATE_TEST_SUITE_P(
    Cases, CalibrationReaderTest,
    testing::Values(
        CalibrationCase{"Complete", File(SectionLines()), 3, ValueSlots()},
        CalibrationCase{"CarriageReturns", File(SectionLines(), "\r\n"), 3, ValueSlots()},
        CalibrationCase{"NoSection", kHeader + kChannel, 0, {}},
        CalibrationCase{"ZeroCountDropsValues", File(With(SectionLines(), 1, "0", true)), 0, {}},
        CalibrationCase{"CountBelowOneIsZero", File(With(SectionLines(), 1, "0.9", true)), 0, {}},
        CalibrationCase{"CountTruncated", File(With(SectionLines(), 1, "3.7", true)), 3,
                        SlotsWith({{0, 3.7f}})},
        CalibrationCase{"OnlyCctsGiveZeroFactors", File(SectionLines(FirstValues(7))), 3,
                        SlotsWith({}, 7)},
        CalibrationCase{"ValuesOnKeyLinesAreLost", File(ValuesOnKeyLines()), 0, {}},
        CalibrationCase{"LongLineAmongFactorsEndsSection",
                        File(With(SectionLines(), 15, std::string(120, '1'), false)), 3,
                        SlotsWith({}, 12)},
        CalibrationCase{"Line99IsRead",
                        File(With(SectionLines(), 1, "3" + std::string(98, ' '), true)), 3,
                        ValueSlots()},
        CalibrationCase{"ThirtiethValueIgnored", File(With(SectionLines(), 33, "7", false)), 3,
                        ValueSlots()},
        CalibrationCase{"BlankLineIsZero", File(With(SectionLines(), 3, "", true)), 3,
                        SlotsWith({{1, 0.0f}})},
        CalibrationCase{"MissingKeyTurnsLaterKeyIntoZero", File(WithoutModuleKey()), 3,
                        SlotsWith({{27, 0.0f}, {28, 0.5f}})}),
    [](const testing::TestParamInfo<CalibrationCase>& info) {
        return std::string(info.param.name);
    });

TEST(CalibrationReaderFiles, MissingFileReportsAndLeavesRecordAlone) {
    Vireo::Testing::TempFolder folder;
    std::string missing = folder.Path() + "/absent.txt";
    for (const CalibrationReader& reader : kReaders) {
        CalibrationData record;
        std::memset(&record, kPattern, sizeof record);
        const CalibrationData before = record;
        testing::internal::CaptureStdout();
        EXPECT_EQ(reader.parse(missing.data(), &record), -1) << reader.name;
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "Unable to open file:" + missing + "\n");
        EXPECT_EQ(std::memcmp(&record, &before, sizeof record), 0) << reader.name;
    }
}

TEST(CalibrationReaderFiles, DirectoryReadsAsEmptyFile) {
    Vireo::Testing::TempFolder folder;
    std::string path = folder.Path();
    for (const CalibrationReader& reader : kReaders) {
        CalibrationData record;
        std::memset(&record, kPattern, sizeof record);
        EXPECT_EQ(reader.parse(path.data(), &record), 0) << reader.name;
        ExpectRecord(record, 0, {}, reader.name);
    }
}

}  // namespace
