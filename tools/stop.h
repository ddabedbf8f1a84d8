// Ending a run from outside: signals, the time limit and the memory limit, and the termination test
// that carries them into the library. One instance of all this per process, as signals are.
#pragma once

#include "base/terminationtest.h"

namespace tarq::tool {

/// Why a run has to end, in the words of (get-info :reason-unknown).
enum class StopReason : int { none, timeout, memout, interrupted };

/// "timeout", "memout" or "interrupted"; an empty text for `none`.
const char* to_str(StopReason reason);

/// The process's stop flag. It is raised once and stays up: by SIGINT or SIGTERM, when the time is
/// over, when the resident set passes its limit, or by `request`. From then on every check answers
/// unknown; what is left of the script runs for a short grace, so that it can still ask why.
/// A watchdog backs this up: should the main thread not come to an end in time, since it is inside
/// some long step that does not poll, the answer that is owed is written by the signal handler and
/// the process ends there. A second SIGINT or SIGTERM ends the process at once.
class Stop {
public:
    /// Installs the handlers and starts the clock.
    /// seconds     time limit from now on, in seconds; 0 for none
    /// mebibytes   limit of the resident set, in MiB; 0 for none
    static void install(double seconds, long mebibytes);

    static bool requested() { return reason() != StopReason::none; }
    static StopReason reason();
    /// Raises the flag, if it is not up yet.
    static void request(StopReason why);
    /// True once the grace after the stop is over: nothing more of the input is read.
    static bool overdue();

    /// Declares what has to be answered if the run is stopped now; the watchdog may have to do it.
    /// text  static text with its line end, or null when nothing is owed
    /// fd    where it goes
    static void owe(const char* text, int fd);
    static bool is_owed();

    /// Ends the process with this status, when everything is said. Freeing millions of objects one
    /// by one can take longer than a stopped run may last, so nothing is torn down; but under
    /// sanitizers this only calls the watchdog off and returns, so that leaks are found.
    static void leave(int status);
};

/// Holds the watchdog back while an answer or the statistics are written.
class OutputGuard {
public:
    OutputGuard();
    ~OutputGuard();
    OutputGuard(const OutputGuard&) = delete;
    OutputGuard& operator=(const OutputGuard&) = delete;
};

/// Throws `TerminationTest::terminated` once the stop flag is up; costs one load.
class StopTest : public TerminationTest {
public:
    void operator()() const override;
};

} // namespace tarq::tool
