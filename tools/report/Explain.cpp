#include "Explain.h"

#include <dlfcn.h>

#include <cstring>

namespace Vireo::Report {

Explainer::~Explainer() {
    if (instance_ != nullptr) api_->destroy(instance_);
    if (library_ != nullptr) dlclose(library_);
}

bool Explainer::Open(const std::string& library, const std::vector<uint8_t>& tuning,
                     std::string* error) {
    library_ = dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library_ == nullptr) {
        *error = "cannot load " + library + ": " + dlerror();
        return false;
    }
    void* entry = dlsym(library_, VIREO_AWB_ENTRY_SYMBOL);
    VireoAwbGetApiFn getApi = nullptr;
    std::memcpy(&getApi, &entry, sizeof getApi);
    const auto* api = getApi != nullptr
                          ? static_cast<const VireoAwbApiV2*>(getApi(VIREO_AWB_API_VERSION_EXPLAIN))
                          : nullptr;
    if (api == nullptr || api->version != VIREO_AWB_API_VERSION_EXPLAIN ||
        api->structSize < sizeof(VireoAwbApiV2) || api->create == nullptr ||
        api->explain == nullptr || api->destroy == nullptr) {
        *error = library + " gives no explanations (no " VIREO_AWB_ENTRY_SYMBOL " version 2 table)";
        return false;
    }
    char why[256] = "";
    instance_ = api->create(tuning.data(), static_cast<uint32_t>(tuning.size()), why, sizeof why);
    if (instance_ == nullptr) {
        *error = library + " refuses the tuning: " + why;
        return false;
    }
    api_ = api;
    return true;
}

bool Explainer::Explain(const Score::SampleStats& sample, VireoAwbResult* result,
                        std::vector<float>* weights) {
    if (instance_ == nullptr) return false;
    const VireoAwbFrame frame = Score::FrameOf(sample);
    weights->assign(sample.regions.size(), -1.0f);
    *result = VireoAwbResult{};
    return api_->explain(instance_, &frame, result, weights->data(),
                         static_cast<int32_t>(weights->size())) == 0;
}

}  // namespace Vireo::Report
