/* The versioned C interface of an AWB algorithm library. A library exports
 * one function, VireoAwbGetApi, that returns the table of operations for the
 * interface version the caller asks for, or null when it has none. Only C
 * types cross this boundary, so an algorithm built by another compiler, or
 * in C, can be dropped in by path. */
#ifndef VIREO_REFERENCE_AWB_API_H
#define VIREO_REFERENCE_AWB_API_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define VIREO_AWB_API_VERSION 1u
#define VIREO_AWB_ENTRY_SYMBOL "VireoAwbGetApi"

/* One region of the Bayer statistics grid; byte for byte the driver's
 * region record (56 bytes: four 64-bit sums R, B, GR, GB, 8 bytes, four
 * 16-bit counts in the same order, 8 bytes). */
typedef struct VireoAwbRegion {
    int64_t rSum;
    int64_t bSum;
    int64_t grSum;
    int64_t gbSum;
    uint8_t reserved1[8];
    uint16_t rCount;
    uint16_t bCount;
    uint16_t grCount;
    uint16_t gbCount;
    uint8_t reserved2[8];
} VireoAwbRegion;

/* The module calibration factors the algorithm believes: the first two (the
 * module's R/G and B/G against the golden module) count when finite and in
 * this range, and are taken as 1 otherwise. */
#define VIREO_AWB_MODULE_FACTOR_MIN 0.25f
#define VIREO_AWB_MODULE_FACTOR_MAX 4.0f

/* Everything the algorithm sees of one sample. The pointers are read only
 * during process(). */
typedef struct VireoAwbFrame {
    const VireoAwbRegion* regions; /* regionCount records */
    int32_t regionCount;
    int32_t horizontalRegionCount;
    int32_t verticalRegionCount;
    int32_t bitDepth;
    int32_t saturationThreshold[4]; /* R, GR, GB, B; <= 0: not used */
    float luxIndex;
    float moduleCalibrationFactors[20];
    float singleLEDCalibrationPoint[2];
} VireoAwbFrame;

/* Result flags. */
#define VIREO_AWB_FLAG_DEFAULT_ILLUMINANT 0x1u  /* no region was usable */
#define VIREO_AWB_FLAG_NO_GREY_REGION 0x2u      /* grey-world fallback */
#define VIREO_AWB_FLAG_GREY_WORLD_MODE 0x4u     /* tuning selects grey world */
#define VIREO_AWB_FLAG_CALIBRATION_IGNORED 0x8u /* a module factor was out of range */

typedef struct VireoAwbResult {
    float rGain; /* gains for this module's raw data; gGain is 1 */
    float gGain;
    float bGain;
    uint32_t cct;
    uint32_t flags;
    uint32_t validRegionCount; /* regions that passed the selection */
    uint32_t greyRegionCount;  /* of those, inside the grey zone */
    float whiteRg;             /* white point, golden-module R/G and B/G */
    float whiteBg;
    float outdoorWeight;    /* 0 indoor prior only .. 1 outdoor prior only */
    float transverseOffset; /* log-chromaticity shift off the curve */
    float posteriorPeak;    /* log posterior at the chosen CT */
} VireoAwbResult;

typedef struct VireoAwbApiV1 {
    uint32_t version;    /* VIREO_AWB_API_VERSION */
    uint32_t structSize; /* sizeof(VireoAwbApiV1) */
    /* Decodes the tuning file image; null on failure, with one sentence in
     * error (always terminated when errorSize > 0). */
    void* (*create)(const uint8_t* tuningFile, uint32_t tuningFileSize, char* error,
                    uint32_t errorSize);
    /* 0 on success (result filled), non-zero when frame or instance is
     * unusable. */
    int32_t (*process)(void* instance, const VireoAwbFrame* frame, VireoAwbResult* result);
    void (*destroy)(void* instance);
} VireoAwbApiV1;

/* Version 2 adds an explanation of a decision, for tools that show why a
 * sample came out as it did. The table begins exactly like version 1, so a
 * caller that knows only version 1 may read it as one. */
#define VIREO_AWB_API_VERSION_EXPLAIN 2u

typedef struct VireoAwbApiV2 {
    uint32_t version;    /* VIREO_AWB_API_VERSION_EXPLAIN */
    uint32_t structSize; /* sizeof(VireoAwbApiV2) */
    void* (*create)(const uint8_t* tuningFile, uint32_t tuningFileSize, char* error,
                    uint32_t errorSize);
    int32_t (*process)(void* instance, const VireoAwbFrame* frame, VireoAwbResult* result);
    void (*destroy)(void* instance);
    /* Decides the frame like process() (same result, same return value) and
     * says, for each of the first regionWeightCount regions, what it
     * contributed: below 0 when the selection left it out (no pixels,
     * saturated, too dark), 0 when selected but outside the grey zone, above
     * 0 its weight in the decision (1 on the curve; 1 for every selected
     * region when grey world decided). Entries past the frame's regions are
     * set below 0. regionWeights may be null. */
    int32_t (*explain)(void* instance, const VireoAwbFrame* frame, VireoAwbResult* result,
                       float* regionWeights, int32_t regionWeightCount);
} VireoAwbApiV2;

typedef const void* (*VireoAwbGetApiFn)(uint32_t version);

/* Returns a VireoAwbApiV1 table for version 1, a VireoAwbApiV2 table for
 * version 2, null for any other version. */
const void* VireoAwbGetApi(uint32_t version);

#ifdef __cplusplus
}
#endif

#endif /* VIREO_REFERENCE_AWB_API_H */
