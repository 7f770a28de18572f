#include "DataSetId.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>

#include "AtomicFile.h"

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
    return WriteFileAtomically(folder + "/" + kDataSetIdFile, DataSetIdOf(truthText) + "\n", error);
}

std::string ReadDataSetId(const std::string& folder) {
    std::ifstream in(folder + "/" + kDataSetIdFile);
    std::string id;
    in >> id;
    return id;
}

}  // namespace Vireo::Datagen
