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
    auto number = [&](const char* key, float* field) {
        return Reader([=, &error](const YAML::Node& n) { return ReadFloat(n, key, field, error); });
    };
    const std::map<std::string, Reader> readers = {
        {"mode",
         [&](const YAML::Node& n) {
             const std::string mode = n.IsScalar() ? n.Scalar() : "";
             if (mode == "bayes" || mode == "grey_world") {
                 p.mode = mode == "bayes" ? AwbMode::Bayes : AwbMode::GreyWorld;
                 return true;
             }
             *error = "mode (" + Where(n) + ") must be bayes or grey_world";
             return false;
         }},
        {"ct_curve",
         [&](const YAML::Node& n) {
             std::vector<std::vector<float>> rows;
             if (!ReadRows(n, "ct_curve", 3, &rows, error)) return false;
             p.ctCurve.clear();
             for (const auto& row : rows) p.ctCurve.push_back({row[0], row[1], row[2]});
             haveCurve = true;
             return true;
         }},
        {"grey_zone_width", number("grey_zone_width", &p.greyZoneWidth)},
        {"default_ct", number("default_ct", &p.defaultCt)},
        {"dark_fraction", number("dark_fraction", &p.darkFraction)},
        {"saturation_fraction", number("saturation_fraction", &p.saturationFraction)},
        {"likelihood_sigma", number("likelihood_sigma", &p.likelihoodSigma)},
        {"likelihood_strength", number("likelihood_strength", &p.likelihoodStrength)},
        {"likelihood_floor", number("likelihood_floor", &p.likelihoodFloor)},
        {"transverse_limit", number("transverse_limit", &p.transverseLimit)},
        {"lux_index_outdoor", number("lux_index_outdoor", &p.luxIndexOutdoor)},
        {"lux_index_indoor", number("lux_index_indoor", &p.luxIndexIndoor)},
        {"prior_outdoor",
         [&](const YAML::Node& n) {
             return ReadPrior(n, "prior_outdoor", &p.priorOutdoor, error);
         }},
        {"prior_indoor",
         [&](const YAML::Node& n) { return ReadPrior(n, "prior_indoor", &p.priorIndoor, error); }},
    };
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
    out += std::string("mode: ") + (p.mode == AwbMode::Bayes ? "bayes" : "grey_world") + "\n";
    out += "ct_curve:  # [CT K, R/G, B/G]\n";
    for (const CurvePoint& point : p.ctCurve) {
        out += "  - [" + FloatText(point.ct) + ", " + FloatText(point.rOverG) + ", " +
               FloatText(point.bOverG) + "]\n";
    }
    const std::pair<const char*, float> numbers[] = {
        {"grey_zone_width", p.greyZoneWidth},     {"default_ct", p.defaultCt},
        {"dark_fraction", p.darkFraction},        {"saturation_fraction", p.saturationFraction},
        {"likelihood_sigma", p.likelihoodSigma},  {"likelihood_strength", p.likelihoodStrength},
        {"likelihood_floor", p.likelihoodFloor},  {"transverse_limit", p.transverseLimit},
        {"lux_index_outdoor", p.luxIndexOutdoor}, {"lux_index_indoor", p.luxIndexIndoor},
    };
    for (const auto& [key, value] : numbers)
        out += std::string(key) + ": " + FloatText(value) + "\n";
    WritePrior("prior_outdoor", p.priorOutdoor, &out);
    WritePrior("prior_indoor", p.priorIndoor, &out);
    return out;
}

}  // namespace Tuning
}  // namespace Vireo
