#include "AtomicFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

namespace Vireo {
namespace {

bool Fail(const std::string& path, const char* reason, std::string& error) {
    error = "cannot write " + path + ": " + reason;
    return false;
}

}  // namespace

bool WriteFileAtomically(const std::string& path, std::string_view bytes, std::string& error) {
    // Past a file-size limit (ulimit -f) the default is to kill the process
    // mid-write; a failed write with EFBIG lets the temporary file go too.
    std::signal(SIGXFSZ, SIG_IGN);

    // Follow links to the file they name, which need not exist yet.
    std::string target = path;
    struct stat link {};
    for (int hops = 0; ::lstat(target.c_str(), &link) == 0 && S_ISLNK(link.st_mode); ++hops) {
        char named[4096];
        const ssize_t n = ::readlink(target.c_str(), named, sizeof named - 1);
        if (n <= 0 || hops == 40)
            return Fail(path, "a symbolic link that cannot be followed", error);
        const std::string to(named, static_cast<size_t>(n));
        const auto slash = target.rfind('/');
        target = to[0] == '/' || slash == std::string::npos ? to : target.substr(0, slash + 1) + to;
    }
    struct stat existing {};
    const bool exists = ::stat(target.c_str(), &existing) == 0;
    if (exists && !S_ISREG(existing.st_mode)) {
        return Fail(path, "not a regular file (a device, folder or pipe); refusing to replace it",
                    error);
    }

    const auto slash = target.rfind('/');
    const std::string folder = slash == std::string::npos ? "" : target.substr(0, slash + 1);
    const std::string base = slash == std::string::npos ? target : target.substr(slash + 1);
    std::string temporary = folder + "." + base + ".XXXXXX";
    const int fd = ::mkstemp(temporary.data());
    if (fd < 0) return Fail(path, std::strerror(errno), error);

    // mkstemp makes the file private; give it the mode the old file had,
    // or what a new file gets under the current umask.
    mode_t mode = existing.st_mode & 07777;
    if (!exists) {
        const mode_t mask = ::umask(0);
        ::umask(mask);
        mode = 0666 & ~mask;
    }
    int failure = ::fchmod(fd, mode) == 0 ? 0 : errno;
    for (size_t done = 0; failure == 0 && done < bytes.size();) {
        const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            failure = n < 0 ? errno : EIO;
        } else {
            done += static_cast<size_t>(n);
        }
    }
    if (::close(fd) != 0 && failure == 0) failure = errno;
    if (failure == 0 && ::rename(temporary.c_str(), target.c_str()) != 0) failure = errno;
    if (failure != 0) {
        ::unlink(temporary.c_str());
        return Fail(path, std::strerror(failure), error);
    }
    return true;
}

}  // namespace Vireo
