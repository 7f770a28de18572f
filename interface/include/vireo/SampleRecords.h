// Records filled from one sample file and handed, in place, to a wrapper
// library. Their layouts are part of the binary contract with wrapper
// libraries built elsewhere: every size and offset below is fixed.
#ifndef VIREO_SAMPLE_RECORDS_H
#define VIREO_SAMPLE_RECORDS_H

#include <cstddef>
#include <cstdint>

namespace Vireo {

// Statistics header of one sample: how the statistics grid is laid out,
// plus the scene's lux index and exposure state.
struct ChannelData {
    float luxIndex;
    int32_t aecSettled;
    uint32_t reserved;  // never written by the readers; stays zero
    int32_t horizontalRegionCount;
    int32_t verticalRegionCount;
    int32_t totalRegionCount;  // number of StatsBayerGridChannelInfoS records
    int32_t regionWidth;
    int32_t regionHeight;
    int32_t bitDepth;
    int32_t flags;
    int32_t saturationThreshold[4];  // file order
    int32_t validRegionCount;
    uint32_t statsROI[4];  // file order
};

// Calibration data of one sample. Wrappers receive a pointer to
// moduleCalibrationFactors, which singleLEDCalibrationPoint follows directly.
struct CalibrationData {
    uint32_t numCalibrationFactors;
    float calibrationFactorCCTs[6];
    float moduleCalibrationFactors[20];
    float singleLEDCalibrationPoint[2];
};

}  // namespace Vireo

// One region of the Bayer statistics grid. Note the field order (R, B, GR,
// GB) differs from the order of the subsections in the sample file.
struct StatsBayerGridChannelInfoS {
    int64_t rSum;
    int64_t bSum;
    int64_t grSum;
    int64_t gbSum;
    uint8_t reserved1[8];  // never written by the reader
    uint16_t rCount;       // low 16 bits of the parsed count
    uint16_t bCount;
    uint16_t grCount;
    uint16_t gbCount;
    uint8_t reserved2[8];  // never written by the reader
};

static_assert(sizeof(Vireo::ChannelData) == 76, "ChannelData is 76 bytes");
static_assert(alignof(Vireo::ChannelData) == 4, "ChannelData is 4-byte aligned");
static_assert(offsetof(Vireo::ChannelData, luxIndex) == 0, "layout");
static_assert(offsetof(Vireo::ChannelData, aecSettled) == 4, "layout");
static_assert(offsetof(Vireo::ChannelData, reserved) == 8, "layout");
static_assert(offsetof(Vireo::ChannelData, horizontalRegionCount) == 12, "layout");
static_assert(offsetof(Vireo::ChannelData, verticalRegionCount) == 16, "layout");
static_assert(offsetof(Vireo::ChannelData, totalRegionCount) == 20, "layout");
static_assert(offsetof(Vireo::ChannelData, regionWidth) == 24, "layout");
static_assert(offsetof(Vireo::ChannelData, regionHeight) == 28, "layout");
static_assert(offsetof(Vireo::ChannelData, bitDepth) == 32, "layout");
static_assert(offsetof(Vireo::ChannelData, flags) == 36, "layout");
static_assert(offsetof(Vireo::ChannelData, saturationThreshold) == 40, "layout");
static_assert(offsetof(Vireo::ChannelData, validRegionCount) == 56, "layout");
static_assert(offsetof(Vireo::ChannelData, statsROI) == 60, "layout");

static_assert(sizeof(Vireo::CalibrationData) == 116, "CalibrationData is 116 bytes");
static_assert(alignof(Vireo::CalibrationData) == 4, "CalibrationData is 4-byte aligned");
static_assert(offsetof(Vireo::CalibrationData, numCalibrationFactors) == 0, "layout");
static_assert(offsetof(Vireo::CalibrationData, calibrationFactorCCTs) == 4, "layout");
static_assert(offsetof(Vireo::CalibrationData, moduleCalibrationFactors) == 28, "layout");
static_assert(offsetof(Vireo::CalibrationData, singleLEDCalibrationPoint) == 108, "layout");

static_assert(sizeof(StatsBayerGridChannelInfoS) == 56, "StatsBayerGridChannelInfoS is 56 bytes");
static_assert(alignof(StatsBayerGridChannelInfoS) == 8,
              "StatsBayerGridChannelInfoS is 8-byte aligned");
static_assert(offsetof(StatsBayerGridChannelInfoS, rSum) == 0, "layout");
static_assert(offsetof(StatsBayerGridChannelInfoS, bSum) == 8, "layout");
static_assert(offsetof(StatsBayerGridChannelInfoS, grSum) == 16, "layout");
static_assert(offsetof(StatsBayerGridChannelInfoS, gbSum) == 24, "layout");
static_assert(offsetof(StatsBayerGridChannelInfoS, reserved1) == 32, "layout");
static_assert(offsetof(StatsBayerGridChannelInfoS, rCount) == 40, "layout");
static_assert(offsetof(StatsBayerGridChannelInfoS, bCount) == 42, "layout");
static_assert(offsetof(StatsBayerGridChannelInfoS, grCount) == 44, "layout");
static_assert(offsetof(StatsBayerGridChannelInfoS, gbCount) == 46, "layout");
static_assert(offsetof(StatsBayerGridChannelInfoS, reserved2) == 48, "layout");

#endif  // VIREO_SAMPLE_RECORDS_H
