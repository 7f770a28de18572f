#include "Results.h"

#include <cmath>
#include <cstdlib>
#include <map>

namespace Vireo::Score {
namespace {

// A labelled value line: the label exactly, then a number filling the rest
// (nan and inf parse too; the metrics treat them as failed estimates).
bool Labelled(const std::string& line, const char* label, double& value) {
    const std::string l = label;
    if (line.compare(0, l.size(), l) != 0 || line.size() == l.size()) return false;
    const char* start = line.c_str() + l.size();
    char* end = nullptr;
    value = std::strtod(start, &end);
    return end != start && *end == '\0';
}

void SplitPath(ResultRecord& r) {
    const auto fileSlash = r.path.rfind('/');
    r.file = fileSlash == std::string::npos ? r.path : r.path.substr(fileSlash + 1);
    if (fileSlash == std::string::npos || fileSlash == 0) return;
    // The driver's scene directory path ends in "/", so tolerate doubled
    // separators before the file name.
    auto end = fileSlash;
    while (end > 0 && r.path[end - 1] == '/') --end;
    const auto sceneSlash = r.path.rfind('/', end - 1);
    r.scene = r.path.substr(sceneSlash == std::string::npos ? 0 : sceneSlash + 1,
                            end - (sceneSlash == std::string::npos ? 0 : sceneSlash + 1));
}

}  // namespace

bool ReadResults(std::istream& in, std::vector<ResultRecord>& records, std::string& error) {
    static const char* const kLabels[5] = {
        "r_gain : ", "g_gain : ", "b_gain : ", "cct    : ", "debugDataSize : "};
    records.clear();
    std::map<std::string, long> seen;  // scene/file -> line
    std::string line;
    long lineNo = 0;
    // The driver writes LF line ends; a file that went through an editor
    // or a Windows machine may not have them any more.
    auto crlf = [&lineNo, &line, &error] {
        if (line.empty() || line.back() != '\r') return false;
        error = "line " + std::to_string(lineNo) + ", column " + std::to_string(line.size()) +
                ": the line ends in CR LF; results files take LF line ends only";
        return true;
    };
    while (std::getline(in, line)) {
        ++lineNo;
        if (crlf()) return false;
        ResultRecord r;
        r.path = line;
        if (r.path.empty()) {
            error = "line " + std::to_string(lineNo) + ": empty sample path";
            return false;
        }
        double* fields[5] = {&r.rGain, &r.gGain, &r.bGain, &r.cct, &r.debugDataSize};
        for (int k = 0; k < 5; ++k) {
            ++lineNo;
            if (!std::getline(in, line) || crlf()) {
                if (error.empty()) error = "line " + std::to_string(lineNo) + ": the file ends";
                return false;
            }
            if (!Labelled(line, kLabels[k], *fields[k])) {
                error =
                    "line " + std::to_string(lineNo) + ": expected \"" + kLabels[k] + "<number>\"";
                return false;
            }
        }
        ++lineNo;
        if (std::getline(in, line) && crlf()) return false;
        if (!in || !line.empty()) {
            error = "line " + std::to_string(lineNo) + ": expected the empty line ending a record";
            return false;
        }
        SplitPath(r);
        r.line = lineNo - 6;
        // Results are matched by scene folder and file name; a second
        // record would silently take the first one's place.
        if (const auto [first, isNew] = seen.emplace(r.scene + "/" + r.file, r.line); !isNew) {
            error = "line " + std::to_string(r.line) + ": a second record for " + r.scene + "/" +
                    r.file + " (the first is on line " + std::to_string(first->second) + ")";
            return false;
        }
        records.push_back(r);
    }
    return true;
}

}  // namespace Vireo::Score
