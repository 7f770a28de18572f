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
//   VIREO_RECORDING_MAPPING=1          log "mapped" when the library is loaded,
//                                      so a reload after an unmap shows twice
//   VIREO_RECORDING_WATCH=a:b          at every creation log "watch <path>
//                                      <size>" for each file (-1: missing),
//                                      and append a line to each at Destroy
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
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

std::FILE* Log() {
    static std::FILE* log = [] {
        const char* path = std::getenv("VIREO_RECORDING_LOG");
        return path != nullptr ? std::fopen(path, "a") : nullptr;
    }();
    return log;
}

void Line(const std::string& text) {
    if (std::FILE* log = Log()) {
        std::fprintf(log, "%s\n", text.c_str());
        std::fflush(log);
    }
}

int EnvironmentNumber(const char* name) {
    const char* text = std::getenv(name);
    return text != nullptr ? std::atoi(text) : 0;
}

std::vector<std::string> WatchedFiles() {
    std::vector<std::string> files;
    if (const char* list = std::getenv("VIREO_RECORDING_WATCH")) {
        std::string rest = list;
        for (size_t colon; (colon = rest.find(':')) != std::string::npos;) {
            files.push_back(rest.substr(0, colon));
            rest.erase(0, colon + 1);
        }
        files.push_back(rest);
    }
    return files;
}

void LogWatchedSizes() {
    for (const std::string& path : WatchedFiles()) {
        long size = -1;
        if (std::FILE* file = std::fopen(path.c_str(), "r")) {
            std::fseek(file, 0, SEEK_END);
            size = std::ftell(file);
            std::fclose(file);
        }
        Line("watch " + path + " " + std::to_string(size));
    }
}

void WriteIntoWatched() {
    for (const std::string& path : WatchedFiles()) {
        if (std::FILE* file = std::fopen(path.c_str(), "a")) {
            std::fputs("left by the wrapper\n", file);
            std::fclose(file);
        }
    }
}

// Runs once per load of the library: the driver must never unmap it.
[[maybe_unused]] const bool kMappingLogged = [] {
    if (EnvironmentNumber("VIREO_RECORDING_MAPPING") == 1) {
        Line("mapped");
    }
    return true;
}();

std::string Pointer(const void* pointer) {
    char text[32];
    std::snprintf(text, sizeof text, "%p", pointer);
    return text;
}

std::string Words(const int32_t* record, int room) {
    return Pointer(record) + " " + Hex(record, sizeof(int32_t) * static_cast<size_t>(room));
}

