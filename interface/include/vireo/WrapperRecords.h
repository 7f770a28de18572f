// Records that cross the wrapper boundary besides the sample records: the
// wrapper's output and the fixed placeholder inputs the driver feeds it.
#ifndef VIREO_WRAPPER_RECORDS_H
#define VIREO_WRAPPER_RECORDS_H

#include <cstddef>
#include <cstdint>

// Made and owned by the wrapper; the driver reads these five fields at once
// after GetOutput and nothing behind them (a wrapper may keep debug data
// there).
struct AWBSimulationOutput {
    float r_gain;
    float g_gain;
    float b_gain;
    uint32_t cct;
    uint32_t debugDataSize;
};

namespace Vireo {

// Placeholder records: the driver owns one static instance of each for the
// whole run. Only the words that setDummyInfo stores are meaningful; the
// sizes are the room a wrapper may rely on.
struct ExtraInfoBRecord {
    int32_t words[4];
};
struct ExtraInfoGRecord {
    int32_t words[1];  // word 0: 0x7FFFFFFF before every feed
};
struct ExtraInfoERecord {
    int32_t words[6];  // -1, 0, 0, 0, 0, 0 before every feed
};
struct ExtraInfoHRecord {
    int32_t words[4];  // all zero before every feed
};
struct ExtraInfoCRecord {
    int32_t words[12];  // word 0: zero before every feed
};
struct ExtraInfoDRecord {
    int32_t words[121];
};

// Zeroed by the driver just before SetAuxiliaryInfo; valid only during that
// call.
struct AuxiliaryInfoRecord {
    uint8_t bytes[32];
};

}  // namespace Vireo

static_assert(sizeof(AWBSimulationOutput) == 20, "AWBSimulationOutput is 20 bytes");
static_assert(offsetof(AWBSimulationOutput, r_gain) == 0, "layout");
static_assert(offsetof(AWBSimulationOutput, g_gain) == 4, "layout");
static_assert(offsetof(AWBSimulationOutput, b_gain) == 8, "layout");
static_assert(offsetof(AWBSimulationOutput, cct) == 12, "layout");
static_assert(offsetof(AWBSimulationOutput, debugDataSize) == 16, "layout");
static_assert(sizeof(Vireo::ExtraInfoBRecord) == 4 * 4, "room of ExtraInfoBRecord");
static_assert(sizeof(Vireo::ExtraInfoGRecord) == 1 * 4, "room of ExtraInfoGRecord");
static_assert(sizeof(Vireo::ExtraInfoERecord) == 6 * 4, "room of ExtraInfoERecord");
static_assert(sizeof(Vireo::ExtraInfoHRecord) == 4 * 4, "room of ExtraInfoHRecord");
static_assert(sizeof(Vireo::ExtraInfoCRecord) == 12 * 4, "room of ExtraInfoCRecord");
static_assert(sizeof(Vireo::ExtraInfoDRecord) <= 121 * 4, "room of ExtraInfoDRecord");
static_assert(sizeof(Vireo::AuxiliaryInfoRecord) == 32, "AuxiliaryInfoRecord is 32 bytes");

#endif  // VIREO_WRAPPER_RECORDS_H
