// vireo-import: turns linear RGB images with a ground-truth table, or camera
// raw files, into a data folder the driver runs on: the eight scene folders
// with one sample file per picture, and the ground_truth.csv vireo-score
// reads.
#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "AtomicFile.h"
#include "DataSetId.h"
#include "GridStats.h"
#include "GroundTruth.h"
#include "ImageFiles.h"
#include "ImportData.h"
#include "Metrics.h"
#include "RunDriver.h"
#include "SampleStats.h"
#include "Sensor.h"
#include "vireo/Version.h"

namespace {

using namespace Vireo::Import;

constexpr const char* kUsage =
    "usage: vireo-import images --images DIR --truth CSV --out DATA_DIR [options]\n"
    "       vireo-import raw FILE... --out DATA_DIR (--truth CSV | --truth-roi X,Y,W,H) "
    "[options]\n"
    "       vireo-import verify --images DIR --data DATA_DIR [--white N] [--clip-fraction F]\n"
    "                           [--black N] [--per-image]\n"
    "images: every .png in DIR (8 or 16 bits, linear RGB), with its row of CSV\n"
    "  (columns file,r,g,b, optional scene, lux, cct; r,g,b the illuminant in camera RGB)\n"
    "raw: camera raw files read through LibRaw, statistics from the CFA mosaic\n"
    "verify: grey world on DIR's pixels against grey world on the imported regions\n"
    "options:\n"
    "  --out DATA_DIR        data folder to write (scene folders, ground_truth.csv)\n"
    "  --grid CxR            statistics grid (default 64x48)\n"
    "  --scene NAME          scene folder for rows without a scene (default ball)\n"
    "  --white N             full-scale value (images; default the format maximum)\n"
    "  --clip-fraction F     values >= white * F are clipped (default 0.98 images, 1 raw)\n"
    "  --black N             subtracted from every value (images; default 0)\n"
    "  --lux-index X         lux index when neither the CSV nor the file gives the lux\n"
    "                        (default 260)\n"
    "  --truth-roi X,Y,W,H   raw: the white is the mean of this rectangle (a grey card),\n"
    "                        which is then left out of the statistics\n"
    "  --per-image           verify: one line per image\n"
    "  --help, --version     this text, the version\n";

constexpr double kDefaultLuxIndex = 260.0;

struct Options {
    std::string command, images, truth, out, data, scene = Vireo::SceneList[0];
    std::vector<std::string> files;
    GridSize grid;
    double white = -1.0, clipFraction = -1.0, luxIndex = kDefaultLuxIndex;
    int black = 0;
    bool hasRoi = false, perImage = false;
    std::array<int, 4> roi{};
};

bool ParseDouble(const char* text, double& value) {
    char* end = nullptr;
    value = std::strtod(text, &end);
    return end != text && *end == '\0' && std::isfinite(value);
}

bool ParseInts(const std::string& text, char separator, std::vector<long>& values) {
    values.clear();
    const char* p = text.c_str();
    for (;;) {
        char* end = nullptr;
        errno = 0;
        const long v = std::strtol(p, &end, 10);
        if (end == p || errno != 0 || v < 0 || v > 1 << 30) return false;
        values.push_back(v);
        if (*end == '\0') return true;
        if (*end != separator) return false;
        p = end + 1;
    }
}

bool Fail(const std::string& message) {
    std::fprintf(stderr, "vireo-import: %s\n", message.c_str());
    return false;
}

// Bad usage: the reason and the usage text, status 1 for ParseArgs.
int UsageError(const std::string& message) {
    Fail(message + "\n" + kUsage);
    return 1;
}

// 0 to go on, 1 for bad usage, 2 after --help.
int ParseArgs(int argc, char** argv, Options& o) {
    if (argc < 2) return UsageError("no command");
    o.command = argv[1];
    if (o.command == "--help" || o.command == "-h") {
        std::fputs(kUsage, stdout);
        return 2;
    }
    if (o.command != "images" && o.command != "raw" && o.command != "verify") {
        return UsageError("unknown command " + o.command);
    }
    for (int i = 2; i < argc; ++i) {
        const std::string a = argv[i];
        const char* value = i + 1 < argc ? argv[i + 1] : nullptr;
        std::vector<long> numbers;
        bool ok = value != nullptr;
        if (a == "--help" || a == "-h") {
            std::fputs(kUsage, stdout);
            return 2;
        } else if (a == "--per-image") {
            o.perImage = true;
            continue;
        } else if (a.rfind("--", 0) != 0) {
            o.files.push_back(a);
            continue;
        } else if (!ok) {
        } else if (a == "--images") {
            o.images = value;
        } else if (a == "--truth") {
            o.truth = value;
        } else if (a == "--out") {
            o.out = value;
        } else if (a == "--data") {
            o.data = value;
        } else if (a == "--scene") {
            o.scene = value;
            ok = false;
            for (const char* s : Vireo::SceneList) ok = ok || o.scene == s;
        } else if (a == "--grid") {
            ok = ParseInts(value, 'x', numbers) && numbers.size() == 2 && numbers[0] >= 1 &&
                 numbers[0] <= 1024 && numbers[1] >= 1 && numbers[1] <= 1024;
            if (ok) o.grid = {static_cast<int>(numbers[0]), static_cast<int>(numbers[1])};
        } else if (a == "--white") {
            ok = ParseDouble(value, o.white) && o.white > 0;
        } else if (a == "--clip-fraction") {
            ok = ParseDouble(value, o.clipFraction) && o.clipFraction > 0 && o.clipFraction <= 1;
        } else if (a == "--black") {
            ok = ParseInts(value, ',', numbers) && numbers.size() == 1 && numbers[0] < 65535;
            if (ok) o.black = static_cast<int>(numbers[0]);
        } else if (a == "--lux-index") {
            ok = ParseDouble(value, o.luxIndex);
        } else if (a == "--truth-roi") {
            ok = ParseInts(value, ',', numbers) && numbers.size() == 4 && numbers[2] > 0 &&
                 numbers[3] > 0;
            for (size_t k = 0; ok && k < 4; ++k) o.roi[k] = static_cast<int>(numbers[k]);
            o.hasRoi = ok;
        } else {
            return UsageError("unknown option " + a);
        }
        if (!ok) {
            return UsageError("bad or missing value for " + a +
                              (value ? std::string(" ") + value : ""));
        }
        ++i;
    }
    const bool images = o.command == "images", raw = o.command == "raw";
    std::string missing;
    if (images && (o.images.empty() || o.truth.empty() || o.out.empty()))
        missing = "images needs --images, --truth and --out";
    if (raw && (o.files.empty() || o.out.empty() || o.truth.empty() == !o.hasRoi))
        missing = "raw needs files, --out and one of --truth and --truth-roi";
    if (o.command == "verify" && (o.images.empty() || o.data.empty()))
        missing = "verify needs --images and --data";
    if (!raw && !o.files.empty()) missing = "unexpected argument " + o.files.front();
    if (raw && (o.white > 0 || o.black != 0))
        missing = "raw takes white and black levels from the file, not --white or --black";
    if (!raw && o.hasRoi) missing = "--truth-roi is for raw files";
    if (o.white > 0 && o.white <= o.black) missing = "--white must be above --black";
    if (!missing.empty()) return UsageError(missing);
    if (o.clipFraction < 0) o.clipFraction = raw ? 1.0 : 0.98;
    return 0;
}

// Like mkdir -p.
bool MakeDir(const std::string& path) {
    const auto slash = path.find_last_not_of('/') == std::string::npos
                           ? std::string::npos
                           : path.rfind('/', path.find_last_not_of('/'));
    if (slash != std::string::npos && slash > 0 && access(path.c_str(), F_OK) != 0 &&
        !MakeDir(path.substr(0, slash)))
        return false;
    if (mkdir(path.c_str(), 0755) == 0 || errno == EEXIST) {
        struct stat st;
        if (stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) return true;
        errno = ENOTDIR;
    }
    return Fail("cannot make the folder " + path + ": " + std::strerror(errno));
}

bool MakeDataFolders(const std::string& out) {
    if (!MakeDir(out)) return false;
    for (const char* scene : Vireo::SceneList) {
        if (!MakeDir(out + "/" + scene)) return false;
    }
    return true;
}

std::string BaseName(const std::string& path) {
    const auto slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string Stem(const std::string& name) {
    const auto dot = name.rfind('.');
    return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}

// The .png files of a folder, sorted by name.
bool ListPngs(const std::string& folder, std::vector<std::string>& names) {
    DIR* dir = opendir(folder.c_str());
    if (dir == nullptr)
        return Fail("cannot read the folder " + folder + ": " + std::strerror(errno));
    while (const dirent* entry = readdir(dir)) {
        std::string name = entry->d_name;
        std::string lower = name;
        for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        if (name[0] != '.' && lower.size() > 4 && lower.compare(lower.size() - 4, 4, ".png") == 0)
            names.push_back(name);
    }
    closedir(dir);
    std::sort(names.begin(), names.end());
    if (names.empty()) return Fail("no .png file in " + folder);
    return true;
}

// Matches each picture to its row of the truth table, by file name or by
// the name without its extension; both ways round, nothing may be left over.
bool MatchRows(const std::vector<std::string>& names, const std::vector<TruthInput>& rows,
               const std::string& truthPath, const std::string& where,
               std::vector<const TruthInput*>& matched) {
    std::map<std::string, const TruthInput*> byName;
    for (const TruthInput& row : rows) byName[row.file] = &row;
    std::map<const TruthInput*, std::string> used;
    matched.clear();
    for (const std::string& name : names) {
        auto it = byName.find(name);
        if (it == byName.end()) it = byName.find(Stem(name));
        if (it == byName.end()) return Fail(where + name + ": no row in " + truthPath);
        if (used.count(it->second)) {
            return Fail(where + name + ": its row in " + truthPath + " (line " +
                        std::to_string(it->second->line) + ") is also " + used[it->second] + "'s");
        }
        used[it->second] = name;
        matched.push_back(it->second);
    }
    for (const TruthInput& row : rows) {
        if (!used.count(&row)) {
            return Fail(truthPath + ":" + std::to_string(row.line) + ": no picture " + row.file +
                        (where.empty() ? std::string(" among the files given") : " in " + where));
        }
    }
    return true;
}

struct Imported {
    std::string path;  // scene/stem.txt
    const TruthInput* row;
    double whiteRG, whiteBG;
    double luxIndex;
};

// Sample paths already written in this run, with the picture each came from.
using Written = std::map<std::string, std::string>;

// One sample file and its ground-truth row.
bool WriteSample(const Options& o, const std::string& source, const GridStats& stats,
                 const Imported& item, Written& written,
                 std::vector<Vireo::Datagen::TruthRow>& truth) {
    // Two pictures of one name but for the extension (a.png, a.PNG; a.dng
    // and a.nef) would make one sample.
    if (const auto it = written.find(item.path); it != written.end()) {
        return Fail(source + ": makes the same sample " + item.path + " as " + it->second);
    }
    written[item.path] = source;
    std::string error;
    if (!Vireo::WriteFileAtomically(o.out + "/" + item.path,
                                    FormatSample(stats, o.grid, item.luxIndex), error)) {
        return Fail(source + ": " + error);
    }
    Vireo::Datagen::TruthRow row;
    row.path = item.path;
    row.scene = item.path.substr(0, item.path.find('/'));
    row.illuminant = "measured";
    row.kind = "";
    row.cct = item.row != nullptr ? item.row->cct : kUnknown;
    row.duv = kUnknown;
    row.whiteRG = item.whiteRG;
    row.whiteBG = item.whiteBG;
    row.gainR = 1.0 / item.whiteRG;
    row.gainB = 1.0 / item.whiteBG;
    row.lux = item.row != nullptr ? item.row->lux : kUnknown;
    row.luxIndex = item.luxIndex;
    truth.push_back(row);
    return true;
}

bool WriteTruth(const Options& o, const std::vector<Vireo::Datagen::TruthRow>& truth) {
    std::string text = Vireo::Datagen::GroundTruthHeader();
    for (const auto& row : truth) text += Vireo::Datagen::FormatTruthRow(row);
    std::string error;
    const std::string path = o.out + "/" + Vireo::Datagen::kGroundTruthFile;
    if (!Vireo::WriteFileAtomically(path, text, error)) return Fail(error);
    // The data set's identity, which vireo-score compares with the results'.
    if (!Vireo::Datagen::WriteDataSetId(o.out, text, error)) return Fail(error);
    std::printf("vireo-import: %zu samples and %s written to %s\n", truth.size(),
                Vireo::Datagen::kGroundTruthFile, o.out.c_str());
    return true;
}

Levels ImageLevels(const Options& o, const RgbImage& image) {
    Levels levels;
    levels.white = o.white > 0 ? o.white : std::ldexp(1.0, image.bitDepth) - 1.0;
    levels.clipFraction = o.clipFraction;
    levels.black = o.black;
    return levels;
}

bool ImportImages(const Options& o) {
    std::vector<TruthInput> rows;
    std::vector<std::string> names;
    std::vector<const TruthInput*> matched;
    std::string error;
    if (!ReadTruthCsv(o.truth, rows, error)) return Fail(error);
    if (!ListPngs(o.images, names)) return false;
    if (!MatchRows(names, rows, o.truth, o.images + "/", matched)) return false;
    if (!MakeDataFolders(o.out)) return false;

    std::vector<Vireo::Datagen::TruthRow> truth;
    Written written;
    for (size_t i = 0; i < names.size(); ++i) {
        const std::string source = o.images + "/" + names[i];
        const TruthInput& row = *matched[i];
        RgbImage image;
        GridStats stats;
        if (!ReadPng(source, image, error)) return Fail(source + ": " + error);
        const Levels levels = ImageLevels(o, image);
        if (levels.white <= levels.black) {
            return Fail(source + ": --black " + std::to_string(o.black) +
                        " is not below the white level");
        }
        if (!AreaStats(image, o.grid, levels, stats, error)) return Fail(source + ": " + error);
        const Imported item{
            (row.scene.empty() ? o.scene : row.scene) + "/" + Stem(names[i]) + ".txt", &row,
            row.r / row.g, row.b / row.g,
            std::isfinite(row.lux) ? Vireo::Datagen::LuxIndexOf(row.lux) : o.luxIndex};
        if (!WriteSample(o, source, stats, item, written, truth)) return false;
    }
    return WriteTruth(o, truth);
}

// The white of a grey card: mean of the rectangle's unclipped photosites per
// channel, black subtracted, green the mean of GR and GB.
bool RoiWhite(const CfaImage& image, const std::array<int, 4>& roi, double clipFraction,
              double& rOverG, double& bOverG, std::string& error) {
    if (int64_t{roi[0]} + roi[2] > image.width || int64_t{roi[1]} + roi[3] > image.height) {
        error = "--truth-roi reaches outside the " + std::to_string(image.width) + "x" +
                std::to_string(image.height) + " visible area";
        return false;
    }
    std::array<double, 4> sum{}, count{};
    for (int y = roi[1]; y < roi[1] + roi[3]; ++y) {
        for (int x = roi[0]; x < roi[0] + roi[2]; ++x) {
            const int channel = image.pattern[y & 1][x & 1];
            const int raw = image.values[static_cast<size_t>(y) * image.width + x];
            if (raw >= image.white * clipFraction) continue;
            sum[channel] += std::max(0, raw - image.black[channel]);
            ++count[channel];
        }
    }
    std::array<double, 4> mean{};
    for (int c = 0; c < 4; ++c) mean[c] = count[c] > 0 ? sum[c] / count[c] : 0.0;
    const double g = 0.5 * (mean[kGR] + mean[kGB]);
    if (!(mean[kR] > 0 && mean[kB] > 0 && g > 0)) {
        error = "--truth-roi holds no unclipped, non-black photosites of every colour";
        return false;
    }
    rOverG = mean[kR] / g;
    bOverG = mean[kB] / g;
    return true;
}

bool ImportRaw(const Options& o) {
    if (!RawSupported()) return Fail("this build reads no raw files (built without LibRaw)");
    std::vector<TruthInput> rows;
    std::vector<const TruthInput*> matched(o.files.size(), nullptr);
    std::string error;
    if (!o.truth.empty()) {
        std::vector<std::string> names;
        for (const std::string& file : o.files) names.push_back(BaseName(file));
        if (!ReadTruthCsv(o.truth, rows, error)) return Fail(error);
        if (!MatchRows(names, rows, o.truth, "", matched)) return false;
    }
    if (!MakeDataFolders(o.out)) return false;
    std::vector<Vireo::Datagen::TruthRow> truth;
    Written written;
    for (size_t i = 0; i < o.files.size(); ++i) {
        const std::string& source = o.files[i];
        const TruthInput* row = matched[i];
        CfaImage image;
        Exposure exposure;
        GridStats stats;
        if (!ReadRaw(source, image, exposure, error)) return Fail(source + ": " + error);
        Imported item{};
        item.row = row;
        std::array<int, 4> masked{};
        if (o.hasRoi) {
            if (!RoiWhite(image, o.roi, o.clipFraction, item.whiteRG, item.whiteBG, error))
                return Fail(source + ": " + error);
            masked = o.roi;
        } else {
            item.whiteRG = row->r / row->g;
            item.whiteBG = row->b / row->g;
        }
        if (!CfaStats(image, o.grid, o.clipFraction, masked, stats, error))
            return Fail(source + ": " + error);
        const double lux =
            row != nullptr && std::isfinite(row->lux) ? row->lux : LuxFromExposure(exposure);
        item.luxIndex = std::isfinite(lux) ? Vireo::Datagen::LuxIndexOf(lux) : o.luxIndex;
        const std::string scene = row != nullptr && !row->scene.empty() ? row->scene : o.scene;
        item.path = scene + "/" + Stem(BaseName(source)) + ".txt";
        if (!WriteSample(o, source, stats, item, written, truth)) return false;
    }
    return WriteTruth(o, truth);
}

// Grey world twice: on the pictures' own pixels (those the importer counts:
// not masked, not clipped) and on the imported regions as vireo-score
// computes it; the angle between them shows what the grid loses.
bool Verify(const Options& o) {
    std::vector<Vireo::Datagen::TruthRow> truth;
    std::string error;
    if (!Vireo::Datagen::ReadGroundTruth(o.data + "/" + Vireo::Datagen::kGroundTruthFile, truth,
                                         error))
        return Fail(error);
    std::map<std::string, std::string> sampleByStem;
    for (const auto& row : truth) sampleByStem[Stem(row.File())] = row.path;
    std::vector<std::string> names;
    if (!ListPngs(o.images, names)) return false;
    std::vector<double> angles;
    for (const std::string& name : names) {
        const std::string source = o.images + "/" + name;
        const auto it = sampleByStem.find(Stem(name));
        if (it == sampleByStem.end()) return Fail(source + ": no sample in " + o.data);
        RgbImage image;
        if (!ReadPng(source, image, error)) return Fail(source + ": " + error);
        const Levels levels = ImageLevels(o, image);
        const double clip = levels.white * levels.clipFraction;
        std::array<double, 3> sum{};
        for (size_t p = 0; p + 2 < image.rgb.size(); p += 3) {
            const uint16_t* v = &image.rgb[p];
            if ((v[0] == 0 && v[1] == 0 && v[2] == 0) || v[0] >= clip || v[1] >= clip ||
                v[2] >= clip)
                continue;
            for (int c = 0; c < 3; ++c) sum[c] += std::max(0, v[c] - levels.black);
        }
        Vireo::Score::SampleStats sample;
        double rg = 0, bg = 0;
        if (!Vireo::Score::LoadSample(o.data + "/" + it->second, sample, error)) return Fail(error);
        const bool regions = Vireo::Score::GreyWorldWhite(sample, rg, bg);
        const double angle = regions && sum[1] > 0 ? Vireo::Score::AngularError(
                                                         sum[0] / sum[1], sum[2] / sum[1], rg, bg)
                                                   : 180.0;
        if (o.perImage) std::printf("%s %.4f\n", name.c_str(), angle);
        angles.push_back(angle);
    }
    const Vireo::Score::Summary s = Vireo::Score::Summarise(angles);
    std::printf(
        "%d images: grey world on pixels vs on regions, degrees: median %.4f mean %.4f "
        "max %.4f\n",
        s.count, s.median, s.mean, *std::max_element(angles.begin(), angles.end()));
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    if (Vireo::AnswerVersion(argc, argv, "vireo-import")) return 0;
    Options o;
    if (const int rc = ParseArgs(argc, argv, o); rc != 0) return rc == 2 ? 0 : 2;
    bool ok = false;
    if (o.command == "images") ok = ImportImages(o);
    if (o.command == "raw") ok = ImportRaw(o);
    if (o.command == "verify") ok = Verify(o);
    return ok ? 0 : 1;
}
