// Checks of the configuration file and of the data folder, before a run.
#ifndef VIREO_CHECK_FOLDERS_H
#define VIREO_CHECK_FOLDERS_H

#include <string>

#include "Report.h"

namespace Vireo::Check {

// Outcome of a check, as the exit status says it.
enum class Verdict { Clean = 0, Problems = 1, Unusable = 2 };

// The data folder: the eight scene folders, what the driver would read or
// pass over in each, and every sample file. `where` names the place that
// gave the folder ("settings.cfg:4") for the problems of the folder itself.
Verdict CheckDataFolder(const std::string& dataDir, const std::string& where, Report& report);

// The configuration: its five words, each path, and then the data folder.
// Unusable when the file cannot be read as a configuration at all.
Verdict CheckConfiguration(const std::string& path, Report& report, std::string& error);

}  // namespace Vireo::Check

#endif  // VIREO_CHECK_FOLDERS_H
