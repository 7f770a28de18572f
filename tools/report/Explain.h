// The reference algorithm's own account of a decision, asked through its
// versioned C interface (version 2): the result record and what each
// region contributed. An algorithm library without version 2 simply has no
// explanation to give.
#ifndef VIREO_REPORT_EXPLAIN_H
#define VIREO_REPORT_EXPLAIN_H

#include <cstdint>
#include <string>
#include <vector>

#include "SampleStats.h"
#include "vireo/ReferenceAwbApi.h"

namespace Vireo::Report {

class Explainer {
public:
    Explainer() = default;
    Explainer(const Explainer&) = delete;
    Explainer& operator=(const Explainer&) = delete;
    ~Explainer();

    // Maps the library and creates an instance for the tuning image. False
    // with the reason (no such library, no version 2 table, bad tuning).
    bool Open(const std::string& library, const std::vector<uint8_t>& tuning, std::string* error);

    // Decides the sample again and fills the result and one weight per
    // region (see VireoAwbApiV2::explain). False when the algorithm fails.
    bool Explain(const Score::SampleStats& sample, VireoAwbResult* result,
                 std::vector<float>* weights);

private:
    void* library_ = nullptr;
    const VireoAwbApiV2* api_ = nullptr;
    void* instance_ = nullptr;
};

}  // namespace Vireo::Report

#endif  // VIREO_REPORT_EXPLAIN_H