class RecordingWrapper final : public Interface {
public:
    int LoadAWBAlgorithm(const char* a, const char* b) override {
        Line(std::string("LoadAWBAlgorithm ") + a + " " + b);
        return EnvironmentNumber("VIREO_RECORDING_ALGORITHM_RESULT");
    }
    int LoadTuningData(const char* path) override {
        Line(std::string("LoadTuningData ") + path);
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
            line +=
                " regions=" + Hex(regions_, kRegionBytes * static_cast<size_t>(totalRegionCount));
        }
        Line(line);
        return 0;
    }
    int SetExtraInfoA(int value) override { return Say("SetExtraInfoA " + std::to_string(value)); }
    int SetBGStatsConfig(int h, int v, int bitDepth, int w, int height) override {
        return Say("SetBGStatsConfig " + std::to_string(h) + " " + std::to_string(v) + " " +
                   std::to_string(bitDepth) + " " + std::to_string(w) + " " +
                   std::to_string(height));
    }
    int SetBGChannelInfo(const void* regions) override {
        regions_ = regions;
        return Say("SetBGChannelInfo");
    }
    int SetExtraInfoB(int value, int32_t* record) override {
        Say("SetExtraInfoB " + std::to_string(value) + " " + Words(record, kRoomB));
        return Scribble(record, kRoomB);
    }
    int NeverCalled1() override { return Say("NeverCalled1"); }
    int SetExtraInfoC(int32_t* record) override {
        Say("SetExtraInfoC " + Words(record, kRoomC));
        return Scribble(record, kRoomC);
    }
    int SetExtraInfoD(int value, int32_t* record) override {
        Say("SetExtraInfoD " + std::to_string(value) + " " + Words(record, kRoomD));
        return Scribble(record, kRoomD);
    }
    int SetFrameDimensions(int width, int height) override {
        return Say("SetFrameDimensions " + std::to_string(width) + " " + std::to_string(height));
    }
    int SetAuxiliaryInfo(const void* record) override {
        return Say("SetAuxiliaryInfo " + Hex(record, kAuxiliaryBytes));
    }
    int SetExtraInfoE(int32_t* record) override {
        return Say("SetExtraInfoE " + Words(record, kRoomE));
    }
    int SetExtraInfoF(int32_t* record) override {
        // E and F share one record: scribble only after both have seen it.
        Say("SetExtraInfoF " + Words(record, kRoomE));
        return Scribble(record, kRoomE);
    }
    int SetExtraInfoG(int32_t* record) override {
        Say("SetExtraInfoG " + Words(record, kRoomG));
        return Scribble(record, kRoomG);
    }
    int SetExtraInfoH(int32_t* record) override {
        Say("SetExtraInfoH " + Words(record, kRoomH));
        return Scribble(record, kRoomH);
    }
    int SetCalibrationData(const float* factors) override {
        return Say("SetCalibrationData " + Hex(factors, kCalibrationBytesFromFactors));
    }
    int RunSimulation() override { return Say("RunSimulation"); }
    Output* GetOutput() override {
        if (outputs_.empty()) {
            Say("GetOutput null");
            return nullptr;
        }
        const Output* next = outputs_[sample_++ % outputs_.size()];
        Say(next == nullptr ? "GetOutput null" : "GetOutput");
        if (next == nullptr) {
            return nullptr;
        }
        current_ = *next;
        return &current_;
    }
    int NeverCalled2() override { return Say("NeverCalled2"); }
    int NeverCalled3() override { return Say("NeverCalled3"); }
    void Destroy() override {
        Say("Destroy");
        WriteIntoWatched();
        for (const Output* output : outputs_) {
            delete output;
        }
        delete this;
    }

private:
    int Say(const std::string& text) {
        Line(text);
        return 0;
    }

    int Scribble(int32_t* record, int room) {
        if (scribble_) {
            for (int i = 0; i < room; ++i) {
                record[i] = 0x5A5A0000 + i;
            }
        }
        return 0;
    }

    int ReadSettings(const char* path) {
        std::FILE* file = std::fopen(path, "r");
        if (file == nullptr) {
            return 0;  // no settings: defaults
        }
        int loadResult = 0;
        char line[512];
        while (std::fgets(line, sizeof line, file) != nullptr) {
            Output output{};
            int flag = 0;
            if (std::sscanf(line, "load_result=%d", &loadResult) == 1) {
                continue;
            }
            if (std::sscanf(line, "scribble=%d", &flag) == 1) {
                scribble_ = flag != 0;
            } else if (std::strncmp(line, "output=null", 11) == 0) {
                outputs_.push_back(nullptr);
            } else if (std::sscanf(line, "output=%f %f %f %" SCNu32 " %" SCNu32, &output.r,
                                   &output.g, &output.b, &output.cct, &output.debugDataSize) == 5) {
                outputs_.push_back(new Output(output));
            }
        }
        std::fclose(file);
        return loadResult;
    }

    std::vector<const Output*> outputs_;
    size_t sample_ = 0;
    Output current_{};
    const void* regions_ = nullptr;
    bool scribble_ = false;
};

}  // namespace

extern "C" __attribute__((visibility("default"))) Interface* CreateAWBSimulationWrapper() {
    const char* makeNull = std::getenv("VIREO_RECORDING_FACTORY_NULL");
    if (makeNull != nullptr && std::strcmp(makeNull, "1") == 0) {
        Line("create null");
        return nullptr;
    }
    Line("create");
    LogWatchedSizes();
    return new RecordingWrapper();
}
