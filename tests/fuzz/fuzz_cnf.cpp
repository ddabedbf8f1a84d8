// Differential test of the SAT engine with random clause sets, plain and incremental.
//
//   fuzz_cnf [--count N] [--seed S] [--max-vars V] [--solver "PROGRAM OPTIONS"] [--save DIR]
//   fuzz_cnf [--solver "PROGRAM OPTIONS"] --replay FILE
//
// Each case runs under all four restart strategies, each time with new random values of the other
// options. After sat the model is checked against the clauses and assumptions; after unsat the
// failed assumptions must be among those given and contradict the clauses by an oracle: truth
// tables up to 16 variables, the external solver beyond (without one the larger answers stay
// unchecked, and the default size of the cases is small enough for tables). Cases run in a child
// process, so that a crash or a hang is a finding as well; a failure is shrunk and printed, and
// with --save written to a file for --replay. The exit status is 1 after a failure.
#include "base/configuration.h"
#include "casefuzzer.h"
#include "cnfcase.h"
#include "cnforacle.h"
#include "dpll/dpllpreprocessor.h"
#include "dpll/dpllsolver.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>
#include <stdexcept>

#include <unistd.h>

namespace tarq::fuzz {

namespace {

constexpr unsigned seconds_per_case = 30;
constexpr int num_strategies = 4;

/// What a child tells its parent, in memory both see.
struct Report {
    long running; // index of the case in work
    int strategy;
    long cases, queries, sat, unsat, failed_literals, unchecked, tables, runs;
    uint64_t conflicts, restarts, reductions, eliminated, brought_back, subsumed, strengthened;
    char message[2000]; // of the first failure; empty while all is well
};

void set_value(bool& field, const std::string& text)
{
    field = text == "1";
}
void set_value(int& field, const std::string& text)
{
    field = std::stoi(text);
}
void set_value(double& field, const std::string& text)
{
    field = std::stod(text);
}

/// Runs a case and checks every answer.
class Runner {
public:
    Runner(const Case& c, CnfOracle* oracle, Report* report)
        : case_(c), oracle_(oracle), report_(report), queries_(queries_of(c))
    {
        configure();
        engine_ = std::make_unique<DpllSolver>(config_.dpll, nullptr);
        scopes_.emplace_back();
    }

    /// Returns a description of the first failure, or an empty text.
    std::string run()
    {
        size_t query = 0;
        for (const Op& op : case_.ops) {
            switch (op.kind) {
            case Op::clause: {
                std::vector<dpll::Lit> lits = literals(op.lits);
                engine_->add_clause(lits);
                break;
            }
            case Op::push:
                engine_->push_backtrack_point();
                scopes_.emplace_back();
                break;
            case Op::pop:
                if (scopes_.size() > 1) {
                    engine_->pop_backtrack_point();
                    scopes_.pop_back();
                }
                break;
            case Op::solve: {
                const std::string bad = check(queries_[query]);
                ++query;
                if (!bad.empty()) {
                    return "query " + std::to_string(query) + ": " + bad;
                }
                break;
            }
            }
        }
        report_->conflicts += engine_->get_stats().conflicts;
        report_->restarts += engine_->get_stats().restarts;
        report_->reductions += engine_->get_stats().reductions;
        if (const DpllPreprocessor* p = engine_->get_preprocessor()) {
            report_->eliminated += p->get_stats().eliminated;
            report_->brought_back += p->get_stats().brought_back;
            report_->subsumed += p->get_stats().subsumed;
            report_->strengthened += p->get_stats().strengthened;
        }
        return "";
    }

private:
    void configure()
    {
        for (const auto& [name, text] : case_.options) {
            bool known = false;
            if (name == "random_seed") {
                set_value(config_.random_seed, text);
                known = true;
            }
#define OPT_DPLL(field, ...)                                                                       \
    if (name == #field) {                                                                          \
        set_value(config_.dpll.field, text);                                                       \
        known = true;                                                                              \
    }
#define OPT_DPLL_PREPROCESSOR(field, ...)                                                          \
    if (name == "preprocessor." #field) {                                                          \
        set_value(config_.dpll.preprocessor.field, text);                                          \
        known = true;                                                                              \
    }
#include "base/options.def"
            if (!known) {
                throw std::runtime_error("unknown option " + name);
            }
        }
    }

    int var_of(int v)
    {
        for (const auto& scope : scopes_) {
            if (const auto it = scope.find(v); it != scope.end()) {
                return it->second;
            }
        }
        return scopes_.back()[v] = engine_->new_var();
    }

    std::vector<dpll::Lit> literals(const Lits& lits)
    {
        std::vector<dpll::Lit> out;
        for (int l : lits) {
            out.emplace_back(var_of(std::abs(l)), l < 0);
        }
        return out;
    }

    bool true_in_model(int l)
    {
        const lbool v = engine_->get_model_value(var_of(std::abs(l)));
        return l > 0 ? v.is_true() : v.is_false();
    }

