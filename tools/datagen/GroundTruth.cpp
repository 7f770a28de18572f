#include "GroundTruth.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <sstream>

namespace Vireo::Datagen {
namespace {

constexpr const char* kColumns =
    "path,scene,illuminant,kind,cct,duv,white_r_over_g,white_b_over_g,gain_r,gain_g,gain_b,lux,"
    "lux_index,module";

bool ParseNumber(const std::string& text, double& value) {
    if (text.empty()) return false;
    char* end = nullptr;
    value = std::strtod(text.c_str(), &end);
    return end == text.c_str() + text.size();
}

// Unknown values (not finite) are empty cells.
std::string Number(double v) {
    if (!std::isfinite(v)) return "";
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.9g", v);
    return buf;
}

// Cells that may be empty when the value is not known: NaN then.
bool ParseOptional(const std::string& text, double& value) {
    if (!text.empty()) return ParseNumber(text, value);
    value = std::numeric_limits<double>::quiet_NaN();
    return true;
}

}  // namespace

std::string TruthRow::File() const {
    const auto slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string GroundTruthHeader() { return std::string(kColumns) + "\n"; }

std::string FormatTruthRow(const TruthRow& r) {
    return r.path + "," + r.scene + "," + r.illuminant + "," + r.kind + "," + Number(r.cct) + "," +
           Number(r.duv) + "," + Number(r.whiteRG) + "," + Number(r.whiteBG) + "," +
           Number(r.gainR) + "," + Number(r.gainG) + "," + Number(r.gainB) + "," + Number(r.lux) +
           "," + Number(r.luxIndex) + "," + std::to_string(r.module) + "\n";
}

bool ReadGroundTruth(const std::string& path, std::vector<TruthRow>& rows, std::string& error) {
    std::ifstream in(path);
    if (!in) {
        error = "cannot open " + path;
        return false;
    }
    std::string line;
    if (!std::getline(in, line) || line != kColumns) {
        error = path + ": first line is not the ground-truth header";
        return false;
    }
    rows.clear();
    for (int lineNo = 2; std::getline(in, line); ++lineNo) {
        if (line.empty()) continue;
        std::vector<std::string> f;
        std::stringstream ss(line);
        for (std::string cell; std::getline(ss, cell, ',');) f.push_back(cell);
        TruthRow r;
        double module = 0.0;
        const bool ok = f.size() == 14 && ParseOptional(f[4], r.cct) &&
                        ParseOptional(f[5], r.duv) && ParseNumber(f[6], r.whiteRG) &&
                        ParseNumber(f[7], r.whiteBG) && ParseNumber(f[8], r.gainR) &&
                        ParseNumber(f[9], r.gainG) && ParseNumber(f[10], r.gainB) &&
                        ParseOptional(f[11], r.lux) && ParseOptional(f[12], r.luxIndex) &&
                        ParseNumber(f[13], module) && r.whiteRG > 0.0 && r.whiteBG > 0.0;
        if (!ok) {
            error = path + ":" + std::to_string(lineNo) + ": malformed row";
            return false;
        }
        r.path = f[0], r.scene = f[1], r.illuminant = f[2], r.kind = f[3];
        r.module = static_cast<int>(module);
        rows.push_back(r);
    }
    return true;
}

}  // namespace Vireo::Datagen
