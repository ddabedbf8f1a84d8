// The search loop: propagate, ask the theories, analyse conflicts, decide.
#include "base/logger.h"
#include "base/terminationtest.h"
#include "dpll/dpllpreprocessor.h"
#include "dpll/dpllsolver.h"
#include "dpll/ghostfilter.h"

#include <algorithm>
#include <cstdio>
#include <ctime>

namespace tarq {

using dpll::Clause;
using dpll::Lit;
using dpll::lit_Undef;

namespace {

constexpr uint64_t poll_conflicts = 100;
constexpr uint64_t poll_propagations = 200000;
constexpr int poll_steps = 1000;
constexpr uint64_t tick_decisions = 100;

} // namespace

// -- Entry points

bool DpllSolver::solve(bool keep_trail)
{
    return solve(std::vector<Lit>(), keep_trail);
}

bool DpllSolver::solve(const std::vector<Lit>& assumptions, bool keep_trail)
{
    return solve_limited(assumptions, 0, 0, 0, keep_trail) == SearchResult::sat;
}

DpllSolver::SearchResult DpllSolver::solve_limited(const std::vector<Lit>& assumptions,
                                                   uint64_t conflict_limit, uint64_t decision_limit,
                                                   uint64_t propagation_limit, bool keep_trail)
{
    conflict_limit_ = conflict_limit;
    decision_limit_ = decision_limit;
    propagation_limit_ = propagation_limit;
    return do_solve(assumptions, keep_trail);
}

/// Whatever ends the search, no search level stays open, but for a model that is to be kept.
DpllSolver::SearchResult DpllSolver::do_solve(const std::vector<Lit>& assumptions, bool keep_trail)
{
    conflict_.clear();
    if (unsat_level_ >= 0) {
        return SearchResult::unsat;
    }
    ++stats_.checks;
    preprocessed_ = false;
    cancel_until(std::min(decision_level(), num_backtrack_points())); // what a kept trail left
    put_back_ghost_vars(); // a search that ended without a decision has not gone back
    assumptions_ = assumptions;
    if (preprocessor_) {
        preprocessor_->bring_back(assumptions_, true);
    }
    SearchResult result;
    try {
        result = run_searches();
        if (result == SearchResult::sat) {
            build_model();
        }
    } catch (...) {
        cancel_until(std::min(decision_level(), num_backtrack_points()));
        throw;
    }
    if (result != SearchResult::sat || !keep_trail) {
        cancel_until(std::min(decision_level(), num_backtrack_points()));
    }
    return result;
}

DpllSolver::SearchResult DpllSolver::run_searches()
{
    if (log_on(2)) {
        (*logger_)(log_section_) << loglevel(2) << log_prefix_ << std::string(72, '=') << EndLog;
        (*logger_)(log_section_) << loglevel(2) << log_prefix_
                                 << "searching (vars: " << order_heap_.size()
                                 << ", clauses: " << clauses_.size() << ")" << EndLog;
    }
    solve_conflicts_ = solve_decisions_ = solve_propagations_ = 0;
    polled_conflicts_ = polled_propagations_ = 0;
    unpolled_steps_ = poll_steps; // asks at once
    init_search_parameters();
    for (;;) {
        log_restart();
        const SearchResult result = search();
        if (result != SearchResult::undecided || limit_reached()) {
            return result;
        }
        update_restart_limit();
    }
}

void DpllSolver::log_restart() const
{
    if (!log_on(2)) {
        return;
    }
    Logger& log = (*logger_)(log_section_);
    log << loglevel(2) << log_prefix_ << "restarting (after " << solve_conflicts_ << " conflicts";
    if (config_.restart_strategy == 2) {
        char text[32];
        std::snprintf(text, sizeof text, "%.3f", agility_);
        log << ", with agility " << text << " and luby unit " << luby_unit_;
    }
    log << ")" << EndLog;
}

void DpllSolver::build_model()
{
    get_full_assignment(model_);
    if (ghost_filter_ && config_.ghost_filtering) {
        drop_ghosts_from_model();
    }
    if (config_.minimize_model) {
        minimize_model();
    }
}

bool DpllSolver::limit_reached() const
{
    return (conflict_limit_ && solve_conflicts_ >= conflict_limit_) ||
           (decision_limit_ && solve_decisions_ >= decision_limit_) ||
           (propagation_limit_ && solve_propagations_ >= propagation_limit_);
}

/// Bounded by work of each kind: conflicts alone may be far apart, and a single one may cost much.
void DpllSolver::poll_termination()
{
    if (solve_conflicts_ - polled_conflicts_ < poll_conflicts && ++unpolled_steps_ < poll_steps &&
        solve_propagations_ - polled_propagations_ < poll_propagations) {
        return;
    }
    polled_conflicts_ = solve_conflicts_;
    polled_propagations_ = solve_propagations_;
    unpolled_steps_ = 0;
    if (termination_test_) {
        (*termination_test_)();
    }
}

// -- The loop

/// Searches until the result is known, a restart is due or a limit is reached; the last two are
/// `undecided`.
DpllSolver::SearchResult DpllSolver::search()
{
    search_conflicts_ = 0;
    ++stats_.restarts;
    for (;;) {
        poll_termination();
        if (limit_reached()) {
            return SearchResult::undecided;
        }
        if (restart_due()) {
            cancel_until(std::min(decision_level(), num_backtrack_points()));
            return SearchResult::undecided;
        }
        switch (search_step()) {
        case Step::sat:
            return SearchResult::sat;
        case Step::unsat:
            return SearchResult::unsat;
        case Step::next:
        case Step::go_on:
            break;
        }
    }
}

/// One round: up to the first thing that changes the assignment or the clauses. The order matters:
/// theories are asked only at a fixpoint with all points open, assumptions come before free
/// decisions.
DpllSolver::Step DpllSolver::search_step()
{
    if (unsat_level_ >= 0 || (!pending_units_.empty() && !add_pending_units())) {
        return Step::unsat;
    }
    if (Clause* confl = propagate()) {
        return search_conflict(confl, "boolean conflict: ");
    }
    Step s = search_btpoints();
    if (s == Step::go_on && (theory_manager_ || allsat_hook_)) {
        s = search_theory(true);
    }
    if (s == Step::go_on) {
        s = search_base_upkeep();
    }
    if (s == Step::go_on) {
        s = search_assumptions();
    }
    if (s != Step::go_on) {
        return s;
    }
    if (stats_.decisions == 0) {
        stats_.first_decision_seconds = static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
    }
    ++stats_.decisions;
    ++solve_decisions_;
    if (logger_ && stats_.decisions % tick_decisions == 0) {
        logger_->tick();
    }
    const Lit next = pick_branch_lit();
    if (next != lit_Undef) {
        decide(next);
        return Step::next;
    }
    return search_full_assignment();
}

DpllSolver::Step DpllSolver::search_conflict(Clause* confl, const char* text)
{
    if (confl) {
        log_clause(3, text, confl->begin(), confl->end());
    }
    ++search_conflicts_;
    return backjump_and_learn(confl) ? Step::next : Step::unsat;
}

void DpllSolver::decide(Lit l)
{
    new_decision_level();
    unchecked_enqueue(l, nullptr);
}

/// Asserts the points that have no level yet, one per round.
DpllSolver::Step DpllSolver::search_btpoints()
{
    while (decision_level() < num_backtrack_points()) {
        const Lit b = btpoints_[index(decision_level())];
        const lbool v = value(b);
        if (v.is_false()) {
            unsat_level_ = decision_level() + 1;
            return Step::unsat; // no assumption took part
        }
        if (v.is_undef()) {
            decide(b);
            return Step::next;
        }
        new_decision_level();
    }
    return Step::go_on;
}

/// Asks the theories about what is new on the trail.
/// approx  the cheap check, else the complete one
DpllSolver::Step DpllSolver::search_theory(bool approx)
{
    check_theory(approx);
    if (theory_manager_ && theory_manager_->conflict()) {
        return search_conflict(get_theory_conflict(),
                               approx ? "theory conflict: " : "theory complete conflict: ");
    }
    const int r = add_theory_lemmas();
    if (r == 1) {
        return Step::unsat;
    }
    const bool enqueued = enqueue_theory_implications();
    return r == 0 || enqueued || !pending_units_.empty() ? Step::next : Step::go_on;
}

DpllSolver::Step DpllSolver::search_base_upkeep()
{
    if (decision_level() <= num_backtrack_points() && !simplify()) {
        return Step::unsat;
    }
    reduce_db_if_due();
    return decision_level() < num_backtrack_points() ? Step::next : Step::go_on;
}

DpllSolver::Step DpllSolver::search_assumptions()
{
    size_t i = index(decision_level() - num_backtrack_points());
    for (; i < assumptions_.size(); ++i) {
        const Lit a = assumptions_[i];
        const lbool v = value(a);
        if (v.is_false()) {
            analyze_final(~a, conflict_);
            return Step::unsat;
        }
        if (v.is_undef()) {
            decide(a);
            return Step::next;
        }
        new_decision_level();
    }
    return Step::go_on;
}

DpllSolver::Step DpllSolver::search_full_assignment()
{
    if (theory_manager_) {
        const Step s = search_theory(false);
        if (s != Step::go_on) {
            return s;
        }
        const int back = theory_manager_->boolean_model_found();
        if (back >= 0) {
            cancel_until(back);
            return Step::next;
        }
        const Lit next = pick_branch_lit(); // the theories may have made new variables
        if (next != lit_Undef) {
            decide(next);
            return Step::next;
        }
        const Step last = pending_units_.empty() ? search_theory(false) : Step::next;
        if (last != Step::go_on) {
            return last;
        }
        if (config_.parent->model_generation && !allsat_) {
            theory_manager_->build_model();
        }
    }
    if (!pending_units_.empty()) {
        return Step::next;
    }
    if (!allsat_) {
        return Step::sat;
    }
    return allsat_backjump_and_learn() ? Step::next : Step::unsat;
}

// -- Decisions

uint32_t DpllSolver::next_random()
{
    rnd_seed_ = (rnd_seed_ * 25214903917U + 11) & 0xFFFDFFFFFFFFFFFFU;
    return static_cast<uint32_t>(rnd_seed_ >> 16);
}

/// The literal by which an unassigned variable is decided.
Lit DpllSolver::phase_of(int var)
{
    const lbool forced = forced_phase_[index(var)];
    if (!forced.is_undef()) {
        return Lit(var, forced.is_false());
    }
    return Lit(var, polarity_[index(var)] != l_True.raw());
}

Lit DpllSolver::pick_preferred()
{
    for (int var : preferred_) {
        if (!is_assigned(var) && !is_eliminated(var)) {
            return phase_of(var);
        }
    }
    return lit_Undef;
}

/// The literal to decide next, or lit_Undef when all decision variables are assigned.
Lit DpllSolver::pick_branch_lit()
{
    if (!preferred_.empty()) {
        const Lit l = pick_preferred();
        if (l != lit_Undef) {
            return l;
        }
    }
    const auto can_decide = [this](int var) {
        return !is_assigned(var) && decision_[index(var)] != 0 && !is_eliminated(var);
    };
    int var = -1;
    bool random_sign = false;
    const uint32_t r = next_random() % 2147483647U;
    if (config_.branching_random_frequency > r / 2147483647.0 && !order_heap_.empty()) {
        const uint32_t at = next_random() % static_cast<uint32_t>(order_heap_.size());
        const int candidate = order_heap_[static_cast<int>(at)];
        if (can_decide(candidate)) {
            var = candidate;
            ++stats_.random_decisions;
            random_sign = config_.branching_random_ignore_polarity;
            if (config_.branching_random_invalidate_phase_cache) {
                polarity_[index(var)] = phase_invalidated;
            }
        }
    }
    for (;; var = -1) {
        while (var == -1 && !order_heap_.empty()) {
            const int candidate = order_heap_.pop();
            if (can_decide(candidate)) {
                var = candidate;
            }
        }
        if (var == -1) {
            return lit_Undef;
        }
        if (!ghost_filter_ || !config_.ghost_filtering || !ghost_filter_->is_ghost(var)) {
            break;
        }
        order_heap_.remove(var);
        ghost_vars_.push_back(var);
    }
    if (random_sign && forced_phase_[index(var)].is_undef()) {
        return Lit(var, (next_random() & 1) != 0);
    }
    return phase_of(var);
}

} // namespace tarq
