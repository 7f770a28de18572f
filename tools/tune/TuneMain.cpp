// vireo-tune: the command-line tool around the reference tuning file.
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "AtomicFile.h"
#include "Calibrate.h"
#include "TuningCodec.h"
#include "YamlTuning.h"
#include "vireo/Version.h"

namespace {

constexpr const char* kUsage =
    "usage: vireo-tune compile IN.yaml OUT.bin   YAML tuning -> binary tuning file\n"
    "       vireo-tune dump IN.bin               binary tuning file -> YAML on stdout\n"
    "       vireo-tune calibrate ...             tuning from chart samples\n"
    "       vireo-tune --help | --version\n";

int Usage() {
    std::fputs(kUsage, stderr);
    return 2;
}

int Fail(const std::string& what) {
    std::fprintf(stderr, "vireo-tune: %s\n", what.c_str());
    return 1;
}

int Compile(const char* inPath, const char* outPath) {
    std::ifstream in(inPath, std::ios::binary);
    if (!in) return Fail(std::string("cannot open ") + inPath);
    std::stringstream text;
    text << in.rdbuf();
    Vireo::Tuning::TuningParams params;
    std::string error;
    if (!Vireo::Tuning::ParseYaml(text.str(), &params, &error)) {
        return Fail(std::string(inPath) + ": " + error);
    }
    const std::vector<uint8_t> bytes = Vireo::Tuning::Encode(params);
    // Never half a tuning file where the driver looks for one.
    const std::string_view binary(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    if (!Vireo::WriteFileAtomically(outPath, binary, error)) return Fail(error);
    return 0;
}

int Dump(const char* inPath) {
    std::vector<uint8_t> bytes;
    Vireo::Tuning::TuningParams params;
    std::string error;
    if (!Vireo::Tuning::LoadFile(inPath, &bytes, &params, &error)) {
        return Fail(std::string(inPath) + ": " + error);
    }
    std::fputs(Vireo::Tuning::ToYaml(params).c_str(), stdout);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) return Usage();
    const std::string command = argv[1];
    if (command == "--help" || command == "-h") {
        std::fputs(kUsage, stdout);
        return 0;
    }
    if (command == "--version") return Vireo::AnswerVersion(argc, argv, "vireo-tune") ? 0 : 2;
    if (command == "compile" && argc == 4) return Compile(argv[2], argv[3]);
    if (command == "dump" && argc == 3) return Dump(argv[2]);
    if (command == "calibrate") {
        // The whole command line, argv[1] being "calibrate".
        return RunCalibrate(argc, argv);
    }
    return Usage();
}
