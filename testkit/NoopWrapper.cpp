// A wrapper library that does nothing, so that timing the driver with it
// measures the driver alone: the walk, the three readers, the calling
// protocol and the results file. Every operation succeeds, and every sample
// gets the same fixed result.
#include <new>

#include "vireo/IAWBSimulationWrapper.h"

namespace {

class NoopWrapper final : public Vireo::IAWBSimulationWrapper {
public:
    int32_t LoadAWBAlgorithm(const char*, const char*) override { return 0; }
    int32_t LoadTuningData(const char*) override { return 0; }
    int32_t InitializeAlgorithm() override { return 0; }
    int32_t SetBGStatsInfo(const Vireo::ChannelData*) override { return 0; }
    int32_t SetExtraInfoA(int32_t) override { return 0; }
    int32_t SetBGStatsConfig(int32_t, int32_t, int32_t, int32_t, int32_t) override { return 0; }
    int32_t SetBGChannelInfo(const StatsBayerGridChannelInfoS*) override { return 0; }
    int32_t SetExtraInfoB(int32_t, Vireo::ExtraInfoBRecord*) override { return 0; }
    int32_t ReservedEntry1() override { return 0; }
    int32_t SetExtraInfoC(Vireo::ExtraInfoCRecord*) override { return 0; }
    int32_t SetExtraInfoD(int32_t, Vireo::ExtraInfoDRecord*) override { return 0; }
    int32_t SetFrameDimensions(int32_t, int32_t) override { return 0; }
    int32_t SetAuxiliaryInfo(const Vireo::AuxiliaryInfoRecord*) override { return 0; }
    int32_t SetExtraInfoE(Vireo::ExtraInfoERecord*) override { return 0; }
    int32_t SetExtraInfoF(Vireo::ExtraInfoERecord*) override { return 0; }
    int32_t SetExtraInfoG(Vireo::ExtraInfoGRecord*) override { return 0; }
    int32_t SetExtraInfoH(Vireo::ExtraInfoHRecord*) override { return 0; }
    int32_t SetCalibrationData(const float*) override { return 0; }
    int32_t RunSimulation() override { return 0; }
    AWBSimulationOutput* GetOutput() override { return &output_; }
    int32_t ReservedEntry2() override { return 0; }
    int32_t ReservedEntry3() override { return 0; }
    void Destroy() override { delete this; }

private:
    // Daylight-ish gains, so the results file looks like a real one.
    AWBSimulationOutput output_{1.9f, 1.0f, 1.6f, 5000u, 0u};
};

}  // namespace

extern "C" __attribute__((visibility("default"))) Vireo::IAWBSimulationWrapper*
CreateAWBSimulationWrapper() {
    return new (std::nothrow) NoopWrapper();
}
