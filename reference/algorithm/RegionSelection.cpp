#include "RegionSelection.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "Lanes.h"

namespace Vireo {
namespace Awb {

namespace {

// A bit depth outside 1 to 24 is not believable; such a frame is read as
// 10-bit statistics.
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

static_assert(offsetof(VireoAwbRegion, gbCount) == offsetof(VireoAwbRegion, rCount) + 6,
              "the four counts lie side by side");

// The four pixel counts of a record as one word, to compare them at once.
inline uint64_t CountsOf(const VireoAwbRegion& region) {
    uint64_t counts;
    std::memcpy(&counts, &region.rCount, sizeof counts);
    return counts;
}

// What a region's sums are multiplied by: 1/count per channel (0 for no
// pixels), in record order R, B, GR, GB, and what each green channel's mean
// counts for in the green mean: 1/2 when both have pixels, 1 when one has,
// 0 for a region without R, B or green pixels. A grid's regions nearly
// always share their pixel counts, so these are worked out once and reused
// while the counts stay the same.
struct Scales {
    uint64_t counts = 0;  // zero counts: zero reciprocals, no green share
    float inverse[4] = {0.0f, 0.0f, 0.0f, 0.0f};
    float greenShare = 0.0f;
};

inline void UpdateScales(const VireoAwbRegion& region, Scales* scales) {
    const uint64_t counts = CountsOf(region);
    if (counts == scales->counts) return;
    scales->counts = counts;
    const uint16_t each[4] = {region.rCount, region.bCount, region.grCount, region.gbCount};
    for (int c = 0; c < 4; ++c) {
        scales->inverse[c] = each[c] != 0 ? 1.0f / static_cast<float>(each[c]) : 0.0f;
    }
    const int greens = (region.grCount != 0 ? 1 : 0) + (region.gbCount != 0 ? 1 : 0);
    const bool counted = region.rCount != 0 && region.bCount != 0 && greens > 0;
    scales->greenShare = counted ? 1.0f / static_cast<float>(greens) : 0.0f;
}

// The channel means of a group of regions, one per lane; lanes past the
// regions given read as regions without pixels.
template <typename F>
struct GroupMeans {
    F r;
    F b;
    F gr;
    F gb;
    F greenShare;
};

// The four sums of four records as floats, in channel order R, B, GR, GB:
// records are turned into lanes four at a time, which is what one round of
// 128-bit shuffles gathers.
struct FourSums {
    Float4 r;
    Float4 b;
    Float4 gr;
    Float4 gb;
};

static_assert(offsetof(VireoAwbRegion, bSum) == offsetof(VireoAwbRegion, rSum) + 8 &&
                  offsetof(VireoAwbRegion, grSum) == offsetof(VireoAwbRegion, rSum) + 16 &&
                  offsetof(VireoAwbRegion, gbSum) == offsetof(VireoAwbRegion, rSum) + 24,
              "the four sums lie side by side");

// The words of a record's sums as two vectors: {R low, R high, B low, B
// high} and the same for GR and GB (little-endian).
struct SumWords {
    Int4 rb;
    Int4 greens;
};

inline SumWords WordsOf(const VireoAwbRegion& region) {
    SumWords words;
    std::memcpy(&words.rb, &region.rSum, sizeof words.rb);
    std::memcpy(&words.greens, &region.grSum, sizeof words.greens);
    return words;
}

inline FourSums SumsOf(const VireoAwbRegion* four) {
    auto lanes = [four](int64_t VireoAwbRegion::*sum) {
        return Float4{static_cast<float>(four[0].*sum), static_cast<float>(four[1].*sum),
                      static_cast<float>(four[2].*sum), static_cast<float>(four[3].*sum)};
    };
    return {lanes(&VireoAwbRegion::rSum), lanes(&VireoAwbRegion::bSum),
            lanes(&VireoAwbRegion::grSum), lanes(&VireoAwbRegion::gbSum)};
}

// The same, for the usual sums that fit 31 bits: their low words are
// gathered by shuffles and converted four at a time, where each 64-bit sum
// would cost a conversion of its own. Both round the same exact integer, so
// the floats are the same. Falls back to SumsOf for any larger or negative
// sum.
inline FourSums SumsOfFast(const VireoAwbRegion* four) {
    const SumWords w0 = WordsOf(four[0]);
    const SumWords w1 = WordsOf(four[1]);
    const SumWords w2 = WordsOf(four[2]);
    const SumWords w3 = WordsOf(four[3]);
    const Int4 all =
        (w0.rb | w1.rb) | (w2.rb | w3.rb) | (w0.greens | w1.greens) | (w2.greens | w3.greens);
    // High words zero and the low words' top bits clear.
    const Int4 beyond = all & Int4{INT32_MIN, -1, INT32_MIN, -1};
    uint64_t halves[2];
    std::memcpy(halves, &beyond, sizeof halves);
    if ((halves[0] | halves[1]) != 0) return SumsOf(four);
    // {R0, B0, R1, B1} and {R2, B2, R3, B3}, then R and B apart; the same
    // for the greens.
    const Int4 rb01 = __builtin_shufflevector(w0.rb, w1.rb, 0, 2, 4, 6);
    const Int4 rb23 = __builtin_shufflevector(w2.rb, w3.rb, 0, 2, 4, 6);
    const Int4 g01 = __builtin_shufflevector(w0.greens, w1.greens, 0, 2, 4, 6);
    const Int4 g23 = __builtin_shufflevector(w2.greens, w3.greens, 0, 2, 4, 6);
    return {__builtin_convertvector(__builtin_shufflevector(rb01, rb23, 0, 2, 4, 6), Float4),
            __builtin_convertvector(__builtin_shufflevector(rb01, rb23, 1, 3, 5, 7), Float4),
            __builtin_convertvector(__builtin_shufflevector(g01, g23, 0, 2, 4, 6), Float4),
            __builtin_convertvector(__builtin_shufflevector(g01, g23, 1, 3, 5, 7), Float4)};
}

// The sums of a group of four records as floats.
template <typename F>
VIREO_LANES_INLINE GroupMeans<F> GroupSums(const VireoAwbRegion* group) {
    const FourSums sums = SumsOfFast(group);
    return {sums.r, sums.b, sums.gr, sums.gb, F{}};
}

// Records whose counts differ from their neighbours', and the last group of
// a sample: one region at a time. Lanes past `lanes` read as regions
// without pixels.
template <typename F>
VIREO_LANES_INLINE GroupMeans<F> ReadEach(const VireoAwbRegion* group, int32_t lanes,
                                          Scales* scales) {
    constexpr int kLanes = kLanesOf<F>;
    float r[kLanes] = {};
    float b[kLanes] = {};
    float gr[kLanes] = {};
    float gb[kLanes] = {};
    float share[kLanes] = {};
    for (int32_t k = 0; k < lanes; ++k) {
        UpdateScales(group[k], scales);
        r[k] = static_cast<float>(group[k].rSum) * scales->inverse[0];
        b[k] = static_cast<float>(group[k].bSum) * scales->inverse[1];
        gr[k] = static_cast<float>(group[k].grSum) * scales->inverse[2];
        gb[k] = static_cast<float>(group[k].gbSum) * scales->inverse[3];
        share[k] = scales->greenShare;
    }
    return {Load<F>(r), Load<F>(b), Load<F>(gr), Load<F>(gb), Load<F>(share)};
}

template <typename F>
VIREO_LANES_INLINE uint32_t SelectGroups(const VireoAwbRegion* regions, int32_t count,
                                         const SelectionLimits& limits,
                                         const SelectedRegions& out) {
    constexpr int kLanes = kLanesOf<F>;
    typedef MaskOf<F> I;
    // Everything the loop reads besides the records is copied into locals
    // first: the stores to the float arrays could otherwise alias it, and it
    // would be read again for every group.
    const float saturationR = limits.saturation[0];
    const float saturationGr = limits.saturation[1];
    const float saturationGb = limits.saturation[2];
    const float saturationB = limits.saturation[3];
    // A zero dark level still asks for a positive green mean.
    const float darkGreen = std::max(limits.darkGreen, 1e-30f);
    float* const outR = out.r;
    float* const outG = out.g;
    float* const outB = out.b;
    float* const outSelected = out.selected;
    Scales scales;
    GroupMeans<F> shared{};  // the scales of `scales`, in every lane
    I chosen = Splat<I>(0);
    for (int32_t i = 0; i < count; i += kLanes) {
        const VireoAwbRegion* group = regions + i;
        const int32_t lanes = count - i < kLanes ? count - i : kLanes;
        uint64_t differ = 0;
        if (lanes == kLanes) {
            for (int k = 0; k < kLanes; ++k) differ |= CountsOf(group[k]) ^ scales.counts;
        }
        GroupMeans<F> m;
        if (lanes == kLanes && differ == 0) {
            // The usual case: the whole grid shares its pixel counts.
            const GroupMeans<F> sums = GroupSums<F>(group);
            m = {sums.r * shared.r, sums.b * shared.b, sums.gr * shared.gr, sums.gb * shared.gb,
                 shared.greenShare};
        } else {
            m = ReadEach<F>(group, lanes, &scales);
            shared = {Splat<F>(scales.inverse[0]), Splat<F>(scales.inverse[1]),
                      Splat<F>(scales.inverse[2]), Splat<F>(scales.inverse[3]),
                      Splat<F>(scales.greenShare)};
        }
        // A green channel without pixels reads 0 and has no share.
        const F green = (m.gr + m.gb) * m.greenShare;
        const I usable = (m.greenShare > 0.0f) & (m.r < saturationR) & (m.gr < saturationGr) &
                         (m.gb < saturationGb) & (m.b < saturationB) & (green >= darkGreen) &
                         (m.r > 0.0f) & (m.b > 0.0f);
        Store(outR + i, m.r);
        Store(outG + i, usable ? green : Splat<F>(1.0f));
        Store(outB + i, m.b);
        Store(outSelected + i, usable ? Splat<F>(1.0f) : Splat<F>(0.0f));
        chosen += usable;
    }
    return CountLanes(chosen);
}

}  // namespace

uint32_t SelectRegions(const VireoAwbRegion* regions, int32_t count, const SelectionLimits& limits,
                       const SelectedRegions& out) {
    return SelectGroups<Float4>(regions, count, limits, out);
}

void ModuleFactors(const VireoAwbFrame& frame, float* rFactor, float* bFactor, bool* ignored) {
    auto usable = [](float f) {
        return std::isfinite(f) && f >= VIREO_AWB_MODULE_FACTOR_MIN &&
               f <= VIREO_AWB_MODULE_FACTOR_MAX;
    };
    const float r = frame.moduleCalibrationFactors[0];
    const float b = frame.moduleCalibrationFactors[1];
    *rFactor = usable(r) ? r : 1.0f;
    *bFactor = usable(b) ? b : 1.0f;
    *ignored = !usable(r) || !usable(b);
}

}  // namespace Awb
}  // namespace Vireo
