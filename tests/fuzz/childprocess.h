// Runs tests in child processes, so that a crash or a hang is a finding like any other, and shares
// memory with them for what they find.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <new>
#include <stdexcept>
#include <string>

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tarq::fuzz {

/// A `Report` that this process and its children see. Lives as long as the process.
template <class Report>
Report* make_shared_report()
{
    void* memory =
        mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        throw std::runtime_error("no shared memory");
    }
    return new (memory) Report();
}

/// Calls `work` in a child process. Returns what went wrong with the process itself, or an empty
/// text.
inline std::string in_child(const std::function<void()>& work)
{
    std::fflush(nullptr);
    const pid_t pid = fork();
    if (pid == 0) {
        work();
        std::_Exit(0);
    }
    int status = 0;
    if (pid < 0 || waitpid(pid, &status, 0) < 0) {
        return "no child process";
    }
    if (WIFSIGNALED(status)) {
        return WTERMSIG(status) == SIGALRM ? "hang"
                                           : "crash by signal " + std::to_string(WTERMSIG(status));
    }
    return WEXITSTATUS(status) == 0
               ? ""
               : "crash with exit status " + std::to_string(WEXITSTATUS(status));
}

} // namespace tarq::fuzz
