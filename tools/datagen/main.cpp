// vireo-datagen: writes a synthetic data set of the eight scenes, with its
// ground truth, from a physical model of lights, surfaces and a camera.
#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "AtomicFile.h"
#include "CameraProfile.h"
#include "DataSetId.h"
#include "GroundTruth.h"
#include "RunDriver.h"
#include "SampleFile.h"
#include "Scenes.h"
#include "Sensor.h"
#include "vireo/Version.h"

namespace {

using namespace Vireo::Datagen;

constexpr const char* kUsage =
    "usage: vireo-datagen --out DIR [options]\n"
    "  --out DIR          data folder to write (scene folders, ground_truth.csv);\n"
    "                     one that holds a data set already is refused\n"
    "  --samples K        samples per scene (default 16)\n"
    "  --seed N           seed; the same seed gives the same files (default 1)\n"
    "  --camera NAME      camera profile: a built-in name, a name from\n"
    "                     /usr/share/rawtherapee/dcpprofiles, or a .dcp path\n"
    "                     (default \"samsung SM-G930V\")\n"
    "  --grid CxR         statistics grid (default 64x48)\n"
    "  --scenes A,B,...   only these scenes (default all eight)\n"
    "  --modules N        camera modules the samples are spread over (default 4)\n"
    "  --no-noise         no shot or read noise\n"
    "  --no-shading       no residual lens shading\n"
    "  --quiet            no progress lines\n"
    "  --list-cameras     print every camera name --camera takes (built-in, then\n"
    "                     the profiles that load from the folder above) and stop\n"
    "  --help             this text\n"
    "  --version          the version\n";

struct Options {
    std::string out;
    int samples = 16;
    uint64_t seed = 1;
    std::string camera = "samsung SM-G930V";
    int columns = 64, rows = 48;
    std::vector<std::string> scenes{std::begin(Vireo::SceneList), std::end(Vireo::SceneList)};
    int modules = 4;
    bool noise = true, shading = true, quiet = false;
};

// Every name --camera takes: the built-in profiles, then each profile of the
// profile folder that loads, one per line.
void ListCameras() {
    for (const auto& c : BuiltInCameras()) std::printf("%s\n", c.name.c_str());
    std::vector<std::string> names;
    if (DIR* folder = opendir(kRawTherapeeProfileDir)) {
        while (const dirent* entry = readdir(folder)) {
            const std::string file = entry->d_name;
            constexpr std::size_t kSuffix = 4;  // ".dcp"
            if (file.size() > kSuffix && file.compare(file.size() - kSuffix, kSuffix, ".dcp") == 0)
                names.push_back(file.substr(0, file.size() - kSuffix));
        }
        closedir(folder);
    } else {
        std::fprintf(stderr,
                     "vireo-datagen: no profiles in %s (Debian: rawtherapee-data has about 140)\n",
                     kRawTherapeeProfileDir);
    }
    std::sort(names.begin(), names.end());
    for (const std::string& name : names) {
        bool builtIn = false;
        for (const auto& c : BuiltInCameras()) builtIn = builtIn || c.name == name;
        CameraProfile profile;
        std::string error;
        if (!builtIn && FindCamera(name, kRawTherapeeProfileDir, profile, error))
            std::printf("%s\n", name.c_str());
    }
}

bool ParseInt(const char* text, long lo, long hi, long& value) {
    char* end = nullptr;
    errno = 0;
    value = std::strtol(text, &end, 10);
    return errno == 0 && end != text && *end == '\0' && value >= lo && value <= hi;
}

// A whole number option; a bad one is reported with its allowed range.
bool ParseIntOption(const char* option, const char* text, long lo, long hi, long& value) {
    if (ParseInt(text, lo, hi, value)) return true;
    std::fprintf(stderr, "vireo-datagen: %s takes a whole number from %ld to %ld, not \"%s\"\n",
                 option, lo, hi, text);
    return false;
}

// Returns 0 to go on, 1 for a usage error, 2 after --help or --list-cameras.
int ParseArgs(int argc, char** argv, Options& o) {
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        const bool hasValue = i + 1 < argc;
        long v = 0;
        if (a == "--help" || a == "-h") {
            std::fputs(kUsage, stdout);
            return 2;
        } else if (a == "--list-cameras") {
            ListCameras();
            return 2;
        } else if (a == "--out" && hasValue) {
            o.out = argv[++i];
        } else if (a == "--samples" && hasValue) {
            if (!ParseIntOption("--samples", argv[++i], 1, 9999, v)) return 1;
            o.samples = static_cast<int>(v);
        } else if (a == "--seed" && hasValue) {
            if (!ParseIntOption("--seed", argv[++i], 0, 0x7fffffffL, v)) return 1;
            o.seed = static_cast<uint64_t>(v);
        } else if (a == "--modules" && hasValue) {
            if (!ParseIntOption("--modules", argv[++i], 1, 1000, v)) return 1;
            o.modules = static_cast<int>(v);
        } else if (a == "--camera" && hasValue) {
            o.camera = argv[++i];
        } else if (a == "--grid" && hasValue) {
            const std::string g = argv[++i];
            const auto x = g.find('x');
            long c = 0, r = 0;
            if (x == std::string::npos || !ParseInt(g.substr(0, x).c_str(), 1, 256, c) ||
                !ParseInt(g.substr(x + 1).c_str(), 1, 256, r)) {
                std::fprintf(stderr,
                             "vireo-datagen: bad --grid %s (want CxR, each 1 to 256, e.g. 64x48)\n",
                             g.c_str());
                return 1;
            }
            o.columns = static_cast<int>(c), o.rows = static_cast<int>(r);
        } else if (a == "--scenes" && hasValue) {
            o.scenes.clear();
            std::string list = argv[++i];
            for (std::size_t start = 0; start <= list.size();) {
                const auto comma = std::min(list.find(',', start), list.size());
                const std::string name = list.substr(start, comma - start);
                bool known = false;
                for (const char* s : Vireo::SceneList) known = known || name == s;
                if (!known) {
                    std::fprintf(stderr, "vireo-datagen: unknown scene \"%s\"\n", name.c_str());
                    return 1;
                }
                // Twice the same scene would write each of its samples twice
                // into the ground truth.
                if (std::find(o.scenes.begin(), o.scenes.end(), name) != o.scenes.end()) {
                    std::fprintf(stderr, "vireo-datagen: --scenes names \"%s\" twice\n",
                                 name.c_str());
                    return 1;
                }
                o.scenes.push_back(name);
                start = comma + 1;
            }
        } else if (a == "--no-noise") {
            o.noise = false;
        } else if (a == "--no-shading") {
            o.shading = false;
        } else if (a == "--quiet") {
            o.quiet = true;
        } else {
            std::fprintf(stderr, "vireo-datagen: bad argument %s\n%s", a.c_str(), kUsage);
            return 1;
        }
    }
    if (o.out.empty()) {
        std::fprintf(stderr, "vireo-datagen: --out is required\n%s", kUsage);
        return 1;
    }
    return 0;
}

