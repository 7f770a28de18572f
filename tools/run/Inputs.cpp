#include "Inputs.h"

#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>

#include "TuningCodec.h"
#include "YamlTuning.h"

namespace Vireo::Run {
namespace {

bool IsFile(const std::string& path) { return access(path.c_str(), R_OK) == 0; }

bool EndsWith(const std::string& s, const std::string& tail) {
    return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}

}  // namespace

std::string ExecutableFolder() {
    char buffer[4096];
    const ssize_t n = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
    if (n <= 0) return "";
    const std::string path(buffer, static_cast<size_t>(n));
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? "" : path.substr(0, slash);
}

std::string FindInstalled(Installed what) {
    const std::string here = ExecutableFolder();
    if (here.empty()) return "";
    // Build tree: build/<preset>/tools/<tool>/<exe>; install tree:
    // <prefix>/bin/<exe> with the libraries in <prefix>/<libdir>.
    std::vector<std::string> candidates;
    switch (what) {
        case Installed::Driver:
            candidates = {here + "/../../driver/vireo-awbsim", here + "/vireo-awbsim"};
            break;
        case Installed::Check:
            candidates = {here + "/../check/vireo-check", here + "/vireo-check"};
            break;
        case Installed::Wrapper:
            candidates = {here + "/../../reference/libvireo_wrapper.so",
                          here + "/../" VIREO_INSTALL_LIBDIR "/libvireo_wrapper.so"};
            break;
        case Installed::Algorithm:
            candidates = {here + "/../../reference/libvireo_awb.so",
                          here + "/../" VIREO_INSTALL_LIBDIR "/libvireo_awb.so"};
            break;
    }
    for (const std::string& c : candidates) {
        if (!IsFile(c)) continue;
        char resolved[4096];
        return realpath(c.c_str(), resolved) != nullptr ? std::string(resolved) : c;
    }
    return "";
}

bool LoadTuningAny(const std::string& path, std::vector<uint8_t>* image,
                   Tuning::TuningParams* params, std::string* error) {
    if (!EndsWith(path, ".yaml") && !EndsWith(path, ".yml")) {
        if (Tuning::LoadFile(path.c_str(), image, params, error)) return true;
        *error = path + ": " + *error;
        return false;
    }
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        *error = "cannot open " + path;
        return false;
    }
    std::stringstream text;
    text << in.rdbuf();
    if (!Tuning::ParseYaml(text.str(), params, error)) {
        *error = path + ": " + *error;
        return false;
    }
    *image = Tuning::Encode(*params);
    return true;
}

std::string TuningName(const std::string& path) {
    const size_t slash = path.rfind('/');
    std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    const size_t dot = name.rfind('.');
    if (dot != std::string::npos && dot > 0) name.resize(dot);
    return name;
}

}  // namespace Vireo::Run
