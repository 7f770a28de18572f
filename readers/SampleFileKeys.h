// Key texts of the sample file. A line is a key line when it contains one of
// these texts anywhere (case-sensitive substring search); everything else on
// that line is ignored.
#ifndef VIREO_SAMPLE_FILE_KEYS_H
#define VIREO_SAMPLE_FILE_KEYS_H

#include <cstddef>

namespace Vireo {

// The ordered key table of the statistics header and the calibration
// section. The first kHeaderKeyCount keys belong to the header, in the order
// the header holds them; the rest are the calibration keys, also in order.
constexpr const char* kSampleFileKeys[] = {
    "LuxIndex:",
    "AECSettled:",
    "Horizontal Region Count:",
    "Vertical Region Count:",
    "Total Region Count:",
    "Region Width:",
    "Region Height:",
    "Bit Depth:",
    "Flags:",
    "Saturation Threshold:",
    "Valid Region Count:",
    "Stats ROI:",
    "Num Calibration Factors:",
    "Calibration Factor CCTs:",
    "Module Calibration Factors:",
    "Single LED Calibration Point:",
};
constexpr size_t kSampleFileKeyCount = sizeof kSampleFileKeys / sizeof kSampleFileKeys[0];
constexpr size_t kHeaderKeyCount = 12;
constexpr size_t kCalibrationKeyCount = kSampleFileKeyCount - kHeaderKeyCount;
static_assert(kCalibrationKeyCount == 4, "four calibration keys follow the header keys");

// Values the header and the calibration section carry, one per value line.
constexpr size_t kHeaderSlotCount = 18;
constexpr size_t kCalibrationSlotCount = 29;

// Value lines below each key of kSampleFileKeys, in table order: the
// statistics header (four saturation thresholds, four ROI values), then the
// calibration section (a factor count, six CCTs, twenty module factors and
// the two values of the LED point).
constexpr size_t kValueLinesPerKey[] = {1, 1, 1, 1, 1, 1, 1, 1, 1, 4, 1, 4, 1, 6, 20, 2};
static_assert(sizeof kValueLinesPerKey / sizeof kValueLinesPerKey[0] == kSampleFileKeyCount,
              "one entry per key");

constexpr size_t SumOfValueLines(size_t first, size_t count) {
    size_t sum = 0;
    for (size_t key = first; key < first + count; ++key) sum += kValueLinesPerKey[key];
    return sum;
}
static_assert(SumOfValueLines(0, kHeaderKeyCount) == kHeaderSlotCount,
              "the header keys carry every header slot");
static_assert(SumOfValueLines(kHeaderKeyCount, kCalibrationKeyCount) == kCalibrationSlotCount,
              "the calibration keys carry every calibration slot");

// The first calibration key ends the header; the first channel key ends the
// calibration section.
constexpr const char* kHeaderEndKey = "Num Calibration Factors:";
constexpr const char* kCalibrationEndKey = "R Sum:";

// Keys of the channel section in file order. The key after the last
// subsection ends the section. Some keys contain others ("G/GR Sum:" holds
// "R Sum:"), so a subsection always tests for its successor before itself.
constexpr const char* kChannelKeys[] = {
    "R Sum:",      "G/GR Sum:", "B Sum:",    "GB Sum:",   "R Count:",
    "G/GR Count:", "B Count:",  "GB Count:", "R SatSum:",
};
constexpr size_t kChannelSubsectionCount = 8;
static_assert(sizeof kChannelKeys / sizeof kChannelKeys[0] == kChannelSubsectionCount + 1,
              "every subsection has a key and a successor");

}  // namespace Vireo

#endif  // VIREO_SAMPLE_FILE_KEYS_H
