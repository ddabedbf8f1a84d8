// The theory side as the engine sees it: telling literals, taking conflicts, implications and
// lemmas.
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

namespace {

int max_var(const std::vector<Lit>& lits)
{
    int result = -1;
    for (Lit l : lits) {
        result = std::max(result, l.var());
    }
    return result;
}

} // namespace

void DpllSolver::check_theory(bool approx)
{
    if (theory_manager_) {
        run_theory_check(approx, true);
    }
}

/// Hands the news on the trail to the theories and lets them check.
/// filter  whether irrelevant literals may be dropped
void DpllSolver::run_theory_check(bool approx, bool filter)
{
    const BitVector& ignored = theory_manager_->boolean_vars();
    while (theory_head_ < trail_size_) {
        const Lit l = trail_[theory_head_++];
        if (!ignored.get(index(l.var()))) {
            theory_manager_->do_assume(l, filter);
        }
    }
    if (approx) {
        theory_manager_->check_approx();
    } else {
        theory_manager_->check_complete();
    }
}

/// Makes the clause of theory literals `theory_lits_`, which is sorted for watching.
/// attach_it  it joins the learnt clauses, watched if it can be
Clause* DpllSolver::new_theory_clause(bool attach_it)
{
    std::sort(theory_lits_.begin(), theory_lits_.end(), TheoryClauseLitLess{this});
    Clause* c = new_clause(theory_lits_, true, true);
    if (attach_it) {
        learnts_.push_back(c);
        if (c->size() > 1) {
            attach_clause(c);
        }
    }
    store_tlemma(c);
    return c;
}

void DpllSolver::store_tlemma(Clause* c)
{
    if (config_.store_tlemmas) {
        c->add_reference();
        stored_tlemmas_.push_back(c);
    }
}

void DpllSolver::keep_axiom(const std::vector<Lit>& lits)
{
    if (!config_.store_tlemmas || config_.parent->unsat_core_generation != 2) {
        return;
    }
    std::vector<Lit> guarded(lits);
    if (!btpoints_.empty()) {
        guarded.push_back(~btpoints_.back());
    }
    stored_tlemmas_.push_back(make_detached_clause(guarded));
}

/// The pending conflict as a clause with a reference for the caller; null for an empty one.
Clause* DpllSolver::get_theory_conflict()
{
    ++stats_.theory_conflicts;
    theory_lits_.clear();
    theory_manager_->get_conflict(theory_lits_);
    if (theory_lits_.empty()) {
        return nullptr;
    }
    for (Lit& l : theory_lits_) {
        TARQ_ASSERT(value(l).is_true());
        l = ~l;
    }
    // The point that was newest when the youngest atom was made: with its pop the atom goes.
    add_guard(theory_lits_, max_var(theory_lits_));
    sort_and_clean(theory_lits_);
    const bool join = theory_lits_.size() > 1;
    Clause* c = new_theory_clause(join);
    c->set_lbd(compute_lbd(c->begin(), c->end()));
    if (join) {
        c->add_reference();
        bump_clause(c);
    }
    return c;
}

/// The explanation of an implied literal as a clause, which becomes its reason if it is assigned.
/// force    the theory side must answer; else it may put that off, and the result is null
Clause* DpllSolver::get_theory_reason(Lit l, bool force)
{
    theory_lits_.clear();
    if (!theory_manager_->get_explanation(l, force, theory_lits_)) {
        TARQ_ASSERT(!force);
        return nullptr;
    }
    for (Lit& e : theory_lits_) {
        TARQ_ASSERT(value(e).is_true());
        e = ~e;
    }
    theory_lits_.push_back(l);
    add_guard(theory_lits_, max_var(theory_lits_));
    sort_and_clean(theory_lits_);
    Clause* c = new_theory_clause(true);
    TARQ_ASSERT((*c)[0] == l);
    if (is_assigned(l.var())) {
        vardata_[index(l.var())].reason = c;
    }
    return c;
}

/// Enqueues what the theories imply; true if anything. Only with all points open, since
/// explanations are guarded by points.
bool DpllSolver::enqueue_theory_implications()
{
    if (!theory_manager_ || decision_level() < num_backtrack_points()) {
        return false;
    }
    bool any = false;
    for (Lit l = theory_manager_->get_next_implied(); l != lit_Undef;
         l = theory_manager_->get_next_implied()) {
        if (is_assigned(l.var())) {
            continue; // if it is false the next check finds the conflict
        }
        // Under lemma lifting every step of the theories must be on record.
        Clause* reason = get_theory_reason(l, config_.parent->unsat_core_generation == 2);
        if (!reason) {
            reason = theory_reason_;
            ++stats_.lazily_explained_theory_propagations;
        }
        ++stats_.theory_propagations;
        unchecked_enqueue(l, reason);
        any = true;
    }
    return any;
}

// -- Lemmas

int DpllSolver::add_theory_lemmas()
{
    if (decision_level() < num_backtrack_points()) {
        return 2;
    }
    int backjump = decision_level();
    bool any = false;
    conflicting_lemmas_.clear();
    while (has_pending_lemmas()) {
        any = true;
        if (!add_theory_lemma(&backjump)) {
            return 1;
        }
    }
    if (!any) {
        return 2;
    }
    if (!conflicting_lemmas_.empty() && !resolve_conflicting_lemmas()) {
        return 1;
    }
    if (backjump < decision_level()) {
        cancel_until(backjump);
    }
    learnt_limit_ = std::max(learnt_limit_, base_learnt_limit());
    return 0;
}

