// A wrapper library for the end-to-end tests. It appends every call it
// receives, with its arguments and the bytes of the records behind them, to
// the file named by VIREO_RECORDING_LOG, one line per call.
//
// It deliberately does not include the project's interface header: the
// interface is declared again below, slot by slot, so that the tests check
// the binary contract from the wrapper author's side too.
//
// Behaviour is set by the tuning file it is handed, one "key=value" per line:
//   load_result=<int>          what LoadTuningData returns (default 0)
//   output=<r> <g> <b> <cct> <debugDataSize> | output=null
//                              outputs returned sample after sample, cycling
//   scribble=1                 overwrite every placeholder record after use
// and by the environment:
//   VIREO_RECORDING_FACTORY_NULL=1     the factory returns null
//   VIREO_RECORDING_ALGORITHM_RESULT=n what LoadAWBAlgorithm returns
//   VIREO_RECORDING_WATCH=a:b          log "mapped" when the library is loaded
//                                      (a reload after an unmap shows twice);
//                                      at every creation log "watch <path>
//                                      <size>" for each file (-1: missing),
//                                      and append a line to each at Destroy
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "TestSupport.h"

namespace {

using Vireo::Testing::Hex;

// Only the sizes matter on this side; contents are logged as bytes.
constexpr size_t kChannelDataBytes = 76;
constexpr size_t kRegionBytes = 56;
constexpr size_t kCalibrationBytesFromFactors = 88;  // 20 factors + 2 LED floats
constexpr size_t kAuxiliaryBytes = 32;
constexpr int kRoomB = 4, kRoomG = 1, kRoomE = 6, kRoomH = 4, kRoomC = 12, kRoomD = 121;

struct Output {
    float r, g, b;
    uint32_t cct, debugDataSize;
};

class Interface {
public:
    virtual int LoadAWBAlgorithm(const char*, const char*) = 0;
    virtual int LoadTuningData(const char*) = 0;
    virtual int InitializeAlgorithm() = 0;
    virtual int SetBGStatsInfo(const void*) = 0;
    virtual int SetExtraInfoA(int) = 0;
    virtual int SetBGStatsConfig(int, int, int, int, int) = 0;
    virtual int SetBGChannelInfo(const void*) = 0;
    virtual int SetExtraInfoB(int, int32_t*) = 0;
    virtual int NeverCalled1() = 0;
    virtual int SetExtraInfoC(int32_t*) = 0;
    virtual int SetExtraInfoD(int, int32_t*) = 0;
    virtual int SetFrameDimensions(int, int) = 0;
    virtual int SetAuxiliaryInfo(const void*) = 0;
    virtual int SetExtraInfoE(int32_t*) = 0;
    virtual int SetExtraInfoF(int32_t*) = 0;
    virtual int SetExtraInfoG(int32_t*) = 0;
    virtual int SetExtraInfoH(int32_t*) = 0;
    virtual int SetCalibrationData(const float*) = 0;
    virtual int RunSimulation() = 0;
    virtual Output* GetOutput() = 0;
    virtual int NeverCalled2() = 0;
    virtual int NeverCalled3() = 0;
    virtual void Destroy() = 0;

protected:
    ~Interface() = default;
};

int Say(const std::string& text) {
    static std::FILE* log = [] {
        const char* path = std::getenv("VIREO_RECORDING_LOG");
        return path != nullptr ? std::fopen(path, "a") : nullptr;
    }();
    if (log != nullptr) {
        std::fprintf(log, "%s\n", text.c_str());
        std::fflush(log);
    }
    return 0;
}

std::vector<std::string> WatchedFiles() {
    std::vector<std::string> files;
    const char* watch = std::getenv("VIREO_RECORDING_WATCH");
    std::istringstream list(watch != nullptr ? watch : "");
    for (std::string file; std::getline(list, file, ':');) files.push_back(file);
    return files;
}

// Runs once per load of the library: the driver must never unmap it.
[[maybe_unused]] const int kMappingLogged = WatchedFiles().empty() ? 0 : Say("mapped");

// Numbers separated by spaces.
template <typename... Numbers>
std::string Args(Numbers... numbers) {
    std::string text;
    ((text += " " + std::to_string(numbers)), ...);
    return text;
}

class RecordingWrapper final : public Interface {
public:
    int LoadAWBAlgorithm(const char* a, const char* b) override {
        Say(std::string("LoadAWBAlgorithm ") + a + " " + b);
        const char* result = std::getenv("VIREO_RECORDING_ALGORITHM_RESULT");
        return result != nullptr ? std::atoi(result) : 0;
    }
    int LoadTuningData(const char* path) override {
        Say(std::string("LoadTuningData ") + path);
        return ReadSettings(path);
    }
    int InitializeAlgorithm() override { return Say("InitializeAlgorithm"); }
    int SetBGStatsInfo(const void* channelData) override {
        int32_t totalRegionCount = 0;
        std::memcpy(&totalRegionCount, static_cast<const char*>(channelData) + 20, 4);
        std::string line = "SetBGStatsInfo " + Hex(channelData, kChannelDataBytes);
        // The region array arrives before its count; log it now that the
        // count is known.
        if (regions_ != nullptr && totalRegionCount >= 0 && totalRegionCount <= 4096) {
            line += " regions=" + Hex(regions_, kRegionBytes * size_t(totalRegionCount));
        }
        return Say(line);
    }
    int SetExtraInfoA(int value) override { return Say("SetExtraInfoA" + Args(value)); }
    int SetBGStatsConfig(int h, int v, int bitDepth, int w, int height) override {
        return Say("SetBGStatsConfig" + Args(h, v, bitDepth, w, height));
    }
    int SetBGChannelInfo(const void* regions) override {
        regions_ = regions;
        return Say("SetBGChannelInfo");
    }
    int SetExtraInfoB(int value, int32_t* r) override { return See("B" + Args(value), r, kRoomB); }
    int NeverCalled1() override { return Say("NeverCalled1"); }
    int SetExtraInfoC(int32_t* r) override { return See("C", r, kRoomC); }
    int SetExtraInfoD(int value, int32_t* r) override { return See("D" + Args(value), r, kRoomD); }
    int SetFrameDimensions(int width, int height) override {
        return Say("SetFrameDimensions" + Args(width, height));
    }
    int SetAuxiliaryInfo(const void* record) override {
        return Say("SetAuxiliaryInfo " + Hex(record, kAuxiliaryBytes));
    }
    // E and F share one record: scribble only after both have seen it.
    int SetExtraInfoE(int32_t* r) override { return See("E", r, kRoomE, false); }
    int SetExtraInfoF(int32_t* r) override { return See("F", r, kRoomE); }
    int SetExtraInfoG(int32_t* r) override { return See("G", r, kRoomG); }
    int SetExtraInfoH(int32_t* r) override { return See("H", r, kRoomH); }
    int SetCalibrationData(const float* factors) override {
        return Say("SetCalibrationData " + Hex(factors, kCalibrationBytesFromFactors));
    }
    int RunSimulation() override { return Say("RunSimulation"); }
    Output* GetOutput() override {
        const bool none = outputs_.empty() || !outputs_[sample_++ % outputs_.size()].second;
        Say(none ? "GetOutput null" : "GetOutput");
        if (none) return nullptr;
        current_ = outputs_[(sample_ - 1) % outputs_.size()].first;
        return &current_;
    }
    int NeverCalled2() override { return Say("NeverCalled2"); }
    int NeverCalled3() override { return Say("NeverCalled3"); }
    void Destroy() override {
        Say("Destroy");
        for (const std::string& path : WatchedFiles()) {
            if (std::FILE* file = std::fopen(path.c_str(), "a")) {
                std::fputs("left by the wrapper\n", file);
                std::fclose(file);
            }
        }
        delete this;
    }

private:
    // Logs a placeholder record's address and words, then scribbles on it.
    int See(const std::string& call, int32_t* record, int room, bool scribble = true) {
        char address[32];
        std::snprintf(address, sizeof address, "%p", static_cast<void*>(record));
        Say("SetExtraInfo" + call + " " + address + " " + Hex(record, sizeof(int32_t) * room));
        for (int i = 0; scribble && scribble_ && i < room; ++i) record[i] = 0x5A5A0000 + i;
        return 0;
    }

