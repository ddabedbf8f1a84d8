#include "theory/la/lasolverinterface.h"

#include "base/logger.h"
#include "encoding/polaritychecker.h"
#include "theory/theoryeq.h"

#include <algorithm>

namespace tarq {

using la::LinearOp;
using la::LinearTerm;

LaSolverInterface::LaSolverInterface(const Configuration::Theory& config, TermManager* tm)
    : TheorySolver(tm), config_(config), mapper_(tm), constraints_(&mapper_, &solver_),
      euf_fragment_(config.la.detect_euf_fragment && config.euf.enabled)
{
    solver_.set_deduction_level(config.la.deduction_enabled ? 2 : 0);
    solver_.set_pivoting_threshold(config.la.pivoting_greedy_threshold);
}

LaSolverInterface::~LaSolverInterface()
{
    for (const Equality& e : equalities_) {
        if (e.eq) {
            e.eq->destroy();
        }
    }
    if (stored_conflict_) {
        stored_conflict_->destroy();
    }
}

void LaSolverInterface::set_termination_test(const TerminationTest* test)
{
    TheorySolver::set_termination_test(test);
    solver_.set_termination_test(test);
    if (laz_) {
        laz_->set_termination_test(test);
    }
}

// -- Atoms

bool LaSolverInterface::is_arith(const Term_* t) const
{
    return tm_->is_arith_type(TermManager::get_type(t));
}

bool LaSolverInterface::should_handle(const Term_* atom) const
{
    return tm_->is_leq(atom) || (tm_->is_equal(atom) && is_arith(atom->child(0)));
}

/// What is kept of an atom; null if it was not told. Valid until the next one is told.
LaSolverInterface::Atom* LaSolverInterface::find_atom(const Term_* atom)
{
    const int place = atom_places_.find(atom);
    return place < 0 ? nullptr : &atoms_[static_cast<size_t>(place)];
}

LaSolverInterface::Atom& LaSolverInterface::add_atom(const Term_* atom)
{
    if (free_atoms_.empty()) {
        free_atoms_.push_back(static_cast<int>(atoms_.size()));
        atoms_.emplace_back();
    }
    const int place = free_atoms_.back();
    free_atoms_.pop_back();
    atom_places_.set(atom, place);
    return atoms_[static_cast<size_t>(place)] = Atom();
}

void LaSolverInterface::tell_literal(TheoryLit lit, const LinearTerm& lt, int* constraint)
{
    *constraint = mapper_.new_constraint(lit);
    constraints_.tell_constraint(*constraint, lt);
}

TellAtomResult LaSolverInterface::tell_atom(const Term_* atom)
{
    if (!should_handle(atom)) {
        return {};
    }
    mapper_.make_linear(atom, &linear_);
    Atom& a = add_atom(atom);
    if (linear_.sum.empty()) {
        unit_lits_.push_back(TheoryLit(atom, linear_.is_false()));
        return {true, true};
    }
    fragment_bound_ = std::max(fragment_bound_, abs(linear_.constant).ceil());
    tell_literal(TheoryLit(atom, false), linear_, &a.positive);
    const LinearTerm negation = linear_.inverted();
    tell_literal(TheoryLit(atom, true), negation, &a.negative);
    is_int_problem_ =
        is_int_problem_ || std::any_of(linear_.sum.terms().begin(), linear_.sum.terms().end(),
                                       [this](const la::VarCoeff& t) { return is_int_var(t.var); });
    if (tm_->is_equal(atom)) {
        choose_treatment_of_negation(atom, a, linear_);
    }
    if (euf_fragment_ && !(tm_->is_equal(atom) && is_var_or_number(atom->child(0)) &&
                           is_var_or_number(atom->child(1)))) {
        push_euf_fragment();
    }
    return {true, true};
}

bool LaSolverInterface::is_var_or_number(const Term_* t)
{
    return tm_->is_arith_number(t) || mapper_.variable(t, true) != 0;
}

/// An equality is split when it is false, but for real problems without `split_rat_eq`. In split
/// mode the constraint of the negation is never pushed: it is there to be implied.
void LaSolverInterface::choose_treatment_of_negation(const Term_* atom, Atom& a,
                                                     const LinearTerm& lt)
{
    if (!config_.la.split_rat_eq && !is_int_problem_) {
        return;
    }
    if (!config_.la.split_rat_eq && !config_.la.laz_enabled) {
        if (lt.all_int) {
            a.in_both = true;
            both_ways_eqs_.push_back(atom);
        }
        return;
    }
    a.split = a.waiting = true;
    if (euf_fragment_ || is_pure(atom)) {
        waiting_.push_back(atom);
    } else {
        enqueue_split(atom, a);
    }
}

/// Whether only the positive literal of an equality matters, so that its negation can be left out.
bool LaSolverInterface::is_pure(const Term_* atom) const
{
    return polarity_checker_ &&
           (config_.la.pure_equality_filtering || config_.pure_literal_filtering) &&
           (*polarity_checker_)(atom) == 2;
}

void LaSolverInterface::enqueue_split(const Term_* atom, Atom& a)
{
    a.waiting = false;
    eqs_to_split_.push_back(atom);
}

void LaSolverInterface::retract_literal(int constraint)
{
    if (laz_) {
        laz_->forget_variables();
    }
    if (constraint != 0) {
        TARQ_ASSERT(solver_.get_constraint(constraint).pushed == 0);
        constraints_.retract_constraint(constraint);
        mapper_.free_constraint(constraint);
    }
}

void LaSolverInterface::retract_atom(const Term_* atom)
{
    const Atom* told = find_atom(atom);
    if (!told) {
        return;
    }
    const auto drop = [atom](std::vector<const Term_*>& list) {
        list.erase(std::remove(list.begin(), list.end(), atom), list.end());
    };
    const Atom a = *told;
    if (a.split) {
        drop(waiting_);
        drop(eqs_to_split_);
    }
    if (a.in_both) {
        drop(both_ways_eqs_);
    }
    if (a.positive == 0) {
        unit_lits_.erase(std::remove_if(unit_lits_.begin(), unit_lits_.end(),
                                        [atom](TheoryLit l) { return l.get_term() == atom; }),
                         unit_lits_.end());
    }
    split_atoms_.erase(atom);
    retract_literal(a.positive);
    retract_literal(a.negative);
    free_atoms_.push_back(atom_places_.find(atom));
    atom_places_.erase(atom);
}

// -- Literals

/// Whether an equality atom is rather left to the other solvers until a complete check.
bool LaSolverInterface::is_delayed(const Term_* eq)
{
    if (!config_.la.delay_alien || !tm_->is_equal(eq)) {
        return false;
    }
    const bool a = is_alien(eq->child(0));
    const bool b = is_alien(eq->child(1));
    const auto is_plain = [this](const Term_* t) {
        return tm_->is_constant(t) || tm_->is_term_ite(t);
    };
    return (a && b) || (a && is_plain(eq->child(1))) || (b && is_plain(eq->child(0)));
}

void LaSolverInterface::enqueue(int constraint, bool delayed)
{
    (euf_fragment_ ? fragment_ : delayed ? delayed_ : pending_).push_back(constraint);
}

bool LaSolverInterface::assume(TheoryLit lit)
{
    const Term_* atom = lit.get_term();
    const Atom* a = find_atom(atom);
    if (!a || a->positive == 0) {
        return true; // true or false by itself: a unit lemma says so
    }
    if (lit.is_neg() && a->split) {
        if (is_logging(4, "LA")) {
            log(4, "LA") << "ignoring: " << atom->to_shallow_str() << EndLog;
        }
        return true; // check_split_eqs looks at those that wait
    }
    enqueue(lit.is_neg() ? a->negative : a->positive, is_delayed(atom));
    return true;
}

bool LaSolverInterface::assume(TheoryEq* eq)
{
    if (!is_arith(eq->left) || !is_arith(eq->right)) {
        return true;
    }
    const TermPair key(eq->left, eq->right);
    const auto it = equality_of_.find(key);
    size_t place;
    if (it != equality_of_.end()) {
        place = it->second;
    } else {
        mapper_.make_linear_equality(eq->left, eq->right, &linear_);
        if (linear_.sum.empty()) {
            if (linear_.is_false() && !stored_conflict_) {
                stored_conflict_ = eq->new_copy();
            }
            return linear_.is_true();
        }
        if (free_equalities_.empty()) {
            place = equalities_.size();
            equalities_.emplace_back();
        } else {
            place = free_equalities_.back();
            free_equalities_.pop_back();
        }
        Equality& e = equalities_[place];
        e.eq = eq->new_copy();
        tell_literal(tlit_Undef, linear_, &e.constraint);
        solver_.set_never_implied(e.constraint);
        const size_t c = static_cast<size_t>(e.constraint);
        if (c >= equality_of_constraint_.size()) {
            equality_of_constraint_.resize(2 * c + 1, 0);
        }
        equality_of_constraint_[c] = place + 1;
        equality_of_[key] = place;
    }
    enqueue(equalities_[place].constraint, config_.la.delay_alien);
    return !solver_.is_inconsistent();
}

// -- Levels

bool LaSolverInterface::push(int constraint)
{
    ++current_pushes_;
    return solver_.push_constraint(constraint);
}

bool LaSolverInterface::push_pending()
{
    bool ok = true;
    for (int c : pending_) {
        ok = push(c);
    }
    pending_.clear();
    return ok;
}

void LaSolverInterface::pop(size_t n)
{
    for (; n > 0; --n) {
        solver_.pop_constraint();
    }
}

/// What arrived at the closing level is pushed there, so that it is popped with that level and no
/// later one. A conflict shows at the next check.
void LaSolverInterface::new_decision_level()
{
    push_pending();
    levels_.push_back(
        {current_pushes_, fragment_.size(), delayed_.size(), solver_.num_announced()});
    current_pushes_ = 0;
}

void LaSolverInterface::cancel_until(int level)
{
    const size_t target = static_cast<size_t>(level);
    if (target >= levels_.size()) {
        return;
    }
    model_equations_.clear();
    pending_.clear();
    if (laz_) {
        laz_->drop_split();
    }
    if (stored_conflict_) {
        stored_conflict_->destroy();
        stored_conflict_ = nullptr;
    }
    while (levels_.size() > target) {
        pop(current_pushes_);
        const Level& l = levels_.back();
        current_pushes_ = l.pushes;
        fragment_.resize(std::min(fragment_.size(), l.fragment_size));
        delayed_.resize(std::min(delayed_.size(), l.delayed_size));
        // literals that were implied meanwhile by what is still pushed are free again
        solver_.announce_again_from(l.implied);
        levels_.pop_back();
    }
}

/// Equalities that are not in force any more go, so that they do not keep rows and variables.
void LaSolverInterface::pop_backtrack_point()
{
    for (size_t i = 0; i < equalities_.size(); ++i) {
        const Equality& e = equalities_[i];
        if (e.eq && solver_.get_constraint(e.constraint).pushed == 0 &&
            std::find(pending_.begin(), pending_.end(), e.constraint) == pending_.end() &&
            std::find(delayed_.begin(), delayed_.end(), e.constraint) == delayed_.end() &&
            std::find(fragment_.begin(), fragment_.end(), e.constraint) == fragment_.end()) {
            forget_equality(i);
        }
    }
}

void LaSolverInterface::forget_equality(size_t place)
{
    Equality& e = equalities_[place];
    equality_of_.erase(TermPair(e.eq->left, e.eq->right));
    equality_of_constraint_[static_cast<size_t>(e.constraint)] = 0;
    retract_literal(e.constraint);
    e.eq->destroy();
    e = Equality();
    free_equalities_.push_back(place);
}

/// Ends the fragment mode: what was held back goes to the simplex, each level's share counted for
/// it. Levels that were opened meanwhile are closed in the books, so theirs are made right.
bool LaSolverInterface::push_euf_fragment()
{
    euf_fragment_ = false;
    bool ok = true;
    size_t i = 0;
    TARQ_ASSERT(current_pushes_ == 0 && pending_.empty());
    for (Level& l : levels_) {
        for (; i < l.fragment_size; ++i) {
            ok = push(fragment_[i]);
        }
        l.pushes = current_pushes_;
        l.fragment_size = 0;
        current_pushes_ = 0;
    }
    for (; i < fragment_.size(); ++i) {
        ok = push(fragment_[i]);
    }
    fragment_.clear();
    return ok;
}

} // namespace tarq
