#include "RegionSelection.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "Vector4.h"

namespace Vireo {
namespace Awb {

namespace {

// Bit depths outside this range are not believable; 10 bits is the
// statistics depth of the cameras this was made for.
constexpr int kDefaultBitDepth = 10;

}  // namespace

SelectionLimits MakeLimits(const VireoAwbFrame& frame, const Tuning::TuningParams& params) {
    const int bitDepth =
        frame.bitDepth >= 1 && frame.bitDepth <= 24 ? frame.bitDepth : kDefaultBitDepth;
    const float fullScale = static_cast<float>((1 << bitDepth) - 1);
    SelectionLimits limits;
    for (int c = 0; c < 4; ++c) {
        float level = params.saturationFraction * fullScale;
        if (frame.saturationThreshold[c] > 0) {
            level = std::min(level, static_cast<float>(frame.saturationThreshold[c]));
        }
        limits.saturation[c] = level;
    }
    limits.darkGreen = params.darkFraction * fullScale;
    return limits;
}

namespace {

// 1/count per channel (0 for no pixels), remembered: a grid's regions
// nearly always share their pixel counts, so one comparison of the four
// counts together replaces four divisions.
static_assert(offsetof(VireoAwbRegion, gbCount) == offsetof(VireoAwbRegion, rCount) + 6,
              "the four counts lie side by side");

class CountReciprocals {
public:
    // In record order: R, B, GR, GB.
    const float* For(const VireoAwbRegion& region) {
        const uint64_t counts = CountsOf(region);
        if (counts != counts_) {
            counts_ = counts;
            const uint16_t each[4] = {region.rCount, region.bCount, region.grCount, region.gbCount};
            for (int c = 0; c < 4; ++c) {
                inverses_[c] = each[c] != 0 ? 1.0f / static_cast<float>(each[c]) : 0.0f;
            }
            const int greens = (region.grCount != 0 ? 1 : 0) + (region.gbCount != 0 ? 1 : 0);
            const bool counted = region.rCount != 0 && region.bCount != 0 && greens > 0;
            greenShare_ = counted ? 1.0f / static_cast<float>(greens) : 0.0f;
        }
        return inverses_;
    }
    // Whether four records all have the counts remembered, so For would
    // give each of them what it gives now.
    bool AllRemembered(const VireoAwbRegion* four) const {
        return ((CountsOf(four[0]) ^ counts_) | (CountsOf(four[1]) ^ counts_) |
                (CountsOf(four[2]) ^ counts_) | (CountsOf(four[3]) ^ counts_)) == 0;
    }
    const float* Remembered() const { return inverses_; }
    // What each green channel's mean counts for in the green mean: 1/2 when
    // both have pixels, 1 when one has; 0 for a region without R, B or
    // green pixels.
    float GreenShare() const { return greenShare_; }

private:
    static uint64_t CountsOf(const VireoAwbRegion& region) {
        uint64_t counts;
        std::memcpy(&counts, &region.rCount, sizeof counts);
        return counts;
    }

    // Zero counts: zero reciprocals and no green share, as For would set.
    uint64_t counts_ = 0;
    float inverses_[4] = {0.0f, 0.0f, 0.0f, 0.0f};
    float greenShare_ = 0.0f;
};

// The channel means of up to four regions in vector lanes; lanes past the
// regions given read as regions without pixels.
struct FourMeans {
    Float4 r;
    Float4 b;
    Float4 gr;
    Float4 gb;
    Float4 greenShare;
};

inline Float4 SumsOf(const VireoAwbRegion* four, int64_t VireoAwbRegion::*sum) {
    return Float4{static_cast<float>(four[0].*sum), static_cast<float>(four[1].*sum),
                  static_cast<float>(four[2].*sum), static_cast<float>(four[3].*sum)};
}

FourMeans ReadFour(const VireoAwbRegion* four, int32_t lanes, CountReciprocals* reciprocals) {
    FourMeans means;
    if (lanes == 4 && reciprocals->AllRemembered(four)) {
        // The usual case: the whole grid shares its pixel counts.
        const float* inverse = reciprocals->Remembered();
        means.r = SumsOf(four, &VireoAwbRegion::rSum) * inverse[0];
        means.b = SumsOf(four, &VireoAwbRegion::bSum) * inverse[1];
        means.gr = SumsOf(four, &VireoAwbRegion::grSum) * inverse[2];
        means.gb = SumsOf(four, &VireoAwbRegion::gbSum) * inverse[3];
        means.greenShare = Broadcast4(reciprocals->GreenShare());
        return means;
    }
    float r[4] = {};
    float b[4] = {};
    float gr[4] = {};
    float gb[4] = {};
    float share[4] = {};
    for (int32_t k = 0; k < lanes; ++k) {
        const float* inverse = reciprocals->For(four[k]);
        r[k] = static_cast<float>(four[k].rSum) * inverse[0];
        b[k] = static_cast<float>(four[k].bSum) * inverse[1];
        gr[k] = static_cast<float>(four[k].grSum) * inverse[2];
        gb[k] = static_cast<float>(four[k].gbSum) * inverse[3];
        share[k] = reciprocals->GreenShare();
    }
    means.r = Load4(r);
    means.b = Load4(b);
    means.gr = Load4(gr);
    means.gb = Load4(gb);
    means.greenShare = Load4(share);
    return means;
}

}  // namespace

uint32_t SelectRegions(const VireoAwbRegion* regions, int32_t count, const SelectionLimits& limits,
                       const SelectedRegions& out) {
    // A zero dark level still asks for a positive green mean.
    const float darkGreen = std::max(limits.darkGreen, 1e-30f);
    CountReciprocals reciprocals;
    Int4 chosen = {0, 0, 0, 0};
    for (int32_t i = 0; i < count; i += 4) {
        const FourMeans m = ReadFour(regions + i, std::min<int32_t>(4, count - i), &reciprocals);
        // A green channel without pixels reads 0 and has no share.
        const Float4 green = (m.gr + m.gb) * m.greenShare;
        const Int4 usable = (m.greenShare > 0.0f) & (m.r < limits.saturation[0]) &
                            (m.gr < limits.saturation[1]) & (m.gb < limits.saturation[2]) &
                            (m.b < limits.saturation[3]) & (green >= darkGreen) & (m.r > 0.0f) &
                            (m.b > 0.0f);
        Store4(out.r + i, m.r);
        Store4(out.g + i, usable ? green : Broadcast4(1.0f));
        Store4(out.b + i, m.b);
        Store4(out.selected + i, usable ? Broadcast4(1.0f) : Broadcast4(0.0f));
        chosen += usable;
    }
    return CountLanes(chosen);
}

void ModuleFactors(const VireoAwbFrame& frame, float* rFactor, float* bFactor, bool* ignored) {
    auto usable = [](float f) { return std::isfinite(f) && f >= 0.25f && f <= 4.0f; };
    const float r = frame.moduleCalibrationFactors[0];
    const float b = frame.moduleCalibrationFactors[1];
    *rFactor = usable(r) ? r : 1.0f;
    *bFactor = usable(b) ? b : 1.0f;
    *ignored = !usable(r) || !usable(b);
}

}  // namespace Awb
}  // namespace Vireo
