// Checks of the engine's invariants as whole structures, for assertions and tests.
#include "dpll/dpllsolver.h"

#include <algorithm>

namespace tarq {

using dpll::Clause;
using dpll::Lit;
using dpll::Watch;

namespace {

// Small engines are checked at every call, others so that checks stay a constant share of the work.
constexpr size_t always_checked_clauses = 100;
constexpr uint64_t check_every = 500;

} // namespace

bool DpllSolver::check_at_fixpoint() const
{
    if (clauses_.size() + learnts_.size() > always_checked_clauses &&
        ++skipped_checks_ % check_every != 0) {
        return true;
    }
    return check_invariants();
}

bool DpllSolver::check_invariants() const
{
    for (size_t i = 0; i < trail_size_; ++i) {
        const Lit l = trail_[i];
        const VarData& d = vardata_[index(l.var())];
        if (!value(l).is_true() || !value(~l).is_false() || d.trail_pos != static_cast<int>(i)) {
            return false;
        }
        const auto opened = static_cast<size_t>(
            std::upper_bound(trail_lim_.begin(), trail_lim_.end(), i) - trail_lim_.begin());
        if (index(d.level) != opened) {
            return false;
        }
    }
    size_t num_assigned = 0;
    for (int var = 0; var < num_vars(); ++var) {
        num_assigned += static_cast<size_t>(is_assigned(var));
        if (seen_[index(var)] != 0 ||
            (!is_assigned(var) && decision_[index(var)] != 0 && !order_heap_.contains(var) &&
             !is_eliminated(var) &&
             std::find(ghost_vars_.begin(), ghost_vars_.end(), var) == ghost_vars_.end())) {
            return false;
        }
    }
    if (num_assigned != trail_size_ || !order_heap_.check_invariants()) {
        return false;
    }
    size_t num_attached = 0;
    for (const auto* list : {&clauses_, &learnts_}) {
        for (const Clause* c : *list) {
            num_attached += static_cast<size_t>(c->size() > 1);
            if (!check_clause(c)) {
                return false;
            }
        }
    }
    size_t num_watches = 0;
    for (const WatchList& list : watches_) {
        num_watches += list.size();
    }
    return num_watches == 2 * num_attached;
}

/// That the clause is watched by its first two literals, and at a fixpoint isn't missed by
/// propagation: not false, nor unit unless it waits or came late from the theories.
bool DpllSolver::check_clause(const Clause* c) const
{
    if (c->num_references() == 0 || c->size() == 0) {
        return false;
    }
    for (uint32_t k = 0; k < 2 && c->size() > 1; ++k) {
        const WatchList& list = watches_[index((~(*c)[k]).index())];
        const auto is_right = [&](const Watch& w) {
            return w.clause() == c && w.is_binary() == (c->size() == 2) &&
                   w.is_learnt() == c->is_learnt() &&
                   std::find(c->begin(), c->end(), w.blocker()) != c->end() &&
                   (!w.is_binary() || w.blocker() == (*c)[1 - k]);
        };
        if (std::count_if(list.begin(), list.end(), is_right) != 1) {
            return false;
        }
    }
    if (c->size() == 1 || qhead_ < trail_size_ || unsat_level_ >= 0 ||
        std::find(pending_units_.begin(), pending_units_.end(), c) != pending_units_.end()) {
        return true;
    }
    size_t num_open = 0;
    for (Lit l : *c) {
        if (value(l).is_true()) {
            return true;
        }
        num_open += static_cast<size_t>(value(l).is_undef());
    }
    return num_open >= (theory_manager_ ? 1 : 2);
}

} // namespace tarq
