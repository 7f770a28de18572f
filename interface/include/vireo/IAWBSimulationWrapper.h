// The interface a wrapper library implements, and its factory.
//
// The order of the virtual functions below IS the binary contract: each one
// is a slot of the virtual table, and wrapper libraries compiled against this
// header call and implement them by position. Never reorder, insert or drop
// an entry, and never add a virtual function (a destructor included) before
// Destroy. The Reserved entries are never called by the driver but must keep
// their places.
#ifndef VIREO_IAWB_SIMULATION_WRAPPER_H
#define VIREO_IAWB_SIMULATION_WRAPPER_H

#include <cstdint>

#include "vireo/SampleRecords.h"
#include "vireo/WrapperRecords.h"

namespace Vireo {

class IAWBSimulationWrapper {
public:
    // The driver passes the algorithm library path as both arguments.
    virtual int32_t LoadAWBAlgorithm(const char* algorithmPath, const char* algorithmPathAgain) = 0;
    // 0 on success; any other value ends the run.
    virtual int32_t LoadTuningData(const char* tuningFilePath) = 0;
    virtual int32_t InitializeAlgorithm() = 0;
    virtual int32_t SetBGStatsInfo(const ChannelData* statsInfo) = 0;
    virtual int32_t SetExtraInfoA(int32_t value) = 0;
    virtual int32_t SetBGStatsConfig(int32_t horizontalRegionCount, int32_t verticalRegionCount,
                                     int32_t bitDepth, int32_t regionWidth,
                                     int32_t regionHeight) = 0;
    // totalRegionCount records; the count arrives later, inside SetBGStatsInfo.
    virtual int32_t SetBGChannelInfo(const StatsBayerGridChannelInfoS* regions) = 0;
    virtual int32_t SetExtraInfoB(int32_t value, ExtraInfoBRecord* record) = 0;
    virtual int32_t ReservedEntry1() = 0;
    virtual int32_t SetExtraInfoC(ExtraInfoCRecord* record) = 0;
    virtual int32_t SetExtraInfoD(int32_t value, ExtraInfoDRecord* record) = 0;
    virtual int32_t SetFrameDimensions(int32_t width, int32_t height) = 0;
    virtual int32_t SetAuxiliaryInfo(const AuxiliaryInfoRecord* record) = 0;
    virtual int32_t SetExtraInfoE(ExtraInfoERecord* record) = 0;
    virtual int32_t SetExtraInfoF(ExtraInfoERecord* record) = 0;
    virtual int32_t SetExtraInfoG(ExtraInfoGRecord* record) = 0;
    virtual int32_t SetExtraInfoH(ExtraInfoHRecord* record) = 0;
    // Points at CalibrationData::moduleCalibrationFactors (20 floats, then
    // the two singleLEDCalibrationPoint floats).
    virtual int32_t SetCalibrationData(const float* moduleCalibrationFactors) = 0;
    virtual int32_t RunSimulation() = 0;
    // Null means "no result for this sample". The record stays owned by the
    // wrapper and must stay valid until the next call on it.
    virtual AWBSimulationOutput* GetOutput() = 0;
    virtual int32_t ReservedEntry2() = 0;
    virtual int32_t ReservedEntry3() = 0;
    // Ends the object's life; the last call the driver makes on it.
    virtual void Destroy() = 0;

protected:
    // Objects are released only through Destroy, never deleted by the caller;
    // a non-virtual protected destructor keeps it so without adding a slot.
    ~IAWBSimulationWrapper() = default;
};

// The factory every wrapper library exports, unmangled.
using CreateAWBSimulationWrapperFn = IAWBSimulationWrapper* (*)();
inline constexpr const char kWrapperFactorySymbol[] = "CreateAWBSimulationWrapper";

}  // namespace Vireo

#endif  // VIREO_IAWB_SIMULATION_WRAPPER_H
