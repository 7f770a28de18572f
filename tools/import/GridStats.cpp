#include "GridStats.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

namespace Vireo::Import {
namespace {

// Counts are 16-bit fields in the records the driver hands to wrappers.
constexpr int64_t kMaxCount = 65535;

// The regions a pixel of one axis covers, with the sub-pixels it has in each.
struct Span {
    int region;
    int64_t overlap;
};

// Pixel i covers sub-pixels [i * split, (i + 1) * split); region j covers
// [j * regionSize, (j + 1) * regionSize).
std::vector<std::vector<Span>> AxisSpans(int pixels, int64_t split, int64_t regionSize) {
    std::vector<std::vector<Span>> spans(static_cast<size_t>(pixels));
    for (int i = 0; i < pixels; ++i) {
        const int64_t start = i * split, end = (i + 1) * split;
        for (int64_t j = start / regionSize; j * regionSize < end; ++j) {
            const int64_t overlap =
                std::min(end, (j + 1) * regionSize) - std::max(start, j * regionSize);
            spans[static_cast<size_t>(i)].push_back({static_cast<int>(j), overlap});
        }
    }
    return spans;
}

std::string Size(int width, int height) {
    return std::to_string(width) + "x" + std::to_string(height);
}

}  // namespace

int BitDepthFor(double maxValue) {
    int bits = 1;
    while (bits < 31 && std::ldexp(1.0, bits) - 1.0 < maxValue) ++bits;
    return bits;
}

bool AreaStats(const RgbImage& image, const GridSize& grid, const Levels& levels, GridStats& stats,
               std::string& error) {
    const int width = image.width, height = image.height;
    if (width < grid.columns || height < grid.rows) {
        error = "a " + Size(width, height) + " image has fewer pixels than the " +
                Size(grid.columns, grid.rows) + " grid has regions";
        return false;
    }
    // The fewest sub-pixels per pixel that put the region edges on
    // sub-pixel edges: columns / gcd(width, columns) across, likewise down.
    const int64_t splitX = grid.columns / std::gcd(width, grid.columns);
    const int64_t splitY = grid.rows / std::gcd(height, grid.rows);
    const int64_t regionWidth = width * splitX / grid.columns;
    const int64_t regionHeight = height * splitY / grid.rows;
    const auto columnSpans = AxisSpans(width, splitX, regionWidth);
    const auto rowSpans = AxisSpans(height, splitY, regionHeight);

    const size_t regionCount = static_cast<size_t>(grid.columns) * grid.rows;
    std::vector<std::array<int64_t, 3>> sums(regionCount), saturated(regionCount);
    std::vector<int64_t> counts(regionCount, 0);
    const double clipLevel = levels.white * levels.clipFraction;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const uint16_t* v = &image.rgb[(static_cast<size_t>(y) * width + x) * 3];
            if (v[0] == 0 && v[1] == 0 && v[2] == 0) continue;  // no data
            const bool clipped = v[0] >= clipLevel || v[1] >= clipLevel || v[2] >= clipLevel;
            std::array<int64_t, 3> value;
            for (int c = 0; c < 3; ++c) value[c] = std::max(0, v[c] - levels.black);
            for (const Span& row : rowSpans[static_cast<size_t>(y)]) {
                for (const Span& column : columnSpans[static_cast<size_t>(x)]) {
                    const size_t region = static_cast<size_t>(row.region) * grid.columns +
                                          static_cast<size_t>(column.region);
                    const int64_t area = row.overlap * column.overlap;
                    auto& into = clipped ? saturated[region] : sums[region];
                    for (int c = 0; c < 3; ++c) into[c] += area * value[c];
                    if (!clipped) counts[region] += area;
                }
            }
        }
    }

    // A region of more sub-pixels than a count can hold has its counts
    // divided by `divisor` and its sums scaled by the same ratio, so that
    // sum / count stays the area-weighted mean (to half a unit over the
    // count).
    const int64_t full = regionWidth * regionHeight;
    const int64_t divisor = (full + kMaxCount - 1) / kMaxCount;
    stats = GridStats{};
    stats.regionWidth = regionWidth;
    stats.regionHeight = regionHeight;
    stats.roi = {0, 0, width * splitX, height * splitY};
    stats.bitDepth = BitDepthFor(levels.white - levels.black);
    stats.saturationThreshold.fill(static_cast<int64_t>(std::ceil(clipLevel)) - levels.black);
    stats.regions.resize(regionCount);
    stats.saturatedSums.resize(regionCount);
    for (size_t i = 0; i < regionCount; ++i) {
        int64_t count = counts[i];
        std::array<int64_t, 3> sum = sums[i], sat = saturated[i];
        if (divisor > 1) {
            const int64_t scaled =
                count == 0 ? 0
                           : std::max<int64_t>(1, std::llround(static_cast<double>(count) /
                                                               static_cast<double>(divisor)));
            for (int c = 0; c < 3; ++c) {
                if (count != 0) {
                    sum[c] = std::llround(static_cast<long double>(sum[c]) * scaled / count);
                }
                sat[c] = std::llround(static_cast<double>(sat[c]) / static_cast<double>(divisor));
            }
            count = scaled;
        }
        // Demosaiced input has one green: GR and GB both carry it.
        stats.regions[i].sums = {sum[0], sum[1], sum[2], sum[1]};
        stats.regions[i].counts = {count, count, count, count};
        stats.saturatedSums[i] = {sat[0], sat[1], sat[2], sat[1]};
        if (count != 0) ++stats.validRegionCount;
    }
    return true;
}

