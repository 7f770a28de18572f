// Writes the benchmark data set: the eight scene folders, each with the
// given number of sample files for a statistics grid of the given size.
//
//   vireo-bench-datagen <dataDir> <samplesPerScene> <horizontalRegions> <verticalRegions>
#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "SampleText.h"
#include "SampleWalk.h"

namespace {

bool MakeDirectory(const std::string& path) {
    return mkdir(path.c_str(), 0777) == 0 || errno == EEXIST;
}

bool ParsePositive(const char* text, int limit, int* value) {
    char* end = nullptr;
    long parsed = std::strtol(text, &end, 10);
    if (end == text || *end != '\0' || parsed < 1 || parsed > limit) return false;
    *value = static_cast<int>(parsed);
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    int samplesPerScene = 0;
    Vireo::Bench::Grid grid{0, 0};
    if (argc != 5 || !ParsePositive(argv[2], 100000, &samplesPerScene) ||
        !ParsePositive(argv[3], 512, &grid.horizontal) ||
        !ParsePositive(argv[4], 512, &grid.vertical)) {
        std::fprintf(stderr,
                     "usage: %s <dataDir> <samplesPerScene> <horizontalRegions> "
                     "<verticalRegions>\n",
                     argv[0]);
        return 2;
    }
    if (!grid.FitsSensor()) {
        std::fprintf(stderr, "grid %dx%d does not fit a %dx%d sensor\n", grid.horizontal,
                     grid.vertical, Vireo::Bench::kSensorWidth, Vireo::Bench::kSensorHeight);
        return 2;
    }

    const std::string dataDir = argv[1];
    if (!MakeDirectory(dataDir)) {
        std::fprintf(stderr, "cannot create %s: %s\n", dataDir.c_str(), std::strerror(errno));
        return 1;
    }
    uint64_t totalBytes = 0;
    for (int scene = 0; scene < 8; ++scene) {
        const std::string sceneDir = dataDir + "/" + Vireo::SceneList[scene];
        if (!MakeDirectory(sceneDir)) {
            std::fprintf(stderr, "cannot create %s: %s\n", sceneDir.c_str(), std::strerror(errno));
            return 1;
        }
        for (int sample = 0; sample < samplesPerScene; ++sample) {
            char name[32];
            std::snprintf(name, sizeof name, "/bg_stats_%05d.txt", sample);
            const std::string path = sceneDir + name;
            const std::string text = Vireo::Bench::MakeSampleText(scene, sample, grid);
            std::FILE* file = std::fopen(path.c_str(), "wb");
            if (file == nullptr || std::fwrite(text.data(), 1, text.size(), file) != text.size() ||
                std::fclose(file) != 0) {
                std::fprintf(stderr, "cannot write %s\n", path.c_str());
                return 1;
            }
            totalBytes += text.size();
        }
    }
    std::printf("%d samples, %llu bytes\n", 8 * samplesPerScene,
                static_cast<unsigned long long>(totalBytes));
    return 0;
}
