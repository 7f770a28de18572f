// The reference implementation of the wrapper interface: it keeps the
// inputs of one sample and hands them to an AWB algorithm library reached
// through its versioned C table.
#ifndef VIREO_REFERENCE_WRAPPER_H
#define VIREO_REFERENCE_WRAPPER_H

#include <cstdint>
#include <vector>

#include "vireo/IAWBSimulationWrapper.h"
#include "vireo/ReferenceAwbApi.h"
#include "vireo/ReferenceDebugData.h"

namespace Vireo {

class ReferenceWrapper final : public IAWBSimulationWrapper {
public:
    int32_t LoadAWBAlgorithm(const char* algorithmPath, const char* algorithmPathAgain) override;
    int32_t LoadTuningData(const char* tuningFilePath) override;
    int32_t InitializeAlgorithm() override;
    int32_t SetBGStatsInfo(const ChannelData* statsInfo) override;
    int32_t SetExtraInfoA(int32_t value) override;
    int32_t SetBGStatsConfig(int32_t horizontalRegionCount, int32_t verticalRegionCount,
                             int32_t bitDepth, int32_t regionWidth, int32_t regionHeight) override;
    int32_t SetBGChannelInfo(const StatsBayerGridChannelInfoS* regions) override;
    int32_t SetExtraInfoB(int32_t value, ExtraInfoBRecord* record) override;
    int32_t ReservedEntry1() override;
    int32_t SetExtraInfoC(ExtraInfoCRecord* record) override;
    int32_t SetExtraInfoD(int32_t value, ExtraInfoDRecord* record) override;
    int32_t SetFrameDimensions(int32_t width, int32_t height) override;
    int32_t SetAuxiliaryInfo(const AuxiliaryInfoRecord* record) override;
    int32_t SetExtraInfoE(ExtraInfoERecord* record) override;
    int32_t SetExtraInfoF(ExtraInfoERecord* record) override;
    int32_t SetExtraInfoG(ExtraInfoGRecord* record) override;
    int32_t SetExtraInfoH(ExtraInfoHRecord* record) override;
    int32_t SetCalibrationData(const float* moduleCalibrationFactors) override;
    int32_t RunSimulation() override;
    AWBSimulationOutput* GetOutput() override;
    int32_t ReservedEntry2() override;
    int32_t ReservedEntry3() override;
    void Destroy() override;

private:
    ~ReferenceWrapper();
    void ReleaseAlgorithm();

    void* library_ = nullptr;
    const VireoAwbApiV1* api_ = nullptr;
    void* instance_ = nullptr;
    std::vector<uint8_t> tuningFile_;

    // The sample being assembled. The region array is only borrowed: it is
    // valid until this sample's GetOutput, and read in RunSimulation.
    const StatsBayerGridChannelInfoS* regions_ = nullptr;
    ChannelData stats_{};
    bool haveStats_ = false;
    float calibration_[22] = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0};
    int32_t configBitDepth_ = 0;
    int32_t frameWidth_ = 0;
    int32_t frameHeight_ = 0;
    AuxiliaryInfoRecord auxiliary_{};

    uint32_t samplesRun_ = 0;
    bool haveOutput_ = false;
    ReferenceOutputRecord record_{};
};

}  // namespace Vireo

#endif  // VIREO_REFERENCE_WRAPPER_H
