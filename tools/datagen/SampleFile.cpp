#include "SampleFile.h"

#include <cstdint>
#include <cstdio>

#include "AtomicFile.h"
#include "SampleFileWriter.h"

namespace Vireo::Datagen {
namespace {

// Calibration values keep six significant digits, enough for a factor.
std::string Text(double value) {
    char buf[32];
    const int length = std::snprintf(buf, sizeof buf, "%.6g", value);
    return std::string(buf, static_cast<std::size_t>(length));
}

std::string Text(int64_t value) { return std::to_string(value); }

}  // namespace

std::string FormatSampleFile(const Capture& cap, const SensorConfig& sensor, const Module& module) {
    const int total = sensor.columns * sensor.rows;
    SampleFileContent content;
    content.header = {
        Text(static_cast<double>(cap.luxIndex)), Text(int64_t{1}),  // AEC settled
        Text(int64_t{sensor.columns}), Text(int64_t{sensor.rows}), Text(int64_t{total}),
        Text(int64_t{cap.regionWidth}), Text(int64_t{cap.regionHeight}),
        Text(int64_t{sensor.bitDepth}), Text(int64_t{0}),  // flags
        // Saturation thresholds R, GR, GB, B.
        Text(int64_t{sensor.saturationThreshold}), Text(int64_t{sensor.saturationThreshold}),
        Text(int64_t{sensor.saturationThreshold}), Text(int64_t{sensor.saturationThreshold}),
        Text(int64_t{cap.validRegionCount}),
        // Stats ROI: left, top, width, height on the sensor.
        Text(int64_t{0}), Text(int64_t{0}), Text(int64_t{cap.regionWidth} * sensor.columns),
        Text(int64_t{cap.regionHeight} * sensor.rows)};

    // Factory calibration: the module's R/G and B/G relative to the golden
    // module, both measured under D50; the flash LED's white point.
    std::size_t next = 0;
    content.calibration[next++] = Text(int64_t{2});  // factor count
    content.calibration[next++] = Text(5003.0);      // CCTs
    content.calibration[next++] = Text(5003.0);
    for (int i = 2; i < 6; ++i) content.calibration[next++] = Text(0.0);
    content.calibration[next++] = Text(module.measuredR);  // module factors
    content.calibration[next++] = Text(module.measuredB);
    for (int i = 2; i < 20; ++i) content.calibration[next++] = Text(1.0);
    content.calibration[next++] = Text(module.ledRatioR);  // LED point
    content.calibration[next++] = Text(module.ledRatioB);

    // The file's channel order is R, G/GR, B, GB.
    static const int kFileOrder[4] = {kR, kGR, kB, kGB};
    content.regions.resize(cap.regions.size());
    for (std::size_t i = 0; i < cap.regions.size(); ++i) {
        for (std::size_t k = 0; k < 4; ++k) {
            const auto channel = static_cast<std::size_t>(kFileOrder[k]);
            content.regions[i].sums[k] = cap.regions[i].sum[channel];
            content.regions[i].counts[k] = cap.regions[i].count[channel];
        }
    }

    std::string out;
    out.reserve(static_cast<std::size_t>(total) * 12 * 8 + 1024);
    AppendSampleFile(out, content);
    // Sums of the clipped pixels, as the recorder writes them after the
    // channel section; the driver stops reading at the first key, which the
    // writer has just put down.
    for (std::size_t k = 0; k < 4; ++k) {
        if (k > 0) AppendLine(out, kLaterSaturatedSumKeys[k - 1]);
        const auto channel = static_cast<std::size_t>(kFileOrder[k]);
        for (const auto& r : cap.regions) AppendLine(out, r.saturatedSum[channel]);
    }
    return out;
}

bool WriteSampleFile(const std::string& path, const Capture& capture, const SensorConfig& sensor,
                     const Module& module, std::string& error) {
    return WriteFileAtomically(path, FormatSampleFile(capture, sensor, module), error);
}

}  // namespace Vireo::Datagen
