#include "OsUtils.h"

#include <dlfcn.h>

#include <cstring>

namespace Vireo {
namespace OsUtils {

void* LibMap(const char* path) {
    // An empty path names no library, but glibc's dlopen hands back the main
    // program for it, which would turn an unfilled "awbSimWrapperDLL=" into a
    // confusing missing-factory report instead of a failed load.
    if (path == nullptr || path[0] == '\0') {
        return nullptr;
    }
    // RTLD_NOW: a wrapper with unresolved symbols fails here, where the
    // driver reports it, rather than in the middle of a sample.
    return dlopen(path, RTLD_NOW | RTLD_LOCAL);
}

void* LibGetAddr(void* handle, const char* symbol) {
    return handle == nullptr ? nullptr : dlsym(handle, symbol);
}

size_t StrLCpy(char* destination, const char* source, size_t size) {
    const size_t sourceLength = std::strlen(source);
    if (size != 0) {
        const size_t kept = sourceLength < size - 1 ? sourceLength : size - 1;
        std::memcpy(destination, source, kept);
        destination[kept] = '\0';
    }
    return sourceLength;
}

size_t StrLCat(char* destination, const char* source, size_t size) {
    const size_t used = strnlen(destination, size);
    if (used == size) {  // not terminated within size: nothing to append to
        return size + std::strlen(source);
    }
    return used + StrLCpy(destination + used, source, size - used);
}

}  // namespace OsUtils
}  // namespace Vireo
