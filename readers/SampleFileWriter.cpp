#include "SampleFileWriter.h"

#include <charconv>
#include <cstddef>

namespace Vireo {
namespace {

// Keys [firstKey, firstKey + keyCount) with their value lines taken in order.
void AppendKeyedValues(std::string& out, size_t firstKey, size_t keyCount,
                       const std::string* values) {
    for (size_t key = firstKey; key < firstKey + keyCount; ++key) {
        AppendLine(out, kSampleFileKeys[key].text);
        for (size_t i = 0; i < kSampleFileKeys[key].valueCount; ++i) AppendLine(out, *values++);
    }
}

// The longest line of the channel section: a signed 64-bit number.
constexpr size_t kMaxNumberLine = 21;

}  // namespace

void AppendLine(std::string& out, std::string_view text) {
    out.append(text);
    out.push_back('\n');
}

void AppendLine(std::string& out, int64_t value) {
    char digits[24];
    const auto result = std::to_chars(digits, digits + sizeof digits, value);
    out.append(digits, result.ptr);
    out.push_back('\n');
}

void AppendSampleFile(std::string& out, const SampleFileContent& content) {
    const size_t regionCount = content.regions.size();
    out.reserve(out.size() + 2048 + regionCount * 8 * kMaxNumberLine);

    AppendKeyedValues(out, 0, kHeaderKeyCount, content.header.data());
    AppendKeyedValues(out, kHeaderKeyCount, kCalibrationKeyCount, content.calibration.data());

    // Four sum subsections, then four count subsections, one line per region.
    for (size_t channel = 0; channel < 4; ++channel) {
        AppendLine(out, kChannelKeys[channel]);
        for (const SampleRegionValues& region : content.regions) {
            AppendLine(out, region.sums[channel]);
        }
    }
    for (size_t channel = 0; channel < 4; ++channel) {
        AppendLine(out, kChannelKeys[4 + channel]);
        for (const SampleRegionValues& region : content.regions) {
            AppendLine(out, region.counts[channel]);
        }
    }
    AppendLine(out, kChannelKeys[kChannelSubsectionCount]);
}

}  // namespace Vireo
