// The layout of a sample file, in one table: which keys, in which order, how
// many value lines follow each and which record field they fill. The
// readers, the sample-file writer and the tests all work from it.
//
// A line is a key line when it contains one of the key texts anywhere
// (case-sensitive substring search); everything else on that line is
// ignored.
#ifndef VIREO_SAMPLE_FILE_KEYS_H
#define VIREO_SAMPLE_FILE_KEYS_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "FloatToInteger.h"
#include "vireo/SampleRecords.h"

namespace Vireo {

// How a value slot (the value line as a single-precision number) is stored
// in its field: as it is, or truncated to a 32-bit integer (FloatToInteger.h).
enum class SampleValueType : uint8_t { kFloat, kInt32, kUInt32 };

// One key of the statistics header (fields of ChannelData) or of the
// calibration section (fields of CalibrationData). Every field element is
// four bytes and takes one value line, so a field's size gives the number of
// value lines below its key.
struct SampleFileKey {
    const char* text;
    size_t fieldOffset;
    size_t valueCount;
    SampleValueType type;
};

#define VIREO_SAMPLE_FIELD(Record, field) offsetof(Record, field), sizeof(Record::field) / 4

// The statistics header's keys in file order, then the calibration keys.
constexpr SampleFileKey kSampleFileKeys[] = {
    {"LuxIndex:", VIREO_SAMPLE_FIELD(ChannelData, luxIndex), SampleValueType::kFloat},
    {"AECSettled:", VIREO_SAMPLE_FIELD(ChannelData, aecSettled), SampleValueType::kInt32},
    {"Horizontal Region Count:", VIREO_SAMPLE_FIELD(ChannelData, horizontalRegionCount),
     SampleValueType::kInt32},
    {"Vertical Region Count:", VIREO_SAMPLE_FIELD(ChannelData, verticalRegionCount),
     SampleValueType::kInt32},
    {"Total Region Count:", VIREO_SAMPLE_FIELD(ChannelData, totalRegionCount),
     SampleValueType::kInt32},
    {"Region Width:", VIREO_SAMPLE_FIELD(ChannelData, regionWidth), SampleValueType::kInt32},
    {"Region Height:", VIREO_SAMPLE_FIELD(ChannelData, regionHeight), SampleValueType::kInt32},
    {"Bit Depth:", VIREO_SAMPLE_FIELD(ChannelData, bitDepth), SampleValueType::kInt32},
    {"Flags:", VIREO_SAMPLE_FIELD(ChannelData, flags), SampleValueType::kInt32},
    {"Saturation Threshold:", VIREO_SAMPLE_FIELD(ChannelData, saturationThreshold),
     SampleValueType::kInt32},
    {"Valid Region Count:", VIREO_SAMPLE_FIELD(ChannelData, validRegionCount),
     SampleValueType::kInt32},
    {"Stats ROI:", VIREO_SAMPLE_FIELD(ChannelData, statsROI), SampleValueType::kUInt32},

    {"Num Calibration Factors:", VIREO_SAMPLE_FIELD(CalibrationData, numCalibrationFactors),
     SampleValueType::kUInt32},
    {"Calibration Factor CCTs:", VIREO_SAMPLE_FIELD(CalibrationData, calibrationFactorCCTs),
     SampleValueType::kFloat},
    {"Module Calibration Factors:", VIREO_SAMPLE_FIELD(CalibrationData, moduleCalibrationFactors),
     SampleValueType::kFloat},
    {"Single LED Calibration Point:",
     VIREO_SAMPLE_FIELD(CalibrationData, singleLEDCalibrationPoint), SampleValueType::kFloat},
};

#undef VIREO_SAMPLE_FIELD

// Names for the rows of kSampleFileKeys, for code that sets one value.
enum SampleKey : size_t {
    kLuxIndexKey,
    kAecSettledKey,
    kHorizontalRegionCountKey,
    kVerticalRegionCountKey,
    kTotalRegionCountKey,
    kRegionWidthKey,
    kRegionHeightKey,
    kBitDepthKey,
    kFlagsKey,
    kSaturationThresholdKey,
    kValidRegionCountKey,
    kStatsRoiKey,
    kNumCalibrationFactorsKey,
    kCalibrationFactorCctsKey,
    kModuleCalibrationFactorsKey,
    kSingleLedCalibrationPointKey,
    kSampleFileKeyCount
};
static_assert(kSampleFileKeyCount == sizeof kSampleFileKeys / sizeof kSampleFileKeys[0],
              "a name for every key");
constexpr size_t kHeaderKeyCount = kNumCalibrationFactorsKey;
constexpr size_t kCalibrationKeyCount = kSampleFileKeyCount - kHeaderKeyCount;

constexpr size_t ValueLinesOfKeys(size_t first, size_t count) {
    size_t lines = 0;
    for (size_t key = first; key < first + count; ++key) lines += kSampleFileKeys[key].valueCount;
    return lines;
}

// Values the header and the calibration section carry, one per value line.
constexpr size_t kHeaderSlotCount = ValueLinesOfKeys(0, kHeaderKeyCount);
constexpr size_t kCalibrationSlotCount = ValueLinesOfKeys(kHeaderKeyCount, kCalibrationKeyCount);

// The slot, within its section, of the first value of key.
constexpr size_t FirstSlotOf(SampleKey key) {
    return key < kHeaderKeyCount ? ValueLinesOfKeys(0, key)
                                 : ValueLinesOfKeys(kHeaderKeyCount, key - kHeaderKeyCount);
}

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

// After "R SatSum:" a recorder writes the saturated sums of the other
// channels under these keys; the readers never get that far.
constexpr const char* kLaterSaturatedSumKeys[] = {"G/GR SatSum:", "B SatSum:", "GB SatSum:"};

// Stores the slots, in file order, into the fields that keys
// [firstKey, firstKey + keyCount) name in record.
inline void StoreSlots(const float* slots, size_t firstKey, size_t keyCount, void* record) {
    unsigned char* const bytes = static_cast<unsigned char*>(record);
    for (size_t key = firstKey; key < firstKey + keyCount; ++key) {
        const SampleFileKey& entry = kSampleFileKeys[key];
        for (size_t i = 0; i < entry.valueCount; ++i) {
            unsigned char* const field = bytes + entry.fieldOffset + 4 * i;
            const float slot = *slots++;
            if (entry.type == SampleValueType::kInt32) {
                const int32_t value = FloatToInt32(slot);
                std::memcpy(field, &value, 4);
            } else if (entry.type == SampleValueType::kUInt32) {
                const uint32_t value = FloatToUInt32(slot);
                std::memcpy(field, &value, 4);
            } else {
                std::memcpy(field, &slot, 4);
            }
        }
    }
}

inline void StoreHeaderSlots(const float (&slots)[kHeaderSlotCount], ChannelData* record) {
    StoreSlots(slots, 0, kHeaderKeyCount, record);
}

// A sample without calibration (a count of 0) hands the wrapper neutral
// factors; its CCTs and LED point keep what an earlier sample left. This is
// the one place that resets them.
inline void StoreCalibrationSlots(const float (&slots)[kCalibrationSlotCount],
                                  CalibrationData* record) {
    const size_t countLines = kSampleFileKeys[kHeaderKeyCount].valueCount;
    StoreSlots(slots, kHeaderKeyCount, 1, record);
    if (record->numCalibrationFactors != 0) {
        StoreSlots(slots + countLines, kHeaderKeyCount + 1, kCalibrationKeyCount - 1, record);
    } else {
        for (float& factor : record->moduleCalibrationFactors) factor = 1.0f;
    }
}

}  // namespace Vireo

#endif  // VIREO_SAMPLE_FILE_KEYS_H
