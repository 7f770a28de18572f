#include "SampleProcessing.h"

#include <cstdint>
#include <cstdlib>
#include <limits>

#include "DummyInfo.h"
#include "OsUtils.h"
#include "SampleReaders.h"

namespace Vireo {
namespace {

// The region count comes straight from the file: widen it as a signed value
// and take it as unsigned, so a negative count asks for an impossible size
// and fails the allocation instead of wrapping to something small.
StatsBayerGridChannelInfoS* AllocateRegions(int32_t regionCount) {
    const uint64_t count = static_cast<uint64_t>(static_cast<int64_t>(regionCount));
    uint64_t bytes = 0;
    if (__builtin_mul_overflow(count, uint64_t{sizeof(StatsBayerGridChannelInfoS)}, &bytes)) {
        bytes = std::numeric_limits<uint64_t>::max();
    }
    if (bytes > std::numeric_limits<size_t>::max()) {
        return nullptr;
    }
    // Zeroed, so the reserved fields the reader never writes reach the
    // wrapper as zeros rather than as leftovers of an earlier allocation.
    // calloc reports failure as null, which is all the caller checks.
    return static_cast<StatsBayerGridChannelInfoS*>(std::calloc(1, static_cast<size_t>(bytes)));
}

struct RegionsFree {
    void operator()(StatsBayerGridChannelInfoS* regions) const { std::free(regions); }
};

}  // namespace

void WriteResultRecord(std::FILE* results, const char* samplePath,
                       const AWBSimulationOutput& output) {
    // %g with the default precision of 6 is the output stream's default
    // notation for the gains (1.5, 1.23457, 1e-05, 2).
    std::fprintf(results,
                 "%s\n"
                 "r_gain : %g\n"
                 "g_gain : %g\n"
                 "b_gain : %g\n"
                 "cct    : %u\n"
                 "debugDataSize : %u\n"
                 "\n",
                 samplePath, static_cast<double>(output.r_gain), static_cast<double>(output.g_gain),
                 static_cast<double>(output.b_gain), static_cast<unsigned>(output.cct),
                 static_cast<unsigned>(output.debugDataSize));
}

int32_t ProcessSample(RunContext& context, IAWBSimulationWrapper* wrapper, const dirent* entry) {
    if (entry->d_name[0] == '.') {
        return 0;  // ".", ".." and hidden files
    }
    char* const path = context.samplePath;
    OsUtils::StrLCpy(path, context.sceneDirectory.c_str(), kSamplePathSize);
    OsUtils::StrLCat(path, entry->d_name, kSamplePathSize);

    ChannelData& channelData = context.channelData;
    if (ParseBGStatsInfo(path, &channelData) != 0) {
        std::printf("Error in reading parser bg stats info for %s\n", path);
        return -1;
    }
    const std::unique_ptr<StatsBayerGridChannelInfoS, RegionsFree> regions(
        AllocateRegions(channelData.totalRegionCount));
    if (!regions) {
        std::printf("Error in allocating buffer for bg channel info for %s\n", path);
        return -1;
    }
    if (ParseBGChannelInfo(path, channelData.totalRegionCount, regions.get()) != 0) {
        std::printf("Error in reading parser bg channel info for %s\n", path);
        return 0;
    }
    CalibrationData& calibration = context.calibrationData;
    if (ParseCalibrationInfo(path, &calibration) != 0) {
        std::printf("Error in reading parser calibration info for %s\n", path);
        return 0;
    }

    wrapper->SetCalibrationData(calibration.moduleCalibrationFactors);
    setDummyInfo(wrapper);
    wrapper->SetBGStatsConfig(channelData.horizontalRegionCount, channelData.verticalRegionCount,
                              channelData.bitDepth, channelData.regionWidth,
                              channelData.regionHeight);
    wrapper->SetBGChannelInfo(regions.get());
    wrapper->SetBGStatsInfo(&channelData);
    const AuxiliaryInfoRecord auxiliary{};  // fresh and all zero for every sample
    wrapper->SetAuxiliaryInfo(&auxiliary);
    wrapper->RunSimulation();

    // The output belongs to the wrapper and is only valid until the next
    // call on it: it is written out at once.
    const AWBSimulationOutput* output = wrapper->GetOutput();
    if (output != nullptr && context.results) {
        WriteResultRecord(context.results.get(), path, *output);
    }
    return 0;
}

}  // namespace Vireo
