// Region statistics of the sample-file grid, made from images: by area for
// demosaiced RGB pictures, by photosite for camera raw mosaics. Both give
// the sums and counts the sample file holds plus the header values that
// must agree with them (region size, ROI, bit depth, saturation threshold).
#ifndef VIREO_IMPORT_GRID_STATS_H
#define VIREO_IMPORT_GRID_STATS_H

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "SampleFileWriter.h"

namespace Vireo::Import {

// An RGB picture, three values per pixel, rows from the top.
struct RgbImage {
    int width = 0, height = 0;
    int bitDepth = 0;  // of the stored values: 8 or 16
    std::vector<uint16_t> rgb;
};

// A raw mosaic over the visible area, one value per photosite, with the
// colour of each photosite from the file's 2 x 2 CFA pattern.
struct CfaImage {
    int width = 0, height = 0;
    std::vector<uint16_t> values;
    // Channel of the photosite at (x % 2, y % 2), as pattern[y % 2][x % 2]:
    // 0 R, 1 GR (green on a red row), 2 B, 3 GB (green on a blue row).
    std::array<std::array<int, 2>, 2> pattern{};
    std::array<int, 4> black{};  // per channel, same order
    int white = 0;               // the level where the sensor saturates
};

// The file's channel order, as SampleRegionValues holds it.
enum Channel { kR = 0, kGR = 1, kB = 2, kGB = 3 };

// Where pixels stop counting and how values are offset.
struct Levels {
    double white = 0.0;         // stored value of full scale
    double clipFraction = 1.0;  // values >= white * clipFraction are clipped
    int black = 0;              // subtracted from every value (images only)
};

struct GridSize {
    int columns = 64, rows = 48;
};

// What the sample file's header says about the statistics.
struct GridStats {
    int64_t regionWidth = 0, regionHeight = 0;
    std::array<int64_t, 4> roi{};  // left, top, width, height
    int bitDepth = 0;
    // Per channel (file order): means at or above it come from clipped
    // pixels; in the units of the sums' means.
    std::array<int64_t, 4> saturationThreshold{};
    int validRegionCount = 0;  // regions with all four counts non-zero
    std::vector<SampleRegionValues> regions;
    std::vector<std::array<int64_t, 4>> saturatedSums;  // per region, file order
};

// Smallest bit depth that holds every value from 0 to `maxValue`.
int BitDepthFor(double maxValue);

// Area statistics of an RGB picture. Each pixel is split into a x b equal
// sub-pixels, the fewest that put every region edge on a sub-pixel edge;
// a region's sums and counts are then taken over its sub-pixels, so a pixel
// that straddles a region edge counts in each region by the area it has
// there. Header sizes are in sub-pixels. Pixels 0 in all three channels are
// no data; a pixel with any channel at or above the clip level is left out
// whole. False with a reason when the image cannot fill the grid.
bool AreaStats(const RgbImage& image, const GridSize& grid, const Levels& levels, GridStats& stats,
               std::string& error);

// Photosite statistics of a raw mosaic: regions of an even number of
// photosites each way (so every region holds whole 2 x 2 CFA cells) over the
// largest centred part of the visible area that the grid divides, with
// photosites in `masked` (x, y, width, height; width 0 for none) left out.
bool CfaStats(const CfaImage& image, const GridSize& grid, double clipFraction,
              const std::array<int, 4>& masked, GridStats& stats, std::string& error);

}  // namespace Vireo::Import

#endif  // VIREO_IMPORT_GRID_STATS_H
