#include "ReferenceWrapper.h"

#include <dlfcn.h>

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>

#include "TuningCodec.h"

namespace Vireo {

// The algorithm reads the driver's region array in place through its own,
// C-compatible declaration of the record; the two must agree byte for byte.
static_assert(sizeof(VireoAwbRegion) == sizeof(StatsBayerGridChannelInfoS), "region layout");
static_assert(offsetof(VireoAwbRegion, rSum) == offsetof(StatsBayerGridChannelInfoS, rSum), "");
static_assert(offsetof(VireoAwbRegion, bSum) == offsetof(StatsBayerGridChannelInfoS, bSum), "");
static_assert(offsetof(VireoAwbRegion, grSum) == offsetof(StatsBayerGridChannelInfoS, grSum), "");
static_assert(offsetof(VireoAwbRegion, gbSum) == offsetof(StatsBayerGridChannelInfoS, gbSum), "");
static_assert(offsetof(VireoAwbRegion, rCount) == offsetof(StatsBayerGridChannelInfoS, rCount), "");
static_assert(offsetof(VireoAwbRegion, bCount) == offsetof(StatsBayerGridChannelInfoS, bCount), "");
static_assert(offsetof(VireoAwbRegion, grCount) == offsetof(StatsBayerGridChannelInfoS, grCount),
              "");
static_assert(offsetof(VireoAwbRegion, gbCount) == offsetof(StatsBayerGridChannelInfoS, gbCount),
              "");

namespace {

void Report(const char* what, const std::string& why) {
    std::fprintf(stderr, "vireo reference wrapper: %s: %s\n", what, why.c_str());
}

}  // namespace

ReferenceWrapper::~ReferenceWrapper() { ReleaseAlgorithm(); }

void ReferenceWrapper::ReleaseAlgorithm() {
    if (instance_ != nullptr) api_->destroy(instance_);
    instance_ = nullptr;
    api_ = nullptr;
    if (library_ != nullptr) dlclose(library_);
    library_ = nullptr;
}

int32_t ReferenceWrapper::LoadAWBAlgorithm(const char* algorithmPath, const char*) {
    ReleaseAlgorithm();
    if (algorithmPath == nullptr) {
        Report("cannot load the AWB algorithm", "no path given");
        return -1;
    }
    library_ = dlopen(algorithmPath, RTLD_NOW | RTLD_LOCAL);
    if (library_ == nullptr) {
        const char* why = dlerror();
        Report("cannot load the AWB algorithm", why != nullptr ? why : algorithmPath);
        return -1;
    }
    auto getApi = reinterpret_cast<VireoAwbGetApiFn>(dlsym(library_, VIREO_AWB_ENTRY_SYMBOL));
    const auto* api = getApi != nullptr
                          ? static_cast<const VireoAwbApiV1*>(getApi(VIREO_AWB_API_VERSION))
                          : nullptr;
    if (api == nullptr || api->version != VIREO_AWB_API_VERSION ||
        api->structSize < sizeof(VireoAwbApiV1) || api->create == nullptr ||
        api->process == nullptr || api->destroy == nullptr) {
        Report("cannot load the AWB algorithm", std::string(algorithmPath) +
                                                    " offers no " VIREO_AWB_ENTRY_SYMBOL
                                                    " version 1 table");
        dlclose(library_);
        library_ = nullptr;
        return -1;
    }
    api_ = api;
    return 0;
}

int32_t ReferenceWrapper::LoadTuningData(const char* tuningFilePath) {
    try {
        Tuning::TuningParams params;
        std::string why;
        if (!Tuning::LoadFile(tuningFilePath, &tuningFile_, &params, &why)) {
            tuningFile_.clear();
            Report("bad tuning file", why);
            return -1;
        }
        return 0;
    } catch (...) {
        tuningFile_.clear();
        Report("bad tuning file", "out of memory");
        return -1;
    }
}

int32_t ReferenceWrapper::InitializeAlgorithm() {
    if (api_ == nullptr || tuningFile_.empty()) {
        Report("cannot initialise the AWB algorithm", "no algorithm or no tuning loaded");
        return -1;
    }
    if (instance_ != nullptr) api_->destroy(instance_);
    char why[256] = "";
    instance_ = api_->create(tuningFile_.data(), static_cast<uint32_t>(tuningFile_.size()), why,
                             sizeof why);
    if (instance_ == nullptr) {
        Report("cannot initialise the AWB algorithm", why);
        return -1;
    }
    return 0;
}

int32_t ReferenceWrapper::SetBGStatsInfo(const ChannelData* statsInfo) {
    // Rewritten by the next sample's read; a copy keeps this sample's header.
    haveStats_ = statsInfo != nullptr;
    if (haveStats_) stats_ = *statsInfo;
    return haveStats_ ? 0 : -1;
}

int32_t ReferenceWrapper::SetExtraInfoA(int32_t) { return 0; }

int32_t ReferenceWrapper::SetBGStatsConfig(int32_t, int32_t, int32_t bitDepth, int32_t, int32_t) {
    configBitDepth_ = bitDepth;
    return 0;
}

int32_t ReferenceWrapper::SetBGChannelInfo(const StatsBayerGridChannelInfoS* regions) {
    regions_ = regions;
    return regions != nullptr ? 0 : -1;
}

int32_t ReferenceWrapper::SetExtraInfoB(int32_t, ExtraInfoBRecord*) { return 0; }
int32_t ReferenceWrapper::ReservedEntry1() { return 0; }
int32_t ReferenceWrapper::SetExtraInfoC(ExtraInfoCRecord*) { return 0; }
int32_t ReferenceWrapper::SetExtraInfoD(int32_t, ExtraInfoDRecord*) { return 0; }

int32_t ReferenceWrapper::SetFrameDimensions(int32_t width, int32_t height) {
    frameWidth_ = width;
    frameHeight_ = height;
    return 0;
}

int32_t ReferenceWrapper::SetAuxiliaryInfo(const AuxiliaryInfoRecord* record) {
    // Valid only during this call.
    if (record == nullptr) return -1;
    auxiliary_ = *record;
    return 0;
}

int32_t ReferenceWrapper::SetExtraInfoE(ExtraInfoERecord*) { return 0; }
int32_t ReferenceWrapper::SetExtraInfoF(ExtraInfoERecord*) { return 0; }
int32_t ReferenceWrapper::SetExtraInfoG(ExtraInfoGRecord*) { return 0; }
int32_t ReferenceWrapper::SetExtraInfoH(ExtraInfoHRecord*) { return 0; }

int32_t ReferenceWrapper::SetCalibrationData(const float* moduleCalibrationFactors) {
    // The twenty factors and the LED point behind them; copied because the
    // next sample's read rewrites them.
    if (moduleCalibrationFactors == nullptr) return -1;
    std::memcpy(calibration_, moduleCalibrationFactors, sizeof calibration_);
    return 0;
}

int32_t ReferenceWrapper::RunSimulation() {
    haveOutput_ = false;
    const StatsBayerGridChannelInfoS* regions = regions_;
    regions_ = nullptr;  // not to be touched after this sample
    if (instance_ == nullptr || !haveStats_) return -1;
    haveStats_ = false;

    VireoAwbFrame frame{};
    frame.regions = reinterpret_cast<const VireoAwbRegion*>(regions);
    frame.regionCount = stats_.totalRegionCount;
    frame.horizontalRegionCount = stats_.horizontalRegionCount;
    frame.verticalRegionCount = stats_.verticalRegionCount;
    frame.bitDepth = stats_.bitDepth != 0 ? stats_.bitDepth : configBitDepth_;
    std::memcpy(frame.saturationThreshold, stats_.saturationThreshold,
                sizeof frame.saturationThreshold);
    frame.luxIndex = stats_.luxIndex;
    std::memcpy(frame.moduleCalibrationFactors, calibration_,
                sizeof frame.moduleCalibrationFactors);
    std::memcpy(frame.singleLEDCalibrationPoint, calibration_ + 20,
                sizeof frame.singleLEDCalibrationPoint);

    VireoAwbResult result{};
    const int32_t status = api_->process(instance_, &frame, &result);
    record_ = ReferenceOutputRecord{};
    record_.output = {result.rGain, result.gGain, result.bGain, result.cct,
                      static_cast<uint32_t>(sizeof(ReferenceDebugData))};
    record_.debug = {kReferenceDebugVersion, samplesRun_++, stats_.totalRegionCount, status,
                     result};
    haveOutput_ = status == 0;
    return status;
}

AWBSimulationOutput* ReferenceWrapper::GetOutput() {
    return haveOutput_ ? &record_.output : nullptr;
}

int32_t ReferenceWrapper::ReservedEntry2() { return 0; }
int32_t ReferenceWrapper::ReservedEntry3() { return 0; }

void ReferenceWrapper::Destroy() { delete this; }

}  // namespace Vireo

extern "C" __attribute__((visibility("default"))) Vireo::IAWBSimulationWrapper*
CreateAWBSimulationWrapper() {
    return new (std::nothrow) Vireo::ReferenceWrapper;
}
