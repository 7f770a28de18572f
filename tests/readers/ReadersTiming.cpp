// Times the fast readers against the textbook ones on one generated sample
// file of 3072 regions (about 200 KB), the way the driver calls them for
// every sample: header, channel records, calibration. Not a test: build the
// target readers_timing and run it by hand.
//   readers_timing [repetitions]
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <random>
#include <string>
#include <vector>

#include "ReaderTestSupport.h"
#include "SampleFileKeys.h"
#include "SampleReaders.h"
#include "StraightforwardReaders.h"

namespace {

constexpr int kRegions = 3072;

std::string SampleFile() {
    std::mt19937 random(7);
    std::string text;
    const char* headerValues[] = {"250.5", "1",    "64", "48",   "3072", "60",
                                  "45",    "10",   "0",  "1023", "1023", "1023",
                                  "1023",  "3072", "0",  "0",    "3840", "2160"};
    size_t next = 0;
    for (size_t k = 0; k < Vireo::kHeaderKeyCount; ++k) {
        text += std::string(Vireo::kSampleFileKeys[k]) + "\n";
        for (int i = 0; i < Vireo::Testing::HeaderValuesPerKey()[k]; ++i) {
            text += std::string(headerValues[next++]) + "\n";
        }
    }
    for (size_t k = 0; k < Vireo::kCalibrationKeyCount; ++k) {
        text += std::string(Vireo::kSampleFileKeys[Vireo::kHeaderKeyCount + k]) + "\n";
        for (int i = 0; i < Vireo::Testing::CalibrationValuesPerKey()[k]; ++i) {
            text += std::to_string(1.0 + (random() % 1000) / 1000.0) + "\n";
        }
    }
    for (size_t k = 0; k < Vireo::kChannelSubsectionCount; ++k) {
        text += std::string(Vireo::kChannelKeys[k]) + "\n";
        for (int i = 0; i < kRegions; ++i) {
            text += std::to_string(k < 4 ? random() % 4000000 : random() % 4000) + "\n";
        }
    }
    return text + "R SatSum:\n0\n";
}

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
    Vireo::Testing::TempFolder folder;
    const std::string content = SampleFile();
    std::string path = folder.Write("sample.txt", content);
    const Readers all[] = {
        {"fast", Vireo::ParseBGStatsInfo, Vireo::ParseBGChannelInfo, Vireo::ParseCalibrationInfo},
        {"straightforward", Vireo::Straightforward::ParseBGStatsInfo,
         Vireo::Straightforward::ParseBGChannelInfo, Vireo::Straightforward::ParseCalibrationInfo}};
    std::vector<StatsBayerGridChannelInfoS> records[2] = {
        std::vector<StatsBayerGridChannelInfoS>(kRegions),
        std::vector<StatsBayerGridChannelInfoS>(kRegions)};
    std::printf("sample file: %zu bytes, %d regions, %d repetitions\n", content.size(), kRegions,
                repetitions);
    Times times[2];
    for (int r = 0; r < 2; ++r) {
        MicrosecondsPerSample(all[r], path, 3, records[r]);  // warm the page cache
        times[r] = MicrosecondsPerSample(all[r], path, repetitions, records[r]);
        std::printf("%-16s %9.1f us wall, %9.1f us processor time per sample (three readers)\n",
                    all[r].name, times[r].wall, times[r].cpu);
    }
    const bool same = std::memcmp(records[0].data(), records[1].data(),
                                  kRegions * sizeof(StatsBayerGridChannelInfoS)) == 0;
    std::printf("speed-up %.1fx (processor time), records %s\n", times[1].cpu / times[0].cpu,
                same ? "identical" : "DIFFER");
    return same ? 0 : 1;
}
