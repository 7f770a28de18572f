// vireo-run: runs the driver once per tuning, without hand-written
// configuration files, in parallel over the machine's cores, and checks that
// every sample of the data set got a result.
#include <dirent.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "AtomicFile.h"
#include "CfgFileParser.h"
#include "Inputs.h"
#include "Results.h"
#include "RunContext.h"
#include "RunDriver.h"
#include "TuningCodec.h"
#include "vireo/Version.h"

extern char** environ;

namespace {

using namespace Vireo;

constexpr const char* kUsage =
    "usage: vireo-run --data DIR --out DIR --tuning FILE [--tuning FILE ...] [options]\n"
    "  --data DIR        data set folder (the scene folders)\n"
    "  --out DIR         results go to DIR/<tuning name>/awbSimulationOutput.txt\n"
    "  --tuning FILE     a tuning, .yaml (compiled here) or compiled .bin; repeatable,\n"
    "                    one run each, named after the file without its extension\n"
    "  --wrapper LIB     wrapper library (default: the reference wrapper)\n"
    "  --algorithm LIB   algorithm library (default: the reference algorithm)\n"
    "  --driver FILE     vireo-awbsim to run (default: the one beside this program)\n"
    "  --jobs N          runs at the same time (default: the number of processors)\n"
    "  --no-check        run without asking vireo-check about the configuration and\n"
    "                    the data folder first\n"
    "  --help, --version this text, the version\n"
    "exit status: 0 every sample has a result in every run, 1 a run failed or\n"
    "left samples without a result, 2 bad usage or input\n";

struct Options {
    std::string data, out, wrapper, algorithm, driver;
    std::vector<std::string> tunings;
    int jobs = 0;
    bool noCheck = false;
};

struct Job {
    std::string name, tuning, folder;
    std::vector<uint8_t> image;  // the compiled tuning
    pid_t pid = -1;
    int status = -1;  // the driver's exit status once it ended
    bool done = false;
    std::chrono::steady_clock::time_point started;
    double seconds = 0.0;
};

int Fail(const std::string& what) {
    std::fprintf(stderr, "vireo-run: %s\n", what.c_str());
    return 2;
}

int ParseArgs(int argc, char** argv, Options& o) {
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        const bool hasValue = i + 1 < argc;
        if (a == "--help" || a == "-h") {
            std::fputs(kUsage, stdout);
            return 3;
        } else if (a == "--data" && hasValue) {
            o.data = argv[++i];
        } else if (a == "--out" && hasValue) {
            o.out = argv[++i];
        } else if (a == "--tuning" && hasValue) {
            o.tunings.push_back(argv[++i]);
        } else if (a == "--wrapper" && hasValue) {
            o.wrapper = argv[++i];
        } else if (a == "--algorithm" && hasValue) {
            o.algorithm = argv[++i];
        } else if (a == "--driver" && hasValue) {
            o.driver = argv[++i];
        } else if (a == "--no-check") {
            o.noCheck = true;
        } else if (a == "--jobs" && hasValue) {
            char* end = nullptr;
            const long n = std::strtol(argv[++i], &end, 10);
            if (*end != '\0' || n < 1 || n > 256)
                return Fail("--jobs takes a number from 1 to 256");
            o.jobs = static_cast<int>(n);
        } else {
            std::fprintf(stderr, "vireo-run: bad argument %s\n%s", a.c_str(), kUsage);
            return 2;
        }
    }
    if (o.data.empty() || o.out.empty() || o.tunings.empty()) {
        std::fprintf(stderr, "vireo-run: --data, --out and at least one --tuning are required\n%s",
                     kUsage);
        return 2;
    }
    return 0;
}

std::string Absolute(const std::string& path) {
    char resolved[PATH_MAX];
    return realpath(path.c_str(), resolved) != nullptr ? std::string(resolved) : std::string();
}

