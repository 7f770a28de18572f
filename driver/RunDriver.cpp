#include "RunDriver.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "OsUtils.h"
#include "RunContext.h"
#include "SampleProcessing.h"
#include "vireo/IAWBSimulationWrapper.h"

namespace Vireo {
namespace {

constexpr size_t kResultsBufferSize = 1 << 16;

// Truncates (or creates) a file and leaves it empty; a file that cannot be
// opened is passed over.
void TruncateFile(const std::string& path) {
    if (std::FILE* file = std::fopen(path.c_str(), "w")) {
        std::fclose(file);
    }
}

void FailRun(RunContext& context, const char* message) {
    std::puts(message);
    context.runStatus = -1;
    context.stop = true;
}

CreateAWBSimulationWrapperFn FindFactory(void* library) {
    void* address = OsUtils::LibGetAddr(library, kWrapperFactorySymbol);
    // dlsym hands back an object pointer; copying the bits is the portable
    // way to turn it into a function pointer.
    CreateAWBSimulationWrapperFn factory = nullptr;
    static_assert(sizeof factory == sizeof address, "function and data pointers differ in size");
    std::memcpy(&factory, &address, sizeof factory);
    return factory;
}

void WalkSceneDirectory(RunContext& context, IAWBSimulationWrapper* wrapper) {
    DIR* directory = opendir(context.sceneDirectory.c_str());
    if (directory == nullptr) {
        return;  // a missing scene is not an error
    }
    while (const dirent* entry = readdir(directory)) {
        if (ProcessSample(context, wrapper, entry) != 0) {
            context.runStatus = -1;
            break;
        }
    }
    closedir(directory);
}

void RunScene(RunContext& context, const CfgFileParser& config, const char* scene) {
    context.sceneDirectory = context.dataDirectory + context.separator + scene + context.separator;
    TruncateFile(context.summaryPath);
    TruncateFile(context.agwdcnPath);

    // Mapped again for every scene and never unmapped: the loader keeps one
    // copy, and wrappers may rely on their statics living to the end.
    void* library = OsUtils::LibMap(config.awbSimWrapperDLL);
    if (library == nullptr) {
        FailRun(context, "Unable to load AWBSimulationWrapper library");
        return;
    }
    CreateAWBSimulationWrapperFn factory = FindFactory(library);
    if (factory == nullptr) {
        FailRun(context, "Unable to find CreateAWBSimulationWrapper");
        return;
    }
    IAWBSimulationWrapper* wrapper = factory();
    if (wrapper == nullptr) {
        // No object means nothing can be called; end the run like the other
        // set-up failures of a scene.
        FailRun(context, "CreateAWBSimulationWrapper returned no wrapper object");
        return;
    }
    wrapper->LoadAWBAlgorithm(config.awbDLL, config.awbDLL);
    if (wrapper->LoadTuningData(config.tuningFile) != 0) {
        FailRun(context, "Error in reading TintraBinaryParameterSet.bin file");
        return;
    }
    wrapper->InitializeAlgorithm();
    WalkSceneDirectory(context, wrapper);
    wrapper->Destroy();
}

}  // namespace

int32_t RunScenes(const CfgFileParser& config) {
    auto context = std::make_unique<RunContext>();
    context->dataDirectory = config.dataDir;
    context->outputDirectory = config.outputDir;

    // Only the last component is made; the result is not checked because a
    // missing output folder just means the output files fail to open.
    if (access(config.outputDir, F_OK) != 0) {
        mkdir(config.outputDir, 0777);
    }
    const std::string outputPrefix = context->outputDirectory + context->separator;
    context->summaryPath = outputPrefix + "Summary.txt";
    context->agwdcnPath = outputPrefix + "agwdcn.txt";
    context->resultsPath = outputPrefix + "awbSimulationOutput.txt";

    context->results.reset(std::fopen(context->resultsPath.c_str(), "w"));
    if (context->results) {
        // Records are written one after another with no flush in between.
        std::setvbuf(context->results.get(), nullptr, _IOFBF, kResultsBufferSize);
    }

    context->runStatus = 0;
    context->stop = false;
    for (const char* scene : SceneList) {
        RunScene(*context, config, scene);
        if (context->stop) {
            break;
        }
    }
    context->results.reset();  // flush and close before reporting the status
    return context->runStatus;
}

}  // namespace Vireo
