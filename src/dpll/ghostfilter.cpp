#include "dpll/ghostfilter.h"

#include "dpll/dpllsolver.h"
#include "dpll/theoryhook.h"

#include <algorithm>
#include <limits>

namespace tarq::dpll {

GhostFilter::GhostFilter(DpllSolver* solver, bool all_vars) : solver_(solver), all_vars_(all_vars)
{
}

bool GhostFilter::is_tracked(int var) const
{
    if (all_vars_) {
        return true;
    }
    const auto v = static_cast<size_t>(var);
    return theory_manager_ && v < theory_manager_->boolean_vars().size() &&
           !theory_manager_->boolean_vars().get(v);
}

void GhostFilter::tell_clause(Clause* c)
{
    if (c->size() == 0) {
        return;
    }
    for (Lit l : *c) {
        if (!is_tracked(l.var())) {
            continue;
        }
        if (index(l) >= occurrences_.size()) {
            occurrences_.resize(std::max(index(l) + 1, 2 * occurrences_.size()));
        }
        occurrences_[index(l)].push_back(c);
        c->add_reference();
    }
    if (!marks_.empty()) {
        c->add_reference();
        trail_.push_back({c, c->id()});
    }
}

/// Removes the clause from all lists. What is tracked may have changed since it was told, so every
/// literal is looked up; the newest entries are where a clause mostly is.
void GhostFilter::take_out(Clause* c)
{
    c->add_reference(); // it must outlast the walk over its literals
    for (uint32_t k = 0; k < c->size(); ++k) {
        const Lit l = (*c)[k];
        if (index(l) >= occurrences_.size()) {
            continue;
        }
        std::vector<Clause*>& list = occurrences_[index(l)];
        const auto it = std::find(list.rbegin(), list.rend(), c);
        if (it != list.rend()) {
            *it = list.back();
            list.pop_back();
            solver_->release_clause(c);
        }
    }
    solver_->release_clause(c);
}

void GhostFilter::retract_lemma(Clause* c)
{
    c->add_reference();
    take_out(c);
    const auto it = std::lower_bound(trail_.begin(), trail_.end(), c->id(),
                                     [](const UndoInfo& u, uint32_t id) { return u.id < id; });
    if (it != trail_.end() && it->clause == c) {
        it->clause = nullptr;
        solver_->release_clause(c);
    }
    solver_->release_clause(c);
}

const std::vector<Clause*>* GhostFilter::get_clauses_of(Lit l) const
{
    return index(l) < occurrences_.size() ? &occurrences_[index(l)] : nullptr;
}

/// Whether every clause with that literal holds another one that is true. For a literal that is true
/// itself only those count that were so before: then what first satisfied a clause is no ghost, and
/// all ghosts can be taken back together.
bool GhostFilter::all_satisfied(Lit l) const
{
    const std::vector<Clause*>* clauses = get_clauses_of(l);
    if (!clauses) {
        return true;
    }
    const int before =
        solver_->value(l).is_true() ? solver_->trail_pos(l.var()) : std::numeric_limits<int>::max();
    return std::all_of(clauses->begin(), clauses->end(), [&](const Clause* c) {
        return std::any_of(c->begin(), c->end(), [&](Lit other) {
            return solver_->value(other).is_true() && solver_->trail_pos(other.var()) < before;
        });
    });
}

bool GhostFilter::is_never_ghost(int var) const
{
    const auto v = static_cast<size_t>(var);
    return v < never_ghost_.size() && never_ghost_[v] != 0;
}

bool GhostFilter::is_ghost(int var) const
{
    return is_tracked(var) && !is_never_ghost(var) && all_satisfied(Lit(var)) &&
           all_satisfied(~Lit(var));
}

bool GhostFilter::is_ghost(Lit l, bool check_never) const
{
    return is_tracked(l.var()) && !(check_never && is_never_ghost(l.var())) && all_satisfied(l);
}

void GhostFilter::set_never_ghost(int var)
{
    const auto v = static_cast<size_t>(var);
    if (v >= never_ghost_.size()) {
        never_ghost_.resize(v + 1);
    }
    never_ghost_[v] = 1;
}

void GhostFilter::push_backtrack_point()
{
    marks_.push_back(trail_.size());
}

void GhostFilter::pop_backtrack_point()
{
    while (trail_.size() > marks_.back()) {
        if (Clause* c = trail_.back().clause) {
            take_out(c);
            solver_->release_clause(c);
        }
        trail_.pop_back();
    }
    marks_.pop_back();
    const auto num_vars = static_cast<size_t>(solver_->num_vars());
    never_ghost_.resize(std::min(never_ghost_.size(), num_vars));
    occurrences_.resize(std::min(occurrences_.size(), 2 * num_vars));
}

} // namespace tarq::dpll
