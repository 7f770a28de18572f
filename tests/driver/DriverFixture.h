// A scene tree, a configuration and the recording wrapper's call log in a
// temporary folder, and the driver run on them.
#ifndef VIREO_DRIVER_FIXTURE_H
#define VIREO_DRIVER_FIXTURE_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "TestSupport.h"

class DriverFixture : public testing::Test {
protected:
    Vireo::Testing::TempDir dir;
    const std::string config = dir / "run.cfg";
    const std::string data = dir / "data";
    const std::string out = dir / "out";
    const std::string tuning = dir / "tuning.txt";
    const std::string algorithm = dir / "libalgorithm.so";
    const std::string log = dir / "calls.log";
    std::string wrapper = VIREO_RECORDING_WRAPPER;
    std::vector<std::string> environment;

    void WriteConfig(const std::string& outputDir) {
        Vireo::Testing::WriteFile(config, "tuningFile=" + tuning + "\nawbDLL=" + algorithm +
                                              "\nawbSimWrapperDLL=" + wrapper + "\ndataDir=" +
                                              data + "\noutputDir=" + outputDir + "\n");
    }

    // Writes a sample file into a scene folder and returns its path as the
    // driver builds it.
    std::string AddSample(const std::string& scene, const std::string& name,
                          const std::string& text) {
        Vireo::Testing::MakeDirs(data + "/" + scene);
        const std::string path = data + "/" + scene + "/" + name;
        Vireo::Testing::WriteFile(path, text);
        return path;
    }

    Vireo::Testing::RunResult RunDriver() {
        if (!Vireo::Testing::Exists(config)) {
            WriteConfig(out);
        }
        std::vector<std::string> env = environment;
        env.push_back("VIREO_RECORDING_LOG=" + log);
        return Vireo::Testing::Run(VIREO_DRIVER, {config}, dir.path(), env);
    }

    std::vector<std::string> Calls() const { return Vireo::Testing::ReadLines(log); }

    // Calls whose first word is `name`.
    std::vector<std::string> CallsNamed(const std::string& name) const {
        std::vector<std::string> found;
        for (const std::string& call : Calls()) {
            if (call.compare(0, name.size() + 1, name + " ") == 0 || call == name) {
                found.push_back(call);
            }
        }
        return found;
    }

    std::vector<std::string> SceneSetUp() const {
        return {"create", "LoadAWBAlgorithm " + algorithm + " " + algorithm,
                "LoadTuningData " + tuning, "InitializeAlgorithm"};
    }
};

#endif  // VIREO_DRIVER_FIXTURE_H
