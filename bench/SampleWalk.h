// The walk the driver makes over a data directory, shared by the benchmark
// programs that stand in for it: the eight scene folders in the driver's
// order, every entry whose name does not begin with ".", in listing order.
#ifndef VIREO_BENCH_SAMPLE_WALK_H
#define VIREO_BENCH_SAMPLE_WALK_H

#include <dirent.h>

#include <cstdio>

#include "RunDriver.h"

namespace Vireo::Bench {

// Calls visit(char* path) for every sample file; the path lives in a buffer that
// the next call overwrites. Returns the number of samples visited.
template <typename Visit>
long WalkSamples(const char* dataDir, Visit&& visit) {
    char path[4096];
    long samples = 0;
    for (const char* scene : SceneList) {
        int prefix = std::snprintf(path, sizeof path, "%s/%s/", dataDir, scene);
        if (prefix < 0 || prefix >= static_cast<int>(sizeof path)) continue;
        DIR* directory = opendir(path);
        if (directory == nullptr) continue;
        while (const dirent* entry = readdir(directory)) {
            if (entry->d_name[0] == '.') continue;
            std::snprintf(path + prefix, sizeof path - static_cast<size_t>(prefix), "%s",
                          entry->d_name);
            visit(path);
            ++samples;
        }
        closedir(directory);
    }
    return samples;
}

}  // namespace Vireo::Bench

#endif  // VIREO_BENCH_SAMPLE_WALK_H
