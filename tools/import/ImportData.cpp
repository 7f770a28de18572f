#include "ImportData.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>

#include "RunDriver.h"

namespace Vireo::Import {
namespace {

std::string Text(int64_t value) { return std::to_string(value); }

std::string Trim(const std::string& text) {
    const auto first = text.find_first_not_of(" \t\r");
    if (first == std::string::npos) return "";
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

bool ParseNumber(const std::string& text, double& value) {
    if (text.empty()) return false;
    char* end = nullptr;
    value = std::strtod(text.c_str(), &end);
    return end == text.c_str() + text.size() && std::isfinite(value);
}

}  // namespace

double LuxFromExposure(const Exposure& e) {
    if (!(e.iso > 0.0 && e.shutterSeconds > 0.0 && e.fNumber > 0.0)) return kUnknown;
    const double ev100 = std::log2(e.fNumber * e.fNumber / e.shutterSeconds * 100.0 / e.iso);
    return 2.5 * std::exp2(ev100);
}

std::string FormatSample(const GridStats& stats, const GridSize& grid, double luxIndex) {
    char lux[32];
    std::snprintf(lux, sizeof lux, "%.1f", luxIndex);
    const auto& sat = stats.saturationThreshold;  // file order R, GR, B, GB
    SampleFileContent content;
    content.header = {lux,
                      "1",  // AEC settled: a still capture
                      Text(grid.columns), Text(grid.rows), Text(int64_t{grid.columns} * grid.rows),
                      Text(stats.regionWidth), Text(stats.regionHeight), Text(stats.bitDepth),
                      "0",  // flags
                      // The header lists the thresholds R, GR, GB, B.
                      Text(sat[kR]), Text(sat[kGR]), Text(sat[kGB]), Text(sat[kB]),
                      Text(stats.validRegionCount), Text(stats.roi[0]), Text(stats.roi[1]),
                      Text(stats.roi[2]), Text(stats.roi[3])};
    // No factory calibration is known: no measured factors, every module
    // factor neutral, no LED point.
    size_t next = 0;
    content.calibration[next++] = "0";
    for (int i = 0; i < 6; ++i) content.calibration[next++] = "0";
    for (int i = 0; i < 20; ++i) content.calibration[next++] = "1";
    content.calibration[next++] = "0";
    content.calibration[next++] = "0";
    content.regions = stats.regions;

    std::string out;
    AppendSampleFile(out, content);
    for (size_t channel = 0; channel < 4; ++channel) {
        if (channel > 0) AppendLine(out, kLaterSaturatedSumKeys[channel - 1]);
        for (const auto& sums : stats.saturatedSums) AppendLine(out, sums[channel]);
    }
    return out;
}

bool ReadTruthCsv(const std::string& path, std::vector<TruthInput>& rows, std::string& error) {
    std::ifstream in(path);
    if (!in) {
        error = path + ": " + std::strerror(errno);
        return false;
    }
    auto split = [](const std::string& line) {
        std::vector<std::string> cells;
        std::stringstream ss(line);
        for (std::string cell; std::getline(ss, cell, ',');) cells.push_back(Trim(cell));
        if (!line.empty() && line.back() == ',') cells.push_back("");
        return cells;
    };
    std::string line;
    if (!std::getline(in, line)) {
        error = path + ": empty file";
        return false;
    }
    std::map<std::string, size_t> column;
    const std::vector<std::string> header = split(line);
    for (size_t i = 0; i < header.size(); ++i) column[header[i]] = i;
    for (const char* required : {"file", "r", "g", "b"}) {
        if (!column.count(required)) {
            error = path + ":1: no \"" + required + "\" column (need file,r,g,b)";
            return false;
        }
    }
    rows.clear();
    std::map<std::string, int> seen;
    for (int lineNo = 2; std::getline(in, line); ++lineNo) {
        if (Trim(line).empty()) continue;
        const std::vector<std::string> cells = split(line);
        const std::string where = path + ":" + std::to_string(lineNo) + ": ";
        if (cells.size() != header.size()) {
            error = where + std::to_string(cells.size()) + " cells where the header has " +
                    std::to_string(header.size());
            return false;
        }
        auto cell = [&](const char* name) {
            const auto it = column.find(name);
            return it == column.end() ? std::string() : cells[it->second];
        };
        TruthInput row;
        row.line = lineNo;
        row.file = cell("file");
        row.scene = cell("scene");
        if (row.file.empty()) {
            error = where + "no file name";
            return false;
        }
        if (!ParseNumber(cell("r"), row.r) || !ParseNumber(cell("g"), row.g) ||
            !ParseNumber(cell("b"), row.b) || !(row.r > 0 && row.g > 0 && row.b > 0)) {
            error = where + "the white r,g,b of " + row.file + " is not three positive numbers";
            return false;
        }
        for (const char* name : {"lux", "cct"}) {
            const std::string text = cell(name);
            double& value = name[0] == 'l' ? row.lux : row.cct;
            if (!text.empty() && (!ParseNumber(text, value) || !(value > 0.0))) {
                error = where + name + " of " + row.file + " is not a positive number";
                return false;
            }
        }
        if (!row.scene.empty()) {
            bool known = false;
            for (const char* scene : SceneList) known = known || row.scene == scene;
            if (!known) {
                error = where + "scene \"" + row.scene + "\" is not one of the driver's folders";
                return false;
            }
        }
        if (const auto it = seen.find(row.file); it != seen.end()) {
            error =
                where + row.file + " already has a row (line " + std::to_string(it->second) + ")";
            return false;
        }
        seen[row.file] = lineNo;
        rows.push_back(row);
    }
    return true;
}

}  // namespace Vireo::Import
