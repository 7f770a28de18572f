#include "YamlTuning.h"

#include <yaml-cpp/yaml.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>

namespace Vireo {
namespace Tuning {

namespace {

// The shortest text that reads back to the same float; nine significant
// digits always do.
std::string FloatText(float value) {
    char text[32];
    for (int digits = 6; digits <= 9; ++digits) {
        std::snprintf(text, sizeof text, "%.*g", digits, static_cast<double>(value));
        if (std::strtof(text, nullptr) == value) break;
    }
    return text;
}

std::string Where(const YAML::Node& node) { return "line " + std::to_string(node.Mark().line + 1); }

bool ReadFloat(const YAML::Node& node, const char* key, float* value, std::string* error) {
    if (!node.IsScalar()) {
        *error = std::string(key) + " (" + Where(node) + ") must be a number";
        return false;
    }
    try {
        *value = node.as<float>();
        return true;
    } catch (const YAML::Exception&) {
        *error = std::string(key) + " (" + Where(node) + ") must be a number, not '" +
                 node.Scalar() + "'";
        return false;
    }
}

// A list of rows of `width` numbers each.
bool ReadRows(const YAML::Node& node, const char* key, size_t width,
              std::vector<std::vector<float>>* rows, std::string* error) {
    if (!node.IsSequence()) {
        *error = std::string(key) + " (" + Where(node) + ") must be a list";
        return false;
    }
    rows->clear();
    for (const YAML::Node& row : node) {
        if (!row.IsSequence() || row.size() != width) {
            *error = std::string(key) + " (" + Where(row) + ") rows must hold " +
                     std::to_string(width) + " numbers";
            return false;
        }
        std::vector<float> values(width);
        for (size_t i = 0; i < width; ++i) {
            if (!ReadFloat(row[i], key, &values[i], error)) return false;
        }
        rows->push_back(values);
    }
    return true;
}

bool ReadPrior(const YAML::Node& node, const char* key, std::vector<PriorPoint>* prior,
               std::string* error) {
    std::vector<std::vector<float>> rows;
    if (!ReadRows(node, key, 2, &rows, error)) return false;
    prior->clear();
    for (const auto& row : rows) prior->push_back({row[0], row[1]});
    return true;
}

// The learned model: its grid and its maps of bins rows of bins numbers.
bool ReadLearned(const YAML::Node& node, LearnedModel* m, std::string* error) {
    if (!node.IsMap()) {
        *error = "learned (" + Where(node) + ") must be a mapping";
        return false;
    }
    LearnedModel read;
    float bins = 0.0f;
    for (const auto& entry : node) {
        const std::string key = entry.first.IsScalar() ? entry.first.Scalar() : "";
        const YAML::Node& value = entry.second;
        std::vector<float>* map = nullptr;
        for (const LearnedMapKey& mapKey : kLearnedMapKeys) {
            if (key == mapKey.name) map = &(read.*mapKey.member);
        }
        bool ok = true;
        if (map != nullptr) {
            std::vector<std::vector<float>> rows;
            const size_t width = value.IsSequence() && value.size() > 0 && value[0].IsSequence()
                                     ? value[0].size()
                                     : 0;
            ok = ReadRows(value, ("learned " + key).c_str(), width, &rows, error);
            map->clear();
            for (const auto& row : rows) map->insert(map->end(), row.begin(), row.end());
        } else if (key == "bins") {
            ok = ReadFloat(value, "learned bins", &bins, error);
        } else if (key == "bin_width") {
            ok = ReadFloat(value, "learned bin_width", &read.binWidth, error);
        } else if (key == "u_start") {
            ok = ReadFloat(value, "learned u_start", &read.uStart, error);
        } else if (key == "v_start") {
            ok = ReadFloat(value, "learned v_start", &read.vStart, error);
        } else {
            *error = "unknown key 'learned " + key + "' (" + Where(entry.first) + ")";
            return false;
        }
        if (!ok) return false;
    }
    if (!(bins >= 1.0f && bins <= 1024.0f) || bins != static_cast<float>(static_cast<int>(bins))) {
        *error = "learned bins (" + Where(node) + ") must be a whole number";
        return false;
    }
    read.bins = static_cast<uint32_t>(bins);
    *m = std::move(read);
    return true;
}

void WriteMap(const char* key, const std::vector<float>& map, uint32_t bins, std::string* out) {
    *out += std::string("  ") + key + ":\n";
    for (uint32_t i = 0; i < bins; ++i) {
        *out += "    - [";
        for (uint32_t j = 0; j < bins; ++j) {
            *out += (j != 0 ? ", " : "") + FloatText(map[i * bins + j]);
        }
        *out += "]\n";
    }
}

void WritePrior(const char* key, const std::vector<PriorPoint>& prior, std::string* out) {
    *out += std::string(key) + ":\n";
    for (const PriorPoint& point : prior) {
        *out += "  - [" + FloatText(point.ct) + ", " + FloatText(point.weight) + "]\n";
    }
}

}  // namespace

bool ParseYaml(const std::string& text, TuningParams* params, std::string* error) {
    YAML::Node root;
    try {
        root = YAML::Load(text);
    } catch (const YAML::Exception& e) {
        *error = "not valid YAML: " + e.msg + " at line " + std::to_string(e.mark.line + 1);
        return false;
    }
    if (!root.IsMap()) {
        *error = "the tuning must be a YAML mapping of keys to values";
        return false;
    }
    TuningParams p;
    bool haveCurve = false;
    using Reader = std::function<bool(const YAML::Node&)>;
    std::map<std::string, Reader> readers = {
        {kModeKey,
         [&](const YAML::Node& n) {
             const std::string mode = n.IsScalar() ? n.Scalar() : "";
             if (mode == "bayes" || mode == "grey_world" || mode == "learned") {
                 p.mode = mode == "bayes"        ? AwbMode::Bayes
                          : mode == "grey_world" ? AwbMode::GreyWorld
                                                 : AwbMode::Learned;
                 return true;
             }
             *error = "mode (" + Where(n) + ") must be bayes, grey_world or learned";
             return false;
         }},
        {kCurveKey,
         [&](const YAML::Node& n) {
             std::vector<std::vector<float>> rows;
             if (!ReadRows(n, kCurveKey, 3, &rows, error)) return false;
             p.ctCurve.clear();
             for (const auto& row : rows) p.ctCurve.push_back({row[0], row[1], row[2]});
             haveCurve = true;
             return true;
         }},
        {kPriorOutdoorKey,
         [&](const YAML::Node& n) {
             return ReadPrior(n, kPriorOutdoorKey, &p.priorOutdoor, error);
         }},
        {kPriorIndoorKey,
         [&](const YAML::Node& n) { return ReadPrior(n, kPriorIndoorKey, &p.priorIndoor, error); }},
        {kLearnedKey, [&](const YAML::Node& n) { return ReadLearned(n, &p.learned, error); }},
    };
    for (const ScalarKey& key : kScalarKeys) {
        readers[key.name] = [&p, &error, &key](const YAML::Node& n) {
            return ReadFloat(n, key.name, &(p.*key.member), error);
        };
    }
    std::map<std::string, std::string> seen;  // key -> where it was set
    for (const auto& entry : root) {
        const std::string key = entry.first.IsScalar() ? entry.first.Scalar() : "";
        const auto reader = readers.find(key);
        if (reader == readers.end()) {
            *error = "unknown key '" + key + "' (" + Where(entry.first) + ")";
            return false;
        }
        // YAML would let the last one win without a word.
        if (const auto [first, isNew] = seen.emplace(key, Where(entry.first)); !isNew) {
            *error = "key '" + key + "' is set twice (" + first->second + " and " +
                     Where(entry.first) + ")";
            return false;
        }
        if (!reader->second(entry.second)) return false;
    }
    if (!haveCurve) {
        *error = "ct_curve is required";
        return false;
    }
    const std::string invalid = Validate(p);
    if (!invalid.empty()) {
        *error = invalid;
        return false;
    }
    *params = std::move(p);
    return true;
}

std::string ToYaml(const TuningParams& p) {
    std::string out = "# Reference AWB tuning; keys and units: docs/tuning.md\n";
    out += std::string(kModeKey) + ": " +
           (p.mode == AwbMode::Bayes       ? "bayes"
            : p.mode == AwbMode::GreyWorld ? "grey_world"
                                           : "learned") +
           "\n";
    out += std::string(kCurveKey) + ":  # [CT K, R/G, B/G]\n";
    for (const CurvePoint& point : p.ctCurve) {
        out += "  - [" + FloatText(point.ct) + ", " + FloatText(point.rOverG) + ", " +
               FloatText(point.bOverG) + "]\n";
    }
    for (const ScalarKey& key : kScalarKeys) {
        out += std::string(key.name) + ": " + FloatText(p.*key.member) + "\n";
    }
    WritePrior(kPriorOutdoorKey, p.priorOutdoor, &out);
    WritePrior(kPriorIndoorKey, p.priorIndoor, &out);
    const LearnedModel& m = p.learned;
    if (m.bins != 0) {
        out += std::string(kLearnedKey) + ":  # rows: ln(G/R) bins, columns: ln(G/B) bins\n";
        out += "  bins: " + std::to_string(m.bins) + "\n";
        out += "  bin_width: " + FloatText(m.binWidth) + "\n";
        out += "  u_start: " + FloatText(m.uStart) + "\n";
        out += "  v_start: " + FloatText(m.vStart) + "\n";
        for (const LearnedMapKey& key : kLearnedMapKeys) {
            if (!(m.*key.member).empty()) WriteMap(key.name, m.*key.member, m.bins, &out);
        }
    }
    return out;
}

}  // namespace Tuning
}  // namespace Vireo
