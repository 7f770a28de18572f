#include "CfgFileParser.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>

#include "OsUtils.h"

namespace Vireo {
namespace {

constexpr char kTemplateRequest[] = "-gencfg";
constexpr char kTemplateFileName[] = "settings.cfg";
// Keys in field order, one word per line: what users fill in.
constexpr char kTemplate[] =
    "tuningFile=\n"
    "awbDLL=\n"
    "awbSimWrapperDLL=\n"
    "dataDir=\n"
    "outputDir=\n";
static_assert(sizeof(kTemplate) - 1 == 58, "the template is 58 bytes");

// The template is the key table, each key followed by "=\n".
constexpr bool TemplateMatchesKeys() {
    const char* t = kTemplate;
    for (const char* key : kCfgKeys) {
        while (*key != '\0') {
            if (*t++ != *key++) return false;
        }
        if (*t++ != '=' || *t++ != '\n') return false;
    }
    return *t == '\0';
}
static_assert(TemplateMatchesKeys(), "the template spells kCfgKeys in order");

}  // namespace

CfgFileParser::CfgFileParser(std::string argument) {
    if (argument == kTemplateRequest) {
        WriteTemplate();
    } else {
        ReadConfigurationFile(argument);
    }
}

void CfgFileParser::ReadConfigurationFile(const std::string& path) {
    std::ifstream file(path);
    if (!file.is_open()) {
        std::puts("Unable to open/read configuration file");
        return;
    }
    // Values are taken by position, whatever their keys say. When the file
    // runs out of words the extraction fails and leaves the previous word in
    // place, so missing fields repeat the last value read.
    char* const fields[] = {tuningFile, awbDLL, awbSimWrapperDLL, dataDir, outputDir};
    static_assert(sizeof fields / sizeof fields[0] == kCfgFieldCount, "one field per key");
    std::string word;
    for (char* field : fields) {
        file >> word;
        // A word without "=" is taken whole as its value: that is what a
        // user who forgot the key most likely meant, and it never fails.
        const size_t equals = word.find('=');
        const char* value = equals == std::string::npos ? word.c_str() : word.c_str() + equals + 1;
        OsUtils::StrLCpy(field, value, kCfgPathSize);
    }
    cfgLoaded = 1;
}

void CfgFileParser::WriteTemplate() {
    char directory[kCfgPathSize] = {};
    if (char* current = getcwd(nullptr, 0)) {
        OsUtils::StrLCat(directory, current, sizeof directory);
        std::free(current);
    } else {
        std::puts("Get current path failed!");
    }
    std::string templatePath = directory;
    templatePath += "/";
    templatePath += kTemplateFileName;

    if (std::FILE* file = std::fopen(templatePath.c_str(), "w")) {
        std::fwrite(kTemplate, 1, sizeof(kTemplate) - 1, file);
        std::fclose(file);
    }
    std::printf("%s\n", templatePath.c_str());
    std::fflush(stdout);
    cfgTemplateGenerated = 1;
}

}  // namespace Vireo
