// Maps the built reference wrapper and hands out wrapper objects that are
// destroyed through the interface, as the driver does.
#ifndef VIREO_TESTS_WRAPPER_HARNESS_H
#define VIREO_TESTS_WRAPPER_HARNESS_H

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <memory>

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

}  // namespace Testing
}  // namespace Vireo

#endif  // VIREO_TESTS_WRAPPER_HARNESS_H
