#include "stop.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <signal.h>
#include <sys/time.h>
#include <unistd.h>

namespace tarq::tool {

namespace {

// After a stop the script goes on for `GRACE`, and the process is gone after `LAST`; both in
// nanoseconds of its own processor time, so that a busy machine does not take the grace away. On an
// idle one they stay, together with the period of the timer, below the 0.2 s that a caller may
// count on. Time on the clock counts too, with a factor, for a process that hardly gets to run.
#ifdef __SANITIZE_ADDRESS__
constexpr long long SLOWNESS = 20;
#else
constexpr long long SLOWNESS = 1;
#endif
constexpr long long GRACE = SLOWNESS * 50'000'000;
constexpr long long LAST = SLOWNESS * 150'000'000;
constexpr long long CLOCK_FACTOR = 10;
constexpr long PERIOD_US = 10'000;

// All of it is touched by the handlers. Only whole-word stores are used, and one thread runs.
volatile sig_atomic_t stop_reason = 0;
volatile sig_atomic_t is_overdue = 0;
volatile sig_atomic_t in_output = 0;
volatile sig_atomic_t owed_fd = 1;
const char* volatile owed_text = nullptr;
long long volatile stopped_at = 0; // on the clock
long long volatile cpu_at_stop = 0;
long long deadline = 0;   // 0: none
long long page_limit = 0; // 0: none

long long read_clock(clockid_t clock)
{
    timespec t;
    clock_gettime(clock, &t);
    return t.tv_sec * 1'000'000'000LL + t.tv_nsec;
}

long long now()
{
    return read_clock(CLOCK_MONOTONIC);
}

long long cpu_time()
{
    return read_clock(CLOCK_PROCESS_CPUTIME_ID);
}

/// Whether this much time has passed since the stop; see `GRACE`.
bool has_passed(long long span)
{
    return cpu_time() - cpu_at_stop >= span || now() - stopped_at >= CLOCK_FACTOR * span;
}

// Pages in the resident set: the second number of /proc/self/statm. Uses only calls that are
// safe in a signal handler.
long long resident_pages()
{
    const int fd = open("/proc/self/statm", O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return 0;
    }
    char text[128];
    const ssize_t n = read(fd, text, sizeof(text));
    close(fd);
    ssize_t i = 0;
    while (i < n && text[i] != ' ') {
        ++i;
    }
    long long pages = 0;
    for (++i; i < n && text[i] >= '0' && text[i] <= '9'; ++i) {
        pages = pages * 10 + (text[i] - '0');
    }
    return pages;
}

void start_timer(long first_us, long period_us)
{
    itimerval t;
    t.it_value.tv_sec = first_us / 1'000'000;
    t.it_value.tv_usec = first_us % 1'000'000;
    t.it_interval.tv_sec = 0;
    t.it_interval.tv_usec = period_us;
    setitimer(ITIMER_REAL, &t, nullptr);
}

void raise_flag(StopReason why)
{
    if (stop_reason == 0) {
        stopped_at = now();
        cpu_at_stop = cpu_time();
        stop_reason = static_cast<int>(why);
        start_timer(PERIOD_US, PERIOD_US);
    }
}

void write_all(int fd, const char* text)
{
    size_t left = strlen(text);
    while (left > 0) {
        const ssize_t n = write(fd, text, left);
        if (n <= 0) {
            return;
        }
        text += n;
        left -= static_cast<size_t>(n);
    }
}

void on_tick(int)
{
    const int saved = errno;
    if (stop_reason == 0) {
        if (deadline != 0 && now() >= deadline) {
            raise_flag(StopReason::timeout);
        } else if (page_limit != 0 && resident_pages() > page_limit) {
            raise_flag(StopReason::memout);
        }
    } else if (has_passed(GRACE)) {
        is_overdue = 1;
        // While the main thread writes, it is on its way out: its output must not be cut.
        if (in_output == 0 && has_passed(LAST)) {
            if (owed_text != nullptr) {
                write_all(owed_fd, owed_text);
            }
            write_all(2, "tarq: stopped inside a step that can't be interrupted\n");
            _exit(0);
        }
    }
    errno = saved;
}

void on_signal(int signal)
{
    if (stop_reason == static_cast<int>(StopReason::interrupted)) {
        _exit(128 + signal);
    }
    const int saved = errno;
    raise_flag(StopReason::interrupted);
    errno = saved;
}

} // namespace

const char* to_str(StopReason reason)
{
    switch (reason) {
    case StopReason::timeout:
        return "timeout";
    case StopReason::memout:
        return "memout";
    case StopReason::interrupted:
        return "interrupted";
    case StopReason::none:
        break;
    }
    return "";
}

void Stop::install(double seconds, long mebibytes)
{
    // Without SA_RESTART, so that a read that waits for input comes back and sees the flag.
    struct sigaction action;
    memset(&action, 0, sizeof(action));
    sigemptyset(&action.sa_mask);
    sigaddset(&action.sa_mask, SIGINT);
    sigaddset(&action.sa_mask, SIGTERM);
    sigaddset(&action.sa_mask, SIGALRM);
    action.sa_handler = on_signal;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    action.sa_handler = on_tick;
    sigaction(SIGALRM, &action, nullptr);
    if (mebibytes > 0) {
        page_limit = static_cast<long long>(mebibytes) * (1024 * 1024 / sysconf(_SC_PAGESIZE));
    }
    if (seconds > 0) {
        // Past some decades the limit is none; that keeps the sum below within its type.
        deadline = seconds < 1e9 ? now() + static_cast<long long>(seconds * 1e9) : 0;
    }
    if (page_limit != 0) {
        start_timer(PERIOD_US, PERIOD_US);
    } else if (deadline != 0) {
        start_timer(static_cast<long>(seconds * 1e6) + 1, PERIOD_US);
    }
}

StopReason Stop::reason()
{
    return static_cast<StopReason>(stop_reason);
}

void Stop::request(StopReason why)
{
    sigset_t all;
    sigset_t old;
    sigfillset(&all);
    sigprocmask(SIG_BLOCK, &all, &old);
    raise_flag(why);
    sigprocmask(SIG_SETMASK, &old, nullptr);
}

bool Stop::overdue()
{
    return is_overdue != 0;
}

void Stop::owe(const char* text, int fd)
{
    owed_fd = fd;
    owed_text = text;
}

bool Stop::is_owed()
{
    return owed_text != nullptr;
}

void Stop::leave([[maybe_unused]] int status)
{
    in_output = in_output + 1;
#ifndef __SANITIZE_ADDRESS__
    _exit(status); // std::cout and std::cerr hold nothing back at this point
#endif
}

OutputGuard::OutputGuard()
{
    in_output = in_output + 1;
}

OutputGuard::~OutputGuard()
{
    in_output = in_output - 1;
}

void StopTest::operator()() const
{
    if (stop_reason != 0) {
        throw terminated(to_str(Stop::reason()));
    }
}

} // namespace tarq::tool
