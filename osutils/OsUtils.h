// The few platform services the driver needs: library mapping and bounded
// string copy/append.
#ifndef VIREO_OS_UTILS_H
#define VIREO_OS_UTILS_H

#include <cstddef>

namespace Vireo {
namespace OsUtils {

// Maps the shared library at path; an opaque handle, or null (also for an
// empty path).
void* LibMap(const char* path);
// Address of an exported symbol of a mapped library, or null.
void* LibGetAddr(void* handle, const char* symbol);

// Copy into / append to a buffer of `size` bytes in total: at most size - 1
// characters are kept, the result is always terminated (when size > 0), and
// what does not fit is cut. Both return the length they tried to create, as
// the BSD functions do, so a caller can detect the cut.
size_t StrLCpy(char* destination, const char* source, size_t size);
size_t StrLCat(char* destination, const char* source, size_t size);

}  // namespace OsUtils
}  // namespace Vireo

#endif  // VIREO_OS_UTILS_H
