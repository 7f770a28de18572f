// Writes a whole file or nothing: the bytes go to a temporary file in the
// target's own folder, which is renamed over the target only when every
// byte is down. A full disk, a file-size limit or a crash leaves the old
// file (or none) in place, never a truncated one. Every tool that writes
// files writes them through here.
#ifndef VIREO_ATOMIC_FILE_H
#define VIREO_ATOMIC_FILE_H

#include <string>
#include <string_view>

namespace Vireo {

// A symbolic link is written through (its target is replaced, the link
// stays); anything else that is not a regular file (a device such as
// /dev/null, a folder, a pipe) is refused rather than replaced. On failure
// returns false with "cannot write PATH: <the system's reason>" in `error`
// and leaves no temporary file behind.
bool WriteFileAtomically(const std::string& path, std::string_view bytes, std::string& error);

}  // namespace Vireo

#endif  // VIREO_ATOMIC_FILE_H
