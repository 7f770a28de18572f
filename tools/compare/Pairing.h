// Two runs' results paired sample by sample: how far the decided white
// moved, how the CCT changed and, with ground truth, how each run's error
// changed. Shared by vireo-compare and vireo-report.
#ifndef VIREO_COMPARE_PAIRING_H
#define VIREO_COMPARE_PAIRING_H

#include <map>
#include <string>
#include <vector>

#include "GroundTruth.h"
#include "Results.h"

namespace Vireo::Compare {

// An error change smaller than this counts as no change: it prints as 0.00
// and lies below what the results file's six digits resolve reliably.
inline constexpr double kUnchangedDegrees = 0.005;

enum class Verdict { Improved, Worsened, Unchanged, Changed, OnlyA, OnlyB };
const char* VerdictName(Verdict v);  // "improved", ..., "only_a", "only_b"

struct PairedSample {
    std::string scene, file;                 // the key is scene + "/" + file
    const Score::ResultRecord* a = nullptr;  // null when the sample is missing from A
    const Score::ResultRecord* b = nullptr;
    const Datagen::TruthRow* truth = nullptr;
    double whiteAngle = 0.0;                               // degrees between the two decided whites
    double cctChange = 0.0;                                // B's CCT minus A's, kelvin
    double errorA = 0.0, errorB = 0.0, errorChange = 0.0;  // with truth; change = B - A
    Verdict verdict = Verdict::Unchanged;
};

// Indexes the records by "<scene>/<file>". False, naming the sample and
// both record numbers, when a sample appears twice (the run would be
// ambiguous to compare).
bool IndexRecords(const std::vector<Score::ResultRecord>& records,
                  std::map<std::string, size_t>* index, std::string* error);

// Pairs A with B (either may miss samples); truth may be null. Records and
// truth must outlive the pairs. Sorted by the largest change first (error
// change with truth, else the angle between the whites), ties by scene in
// the driver's order, then file name; samples in one run only come last.
bool PairRuns(const std::vector<Score::ResultRecord>& a, const std::vector<Score::ResultRecord>& b,
              const std::vector<Datagen::TruthRow>* truth, std::vector<PairedSample>* pairs,
              std::string* error);

struct SceneCounts {
    std::string scene;  // "overall" for the last entry
    int improved = 0, worsened = 0, unchanged = 0, changed = 0, onlyA = 0, onlyB = 0;
    std::vector<double> errorsA, errorsB;  // of the paired samples with truth
};

// Per scene in the driver's order (others after them, by name), then overall.
std::vector<SceneCounts> CountByScene(const std::vector<PairedSample>& pairs);

}  // namespace Vireo::Compare

#endif  // VIREO_COMPARE_PAIRING_H
