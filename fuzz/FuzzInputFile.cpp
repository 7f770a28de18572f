#include "FuzzInputFile.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace Vireo::Fuzz {
namespace {

int OpenInputFile() {
    const int fd = memfd_create("vireo-fuzz-input", MFD_CLOEXEC);
    if (fd < 0) {
        std::perror("memfd_create");
        std::abort();
    }
    return fd;
}

}  // namespace

char* WriteInputFile(const uint8_t* data, size_t size) {
    static const int fd = OpenInputFile();
    static char path[256];
    if (path[0] == '\0') {
        std::snprintf(path, sizeof path, "/proc/self/fd/%d", fd);
    }
    if (ftruncate(fd, 0) != 0) {
        std::perror("ftruncate");
        std::abort();
    }
    size_t written = 0;
    while (written < size) {
        const ssize_t n = pwrite(fd, data + written, size - written, static_cast<off_t>(written));
        if (n <= 0) {
            std::perror("pwrite");
            std::abort();
        }
        written += static_cast<size_t>(n);
    }
    return path;
}

}  // namespace Vireo::Fuzz
