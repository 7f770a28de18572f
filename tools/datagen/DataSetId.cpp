#include "DataSetId.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>

namespace Vireo::Datagen {

std::string DataSetIdOf(const std::string& truthText) {
    uint64_t hash = 0xcbf29ce484222325ull;
    for (const char c : truthText) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3ull;
    }
    char digits[17];
    std::snprintf(digits, sizeof digits, "%016llx", static_cast<unsigned long long>(hash));
    return digits;
}

bool WriteDataSetId(const std::string& folder, const std::string& truthText, std::string& error) {
    const std::string path = folder + "/" + kDataSetIdFile;
    const std::string temporary = path + ".partial";
    const std::string text = DataSetIdOf(truthText) + "\n";
    std::FILE* file = std::fopen(temporary.c_str(), "w");
    const bool written =
        file != nullptr && std::fwrite(text.data(), 1, text.size(), file) == text.size();
    if (file == nullptr || std::fclose(file) != 0 || !written ||
        std::rename(temporary.c_str(), path.c_str()) != 0) {
        error = "cannot write " + path + ": " + std::strerror(errno);
        std::remove(temporary.c_str());
        return false;
    }
    return true;
}

std::string ReadDataSetId(const std::string& folder) {
    std::ifstream in(folder + "/" + kDataSetIdFile);
    std::string id;
    in >> id;
    return id;
}

}  // namespace Vireo::Datagen
