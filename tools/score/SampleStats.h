// One sample file read with the driver's own readers, and the per-region
// channel means that white balance works with.
#ifndef VIREO_SCORE_SAMPLE_STATS_H
#define VIREO_SCORE_SAMPLE_STATS_H

#include <string>
#include <vector>

#include "vireo/ReferenceAwbApi.h"
#include "vireo/SampleRecords.h"

namespace Vireo::Score {

struct SampleStats {
    ChannelData header{};
    CalibrationData calibration{};
    std::vector<StatsBayerGridChannelInfoS> regions;
};

// False with a reason when a reader fails or the header's counts disagree.
bool LoadSample(const std::string& path, SampleStats& sample, std::string& error);

struct RegionMeans {
    double r = 0.0, g = 0.0, b = 0.0;  // g: mean of the GR and GB means
};

// Means of one region; false when it has no usable pixels, is saturated
// (any mean at 95 % of full scale or above) or too dark (green under 1 %).
bool UsableRegionMeans(const SampleStats& sample, std::size_t region, RegionMeans& means);

// Plain grey world: the average of the usable regions' means, as R/G and
// B/G of this module (no module calibration involved). False when no
// region is usable.
bool GreyWorldWhite(const SampleStats& sample, double& rOverG, double& bOverG);

// Corner `corner` (0 top left, 1 top right, 2 bottom left, 3 bottom right)
// of the region grid: `fraction` of its height and of its width, kept even
// so that side-by-side pairs of regions stay pairs. False when the grid is
// too small or its counts do not describe it.
bool CornerCrop(const SampleStats& from, int corner, double fraction, SampleStats& crop);

// The frame the algorithm library gets for a sample, as the reference
// wrapper builds it (the regions are borrowed from sample).
VireoAwbFrame FrameOf(const SampleStats& sample);

}  // namespace Vireo::Score

#endif  // VIREO_SCORE_SAMPLE_STATS_H