bool CfaStats(const CfaImage& image, const GridSize& grid, double clipFraction,
              const std::array<int, 4>& masked, GridStats& stats, std::string& error) {
    // Whole 2 x 2 cells per region, as a sensor's statistics block counts.
    const int64_t regionWidth = image.width / grid.columns / 2 * 2;
    const int64_t regionHeight = image.height / grid.rows / 2 * 2;
    if (regionWidth < 2 || regionHeight < 2) {
        error = "a " + Size(image.width, image.height) + " visible area is too small for a " +
                Size(grid.columns, grid.rows) + " grid of regions of 2x2 photosites or more";
        return false;
    }
    if (regionWidth * regionHeight / 4 > kMaxCount) {
        error = "regions of " +
                Size(static_cast<int>(regionWidth), static_cast<int>(regionHeight)) +
                " photosites hold more than 65535 of a colour; choose a finer grid";
        return false;
    }
    // Centred, on an even offset so that each region starts on the pattern's
    // first cell.
    const int64_t left = (image.width - regionWidth * grid.columns) / 4 * 2;
    const int64_t top = (image.height - regionHeight * grid.rows) / 4 * 2;
    const double clipLevel = image.white * clipFraction;

    const size_t regionCount = static_cast<size_t>(grid.columns) * grid.rows;
    stats = GridStats{};
    stats.regionWidth = regionWidth;
    stats.regionHeight = regionHeight;
    stats.roi = {left, top, regionWidth * grid.columns, regionHeight * grid.rows};
    stats.regions.resize(regionCount);
    stats.saturatedSums.resize(regionCount);
    for (int64_t y = top; y < top + stats.roi[3]; ++y) {
        const size_t regionRow = static_cast<size_t>((y - top) / regionHeight);
        const bool maskedRow = y >= masked[1] && y < masked[1] + masked[3];
        for (int64_t x = left; x < left + stats.roi[2]; ++x) {
            if (maskedRow && x >= masked[0] && x < masked[0] + masked[2]) continue;
            const size_t region =
                regionRow * grid.columns + static_cast<size_t>((x - left) / regionWidth);
            const int channel = image.pattern[y & 1][x & 1];
            const int raw = image.values[static_cast<size_t>(y) * image.width + x];
            const int64_t value = std::max(0, raw - image.black[channel]);
            if (raw >= clipLevel) {
                stats.saturatedSums[region][channel] += value;
            } else {
                stats.regions[region].sums[channel] += value;
                ++stats.regions[region].counts[channel];
            }
        }
    }
    const int lowestBlack = *std::min_element(image.black.begin(), image.black.end());
    stats.bitDepth = BitDepthFor(image.white - lowestBlack);
    for (int c = 0; c < 4; ++c) {
        stats.saturationThreshold[c] = static_cast<int64_t>(std::ceil(clipLevel)) - image.black[c];
    }
    for (const SampleRegionValues& region : stats.regions) {
        const auto& n = region.counts;
        if (n[0] != 0 && n[1] != 0 && n[2] != 0 && n[3] != 0) ++stats.validRegionCount;
    }
    return true;
}

}  // namespace Vireo::Import