    int ReadSettings(const char* path) {
        std::FILE* file = std::fopen(path, "r");
        if (file == nullptr) return 0;  // no settings: defaults
        int loadResult = 0, flag = 0;
        char line[512];
        while (std::fgets(line, sizeof line, file) != nullptr) {
            Output output{};
            if (std::sscanf(line, "load_result=%d", &loadResult) == 1) continue;
            if (std::sscanf(line, "scribble=%d", &flag) == 1) {
                scribble_ = flag != 0;
            } else if (std::strncmp(line, "output=null", 11) == 0) {
                outputs_.push_back({output, false});
            } else if (std::sscanf(line, "output=%f %f %f %" SCNu32 " %" SCNu32, &output.r,
                                   &output.g, &output.b, &output.cct, &output.debugDataSize) == 5) {
                outputs_.push_back({output, true});
            }
        }
        std::fclose(file);
        return loadResult;
    }

    std::vector<std::pair<Output, bool>> outputs_;  // false: a null output
    size_t sample_ = 0;
    Output current_{};
    const void* regions_ = nullptr;
    bool scribble_ = false;
};

}  // namespace

extern "C" __attribute__((visibility("default"))) Interface* CreateAWBSimulationWrapper() {
    const char* makeNull = std::getenv("VIREO_RECORDING_FACTORY_NULL");
    if (makeNull != nullptr && std::strcmp(makeNull, "1") == 0) {
        Say("create null");
        return nullptr;
    }
    Say("create");
    for (const std::string& path : WatchedFiles()) {
        long size = -1;
        if (std::FILE* file = std::fopen(path.c_str(), "r")) {
            std::fseek(file, 0, SEEK_END);
            size = std::ftell(file);
            std::fclose(file);
        }
        Say("watch " + path + " " + std::to_string(size));
    }
    return new RecordingWrapper();
}