// What this run has made, so that a failed run takes it away again: a
// data set is written whole or not at all, and nothing else is touched.
struct Made {
    std::vector<std::string> paths;  // files and folders, in the order made

    // Like mkdir -p, remembering each folder it creates.
    bool Dir(const std::string& path) {
        for (std::size_t end = path.find('/', 1);; end = path.find('/', end + 1)) {
            const std::string prefix = path.substr(0, end);  // all of it when end is npos
            if (::mkdir(prefix.c_str(), 0755) == 0) {
                paths.push_back(prefix);
            } else if (errno != EEXIST) {
                return false;
            }
            if (end == std::string::npos) return true;
        }
    }
    void Undo() const {
        for (auto it = paths.rbegin(); it != paths.rend(); ++it) std::remove(it->c_str());
    }
};

// The first file of an earlier data set in `out` (its ground truth or any
// entry of a scene folder), or "" when there is none. vireo-datagen
// neither mixes a new data set with an old one nor deletes one.
std::string EarlierDataSet(const std::string& out) {
    struct stat st {};
    if (::stat((out + "/" + kGroundTruthFile).c_str(), &st) == 0) return kGroundTruthFile;
    for (const char* scene : Vireo::SceneList) {
        DIR* dir = ::opendir((out + "/" + scene).c_str());
        if (dir == nullptr) continue;
        std::string found;
        while (const dirent* entry = ::readdir(dir)) {
            if (entry->d_name[0] != '.') {
                found = std::string(scene) + "/" + entry->d_name;
                break;
            }
        }
        ::closedir(dir);
        if (!found.empty()) return found;
    }
    return "";
}

}  // namespace

