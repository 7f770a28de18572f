#include "CheckSample.h"

#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <vector>

#include "LineReader.h"
#include "SampleFileKeys.h"
#include "SampleReaders.h"
#include "TextToNumber.h"

namespace Vireo::Check {
namespace {

// The keys of a sample file in file order, as one index: the header and
// calibration keys, the eight channel subsections, then the key that ends
// the channel section, after which the driver reads nothing.
constexpr size_t kChannelKeyBase = kSampleFileKeyCount;
constexpr size_t kEndKey = kChannelKeyBase + kChannelSubsectionCount;
constexpr size_t kNoKey = static_cast<size_t>(-1);
// Values under a key that came out of order are nobody's.
constexpr size_t kIgnoredKey = static_cast<size_t>(-2);

const char* KeyText(size_t key) {
    return key < kChannelKeyBase ? kSampleFileKeys[key].text : kChannelKeys[key - kChannelKeyBase];
}

// The longest key text the line contains: some keys hold others ("G/GR Sum:"
// holds "R Sum:").
size_t FindKey(const Line& line) {
    size_t found = kNoKey;
    size_t foundLength = 0;
    for (size_t key = 0; key <= kEndKey; ++key) {
        const size_t length = std::strlen(KeyText(key));
        if (length > foundLength && line.Contains(KeyText(key))) {
            found = key;
            foundLength = length;
        }
    }
    return found;
}

// "1 region", "2 regions".
std::string Count(size_t n, const char* noun) {
    return Format("%zu %s%s", n, noun, n == 1 ? "" : "s");
}

bool IsEmpty(const std::string& path) {
    struct stat st {};
    return stat(path.c_str(), &st) == 0 && st.st_size == 0;
}

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f'; }

const char* SkipBlanks(const char* text) {
    while (IsBlank(*text)) ++text;
    return text;
}

// A whole decimal number and nothing else but blanks (a carriage return
// included: the driver's conversion stops before it).
bool ParseWholeNumber(const char* text, int64_t& value) {
    const char* p = SkipBlanks(text);
    const bool negative = *p == '-';
    if (*p == '-' || *p == '+') ++p;
    const char* digits = p;
    uint64_t magnitude = 0;
    while (*p >= '0' && *p <= '9' && p - digits < 18) {
        magnitude = magnitude * 10 + static_cast<uint64_t>(*p - '0');
        ++p;
    }
    if (p == digits || (*p >= '0' && *p <= '9') || *SkipBlanks(p) != '\0') return false;
    value = negative ? -static_cast<int64_t>(magnitude) : static_cast<int64_t>(magnitude);
    return true;
}

// One problem kind over the regions of one channel, reported once with the
// first region it was seen in and how many regions have it.
struct RegionFinding {
    size_t count = 0;
    size_t firstRegion = 0;
    int64_t firstValue = 0;
    int64_t firstOther = 0;
    void Note(size_t region, int64_t value, int64_t other = 0) {
        if (count++ == 0) firstRegion = region, firstValue = value, firstOther = other;
    }
};

// Lines of one file: at most kShown are printed, the rest only counted, so
// that a file of garbage does not bury the other files' problems.
class FileProblems {
public:
    FileProblems(const std::string& path, Report& report) : path_(path), report_(report) {}
    ~FileProblems() {
        if (hidden_ > 0) {
            std::fprintf(report_.out, "%s: %zu more problems in this file are not shown\n",
                         path_.c_str(), hidden_);
        }
        if (shown_ + hidden_ > 0) ++report_.filesWithProblems;
    }
    FileProblems(const FileProblems&) = delete;
    FileProblems& operator=(const FileProblems&) = delete;

    void Add(size_t line, const std::string& what, const std::string& consequence) {
        if (shown_ < kShown) {
            ++shown_;
            Check::Add(report_, path_, line, what, consequence);
        } else {
            ++hidden_;
            ++report_.problems;
        }
    }
    size_t Count() const { return shown_ + hidden_; }

private:
    static constexpr size_t kShown = 12;
    const std::string& path_;
    Report& report_;
    size_t shown_ = 0;
    size_t hidden_ = 0;
};

// What one pass over the lines found.
struct Walk {
    std::array<size_t, kEndKey + 1> keyLine{};  // line of each key's first place, 0 when absent
    std::array<size_t, kEndKey> valueCount{};   // value lines under that first place
    std::array<std::vector<int64_t>, kChannelSubsectionCount>
        channels;  // values as the driver takes them
    size_t lines = 0;
    size_t keysFound = 0;
    bool ended = false;  // the end key was reached

