// The floor's work on one sample file: a single read into a buffer that is
// reused for every file, then std::from_chars on every number. Nothing less
// still takes every value out of the file, so the driver is measured
// against it.
#ifndef VIREO_BENCH_FLOOR_PARSE_H
#define VIREO_BENCH_FLOOR_PARSE_H

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <charconv>
#include <cstdint>
#include <vector>

namespace Vireo::Bench {

// What the floor takes out of the files; printed so that no conversion can
// be optimised away.
struct FloorChecksum {
    uint64_t integers = 0;
    double reals = 0.0;
    uint64_t numbers = 0;
    uint64_t bytes = 0;
};

// Reads the whole file with one read; the buffer grows to the largest file
// seen and is then reused.
inline bool ReadWholeFile(const char* path, std::vector<char>& buffer, size_t* size) {
    int descriptor = open(path, O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) return false;
    struct stat info {};
    bool ok = fstat(descriptor, &info) == 0;
    if (ok && buffer.size() < static_cast<size_t>(info.st_size) + 1) {
        buffer.resize(static_cast<size_t>(info.st_size) + 1);
    }
    ssize_t got = ok ? read(descriptor, buffer.data(), buffer.size() - 1) : -1;
    close(descriptor);
    if (got < 0) return false;
    *size = static_cast<size_t>(got);
    return true;
}

// Every line that begins with a number is a value: integers as 64-bit
// integers, anything with a fraction or an exponent as a double. Key lines
// are skipped.
inline void ConvertNumbers(const char* text, const char* end, FloorChecksum& sum) {
    sum.bytes += static_cast<uint64_t>(end - text);
    while (text < end) {
        const char* lineEnd = text;
        while (lineEnd < end && *lineEnd != '\n') ++lineEnd;
        int64_t integer = 0;
        auto [stop, error] = std::from_chars(text, lineEnd, integer);
        if (error == std::errc()) {
            if (stop < lineEnd && (*stop == '.' || *stop == 'e' || *stop == 'E')) {
                double real = 0.0;
                std::from_chars(text, lineEnd, real);
                sum.reals += real;
            } else {
                sum.integers += static_cast<uint64_t>(integer);
            }
            ++sum.numbers;
        }
        text = lineEnd + 1;
    }
}

}  // namespace Vireo::Bench

#endif  // VIREO_BENCH_FLOOR_PARSE_H
