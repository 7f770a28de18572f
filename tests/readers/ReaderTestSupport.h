// Helpers shared by the reader tests: a temporary folder for sample files,
// and the text of sample-file sections built from their keys and values.
#ifndef VIREO_READER_TEST_SUPPORT_H
#define VIREO_READER_TEST_SUPPORT_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace Vireo {
namespace Testing {

// A folder under the system's temporary directory, removed with its files.
class TempFolder {
public:
    TempFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "vireo-readers-XXXXXX");
        if (mkdtemp(pattern.data()) != nullptr) {
            path_ = pattern;
        }
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

// Key lines, each followed by as many value lines as its count says, taken
// from values in order. Missing values are left out.
inline std::string SectionText(const std::vector<const char*>& keys,
                               const std::vector<int>& valuesPerKey,
                               const std::vector<std::string>& values) {
    std::string text;
    size_t next = 0;
    for (size_t k = 0; k < keys.size(); ++k) {
        text += std::string(keys[k]) + "\n";
        for (int i = 0; i < valuesPerKey[k] && next < values.size(); ++i) {
            text += values[next++] + "\n";
        }
    }
    return text;
}

inline const std::vector<int>& HeaderValuesPerKey() {
    static const std::vector<int> counts = {1, 1, 1, 1, 1, 1, 1, 1, 1, 4, 1, 4};
    return counts;
}

inline const std::vector<int>& CalibrationValuesPerKey() {
    static const std::vector<int> counts = {1, 6, 20, 2};
    return counts;
}

}  // namespace Testing
}  // namespace Vireo

#endif  // VIREO_READER_TEST_SUPPORT_H
