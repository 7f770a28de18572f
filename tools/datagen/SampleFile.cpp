#include "SampleFile.h"

#include <charconv>
#include <cstdio>

namespace Vireo::Datagen {
namespace {

void Line(std::string& out, const char* text) {
    out += text;
    out += '\n';
}

void Line(std::string& out, int64_t value) {
    char buf[24];
    const auto res = std::to_chars(buf, buf + sizeof buf, value);
    out.append(buf, res.ptr);
    out += '\n';
}

void Line(std::string& out, double value) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.6g\n", value);
    out += buf;
}

}  // namespace

std::string FormatSampleFile(const Capture& cap, const SensorConfig& sensor, const Module& module) {
    std::string out;
    const int total = sensor.columns * sensor.rows;
    out.reserve(static_cast<std::size_t>(total) * 12 * 8 + 1024);

    Line(out, "LuxIndex:");
    Line(out, static_cast<double>(cap.luxIndex));
    Line(out, "AECSettled:");
    Line(out, int64_t{1});
    Line(out, "Horizontal Region Count:");
    Line(out, int64_t{sensor.columns});
    Line(out, "Vertical Region Count:");
    Line(out, int64_t{sensor.rows});
    Line(out, "Total Region Count:");
    Line(out, int64_t{total});
    Line(out, "Region Width:");
    Line(out, int64_t{cap.regionWidth});
    Line(out, "Region Height:");
    Line(out, int64_t{cap.regionHeight});
    Line(out, "Bit Depth:");
    Line(out, int64_t{sensor.bitDepth});
    Line(out, "Flags:");
    Line(out, int64_t{0});
    Line(out, "Saturation Threshold:");  // R, GR, GB, B
    for (int i = 0; i < 4; ++i) Line(out, int64_t{sensor.saturationThreshold});
    Line(out, "Valid Region Count:");
    Line(out, int64_t{cap.validRegionCount});
    Line(out, "Stats ROI:");  // left, top, width, height on the sensor
    Line(out, int64_t{0});
    Line(out, int64_t{0});
    Line(out, int64_t{cap.regionWidth} * sensor.columns);
    Line(out, int64_t{cap.regionHeight} * sensor.rows);

    // Factory calibration: the module's R/G and B/G relative to the golden
    // module, both measured under D50; the flash LED's white point.
    Line(out, "Num Calibration Factors:");
    Line(out, int64_t{2});
    Line(out, "Calibration Factor CCTs:");
    Line(out, 5003.0);
    Line(out, 5003.0);
    for (int i = 2; i < 6; ++i) Line(out, 0.0);
    Line(out, "Module Calibration Factors:");
    Line(out, module.measuredR);
    Line(out, module.measuredB);
    for (int i = 2; i < 20; ++i) Line(out, 1.0);
    Line(out, "Single LED Calibration Point:");
    Line(out, module.ledRatioR);
    Line(out, module.ledRatioB);

    // Channel section: file order R, G/GR, B, GB for sums, then counts.
    static const char* const kSumKeys[4] = {"R Sum:", "G/GR Sum:", "B Sum:", "GB Sum:"};
    static const char* const kCountKeys[4] = {"R Count:", "G/GR Count:", "B Count:", "GB Count:"};
    static const char* const kSatKeys[4] = {"R SatSum:", "G/GR SatSum:", "B SatSum:", "GB SatSum:"};
    static const int kFileOrder[4] = {kR, kGR, kB, kGB};
    for (int k = 0; k < 4; ++k) {
        Line(out, kSumKeys[k]);
        for (const auto& r : cap.regions) Line(out, r.sum[static_cast<std::size_t>(kFileOrder[k])]);
    }
    for (int k = 0; k < 4; ++k) {
        Line(out, kCountKeys[k]);
        for (const auto& r : cap.regions)
            Line(out, int64_t{r.count[static_cast<std::size_t>(kFileOrder[k])]});
    }
    // Sums of the clipped pixels; the driver stops reading at the first key.
    for (int k = 0; k < 4; ++k) {
        Line(out, kSatKeys[k]);
        for (const auto& r : cap.regions)
            Line(out, r.saturatedSum[static_cast<std::size_t>(kFileOrder[k])]);
    }
    return out;
}

bool WriteSampleFile(const std::string& path, const Capture& capture, const SensorConfig& sensor,
                     const Module& module) {
    const std::string text = FormatSampleFile(capture, sensor, module);
    std::FILE* f = std::fopen(path.c_str(), "wb");
    if (f == nullptr) return false;
    const bool ok = std::fwrite(text.data(), 1, text.size(), f) == text.size();
    return std::fclose(f) == 0 && ok;
}

}  // namespace Vireo::Datagen
