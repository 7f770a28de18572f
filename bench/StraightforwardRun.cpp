// What the driver would cost with straightforward readers: the same walk
// and the same per-sample work as the driver's sample processing (three
// readers, each opening the file itself, and a region array allocated for
// every sample), but with readers built on a standard file stream, line
// reads into a 100-character buffer and atof/atol/atoi. The wrapper calls
// are left out; with a wrapper that does nothing they cost next to nothing.
//
//   vireo-bench-straightforward <dataDir>
#include <cstdint>
#include <cstdio>
#include <new>

#include "SampleWalk.h"
#include "StraightforwardReaders.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <dataDir>\n", argv[0]);
        return 2;
    }
    // One workspace for the run, zeroed once, as the driver keeps it.
    Vireo::ChannelData header{};
    Vireo::CalibrationData calibration{};
    uint64_t checksum = 0;
    long failures = 0;
    long samples = Vireo::Bench::WalkSamples(argv[1], [&](char* path) {
        if (Vireo::Straightforward::ParseBGStatsInfo(path, &header) != 0 ||
            header.totalRegionCount < 0) {
            ++failures;
            return;
        }
        // Zeroed, unlike the driver's, so that a region the reader never
        // reached shows as a zero count; it adds under 1% to this run.
        auto* regions = new (std::nothrow) StatsBayerGridChannelInfoS[header.totalRegionCount]();
        if (regions == nullptr) {
            ++failures;
            return;
        }
        bool ok =
            Vireo::Straightforward::ParseBGChannelInfo(path, header.totalRegionCount, regions) == 0;
        for (float& factor : calibration.moduleCalibrationFactors) factor = 1.0f;
        ok = ok && Vireo::Straightforward::ParseCalibrationInfo(path, &calibration) == 0;
        // The benchmark data must be what the driver expects, or the
        // comparison is off: a full grid, every region counted in every
        // channel, a calibrated module.
        ok = ok &&
             header.totalRegionCount == header.horizontalRegionCount * header.verticalRegionCount;
        ok = ok && calibration.numCalibrationFactors > 0;
        for (int i = 0; ok && i < header.totalRegionCount; ++i) {
            const StatsBayerGridChannelInfoS& region = regions[i];
            ok = region.rCount > 0 && region.grCount > 0 && region.bCount > 0 && region.gbCount > 0;
            checksum +=
                static_cast<uint64_t>(region.rSum + region.grSum + region.bSum + region.gbSum) +
                region.rCount + region.gbCount;
        }
        if (!ok) {
            std::printf("unexpected sample %s\n", path);
            ++failures;
        }
        delete[] regions;
    });
    std::printf("samples %ld checksum %llu\n", samples, static_cast<unsigned long long>(checksum));
    return failures == 0 ? 0 : 1;
}
