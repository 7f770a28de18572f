#include "Pairing.h"

#include <algorithm>
#include <cmath>

#include "Metrics.h"
#include "RunDriver.h"

namespace Vireo::Compare {
namespace {

int SceneRank(const std::string& scene) {
    int rank = 0;
    for (const char* name : SceneList) {
        if (scene == name) return rank;
        ++rank;
    }
    return rank;  // other scenes after the driver's, ordered by name
}

bool SceneBefore(const std::string& a, const std::string& b) {
    const int ra = SceneRank(a), rb = SceneRank(b);
    return ra != rb ? ra < rb : a < b;
}

double Magnitude(const PairedSample& p) {
    return p.truth != nullptr ? std::fabs(p.errorChange) : p.whiteAngle;
}

}  // namespace

const char* VerdictName(Verdict v) {
    switch (v) {
        case Verdict::Improved:
            return "improved";
        case Verdict::Worsened:
            return "worsened";
        case Verdict::Unchanged:
            return "unchanged";
        case Verdict::Changed:
            return "changed";
        case Verdict::OnlyA:
            return "only_a";
        case Verdict::OnlyB:
            return "only_b";
    }
    return "";
}

bool IndexRecords(const std::vector<Score::ResultRecord>& records,
                  std::map<std::string, size_t>* index, std::string* error) {
    index->clear();
    for (size_t k = 0; k < records.size(); ++k) {
        const std::string key = records[k].scene + "/" + records[k].file;
        const auto [it, fresh] = index->emplace(key, k);
        if (!fresh) {
            *error = "sample " + key + " appears twice (records " + std::to_string(it->second + 1) +
                     " and " + std::to_string(k + 1) + "); which one to compare is unclear";
            return false;
        }
    }
    return true;
}

bool PairRuns(const std::vector<Score::ResultRecord>& a, const std::vector<Score::ResultRecord>& b,
              const std::vector<Datagen::TruthRow>* truth, std::vector<PairedSample>* pairs,
              std::string* error) {
    std::map<std::string, size_t> indexA, indexB;
    if (!IndexRecords(a, &indexA, error)) {
        *error = "A: " + *error;
        return false;
    }
    if (!IndexRecords(b, &indexB, error)) {
        *error = "B: " + *error;
        return false;
    }
    std::map<std::string, const Datagen::TruthRow*> truthByKey;
    if (truth != nullptr) {
        for (const auto& row : *truth) truthByKey[row.scene + "/" + row.File()] = &row;
    }
    std::map<std::string, PairedSample> byKey;
    for (const auto& [key, k] : indexA) {
        PairedSample& p = byKey[key];
        p.a = &a[k];
        p.scene = a[k].scene, p.file = a[k].file;
    }
    for (const auto& [key, k] : indexB) {
        PairedSample& p = byKey[key];
        p.b = &b[k];
        p.scene = b[k].scene, p.file = b[k].file;
    }
    pairs->clear();
    for (auto& [key, p] : byKey) {
        const auto t = truthByKey.find(key);
        p.truth = t != truthByKey.end() ? t->second : nullptr;
        if (p.a == nullptr || p.b == nullptr) {
            p.verdict = p.a == nullptr ? Verdict::OnlyB : Verdict::OnlyA;
            pairs->push_back(p);
            continue;
        }
        const Score::ResultRecord& ra = *p.a;
        const Score::ResultRecord& rb = *p.b;
        // The decided white is the inverse of the gains; a failed estimate
        // (gains not positive) is as far as it gets.
        const bool bValid = rb.rGain > 0.0 && rb.bGain > 0.0 &&
                            std::isfinite(rb.gGain / rb.rGain) &&
                            std::isfinite(rb.gGain / rb.bGain);
        p.whiteAngle = bValid
                           ? Score::AngularErrorFromGains(ra.rGain, ra.gGain, ra.bGain,
                                                          rb.gGain / rb.rGain, rb.gGain / rb.bGain)
                           : 180.0;
        p.cctChange = rb.cct - ra.cct;
        if (p.truth != nullptr) {
            p.errorA = Score::AngularErrorFromGains(ra.rGain, ra.gGain, ra.bGain, p.truth->whiteRG,
                                                    p.truth->whiteBG);
            p.errorB = Score::AngularErrorFromGains(rb.rGain, rb.gGain, rb.bGain, p.truth->whiteRG,
                                                    p.truth->whiteBG);
            p.errorChange = p.errorB - p.errorA;
            p.verdict = p.errorChange < -kUnchangedDegrees  ? Verdict::Improved
                        : p.errorChange > kUnchangedDegrees ? Verdict::Worsened
                                                            : Verdict::Unchanged;
        } else {
            p.verdict = p.whiteAngle > kUnchangedDegrees || p.cctChange != 0.0 ? Verdict::Changed
                                                                               : Verdict::Unchanged;
        }
        pairs->push_back(p);
    }
    std::stable_sort(pairs->begin(), pairs->end(),
                     [](const PairedSample& x, const PairedSample& y) {
                         const bool xBoth = x.a != nullptr && x.b != nullptr;
                         const bool yBoth = y.a != nullptr && y.b != nullptr;
                         if (xBoth != yBoth) return xBoth;
                         const double mx = Magnitude(x), my = Magnitude(y);
                         if (xBoth && mx != my) return mx > my;
                         if (x.scene != y.scene) return SceneBefore(x.scene, y.scene);
                         return x.file < y.file;
                     });
    return true;
}

std::vector<SceneCounts> CountByScene(const std::vector<PairedSample>& pairs) {
    std::vector<SceneCounts> scenes;
    SceneCounts overall;
    overall.scene = "overall";
    for (const PairedSample& p : pairs) {
        auto it = std::find_if(scenes.begin(), scenes.end(),
                               [&](const SceneCounts& s) { return s.scene == p.scene; });
        if (it == scenes.end()) {
            scenes.push_back(SceneCounts{});
            scenes.back().scene = p.scene;
            it = scenes.end() - 1;
        }
        for (SceneCounts* c : {&*it, &overall}) {
            switch (p.verdict) {
                case Verdict::Improved:
                    ++c->improved;
                    break;
                case Verdict::Worsened:
                    ++c->worsened;
                    break;
                case Verdict::Unchanged:
                    ++c->unchanged;
                    break;
                case Verdict::Changed:
                    ++c->changed;
                    break;
                case Verdict::OnlyA:
                    ++c->onlyA;
                    break;
                case Verdict::OnlyB:
                    ++c->onlyB;
                    break;
            }
            if (p.truth != nullptr && p.a != nullptr && p.b != nullptr) {
                c->errorsA.push_back(p.errorA);
                c->errorsB.push_back(p.errorB);
            }
        }
    }
    std::sort(scenes.begin(), scenes.end(), [](const SceneCounts& x, const SceneCounts& y) {
        return SceneBefore(x.scene, y.scene);
    });
    scenes.push_back(overall);
    return scenes;
}

}  // namespace Vireo::Compare
