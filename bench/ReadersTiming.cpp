// Times the fast readers against the textbook ones on one benchmark sample
// file of 64 x 48 regions, the way the driver calls them for every sample:
// header, channel records, calibration. A quick look at one file; the
// Google Benchmark program vireo-bench-readers covers all grid sizes.
//   vireo-bench-readers-timing [repetitions]
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "SampleReaders.h"
#include "SampleText.h"
#include "StraightforwardReaders.h"

namespace {

constexpr Vireo::Bench::Grid kGrid{64, 48};

struct Readers {
    const char* name;
    int32_t (*header)(char*, Vireo::ChannelData*);
    int32_t (*channel)(char*, int, StatsBayerGridChannelInfoS*);
    int32_t (*calibration)(char*, Vireo::CalibrationData*);
};

struct Times {
    double wall;  // microseconds per sample
    double cpu;   // the same in processor time, which other processes do not inflate
};

double CpuMicroseconds() {
    timespec now;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return now.tv_sec * 1e6 + now.tv_nsec / 1e3;
}

Times MicrosecondsPerSample(const Readers& readers, std::string& path, int repetitions,
                            std::vector<StatsBayerGridChannelInfoS>& records) {
    Vireo::ChannelData header{};
    Vireo::CalibrationData calibration{};
    const auto start = std::chrono::steady_clock::now();
    const double cpuStart = CpuMicroseconds();
    for (int i = 0; i < repetitions; ++i) {
        readers.header(path.data(), &header);
        readers.channel(path.data(), header.totalRegionCount, records.data());
        readers.calibration(path.data(), &calibration);
    }
    const std::chrono::duration<double, std::micro> elapsed =
        std::chrono::steady_clock::now() - start;
    return {elapsed.count() / repetitions, (CpuMicroseconds() - cpuStart) / repetitions};
}

}  // namespace

int main(int argc, char** argv) {
    const int repetitions = argc > 1 ? std::atoi(argv[1]) : 200;
    const std::string content = Vireo::Bench::MakeSampleText(0, 0, kGrid);
    std::string path =
        (std::filesystem::temp_directory_path() / "vireo-readers-timing-XXXXXX").string();
    const int descriptor = mkstemp(path.data());
    if (descriptor < 0) {
        std::perror("mkstemp");
        return 2;
    }
    close(descriptor);
    std::ofstream(path, std::ios::binary) << content;
    const Readers all[] = {
        {"fast", Vireo::ParseBGStatsInfo, Vireo::ParseBGChannelInfo, Vireo::ParseCalibrationInfo},
        {"straightforward", Vireo::Straightforward::ParseBGStatsInfo,
         Vireo::Straightforward::ParseBGChannelInfo, Vireo::Straightforward::ParseCalibrationInfo}};
    std::vector<StatsBayerGridChannelInfoS> records[2] = {
        std::vector<StatsBayerGridChannelInfoS>(kGrid.Total()),
        std::vector<StatsBayerGridChannelInfoS>(kGrid.Total())};
    std::printf("sample file: %zu bytes, %d regions, %d repetitions\n", content.size(),
                kGrid.Total(), repetitions);
    Times times[2];
    for (int r = 0; r < 2; ++r) {
        MicrosecondsPerSample(all[r], path, 3, records[r]);  // warm the page cache
        times[r] = MicrosecondsPerSample(all[r], path, repetitions, records[r]);
        std::printf("%-16s %9.1f us wall, %9.1f us processor time per sample (three readers)\n",
                    all[r].name, times[r].wall, times[r].cpu);
    }
    const bool same =
        std::memcmp(records[0].data(), records[1].data(),
                    static_cast<size_t>(kGrid.Total()) * sizeof(StatsBayerGridChannelInfoS)) == 0;
    std::printf("speed-up %.1fx (processor time), records %s\n", times[1].cpu / times[0].cpu,
                same ? "identical" : "DIFFER");
    std::remove(path.c_str());
    return same ? 0 : 1;
}
