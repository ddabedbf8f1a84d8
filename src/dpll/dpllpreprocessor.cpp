// The runs of the preprocessor, and what it does to models.
#include "dpll/dpllpreprocessor.h"

#include "base/logger.h"
#include "base/terminationtest.h"
#include "dpll/dpllsolver.h"

#include <algorithm>
#include <ctime>

namespace tarq {

using dpll::Clause;
using dpll::Lit;

namespace {

// Work is counted in literals looked at, so that runs are bounded and repeat exactly. Searches that
// are simplified again and again get less each time.
constexpr int64_t first_budget = 40'000'000;
constexpr int64_t later_budget = 4'000'000;
constexpr uint32_t poll_every = 256;

double get_cpu_time_sec()
{
    return static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

} // namespace

DpllPreprocessor::DpllPreprocessor(const Configuration::Dpll::Preprocessor& config,
                                   DpllSolver* engine)
    : config_(config), engine_(engine), occurrences_(OccursDeleted()), elim_heap_(ElimLt{&n_occ_})
{
}

DpllPreprocessor::~DpllPreprocessor() = default; // the engine's pools give all clauses back

/// Whether a run could change anything.
bool DpllPreprocessor::has_work(bool eliminates) const
{
    const std::vector<size_t>& levels = engine_->trail_lim_;
    const size_t level_zero = levels.empty() ? engine_->trail_size_ : levels[0];
    return subsumption_head_ < subsumption_queue_.size() || trail_done_ < level_zero ||
           !fresh_.empty() || !brought_back_.empty() ||
           (eliminates && (!elim_heap_.empty() || !touched_list_.empty()));
}

bool DpllPreprocessor::boolean_preprocessing(bool first)
{
    DpllSolver& e = *engine_;
    if (e.decision_level() > e.num_backtrack_points() || !e.pending_units_.empty() ||
        (e.theory_manager_ && e.theory_manager_->has_lemmas())) {
        return true;
    }
    const bool eliminates = e.stats_.checks % static_cast<uint64_t>(config_.elimination_phase) == 0;
    if (!has_work(eliminates)) {
        return true;
    }
    // Literals of the points' levels go with the points, so nothing may be built on them.
    e.cancel_until(0);
    if (!e.propagate_at_base()) {
        return false;
    }
    for (size_t i = 0; i < e.trail_size_; ++i) {
        // No one asks for reasons at level 0, but for whether they are a theory's own.
        Clause*& reason = e.vardata_[index(e.trail_[i].var())].reason;
        if (reason != e.theory_reason_) {
            reason = nullptr;
        }
    }
    if (e.log_on(3)) {
        (*e.logger_)(e.log_section_)
            << loglevel(3) << e.log_prefix_ << "starting preprocessing with " << elim_heap_.size()
            << " candidates" << EndLog;
    }
    enter_fresh_clauses();
    subsumption_budget_ = elimination_budget_ = first ? first_budget : later_budget;
    const double start = get_cpu_time_sec();
    bool consistent = false;
    running_ = true;
    try {
        consistent = run(eliminates);
        clean_solver_database();
    } catch (...) {
        clean_solver_database(); // whatever was done is right
        running_ = false;
        throw;
    }
    running_ = false;
    if (changed_ && eliminates) {
        print_stats(get_cpu_time_sec() - start, !consistent);
    }
    changed_ = false;
    if (eliminates) {
        last_var_count_ = e.num_vars();
    }
    if (!consistent) {
        e.unsat_level_ = 0;
        return false;
    }
    return e.propagate_at_base(); // learnt clauses may follow the new units
}

/// False when the clauses are unsatisfiable.
bool DpllPreprocessor::run(bool eliminates)
{
    reset_elimination_stats();
    if (!backward_subsumption_check() || !perform_reelimination()) {
        return false;
    }
    if (!eliminates) {
        return backward_subsumption_check();
    }
    for (;;) {
        if (!backward_subsumption_check() || !eliminate_from_heap()) {
            return false;
        }
        if (subsumption_head_ == subsumption_queue_.size()) {
            gather_touched_clauses();
        }
        if (subsumption_head_ == subsumption_queue_.size()) {
            return true;
        }
    }
}

/// Puts what happened to the clauses since the last run into the order of elimination.
void DpllPreprocessor::reset_elimination_stats()
{
    occurrences_.clean_all();
    std::vector<int> candidates;
    for (int i = 0; i < elim_heap_.size(); ++i) {
        candidates.push_back(elim_heap_[i]);
    }
    for (int var : touched_list_) {
        if (var < engine_->num_vars() && !elim_heap_.contains(var) && may_be_eliminated(var)) {
            candidates.push_back(var);
        }
    }
    elim_heap_.build(candidates.begin(), candidates.end());
}

void DpllPreprocessor::poll()
{
    if (++unpolled_ >= poll_every) {
        unpolled_ = 0;
        if (engine_->termination_test_) {
            (*engine_->termination_test_)();
        }
    }
}

// -- Models

void DpllPreprocessor::extend_model(std::vector<lbool>& model) const
{
    for (size_t i = rewrite_trail_.size(); i-- > 0;) {
        if (rewrite_trail_[i]) {
            rewrite_trail_[i]->extend_model_based_on_this_rewrite(model);
        }
    }
}

/// Whatever the value, one side of the clauses is satisfied by it. The other is by the rest of the
/// assignment, for one of the two values, since all resolvents are.
void DpllPreprocessor::VariableEliminationStep::extend_model_based_on_this_rewrite(
    std::vector<lbool>& model) const
{
    const int sign = saved_[0].size() <= saved_[1].size() ? 0 : 1;
    const auto satisfied = [&](const Clause* c) {
        return std::any_of(c->begin(), c->end(), [&](Lit l) {
            lbool& v = model[static_cast<size_t>(l.var())];
            if (v.is_undef() && l.var() != var_) {
                v = l_False; // free until now, but not any longer
            }
            return l.var() != var_ && (l.sign() ? v.is_false() : v.is_true());
        });
    };
    const bool needed = !std::all_of(saved_[sign].begin(), saved_[sign].end(), satisfied);
    model[static_cast<size_t>(var_)] = needed == (sign == 0) ? l_True : l_False;
}

// -- Counters

void DpllPreprocessor::print_stats(double time, bool unsat) const
{
    const DpllSolver& e = *engine_;
    if (!e.log_on(3)) {
        return;
    }
    const auto line = [&e](const char* text, const auto& value) {
        (*e.logger_)(e.log_section_) << loglevel(3) << e.log_prefix_ << text << value << EndLog;
    };
    line("clauses added: ", stats_.clauses_added);
    line("clauses removed: ", stats_.clauses_removed);
    line("number of subsumptions: ", stats_.subsumed);
    line("strengthened clauses: ", stats_.strengthened);
    line("subsumption calls: ", stats_.subsumption_calls);
    line("elimination attempts: ", stats_.elimination_attempts);
    line("variables eliminated: ", stats_.eliminated);
    line("elapsed time: ", time);
    line("result: ", unsat ? "unsat" : "unknown");
}

} // namespace tarq
