#include "WhiteLocus.h"

#include <algorithm>
#include <cmath>

namespace Vireo::Tune {
namespace {

// At most this many points between the end points with Grouping::EqualShares.
constexpr size_t kCurveGroups = 8;
// Real scenes reach these CTs beyond the whites a tuning is made from.
constexpr double kLowEndKelvin = 2000.0, kHighEndKelvin = 12000.0;

}  // namespace

std::vector<Tuning::CurvePoint> FitWhiteLocus(std::vector<White> whites, Grouping grouping) {
    std::sort(whites.begin(), whites.end(),
              [](const White& a, const White& b) { return a.mired > b.mired; });  // CT ascending
    const size_t n = whites.size();
    const size_t groups = std::clamp<size_t>(n / 4, 2, kCurveGroups);
    std::vector<White> means;
    for (size_t from = 0, k = 1; from < n; ++k) {
        size_t to = n * k / groups;
        if (grouping == Grouping::SameCt)
            for (to = from + 1; to < n && whites[to].mired == whites[from].mired;) ++to;
        if (to == from) continue;  // fewer whites than groups
        White m{0, 0, 0};
        for (size_t i = from; i < to; ++i) {
            m.lnRG += whites[i].lnRG, m.lnBG += whites[i].lnBG, m.mired += whites[i].mired;
        }
        const double count = static_cast<double>(to - from);
        m.lnRG /= count, m.lnBG /= count, m.mired /= count;
        // Groups of nearly the same CT would make a kink: keep the first.
        if (means.empty() || means.back().mired - m.mired >= 5.0) means.push_back(m);
        from = to;
    }
    if (means.size() < 2) {  // all whites at one CT: a short straight piece
        const White m = means.front();
        means = {{m.lnRG + 0.05, m.lnBG - 0.05, m.mired + 10.0},
                 {m.lnRG - 0.05, m.lnBG + 0.05, m.mired - 10.0}};
    }
    auto extend = [](const White& end, const White& inner, double kelvin) {
        const double t = (1e6 / kelvin - end.mired) / (end.mired - inner.mired);
        return White{end.lnRG + t * (end.lnRG - inner.lnRG), end.lnBG + t * (end.lnBG - inner.lnBG),
                     1e6 / kelvin};
    };
    const size_t last = means.size() - 1;
    if (1e6 / means.back().mired < kHighEndKelvin - 1.0)
        means.push_back(extend(means[last], means[last - 1], kHighEndKelvin));
    if (1e6 / means.front().mired > kLowEndKelvin + 1.0)
        means.insert(means.begin(), extend(means[0], means[1], kLowEndKelvin));
    std::vector<Tuning::CurvePoint> curve;
    for (const White& m : means) {
        curve.push_back({static_cast<float>(1e6 / m.mired),
                         std::clamp(static_cast<float>(std::exp(m.lnRG)), 1e-3f, 16.0f),
                         std::clamp(static_cast<float>(std::exp(m.lnBG)), 1e-3f, 16.0f)});
    }
    return curve;
}

}  // namespace Vireo::Tune
