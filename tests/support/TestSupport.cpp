#include "TestSupport.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace Vireo::Testing {

TempDir::TempDir() {
    std::string pattern = std::filesystem::temp_directory_path().string() + "/vireo-test-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("mkdtemp failed");
    }
    path_ = pattern;
}

TempDir::~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

void WriteFile(const std::string& path, const std::string& content) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << content;
    if (!file) {
        throw std::runtime_error("cannot write " + path);
    }
}

std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

bool Exists(const std::string& path) {
    struct stat status;
    return lstat(path.c_str(), &status) == 0;
}

void MakeDirs(const std::string& path) { std::filesystem::create_directories(path); }

std::vector<std::string> ReadLines(const std::string& path) {
    std::vector<std::string> lines;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::string Hex(const void* data, size_t size) {
    static const char digits[] = "0123456789abcdef";
    std::string text;
    const auto* bytes = static_cast<const unsigned char*>(data);
    for (size_t i = 0; i < size; ++i) {
        text += digits[bytes[i] >> 4];
        text += digits[bytes[i] & 15];
    }
    return text;
}

RunResult Run(const std::string& program, const std::vector<std::string>& arguments,
              const std::string& workingDirectory, const std::vector<std::string>& environment) {
    std::vector<std::string> command;
    if (const char* emulator = std::getenv("VIREO_TEST_EMULATOR")) {
        std::istringstream words(emulator);
        for (std::string word; words >> word;) {
            command.push_back(word);
        }
    }
    command.push_back(program);
    command.insert(command.end(), arguments.begin(), arguments.end());

    char outputTemplate[] = "/tmp/vireo-stdout-XXXXXX";
    const int output = mkstemp(outputTemplate);
    if (output < 0) {
        throw std::runtime_error("mkstemp failed");
    }
    unlink(outputTemplate);

    const pid_t child = fork();
    if (child == 0) {
        dup2(output, STDOUT_FILENO);
        if (chdir(workingDirectory.c_str()) != 0) {
            _exit(126);
        }
        for (const std::string& entry : environment) {
            putenv(const_cast<char*>(entry.c_str()));
        }
        std::vector<char*> argv;
        for (std::string& word : command) {
            argv.push_back(word.data());
        }
        argv.push_back(nullptr);
        execvp(argv[0], argv.data());
        _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);

    RunResult result;
    result.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    lseek(output, 0, SEEK_SET);
    char buffer[4096];
    for (ssize_t got; (got = read(output, buffer, sizeof buffer)) > 0;) {
        result.standardOutput.append(buffer, static_cast<size_t>(got));
    }
    close(output);
    return result;
}

SampleText MakeSample(int regionCount, int seed) {
    SampleText sample;
    const std::string count = std::to_string(regionCount);
    sample.header = {std::to_string(100 + seed),
                     "1",
                     count,
                     "1",
                     count,
                     "32",
                     "24",
                     "10",
                     "0",
                     "1000",
                     "1001",
                     "1002",
                     "1003",
                     count,
                     "0",
                     "0",
                     "2048",
                     "1536"};
    size_t next = 0;
    sample.calibration[next++] = "3";
    for (int i = 0; i < 6; ++i) {
        sample.calibration[next++] = std::to_string(2800 + 700 * i);
    }
    for (int i = 0; i < 20; ++i) {
        sample.calibration[next++] = std::to_string(0.95 + 0.005 * (i + seed)).substr(0, 6);
    }
    sample.calibration[next++] = "0.5";
    sample.calibration[next++] = "0.25";
    for (int r = 0; r < regionCount; ++r) {
        Vireo::SampleRegionValues region;
        for (int channel = 0; channel < 4; ++channel) {
            region.sums[static_cast<size_t>(channel)] = 1000000LL * (channel + 1) + 1000 * r + seed;
            region.counts[static_cast<size_t>(channel)] = 200 + 10 * channel + r;
        }
        sample.regions.push_back(region);
    }
    return sample;
}

std::string SampleFileText(const SampleText& sample) {
    std::string text;
    Vireo::AppendSampleFile(text, sample);
    Vireo::AppendLine(text, "0");  // a value below "R SatSum:", as recorders write
    return text;
}

}  // namespace Vireo::Testing