    // Back to the start, keeping the channels' storage for the next file.
    void Reset() {
        keyLine.fill(0);
        valueCount.fill(0);
        for (auto& values : channels) values.clear();
        lines = keysFound = 0;
        ended = false;
    }
};

// What the missing key makes the driver do with the rest of its section.
const char* MissingKeyConsequence(size_t key) {
    return key < kChannelKeyBase
               ? "the driver waits for it and takes each later key line of its section as a "
                 "value 0, so the later fields get wrong values"
               : "the driver's reading of the channel section gets out of step: values land in "
                 "the wrong regions or channels";
}

void CheckHeaderValue(const Line& line, size_t lineNumber, FileProblems& problems) {
    const char* text = SkipBlanks(line.text);
    if (*text == '\0') {
        problems.Add(lineNumber, "empty line where a value belongs",
                     "the driver takes 0 and counts it as a value");
        return;
    }
    errno = 0;
    char* end = nullptr;
    const double value = std::strtod(text, &end);
    const double taken = static_cast<float>(TextToDouble(line.text));
    if (end == text || *SkipBlanks(end) != '\0') {
        problems.Add(lineNumber, "value " + Quote(line.text) + " is not a number",
                     Format("the driver takes %g", taken));
    } else if (value != value || value - value != 0.0) {
        problems.Add(lineNumber, "value " + Quote(line.text) + " is not a finite number",
                     "the driver takes it as it is and its integer fields as 0 or a limit");
    }
}

void WalkLines(const std::string& path, LineReader& reader, Walk& walk, FileProblems& problems) {
    size_t expected = 0;      // next key in file order
    size_t current = kNoKey;  // key whose values are being read
    size_t strayLines = 0;    // value lines before the first key
    size_t firstStrayLine = 0;
    Line line;
    while (reader.Next(line)) {
        const size_t number = ++walk.lines;
        const size_t key = line.MayHoldKey() ? FindKey(line) : kNoKey;
        if (key == kNoKey) {
            if (current == kNoKey) {
                if (strayLines++ == 0) firstStrayLine = number;
                continue;
            }
            if (current == kIgnoredKey) continue;
            const size_t index = walk.valueCount[current]++;
            if (current < kChannelKeyBase) {
                CheckHeaderValue(line, number, problems);
                continue;
            }
            int64_t value = 0;
            if (!ParseWholeNumber(line.text, value)) {
                value = TextToInt64(line.text);
                problems.Add(number, "value " + Quote(line.text) + " is not a whole number",
                             Format("the driver takes %lld", static_cast<long long>(value)));
            }
            // Beyond any sensible grid the values are only counted.
            if (index < (size_t{1} << 20))
                walk.channels[current - kChannelKeyBase].push_back(value);
            continue;
        }
        ++walk.keysFound;
        if (key == kEndKey) {
            for (size_t missing = expected; missing < kEndKey; ++missing) {
                problems.Add(number,
                             Format("key \"%s\" missing before this line", KeyText(missing)),
                             MissingKeyConsequence(missing));
            }
            walk.keyLine[kEndKey] = number;
            walk.ended = true;
            break;
        }
        if (key < expected) {
            problems.Add(number,
                         Format("key \"%s\" out of order or repeated (expected \"%s\")",
                                KeyText(key), expected < kEndKey ? KeyText(expected) : ""),
                         key < kChannelKeyBase ? "the driver takes the line as a value 0"
                                               : MissingKeyConsequence(key));
            current = kIgnoredKey;
            continue;
        }
        for (size_t missing = expected; missing < key; ++missing) {
            problems.Add(number, Format("key \"%s\" missing before this line", KeyText(missing)),
                         MissingKeyConsequence(missing));
        }
        // Everything else on a key line is ignored, a value written after
        // the key included.
        const char* rest = std::strstr(line.text, KeyText(key)) + std::strlen(KeyText(key));
        if (*SkipBlanks(rest) != '\0') {
            problems.Add(number, "text " + Quote(SkipBlanks(rest)) + " after the key",
                         "the driver ignores the rest of a key line; values go on the lines "
                         "below it");
        }
        walk.keyLine[key] = number;
        current = key;
        expected = key + 1;
    }
    if (strayLines > 0 && walk.keysFound > 0) {
        problems.Add(
            firstStrayLine,
            Format("%zu lines before the first key \"%s\"", strayLines, kSampleFileKeys[0].text),
            "the driver takes them as the first header values and every header field "
            "moves");
    }
    if (walk.ended || walk.keysFound == 0) return;

    // The reading stopped early: a line too long for the driver, or the end
    // of the file.
    std::ifstream file(path, std::ios::binary);
    std::string text;
    for (size_t number = 1; std::getline(file, text); ++number) {
        if (text.size() > LineReader::kMaxLineLength) {
            problems.Add(number,
                         Format("line of %zu characters (at most %zu)", text.size(),
                                LineReader::kMaxLineLength),
                         "the driver stops reading the file here and takes what is missing as 0");
            return;
        }
    }
    for (size_t missing = expected; missing <= kEndKey; ++missing) {
        if (walk.keyLine[missing] == 0) {
            problems.Add(walk.lines, Format("file ends without key \"%s\"", KeyText(missing)),
                         missing == kEndKey ? "the driver reads the last subsection to the end"
                                            : MissingKeyConsequence(missing));
        }
    }
}

void CheckValueCounts(const Walk& walk, int32_t regions, FileProblems& problems) {
    for (size_t key = 0; key < kEndKey; ++key) {
        if (walk.keyLine[key] == 0) continue;
        const size_t count = walk.valueCount[key];
        if (key < kChannelKeyBase) {
            const size_t wanted = kSampleFileKeys[key].valueCount;
            if (count != wanted) {
                problems.Add(walk.keyLine[key],
                             Format("key \"%s\" has %s, not %zu", KeyText(key),
                                    Count(count, "value line").c_str(), wanted),
                             "the driver fills the fields in file order, so the values after it "
                             "land in other fields");
            }
            continue;
        }
        if (regions < 1) continue;  // said with the header
        const size_t wanted = static_cast<size_t>(regions);
        if (count == wanted) continue;
        const std::string what =
            Format("key \"%s\" has %s for %s (%s)", KeyText(key), Count(count, "value").c_str(),
                   Count(wanted, "region").c_str(), kSampleFileKeys[4].text);
        const bool last = key + 1 == kEndKey;
        if (count < wanted) {
            problems.Add(walk.keyLine[key], what,
                         "the driver takes 0 for the last " + Count(wanted - count, "region"));
        } else if (count == wanted + 1 || last) {
            problems.Add(walk.keyLine[key], what, "the driver passes over the extra values");
        } else {
            problems.Add(walk.keyLine[key], what,
                         Format("the driver passes over one and reads the other %zu as the first "
                                "values of \"%s\"",
                                count - wanted - 1, KeyText(key + 1)));
        }
    }
}

void CheckHeader(const Walk& walk, const ChannelData& header, FileProblems& problems) {
    const size_t totalLine = walk.keyLine[4];
    const int64_t grid = int64_t{header.horizontalRegionCount} * header.verticalRegionCount;
    if (header.totalRegionCount < 1) {
        problems.Add(totalLine,
                     Format("%s is %d", kSampleFileKeys[4].text, header.totalRegionCount),
                     "the driver reads no region and the algorithm gets no statistics");
    } else if (grid != header.totalRegionCount) {
        problems.Add(totalLine,
                     Format("%s %d is not %s x %s (%d x %d = %lld)", kSampleFileKeys[4].text,
                            header.totalRegionCount, kSampleFileKeys[2].text,
                            kSampleFileKeys[3].text, header.horizontalRegionCount,
                            header.verticalRegionCount, static_cast<long long>(grid)),
                     Format("the driver reads %d regions but hands the algorithm a %d x %d grid",
                            header.totalRegionCount, header.horizontalRegionCount,
                            header.verticalRegionCount));
    }
    if (header.regionWidth < 1 || header.regionHeight < 1) {
        problems.Add(walk.keyLine[5],
                     Format("region size %d x %d", header.regionWidth, header.regionHeight),
                     "the algorithm gets regions without pixels");
    }
    if (header.bitDepth < 1 || header.bitDepth > 30) {
        problems.Add(walk.keyLine[7],
                     Format("%s %d is out of range", kSampleFileKeys[7].text, header.bitDepth),
                     "the algorithm scales every sum by a meaningless full scale");
    }
    if (header.validRegionCount < 0 || header.validRegionCount > header.totalRegionCount) {
        problems.Add(walk.keyLine[10],
                     Format("%s %d is outside 0..%d", kSampleFileKeys[10].text,
                            header.validRegionCount, header.totalRegionCount),
                     "the driver passes it on as it is");
    }
}

void CheckRegions(const Walk& walk, const ChannelData& header, FileProblems& problems) {
    if (header.totalRegionCount < 1) return;
    const size_t regions = static_cast<size_t>(header.totalRegionCount);
    const int64_t pixels = header.regionWidth > 0 && header.regionHeight > 0
                               ? int64_t{header.regionWidth} * header.regionHeight
                               : -1;
    const bool depthKnown = header.bitDepth >= 1 && header.bitDepth <= 30;
    const int64_t fullScale = depthKnown ? (int64_t{1} << header.bitDepth) - 1 : 0;
    for (size_t channel = 0; channel < 4; ++channel) {
        const std::vector<int64_t>& sums = walk.channels[channel];
        const std::vector<int64_t>& counts = walk.channels[4 + channel];
        RegionFinding negativeSum, wrapped, tooMany, tooLarge;
        for (size_t i = 0; i < regions && i < counts.size(); ++i) {
            const int64_t count = counts[i];
            if (count < 0 || count > 0xffff) {
                wrapped.Note(i, count, static_cast<uint16_t>(static_cast<uint64_t>(count)));
            } else if (pixels >= 0 && count > pixels) {
                tooMany.Note(i, count);
            }
        }
        for (size_t i = 0; i < regions && i < sums.size(); ++i) {
            if (sums[i] < 0) {
                negativeSum.Note(i, sums[i]);
            } else if (depthKnown && i < counts.size() && counts[i] >= 0 && counts[i] <= 0xffff &&
                       sums[i] > counts[i] * fullScale) {
                tooLarge.Note(i, sums[i], counts[i]);
            }
        }
        const size_t sumKey = kChannelKeyBase + channel, countKey = sumKey + 4;
        auto line = [&](size_t key, const RegionFinding& f) {
            return walk.keyLine[key] + 1 + f.firstRegion;
        };
        auto more = [](const RegionFinding& f) {
            return f.count > 1 ? " (and " + Count(f.count - 1, "more region") + ")" : std::string();
        };
        if (wrapped.count > 0) {
            problems.Add(line(countKey, wrapped),
                         Format("%s %lld of region %zu is outside 0..65535%s", KeyText(countKey),
                                static_cast<long long>(wrapped.firstValue), wrapped.firstRegion + 1,
                                more(wrapped).c_str()),
                         Format("the driver keeps its low 16 bits (%lld)",
                                static_cast<long long>(wrapped.firstOther)));
        }
        if (tooMany.count > 0) {
            problems.Add(line(countKey, tooMany),
                         Format("%s %lld of region %zu is more than the region's %lld pixels%s",
                                KeyText(countKey), static_cast<long long>(tooMany.firstValue),
                                tooMany.firstRegion + 1, static_cast<long long>(pixels),
                                more(tooMany).c_str()),
                         "the driver passes it on as it is");
        }
        if (negativeSum.count > 0) {
            problems.Add(line(sumKey, negativeSum),
                         Format("%s %lld of region %zu is negative%s", KeyText(sumKey),
                                static_cast<long long>(negativeSum.firstValue),
                                negativeSum.firstRegion + 1, more(negativeSum).c_str()),
                         "the driver passes it on as it is");
        }
        if (tooLarge.count > 0) {
            problems.Add(
                line(sumKey, tooLarge),
                Format("%s %lld of region %zu is more than its count %lld x full scale "
                       "%lld%s",
                       KeyText(sumKey), static_cast<long long>(tooLarge.firstValue),
                       tooLarge.firstRegion + 1, static_cast<long long>(tooLarge.firstOther),
                       static_cast<long long>(fullScale), more(tooLarge).c_str()),
                "the driver passes it on as it is");
        }
    }
}

}  // namespace

void CheckSampleFile(const std::string& path, Report& report) {
    ++report.samplesChecked;
    FileProblems problems(path, report);
    // One walk for every file: the samples of a data folder have the same
    // size, so after the first the channels need no allocation.
    static Walk walk;
    walk.Reset();
    {
        // Only one LineReader may be alive at a time: the driver's header
        // reader below makes its own.
        LineReader reader(path.c_str(), LineReader::kLargeChunk);
        if (!reader.IsOpen()) {
            problems.Add(0, Format("cannot be read (%s)", std::strerror(errno)),
                         "the driver fails the sample, ends the scene and exits 255");
            return;
        }
        WalkLines(path, reader, walk, problems);
    }
    if (walk.keysFound == 0) {
        problems.Add(0,
                     walk.lines == 0 && IsEmpty(path)
                         ? std::string("empty file")
                         : Format("not a sample file (none of the %zu keys)",
                                  kSampleFileKeyCount + kChannelSubsectionCount + 1),
                     "the driver reads it as a sample all the same and writes a result for it");
        return;
    }
    // The header exactly as the driver takes it, whatever the walk found.
    ChannelData header{};
    std::vector<char> writablePath(path.begin(), path.end());
    writablePath.push_back('\0');
    ParseBGStatsInfo(writablePath.data(), &header);

    CheckHeader(walk, header, problems);
    CheckValueCounts(walk, header.totalRegionCount, problems);
    CheckRegions(walk, header, problems);
}

}  // namespace Vireo::Check