bool DpllSolver::has_pending_lemmas()
{
    return (theory_manager_ && theory_manager_->has_lemmas()) ||
           (allsat_hook_ && allsat_hook_->has_new_clauses());
}

/// Fills `lemma_lits_` with the next lemma, or with the next clause of the hook of an enumeration.
/// Returns the id for the theory side, 0 for none.
unsigned DpllSolver::next_theory_lemma(bool* keep, bool* permanent)
{
    if (theory_manager_ && theory_manager_->has_lemmas()) {
        return theory_manager_->get_lemma(lemma_lits_, keep, permanent);
    }
    std::vector<TheoryLit> clause;
    allsat_hook_->get_new_clause(clause);
    for (TheoryLit l : clause) {
        int var;
        make_proxy(l.get_term(), &var);
        set_problem_var(var, true);
        lemma_lits_.emplace_back(var, l.is_neg());
    }
    // Unlike a lemma it need not hold beyond the enumeration.
    if (allsat_guard_ != lit_Undef) {
        lemma_lits_.push_back(allsat_guard_);
    }
    if (!btpoints_.empty()) {
        lemma_lits_.push_back(~btpoints_.back());
    }
    return 0;
}

/// Takes one lemma in. False when it makes the clauses unsat.
/// backjump  lowered to where a ghost literal has to be undone
bool DpllSolver::add_theory_lemma(int* backjump)
{
    bool keep = true;
    bool permanent = true;
    lemma_lits_.clear();
    const unsigned id = next_theory_lemma(&keep, &permanent);
    if (preprocessor_) {
        preprocessor_->bring_back(lemma_lits_, true);
    }
    if (!lemma_lits_.empty()) {
        if (keep && ghost_filter_ && !btpoints_.empty()) {
            lemma_lits_.push_back(~btpoints_.back());
        } else {
            add_guard(lemma_lits_, max_var(lemma_lits_));
        }
    }
    if (!sort_and_clean(lemma_lits_)) { // says nothing
        if (id != 0) {
            theory_manager_->retract_lemma(id);
        }
        return true;
    }
    if (lemma_lits_.empty()) {
        if (id != 0) {
            theory_manager_->retract_lemma(id);
        }
        unsat_level_ = 0;
        return false;
    }
    std::sort(lemma_lits_.begin(), lemma_lits_.end(), TheoryClauseLitLess{this});
    Clause* c = new_clause(lemma_lits_, !permanent, true);
    if (id != 0) {
        lemma_ids_[c->id()] = id;
    }
    log_clause(4, "adding theory lemma: ", c->begin(), c->end());
    if (keep && ghost_filter_) {
        *backjump = std::min(*backjump, ghost_backjump_level(c));
    }
    if (permanent) {
        clauses_.push_back(c);
        if (preprocessor_) {
            preprocessor_->tell_clause(c);
        }
    } else {
        learnts_.push_back(c);
    }
    if (keep && ghost_filter_) {
        ghost_filter_->tell_clause(c);
        put_back_ghost_vars();
    }
    store_tlemma(c);
    return place_lemma(c);
}

/// Where the literals over the atoms of a new lemma get undone that were kept from the theories.
int DpllSolver::ghost_backjump_level(const Clause* c)
{
    int result = decision_level();
    for (Lit l : *c) {
        if (!is_assigned(l.var())) {
            continue;
        }
        const Lit on_trail = l ^ static_cast<int>(value(l).is_false());
        if (is_ghost_of_theory(on_trail)) {
            result = std::min(result, std::max(level(l.var()) - 1, 0));
        }
    }
    return result;
}

/// Watches a new lemma, or remembers it when it is unit or in conflict with the assignment.
bool DpllSolver::place_lemma(Clause* c)
{
    if (c->size() == 1) {
        log_clause(4, "unit lemma, backtracking to level zero:", c->begin(), c->end());
        pending_units_.push_back(c);
        return true;
    }
    attach_clause(c);
    const auto false_from = [&](uint32_t first) {
        return std::all_of(c->begin() + first, c->end(),
                           [&](Lit l) { return value(l).is_false(); });
    };
    const lbool first = value((*c)[0]);
    if (first.is_false() && false_from(1)) {
        log_clause(4, "conflict lemma!", c->begin(), c->end());
        conflicting_lemmas_.push_back(c);
        if (level((*c)[0].var()) == 0) {
            unsat_level_ = 0;
            cancel_until(0);
            return false;
        }
    } else if (first.is_undef() && false_from(1)) {
        log_clause(4, "unit lemma, adding to pending:", c->begin(), c->end());
        pending_units_.push_back(c);
    }
    return true;
}

/// Goes back to where the first lemma that got false is not false any more. The others then aren't
/// either, since their first literals stand later on the trail.
bool DpllSolver::resolve_conflicting_lemmas()
{
    Clause* c = *std::min_element(conflicting_lemmas_.begin(), conflicting_lemmas_.end(),
                                  [&](const Clause* a, const Clause* b) {
                                      return trail_pos((*a)[0].var()) < trail_pos((*b)[0].var());
                                  });
    const int level0 = level((*c)[0].var());
    const int level1 = level((*c)[1].var());
    if (level0 != level1) {
        cancel_until(level1);
        unchecked_enqueue((*c)[0], c);
        return true;
    }
    if (level0 > num_backtrack_points()) {
        cancel_until(level0 - 1);
        return true;
    }
    unsat_level_ = level0; // points up to there are all the decisions it depends on
    return false;
}

} // namespace tarq