    std::string check(const Query& q)
    {
        const std::vector<dpll::Lit> assumptions = literals(q.assumptions);
        ++report_->queries;
        if (engine_->solve(assumptions)) {
            ++report_->sat;
            for (int l : q.assumptions) {
                if (!true_in_model(l)) {
                    return "assumption " + std::to_string(l) + " is not true in the model";
                }
            }
            for (const Lits& c : q.clauses) {
                if (std::none_of(c.begin(), c.end(), [this](int l) { return true_in_model(l); })) {
                    return "the model satisfies no literal of: " + to_text({{}, {{Op::clause, c}}});
                }
            }
            return "";
        }
        ++report_->unsat;
        Lits failed;
        for (dpll::Lit l : engine_->get_conflict()) {
            const auto at = std::find(assumptions.begin(), assumptions.end(), ~l);
            if (at == assumptions.end()) {
                return "a failed assumption is none of those given";
            }
            failed.push_back(q.assumptions[static_cast<size_t>(at - assumptions.begin())]);
        }
        report_->failed_literals += static_cast<long>(failed.size());
        switch (oracle_->decide(q.clauses, failed)) {
        case CnfOracle::Answer::sat:
            return oracle_->decide(q.clauses, q.assumptions) == CnfOracle::Answer::sat
                       ? "unsat, but there is a model"
                       : "satisfiable with the " + std::to_string(failed.size()) +
                             " failed assumptions";
        case CnfOracle::Answer::unknown:
            ++report_->unchecked;
            break;
        case CnfOracle::Answer::unsat:
            break;
        }
        return "";
    }

    const Case& case_;
    CnfOracle* oracle_;
    Report* report_;
    std::vector<Query> queries_;
    Configuration config_;
    std::unique_ptr<DpllSolver> engine_;
    std::vector<std::map<int, int>> scopes_; // case variable to engine variable, oldest scope first
};

std::string run_case(const Case& c, CnfOracle* oracle, Report* report)
{
    try {
        return Runner(c, oracle, report).run();
    } catch (const std::exception& e) {
        return std::string("exception: ") + e.what();
    }
}

struct Settings : FuzzSettings {
    Settings() { count = 2000; }

    bool take_option(const std::string& name, const std::string& value)
    {
        if (name == "--max-vars") {
            max_vars = std::stoi(value);
        } else if (name == "--solver") {
            solver = value;
        } else {
            return false;
        }
        return true;
    }

    int max_vars = 0; // 0: by whether there is an external solver
    std::string solver;
};

class Fuzzer : public CaseFuzzer<Case, Report> {
public:
    explicit Fuzzer(const Settings& s) : CaseFuzzer(s, "cnf", -1), settings_(s), oracle_(s.solver)
    {
    }

private:
    Case make_case(long index, int strategy) const
    {
        std::mt19937_64 rng(settings_.seed * 1000003 + static_cast<uint64_t>(index));
        // Half of the cases are of the size where truth tables serve.
        const int large = settings_.max_vars > 0     ? settings_.max_vars
                          : settings_.solver.empty() ? CnfOracle::table_limit
                                                     : 120;
        Case c =
            random_case(rng, index % 2 == 0 ? std::min(large, CnfOracle::table_limit - 2) : large);
        for (int s = 0; s < strategy; ++s) {
            random_options(rng);
        }
        c.options = random_options(rng);
        c.options.emplace_back("restart_strategy", std::to_string(strategy));
        return c;
    }

    Case read(const std::string& text) override { return read_case(text); }

    void run_numbered(long index) override
    {
        ++report_->cases;
        for (int s = 0; s < num_strategies; ++s) {
            report_->strategy = s;
            const std::string bad = run_one(make_case(index, s));
            if (!bad.empty()) {
                fail(bad);
            }
        }
    }

    void end_child() override
    {
        report_->tables += oracle_.num_tables();
        report_->runs += oracle_.num_runs();
    }

    std::string run_one(const Case& c) override
    {
        alarm(seconds_per_case);
        return run_case(c, &oracle_, report_);
    }

    Case running_case() override { return make_case(report_->running, report_->strategy); }

    std::string running_name() override
    {
        return std::to_string(report_->running) + "_" + std::to_string(report_->strategy);
    }

    std::vector<Case> smaller(const Case& c, int size) override { return smaller_cases(c, size); }
    size_t num_steps(const Case& c) override { return c.ops.size(); }
    std::string text_of(const Case& c) override { return to_text(c); }

    void print_summary(int failures) override
    {
        const Report& r = *report_;
        std::cout << r.cases << " cases, " << r.queries << " queries (" << r.sat
                  << " sat, all models checked; " << r.unsat << " unsat, " << r.unchecked
                  << " of them unchecked, " << r.failed_literals << " failed assumptions), "
                  << r.tables << " truth tables, " << r.runs << " runs of the external solver, "
                  << r.conflicts << " conflicts, " << r.restarts << " restarts, " << r.reductions
                  << " reductions, " << r.eliminated << " variables eliminated, " << r.brought_back
                  << " brought back, " << r.subsumed << " clauses subsumed, " << r.strengthened
                  << " strengthened, " << failures << " failures\n";
    }

    const Settings settings_;
    CnfOracle oracle_;
};

} // namespace

} // namespace tarq::fuzz

int main(int argc, char** argv)
{
    return tarq::fuzz::fuzz_main<tarq::fuzz::Fuzzer, tarq::fuzz::Settings>("fuzz_cnf", argc, argv);
}
