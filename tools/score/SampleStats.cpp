#include "SampleStats.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "SampleReaders.h"

namespace Vireo::Score {

bool LoadSample(const std::string& path, SampleStats& sample, std::string& error) {
    std::vector<char> buffer(path.begin(), path.end());
    buffer.push_back('\0');
    sample = SampleStats{};
    if (ParseBGStatsInfo(buffer.data(), &sample.header) != 0) {
        error = "cannot read the statistics header of " + path;
        return false;
    }
    const int32_t total = sample.header.totalRegionCount;
    if (total <= 0 || total > 1 << 20 ||
        total != sample.header.horizontalRegionCount * sample.header.verticalRegionCount) {
        error = path + ": region counts disagree";
        return false;
    }
    sample.regions.assign(static_cast<std::size_t>(total), StatsBayerGridChannelInfoS{});
    if (ParseBGChannelInfo(buffer.data(), total, sample.regions.data()) != 0) {
        error = "cannot read the channel section of " + path;
        return false;
    }
    for (float& f : sample.calibration.moduleCalibrationFactors) f = 1.0f;
    if (ParseCalibrationInfo(buffer.data(), &sample.calibration) != 0) {
        error = "cannot read the calibration section of " + path;
        return false;
    }
    return true;
}

bool UsableRegionMeans(const SampleStats& sample, std::size_t region, RegionMeans& m) {
    const StatsBayerGridChannelInfoS& s = sample.regions[region];
    if (s.rCount == 0 || s.bCount == 0 || (s.grCount == 0 && s.gbCount == 0)) return false;
    const int bits =
        sample.header.bitDepth >= 1 && sample.header.bitDepth <= 24 ? sample.header.bitDepth : 10;
    const double full = std::ldexp(1.0, bits) - 1.0;
    m.r = static_cast<double>(s.rSum) / s.rCount;
    m.b = static_cast<double>(s.bSum) / s.bCount;
    double g = 0.0;
    int greens = 0;
    if (s.grCount != 0) g += static_cast<double>(s.grSum) / s.grCount, ++greens;
    if (s.gbCount != 0) g += static_cast<double>(s.gbSum) / s.gbCount, ++greens;
    m.g = g / greens;
    const double limit = 0.95 * full;
    return m.r < limit && m.g < limit && m.b < limit && m.g >= 0.01 * full;
}

bool GreyWorldWhite(const SampleStats& sample, double& rOverG, double& bOverG) {
    double r = 0.0, g = 0.0, b = 0.0;
    for (std::size_t i = 0; i < sample.regions.size(); ++i) {
        RegionMeans m;
        if (!UsableRegionMeans(sample, i, m)) continue;
        r += m.r, g += m.g, b += m.b;
    }
    if (g <= 0.0) return false;
    rOverG = r / g;
    bOverG = b / g;
    return true;
}

bool CornerCrop(const SampleStats& from, int corner, double fraction, SampleStats& crop) {
    const int cols = from.header.horizontalRegionCount, rows = from.header.verticalRegionCount;
    if (cols <= 0 || rows <= 0 ||
        static_cast<size_t>(cols) * static_cast<size_t>(rows) != from.regions.size())
        return false;
    const int width = static_cast<int>(cols * fraction) / 2 * 2;
    const int height = static_cast<int>(rows * fraction);
    if (width < 2 || height < 2) return false;
    const int left = (corner & 1) != 0 ? cols - width : 0;
    const int top = (corner & 2) != 0 ? rows - height : 0;
    crop.header = from.header;
    crop.calibration = from.calibration;
    crop.header.horizontalRegionCount = width;
    crop.header.verticalRegionCount = height;
    crop.regions.clear();
    for (int y = top; y < top + height; ++y) {
        const auto row = from.regions.begin() + static_cast<ptrdiff_t>(y) * cols + left;
        crop.regions.insert(crop.regions.end(), row, row + width);
    }
    return true;
}

VireoAwbFrame FrameOf(const SampleStats& sample) {
    static_assert(sizeof(VireoAwbRegion) == sizeof(StatsBayerGridChannelInfoS),
                  "the algorithm reads the driver's region records in place");
    VireoAwbFrame frame{};
    frame.regions = reinterpret_cast<const VireoAwbRegion*>(sample.regions.data());
    frame.regionCount = static_cast<int32_t>(sample.regions.size());
    frame.horizontalRegionCount = sample.header.horizontalRegionCount;
    frame.verticalRegionCount = sample.header.verticalRegionCount;
    frame.bitDepth = sample.header.bitDepth;
    std::memcpy(frame.saturationThreshold, sample.header.saturationThreshold,
                sizeof frame.saturationThreshold);
    frame.luxIndex = sample.header.luxIndex;
    std::memcpy(frame.moduleCalibrationFactors, sample.calibration.moduleCalibrationFactors,
                sizeof frame.moduleCalibrationFactors);
    std::memcpy(frame.singleLEDCalibrationPoint, sample.calibration.singleLEDCalibrationPoint,
                sizeof frame.singleLEDCalibrationPoint);
    return frame;
}

}  // namespace Vireo::Score
