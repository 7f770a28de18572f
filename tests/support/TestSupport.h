// Shared helpers of the tests: temporary folders, files, running the driver,
// and sample files.
#ifndef VIREO_TEST_SUPPORT_H
#define VIREO_TEST_SUPPORT_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "SampleFileWriter.h"

namespace Vireo::Testing {

// A fresh folder under the system's temporary folder, removed with its
// contents at the end of the test.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const std::string& path() const { return path_; }
    std::string operator/(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

void WriteFile(const std::string& path, const std::string& content);
std::string ReadFile(const std::string& path);  // "" when missing
bool Exists(const std::string& path);
void MakeDirs(const std::string& path);  // like mkdir -p
std::vector<std::string> ReadLines(const std::string& path);
// Bytes as lower-case hexadecimal, two digits each, in memory order: how the
// recording wrapper logs records and how tests spell what they expect.
std::string Hex(const void* data, size_t size);

struct RunResult {
    int exitStatus = -1;  // what a shell would see, 0..255
    std::string standardOutput;
};

// Runs a program with the given arguments in `workingDirectory`, with extra
// "NAME=value" environment entries; honours VIREO_TEST_EMULATOR (a command
// prefix such as "qemu-aarch64 -L /usr/aarch64-linux-gnu") for cross builds.
RunResult Run(const std::string& program, const std::vector<std::string>& arguments,
              const std::string& workingDirectory,
              const std::vector<std::string>& environment = {});

// The values of one sample file: header and calibration as the text of their
// value lines (a test may write anything there), regions as numbers.
using SampleText = Vireo::SampleFileContent;

// A well-formed sample with `regionCount` regions whose values follow from
// `seed`, with a header that announces exactly that many regions.
SampleText MakeSample(int regionCount, int seed);
// The file text, line feeds only.
std::string SampleFileText(const SampleText& sample);

}  // namespace Vireo::Testing

#endif  // VIREO_TEST_SUPPORT_H
