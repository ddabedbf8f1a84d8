// Clauses come and go: adding, watching, removing.
#include "base/logger.h"
#include "dpll/dpllpreprocessor.h"
#include "dpll/dpllsolver.h"
#include "dpll/ghostfilter.h"

#include <algorithm>

namespace tarq {

using dpll::Clause;
using dpll::Lit;
using dpll::Watch;

bool DpllSolver::TheoryClauseLitLess::operator()(Lit a, Lit b) const
{
    const int pos_a = s->trail_pos(a.var());
    const int pos_b = s->trail_pos(b.var());
    if (pos_a != pos_b) {
        return pos_a == -1 || (pos_b != -1 && pos_a > pos_b);
    }
    return a < b;
}

Clause* DpllSolver::new_clause(const std::vector<Lit>& lits, bool learnt, bool theory)
{
    Clause* c = Clause_new(learnt ? learnt_pool_ : pool_, lits.data(), lits.size(), next_clause_id_,
                           learnt, theory, preprocessor_ != nullptr);
    ++next_clause_id_;
    return c;
}

Clause* DpllSolver::make_detached_clause(const std::vector<Lit>& lits)
{
    return new_clause(lits, false, false);
}

void DpllSolver::release_clause(Clause* c)
{
    Clause_release(pool_of(c), c);
}

// -- Watches

void DpllSolver::attach_clause(Clause* c)
{
    TARQ_ASSERT(c->size() > 1);
    watches_[index((~(*c)[0]).index())].push(Watch((*c)[1], c));
    watches_[index((~(*c)[1]).index())].push(Watch((*c)[0], c));
    (c->is_learnt() ? stats_.learnt_literals : stats_.clause_literals) += c->size();
}

void DpllSolver::detach_clause(Clause* c)
{
    for (uint32_t k = 0; k < 2; ++k) {
        WatchList& list = watches_[index((~(*c)[k]).index())];
        Watch* i = list.begin();
        while (i->clause() != c) {
            ++i;
            TARQ_ASSERT(i != list.end());
        }
        std::copy(i + 1, list.end(), i);
        list.pop();
    }
    (c->is_learnt() ? stats_.learnt_literals : stats_.clause_literals) -= c->size();
}

// -- Adding

void DpllSolver::add_guard(std::vector<Lit>& lits, int below_var)
{
    for (size_t i = btpoints_.size(); i-- > 0;) {
        if (btpoints_[i].var() < below_var) {
            lits.push_back(~btpoints_[i]);
            return;
        }
    }
}

/// Sorts by value and removes duplicates. Returns false for a clause with complementary literals.
bool DpllSolver::sort_and_clean(std::vector<Lit>& lits) const
{
    std::sort(lits.begin(), lits.end());
    size_t j = 0;
    for (Lit l : lits) {
        if (j > 0 && l == lits[j - 1]) {
            continue;
        }
        if (j > 0 && l == ~lits[j - 1]) {
            return false;
        }
        lits[j++] = l;
    }
    lits.resize(j);
    return true;
}

Clause* DpllSolver::add_clause_inplace(std::vector<Lit>& lits, bool theory_clause, bool tell_ghost)
{
    if (log_on(4)) {
        const std::string text = "adding clause (size " + std::to_string(lits.size()) + "): ";
        log_clause(4, text.c_str(), lits.data(), lits.data() + lits.size());
    }
    if (preprocessor_) {
        preprocessor_->bring_back(lits, theory_clause);
    }
    if (!btpoints_.empty()) {
        lits.push_back(~btpoints_.back());
    }
    Clause* c = nullptr;
    if (decision_level() > num_backtrack_points()) {
        c = add_clause_during_search(lits);
    } else {
        do_add_clause(lits, &c, !theory_clause);
    }
    if (!c) {
        return nullptr;
    }
    if (theory_clause) {
        c->set_theory();
    }
    if (tell_ghost && ghost_filter_) {
        ghost_filter_->tell_clause(c);
    }
    if (preprocessor_) {
        preprocessor_->tell_clause(c);
    }
    return c;
}

/// The assignment of a search stands, so the clause may contradict it: it then waits until the
/// search loop goes back to level 0.
Clause* DpllSolver::add_clause_during_search(std::vector<Lit>& lits)
{
    if (unsat_level_ >= 0 || !sort_and_clean(lits)) {
        return nullptr;
    }
    if (lits.empty()) {
        unsat_level_ = 0; // a guard would be there if there were points
        return nullptr;
    }
    Clause* c = new_clause(lits, false, false);
    put_back_clause(c);
    return c;
}

/// Makes a clause without complementary literals permanent, whatever is assigned.
void DpllSolver::put_back_clause(Clause* c)
{
    std::sort(c->begin(), c->end(), TheoryClauseLitLess{this});
    clauses_.push_back(c);
    if (c->size() == 1) {
        pending_units_.push_back(c);
        return;
    }
    attach_clause(c);
    if (is_assigned((*c)[0].var()) ||
        std::all_of(c->begin() + 1, c->end(), [&](Lit l) { return value(l).is_false(); })) {
        pending_units_.push_back(c);
    }
}

/// Propagates with no search level open; false after a conflict, which fixes unsat_level.
bool DpllSolver::propagate_at_base()
{
    Clause* confl = propagate();
    if (!confl) {
        return true;
    }
    unsat_level_ = conflict_level(confl);
    release_clause(confl);
    return false;
}

/// Adds a clause while no search level is open.
/// out         set to the object if one is made
/// drop_false  literals false at level 0 need not be kept
/// returns     false when the clauses are unsat
bool DpllSolver::do_add_clause(std::vector<Lit>& lits, Clause** out, bool drop_false)
{
    if (unsat_level_ >= 0) {
        return false;
    }
    const Configuration& all = *config_.parent;
    drop_false = drop_false && decision_level() == 0 && !all.proof_generation &&
                 all.unsat_core_generation == 0;
    if (!sort_and_clean(lits)) {
        return true;
    }
    size_t j = 0;
    size_t num_open = 0; // not false; they come first
    for (size_t i = 0; i < lits.size(); ++i) {
        const lbool v = value(lits[i]);
        if (v.is_true()) {
            return true;
        }
        if (v.is_undef()) {
            lits[j++] = lits[i];
            std::swap(lits[num_open++], lits[j - 1]);
        } else if (!drop_false) {
            lits[j++] = lits[i];
        }
    }
    lits.resize(j);
    if (lits.empty()) {
        unsat_level_ = 0; // with points there is a guard, which isn't false at level 0
        return false;
    }
    if (num_open < 2) {
        // the watches must be those that backjumps unassign first
        std::sort(lits.begin(), lits.end(), TheoryClauseLitLess{this});
    }
    if (lits.size() == 1) {
        return add_unit(lits);
    }
    Clause* c = new_clause(lits, false, false);
    *out = c;
    clauses_.push_back(c);
    attach_clause(c);
    if (num_open >= 2) {
        return true;
    }
    if (num_open == 0) {
        unsat_level_ = level(lits[0].var());
        return false;
    }
    // All others became false at a level that may be below this one; there the unit belongs.
    cancel_until(level(lits[1].var()));
    unchecked_enqueue(lits[0], c);
    return propagate_at_base();
}

/// The one literal is unassigned or false. It needs no clause object.
bool DpllSolver::add_unit(const std::vector<Lit>& lits)
{
    if (value(lits[0]).is_false()) {
        unsat_level_ = level(lits[0].var());
        return false;
    }
    cancel_until(0); // no reason would bring it back after an undo
    unchecked_enqueue(lits[0], nullptr);
    return propagate_at_base();
}

/// Brings the units found at search levels in: clauses of one literal at level 0, a lemma of which
/// all literals but one are false at the level where the last of them got false. With several the
/// lowest such level counts; what is no unit there any more will be found by propagation. False
/// when they are contradictory.
bool DpllSolver::add_pending_units()
{
    struct Status {
        uint32_t num_open = 0;
        Lit open = dpll::lit_Undef;
        bool satisfied = false;
        int level = 0; // of the last false literal
    };
    const auto status_of = [this](const Clause* c) {
        Status s;
        for (Lit l : *c) {
            if (value(l).is_undef()) {
                s.open = l;
                ++s.num_open;
            } else if (value(l).is_true()) {
                s.satisfied = true;
            } else {
                s.level = std::max(s.level, level(l.var()));
            }
        }
        return s;
    };
    int target = decision_level();
    for (const Clause* c : pending_units_) {
        const Status s = status_of(c);
        if (c->size() == 1 || s.num_open == 0) {
            target = 0;
        } else if (!s.satisfied && s.num_open == 1) {
            target = std::min(target, s.level);
        }
    }
    cancel_until(target);
    for (size_t i = 0; i < pending_units_.size(); ++i) {
        Clause* c = pending_units_[i];
        const Status s = status_of(c);
        if (s.satisfied || s.num_open > 1) {
            continue;
        }
        if (s.num_open == 0) {
            if (decision_level() == 0) {
                unsat_level_ = 0;
                break;
            }
            cancel_until(0); // two of them contradict each other; start again without decisions
            i = static_cast<size_t>(-1);
            continue;
        }
        if (c->size() > 1 && (*c)[0] != s.open) {
            rewatch_by_trail(c);
        }
        unchecked_enqueue(s.open, c->size() > 1 ? c : nullptr);
    }
    pending_units_.clear();
    return unsat_level_ < 0;
}

// -- Removing

/// True when the clause is the reason of a literal.
bool DpllSolver::locked(const Clause* c) const
{
    if (c->size() == 0) {
        return false;
    }
    const auto implies = [&](Lit l) {
        return vardata_[index(l.var())].reason == c && value(l).is_true();
    };
    return implies((*c)[0]) || (c->size() == 2 && implies((*c)[1]));
}

/// Tells everyone but the watches that the clause goes. Returns false when a lemma has to stay.
bool DpllSolver::leave_problem(Clause* c, bool retract)
{
    if (c->is_theory() && !lemma_ids_.empty()) {
        const auto it = lemma_ids_.find(c->id());
        if (it != lemma_ids_.end()) {
            if (retract) {
                const unsigned id = it->second;
                theory_manager_->retract_lemma(id);
                if (ghost_filter_) {
                    ghost_filter_->retract_lemma(c);
                }
            } else if (decision_level() > 0) {
                return false;
            }
            lemma_ids_.erase(c->id());
        }
    }
    if (preprocessor_ && !c->is_learnt()) {
        preprocessor_->retract_clause(c);
    }
    return true;
}

bool DpllSolver::remove_clause(Clause* c, bool retract)
{
    if (!leave_problem(c, retract)) {
        return false;
    }
    if (c->size() > 1) {
        detach_clause(c);
    }
    if (preprocessor_) {
        preprocessor_->forget_retracted();
    }
    release_clause(c);
    return true;
}

/// Removes `removed_`, clauses for which leave_problem has been called, by one walk over all
/// watches, or over those of their literals only while these are fewer.
/// learnt_only  no permanent clause is among them
void DpllSolver::sweep_removed(bool learnt_only)
{
    TARQ_HEAVY_ASSERT(std::none_of(removed_.begin(), removed_.end(),
                                   [this](const Clause* c) { return locked(c); }));
    if (preprocessor_) {
        preprocessor_->forget_retracted();
    }
    size_t j = 0;
    for (Clause* c : removed_) {
        if (c->num_references() > 1 || c->size() < 2) {
            if (c->size() > 1) {
                detach_clause(c);
            }
            release_clause(c);
        } else {
            (c->is_learnt() ? stats_.learnt_literals : stats_.clause_literals) -= c->size();
            c->set_garbage();
            removed_[j++] = c;
        }
    }
    removed_.resize(j);
    if (removed_.empty()) {
        return;
    }
    const auto sweep = [learnt_only](WatchList& list) {
        const size_t visited = list.size() + 1;
        Watch* keep = list.begin();
        for (const Watch& w : list) {
            if ((learnt_only && !w.is_learnt()) || !w.clause()->is_garbage()) {
                *keep++ = w;
            }
        }
        list.shrink_to(static_cast<size_t>(keep - list.begin()));
        return visited;
    };
    size_t visited = 0;
    for (size_t i = 0; i < removed_.size() && visited < watches_.size(); ++i) {
        const Clause& c = *removed_[i];
        visited += sweep(watches_[index((~c[0]).index())]);
        visited += sweep(watches_[index((~c[1]).index())]);
    }
    if (visited >= watches_.size()) {
        std::for_each(watches_.begin(), watches_.end(), sweep);
    }
    TARQ_HEAVY_ASSERT(std::all_of(watches_.begin(), watches_.end(), [](const WatchList& list) {
        return std::none_of(list.begin(), list.end(),
                            [](const Watch& w) { return w.clause()->is_garbage(); });
    }));
    for (Clause* c : removed_) {
        c->add_reference();
        release_clause(c);
    }
    removed_.clear();
}

void DpllSolver::remove_learnt_clauses()
{
    size_t j = 0;
    for (Clause* c : learnts_) {
        if (locked(c) ||
            std::find(pending_units_.begin(), pending_units_.end(), c) != pending_units_.end() ||
            !leave_problem(c, true)) {
            learnts_[j++] = c;
        } else {
            removed_.push_back(c);
        }
    }
    learnts_.resize(j);
    drop_learnt_marks();
    sweep_removed(true);
    shrink_watches();
}

/// Gives memory back where a list has become much shorter than it was.
void DpllSolver::shrink_watches()
{
    for (WatchList& list : watches_) {
        if (list.capacity() > 2 * list.size() + 8) {
            WatchList copy;
            list.copy_to(copy);
            list.swap(copy);
        }
    }
}

} // namespace tarq