int main(int argc, char** argv) {
    if (Vireo::AnswerVersion(argc, argv, "vireo-datagen")) return 0;
    Options o;
    if (const int rc = ParseArgs(argc, argv, o); rc != 0) return rc == 2 ? 0 : 1;

    CameraProfile camera;
    std::string error;
    if (!FindCamera(o.camera, kRawTherapeeProfileDir, camera, error)) {
        std::fprintf(stderr, "vireo-datagen: camera \"%s\": %s\n", o.camera.c_str(), error.c_str());
        return 1;
    }
    if (const std::string earlier = EarlierDataSet(o.out); !earlier.empty()) {
        std::fprintf(stderr,
                     "vireo-datagen: %s already holds a data set (%s); write to a new or empty "
                     "folder, or remove that one first\n",
                     o.out.c_str(), earlier.c_str());
        return 1;
    }
    Made made;
    auto fail = [&made](const std::string& what) {
        std::fprintf(stderr, "vireo-datagen: %s\n", what.c_str());
        made.Undo();
        return 1;
    };
    if (!made.Dir(o.out)) return fail("cannot create " + o.out + ": " + std::strerror(errno));

    SensorConfig sensor;
    sensor.columns = o.columns;
    sensor.rows = o.rows;
    sensor.noise = o.noise;
    sensor.shading = o.shading;
    std::vector<Module> modules;
    for (int m = 0; m < o.modules; ++m) modules.push_back(MakeModule(o.seed, m, camera));

    std::string truth = GroundTruthHeader();
    for (const std::string& scene : o.scenes) {
        const std::string dir = o.out + "/" + scene;
        uint64_t sceneIndex = 0;
        while (scene != Vireo::SceneList[sceneIndex]) ++sceneIndex;
        if (!made.Dir(dir)) return fail("cannot create " + dir + ": " + std::strerror(errno));
        for (int k = 0; k < o.samples; ++k) {
            const SceneInstance instance = MakeScene(scene, k, o.seed);
            Random pick(o.seed, {0x756e6974ull, sceneIndex, static_cast<uint64_t>(k)});
            const Module& module = modules[static_cast<std::size_t>(pick.Index(o.modules))];
            Random noise(o.seed, {0x6e6f697365ull, sceneIndex, static_cast<uint64_t>(k)});
            const Capture cap = Simulate(instance, camera, module, sensor, noise);

            char file[32];
            std::snprintf(file, sizeof file, "sample_%04d.txt", k + 1);
            if (!WriteSampleFile(dir + "/" + file, cap, sensor, module, error)) return fail(error);
            made.paths.push_back(dir + "/" + file);
            TruthRow row;
            row.path = scene + "/" + file;
            row.scene = scene;
            row.illuminant = instance.truth.name;
            row.kind = LightKindName(instance.truth.kind);
            row.cct = instance.truth.cct;
            row.duv = instance.truth.duv;
            row.whiteRG = cap.whiteRG;
            row.whiteBG = cap.whiteBG;
            row.gainR = 1.0 / cap.whiteRG;
            row.gainG = 1.0;
            row.gainB = 1.0 / cap.whiteBG;
            row.lux = instance.lux;
            row.luxIndex = std::round(LuxIndexOf(instance.lux) * 10.0) / 10.0;
            row.module = module.id;
            truth += FormatTruthRow(row);
        }
        if (!o.quiet) std::printf("%-10s %d samples\n", scene.c_str(), o.samples);
        std::fflush(stdout);
    }

    const std::string truthPath = o.out + "/" + kGroundTruthFile;
    if (!Vireo::WriteFileAtomically(truthPath, truth, error)) return fail(error);
    made.paths.push_back(truthPath);
    if (!WriteDataSetId(o.out, truth, error)) return fail(error);
    if (!o.quiet)
        std::printf("wrote %zu samples of camera \"%s\" to %s\n", o.scenes.size() * o.samples,
                    camera.name.c_str(), o.out.c_str());
    return 0;
}
