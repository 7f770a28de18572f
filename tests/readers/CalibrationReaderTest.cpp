// Calibration section reader: every case runs on the fast reader and on the
// textbook one. Records start with a byte pattern so that the fields a zero
// count leaves alone are checked too.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ReaderTestSupport.h"
#include "SampleFileKeys.h"
#include "SampleReaders.h"
#include "StraightforwardReaders.h"

namespace {

using Vireo::CalibrationData;
using namespace Vireo::Testing;

const struct {
    const char* name;
    int32_t (*parse)(char*, CalibrationData*);
} kReaders[] = {{"fast", Vireo::ParseCalibrationInfo},
                {"textbook", Vireo::Straightforward::ParseCalibrationInfo}};

constexpr unsigned char kPattern = 0x3C;

// A header that must be passed over, and a channel section that must not be read.
const std::string kHeader = "LuxIndex:\n250\nStats ROI:\n1\n2\n";
const std::string kChannel = "R Sum:\n100\nSingle LED Calibration Point:\n0.25\n";

// The count, six CCTs, twenty factors and the LED point; the first keep of them.
Lines ValueLines(size_t keep = Vireo::kCalibrationSlotCount) {
    Lines values = {"3", "2850", "4150", "5000", "6500", "7500", "10000"};
    for (int i = 0; i < 20; ++i) values.push_back(std::to_string(0.9 + i * 0.01));
    values.push_back("0.5");
    values.push_back("0.6");
    values.resize(keep);
    return values;
}

std::vector<float> ValueSlots(size_t keep = Vireo::kCalibrationSlotCount) {
    std::vector<float> slots;
    for (const std::string& value : ValueLines(keep)) {
        slots.push_back(static_cast<float>(std::stod(value)));
    }
    return slots;
}

// Key lines with their values: line 1 is the count, lines 3 to 8 the CCTs,
// 10 to 29 the factors, 31 and 32 the LED point. Fewer values leave the
// later keys without any.
Lines CalibrationLines(const Lines& values = ValueLines()) {
    return SectionLines(Vireo::kSampleFileKeys + Vireo::kHeaderKeyCount, kCalibrationValuesPerKey,
                        values);
}

std::string File(const Lines& section, const char* lineEnd = "\n") {
    return kHeader + Join(section, lineEnd) + kChannel;
}

// The record that a count and the slots after it give.
CalibrationData Expected(uint32_t count, std::vector<float> slots) {
    slots.resize(Vireo::kCalibrationSlotCount, 0.0f);
    auto r = Filled<CalibrationData>(kPattern);
    r.numCalibrationFactors = count;
    for (int i = 0; i < 20; ++i) r.moduleCalibrationFactors[i] = count ? slots[7 + i] : 1.0f;
    if (count != 0) {
        for (int i = 0; i < 6; ++i) r.calibrationFactorCCTs[i] = slots[1 + i];
        for (int i = 0; i < 2; ++i) r.singleLEDCalibrationPoint[i] = slots[27 + i];
    }
    return r;
}

struct CalibrationCase {
    const char* name;
    std::string content;
    uint32_t count;
    std::vector<float> slots;  // slot 0 is the count as read
};

void PrintTo(const CalibrationCase& c, std::ostream* os) { *os << c.name; }

class CalibrationReaderTest : public testing::TestWithParam<CalibrationCase> {};

TEST_P(CalibrationReaderTest, FillsRecordFromValueSlots) {
    for (const auto& reader : kReaders) {
        SCOPED_TRACE(reader.name);
        ExpectRead<CalibrationData>(reader.parse, GetParam().content,
                                    {Expected(GetParam().count, GetParam().slots)}, kPattern);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, CalibrationReaderTest,
    testing::Values(
        CalibrationCase{"Complete", File(CalibrationLines()), 3, ValueSlots()},
        CalibrationCase{"CarriageReturns", File(CalibrationLines(), "\r\n"), 3, ValueSlots()},
        CalibrationCase{"EmptyFileOrDirectory", "", 0, {}},
        CalibrationCase{"NoSection", kHeader + kChannel, 0, {}},
        CalibrationCase{
            "ZeroCountDropsValues", File(Replaced(CalibrationLines(), {{1, "0"}})), 0, {}},
        CalibrationCase{
            "CountBelowOneIsZero", File(Replaced(CalibrationLines(), {{1, "0.9"}})), 0, {}},
        CalibrationCase{"CountTruncated", File(Replaced(CalibrationLines(), {{1, "3.7"}})), 3,
                        Replaced(ValueSlots(), {{0, 3.7f}})},
        CalibrationCase{"OnlyCctsGiveZeroFactors", File(CalibrationLines(ValueLines(7))), 3,
                        ValueSlots(7)},
        CalibrationCase{
            "ValuesOnKeyLinesAreLost",
            File(ValuesOnKeyLines(Vireo::kSampleFileKeys + 12, 4, {"3", "3", "3", "3"})),
            0,
            {}},
        CalibrationCase{"LongLineAmongFactorsEndsSection",
                        File(Inserted(CalibrationLines(), 15, std::string(120, '1'))), 3,
                        ValueSlots(12)},
        CalibrationCase{"Line99IsRead",
                        File(Replaced(CalibrationLines(), {{1, "3" + std::string(98, ' ')}})), 3,
                        ValueSlots()},
        CalibrationCase{"ThirtiethValueIgnored", File(Inserted(CalibrationLines(), 33, "7")), 3,
                        ValueSlots()},
        CalibrationCase{"BlankLineIsZero", File(Replaced(CalibrationLines(), {{3, ""}})), 3,
                        Replaced(ValueSlots(), {{1, 0.0f}})},
        CalibrationCase{"MissingKeyTurnsLaterKeyIntoZero",
                        File(Erased(CalibrationLines(), 9)),  // "Module Calibration Factors:"
                        3, Replaced(ValueSlots(), {{27, 0.0f}, {28, 0.5f}})}),
    [](const testing::TestParamInfo<CalibrationCase>& info) {
        return std::string(info.param.name);
    });

TEST(CalibrationReader, MissingFileReportsAndLeavesRecordAlone) {
    for (const auto& reader : kReaders) {
        SCOPED_TRACE(reader.name);
        ExpectMissingFileReported<CalibrationData>(reader.parse, 1, kPattern);
    }
}

}  // namespace
