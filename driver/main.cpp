// vireo-awbsim: replays recorded AWB statistics through a wrapper library.
//   vireo-awbsim <config file>   run the eight scenes
//   vireo-awbsim -gencfg         write an empty "settings.cfg" template
#include <cstdio>
#include <memory>

#include "CfgFileParser.h"
#include "RunDriver.h"

int main(int argc, char** argv) {
    if (argc < 2) {
        std::printf("need argument: path to config file");
        return -1;
    }
    // About 10 KB of paths: keep it off the stack.
    const auto config = std::make_unique<Vireo::CfgFileParser>(argv[1]);
    if (config->cfgTemplateGenerated != 0) {
        // The doubled, misspelt word is part of the fixed output that scripts
        // around the driver match: leave it as it is.
        std::puts("Template Cfg are genrated generated successfully!");
        return 1;
    }
    if (config->cfgLoaded == 0) {
        // The reader already said the file could not be read; running on
        // five empty paths would only produce confusing follow-up errors.
        return -1;
    }
    return Vireo::RunScenes(*config);
}
