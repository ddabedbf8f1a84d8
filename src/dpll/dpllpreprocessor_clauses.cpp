// Clauses, variables and backtrack points come and go.
#include "dpll/dpllpreprocessor.h"
#include "dpll/dpllsolver.h"

#include <algorithm>

namespace tarq {

using dpll::Clause;
using dpll::Lit;
using dpll::Watch;

// -- Variables

void DpllPreprocessor::new_var()
{
    const auto n = static_cast<size_t>(engine_->num_vars());
    occurrences_.resize(2 * n);
    n_occ_.resize(2 * n, 0);
    mark_.resize(2 * n, 0);
    is_dirty_.resize(2 * n, 0);
    frozen_.resize(n, 0);
    touched_.resize(n, 0);
    is_point_.resize(n, 0);
    eliminated_at_.resize(n, -1);
    too_dense_.grow(n);
    stays_.grow(n);
}

void DpllPreprocessor::pop_var()
{
    const auto n = static_cast<size_t>(engine_->num_vars()); // without the one that goes
    const int var = static_cast<int>(n);
    if (has_been_eliminated(var)) {
        // Its clauses were all guarded by the point that closes, and went with it.
        std::unique_ptr<VariableEliminationStep>& step = rewrite_trail_[index(eliminated_at_[n])];
        TARQ_ASSERT(step->saved(0).empty() && step->saved(1).empty());
        step.reset();
        --num_eliminated_;
    }
    elim_heap_.remove(var);
    too_dense_.unset(n);
    stays_.unset(n);
    occurrences_.resize(2 * n);
    n_occ_.resize(2 * n);
    mark_.resize(2 * n);
    is_dirty_.resize(2 * n);
    frozen_.resize(n);
    touched_.resize(n);
    is_point_.resize(n);
    eliminated_at_.resize(n);
}

void DpllPreprocessor::set_frozen(int var, bool frozen)
{
    frozen_[index(var)] = static_cast<uint8_t>(frozen);
    if (frozen) {
        elim_heap_.remove(var);
        return_saved_clauses(var);
    } else if (!touched_[index(var)]) {
        touched_[index(var)] = 1;
        touched_list_.push_back(var);
    }
}

void DpllPreprocessor::bring_back(const std::vector<Lit>& lits, bool freeze)
{
    for (Lit l : lits) {
        if (freeze) {
            set_frozen(l.var(), true);
        } else {
            return_saved_clauses(l.var());
        }
    }
}

// -- Points

void DpllPreprocessor::push_backtrack_point(int var)
{
    points_.push_back(var);
    saved_under_.emplace_back();
    is_point_[index(var)] = 1;
    set_frozen(var, true);
}

/// The clauses saved under the point go. Their variables stay eliminated: without these clauses the
/// elimination would have had the resolvents that stay.
void DpllPreprocessor::pop_backtrack_point()
{
    const int point = points_.back();
    for (int var : saved_under_.back()) {
        if (!has_been_eliminated(var)) {
            continue;
        }
        VariableEliminationStep& step = *rewrite_trail_[index(eliminated_at_[index(var)])];
        for (int sign = 0; sign < 2; ++sign) {
            std::vector<Clause*>& saved = step.saved(sign);
            const auto end =
                std::stable_partition(saved.begin(), saved.end(),
                                      [point](const Clause* c) { return c->guard_var() != point; });
            std::for_each(end, saved.end(), [this](Clause* c) { engine_->release_clause(c); });
            saved.erase(end, saved.end());
        }
    }
    saved_under_.pop_back();
    points_.pop_back();
    trail_done_ = 0; // literals may leave level 0
    last_var_count_ = std::min(last_var_count_, point);
    brought_back_.erase(std::remove_if(brought_back_.begin(), brought_back_.end(),
                                       [point](int v) { return v >= point; }),
                        brought_back_.end());
    touched_list_.erase(std::remove_if(touched_list_.begin(), touched_list_.end(),
                                       [point](int v) { return v >= point; }),
                        touched_list_.end());
}

/// Closes the gaps in the trail of steps, once they are half of it.
void DpllPreprocessor::flush_model_reconstruction_stack()
{
    if (rewrite_trail_.size() < 2 * index(num_eliminated_) + 16) {
        return;
    }
    size_t j = 0;
    for (std::unique_ptr<VariableEliminationStep>& step : rewrite_trail_) {
        if (step) {
            eliminated_at_[index(step->var())] = static_cast<int>(j);
            rewrite_trail_[j++] = std::move(step);
        }
    }
    rewrite_trail_.resize(j);
}

// -- Clauses

void DpllPreprocessor::set_state(Clause* c, State s)
{
    c->set_preprocessor_state((c->preprocessor_state() & ~uint32_t{STATE_MASK}) | s);
}

/// Keeps the newest guard out of the abstraction, which is for comparing clauses.
void DpllPreprocessor::note_guard(Clause* c) const
{
    int guard = -1;
    for (Lit l : *c) {
        if (is_guard(l)) {
            guard = std::max(guard, l.var());
        }
    }
    c->set_guard_var(guard);
    c->compute_abstraction(guard);
}

void DpllPreprocessor::tell_clause(Clause* c)
{
    if (c->size() < 2) {
        return; // its literal will be on the trail
    }
    note_guard(c);
    c->set_preprocessor_state(c->preprocessor_state() | FRESH);
    fresh_.push_back(c);
    if (c->is_theory()) {
        for (Lit l : *c) {
            set_frozen(l.var(), true);
        }
    }
    ++stats_.clauses_added;
}

/// Enters what was told since the last run, save what level 0 satisfies: such clauses never reach
/// the lists.
void DpllPreprocessor::enter_fresh_clauses()
{
    for (Clause* c : fresh_) {
        c->set_preprocessor_state(c->preprocessor_state() & ~uint32_t{FRESH});
        if (!is_active(c)) {
            continue;
        }
        if (check_satsified(c) == 4 && !c->is_theory()) {
            unwatch(c);
            set_state(c, DROPPED);
            ++stats_.clauses_removed;
        } else {
            add_clause_to_problem(c);
        }
    }
    fresh_.clear();
}

/// Enters an active clause in all lists.
void DpllPreprocessor::add_clause_to_problem(Clause* c)
{
    for (Lit l : *c) {
        TARQ_ASSERT(!has_been_eliminated(l.var()));
        occurrences_.push(l.index(), c);
        count_occurrence(l, 1);
        if (!touched_[index(l.var())]) {
            touched_[index(l.var())] = 1;
            touched_list_.push_back(l.var());
        }
    }
    enqueue_for_subsumption(c);
}

void DpllPreprocessor::count_occurrence(Lit l, int change)
{
    n_occ_[index(l.index())] += static_cast<uint32_t>(change);
    if (change < 0 && !running_ && !touched_[index(l.var())]) {
        touched_[index(l.var())] = 1;
        touched_list_.push_back(l.var());
    }
    if (running_) {
        update_elim_heap(l.var());
    }
}

/// The counts of a variable changed. One that lost clauses is worth another try.
void DpllPreprocessor::update_elim_heap(int var)
{
    if (elim_heap_.contains(var)) {
        elim_heap_.update(var);
    } else if (may_be_eliminated(var)) {
        elim_heap_.insert(var);
    }
}

void DpllPreprocessor::leave_occurrences(Clause* c)
{
    for (Lit l : *c) {
        occurrences_.smudge(l.index());
        count_occurrence(l, -1);
    }
}

void DpllPreprocessor::retract_clause(Clause* c)
{
    if (c->size() < 2 || !is_active(c)) {
        return;
    }
    set_state(c, DROPPED);
    if (c->preprocessor_state() & FRESH) {
        retracted_fresh_ = true;
        return;
    }
    leave_occurrences(c);
    retracted_ = true;
    retracted_queued_ = retracted_queued_ || (c->preprocessor_state() & QUEUED);
}

void DpllPreprocessor::forget_retracted()
{
    if (retracted_fresh_) {
        std::erase_if(fresh_, OccursDeleted());
        retracted_fresh_ = false;
    }
    if (!retracted_) {
        return;
    }
    occurrences_.clean_all();
    if (retracted_queued_) {
        const auto head =
            subsumption_queue_.begin() + static_cast<std::ptrdiff_t>(subsumption_head_);
        subsumption_queue_.erase(std::remove_if(head, subsumption_queue_.end(), OccursDeleted()),
                                 subsumption_queue_.end());
    }
    retracted_ = retracted_queued_ = false;
}

void DpllPreprocessor::make_active_clause_dropped(Clause* c)
{
    TARQ_ASSERT(is_active(c));
    if (c->is_theory()) {
        engine_->lemma_ids_.erase(c->id()); // satisfied at level 0, so it has done its work
    }
    unwatch(c);
    set_state(c, DROPPED);
    leave_occurrences(c);
    ++stats_.clauses_removed;
}

/// The clause goes to the step of an eliminated variable.
void DpllPreprocessor::make_active_clause_inactive(Clause* c)
{
    TARQ_ASSERT(is_active(c) && !c->is_theory());
    unwatch(c);
    set_state(c, INACTIVE);
    leave_occurrences(c);
    ++stats_.clauses_removed;
}

/// A saved clause is part of the problem again, at whatever level the engine is.
void DpllPreprocessor::make_inactive_clause_active(Clause* c)
{
    set_state(c, ACTIVE);
    engine_->put_back_clause(c);
    add_clause_to_problem(c);
    ++stats_.clauses_added;
}

void DpllPreprocessor::enqueue_for_subsumption(Clause* c)
{
    if (!(c->preprocessor_state() & QUEUED)) {
        c->set_preprocessor_state(c->preprocessor_state() | QUEUED);
        subsumption_queue_.push_back(c);
    }
}

/// Notes that the watches of the clause have to go.
void DpllPreprocessor::unwatch(Clause* c)
{
    changed_ = true;
    if (!(c->preprocessor_state() & UNWATCHED)) {
        for (uint32_t i = 0; i < 2; ++i) {
            const Lit l = ~(*c)[i];
            if (!is_dirty_[index(l.index())]) {
                is_dirty_[index(l.index())] = 1;
                dirty_watches_.push_back(l);
            }
        }
        engine_->stats_.clause_literals -= c->size();
    }
}

/// Adds what follows from the clauses. False when that is a contradiction.
/// lits  without repetitions
bool DpllPreprocessor::add_derived_clause(const std::vector<Lit>& lits)
{
    changed_ = true;
    if (lits.size() == 1) {
        return add_unit(lits[0]);
    }
    Clause* c = engine_->new_clause(lits, false, false);
    c->set_preprocessor_state(ACTIVE | UNWATCHED);
    derived_.push_back(c);
    note_guard(c);
    add_clause_to_problem(c);
    ++stats_.clauses_added;
    return true;
}

/// The literal is propagated by the next check for subsumption.
bool DpllPreprocessor::add_unit(Lit l)
{
    const lbool v = engine_->value(l);
    if (v.is_undef()) {
        engine_->unchecked_enqueue(l, nullptr);
    }
    return !v.is_false();
}

// -- The engine's structures after a run

/// Makes the engine's lists agree with the states of the clauses.
void DpllPreprocessor::clean_solver_database()
{
    occurrences_.clean_all();
    clear_subsumption_queue();
    clean_watches();
    std::vector<Clause*>& clauses = engine_->clauses_;
    if (changed_) {
        size_t j = 0;
        for (Clause* c : clauses) {
            if (is_active(c)) {
                clauses[j++] = c;
            } else if (state_of(c) == DROPPED) {
                engine_->release_clause(c);
            }
        }
        clauses.resize(j);
    }
    attach_derived_clauses();
    clean_learnt_clauses();
}

void DpllPreprocessor::clean_watches()
{
    for (Lit l : dirty_watches_) {
        is_dirty_[index(l.index())] = 0;
        auto& list = engine_->watches_[index(l.index())];
        const Watch* end = std::remove_if(list.begin(), list.end(), [](const Watch& w) {
            return !w.is_learnt() && !is_active(w.clause());
        });
        list.shrink_to(static_cast<size_t>(end - list.begin()));
    }
    dirty_watches_.clear();
}

void DpllPreprocessor::attach_derived_clauses()
{
    for (Clause* c : derived_) {
        c->set_preprocessor_state(c->preprocessor_state() & ~uint32_t{UNWATCHED});
        if (is_active(c)) {
            // unassigned ones first, should the run have ended before all was propagated
            std::sort(c->begin(), c->end(), DpllSolver::TheoryClauseLitLess{engine_});
            engine_->clauses_.push_back(c);
            engine_->attach_clause(c);
        } else if (state_of(c) == DROPPED) {
            engine_->release_clause(c);
        }
    }
    derived_.clear();
}

bool DpllPreprocessor::should_drop_learnt_clause(const Clause* c) const
{
    return std::any_of(c->begin(), c->end(),
                       [this](Lit l) { return has_been_eliminated(l.var()); });
}

void DpllPreprocessor::clean_learnt_clauses()
{
    if (!eliminated_any_) {
        return;
    }
    eliminated_any_ = false;
    DpllSolver& e = *engine_;
    size_t j = 0;
    for (Clause* c : e.learnts_) {
        if (should_drop_learnt_clause(c)) {
            e.leave_problem(c, true);
            e.removed_.push_back(c);
        } else {
            e.learnts_[j++] = c;
        }
    }
    e.learnts_.resize(j);
    e.drop_learnt_marks();
    e.sweep_removed(true);
}

} // namespace tarq
