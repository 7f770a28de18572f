// Runs one command and reports what it cost: wall time from a monotonic
// clock, user and system CPU time and peak resident set size from the
// child's own resource usage (the numbers /usr/bin/time prints, without its
// 10 ms rounding).
//
//   vireo-bench-measure <stdoutFile> <program> [arguments...]
//
// Prints "wall_s user_s sys_s maxrss_kb exit_status" on one line. The
// command's standard output goes to <stdoutFile>.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>

namespace {

double Seconds(const timeval& time) { return time.tv_sec + time.tv_usec / 1e6; }

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: %s <stdoutFile> <program> [arguments...]\n", argv[0]);
        return 2;
    }
    const auto start = std::chrono::steady_clock::now();
    const pid_t child = fork();
    if (child < 0) {
        std::perror("fork");
        return 2;
    }
    if (child == 0) {
        int output = open(argv[1], O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (output < 0 || dup2(output, STDOUT_FILENO) < 0) _exit(126);
        close(output);
        execv(argv[2], argv + 2);
        _exit(127);
    }
    int status = 0;
    rusage usage{};
    if (wait4(child, &status, 0, &usage) != child) {
        std::perror("wait4");
        return 2;
    }
    const double wall =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    const int exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    std::printf("%.6f %.6f %.6f %ld %d\n", wall, Seconds(usage.ru_utime), Seconds(usage.ru_stime),
                usage.ru_maxrss, exitStatus);
    return 0;
}
