// Helpers shared by the reader tests: sample files in a temporary folder,
// sample-file sections built from the key table, and records compared byte
// for byte.
#ifndef VIREO_READER_TEST_SUPPORT_H
#define VIREO_READER_TEST_SUPPORT_H

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "SampleFileKeys.h"
#include "TestSupport.h"

namespace Vireo {
namespace Testing {

using Lines = std::vector<std::string>;

// Writes content byte for byte (NUL bytes included) into dir; returns the path.
inline std::string WriteSample(const TempDir& dir, const std::string& name,
                               const std::string& content) {
    WriteFile(dir / name, content);
    return dir / name;
}

// Keys [first, first + count) of the key table, each followed by as many of
// values (in order) as the table gives it; fewer values leave later keys
// without any.
inline Lines SectionLines(size_t first, size_t count, const Lines& values) {
    Lines lines;
    size_t next = 0;
    for (size_t k = first; k < first + count; ++k) {
        lines.push_back(kSampleFileKeys[k].text);
        for (size_t i = 0; i < kSampleFileKeys[k].valueCount && next < values.size(); ++i) {
            lines.push_back(values[next++]);
        }
    }
    return lines;
}
inline Lines HeaderLines(const Lines& values) { return SectionLines(0, kHeaderKeyCount, values); }
inline Lines CalibrationLines(const Lines& values) {
    return SectionLines(kHeaderKeyCount, kCalibrationKeyCount, values);
}

// A record with every byte set to pattern, so that a field the reader must
// leave alone shows when it is written.
template <typename Record>
Record Filled(unsigned char pattern) {
    Record record;
    std::memset(static_cast<void*>(&record), pattern, sizeof record);
    return record;
}

// The bytes of count records as 32-bit words: a mismatch names its word.
template <typename Record>
std::vector<uint32_t> Words(const Record* records, size_t count = 1) {
    static_assert(sizeof(Record) % 4 == 0, "records are whole words");
    std::vector<uint32_t> words(count * sizeof(Record) / 4);
    std::memcpy(words.data(), static_cast<const void*>(records), count * sizeof(Record));
    return words;
}

}  // namespace Testing
}  // namespace Vireo

#endif  // VIREO_READER_TEST_SUPPORT_H
