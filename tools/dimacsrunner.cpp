#include "dimacsrunner.h"

#include "base/configuration.h"
#include "dpll/dimacs.h"
#include "dpll/dpllsolver.h"
#include "processstats.h"
#include "stop.h"

#include <iostream>
#include <new>
#include <sstream>

namespace tarq::tool {

namespace {

// What suits clauses without the structure of a formula: frequent restarts driven by the quality of
// the learnt clauses, and no random decisions, which cost more on long runs than they gain.
constexpr struct {
    const char* name;
    const char* value;
} DIMACS_OPTIONS[] = {
    {"dpll.restart_strategy", "3"},
    {"dpll.glucose_learnt_minimization", "true"},
    {"dpll.branching_random_frequency", "0"},
};

/// Few learnt clauses, so that propagation stays fast and memory small: the limit starts at a third
/// of the clauses, grows slowly, and each reduction drops more than half.
void keep_few_learnts(Configuration::Dpll* config)
{
    config->learnt_limit_min = 300;
    config->learnt_limit_scale = 1;
    config->learnt_limit_factor = 1.005;
    config->reduce_fraction = 0.6;
}

constexpr size_t LINE_WIDTH = 78;
constexpr size_t CHUNK = size_t(1) << 16; // of the values, in bytes
constexpr int SATISFIABLE = 10;
constexpr int UNSATISFIABLE = 20;

/// Writes the values of variables 1 to `num_vars` as "v" lines, ended by 0. A variable that nothing
/// depends on counts as false.
void print_values(const DpllSolver& solver, int num_vars, OutputChannel* out)
{
    std::string text;
    std::string line = "v";
    const auto add = [&](const std::string& word) {
        if (line.size() + 1 + word.size() > LINE_WIDTH) {
            text += line + '\n';
            line = "v";
            if (text.size() >= CHUNK) {
                out->write(text);
                text.clear();
            }
        }
        line += ' ' + word;
    };
    for (int var = 0; var < num_vars; ++var) {
        add(std::to_string(solver.get_model_value(var).is_true() ? var + 1 : -var - 1));
    }
    add("0");
    out->write(text + line + '\n');
}

void print_stats(const DpllSolver& solver, OutputChannel* out)
{
    const DpllSolver::Stats& stats = solver.get_stats();
    const std::pair<const char*, uint64_t> rows[] = {
        {"sat-restarts", stats.restarts},
        {"sat-decisions", stats.decisions},
        {"sat-random-decisions", stats.random_decisions},
        {"sat-propagations", stats.propagations},
        {"sat-watched-clauses-visited", stats.watched_clauses_visited},
        {"sat-binary-watched-clauses-visited", stats.binary_watched_clauses_visited},
        {"sat-conflicts", stats.conflicts},
        {"sat-reductions", stats.reductions},
        {"sat-learnt-removed", stats.learnt_removed},
    };
    std::ostringstream text;
    for (const auto& [name, value] : rows) {
        text << "c :" << name << ' ' << value << '\n';
    }
    print_process_stats(text, "c ");
    out->write(text.str());
}

/// Reads and solves. Returns the exit status, 0 when the run was stopped.
int solve(InputBuffer* input, DpllSolver* solver, OutputChannel* out)
{
    try {
        const StopTest test;
        solver->set_termination_test(&test);
        std::istream in(input);
        const dimacs::Summary summary = dimacs::read(in, solver);
        test();
        if (!solver->solve()) {
            Stop::owe(nullptr, 0);
            out->line("s UNSATISFIABLE");
            return UNSATISFIABLE;
        }
        Stop::owe(nullptr, 0);
        out->line("s SATISFIABLE");
        print_values(*solver, summary.num_vars, out);
        return SATISFIABLE;
    } catch (const TerminationTest::terminated&) {
    } catch (const std::bad_alloc&) {
        Stop::request(StopReason::memout);
    } catch (const Exception& e) {
        // Where a stop ended the input, the text is broken off, not wrong.
        if (!Stop::requested()) {
            Stop::owe(nullptr, 0);
            std::cerr << "tarq: error: " << e.what() << '\n';
            return 1;
        }
    }
    Stop::owe(nullptr, 0);
    out->line("s UNKNOWN");
    return 0;
}

} // namespace

void set_dimacs_options(LibraryOptions* options)
{
    for (const auto& [name, value] : DIMACS_OPTIONS) {
        options->set_default(name, value);
    }
}

int run_dimacs(InputBuffer* input, const LibraryOptions& options, bool with_stats)
{
    OutputChannel out(1);
    Stop::owe("s UNKNOWN\n", out.fd());
    Configuration config;
    options.build(&config);
    keep_few_learnts(&config.dpll);
    DpllSolver solver(config.dpll, nullptr);
    const int status = solve(input, &solver, &out);
    if (with_stats && status != 1) {
        print_stats(solver, &out);
    }
    Stop::leave(status);
    return status;
}

} // namespace tarq::tool
