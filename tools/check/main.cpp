// vireo-check: finds, before a run, everything in a configuration or a data
// folder that the driver would pass over in silence or take wrongly.
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <string>

#include "CheckFolders.h"
#include "Report.h"
#include "RunDriver.h"
#include "vireo/Version.h"

namespace {

constexpr const char* kUsage =
    "Usage: vireo-check CONFIG\n"
    "  or:  vireo-check --data DIR\n"
    "Checks, before a run of vireo-awbsim, what the driver would pass over in silence\n"
    "or take wrongly.\n"
    "\n"
    "  CONFIG        the driver's configuration: its five key=value words in order,\n"
    "                each path (the wrapper and algorithm libraries load, the tuning\n"
    "                file decodes, the output folder can be made), then the data folder\n"
    "  --data DIR    only the data folder: the eight scene folders, the entries the\n"
    "                driver would read as samples, and every sample file (keys in order\n"
    "                with their number of values, numbers, counts that disagree)\n"
    "  --quiet       no summary line\n"
    "  --help        this text\n"
    "  --version     the version\n"
    "\n"
    "Each problem is one line on standard output:\n"
    "  FILE:LINE: what is wrong; what the driver would do\n"
    "then a summary. Relative paths are taken from the current folder, as the driver\n"
    "takes them, so run the check where the driver will run.\n"
    "\n"
    "Exit status: 0 no problem, 1 problems found, 2 unusable input (a configuration\n"
    "or data folder that cannot be read, bad usage).\n";

}  // namespace

int main(int argc, char** argv) {
    if (Vireo::AnswerVersion(argc, argv, "vireo-check")) return 0;
    std::string config, data;
    bool quiet = false;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (argument == "--help" || argument == "-h") {
            std::fputs(kUsage, stdout);
            return 0;
        } else if (argument == "--data" && i + 1 < argc && data.empty()) {
            data = argv[++i];
        } else if (argument == "--quiet") {
            quiet = true;
        } else if (argument[0] != '-' && config.empty()) {
            config = argument;
        } else {
            std::fprintf(stderr, "vireo-check: bad argument %s\n%s", argument.c_str(), kUsage);
            return 2;
        }
    }
    if (config.empty() == data.empty()) {
        std::fprintf(stderr, "vireo-check: give a configuration file or --data DIR\n%s", kUsage);
        return 2;
    }

    using namespace Vireo::Check;
    Report report;
    Verdict verdict;
    if (!data.empty()) {
        struct stat st {};
        if (stat(data.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
            const bool exists = errno != ENOENT && stat(data.c_str(), &st) == 0;
            std::fprintf(stderr, "vireo-check: %s: %s\n", data.c_str(),
                         exists ? "not a folder" : std::strerror(errno));
            return 2;
        }
        verdict = CheckDataFolder(data, "", report);
    } else {
        std::string error;
        verdict = CheckConfiguration(config, report, error);
        if (verdict == Verdict::Unusable) {
            std::fprintf(stderr, "vireo-check: %s\n", error.c_str());
            return 2;
        }
    }
    if (!quiet) {
        std::printf(
            "vireo-check: %zu problem%s; %zu sample file%s in %zu of %zu scene folders, "
            "%zu with problems\n",
            report.problems, report.problems == 1 ? "" : "s", report.samplesChecked,
            report.samplesChecked == 1 ? "" : "s", report.scenesFound, std::size(Vireo::SceneList),
            report.filesWithProblems);
    }
    return static_cast<int>(verdict);
}
