// The state of one run: paths, the results stream, the run status and the
// sample workspace that every sample reuses.
#ifndef VIREO_RUN_CONTEXT_H
#define VIREO_RUN_CONTEXT_H

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include "vireo/SampleRecords.h"

namespace Vireo {

inline constexpr size_t kSamplePathSize = 256;

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using OutputFile = std::unique_ptr<std::FILE, FileCloser>;

struct RunContext {
    std::string dataDirectory;
    std::string outputDirectory;
    std::string separator = "/";
    std::string summaryPath;
    std::string agwdcnPath;
    std::string resultsPath;
    // Open for the whole run; null when the file could not be opened, in
    // which case records are silently dropped.
    OutputFile results;
    // Rebuilt for every scene; always ends in the separator.
    std::string sceneDirectory;
    int32_t runStatus = 0;  // once -1, stays -1
    bool stop = false;      // set by a failure that ends the whole run

    // Sample workspace: zeroed once per run and deliberately never cleared
    // again, so fields a reader leaves alone keep the previous sample's
    // values, as wrappers built for recorded data expect.
    ChannelData channelData{};
    CalibrationData calibrationData{};
    char samplePath[kSamplePathSize]{};
};

}  // namespace Vireo

#endif  // VIREO_RUN_CONTEXT_H
