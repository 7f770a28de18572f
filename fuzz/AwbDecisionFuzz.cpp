// The reference algorithm deciding a random sample under a random valid
// tuning (of any mode, a learned one with random maps): whatever the statistics and the calibration
// values say, the gains must be finite and above zero, the white point finite, and the CCT within
// the range the tuning's curve spans.
#include <fuzzer/FuzzedDataProvider.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include "AwbEstimator.h"
#include "FuzzCheck.h"

namespace {

using Vireo::Tuning::TuningParams;

// A curve that walks from warm to cool, as a real one does: CT up, R/G
// down, B/G up, by steps of random size.
void RandomCurve(FuzzedDataProvider& in, TuningParams& p) {
    const size_t count = in.ConsumeIntegralInRange<size_t>(2, Vireo::Tuning::kMaxCurvePoints);
    float ct = in.ConsumeFloatingPointInRange(1000.0f, 4000.0f);
    float rg = in.ConsumeFloatingPointInRange(0.5f, 8.0f);
    float bg = in.ConsumeFloatingPointInRange(0.01f, 1.0f);
    p.ctCurve.clear();
    for (size_t i = 0; i < count && ct <= 20000.0f; ++i) {
        p.ctCurve.push_back({ct, rg, bg});
        ct += in.ConsumeFloatingPointInRange(10.0f, 3000.0f);
        rg *= in.ConsumeFloatingPointInRange(0.5f, 0.999f);
        bg *= in.ConsumeFloatingPointInRange(1.001f, 2.0f);
    }
}

float Any(FuzzedDataProvider& in) { return in.ConsumeFloatingPoint<float>(); }

// A learned model of random maps (from a seed: the maps are too large to
// take from the input) on a random grid, of format version 2, 3 or 4.
void RandomModel(FuzzedDataProvider& in, Vireo::Tuning::LearnedModel& m) {
    m.bins = in.ConsumeBool() ? 8 : 16;
    m.binWidth = in.ConsumeFloatingPointInRange(1e-4f, 1.0f);
    m.uStart = in.ConsumeFloatingPointInRange(-16.0f, 16.0f);
    m.vStart = in.ConsumeFloatingPointInRange(-16.0f, 16.0f);
    const float scale = in.ConsumeFloatingPointInRange(0.0f, 1e4f);
    uint32_t state = in.ConsumeIntegral<uint32_t>();
    const int version = in.ConsumeIntegralInRange(2, 4);
    for (const Vireo::Tuning::LearnedMapKey& key : Vireo::Tuning::kLearnedMapKeys) {
        std::vector<float>& map = m.*key.member;
        if (static_cast<int>(key.sinceVersion) > version) continue;
        map.resize(static_cast<size_t>(m.bins) * m.bins);
        for (float& value : map) {
            state = state * 1664525u + 1013904223u;
            value = scale * (static_cast<float>(state >> 8) / 16777216.0f - 0.5f);
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider in(data, size);
    TuningParams p;
    RandomCurve(in, p);
    if (p.ctCurve.size() < 2) return 0;
    const int mode = in.ConsumeIntegralInRange(0, 2);
    p.mode = mode == 0   ? Vireo::Tuning::AwbMode::Bayes
             : mode == 1 ? Vireo::Tuning::AwbMode::GreyWorld
                         : Vireo::Tuning::AwbMode::Learned;
    if (p.mode == Vireo::Tuning::AwbMode::Learned) RandomModel(in, p.learned);
    p.defaultCt = in.ConsumeFloatingPointInRange(p.ctCurve.front().ct, p.ctCurve.back().ct);
    p.greyZoneWidth = in.ConsumeFloatingPointInRange(1e-6f, 1.0f);
    p.darkFraction = in.ConsumeFloatingPointInRange(0.0f, 0.999f);
    p.saturationFraction = in.ConsumeFloatingPointInRange(1e-6f, 1.0f);
    p.likelihoodSigma = in.ConsumeFloatingPointInRange(0.001f, 0.5f);
    p.likelihoodStrength = in.ConsumeFloatingPointInRange(1e-6f, 100.0f);
    p.likelihoodFloor = in.ConsumeFloatingPointInRange(1e-9f, 1.0f);
    p.transverseLimit = in.ConsumeFloatingPointInRange(0.0f, 1.0f);
    p.luxIndexOutdoor = in.ConsumeFloatingPointInRange(0.0f, 1000.0f);
    p.luxIndexIndoor = p.luxIndexOutdoor + in.ConsumeFloatingPointInRange(1.0f, 1000.0f);
    if (!Vireo::Tuning::Validate(p).empty()) return 0;

    static Vireo::Awb::Estimator estimator;
    Vireo::Awb::InitEstimator(p, &estimator);

    VireoAwbFrame frame{};
    frame.horizontalRegionCount = in.ConsumeIntegralInRange<int32_t>(0, 16);
    frame.verticalRegionCount = in.ConsumeIntegralInRange<int32_t>(0, 16);
    frame.bitDepth = in.ConsumeIntegralInRange<int32_t>(-1, 40);
    for (int32_t& t : frame.saturationThreshold) t = in.ConsumeIntegral<int32_t>();
    frame.luxIndex = Any(in);
    for (float& f : frame.moduleCalibrationFactors) f = in.ConsumeBool() ? 1.0f : Any(in);
    for (float& f : frame.singleLEDCalibrationPoint) f = Any(in);
    std::vector<VireoAwbRegion> regions;
    while (in.remaining_bytes() > 0 && regions.size() < 1024) {
        VireoAwbRegion r{};
        // Mostly plausible sums, now and then any 64-bit value.
        const bool wild = in.ConsumeIntegralInRange(0, 7) == 0;
        for (int64_t* sum : {&r.rSum, &r.bSum, &r.grSum, &r.gbSum})
            *sum = wild ? in.ConsumeIntegral<int64_t>()
                        : in.ConsumeIntegralInRange<int64_t>(0, 1 << 22);
        for (uint16_t* count : {&r.rCount, &r.bCount, &r.grCount, &r.gbCount})
            *count = in.ConsumeIntegral<uint16_t>();
        regions.push_back(r);
    }
    frame.regions = regions.data();
    frame.regionCount = static_cast<int32_t>(regions.size());

    VireoAwbResult result{};
    VIREO_FUZZ_CHECK(Vireo::Awb::Estimate(&estimator, frame, &result) == 0);
    for (const float gain : {result.rGain, result.gGain, result.bGain})
        VIREO_FUZZ_CHECK(std::isfinite(gain) && gain > 0.0f);
    VIREO_FUZZ_CHECK(std::isfinite(result.whiteRg) && result.whiteRg > 0.0f);
    VIREO_FUZZ_CHECK(std::isfinite(result.whiteBg) && result.whiteBg > 0.0f);
    // The CCT is rounded to whole kelvin.
    VIREO_FUZZ_CHECK(result.cct + 1.0 >= p.ctCurve.front().ct &&
                     result.cct - 1.0 <= p.ctCurve.back().ct);
    return 0;
}
