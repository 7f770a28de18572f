#include "GroundTruth.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <map>
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
    std::vector<std::string> names;  // the columns, from the one header text
    std::stringstream header(kColumns);
    for (std::string name; std::getline(header, name, ',');) names.push_back(name);

    std::string line;
    if (!std::getline(in, line) || line != kColumns) {
        const bool crlf = !line.empty() && line.back() == '\r';
        error = path + ":1: " +
                (crlf ? "lines end in CR LF; the ground truth takes LF line ends only"
                      : "first line is not the ground-truth header");
        return false;
    }
    rows.clear();
    std::map<std::string, int> firstLine;  // path -> line
    for (int lineNo = 2; std::getline(in, line); ++lineNo) {
        if (line.empty()) continue;
        const std::string at = path + ":" + std::to_string(lineNo) + ": ";
        if (line.back() == '\r') {
            error = at + "column " + std::to_string(line.size()) +
                    ": the line ends in CR LF; the ground truth takes LF line ends only";
            return false;
        }
        std::vector<std::string> f;
        std::stringstream ss(line);
        for (std::string cell; std::getline(ss, cell, ',');) f.push_back(cell);
        if (line.back() == ',') f.emplace_back();
        for (std::size_t k = 0; k < f.size() && k < names.size(); ++k) {
            if (f[k].find('"') != std::string::npos) {
                error = at + "column " + std::to_string(k + 1) + " (" + names[k] +
                        ") is quoted; the ground truth takes no quotes (and no commas in a value)";
                return false;
            }
        }
        if (f.size() != names.size()) {
            error = at + std::to_string(f.size()) + " columns, the header has " +
                    std::to_string(names.size()) + ": column " +
                    std::to_string(std::min(f.size(), names.size()) + 1) +
                    (f.size() < names.size() ? " (" + names[f.size()] + ") is missing"
                                             : " is one too many");
            return false;
        }
        TruthRow r;
        r.path = f[0], r.scene = f[1], r.illuminant = f[2], r.kind = f[3];
        double module = 0.0;
        double* numbers[] = {&r.cct,   &r.duv,   &r.whiteRG, &r.whiteBG,  &r.gainR,
                             &r.gainG, &r.gainB, &r.lux,     &r.luxIndex, &module};
        for (std::size_t k = 4; k < names.size(); ++k) {
            double& value = *numbers[k - 4];
            const std::string column = "column " + std::to_string(k + 1) + " (" + names[k] + ") ";
            // CCT, duv, lux and lux index may be left empty when not known.
            const bool optional = k == 4 || k == 5 || k == 11 || k == 12;
            if (optional && f[k].empty()) {
                value = std::numeric_limits<double>::quiet_NaN();
                continue;
            }
            if (!ParseNumber(f[k], value) || !std::isfinite(value)) {
                error = at + column + "is not a finite number: '" + f[k] + "'";
                return false;
            }
            // A white point, a colour temperature and a module number only
            // mean something above zero; a module number must fit an int.
            const bool positive = k == 4 || k == 6 || k == 7;
            if ((positive && !(value > 0.0)) ||
                (k == 13 && !(value >= 0.0 && value <= 1e9 && value == std::floor(value)))) {
                error = at + column + "is " + f[k] + "; it must be " +
                        (positive ? "above zero" : "a whole number from 0 to 1e9");
                return false;
            }
        }
        r.module = static_cast<int>(module);
        // The scorer matches results by the path's folder and file name.
        const auto slash = r.path.rfind('/');
        const auto folder = slash == std::string::npos || slash == 0 ? std::string::npos
                                                                     : r.path.rfind('/', slash - 1);
        const auto from = folder == std::string::npos ? 0 : folder + 1;
        if (slash == std::string::npos || r.path.compare(from, slash - from, r.scene) != 0) {
            error = at + "column 2 (scene) is '" + r.scene + "', but the path " + r.path +
                    " is not in that folder";
            return false;
        }
        if (const auto [first, isNew] = firstLine.emplace(r.path, lineNo); !isNew) {
            error = at + "sample " + r.path + " is listed twice (first on line " +
                    std::to_string(first->second) + ")";
            return false;
        }
        rows.push_back(r);
    }
    return true;
}

}  // namespace Vireo::Datagen
