// Writes the text of a sample file: the statistics header, the calibration
// section and the channel section, each key on a line of its own with its
// values on the lines below, in the order the driver's readers expect. Every
// program that makes sample files (the data set generator, the benchmarks,
// the tests) writes them through here, so the layout lives in one place and
// the key texts come from the readers' own table.
#ifndef VIREO_SAMPLE_FILE_WRITER_H
#define VIREO_SAMPLE_FILE_WRITER_H

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "SampleFileKeys.h"

namespace Vireo {

// One grid region, channels in the file's order R, G/GR, B, GB.
struct SampleRegionValues {
    std::array<int64_t, 4> sums{};
    std::array<int64_t, 4> counts{};
};

// Everything the readers take from a sample file. The header and calibration
// values are the exact text of their value lines, so that each writer keeps
// its own number format and a test can write text that is no clean number;
// the region values, nearly all of a file, are numbers.
struct SampleFileContent {
    std::array<std::string, kHeaderSlotCount> header;            // file order
    std::array<std::string, kCalibrationSlotCount> calibration;  // file order
    std::vector<SampleRegionValues> regions;
};

// The text of value `index` of `key` in content.
inline std::string& ValueText(SampleFileContent& content, SampleKey key, size_t index = 0) {
    const size_t slot = FirstSlotOf(key) + index;
    return key < kHeaderKeyCount ? content.header.at(slot) : content.calibration.at(slot);
}

// Appends the whole file to `out`, line feeds only, ending with the key line
// that closes the channel section ("R SatSum:"). Whatever a recorder writes
// after that key the caller appends to `out` itself.
void AppendSampleFile(std::string& out, const SampleFileContent& content);

// One line: the text, or the number in decimal, then a line feed.
void AppendLine(std::string& out, std::string_view text);
void AppendLine(std::string& out, int64_t value);

}  // namespace Vireo

#endif  // VIREO_SAMPLE_FILE_WRITER_H
