// Enumeration of models, and models cut down to what satisfies the clauses.
#include "base/logger.h"
#include "dpll/allsathook.h"
#include "dpll/dpllpreprocessor.h"
#include "dpll/dpllsolver.h"
#include "dpll/ghostfilter.h"

#include <algorithm>

namespace tarq {

using dpll::Clause;
using dpll::Lit;
using dpll::lit_Undef;

// -- Ghosts

void DpllSolver::set_theory_manager(dpll::TheoryHook* t)
{
    theory_manager_ = t;
    if (ghost_filter_) {
        ghost_filter_->set_theory_manager(t);
    }
}

void DpllSolver::set_never_ghost(int var)
{
    if (ghost_filter_) {
        ghost_filter_->set_never_ghost(var);
        if (!is_assigned(var)) {
            insert_var_order(var);
        }
    }
}

/// Only above the levels of the points: clauses that hold a literal true there may never have been
/// told to the filter. The answer stays the same while the literal is assigned, until a clause with
/// it is told: what satisfied its clauses before it was assigned stays as long as it does.
bool DpllSolver::is_ghost_of_theory(Lit l) const
{
    if (!ghost_filter_ || !config_.ghost_filtering || level(l.var()) <= num_backtrack_points()) {
        return false;
    }
    const Clause* r = vardata_[index(l.var())].reason;
    return r && r != theory_reason_ && r->is_theory() && ghost_filter_->is_ghost(l, true);
}

// -- Minimisation

/// Levels that belong to points and assumptions; what they made true is part of the question.
int DpllSolver::base_levels() const
{
    return num_backtrack_points() + static_cast<int>(assumptions_.size());
}

/// Takes a literal that is true in `model_` out of it if all its clauses hold another one.
bool DpllSolver::drop_from_model(Lit l)
{
    lbool& value = model_[index(l.var())];
    const lbool old = value;
    value = l_Undef;
    const auto is_satisfied = [this](const Clause* c) {
        return std::any_of(c->begin(), c->end(), [this](Lit x) {
            return model_[index(x.var())] == lbool::from_bool(!x.sign());
        });
    };
    const std::vector<Clause*>* clauses = ghost_filter_->get_clauses_of(l);
    if (!clauses || std::all_of(clauses->begin(), clauses->end(), is_satisfied)) {
        return true;
    }
    value = old;
    return false;
}

/// Makes variables undefined as long as every clause keeps a true literal. Which minimal model
/// comes out depends on the order, that of the variables. Returns how many were made undefined.
/// Variables without a level were given values by the preprocessor and stay.
int DpllSolver::minimize_model()
{
    const int base = base_levels();
    int count = 0;
    for (int var = 0; var < num_vars(); ++var) {
        const lbool value = model_[index(var)];
        if (!value.is_undef() && level(var) > base && drop_from_model(Lit(var, value.is_false()))) {
            ++count;
        }
    }
    return count;
}

/// Literals that the theories were not told of are no part of a model that they agree with.
void DpllSolver::drop_ghosts_from_model()
{
    for (size_t i = 0; i < trail_size_; ++i) {
        if (is_ghost_of_theory(trail_[i])) {
            model_[index(trail_[i].var())] = l_Undef;
        }
    }
}

// -- Enumeration

int DpllSolver::allsat(AllSatModelFoundHook* hook, const std::vector<int>& vars,
                       const std::vector<Lit>& assumptions, Lit guard)
{
    if (num_vars() == 0) {
        return -2;
    }
    std::vector<uint8_t> listed(index(num_vars()), 0);
    const auto list = [&](int var) {
        if (proxies_[index(var)] && !listed[index(var)]) {
            listed[index(var)] = 1;
            allsat_vars_.push_back(var);
            set_frozen(var, true);
            set_never_ghost(var);
        }
    };
    // Forgets the enumeration on every way out.
    struct Scope {
        ~Scope()
        {
            s->allsat_ = false;
            s->allsat_hook_ = nullptr;
            s->allsat_vars_.clear();
            s->allsat_count_ = 0;
            s->allsat_guard_ = lit_Undef;
        }
        DpllSolver* s;
    } scope{this};
    for (int var : vars) {
        list(var);
    }
    for (int var = 0; vars.empty() && var < num_vars(); ++var) {
        list(var);
    }
    allsat_ = true;
    allsat_hook_ = hook;
    allsat_guard_ = guard;
    return solve(assumptions, false) ? -2 : allsat_count_;
}

/// Counts the model that is assigned, tells the hook, and excludes it by a clause, with which the
/// search goes on as after a conflict.
/// returns  false when there can't be another one
bool DpllSolver::allsat_backjump_and_learn()
{
    ++allsat_count_;
    std::vector<Lit> block;
    for (int var : allsat_vars_) {
        if (is_assigned(var)) {
            block.emplace_back(var, value(var).is_true());
        }
    }
    if (config_.allsat_minimize_model) {
        minimize_block(block);
    }
    if (allsat_hook_) {
        tell_allsat_hook(block);
    }
    if (allsat_guard_ != lit_Undef) {
        block.push_back(allsat_guard_);
    }
    if (!btpoints_.empty()) {
        block.push_back(~btpoints_.back());
    }
    if (block.empty()) {
        return false;
    }
    std::sort(block.begin(), block.end(), TheoryClauseLitLess{this});
    const bool permanent = !config_.allsat_allow_duplicates;
    Clause* c = new_clause(block, !permanent, false);
    if (c->size() > 1) { // a unit becomes an entry of the trail for good
        c->add_reference();
        attach_clause(c);
        (permanent ? clauses_ : learnts_).push_back(c);
        if (!permanent) {
            c->set_lbd(compute_lbd(c->begin(), c->end()));
            bump_clause(c);
        }
        if (preprocessor_ && permanent) {
            preprocessor_->tell_clause(c);
        }
        if (ghost_filter_) {
            ghost_filter_->tell_clause(c);
        }
    }
    return backjump_and_learn(c);
}

/// Leaves literals out whose variables may have either value. What is left is a cube of models:
/// every clause is satisfied by it and the values of the other variables.
void DpllSolver::minimize_block(std::vector<Lit>& block)
{
    model_.resize(index(num_vars()));
    for (int var = 0; var < num_vars(); ++var) {
        model_[index(var)] = value(var);
    }
    const size_t before = block.size();
    const int base = base_levels();
    block.erase(std::remove_if(block.begin(), block.end(),
                               [&](Lit b) { return level(b.var()) > base && drop_from_model(~b); }),
                block.end());
    if (log_on(4)) {
        (*logger_)(log_section_) << loglevel(4) << log_prefix_
                                 << "allsat minimization, orig: " << before
                                 << ", now: " << block.size() << EndLog;
    }
}

void DpllSolver::tell_allsat_hook(const std::vector<Lit>& block)
{
    hook_lits_.clear();
    for (Lit b : block) {
        hook_lits_.emplace_back(proxies_[index(b.var())], !b.sign());
    }
    if (!(*allsat_hook_)(hook_lits_)) {
        throw interrupted("AllSat hook returned false, aborting");
    }
}

} // namespace tarq
