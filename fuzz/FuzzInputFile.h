// The readers under test take a path, so every fuzz input is first written
// to a file. An anonymous in-memory file (memfd) reached through
// /proc/self/fd keeps the many thousands of runs per second off the disk and
// leaves nothing behind when the process ends.
#ifndef VIREO_FUZZ_INPUT_FILE_H
#define VIREO_FUZZ_INPUT_FILE_H

#include <cstddef>
#include <cstdint>

namespace Vireo::Fuzz {

// Replaces the contents of this process's input file with the given bytes and
// returns its path, a writable terminated string of at most 255 characters
// (the readers take `char*`, as the driver's sample path buffer is). The same
// buffer is returned on every call. Aborts when the file cannot be written,
// since every later run would then test nothing.
char* WriteInputFile(const uint8_t* data, size_t size);

}  // namespace Vireo::Fuzz

#endif  // VIREO_FUZZ_INPUT_FILE_H
