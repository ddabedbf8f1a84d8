// Stops work at random moments and measures how long it takes to come back.
//
//   stop_moments [--moments N] [--cap SECONDS] [--seed S] FILE...
//
// Each script is read and decided once without a stop, for at most --cap seconds. Then it is read and
// decided again --moments times in environments of their own, and each time a termination test says
// stop from a random moment of that span on. The delay runs from the moment to the return of the call
// that was stopped, in CPU time of this process, so that other load does not count. After each stop the
// same environment, without what it had been given, has to answer two small queries, and the script
// again if it was decided within the cap.
// Prints a line per stop that took over 50 ms and per wrong answer, then the counts and the delays at
// the median, the 99th percentile and the end. The exit status is 1 after a wrong answer.
#include "tarq.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <random>
#include <string>
#include <vector>

namespace {

double cpu_seconds()
{
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

struct Deadline {
    double at = 0;
    bool passed = false; // the test has said so
};

int is_late(void* user_data)
{
    auto* d = static_cast<Deadline*>(user_data);
    d->passed = d->passed || cpu_seconds() >= d->at;
    return d->passed;
}

enum class Outcome { UNSAT, SAT, STOPPED, FAILED };

const char* name_of(Outcome o)
{
    constexpr const char* NAMES[] = {"unsat", "sat", "stopped", "failed"};
    return NAMES[static_cast<int>(o)];
}

/// An environment in which the declarations and assertions of a script come and go.
class Session {
public:
    Session()
    {
        tarq_config config = tarq_create_config();
        tarq_set_option(config, "allow_bool_function_args", "true");
        tarq_set_option(config, "model_generation", "true");
        env_ = tarq_create_env(config);
        tarq_destroy_config(config);
    }
    ~Session() { tarq_destroy_env(env_); }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// Reads and decides a script above a backtrack point of its own.
    Outcome run(const char* path, Deadline* deadline)
    {
        FILE* f = std::fopen(path, "r");
        if (!f) {
            return Outcome::FAILED;
        }
        tarq_set_termination_test(env_, deadline ? is_late : nullptr, deadline);
        tarq_push_backtrack_point(env_);
        const tarq_term term = tarq_from_smtlib2_file(env_, f);
        std::fclose(f);
        tarq_result r = TARQ_UNKNOWN;
        if (term.repr && tarq_assert_formula(env_, term) == 0) {
            r = tarq_solve(env_);
        }
        tarq_set_termination_test(env_, nullptr, nullptr);
        return r == TARQ_SAT                  ? Outcome::SAT
               : r == TARQ_UNSAT              ? Outcome::UNSAT
               : deadline && deadline->passed ? Outcome::STOPPED
                                              : Outcome::FAILED;
    }

    void drop_all()
    {
        while (tarq_num_backtrack_points(env_) > 0) {
            tarq_pop_backtrack_point(env_);
        }
    }

    /// Whether two queries of one variable get their answers.
    bool answers_small_queries()
    {
        const tarq_type boolean = tarq_get_bool_type(env_);
        tarq_decl decl = tarq_find_decl(env_, "stop moment");
        if (!decl.repr) {
            decl = tarq_declare_function(env_, "stop moment", boolean);
        }
        const tarq_term p = tarq_make_constant(env_, decl);
        tarq_push_backtrack_point(env_);
        const bool told = tarq_assert_formula(env_, p) == 0;
        const bool sat = tarq_solve(env_) == TARQ_SAT;
        const tarq_term assumption = tarq_make_not(env_, p);
        const bool unsat = tarq_solve_with_assumptions(env_, &assumption, 1) == TARQ_UNSAT;
        return tarq_pop_backtrack_point(env_) == 0 && told && sat && unsat;
    }

    const char* last_error() const { return tarq_last_error_message(env_); }

private:
    tarq_env env_;
};

struct Counts {
    int stops = 0, early = 0, unread = 0, wrong = 0;
    std::vector<double> delays;
};

void stop_once(const char* path, double span, Outcome expected, std::mt19937_64& random,
               Counts* counts)
{
    Session session;
    const double start = cpu_seconds();
    Deadline deadline{start + span * std::uniform_real_distribution<double>(0, 1)(random)};
    const Outcome got = session.run(path, &deadline);
    const double delay = cpu_seconds() - deadline.at;
    if (got != Outcome::STOPPED) {
        ++counts->early;
        if (got != expected && expected != Outcome::STOPPED) {
            ++counts->wrong;
            std::printf("wrong: %s before the stop: %s\n", name_of(got), path);
        }
        return;
    }
    ++counts->stops;
    counts->delays.push_back(delay);
    if (delay > 0.05) {
        std::printf("%.3f s after a stop at %.3f s: %s\n", delay, deadline.at - start, path);
    }
    session.drop_all();
    bool right = session.answers_small_queries();
    if (right && expected != Outcome::STOPPED) {
        right = session.run(path, nullptr) == expected;
    }
    if (!right) {
        ++counts->wrong;
        std::printf("wrong after a stop at %.3f s (%s): %s\n", deadline.at - start,
                    session.last_error(), path);
    }
    std::fflush(stdout);
}

double percentile(const std::vector<double>& sorted, double share)
{
    return sorted.empty()
               ? 0
               : sorted[static_cast<size_t>(share * static_cast<double>(sorted.size() - 1))];
}

} // namespace

int main(int argc, char** argv)
{
    int moments = 3;
    double cap = 1;
    uint64_t seed = 1;
    int i = 1;
    for (; i + 1 < argc && std::strncmp(argv[i], "--", 2) == 0; i += 2) {
        const std::string name = argv[i];
        if (name == "--moments") {
            moments = std::atoi(argv[i + 1]);
        } else if (name == "--cap") {
            cap = std::atof(argv[i + 1]);
        } else if (name == "--seed") {
            seed = std::strtoull(argv[i + 1], nullptr, 10);
        } else {
            std::fprintf(stderr, "stop_moments: unknown option %s\n", argv[i]);
            return 2;
        }
    }
    std::mt19937_64 random(seed);
    Counts counts;
    for (; i < argc; ++i) {
        const double start = cpu_seconds();
        Deadline deadline{start + cap};
        Outcome whole = Outcome::FAILED;
        {
            Session session;
            whole = session.run(argv[i], &deadline);
        }
        const double span = std::min(cpu_seconds() - start, cap);
        if (whole == Outcome::FAILED) {
            ++counts.unread;
            continue;
        }
        for (int k = 0; k < moments; ++k) {
            stop_once(argv[i], span, whole, random, &counts);
        }
    }
    std::sort(counts.delays.begin(), counts.delays.end());
    std::printf(
        "%d stops, %d ended before, %d scripts refused, %d wrong; delay %.4f median, %.4f at 99%%, "
        "%.4f at most\n",
        counts.stops, counts.early, counts.unread, counts.wrong, percentile(counts.delays, 0.5),
        percentile(counts.delays, 0.99), percentile(counts.delays, 1));
    return counts.wrong ? 1 : 0;
}
