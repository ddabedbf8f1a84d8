// Backtrack points: push, and pop with everything that was made since.
#include "dpll/dpllpreprocessor.h"
#include "dpll/dpllsolver.h"
#include "dpll/ghostfilter.h"

#include <algorithm>

namespace tarq {

using dpll::Clause;
using dpll::Lit;

int DpllSolver::push_backtrack_point()
{
    cancel_until(std::min(decision_level(), num_backtrack_points())); // what a kept trail left
    const int var = new_var();
    const Lit b(var);
    open_btpoint_levels();
    btpoints_.push_back(b);
    btpoint_vars_.insert(var);
    btpoint_clause_ids_.push_back(next_clause_id_);
    btpoint_learnt_marks_.push_back(learnts_.size());
    btpoint_dep_marks_.push_back(decision_deps_.size());
    btpoint_tlemma_marks_.push_back(stored_tlemmas_.size());
    if (ghost_filter_) {
        ghost_filter_->push_backtrack_point();
    }
    if (preprocessor_) {
        preprocessor_->push_backtrack_point(var);
    }
    if (theory_manager_) {
        theory_manager_->push_backtrack_point();
    }
    open_btpoint_levels();
    return var;
}

/// Opens the levels of the points that have none, as far as they are not contradictory. Each level
/// is propagated before the next one is opened: what is implied at a level must stand at that
/// level, or a pop would take it along.
void DpllSolver::open_btpoint_levels()
{
    while (unsat_level_ < 0 && decision_level() < num_backtrack_points()) {
        if (Clause* confl = propagate_literals()) {
            unsat_level_ = conflict_level(confl);
            release_clause(confl);
            return;
        }
        const Lit b = btpoints_[index(decision_level())];
        if (value(b).is_false()) {
            unsat_level_ = decision_level() + 1;
            return;
        }
        new_decision_level();
        if (value(b).is_undef()) {
            unchecked_enqueue(b, nullptr);
        }
    }
}

void DpllSolver::pop_backtrack_point()
{
    if (btpoints_.empty()) {
        throw error("no backtrack points to pop");
    }
    const Lit b = btpoints_.back();
    cancel_until(std::min(decision_level(), num_backtrack_points() - 1));
    if (value(b).is_false()) {
        cancel_until(std::max(level(b.var()) - 1, 0));
        if (value(b).is_false()) {
            take_off_level_zero_guard(b);
        }
    }
    if (preprocessor_) {
        preprocessor_->pop_backtrack_point();
    }
    remove_clauses_containing(b.var());
    release_tlemmas(b);
    undo_decision_deps();
    remove_vars_from(b.var());
    if (config_.pop_btpoint_reset_var_order) {
        reset_var_order();
    }
    if (preprocessor_) {
        preprocessor_->flush_model_reconstruction_stack();
    }

    btpoint_vars_.erase(b.var());
    btpoints_.pop_back();
    btpoint_clause_ids_.pop_back();
    btpoint_learnt_marks_.pop_back();
    if (unsat_level_ > num_backtrack_points()) {
        unsat_level_ = -1;
    }
    if (theory_manager_) {
        theory_manager_->pop_backtrack_point();
    }
    open_btpoint_levels();
    if (ghost_filter_) {
        ghost_filter_->pop_backtrack_point();
    }
}

/// The clauses under the point are contradictory at level 0, so ~b is there. It goes, with what
/// stands there about variables that the pop removes. All else stays: no reason at level 0 can hold
/// ~b, which is true, and the clauses without ~b imply what they imply without it.
void DpllSolver::take_off_level_zero_guard(Lit b)
{
    TARQ_ASSERT(decision_level() == 0);
    size_t j = index(trail_pos(b.var()));
    size_t qhead = std::min(qhead_, j);
    size_t theory_head = std::min(theory_head_, j);
    for (size_t i = j; i < trail_size_; ++i) {
        const Lit l = trail_[i];
        if (l.var() >= b.var()) {
            undo_trail_entry(l, false);
            continue;
        }
        vardata_[index(l.var())].trail_pos = static_cast<int>(j);
        trail_[j++] = l;
        qhead += static_cast<size_t>(i < qhead_);
        theory_head += static_cast<size_t>(i < theory_head_);
    }
    trail_size_ = j;
    qhead_ = qhead;
    theory_head_ = theory_head;
}

/// Removes the clauses that hold the negation of the point of that variable.
void DpllSolver::remove_clauses_containing(int var)
{
    const Lit guard = ~Lit(var);
    const auto holds = [guard](const Clause* c) {
        return std::find(c->begin(), c->end(), guard) != c->end();
    };
    pending_units_.erase(std::remove_if(pending_units_.begin(), pending_units_.end(), holds),
                         pending_units_.end());

    // Those older than the newest point can be left alone. Permanent clauses stand in the order of
    // their ids, and learnt ones in that of their making until a reduction.
    size_t first = 0;
    size_t first_learnt = 0;
    if (!btpoints_.empty() && btpoints_.back().var() == var) {
        first_learnt = btpoint_learnt_marks_.back();
        TARQ_HEAVY_ASSERT(std::none_of(
            learnts_.begin(), learnts_.begin() + static_cast<ptrdiff_t>(first_learnt), holds));
        if (!preprocessor_) {
            const uint32_t id = btpoint_clause_ids_.back();
            first = clauses_.size();
            while (first > 0 && clauses_[first - 1]->id() >= id) {
                --first;
            }
        }
    }
    const auto take_out = [&](std::vector<Clause*>& list, size_t from) {
        size_t j = from;
        for (size_t i = from; i < list.size(); ++i) {
            Clause* c = list[i];
            if (holds(c)) {
                leave_problem(c, true);
                removed_.push_back(c);
            } else {
                list[j++] = c;
            }
        }
        list.resize(j);
    };
    take_out(clauses_, first);
    const bool learnt_only = removed_.empty();
    take_out(learnts_, first_learnt);
    sweep_removed(learnt_only);
}

/// To be called when learnt clauses have changed places or left from between others: what a mark says
/// does not hold any more.
void DpllSolver::drop_learnt_marks()
{
    std::fill(btpoint_learnt_marks_.begin(), btpoint_learnt_marks_.end(), size_t{0});
}

/// Of the lemmas stored since the newest point, lets those go that hold its guard.
void DpllSolver::release_tlemmas(Lit b)
{
    size_t j = btpoint_tlemma_marks_.back();
    for (size_t i = j; i < stored_tlemmas_.size(); ++i) {
        Clause* c = stored_tlemmas_[i];
        if (std::find(c->begin(), c->end(), ~b) != c->end()) {
            release_clause(c);
        } else {
            stored_tlemmas_[j++] = c;
        }
    }
    stored_tlemmas_.resize(j);
    btpoint_tlemma_marks_.pop_back();
}

/// Forgets the dependencies made since the newest point. A variable that depended on another is
/// then a decision variable again.
void DpllSolver::undo_decision_deps()
{
    const size_t mark = btpoint_dep_marks_.back();
    btpoint_dep_marks_.pop_back();
    while (decision_deps_.size() > mark) {
        const int var = decision_deps_.back().first;
        decision_deps_.pop_back();
        if (!is_decision_var(var)) {
            set_decision_var(var, true);
        }
    }
}

/// Removes `var` and all newer variables, newest first.
void DpllSolver::remove_vars_from(int var)
{
    ghost_vars_.erase(
        std::remove_if(ghost_vars_.begin(), ghost_vars_.end(), [var](int v) { return v >= var; }),
        ghost_vars_.end());
    preferred_.erase(
        std::remove_if(preferred_.begin(), preferred_.end(), [var](int v) { return v >= var; }),
        preferred_.end());
    while (num_vars() > var) {
        const int last = num_vars() - 1;
        if (theory_manager_) {
            theory_manager_->retract_atom(term_for_proxy(last), last);
        }
        unproxy(last);
        pop_var();
    }
}

} // namespace tarq
