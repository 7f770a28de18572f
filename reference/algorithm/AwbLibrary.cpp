// The exported C table of the reference algorithm. No exception leaves it:
// every entry catches at the boundary.
#include <cstdio>
#include <new>
#include <string>
#include <vector>

#include "AwbEstimator.h"
#include "TuningCodec.h"
#include "vireo/ReferenceAwbApi.h"

namespace {

void PutError(const std::string& text, char* error, uint32_t errorSize) {
    if (error != nullptr && errorSize > 0) std::snprintf(error, errorSize, "%s", text.c_str());
}

void* Create(const uint8_t* tuningFile, uint32_t tuningFileSize, char* error, uint32_t errorSize) {
    try {
        if (tuningFile == nullptr) {
            PutError("no tuning data", error, errorSize);
            return nullptr;
        }
        Vireo::Tuning::TuningParams params;
        std::string why;
        if (!Vireo::Tuning::Decode(tuningFile, tuningFileSize, &params, &why)) {
            PutError(why, error, errorSize);
            return nullptr;
        }
        auto* estimator = new Vireo::Awb::Estimator;
        Vireo::Awb::InitEstimator(params, estimator);
        return estimator;
    } catch (...) {
        PutError("out of memory", error, errorSize);
        return nullptr;
    }
}

int32_t Process(void* instance, const VireoAwbFrame* frame, VireoAwbResult* result) {
    if (instance == nullptr || frame == nullptr || result == nullptr) return -1;
    try {
        return Vireo::Awb::Estimate(static_cast<Vireo::Awb::Estimator*>(instance), *frame, result);
    } catch (...) {
        return -1;
    }
}

int32_t Explain(void* instance, const VireoAwbFrame* frame, VireoAwbResult* result,
                float* regionWeights, int32_t regionWeightCount) {
    if (instance == nullptr || frame == nullptr || result == nullptr) return -1;
    try {
        auto* estimator = static_cast<Vireo::Awb::Estimator*>(instance);
        const int32_t status = Vireo::Awb::Estimate(estimator, *frame, result);
        if (regionWeights != nullptr && regionWeightCount > 0) {
            Vireo::Awb::ExplainRegions(*estimator, *frame, *result, regionWeights,
                                       regionWeightCount);
        }
        return status;
    } catch (...) {
        return -1;
    }
}

void Destroy(void* instance) { delete static_cast<Vireo::Awb::Estimator*>(instance); }

constexpr VireoAwbApiV1 kApiV1 = {VIREO_AWB_API_VERSION, sizeof(VireoAwbApiV1), Create, Process,
                                  Destroy};
constexpr VireoAwbApiV2 kApiV2 = {
    VIREO_AWB_API_VERSION_EXPLAIN, sizeof(VireoAwbApiV2), Create, Process, Destroy, Explain};

}  // namespace

extern "C" __attribute__((visibility("default"))) const void* VireoAwbGetApi(uint32_t version) {
    if (version == VIREO_AWB_API_VERSION) return &kApiV1;
    return version == VIREO_AWB_API_VERSION_EXPLAIN ? &kApiV2 : nullptr;
}
