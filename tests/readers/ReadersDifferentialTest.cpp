// Differential test: thousands of generated sample files, well-formed and
// mutated in every way the line rule and the key tests care about, read by
// the fast readers and by the textbook ones. Records, arrays (pre-filled
// with the same byte pattern, guard records included) and results must be
// identical byte for byte.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "ReaderTestSupport.h"
#include "SampleFileKeys.h"
#include "SampleReaders.h"
#include "StraightforwardReaders.h"

namespace {

using Lines = std::vector<std::string>;

constexpr int kFileCount = 10000;
constexpr int kLargeFileEvery = 150;  // a 3072-region file crosses several read chunks
constexpr int kGuardRecords = 2;

class Generator {
public:
    explicit Generator(uint64_t seed) : engine_(seed) {}

    uint64_t Below(uint64_t n) { return engine_() % n; }
    bool OneIn(uint64_t n) { return Below(n) == 0; }

    std::string Digits(int count) {
        std::string text;
        for (int i = 0; i < count; ++i) {
            text += static_cast<char>('0' + Below(10));
        }
        return text;
    }

    std::string Number() {
        switch (Below(8)) {
            case 0:
                return std::to_string(Below(100000));
            case 1:
                return Digits(1 + static_cast<int>(Below(12))) + "." +
                       Digits(static_cast<int>(Below(9)));
            case 2:
                return "-" + Digits(1 + static_cast<int>(Below(6))) + "." + Digits(2);
            case 3:
                return OddNumber();
            default:
                return std::to_string(Below(1u << 20));
        }
    }

    std::string OddNumber() {
        static const char* const kOdd[] = {"0x1p3",
                                           "0x1.8p-2",
                                           "-0X10",
                                           "inf",
                                           "-Infinity",
                                           "nan",
                                           "NAN(abc)",
                                           "1e400",
                                           "-1e400",
                                           "1e-400",
                                           "4.9e-324",
                                           "1e",
                                           "1e+",
                                           "  42",
                                           "\t-7",
                                           "+13",
                                           "+-1",
                                           "-0",
                                           "",
                                           "abc",
                                           ".",
                                           "5.",
                                           ".5",
                                           "0x",
                                           "\v\f9",
                                           "12abc",
                                           "2.99999999",
                                           "16777217",
                                           "5000000000",
                                           "65537",
                                           "-1",
                                           "9223372036854775807",
                                           "9223372036854775808",
                                           "-9223372036854775809",
                                           "123456789012345678901234567890",
                                           "4294967296",
                                           "-2147483649",
                                           "3.4028236e38",
                                           "1234.9",
                                           "-3.7",
                                           "1.5e22",
                                           "1e23",
                                           "0.1e-5",
                                           "999999999999999999e-20"};
        return kOdd[Below(sizeof kOdd / sizeof kOdd[0])];
    }

    Lines WellFormed(int regions) {
        Lines lines;
        for (size_t k = 0; k < Vireo::kHeaderKeyCount; ++k) {
            lines.push_back(Vireo::kSampleFileKeys[k]);
            for (int i = 0; i < Vireo::Testing::HeaderValuesPerKey()[k]; ++i) {
                lines.push_back(k == 4 ? std::to_string(regions) : Number());
            }
        }
        for (size_t k = 0; k < Vireo::kCalibrationKeyCount; ++k) {
            lines.push_back(Vireo::kSampleFileKeys[Vireo::kHeaderKeyCount + k]);
            for (int i = 0; i < Vireo::Testing::CalibrationValuesPerKey()[k]; ++i) {
                lines.push_back(Number());
            }
        }
        for (size_t k = 0; k < Vireo::kChannelSubsectionCount; ++k) {
            lines.push_back(Vireo::kChannelKeys[k]);
            for (int i = 0; i < regions; ++i) {
                lines.push_back(OneIn(50) ? Number()
                                          : std::to_string(Below(k < 4 ? 1u << 30 : 70000)));
            }
        }
        lines.push_back("R SatSum:");
        lines.push_back(Number());
        return lines;
    }

    const char* AnyKey() {
        const size_t all = Vireo::kSampleFileKeyCount + Vireo::kChannelSubsectionCount + 1;
        const size_t pick = Below(all);
        return pick < Vireo::kSampleFileKeyCount
                   ? Vireo::kSampleFileKeys[pick]
                   : Vireo::kChannelKeys[pick - Vireo::kSampleFileKeyCount];
    }

