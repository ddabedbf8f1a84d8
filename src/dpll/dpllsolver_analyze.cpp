// From a conflict to a learnt clause: first unique implication point, minimisation, backjump; and
// the failed assumptions.
#include "base/logger.h"
#include "dpll/dpllsolver.h"

#include <algorithm>

namespace tarq {

using dpll::Clause;
using dpll::Lit;
using dpll::Watch;

namespace {

constexpr double max_var_activity = 1e100;
constexpr float max_clause_activity = 1e20F;
// Larger clauses are not worth the walk over binary ones (Audemard, Simon: Predicting learnt
// clauses quality in modern SAT solvers, IJCAI 2009).
constexpr size_t binary_minimization_max_size = 30;
constexpr uint32_t binary_minimization_max_lbd = 6;

// Marks in seen_. During a redundancy test `seen_source` also stands for what was shown to be
// implied.
constexpr uint8_t seen_source = 1;
constexpr uint8_t seen_failed = 2; // shown not to be implied by the clause
constexpr uint8_t seen_in_clause = 3;
constexpr uint8_t seen_dropped = 4;

} // namespace

/// The reason of an assigned variable, with the implied literal first; null for none.
/// materialise  ask the theory side for a deferred one; else the sentinel is returned
Clause* DpllSolver::reason_of(int var, bool materialise)
{
    Clause* r = vardata_[index(var)].reason;
    if (!r) {
        return nullptr;
    }
    if (r == theory_reason_) {
        return materialise ? get_theory_reason(Lit(var, value(var).is_false()), true) : r;
    }
    if (r->size() == 2 && (*r)[0].var() != var) {
        std::swap((*r)[0], (*r)[1]); // both are watched, in whatever order
    }
    TARQ_ASSERT((*r)[0].var() == var);
    return r;
}

/// The highest level among the literals of a false clause; 0 for an empty one.
int DpllSolver::conflict_level(const Clause* c) const
{
    int result = 0;
    for (Lit l : *c) {
        TARQ_ASSERT(value(l).is_false());
        result = std::max(result, level(l.var()));
    }
    return result;
}

/// Makes the two literals that backjumps unassign first the watched ones.
void DpllSolver::rewatch_by_trail(Clause* c)
{
    if (c->size() < 2) {
        return;
    }
    const TheoryClauseLitLess less{this};
    Lit* best = std::min_element(c->begin(), c->end(), less);
    const Lit first = *best;
    Lit* second = nullptr;
    for (Lit* l = c->begin(); l != c->end(); ++l) {
        if (l != best && (!second || less(*l, *second))) {
            second = l;
        }
    }
    const Lit next = *second;
    if ((*c)[0] == first && (*c)[1] == next) {
        return;
    }
    const bool same_watches = (*c)[0] == next && (*c)[1] == first;
    if (!same_watches) {
        detach_clause(c);
    }
    std::iter_swap(c->begin(), best);
    std::iter_swap(c->begin() + 1, std::find(c->begin() + 1, c->end(), next));
    if (!same_watches) {
        attach_clause(c);
    }
}

/// Learns from a conflict and goes back to where the learnt clause is unit.
/// confl   all literals false; one reference is taken over. Null stands for the empty clause
/// returns false when there is nothing left to go back to: the clauses are unsat
bool DpllSolver::backjump_and_learn(Clause* confl)
{
    ++stats_.conflicts;
    ++solve_conflicts_;
    if (!confl) {
        unsat_level_ = 0;
        return false;
    }
    const int conflict_at = conflict_level(confl);
    if (conflict_at < decision_level()) {
        cancel_until(conflict_at);
        rewatch_by_trail(confl);
    } else if (confl->size() > 1 &&
               (level((*confl)[0].var()) < conflict_at || level((*confl)[1].var()) < conflict_at)) {
        rewatch_by_trail(confl); // one literal came late from the theories
    }
    if (conflict_at == 0) {
        release_clause(confl);
        unsat_level_ = 0;
        return false;
    }
    if (confl->size() == 1) {
        if (log_on(3)) {
            (*logger_)(log_section_) << loglevel(3) << log_prefix_
                                     << "unit conflict, backtracking to level zero" << EndLog;
        }
        const Lit l = (*confl)[0];
        cancel_until(0);
        unchecked_enqueue(l, nullptr);
        release_clause(confl);
        return true;
    }

    int btlevel = 0;
    analyze(confl, learn_lits_, &btlevel);
    on_learnt(learn_lits_);
    const uint32_t lbd = compute_lbd(learn_lits_.data(), learn_lits_.data() + learn_lits_.size());
    for (int var : analyze_last_level_) {
        if (vardata_[index(var)].reason->lbd() < lbd) {
            bump_var(var);
        }
    }
    analyze_last_level_.clear();
    cancel_until(btlevel);
    if (log_on(4)) {
        (*logger_)(log_section_) << loglevel(4) << log_prefix_ << "backtracking to level "
                                 << btlevel << EndLog;
        log_clause(4, "learnt clause: ", learn_lits_.data(),
                   learn_lits_.data() + learn_lits_.size());
    }
    if (config_.restart_strategy == 3) {
        feed_lbd_queue(lbd);
    }
    add_learnt(learn_lits_, lbd);
    if (config_.restart_strategy == 2) {
        update_agility(learn_lits_[0].var());
    }
    decay_activities();
    release_clause(confl);
    return true;
}

/// Adds a clause whose first literal is unassigned and whose others are false, and enqueues the
/// first.
void DpllSolver::add_learnt(const std::vector<Lit>& lits, uint32_t lbd)
{
    if (lits.size() == 1) {
        unchecked_enqueue(lits[0], nullptr);
        return;
    }
    Clause* c = new_clause(lits, true, false);
    c->set_lbd(lbd);
    learnts_.push_back(c);
    attach_clause(c);
    bump_clause(c);
    unchecked_enqueue(lits[0], c);
}

/// Derives the clause of the first unique implication point at the current level, which must hold a
/// literal of `confl`.
/// out      the clause; first the asserting literal, then one of the highest other level
/// btlevel  that level, 0 for a unit
void DpllSolver::analyze(Clause* confl, std::vector<Lit>& out, int* btlevel)
{
    const int current = decision_level();
    const bool skip_level_zero = !config_.store_tlemmas;
    const bool remember = config_.glucose_var_activity;
    out.clear();
    out.push_back(dpll::lit_Undef); // place of the asserting literal
    int path_count = 0;
    size_t at = trail_size_;
    Lit p = dpll::lit_Undef;
    for (;;) {
        if (confl->is_learnt()) {
            bump_clause(confl);
        }
        for (const Lit* q = confl->begin() + (p == dpll::lit_Undef ? 0 : 1); q != confl->end();
             ++q) {
            const int var = q->var();
            const int at_level = level(var);
            if (seen_[index(var)] || (at_level == 0 && skip_level_zero)) {
                continue;
            }
            bump_var(var);
            seen_[index(var)] = seen_source;
            analyze_clear_.push_back(var);
            if (at_level >= current) {
                ++path_count;
                const Clause* r = vardata_[index(var)].reason;
                if (remember && r && r->is_learnt()) {
                    analyze_last_level_.push_back(var);
                }
            } else {
                out.push_back(*q);
            }
        }
        do {
            --at;
        } while (!seen_[index(trail_[at].var())]);
        p = trail_[at];
        if (--path_count == 0) {
            break;
        }
        confl = reason_of(p.var(), true);
    }
    out[0] = ~p;
    stats_.max_literals += out.size();
    minimize_learnt(out);
    if (config_.glucose_learnt_minimization && out.size() <= binary_minimization_max_size &&
        compute_lbd(out.data(), out.data() + out.size()) <= binary_minimization_max_lbd) {
        minimize_with_binaries(out);
    }
    stats_.tot_literals += out.size();

    *btlevel = 0;
    for (size_t i = 1; i < out.size(); ++i) {
        if (i == 1 || level(out[i].var()) > *btlevel) {
            *btlevel = level(out[i].var());
            std::swap(out[1], out[i]);
        }
    }
    for (int var : analyze_clear_) {
        seen_[index(var)] = 0;
    }
    analyze_clear_.clear();
}

/// Drops literals that the others imply (Sörensson, Biere: Minimizing learned clauses, SAT 2009).
void DpllSolver::minimize_learnt(std::vector<Lit>& out)
{
    uint32_t abstract_levels = 0;
    bool has_level_zero = false;
    for (size_t i = 1; i < out.size(); ++i) {
        const int l = level(out[i].var());
        abstract_levels |= uint32_t{1} << (l & 31);
        has_level_zero = has_level_zero || l == 0;
    }
    bool keep_level_zero = false;
    if (has_level_zero) { // under dpll.store_tlemmas alone
        const size_t end = trail_lim_.empty() ? trail_size_ : trail_lim_[0];
        for (size_t i = 0; i < end && !keep_level_zero; ++i) {
            keep_level_zero = vardata_[index(trail_[i].var())].reason == theory_reason_;
        }
    }
    size_t j = 1;
    for (size_t i = 1; i < out.size(); ++i) {
        const int var = out[i].var();
        const Clause* r = vardata_[index(var)].reason;
        if (!r || r == theory_reason_ || (keep_level_zero && level(var) == 0) ||
            !literal_is_redundant(out[i], abstract_levels)) {
            out[j++] = out[i];
        }
    }
    out.resize(j);
}

/// Whether the other literals of the clause imply that `l`, which has a reason, is false.
/// Depth-first with an explicit stack, so that what a failed test went through on its way to the
/// failure is known to fail from then on, while what it had shown to be implied stays known too.
bool DpllSolver::literal_is_redundant(Lit l, uint32_t abstract_levels)
{
    struct {
        const Clause* c;
        uint32_t next;
    } at{reason_of(l.var(), false), 1};
    redundancy_stack_.clear();
    int var = l.var();
    for (;;) {
        if (at.next < at.c->size()) {
            const int q = (*at.c)[at.next++].var();
            const uint8_t mark = seen_[index(q)];
            const int q_level = level(q);
            if (q_level == 0 || mark == seen_source) {
                continue;
            }
            const Clause* r = vardata_[index(q)].reason;
            if (mark != seen_failed && r && r != theory_reason_ &&
                (abstract_levels & (uint32_t{1} << (q_level & 31)))) {
                redundancy_stack_.push_back({at.c, at.next, var});
                at = {reason_of(q, false), 1};
                var = q;
                continue;
            }
            const auto fail = [&](int v) {
                if (seen_[index(v)] == 0) {
                    seen_[index(v)] = seen_failed;
                    analyze_clear_.push_back(v);
                }
            };
            fail(q);
            if (!redundancy_stack_.empty()) {
                fail(var);
            }
            for (size_t i = 1; i < redundancy_stack_.size(); ++i) {
                fail(redundancy_stack_[i].var);
            }
            return false;
        }
        if (redundancy_stack_.empty()) {
            return true;
        }
        if (seen_[index(var)] == 0) {
            seen_[index(var)] = seen_source;
            analyze_clear_.push_back(var);
        }
        at = {redundancy_stack_.back().c, redundancy_stack_.back().next};
        var = redundancy_stack_.back().var;
        redundancy_stack_.pop_back();
    }
}

/// Drops ~b where a binary clause (a or b) with the asserting literal a exists: resolution with it
/// leaves the rest of the learnt clause.
void DpllSolver::minimize_with_binaries(std::vector<Lit>& out)
{
    const Lit a = out[0];
    for (size_t i = 1; i < out.size(); ++i) {
        seen_[index(out[i].var())] = seen_in_clause;
    }
    bool any = false;
    for (const Watch& w : watches_[index((~a).index())]) { // the clauses that contain a
        const Lit b = w.blocker();
        if (w.is_binary() && seen_[index(b.var())] == seen_in_clause && value(b).is_true()) {
            seen_[index(b.var())] = seen_dropped;
            any = true;
        }
    }
    if (any) {
        out.erase(std::remove_if(out.begin() + 1, out.end(),
                                 [&](Lit l) { return seen_[index(l.var())] == seen_dropped; }),
                  out.end());
    }
}

/// Collects which decisions made p true.
/// p    a true literal, the negation of the assumption or point that can't be made
/// out  cleared; gets p and the negation of every decision that takes part, but for the points'
void DpllSolver::analyze_final(Lit p, std::vector<Lit>& out)
{
    out.clear();
    if (!btpoint_vars_.contains(p.var())) {
        out.push_back(p);
    }
    if (decision_level() == 0) {
        return;
    }
    analyze_clear_.push_back(p.var());
    seen_[index(p.var())] = seen_source;
    for (size_t i = trail_size_; i-- > trail_lim_[0];) {
        const int var = trail_[i].var();
        if (!seen_[index(var)]) {
            continue;
        }
        const Clause* r = reason_of(var, true);
        if (!r) {
            if (!btpoint_vars_.contains(var)) {
                out.push_back(~trail_[i]);
            }
            continue;
        }
        for (const Lit* q = r->begin() + 1; q != r->end(); ++q) {
            if (level(q->var()) > 0 && !seen_[index(q->var())]) {
                seen_[index(q->var())] = seen_source;
                analyze_clear_.push_back(q->var());
            }
        }
    }
    for (int var : analyze_clear_) {
        seen_[index(var)] = 0;
    }
    analyze_clear_.clear();
}

// -- Activities

void DpllSolver::bump_var(int var)
{
    double& a = activity_[index(var)];
    a += var_inc_;
    if (a > max_var_activity) {
        for (double& x : activity_) {
            x *= 1 / max_var_activity;
        }
        var_inc_ *= 1 / max_var_activity;
        // Activities that get too small become equal, and equal ones are in the order of variables.
        std::vector<int> in_heap;
        for (int i = 0; i < order_heap_.size(); ++i) {
            in_heap.push_back(order_heap_[i]);
        }
        order_heap_.build(in_heap.begin(), in_heap.end());
    }
    if (order_heap_.contains(var)) {
        order_heap_.moved_up(var);
    }
}

void DpllSolver::bump_clause(Clause* c)
{
    const float a = c->activity() + static_cast<float>(cla_inc_);
    c->set_activity(a);
    if (a > max_clause_activity) {
        for (Clause* l : learnts_) {
            l->set_activity(l->activity() * (1 / max_clause_activity));
        }
        cla_inc_ *= 1 / static_cast<double>(max_clause_activity);
    }
}

void DpllSolver::decay_activities()
{
    var_inc_ *= config_.var_activity_factor;
    cla_inc_ *= config_.clause_activity_factor;
}

/// The number of distinct levels among assigned literals. A stamp per level saves the clearing.
uint32_t DpllSolver::compute_lbd(const Lit* first, const Lit* last)
{
    if (lbd_stamp_.size() <= index(decision_level())) {
        lbd_stamp_.resize(index(decision_level()) + 1, 0);
    }
    if (++lbd_stamp_now_ == 0) {
        std::fill(lbd_stamp_.begin(), lbd_stamp_.end(), 0);
        lbd_stamp_now_ = 1;
    }
    uint32_t lbd = 0;
    for (; first != last; ++first) {
        uint32_t& stamp = lbd_stamp_[index(level(first->var()))];
        lbd += static_cast<uint32_t>(stamp != lbd_stamp_now_);
        stamp = lbd_stamp_now_;
    }
    return lbd;
}

} // namespace tarq
