// The run's configuration: five paths read by position from a file of
// "key=value" words, or the "-gencfg" request for an empty template.
#ifndef VIREO_CFG_FILE_PARSER_H
#define VIREO_CFG_FILE_PARSER_H

#include <cstdint>
#include <string>

namespace Vireo {

inline constexpr size_t kCfgPathSize = 2048;

// The keys of the five words, in the order the values are taken. The reader
// itself ignores them (values go by position); the template and the tools
// that check a configuration before a run spell them from here.
inline constexpr const char* kCfgKeys[] = {"tuningFile", "awbDLL", "awbSimWrapperDLL", "dataDir",
                                           "outputDir"};
inline constexpr size_t kCfgFieldCount = sizeof kCfgKeys / sizeof kCfgKeys[0];

class CfgFileParser {
public:
    // Reads the configuration file named by `argument`, or writes
    // "settings.cfg" into the current directory when it is "-gencfg".
    // Reports through the two flags; never throws.
    explicit CfgFileParser(std::string argument);

    // Start empty so that every path is a terminated string even when the
    // file cannot be opened.
    char tuningFile[kCfgPathSize] = {};
    char awbDLL[kCfgPathSize] = {};
    char awbSimWrapperDLL[kCfgPathSize] = {};
    char dataDir[kCfgPathSize] = {};
    char outputDir[kCfgPathSize] = {};
    int32_t cfgLoaded = 0;
    int32_t cfgTemplateGenerated = 0;

private:
    void ReadConfigurationFile(const std::string& path);
    void WriteTemplate();
};

}  // namespace Vireo

#endif  // VIREO_CFG_FILE_PARSER_H