    void Mutate(Lines& lines) {
        const size_t at = Below(lines.size());
        std::string& line = lines[at];
        switch (Below(11)) {
            case 0:
                lines.erase(lines.begin() + static_cast<std::ptrdiff_t>(at));
                break;
            case 1:
                lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(at), line);
                break;
            case 2:
                if (at + 1 < lines.size()) std::swap(line, lines[at + 1]);
                break;
            case 3:
                lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(at), AnyKey());
                break;
            case 4:
                line = OddNumber();
                break;
            case 5: {  // around the 99-character limit
                static const size_t kLengths[] = {98, 99, 100, 101, 130};
                const size_t length = kLengths[Below(5)];
                if (line.size() < length) line.append(length - line.size(), OneIn(2) ? ' ' : '0');
                break;
            }
            case 6:
                line += '\r';
                break;
            case 7:
                line.insert(Below(line.size() + 1), 1, '\0');
                break;
            case 8:
                line += " " + Number();
                break;
            case 9:
                line.insert(0, OneIn(2) ? " \t" : (OneIn(2) ? "-" : "+"));
                break;
            default:
                line.erase(Below(line.size() + 1));
                break;  // cut the line short
        }
    }

    std::string Render(const Lines& lines) {
        const bool crlf = OneIn(10);
        std::string text;
        for (const std::string& line : lines) {
            text += line;
            text += crlf ? "\r\n" : "\n";
        }
        if (OneIn(10)) {
            text.erase(Below(text.size() + 1));  // cut anywhere, last line unterminated
        } else if (OneIn(10) && !text.empty()) {
            text.pop_back();
        }
        return text;
    }

private:
    std::mt19937_64 engine_;
};

std::string Printable(const std::string& text) {
    std::string out;
    for (char c : text.substr(0, 3000)) {
        if (c == '\n')
            out += "\\n\n";
        else if (c == '\r')
            out += "\\r";
        else if (c == '\0')
            out += "\\0";
        else
            out += c;
    }
    return out;
}

// Offset of the first differing byte, or -1 when both are the same.
long FirstDifference(const void* a, const void* b, size_t size) {
    const unsigned char* x = static_cast<const unsigned char*>(a);
    const unsigned char* y = static_cast<const unsigned char*>(b);
    for (size_t i = 0; i < size; ++i) {
        if (x[i] != y[i]) {
            return static_cast<long>(i);
        }
    }
    return -1;
}

TEST(ReadersDifferential, FastReadersMatchTextbookReadersByteForByte) {
    // CI runs the fixed seed; VIREO_READERS_SEED and VIREO_READERS_FILES
    // explore further by hand.
    const char* seedText = std::getenv("VIREO_READERS_SEED");
    const char* filesText = std::getenv("VIREO_READERS_FILES");
    Generator generator(seedText ? std::strtoull(seedText, nullptr, 0) : 0x5eed2024);
    const int fileCount = filesText ? std::atoi(filesText) : kFileCount;
    Vireo::Testing::TempFolder folder;
    for (int file = 0; file < fileCount; ++file) {
        const int regions =
            file % kLargeFileEvery == 0 ? 3072 : static_cast<int>(generator.Below(41));
        Lines lines = generator.WellFormed(regions);
        const int mutations = file % 5 == 0 ? 0 : 1 + static_cast<int>(generator.Below(4));
        for (int m = 0; m < mutations && !lines.empty(); ++m) {
            generator.Mutate(lines);
        }
        const std::string content = generator.Render(lines);
        // A fresh name each time: rewriting one file in place makes some file
        // systems flush it to disk on every close, which is slow.
        std::string path = folder.Write("sample" + std::to_string(file) + ".txt", content);
        struct Remover {
            const std::string& path;
            ~Remover() { std::remove(path.c_str()); }
        } remover{path};
        const unsigned char pattern = static_cast<unsigned char>(generator.Below(256));
        SCOPED_TRACE("file " + std::to_string(file) + ":\n" + Printable(content));

        Vireo::ChannelData header[2];
        std::memset(header, pattern, sizeof header);
        ASSERT_EQ(Vireo::ParseBGStatsInfo(path.data(), &header[0]),
                  Vireo::Straightforward::ParseBGStatsInfo(path.data(), &header[1]));
        ASSERT_EQ(FirstDifference(&header[0], &header[1], sizeof header[0]), -1) << "header";

        Vireo::CalibrationData calibration[2];
        std::memset(calibration, pattern, sizeof calibration);
        ASSERT_EQ(Vireo::ParseCalibrationInfo(path.data(), &calibration[0]),
                  Vireo::Straightforward::ParseCalibrationInfo(path.data(), &calibration[1]));
        ASSERT_EQ(FirstDifference(&calibration[0], &calibration[1], sizeof calibration[0]), -1)
            << "calibration";

        const int counts[] = {regions, regions + 1, regions - 1, 0, -1};
        const int count = counts[generator.Below(5)];
        const size_t allocated = static_cast<size_t>(count > 0 ? count : 0) + kGuardRecords;
        std::vector<StatsBayerGridChannelInfoS> fast(allocated), textbook(allocated);
        std::memset(fast.data(), pattern, allocated * sizeof fast[0]);
        std::memset(textbook.data(), pattern, allocated * sizeof textbook[0]);
        ASSERT_EQ(Vireo::ParseBGChannelInfo(path.data(), count, fast.data()),
                  Vireo::Straightforward::ParseBGChannelInfo(path.data(), count, textbook.data()));
        ASSERT_EQ(FirstDifference(fast.data(), textbook.data(), allocated * sizeof fast[0]), -1)
            << "channel records, region count " << count;
    }
}

}  // namespace
