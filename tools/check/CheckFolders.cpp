#include "CheckFolders.h"

#include <dirent.h>
#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <set>
#include <sstream>
#include <vector>

#include "CfgFileParser.h"
#include "CheckSample.h"
#include "OsUtils.h"
#include "RunContext.h"
#include "RunDriver.h"
#include "TuningCodec.h"
#include "vireo/IAWBSimulationWrapper.h"

namespace Vireo::Check {
namespace {

constexpr size_t kTuning = 0, kAlgorithm = 1, kWrapper = 2, kData = 3, kOutput = 4;

bool IsFolder(const std::string& path) {
    struct stat st {};
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

std::string Parent(const std::string& path) {
    std::string trimmed = path;
    while (trimmed.size() > 1 && trimmed.back() == '/') trimmed.pop_back();
    const size_t slash = trimmed.rfind('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : trimmed.substr(0, slash);
}

std::string BaseName(const std::string& path) {
    std::string trimmed = path;
    while (trimmed.size() > 1 && trimmed.back() == '/') trimmed.pop_back();
    const size_t slash = trimmed.rfind('/');
    return slash == std::string::npos ? trimmed : trimmed.substr(slash + 1);
}

bool IsScene(const std::string& name) {
    for (const char* scene : SceneList) {
        if (name == scene) return true;
    }
    return false;
}

std::string SceneNames() {
    std::string names;
    for (const char* scene : SceneList) names += (names.empty() ? "" : ", ") + std::string(scene);
    return names;
}

// A name as a person might misspell it: no case, no separators.
std::string Loosely(const std::string& name) {
    std::string loose;
    for (const char c : name) {
        if (std::isalnum(static_cast<unsigned char>(c)))
            loose += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return loose;
}

// An entry of the data folder that reads like the scene name, or "".
std::string Lookalike(const std::string& dataDir, const std::string& scene) {
    std::string found;
    if (DIR* directory = opendir(dataDir.c_str())) {
        while (const dirent* entry = readdir(directory)) {
            if (entry->d_name[0] != '.' && Loosely(entry->d_name) == Loosely(scene))
                found = entry->d_name;
        }
        closedir(directory);
    }
    return found;
}

void CheckScene(const std::string& sceneDir, Report& report) {
    DIR* directory = opendir(sceneDir.c_str());
    if (directory == nullptr) {
        Add(report, sceneDir, 0, Format("scene folder cannot be read (%s)", std::strerror(errno)),
            "the driver passes over the scene without a word");
        return;
    }
    std::vector<std::string> names;
    while (const dirent* entry = readdir(directory)) {
        if (entry->d_name[0] != '.') names.emplace_back(entry->d_name);  // as the driver does
    }
    closedir(directory);
    std::sort(names.begin(), names.end());
    for (const std::string& name : names) {
        const std::string path = sceneDir + "/" + name;
        if (path.size() >= kSamplePathSize) {
            Add(report, path, 0,
                Format("path of %zu characters (the driver keeps %zu)", path.size(),
                       kSamplePathSize - 1),
                "the driver cannot open the cut path: it fails the sample, ends the scene and "
                "exits 255");
            ++report.filesWithProblems;
            continue;
        }
        struct stat st {};
        if (stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) {
            Add(report, path, 0, "a folder among the samples",
                "the driver reads it as an empty sample file and writes a result for it");
            ++report.filesWithProblems;
            continue;
        }
        CheckSampleFile(path, report);
    }
}

}  // namespace

Verdict CheckDataFolder(const std::string& dataDir, const std::string& where, Report& report) {
    const size_t before = report.problems;
    std::vector<std::string> missing;
    for (const char* scene : SceneList) {
        // The driver's own spelling: data folder, separator, scene.
        const std::string sceneDir = dataDir + "/" + scene;
        struct stat st {};
        if (stat(sceneDir.c_str(), &st) != 0) {
            missing.push_back(sceneDir);
            continue;
        }
        if (!S_ISDIR(st.st_mode)) {
            Add(report, sceneDir, 0, "not a folder", "the driver passes over the scene");
            continue;
        }
        ++report.scenesFound;
        CheckScene(sceneDir, report);
    }
    if (report.scenesFound == 0) {
        std::string what = "none of the scene folders (" + SceneNames() + ") is here";
        if (IsScene(BaseName(dataDir))) {
            what += "; this is the scene folder \"" + BaseName(dataDir) +
                    "\" itself: dataDir names the folder that holds the scene folders";
        }
        Add(report, where.empty() ? dataDir : where, 0, what,
            "the driver runs no sample and exits 0 with an empty results file");
        return Verdict::Problems;
    }
    for (const std::string& sceneDir : missing) {
        const std::string lookalike = Lookalike(dataDir, BaseName(sceneDir));
        Add(report, sceneDir, 0,
            lookalike.empty() ? std::string("scene folder missing")
                              : "scene folder missing (\"" + lookalike +
                                    "\" is here: the name must match exactly)",
            "the driver passes over the scene without a word");
    }
    return report.problems == before ? Verdict::Clean : Verdict::Problems;
}

namespace {

struct Word {
    std::string text;
    size_t line = 0;
};

// The configuration's words as the driver reads them (operator>> on a
// stream: white space separates, lines do not count), with their lines.
std::vector<Word> SplitWords(const std::string& text) {
    std::vector<Word> words;
    size_t line = 1;
    for (size_t i = 0; i < text.size();) {
        const char c = text[i];
        if (std::isspace(static_cast<unsigned char>(c))) {
            if (c == '\n') ++line;
            ++i;
            continue;
        }
        const size_t start = i;
        while (i < text.size() && !std::isspace(static_cast<unsigned char>(text[i]))) ++i;
        words.push_back({text.substr(start, i - start), line});
    }
    return words;
}

std::string FieldName(size_t field) {
    return field < kCfgFieldCount ? Format("the %s path", kCfgKeys[field])
                                  : std::string("nothing (the driver reads five words)");
}

// Paths are shown whole: their end is often what is wrong.
std::string QuotePath(const std::string& text) { return Quote(text, std::string::npos); }

std::string ValueOf(const std::string& word) {
    const size_t equals = word.find('=');
    return equals == std::string::npos ? word : word.substr(equals + 1);
}

// Problems of lines that hold more or other than one key=value word. Returns
// the lines reported, so that their words are not reported again.
std::set<size_t> CheckLines(const std::string& path, const std::vector<Word>& words,
                            Report& report) {
    std::set<size_t> reported;
    for (size_t first = 0; first < words.size();) {
        size_t end = first;
        while (end < words.size() && words[end].line == words[first].line) ++end;
        const Word& word = words[first];
        const size_t count = end - first;
        if (word.text[0] == '#' || word.text.rfind("//", 0) == 0 || word.text[0] == ';') {
            Add(report, path, word.line, "comment line",
                "the driver has no comments: it takes " + QuotePath(word.text) + " as " +
                    FieldName(first) + " and every later field moves");
            reported.insert(word.line);
        } else if (count > 1) {
            bool spacedEquals = false;
            for (size_t i = first; i < end; ++i) {
                const std::string& text = words[i].text;
                spacedEquals =
                    spacedEquals || text == "=" ||
                    (i + 1 < end && text.back() == '=' && text.find('=') + 1 == text.size()) ||
                    (i > first && text[0] == '=');
            }
            if (spacedEquals) {
                Add(report, path, word.line, "spaces around \"=\"",
                    Format("the driver takes the %zu words as fields of their own, so %s becomes ",
                           count, QuotePath(words[first + 1].text).c_str()) +
                        FieldName(first + 1) + " and every later field moves");
            } else {
                Add(report, path, word.line,
                    "value " + QuotePath(ValueOf(word.text) + " " + words[first + 1].text) +
                        " holds a space",
                    "the driver cuts it at the space and takes " +
                        QuotePath(words[first + 1].text) + " as " + FieldName(first + 1));
            }
            reported.insert(word.line);
        }
        first = end;
    }
    return reported;
}

void CheckKeys(const std::string& path, const std::vector<Word>& words,
               const std::set<size_t>& reported, Report& report) {
    for (size_t field = 0; field < words.size(); ++field) {
        const Word& word = words[field];
        if (reported.count(word.line) != 0) continue;
        if (field >= kCfgFieldCount) {
            Add(report, path, word.line, "extra word " + QuotePath(word.text),
                "the driver reads only the first five words and ignores it");
            continue;
        }
        const std::string expected = kCfgKeys[field];
        const size_t equals = word.text.find('=');
        if (equals == std::string::npos) {
            Add(report, path, word.line,
                "no key in " + QuotePath(word.text) + " (expected \"" + expected + "=\")",
                "the driver takes the whole word as " + FieldName(field));
            continue;
        }
        const std::string key = word.text.substr(0, equals);
        if (key == expected) continue;
        const std::string value = QuotePath(word.text.substr(equals + 1));
        const auto known = std::find(std::begin(kCfgKeys), std::end(kCfgKeys), key);
        if (known != std::end(kCfgKeys)) {
            Add(report, path, word.line,
                "\"" + key + "\" where \"" + expected + "\" belongs (lines out of order)",
                "the driver takes values by position, so " + value + " becomes " +
                    FieldName(field));
        } else {
            Add(report, path, word.line,
                "unknown key \"" + key + "\" (expected \"" + expected + "\")",
                "the driver ignores keys and takes " + value + " as " + FieldName(field));
        }
    }
}

void CheckTuning(const std::string& value, const std::string& path, size_t line, Report& report) {
    const char* consequence =
        "the reference wrapper refuses it: the driver prints \"Error in reading "
        "TintraBinaryParameterSet.bin file\" and exits 255";
    struct stat st {};
    if (value.empty()) {
        Add(report, path, line, "tuningFile is empty", consequence);
    } else if (stat(value.c_str(), &st) != 0) {
        Add(report, path, line,
            Format("tuning file %s: %s", QuotePath(value).c_str(), std::strerror(errno)),
            consequence);
    } else if (!S_ISREG(st.st_mode)) {
        Add(report, path, line, "tuning file " + QuotePath(value) + " is not a file", consequence);
    } else {
        char magic[sizeof Tuning::kMagic] = {};
        std::ifstream(value, std::ios::binary).read(magic, sizeof magic);
        if (std::memcmp(magic, Tuning::kMagic, sizeof magic) != 0) return;  // another format
        std::vector<uint8_t> bytes;
        Tuning::TuningParams params;
        std::string error;
        if (!Tuning::LoadFile(value.c_str(), &bytes, &params, &error)) {
            Add(report, path, line, "tuning file " + QuotePath(value) + " does not load: " + error,
                consequence);
        }
    }
}

void* MapLibrary(const std::string& value, std::string& error) {
    dlerror();
    void* library = OsUtils::LibMap(value.c_str());
    if (library == nullptr) {
        const char* message = dlerror();
        error = value.empty()        ? "the path is empty"
                : message != nullptr ? message
                                     : "dlopen failed";
    }
    return library;
}

void CheckLibraries(const std::string values[], const size_t lines[], const std::string& path,
                    Report& report) {
    std::string error;
    if (MapLibrary(values[kAlgorithm], error) == nullptr) {
        Add(report, path, lines[kAlgorithm],
            "algorithm library " + QuotePath(values[kAlgorithm]) + " does not load: " + error,
            "the reference wrapper says so on standard error, no sample gets a result, and the "
            "driver still exits 0");
    }
    void* wrapper = MapLibrary(values[kWrapper], error);
    if (wrapper == nullptr) {
        Add(report, path, lines[kWrapper],
            "wrapper library " + QuotePath(values[kWrapper]) + " does not load: " + error,
            "the driver prints \"Unable to load AWBSimulationWrapper library\" and exits 255");
    } else if (OsUtils::LibGetAddr(wrapper, kWrapperFactorySymbol) == nullptr) {
        Add(report, path, lines[kWrapper],
            "wrapper library " + QuotePath(values[kWrapper]) + " does not export " +
                kWrapperFactorySymbol,
            "the driver prints \"Unable to find CreateAWBSimulationWrapper\" and exits 255");
    }
}

void CheckOutput(const std::string& value, const std::string& data, const std::string& path,
                 size_t line, Report& report) {
    const char* lost = "the driver runs every sample and keeps no result";
    struct stat st {};
    if (value.empty()) {
        Add(report, path, line, "outputDir is empty",
            "the driver writes its results into the root folder \"/\", or keeps none");
    } else if (stat(value.c_str(), &st) == 0) {
        if (!S_ISDIR(st.st_mode)) {
            Add(report, path, line, "output folder " + QuotePath(value) + " is not a folder", lost);
        } else if (access(value.c_str(), W_OK | X_OK) != 0) {
            Add(report, path, line, "output folder " + QuotePath(value) + " is not writable", lost);
        }
    } else {
        const std::string parent = Parent(value);
        if (!IsFolder(parent)) {
            Add(report, path, line,
                "the parent " + QuotePath(parent) + " of the output folder does not exist",
                "the driver makes only the last folder, so it runs every sample and keeps no "
                "result");
        } else if (access(parent.c_str(), W_OK | X_OK) != 0) {
            Add(report, path, line,
                "the output folder's parent " + QuotePath(parent) + " is not writable", lost);
        }
    }
    // Results written into a scene folder are read as samples by the next run.
    char* output = realpath(value.c_str(), nullptr);
    char* dataReal = realpath(data.c_str(), nullptr);
    if (output != nullptr && dataReal != nullptr) {
        for (const char* scene : SceneList) {
            const std::string sceneDir = std::string(dataReal) + "/" + scene;
            const std::string out = output;
            if (out == sceneDir || out.rfind(sceneDir + "/", 0) == 0) {
                Add(report, path, line,
                    "output folder " + QuotePath(value) + " lies inside the scene folder " +
                        QuotePath(sceneDir),
                    "the next run reads the results files there as samples");
            }
        }
    }
    std::free(output);
    std::free(dataReal);
}

}  // namespace

Verdict CheckConfiguration(const std::string& path, Report& report, std::string& error) {
    struct stat st {};
    if (stat(path.c_str(), &st) != 0) {
        error = path + ": " + std::strerror(errno);
        return Verdict::Unusable;
    }
    if (!S_ISREG(st.st_mode)) {
        error = path + ": not a configuration file (a folder or a device)";
        return Verdict::Unusable;
    }
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    if (!in) {
        error = path + ": cannot be read";
        return Verdict::Unusable;
    }
    const size_t before = report.problems;
    const std::vector<Word> words = SplitWords(text.str());
    if (words.empty()) {
        Add(report, path, 0, "no key=value words (an empty file)",
            "the driver runs with five empty paths and stops with \"Unable to load "
            "AWBSimulationWrapper library\"");
        return Verdict::Problems;
    }
    const std::set<size_t> reported = CheckLines(path, words, report);
    CheckKeys(path, words, reported, report);

    // The five values as the driver takes them: by position, the last word
    // again when the file runs short, cut to the driver's buffer.
    std::string values[kCfgFieldCount];
    size_t lines[kCfgFieldCount];
    for (size_t field = 0; field < kCfgFieldCount; ++field) {
        const Word& word = words[std::min(field, words.size() - 1)];
        values[field] = ValueOf(word.text);
        lines[field] = word.line;
        if (field >= words.size()) {
            Add(report, path, word.line,
                Format("the file ends before \"%s\" (%zu words of five)", kCfgKeys[field],
                       words.size()),
                "the driver takes the last value " + QuotePath(values[field]) + " again as " +
                    FieldName(field));
        }
        if (values[field].size() >= kCfgPathSize) {
            Add(report, path, word.line,
                Format("%s path of %zu characters", kCfgKeys[field], values[field].size()),
                Format("the driver keeps the first %zu and uses a path that is not there",
                       kCfgPathSize - 1));
            values[field].resize(kCfgPathSize - 1);
        }
    }
    CheckTuning(values[kTuning], path, lines[kTuning], report);
    CheckLibraries(values, lines, path, report);
    CheckOutput(values[kOutput], values[kData], path, lines[kOutput], report);

    const std::string& data = values[kData];
    const std::string where = Format("%s:%zu", path.c_str(), lines[kData]);
    if (data.empty()) {
        Add(report, path, lines[kData], "dataDir is empty",
            "the driver looks for the scene folders in the root folder \"/\"");
    } else if (!IsFolder(data)) {
        Add(report, path, lines[kData], "data folder " + QuotePath(data) + " is not a folder",
            "the driver runs no sample and exits 0 with an empty results file");
    } else {
        CheckDataFolder(data, where, report);
    }
    return report.problems == before ? Verdict::Clean : Verdict::Problems;
}

}  // namespace Vireo::Check
