// Per-file cost of the sample-file readers, next to the floor's and the
// straightforward readers' cost for the same file, so that a change to one
// reader can be judged without the whole end-to-end run. One generated
// sample file per grid size, kept in the page cache by the repetitions.
//
//   vireo-bench-readers [Google Benchmark options]
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "FloorParse.h"
#include "SampleReaders.h"
#include "SampleText.h"
#include "StraightforwardReaders.h"

namespace {

// The three readers of one implementation, as the driver calls them.
struct ReaderSet {
    int32_t (*header)(char*, Vireo::ChannelData*);
    int32_t (*channels)(char*, int, StatsBayerGridChannelInfoS*);
    int32_t (*calibration)(char*, Vireo::CalibrationData*);
};

const ReaderSet kDriverReaders{Vireo::ParseBGStatsInfo, Vireo::ParseBGChannelInfo,
                               Vireo::ParseCalibrationInfo};
const ReaderSet kStraightforwardReaders{Vireo::Straightforward::ParseBGStatsInfo,
                                        Vireo::Straightforward::ParseBGChannelInfo,
                                        Vireo::Straightforward::ParseCalibrationInfo};

// One sample file per grid, written on first use into a folder that is
// removed at exit.
class SampleFiles {
public:
    ~SampleFiles() {
        for (const auto& entry : paths_) std::remove(entry.second.c_str());
        if (!folder_.empty()) rmdir(folder_.c_str());
    }
    // Path and size of the file for this grid; empty path on failure.
    std::pair<std::string, size_t> For(int horizontal, int vertical) {
        const Vireo::Bench::Grid grid{horizontal, vertical};
        const auto key = std::make_pair(horizontal, vertical);
        if (paths_.count(key) == 0) {
            if (folder_.empty()) {
                char pattern[] = "/tmp/vireo-bench-readers-XXXXXX";
                if (mkdtemp(pattern) == nullptr) return {};
                folder_ = pattern;
            }
            const std::string text = Vireo::Bench::MakeSampleText(1, 0, grid);
            const std::string path = folder_ + "/bg_stats_" + std::to_string(horizontal) + "x" +
                                     std::to_string(vertical) + ".txt";
            std::FILE* file = std::fopen(path.c_str(), "wb");
            if (file == nullptr) return {};
            const bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
            if (std::fclose(file) != 0 || !written) return {};
            paths_[key] = path;
            sizes_[key] = text.size();
        }
        return {paths_[key], sizes_[key]};
    }

private:
    std::string folder_;
    std::map<std::pair<int, int>, std::string> paths_;
    std::map<std::pair<int, int>, size_t> sizes_;
};

SampleFiles& Files() {
    static SampleFiles files;
    return files;
}

// Looks up the state's grid; false (and the benchmark skipped) on failure.
bool SampleFor(benchmark::State& state, std::vector<char>& path, size_t* bytes) {
    auto [name, size] =
        Files().For(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    if (name.empty()) {
        state.SkipWithError("cannot write the sample file");
        return false;
    }
    path.assign(name.begin(), name.end());
    path.push_back('\0');
    *bytes = size;
    return true;
}

void Floor(benchmark::State& state) {
    std::vector<char> path;
    size_t bytes = 0;
    if (!SampleFor(state, path, &bytes)) return;
    std::vector<char> buffer(1 << 20);
    Vireo::Bench::FloorChecksum sum;
    for (auto _ : state) {
        size_t size = 0;
        Vireo::Bench::ReadWholeFile(path.data(), buffer, &size);
        Vireo::Bench::ConvertNumbers(buffer.data(), buffer.data() + size, sum);
    }
    benchmark::DoNotOptimize(sum);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}

// What the driver's sample processing does with a file before the wrapper
// sees it: three readers and a fresh region array.
void WholeSample(benchmark::State& state, const ReaderSet* readers) {
    std::vector<char> path;
    size_t bytes = 0;
    if (!SampleFor(state, path, &bytes)) return;
    Vireo::ChannelData header{};
    Vireo::CalibrationData calibration{};
    for (auto _ : state) {
        readers->header(path.data(), &header);
        auto* regions = new (std::nothrow) StatsBayerGridChannelInfoS[header.totalRegionCount];
        readers->channels(path.data(), header.totalRegionCount, regions);
        for (float& factor : calibration.moduleCalibrationFactors) factor = 1.0f;
        readers->calibration(path.data(), &calibration);
        benchmark::DoNotOptimize(regions);
        delete[] regions;
    }
    benchmark::DoNotOptimize(calibration);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}

void StatsHeader(benchmark::State& state, const ReaderSet* readers) {
    std::vector<char> path;
    size_t bytes = 0;
    if (!SampleFor(state, path, &bytes)) return;
    Vireo::ChannelData header{};
    for (auto _ : state) readers->header(path.data(), &header);
    benchmark::DoNotOptimize(header);
}

void ChannelRecords(benchmark::State& state, const ReaderSet* readers) {
    std::vector<char> path;
    size_t bytes = 0;
    if (!SampleFor(state, path, &bytes)) return;
    const int count = static_cast<int>(state.range(0) * state.range(1));
    std::vector<StatsBayerGridChannelInfoS> regions(static_cast<size_t>(count));
    for (auto _ : state) readers->channels(path.data(), count, regions.data());
    benchmark::DoNotOptimize(regions.data());
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}

void Calibration(benchmark::State& state, const ReaderSet* readers) {
    std::vector<char> path;
    size_t bytes = 0;
    if (!SampleFor(state, path, &bytes)) return;
    Vireo::CalibrationData calibration{};
    for (auto _ : state) readers->calibration(path.data(), &calibration);
    benchmark::DoNotOptimize(calibration);
}

// The grids of the end-to-end data sets.
void Grids(benchmark::internal::Benchmark* benchmark) {
    benchmark->ArgNames({"h", "v"})->Args({32, 24})->Args({64, 48})->Args({128, 96});
    benchmark->Unit(benchmark::kMicrosecond);
}

}  // namespace

BENCHMARK(Floor)->Apply(Grids);
BENCHMARK_CAPTURE(WholeSample, driver, &kDriverReaders)->Apply(Grids);
BENCHMARK_CAPTURE(StatsHeader, driver, &kDriverReaders)->Apply(Grids);
BENCHMARK_CAPTURE(ChannelRecords, driver, &kDriverReaders)->Apply(Grids);
BENCHMARK_CAPTURE(Calibration, driver, &kDriverReaders)->Apply(Grids);
BENCHMARK_CAPTURE(WholeSample, straightforward, &kStraightforwardReaders)->Apply(Grids);
BENCHMARK_CAPTURE(StatsHeader, straightforward, &kStraightforwardReaders)->Apply(Grids);
BENCHMARK_CAPTURE(ChannelRecords, straightforward, &kStraightforwardReaders)->Apply(Grids);
BENCHMARK_CAPTURE(Calibration, straightforward, &kStraightforwardReaders)->Apply(Grids);

BENCHMARK_MAIN();
