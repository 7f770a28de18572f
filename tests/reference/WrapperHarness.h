// Maps the built reference wrapper and hands out wrapper objects that are
// destroyed through the interface, as the driver does; writes the tuning
// files they load.
#ifndef VIREO_TESTS_WRAPPER_HARNESS_H
#define VIREO_TESTS_WRAPPER_HARNESS_H

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "TuningCodec.h"
#include "vireo/IAWBSimulationWrapper.h"

namespace Vireo {
namespace Testing {

struct WrapperDeleter {
    void operator()(IAWBSimulationWrapper* wrapper) const { wrapper->Destroy(); }
};
using WrapperPtr = std::unique_ptr<IAWBSimulationWrapper, WrapperDeleter>;

inline WrapperPtr MakeWrapper() {
    // Mapped once and kept, like the driver never unmaps it.
    static void* library = dlopen(VIREO_TEST_WRAPPER_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        ADD_FAILURE() << dlerror();
        return nullptr;
    }
    auto factory =
        reinterpret_cast<CreateAWBSimulationWrapperFn>(dlsym(library, kWrapperFactorySymbol));
    if (factory == nullptr) {
        ADD_FAILURE() << "no " << kWrapperFactorySymbol;
        return nullptr;
    }
    return WrapperPtr(factory());
}

inline Tuning::TuningParams ThreePointTuning() {
    Tuning::TuningParams p;
    p.ctCurve = {{2850, 0.85f, 0.36f}, {5000, 0.58f, 0.56f}, {6500, 0.50f, 0.64f}};
    return p;
}

// A file named after the process too: ctest runs the cases side by side.
inline std::string WriteTemporary(const std::string& name, const std::vector<uint8_t>& bytes) {
    const auto path = std::filesystem::temp_directory_path() /
                      ("vireo_tuning_" + std::to_string(getpid()) + "_" + name + ".bin");
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    return path.string();
}

}  // namespace Testing
}  // namespace Vireo

#endif  // VIREO_TESTS_WRAPPER_HARNESS_H
