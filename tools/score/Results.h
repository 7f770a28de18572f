// Reads the driver's results file, "awbSimulationOutput.txt": seven-line
// records of the sample path, the three gains, the CCT and the debug data
// size, each record ended by an empty line.
#ifndef VIREO_SCORE_RESULTS_H
#define VIREO_SCORE_RESULTS_H

#include <istream>
#include <string>
#include <vector>

namespace Vireo::Score {

struct ResultRecord {
    std::string path;   // as the driver built it: <dataDir>/<scene>/<file>
    std::string scene;  // the folder above the file
    std::string file;
    double rGain = 0.0, gGain = 0.0, bGain = 0.0;
    double cct = 0.0;
    double debugDataSize = 0.0;
    long line = 0;  // of the path, in the results file
};

// False with "line N: ..." in `error` at the first malformed record, or at a
// second record for the same scene folder and file name.
bool ReadResults(std::istream& in, std::vector<ResultRecord>& records, std::string& error);

}  // namespace Vireo::Score

#endif  // VIREO_SCORE_RESULTS_H
