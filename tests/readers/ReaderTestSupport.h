// Helpers shared by the reader tests: a temporary folder for sample files,
// sample-file text built from lines, and byte-exact record comparison.
#ifndef VIREO_READER_TEST_SUPPORT_H
#define VIREO_READER_TEST_SUPPORT_H

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

namespace Vireo {
namespace Testing {

using Lines = std::vector<std::string>;

// Value lines after each header key, then after each calibration key.
inline const std::vector<int> kHeaderValuesPerKey = {1, 1, 1, 1, 1, 1, 1, 1, 1, 4, 1, 4};
inline const std::vector<int> kCalibrationValuesPerKey = {1, 6, 20, 2};

// A folder under the system's temporary directory, removed with its files.
class TempFolder {
public:
    TempFolder() {
        std::string pattern = std::filesystem::temp_directory_path() / "vireo-readers-XXXXXX";
        if (mkdtemp(pattern.data()) != nullptr) path_ = pattern;
    }
    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const std::string& Path() const { return path_; }

    // Writes content byte for byte (NUL bytes included) and returns the path.
    std::string Write(const std::string& name, const std::string& content) const {
        const std::string path = path_ + "/" + name;
        std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
        return path;
    }

private:
    std::string path_;
};

// Each key line followed by as many of values (in order) as its count says.
inline Lines SectionLines(const char* const* keys, const std::vector<int>& valuesPerKey,
                          const Lines& values) {
    Lines lines;
    size_t next = 0;
    for (size_t k = 0; k < valuesPerKey.size(); ++k) {
        lines.push_back(keys[k]);
        for (int i = 0; i < valuesPerKey[k] && next < values.size(); ++i) {
            lines.push_back(values[next++]);
        }
    }
    return lines;
}

inline std::string Join(const Lines& lines, const char* lineEnd = "\n") {
    std::string text;
    for (const std::string& line : lines) text += line + lineEnd;
    return text;
}

// Copies of a list with some elements replaced, one inserted or one removed.
template <typename T>
std::vector<T> Replaced(std::vector<T> list, std::vector<std::pair<size_t, T>> changes) {
    for (auto& change : changes) list.at(change.first) = std::move(change.second);
    return list;
}
inline Lines Inserted(Lines lines, size_t at, std::string line) {
    lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(at), std::move(line));
    return lines;
}
inline Lines Erased(Lines lines, size_t at) {
    lines.erase(lines.begin() + static_cast<std::ptrdiff_t>(at));
    return lines;
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

// parse(path, records) reads content into expected.size() records filled
// with pattern: the result must be 0 and the records must equal expected
// byte for byte. Empty content is also read from a directory, which opens
// but must read like an empty file.
template <typename Record, typename Parse>
void ExpectRead(Parse parse, const std::string& content, const std::vector<Record>& expected,
                unsigned char pattern) {
    TempFolder folder;
    std::vector<std::string> paths = {folder.Write("sample.txt", content)};
    if (content.empty()) paths.push_back(folder.Path());
    for (std::string& path : paths) {
        std::vector<Record> records(expected.size(), Filled<Record>(pattern));
        ASSERT_EQ(parse(path.data(), records.data()), 0) << path;
        EXPECT_EQ(Words(records.data(), records.size()), Words(expected.data(), expected.size()))
            << path;
    }
}

// parse(path, records) on a path that names no file must print exactly the
// open failure, return -1 and leave the records alone.
template <typename Record, typename Parse>
void ExpectMissingFileReported(Parse parse, size_t count, unsigned char pattern) {
    TempFolder folder;
    std::string path = folder.Path() + "/absent.txt";
    const std::vector<Record> before(count, Filled<Record>(pattern));
    std::vector<Record> records = before;
    testing::internal::CaptureStdout();
    EXPECT_EQ(parse(path.data(), records.data()), -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Unable to open file:" + path + "\n");
    EXPECT_EQ(Words(records.data(), count), Words(before.data(), count));
}

// Key lines with a value on the key's own line, where it is lost.
inline Lines ValuesOnKeyLines(const char* const* keys, size_t count, const Lines& values) {
    Lines lines;
    for (size_t k = 0; k < count; ++k) lines.push_back(keys[k] + (" " + values[k]));
    return lines;
}

}  // namespace Testing
}  // namespace Vireo

#endif  // VIREO_READER_TEST_SUPPORT_H
