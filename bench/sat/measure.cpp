// Runs one program under limits and reports what it used.
//
//   measure CPU_SECONDS WALL_SECONDS MEMORY_MIB OUTPUT PROGRAM [ARGUMENT ...]
//
// Standard output and error of the program go to the file OUTPUT. One line is printed:
//   STATUS USER_SECONDS SYSTEM_SECONDS PEAK_RSS_KIB WALL_SECONDS
// STATUS is the exit status, or minus the signal that ended the program.
//
// Why not from the comparison script directly: the kernel counts the memory of the parent at the
// time of the fork into the child's peak, and that of an interpreter is as large as a small solver.

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <initializer_list>

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

volatile sig_atomic_t child = 0;

void kill_child(int)
{
    if (child > 0) {
        kill(-child, SIGKILL);
    }
}

void set_limit(decltype(RLIMIT_CPU) which, rlim_t value)
{
    rlimit r{value, value};
    if (value > 0 && setrlimit(which, &r) != 0) {
        _exit(126);
    }
}

double seconds(const timeval& t)
{
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) * 1e-6;
}

double now()
{
    timespec t{};
    clock_gettime(CLOCK_MONOTONIC, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 6) {
        std::fprintf(stderr,
                     "usage: measure CPU_SECONDS WALL_SECONDS MEMORY_MIB OUTPUT PROGRAM...\n");
        return 2;
    }
    const double start = now();
    const pid_t pid = fork();
    if (pid == 0) {
        setpgid(0, 0);
        const int out = open(argv[4], O_WRONLY | O_CREAT | O_TRUNC, 0644);
        const int in = open("/dev/null", O_RDONLY);
        if (out < 0 || in < 0 || dup2(in, 0) < 0 || dup2(out, 1) < 0 || dup2(out, 2) < 0) {
            _exit(126);
        }
        set_limit(RLIMIT_CORE, 0);
        set_limit(RLIMIT_CPU, std::strtoul(argv[1], nullptr, 10));
        set_limit(RLIMIT_AS, std::strtoul(argv[3], nullptr, 10) << 20);
        execvp(argv[5], argv + 5);
        _exit(127);
    }
    if (pid < 0) {
        std::perror("measure: fork");
        return 2;
    }
    setpgid(pid, pid); // both sides set it, so the kill below can't come too early
    child = pid;
    for (int sig : {SIGALRM, SIGINT, SIGTERM}) {
        signal(sig, kill_child);
    }
    alarm(static_cast<unsigned>(std::strtoul(argv[2], nullptr, 10)));
    int status = 0;
    rusage usage{};
    while (wait4(pid, &status, 0, &usage) < 0) {
    }
    std::printf("%d %.3f %.3f %ld %.3f\n",
                WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status),
                seconds(usage.ru_utime), seconds(usage.ru_stime), usage.ru_maxrss, now() - start);
    return 0;
}
