// What the fuzzers in C++ have in common: numbered cases that run in child processes, failures that
// are shrunk, printed and saved, and a command line.
#pragma once

#include "childprocess.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <unistd.h>

namespace tarq::fuzz {

struct FuzzSettings {
    long count = 1000;
    uint64_t seed = 1;
    int max_failures = 5;
    std::string save, replay;
};

/// Runs cases and deals with failures.
/// Case    of a sequence of steps
/// Report  in memory that children share: `running`, the index of the case in work, and `message`,
///         the text of the first failure
template <class Case, class Report>
class CaseFuzzer {
public:
    /// name     begins the names of saved files
    /// smallest the last argument for smaller_cases
    CaseFuzzer(const FuzzSettings& s, const char* name, int smallest)
        : report_(make_shared_report<Report>()), settings_(s), name_(name), smallest_(smallest)
    {
    }
    virtual ~CaseFuzzer() = default;

    int replay()
    {
        std::ifstream in(settings_.replay);
        if (!in) {
            throw std::runtime_error("cannot read " + settings_.replay);
        }
        std::ostringstream text;
        text << in.rdbuf();
        const std::string bad = failure_of(read(text.str()));
        std::cout << (bad.empty() ? "passes" : bad) << '\n';
        return bad.empty() ? 0 : 1;
    }

    int run()
    {
        int failures = 0;
        for (long i = 0; i < settings_.count && failures < settings_.max_failures;) {
            const long begin = i;
            const long end = std::min(settings_.count, begin + CASES_PER_CHILD);
            report_->message[0] = 0;
            const std::string bad = in_child([&] {
                for (long k = begin; k < end; ++k) {
                    report_->running = k;
                    run_numbered(k);
                }
                end_child();
            });
            i = end;
            if (bad.empty() && report_->message[0] == 0) {
                continue;
            }
            ++failures;
            const std::string found = bad.empty() ? report_->message : bad;
            find_culprit(begin, end);
            i = report_->running + 1;
            handle_failure(found);
        }
        print_summary(failures);
        return failures == 0 ? 0 : 1;
    }

protected:
    virtual Case read(const std::string& text) = 0;
    /// In a child: runs the case of that number, and ends the process with fail() when it fails.
    virtual void run_numbered(long index) = 0;
    /// In a child, after its last case.
    virtual void end_child() {}
    /// The failure of a case, in a child; empty for none.
    virtual std::string run_one(const Case& c) = 0;
    /// Sets `running` for a failure that was noticed after its case.
    virtual void find_culprit(long, long) {}
    /// The case that `running` tells of, and its name.
    virtual Case running_case() = 0;
    virtual std::string running_name() { return std::to_string(report_->running); }
    virtual std::vector<Case> smaller(const Case& c, int size) = 0;
    virtual size_t num_steps(const Case& c) = 0;
    virtual std::string text_of(const Case& c) = 0;
    /// What has to stay the same when a case is shrunk.
    virtual std::string kind_of(const std::string&) { return ""; }
    virtual void print_summary(int failures) = 0;

    void set_message(const std::string& text)
    {
        std::snprintf(report_->message, sizeof report_->message, "%s", text.c_str());
    }

    [[noreturn]] void fail(const std::string& text)
    {
        set_message(text);
        std::_Exit(0);
    }

    std::string failure_of(const Case& c)
    {
        report_->message[0] = 0;
        const std::string bad = in_child([&] { set_message(run_one(c)); });
        return bad.empty() ? report_->message : bad;
    }

    Report* report_;

private:
    static constexpr long CASES_PER_CHILD = 200;

    /// The first of the smaller cases that fails still in the same way, as often as there is one.
    Case shrink(Case c)
    {
        const std::string kind = kind_of(failure_of(c));
        for (int size = static_cast<int>(num_steps(c)) / 2; size >= smallest_;) {
            const std::vector<Case> trials = smaller(c, size);
            const auto it = std::find_if(trials.begin(), trials.end(), [&](const Case& t) {
                const std::string bad = failure_of(t);
                return !bad.empty() && kind_of(bad) == kind;
            });
            if (it != trials.end()) {
                c = Case(*it);
                size = std::max(size, 1);
            } else {
                size = size > 1 ? size / 2 : size - 1;
            }
        }
        return c;
    }

    void handle_failure(const std::string& found)
    {
        const Report before = *report_;
        const Case c = shrink(running_case());
        const std::string bad = failure_of(c);
        *report_ = before;
        std::ostringstream text;
        text << "# case " << running_name() << " of seed " << settings_.seed << '\n';
        std::istringstream lines(bad.empty() ? "fails only after other cases: " + found : bad);
        for (std::string line; std::getline(lines, line);) {
            text << "# " << line << '\n';
        }
        text << text_of(c);
        std::cout << "FAILURE\n" << text.str() << std::endl;
        if (!settings_.save.empty()) {
            std::filesystem::create_directories(settings_.save);
            std::ofstream(settings_.save + "/" + name_ + "_" + std::to_string(settings_.seed) +
                          "_" + running_name() + ".trace")
                << text.str();
        }
    }

    const FuzzSettings settings_;
    const std::string name_;
    const int smallest_;
};

/// Reads pairs of an option and its value.
/// own  takes the options that are not common to all fuzzers; false for an unknown one
inline void parse_arguments(int argc, char** argv, FuzzSettings* s,
                            const std::function<bool(const std::string&, const std::string&)>& own)
{
    for (int i = 1; i < argc; ++i) {
        const std::string name = argv[i];
        if (i + 1 == argc) {
            throw std::runtime_error("option without value: " + name);
        }
        const std::string value = argv[++i];
        if (name == "--count") {
            s->count = std::stol(value);
        } else if (name == "--seed") {
            s->seed = std::stoull(value);
        } else if (name == "--max-failures") {
            s->max_failures = std::stoi(value);
        } else if (name == "--save") {
            s->save = value;
        } else if (name == "--replay") {
            s->replay = value;
        } else if (!own(name, value)) {
            throw std::runtime_error("unknown option: " + name);
        }
    }
}

/// The main function of a fuzzer: `Settings` is a FuzzSettings with take_option(), `Fuzzer` is made
/// of one.
template <class Fuzzer, class Settings>
int fuzz_main(const char* program, int argc, char** argv)
{
    try {
        Settings s;
        parse_arguments(argc, argv, &s, [&s](const std::string& name, const std::string& value) {
            return s.take_option(name, value);
        });
        Fuzzer f(s);
        return s.replay.empty() ? f.run() : f.replay();
    } catch (const std::exception& e) {
        std::cerr << program << ": " << e.what() << '\n';
        return 2;
    }
}

} // namespace tarq::fuzz