bool MakeFolders(const std::string& path) {
    for (size_t at = 1; at <= path.size(); ++at) {
        if (at != path.size() && path[at] != '/') continue;
        const std::string part = path.substr(0, at);
        if (mkdir(part.c_str(), 0777) != 0 && errno != EEXIST) return false;
    }
    struct stat st {};
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// The configuration file is read a whitespace-separated word at a time into
// fixed buffers, so a path with a blank in it or one that does not fit
// would reach the driver cut short.
std::string WhyDriverCannotTake(const std::string& what, const std::string& path) {
    for (const char c : path) {
        if (c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f') {
            return what + " " + path +
                   ": the driver's configuration cannot hold a path with a blank in it";
        }
    }
    const size_t longest = kCfgPathSize - 1 - std::strlen("awbSimWrapperDLL=");
    if (path.size() > longest) {
        return what + " " + path + ": longer than the " + std::to_string(longest) +
               " characters the driver's configuration holds";
    }
    return "";
}

// The samples the driver will walk: entries of the scene folders that do
// not begin with ".", keyed "<scene>/<file>" like the scorer matches them.
bool ListSamples(const std::string& data, std::vector<std::string>* keys, std::string* error) {
    for (const char* scene : SceneList) {
        const std::string folder = data + "/" + scene;
        DIR* dir = opendir(folder.c_str());
        if (dir == nullptr) continue;  // the driver passes over a missing scene too
        while (const dirent* entry = readdir(dir)) {
            if (entry->d_name[0] == '.') continue;
            const std::string path = folder + "/" + entry->d_name;
            if (path.size() >= kSamplePathSize) {
                closedir(dir);
                *error = path + ": the driver cuts sample paths at " +
                         std::to_string(kSamplePathSize - 1) +
                         " characters; use a shorter data folder path";
                return false;
            }
            keys->push_back(std::string(scene) + "/" + entry->d_name);
        }
        closedir(dir);
    }
    if (keys->empty()) {
        *error = data + ": no samples in any of the scene folders (ball, chart, indoor_1, ...)";
        return false;
    }
    return true;
}

// Asks vireo-check to look over the first run's configuration (its
// libraries, tuning, output folder and every sample of the data folder)
// before anything runs: the driver itself passes over most of those
// problems in silence. The other runs differ only in their tuning, which
// vireo-run has already decoded. The check's findings go to standard output
// as it prints them.
bool CheckBeforeRunning(const Options& o, const Job& first, std::string* error) {
    if (o.noCheck) return true;
    const std::string check = Run::FindInstalled(Run::Installed::Check);
    if (check.empty()) {
        *error = "cannot find vireo-check beside vireo-run; give --no-check to run unchecked";
        return false;
    }
    const std::string config = first.folder + "/vireo-run.cfg";
    char* args[] = {const_cast<char*>(check.c_str()), const_cast<char*>(config.c_str()), nullptr};
    pid_t pid = -1;
    int status = 0;
    if (posix_spawn(&pid, check.c_str(), nullptr, nullptr, args, environ) != 0 ||
        waitpid(pid, &status, 0) != pid) {
        *error = "cannot run " + check;
        return false;
    }
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return true;
    *error = "vireo-check found problems in " + config +
             " (listed above); nothing was run (--no-check runs anyway)";
    return false;
}

bool Prepare(const Options& o, const std::string& data, const std::string& out, Job* job,
             std::string* error) {
    job->folder = out + "/" + job->name;
    const std::string tuningFile = job->folder + "/" + Tuning::kDefaultFileName;
    for (const auto& [what, path] :
         {std::pair<std::string, std::string>{"output folder", job->folder},
          {"tuning file", tuningFile},
          {"algorithm", o.algorithm},
          {"wrapper", o.wrapper},
          {"data folder", data}}) {
        *error = WhyDriverCannotTake(what, path);
        if (!error->empty()) return false;
    }
    if (!MakeFolders(job->folder)) {
        *error = "cannot make the folder " + job->folder;
        return false;
    }
    const std::string_view image(reinterpret_cast<const char*>(job->image.data()),
                                 job->image.size());
    if (!WriteFileAtomically(tuningFile, image, *error)) return false;
    const std::string config = "tuningFile=" + tuningFile + "\nawbDLL=" + o.algorithm +
                               "\nawbSimWrapperDLL=" + o.wrapper + "\ndataDir=" + data +
                               "\noutputDir=" + job->folder + "\n";
    return WriteFileAtomically(job->folder + "/vireo-run.cfg", config, *error);
}

bool Start(const std::string& driver, Job* job) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    const std::string log = job->folder + "/driver.log";
    posix_spawn_file_actions_addopen(&actions, 1, log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_adddup2(&actions, 1, 2);
    const std::string config = job->folder + "/vireo-run.cfg";
    char* args[] = {const_cast<char*>(driver.c_str()), const_cast<char*>(config.c_str()), nullptr};
    const int rc = posix_spawn(&job->pid, driver.c_str(), &actions, nullptr, args, environ);
    posix_spawn_file_actions_destroy(&actions);
    job->started = std::chrono::steady_clock::now();
    return rc == 0;
}

// Bytes the process has read so far: the driver reads every sample file
// whole, so this against the data set's size tells how far it got.
double BytesRead(pid_t pid) {
    std::ifstream io("/proc/" + std::to_string(pid) + "/io");
    std::string key;
    double value = 0;
    while (io >> key >> value) {
        if (key == "rchar:") return value;
    }
    return 0;
}

double DataBytes(const std::string& data, const std::vector<std::string>& keys) {
    double total = 0;
    for (const std::string& key : keys) {
        struct stat st {};
        if (stat((data + "/" + key).c_str(), &st) == 0) total += static_cast<double>(st.st_size);
    }
    return total;
}

void ShowProgress(const std::vector<Job>& jobs, double dataBytes, bool final) {
    static const bool tty = isatty(2) != 0;
    if (!tty && !final) return;
    std::string line;
    int done = 0;
    for (const Job& job : jobs) {
        done += job.done ? 1 : 0;
        std::string state = "waiting";
        if (job.done) {
            state = "done";
        } else if (job.pid > 0) {
            // The readers share one read of each file (measured: 1.03 times
            // the data set's bytes for a whole run).
            const double share = BytesRead(job.pid) / dataBytes;
            state = std::to_string(static_cast<int>(std::min(share, 0.99) * 100.0)) + "%";
        }
        line += "  " + job.name + " " + state;
    }
    std::fprintf(stderr, "%s[%d/%zu runs]%s%s", tty ? "\r\033[K" : "", done, jobs.size(),
                 line.c_str(), final || !tty ? "\n" : "");
}

// Compares a run's results with the samples; prints what is missing.
bool CheckResults(const Job& job, const std::vector<std::string>& keys) {
    const std::string path = job.folder + "/awbSimulationOutput.txt";
    std::ifstream in(path);
    std::vector<Score::ResultRecord> records;
    std::string error;
    if (!in || !Score::ReadResults(in, records, error)) {
        std::fprintf(stderr, "vireo-run: %s: %s\n", path.c_str(),
                     in ? error.c_str() : "no results file");
        records.clear();
    }
    std::set<std::string> have;
    for (const auto& r : records) have.insert(r.scene + "/" + r.file);
    std::vector<std::string> missing;
    for (const std::string& key : keys) {
        if (!have.count(key)) missing.push_back(key);
    }
    std::printf("%-20s %6zu of %zu samples  %6.1f s  %s\n", job.name.c_str(),
                keys.size() - missing.size(), keys.size(), job.seconds, path.c_str());
    if (job.status != 0) {
        std::fprintf(stderr,
                     "vireo-run: %s: vireo-awbsim exited with status %d; see %s/driver.log\n",
                     job.name.c_str(), job.status, job.folder.c_str());
    }
    if (!missing.empty()) {
        std::fprintf(stderr, "vireo-run: %s: %zu samples without a result:", job.name.c_str(),
                     missing.size());
        for (size_t k = 0; k < missing.size() && k < 20; ++k) {
            std::fprintf(stderr, " %s", missing[k].c_str());
        }
        std::fprintf(stderr, "%s\n", missing.size() > 20 ? " ..." : "");
    }
    return missing.empty() && job.status == 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (Vireo::AnswerVersion(argc, argv, "vireo-run")) return 0;
    Options o;
    if (const int rc = ParseArgs(argc, argv, o); rc != 0) return rc == 3 ? 0 : 2;
    if (o.driver.empty()) o.driver = Run::FindInstalled(Run::Installed::Driver);
    if (o.wrapper.empty()) o.wrapper = Run::FindInstalled(Run::Installed::Wrapper);
    if (o.algorithm.empty()) o.algorithm = Run::FindInstalled(Run::Installed::Algorithm);
    for (const auto& [option, path] : {std::pair<const char*, std::string*>{"--driver", &o.driver},
                                       {"--wrapper", &o.wrapper},
                                       {"--algorithm", &o.algorithm}}) {
        if (path->empty()) return Fail(std::string("no default for ") + option + "; give it");
        const std::string absolute = Absolute(*path);
        if (absolute.empty()) return Fail("cannot find " + *path);
        *path = absolute;
    }
    const std::string data = Absolute(o.data);
    if (data.empty()) return Fail("cannot find the data folder " + o.data);
    std::vector<std::string> keys;
    std::string error;
    if (!ListSamples(data, &keys, &error)) return Fail(error);

    // Every tuning is read before anything is written, so a bad one leaves
    // no half-prepared runs behind.
    std::vector<Job> jobs;
    std::map<std::string, std::string> byName;
    for (const std::string& tuning : o.tunings) {
        Job job;
        job.tuning = tuning;
        job.name = Run::TuningName(tuning);
        if (job.name.empty()) return Fail("no run name in the tuning path " + tuning);
        if (byName.count(job.name)) {
            return Fail("tunings " + byName[job.name] + " and " + tuning + " would both run into " +
                        o.out + "/" + job.name + "; rename one");
        }
        byName[job.name] = tuning;
        Tuning::TuningParams params;
        if (!Run::LoadTuningAny(tuning, &job.image, &params, &error)) return Fail(error);
        jobs.push_back(job);
    }
    if (const std::string why = WhyDriverCannotTake("output folder", o.out); !why.empty()) {
        return Fail(why);
    }
    if (!MakeFolders(o.out)) return Fail("cannot make the output folder " + o.out);
    const std::string out = Absolute(o.out);
    for (Job& job : jobs) {
        if (!Prepare(o, data, out, &job, &error)) return Fail(error);
    }
    if (!CheckBeforeRunning(o, jobs.front(), &error)) return Fail(error);

    const unsigned processors = std::max(1u, std::thread::hardware_concurrency());
    const size_t parallel = o.jobs > 0 ? static_cast<size_t>(o.jobs) : processors;
    const double dataBytes = std::max(1.0, DataBytes(data, keys));
    size_t next = 0;
    size_t running = 0;
    while (next < jobs.size() || running > 0) {
        while (next < jobs.size() && running < parallel) {
            if (!Start(o.driver, &jobs[next])) {
                return Fail("cannot start " + o.driver);
            }
            ++next, ++running;
        }
        int status = 0;
        const pid_t pid = waitpid(-1, &status, WNOHANG);
        if (pid > 0) {
            for (Job& job : jobs) {
                if (job.pid != pid) continue;
                job.done = true;
                job.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
                job.seconds =
                    std::chrono::duration<double>(std::chrono::steady_clock::now() - job.started)
                        .count();
                --running;
            }
            continue;
        }
        ShowProgress(jobs, dataBytes, false);
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    ShowProgress(jobs, dataBytes, true);

    bool complete = true;
    for (const Job& job : jobs) complete = CheckResults(job, keys) && complete;
    return complete ? 0 : 1;
}
