// The run's configuration: five paths read by position from a file of
// "key=value" words, or the "-gencfg" request for an empty template.
#ifndef VIREO_CFG_FILE_PARSER_H
#define VIREO_CFG_FILE_PARSER_H

#include <cstdint>
#include <string>

namespace Vireo {

inline constexpr size_t kCfgPathSize = 2048;

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
