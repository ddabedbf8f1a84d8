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
#include "childprocess.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

/// Of the address sanitizer; null in other builds. Children leave without the check at the exit.
extern "C" __attribute__((weak)) int __lsan_do_recoverable_leak_check();

namespace tarq::fuzz {

namespace {

constexpr unsigned seconds_per_case = 60;
constexpr long cases_per_child = 200;
constexpr const char* leak = "memory leak";

struct Settings {
    long count = 1000;
    uint64_t seed = 1;
    int max_failures = 5;
    ApiJudge judge;
    std::string save, replay;
};

class Fuzzer {
public:
    explicit Fuzzer(const Settings& s) : settings_(s), report_(make_shared_report<ApiReport>()) {}

    int replay()
    {
        std::ifstream in(settings_.replay);
        if (!in) {
            throw std::runtime_error("cannot read " + settings_.replay);
        }
        std::ostringstream text;
        text << in.rdbuf();
        const std::string bad = failure_of(read_api_case(text.str()));
        std::cout << (bad.empty() ? "passes" : bad) << '\n';
        return bad.empty() ? 0 : 1;
    }

    int run()
    {
        int failures = 0;
        for (long i = 0; i < settings_.count && failures < settings_.max_failures;) {
            const long begin = i, end = std::min(settings_.count, i + cases_per_child);
            report_->message[0] = 0;
            const std::string bad = in_child([this, i, end] { run_range(i, end); });
            i = end;
            if (bad.empty() && report_->message[0] == 0) {
                continue;
            }
            ++failures;
            if (report_->message == std::string(leak)) {
                i = begin;
                while (i < end && failure_of(make_case(i)).empty()) {
                    ++i;
                }
                report_->running = i;
            }
            i = report_->running + 1;
            handle_failure(report_->running, bad.empty() ? report_->message : bad);
        }
        print_summary(failures);
        return failures == 0 ? 0 : 1;
    }

    ApiCase make_case(long index) const
    {
        std::mt19937_64 rng(settings_.seed * 1000003 + static_cast<uint64_t>(index));
        return random_api_case(rng);
    }

private:
    void run_range(long begin, long end)
    {
        for (long i = begin; i < end; ++i) {
            report_->running = i;
            ++report_->cases;
            alarm(seconds_per_case);
            const std::string bad = run_api_case(make_case(i), settings_.judge, report_);
            if (!bad.empty()) {
                set_message(bad);
                std::_Exit(0);
            }
        }
        set_message(leaks() ? leak : "");
    }

    static bool leaks()
    {
        return __lsan_do_recoverable_leak_check && __lsan_do_recoverable_leak_check() != 0;
    }

    void set_message(const std::string& text)
    {
        std::snprintf(report_->message, sizeof report_->message, "%s", text.c_str());
    }

    std::string failure_of(const ApiCase& c)
    {
        report_->message[0] = 0;
        const std::string bad = in_child([this, &c] {
            alarm(seconds_per_case);
            const std::string found = run_api_case(c, settings_.judge, report_);
            set_message(found.empty() && leaks() ? leak : found);
        });
        return bad.empty() ? report_->message : bad;
    }

    /// The first of the smaller cases that fails still in the same way, as often as there is one.
    ApiCase shrink(ApiCase c)
    {
        const std::string kind = kind_of(failure_of(c));
        for (int size = static_cast<int>(c.calls.size()) / 2; size >= 0;) {
            const std::vector<ApiCase> trials = smaller_cases(c, size);
            const auto it = std::find_if(trials.begin(), trials.end(), [&](const ApiCase& t) {
                const std::string bad = failure_of(t);
                return !bad.empty() && kind_of(bad) == kind;
            });
            if (it != trials.end()) {
                c = ApiCase(*it);
                size = std::max(size, 1);
            } else {
                size = size > 1 ? size / 2 : size - 1;
            }
        }
        return c;
    }

    /// A failure without the number of its call and the terms.
    static std::string kind_of(const std::string& bad)
    {
        const size_t start = bad.find(' ', 5);
        return bad.compare(0, 5, "call ") == 0 && start != std::string::npos ? bad.substr(start, 30)
                                                                             : bad;
    }

    void handle_failure(long index, const std::string& found)
    {
        const ApiReport before = *report_;
        const ApiCase c = shrink(make_case(index));
        const std::string bad = failure_of(c);
        *report_ = before;
        std::ostringstream text;
        text << "# case " << index << " of seed " << settings_.seed << '\n';
        std::istringstream lines(bad.empty() ? "fails only after other cases: " + found : bad);
        for (std::string line; std::getline(lines, line);) {
            text << "# " << line << '\n';
        }
        text << to_text(c);
        std::cout << "FAILURE\n" << text.str() << std::endl;
        if (!settings_.save.empty()) {
            std::filesystem::create_directories(settings_.save);
            std::ofstream(settings_.save + "/api_" + std::to_string(settings_.seed) + "_" +
                          std::to_string(index) + ".trace")
                << text.str();
        }
    }

    void print_summary(int failures) const
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

    Settings settings_;
    ApiReport* report_;
};

Settings parse_arguments(int argc, char** argv)
{
    Settings s;
    for (int i = 1; i < argc; ++i) {
        const std::string name = argv[i];
        if (i + 1 == argc) {
            throw std::runtime_error("option without value: " + name);
        }
        const std::string value = argv[++i];
        if (name == "--count") {
            s.count = std::stol(value);
        } else if (name == "--seed") {
            s.seed = std::stoull(value);
        } else if (name == "--max-failures") {
            s.max_failures = std::stoi(value);
        } else if (name == "--oracle") {
            s.judge.solver = value;
        } else if (name == "--sample") {
            s.judge.sample = std::max(1L, std::stol(value));
        } else if (name == "--save") {
            s.save = value;
        } else if (name == "--replay") {
            s.replay = value;
        } else {
            throw std::runtime_error("unknown option: " + name);
        }
    }
    return s;
}

} // namespace

} // namespace tarq::fuzz

int main(int argc, char** argv)
{
    try {
        const tarq::fuzz::Settings s = tarq::fuzz::parse_arguments(argc, argv);
        tarq::fuzz::Fuzzer f(s);
        return s.replay.empty() ? f.run() : f.replay();
    } catch (const std::exception& e) {
        std::cerr << "fuzz_api: " << e.what() << '\n';
        return 2;
    }
}
