// Random sequences of calls of the exported interface, over all theories, with random options.
//
//   fuzz_api [--count N] [--seed S] [--oracle "PROGRAM OPTIONS"] [--sample N] [--save DIR]
//   fuzz_api --replay FILE
//
// A sequence makes environments, terms, assertions, backtrack points, checks with and without
// assumptions, models, cores, enumerations, collections of terms; it stops checks in the middle, and
// about a tenth of its calls are misuse, which has to fail with a message and to change nothing.
// Models are evaluated by the library and by the evaluator of the tests; what has no model is
// decided again in a new environment with other options, and one in N of these answers by an
// external solver. Sequences run in child processes, so that a crash or a hang is a finding as well;
// a failure is shrunk and printed, and with --save written to a file for --replay. The exit status
// is 1 after a failure.
#include "apicase.h"
#include "apirunner.h"
#include "casefuzzer.h"

#include <random>

/// Of the address sanitizer; null in other builds. Children leave without the check at the exit.
extern "C" __attribute__((weak)) int __lsan_do_recoverable_leak_check();

namespace tarq::fuzz {

namespace {

constexpr unsigned seconds_per_case = 60;
constexpr const char* leak = "memory leak";

struct Settings : FuzzSettings {
    ApiJudge judge;

    bool take_option(const std::string& name, const std::string& value)
    {
        if (name == "--oracle") {
            judge.solver = value;
        } else if (name == "--sample") {
            judge.sample = std::max(1L, std::stol(value));
        } else {
            return false;
        }
        return true;
    }
};

class Fuzzer : public CaseFuzzer<ApiCase, ApiReport> {
public:
    explicit Fuzzer(const Settings& s) : CaseFuzzer(s, "api", 0), settings_(s) {}

private:
    ApiCase make_case(long index) const
    {
        std::mt19937_64 rng(settings_.seed * 1000003 + static_cast<uint64_t>(index));
        return random_api_case(rng);
    }

    static bool leaks()
    {
        return __lsan_do_recoverable_leak_check && __lsan_do_recoverable_leak_check() != 0;
    }

    ApiCase read(const std::string& text) override { return read_api_case(text); }

    void run_numbered(long index) override
    {
        ++report_->cases;
        alarm(seconds_per_case);
        const std::string bad = run_api_case(make_case(index), settings_.judge, report_);
        if (!bad.empty()) {
            fail(bad);
        }
    }

    void end_child() override { set_message(leaks() ? leak : ""); }

    std::string run_one(const ApiCase& c) override
    {
        alarm(seconds_per_case);
        const std::string found = run_api_case(c, settings_.judge, report_);
        return found.empty() && leaks() ? leak : found;
    }

    void find_culprit(long begin, long end) override
    {
        if (report_->message == std::string(leak)) {
            long i = begin;
            while (i + 1 < end && failure_of(make_case(i)).empty()) {
                ++i;
            }
            report_->running = i;
        }
    }

    ApiCase running_case() override { return make_case(report_->running); }

    std::vector<ApiCase> smaller(const ApiCase& c, int size) override
    {
        return smaller_cases(c, size);
    }

    size_t num_steps(const ApiCase& c) override { return c.calls.size(); }
    std::string text_of(const ApiCase& c) override { return to_text(c); }

    /// A failure without the number of its call and the terms.
    std::string kind_of(const std::string& bad) override
    {
        const size_t start = bad.find(' ', 5);
        return bad.compare(0, 5, "call ") == 0 && start != std::string::npos ? bad.substr(start, 30)
                                                                             : bad;
    }

    void print_summary(int failures) override
    {
        const ApiReport& r = *report_;
        std::cout << r.cases << " sequences, " << r.calls << " calls (" << r.refused
                  << " refused as they have to be), " << r.sat << " sat, " << r.unsat << " unsat, "
                  << r.no_answer << " without an answer, " << r.stopped << " calls stopped, "
                  << r.given_up << " given up, " << r.values << " values checked, " << r.cores
                  << " cores, " << r.rechecks << " checks repeated, " << r.judged << " judged, "
                  << r.unjudged << " not judged by the external solver, " << failures
                  << " failures\n";
    }

    const Settings settings_;
};

} // namespace

} // namespace tarq::fuzz

int main(int argc, char** argv)
{
    return tarq::fuzz::fuzz_main<tarq::fuzz::Fuzzer, tarq::fuzz::Settings>("fuzz_api", argc, argv);
}
