// Differential test: thousands of generated sample files, well-formed and
// mutated in every way the line rule and the key tests care about, read by
// the fast readers and by the textbook ones. Records, arrays (pre-filled
// with the same byte pattern, guard records included) and results must be
// identical byte for byte.
#include <gtest/gtest.h>

#include <algorithm>
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

using namespace Vireo::Testing;

constexpr int kFileCount = 10000;
constexpr int kLargeFileEvery = 150;  // a 3072-region file crosses several read chunks
constexpr int kGuardRecords = 2;
const size_t kLengths[] = {98, 99, 100, 101, 130};  // around the 99-character limit

class Generator {
public:
    explicit Generator(uint64_t seed) : engine_(seed) {}

    uint64_t Below(uint64_t n) { return engine_() % n; }
    bool OneIn(uint64_t n) { return Below(n) == 0; }

    std::string Digits(uint64_t count) {
        std::string text;
        while (count-- > 0) text += static_cast<char>('0' + Below(10));
        return text;
    }

    std::string Number() {
        const uint64_t kind = Below(8);
        if (kind == 0) return std::to_string(Below(100000));
        if (kind == 1) return Digits(1 + Below(12)) + "." + Digits(Below(9));
        if (kind == 2) return "-" + Digits(1 + Below(6)) + "." + Digits(2);
        if (kind == 3) return OddNumber();
        return std::to_string(Below(1u << 20));
    }

    // Numbers at the edges of the conversions: other notations, white
    // space, signs, precision and range limits, text that is no number.
    std::string OddNumber() {
        // clang-format off
        static const char* const kOdd[] = {
            "0x1p3", "0x1.8p-2", "-0X10", "inf", "-Infinity", "nan", "NAN(abc)", "1e400", "-1e400",
            "1e-400", "4.9e-324", "1e", "1e+", "  42", "\t-7", "+13", "+-1", "-0", "", "abc", ".",
            "5.", ".5", "0x", "\v\f9", "12abc", "2.99999999", "16777217", "5000000000", "65537",
            "-1", "9223372036854775807", "9223372036854775808", "-9223372036854775809",
            "123456789012345678901234567890", "4294967296", "-2147483649", "3.4028236e38",
            "1234.9", "-3.7", "1.5e22", "1e23", "0.1e-5", "999999999999999999e-20"};
        // clang-format on
        return kOdd[Below(sizeof kOdd / sizeof kOdd[0])];
    }

    Lines WellFormed(int regions) {
        Lines header;
        for (size_t i = 0; i < Vireo::kHeaderSlotCount; ++i)
            header.push_back(i == 4 ? std::to_string(regions) : Number());
        Lines lines = HeaderLines(header);
        Lines calibration;
        for (size_t i = 0; i < Vireo::kCalibrationSlotCount; ++i) calibration.push_back(Number());
        for (const std::string& line : CalibrationLines(calibration)) {
            lines.push_back(line);
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
                   ? Vireo::kSampleFileKeys[pick].text
                   : Vireo::kChannelKeys[pick - Vireo::kSampleFileKeyCount];
    }

    // One of eleven changes at a random line; only the one picked runs.
    void Mutate(Lines& lines) {
        const size_t at = Below(lines.size());
        const auto where = lines.begin() + static_cast<std::ptrdiff_t>(at);
        std::string& line = lines[at];
        const size_t length = std::max(line.size(), kLengths[Below(5)]);
        const uint64_t kind = Below(11);
        if (kind == 0) lines.erase(where);
        if (kind == 1) lines.insert(where, line);
        if (kind == 2 && at + 1 < lines.size()) std::swap(line, lines[at + 1]);
        if (kind == 3) lines.insert(where, AnyKey());
        if (kind == 4) line = OddNumber();
        if (kind == 5) line.resize(length, OneIn(2) ? ' ' : '0');
        if (kind == 6) line += '\r';
        if (kind == 7) line.insert(Below(line.size() + 1), 1, '\0');
        if (kind == 8) line += " " + Number();
        if (kind == 9) line.insert(0, OneIn(2) ? " \t" : (OneIn(2) ? "-" : "+"));
        if (kind == 10) line.erase(Below(line.size() + 1));  // cut the line short
    }

    std::string Render(const Lines& lines) {
        const bool crlf = OneIn(10);
        std::string text;
        for (const std::string& line : lines) text += line + (crlf ? "\r\n" : "\n");
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

// The file's start with its line ends, carriage returns and NUL bytes shown.
std::string Printable(const std::string& text) {
    std::string out;
    for (char c : text.substr(0, 3000)) {
        out += c == '\n' ? "\\n\n" : c == '\r' ? "\\r" : c == '\0' ? "\\0" : std::string(1, c);
    }
    return out;
}

// Offset of the first 32-bit word where the records differ, or -1.
template <typename Record>
long FirstDifference(const Record* a, const Record* b, size_t count = 1) {
    const std::vector<uint32_t> x = Words(a, count), y = Words(b, count);
    const auto at = std::mismatch(x.begin(), x.end(), y.begin()).first;
    return at == x.end() ? -1 : static_cast<long>(at - x.begin());
}

TEST(ReadersDifferential, FastReadersMatchTextbookReadersByteForByte) {
    // CI runs the fixed seed; VIREO_READERS_SEED and VIREO_READERS_FILES
    // explore further by hand.
    const char* seedText = std::getenv("VIREO_READERS_SEED");
    const char* filesText = std::getenv("VIREO_READERS_FILES");
    Generator generator(seedText ? std::strtoull(seedText, nullptr, 0) : 0x5eed2024);
    const int fileCount = filesText ? std::atoi(filesText) : kFileCount;
    TempDir folder;
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
        std::string path = WriteSample(folder, "sample" + std::to_string(file) + ".txt", content);
        const unsigned char pattern = static_cast<unsigned char>(generator.Below(256));
        SCOPED_TRACE("file " + std::to_string(file) + ":\n" + Printable(content));

        Vireo::ChannelData header[2] = {Filled<Vireo::ChannelData>(pattern), header[0]};
        ASSERT_EQ(Vireo::ParseBGStatsInfo(path.data(), &header[0]),
                  Vireo::Straightforward::ParseBGStatsInfo(path.data(), &header[1]));
        ASSERT_EQ(FirstDifference(&header[0], &header[1]), -1) << "header";

        Vireo::CalibrationData calibration[2] = {Filled<Vireo::CalibrationData>(pattern),
                                                 calibration[0]};
        ASSERT_EQ(Vireo::ParseCalibrationInfo(path.data(), &calibration[0]),
                  Vireo::Straightforward::ParseCalibrationInfo(path.data(), &calibration[1]));
        ASSERT_EQ(FirstDifference(&calibration[0], &calibration[1]), -1) << "calibration";

        const int counts[] = {regions, regions + 1, regions - 1, 0, -1};
        const int count = counts[generator.Below(5)];
        const size_t allocated = static_cast<size_t>(count > 0 ? count : 0) + kGuardRecords;
        std::vector<StatsBayerGridChannelInfoS> fast(allocated,
                                                     Filled<StatsBayerGridChannelInfoS>(pattern));
        std::vector<StatsBayerGridChannelInfoS> textbook = fast;
        ASSERT_EQ(Vireo::ParseBGChannelInfo(path.data(), count, fast.data()),
                  Vireo::Straightforward::ParseBGChannelInfo(path.data(), count, textbook.data()));
        ASSERT_EQ(FirstDifference(fast.data(), textbook.data(), allocated), -1)
            << "channel records, region count " << count;
        std::remove(path.c_str());  // a failure returns early; the folder goes all the same
    }
}

}  // namespace
