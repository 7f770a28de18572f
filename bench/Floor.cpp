// The floor the driver is measured against: the least work that still
// takes every number out of every sample file. Each file is read once, with
// one read into a buffer reused for all files, and every number on it is
// converted with std::from_chars. A checksum is printed so that nothing can
// be optimised away.
//
//   vireo-bench-floor <dataDir>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <charconv>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "SampleWalk.h"

namespace {

struct Checksum {
    uint64_t integers = 0;
    double reals = 0.0;
    uint64_t numbers = 0;
    uint64_t bytes = 0;
};

bool ReadWhole(const char* path, std::vector<char>& buffer, size_t* size) {
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
void ConvertNumbers(const char* text, const char* end, Checksum& sum) {
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

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <dataDir>\n", argv[0]);
        return 2;
    }
    std::vector<char> buffer(1 << 20);
    Checksum sum;
    long failures = 0;
    long samples = VireoBench::WalkSamples(argv[1], [&](char* path) {
        size_t size = 0;
        if (!ReadWhole(path, buffer, &size)) {
            ++failures;
            return;
        }
        sum.bytes += size;
        ConvertNumbers(buffer.data(), buffer.data() + size, sum);
    });
    std::printf("samples %ld bytes %llu numbers %llu checksum %llu %.6g\n", samples,
                static_cast<unsigned long long>(sum.bytes),
                static_cast<unsigned long long>(sum.numbers),
                static_cast<unsigned long long>(sum.integers), sum.reals);
    return failures == 0 ? 0 : 1;
}
