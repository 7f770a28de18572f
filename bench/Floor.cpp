// The floor the driver is measured against: the same walk over the eight
// scene folders, each sample file read once and every number on it
// converted (FloorParse.h). A checksum is printed so that nothing can be
// optimised away.
//
//   vireo-bench-floor <dataDir>
#include <cstdio>
#include <vector>

#include "FloorParse.h"
#include "SampleWalk.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <dataDir>\n", argv[0]);
        return 2;
    }
    std::vector<char> buffer(1 << 20);
    Vireo::Bench::FloorChecksum sum;
    long failures = 0;
    long samples = Vireo::Bench::WalkSamples(argv[1], [&](char* path) {
        size_t size = 0;
        if (!Vireo::Bench::ReadWholeFile(path, buffer, &size)) {
            ++failures;
            return;
        }
        Vireo::Bench::ConvertNumbers(buffer.data(), buffer.data() + size, sum);
    });
    std::printf("samples %ld bytes %llu numbers %llu checksum %llu %.6g\n", samples,
                static_cast<unsigned long long>(sum.bytes),
                static_cast<unsigned long long>(sum.numbers),
                static_cast<unsigned long long>(sum.integers), sum.reals);
    return failures == 0 ? 0 : 1;
}
