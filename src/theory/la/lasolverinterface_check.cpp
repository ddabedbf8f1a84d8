// Checks, conflicts, implications and lemmas of LaSolverInterface.
#include "encoding/polaritychecker.h"
#include "theory/la/lasolverinterface.h"

#include <algorithm>

namespace tarq {

bool LaSolverInterface::check(bool approx)
{
    if (stored_conflict_) {
        return last_check_ok_ = false;
    }
    bool ok = true;
    laz_conflict_ = false;
    if (!euf_fragment_) {
        push_pending();
        ok = check_heavy_equations() && solver_.check(approx);
        if (ok) {
            ok = !approx && !delayed_.empty() ? check_with_delayed() : check_integers(approx);
        }
    }
    last_check_ok_ = ok;
    if (ok && !approx) {
        check_split_eqs();
    }
    return ok;
}

/// A complete check with what was held back, which stays out of the books.
bool LaSolverInterface::check_with_delayed()
{
    struct Guard { // the termination test may throw
        LaSolverInterface* self;
        size_t base;
        ~Guard() { self->pop(self->solver_.num_pushed() - base); }
    } guard{this, solver_.num_pushed()};
    for (int c : delayed_) {
        solver_.push_constraint(c);
    }
    return solver_.check(false) && check_integers(false);
}

laz::Solver& LaSolverInterface::integer_solver()
{
    if (!laz_) {
        laz_ = std::make_unique<laz::Solver>(config_.la, tm_, &solver_, &mapper_, &constraints_);
        laz_->set_termination_test(termination_test_);
    }
    return *laz_;
}

/// Equations over integers whose numbers make each pivot slow are decided without one.
bool LaSolverInterface::check_heavy_equations()
{
    if (!is_int_problem_ || !config_.la.laz_enabled || !constraints_.has_heavy_rows()) {
        return true;
    }
    laz_conflict_ = !integer_solver().check_equations();
    return !laz_conflict_;
}

/// What integers need beyond the rational check, which has succeeded. A split of the space becomes
/// a lemma.
bool LaSolverInterface::check_integers(bool approx)
{
    if (!is_int_problem_ || !config_.la.laz_enabled) {
        return true;
    }
    laz_conflict_ = integer_solver().check(approx) == laz::Solver::Result::CONFLICT;
    return !laz_conflict_;
}

/// Splits the equalities that have become relevant: atoms of assumptions and lemmas may occur
/// negatively though the formula has them only positively.
void LaSolverInterface::check_split_eqs()
{
    if (euf_fragment_) {
        return;
    }
    const size_t before = eqs_to_split_.size();
    size_t kept = 0;
    for (const Term_* atom : waiting_) {
        if (is_pure(atom)) {
            waiting_[kept++] = atom;
        } else {
            enqueue_split(atom, *find_atom(atom));
        }
    }
    waiting_.resize(kept);
    if (eqs_to_split_.size() == before && is_int_problem_ && config_.la.laz_enabled) {
        for (const Term_* atom : both_ways_eqs_) {
            Atom& a = *find_atom(atom);
            a.in_both = false;
            enqueue_split(atom, a);
        }
        both_ways_eqs_.clear();
    }
}

// -- Conflicts and implications

/// Appends the literal of a constraint, or those that explain the equality behind it.
void LaSolverInterface::add_reason_literals(int constraint, std::vector<TheoryLit>& out) const
{
    const TheoryLit lit = mapper_.constraint_to_lit(constraint);
    if (!(lit == tlit_Undef)) {
        out.push_back(lit);
        return;
    }
    const size_t place = equality_of_constraint_[static_cast<size_t>(constraint)];
    TARQ_ASSERT(place != 0);
    [[maybe_unused]] const bool explained = equalities_[place - 1].eq->explain(out);
    TARQ_ASSERT(explained);
}

void LaSolverInterface::remove_repeats(std::vector<TheoryLit>& lits)
{
    std::sort(lits.begin(), lits.end());
    lits.erase(std::unique(lits.begin(), lits.end()), lits.end());
}

void LaSolverInterface::get_conflict(std::vector<TheoryLit>& out)
{
    std::vector<TheoryLit> lits;
    if (stored_conflict_) {
        [[maybe_unused]] const bool explained = stored_conflict_->explain(lits);
        TARQ_ASSERT(explained);
    } else {
        for (int c : laz_conflict_ ? laz_->conflict() : solver_.conflict()) {
            add_reason_literals(c, lits);
        }
    }
    remove_repeats(lits);
    out.insert(out.end(), lits.begin(), lits.end());
}

TheoryLit LaSolverInterface::get_next_implied()
{
    if (!last_check_ok_) {
        return tlit_Undef;
    }
    while (const int c = solver_.get_next_implied()) {
        const TheoryLit lit = mapper_.constraint_to_lit(c);
        if (!(lit == tlit_Undef)) {
            return lit;
        }
    }
    return tlit_Undef;
}

bool LaSolverInterface::get_explanation(TheoryLit l, bool required, std::vector<TheoryLit>& out)
{
    const Atom& a = *find_atom(l.get_term());
    const int c = l.is_neg() ? a.negative : a.positive;
    TARQ_ASSERT(solver_.is_implied(c));
    if (!required &&
        solver_.explanation_size(c) > static_cast<size_t>(config_.la.lazy_expl_threshold)) {
        return false;
    }
    reasons_.clear();
    solver_.get_explanation(c, reasons_);
    std::vector<TheoryLit> lits;
    for (int r : reasons_) {
        add_reason_literals(r, lits);
    }
    remove_repeats(lits);
    out.insert(out.end(), lits.begin(), lits.end());
    return true;
}

// -- Lemmas

bool LaSolverInterface::has_lemmas()
{
    return !unit_lits_.empty() ||
           (last_check_ok_ && (!eqs_to_split_.empty() || (laz_ && !laz_->split().empty())));
}

/// The plain atom a <= b, so that it is about the same form as the equality.
const Term_* LaSolverInterface::make_leq(const Term_* a, const Term_* b)
{
    const auto plain = tm_->simplify_in_scope(false);
    return tm_->make_leq(a, b);
}

LemmaInfo LaSolverInterface::get_lemma(std::vector<TheoryLit>& clause)
{
    LemmaInfo info;
    if (!unit_lits_.empty()) {
        clause.push_back(unit_lits_.back());
        unit_lits_.pop_back();
        return info;
    }
    if (eqs_to_split_.empty()) {
        laz_->take_split(clause);
        info.flags = LEMMA_KEEP | LEMMA_NO_TCOMB | LEMMA_CLASSIFY;
        return info;
    }
    const Term_* e = eqs_to_split_.back();
    eqs_to_split_.pop_back();
    ++num_eqs_split_;
    const Term_* below = make_leq(e->child(0), e->child(1));
    const Term_* above = make_leq(e->child(1), e->child(0));
    split_atoms_[below] = e;
    split_atoms_[above] = e;
    clause.push_back(TheoryLit(e, false));
    clause.push_back(TheoryLit(below, true));
    clause.push_back(TheoryLit(above, true));
    // The address, with bit 0 set to tell the id from none.
    info.id = reinterpret_cast<void*>(reinterpret_cast<uintptr_t>(e) | 1);
    info.flags = LEMMA_KEEP | LEMMA_NO_TCOMB | LEMMA_HAS_DEP | LEMMA_CLASSIFY;
    info.dep_atom = e;
    return info;
}

/// The clause of a split is gone: the equality has to be split again, unless it goes, too.
void LaSolverInterface::retract_lemma(void* id)
{
    const uintptr_t word = reinterpret_cast<uintptr_t>(id);
    if ((word & 1) == 0) {
        return;
    }
    const Term_* e = reinterpret_cast<const Term_*>(word & ~uintptr_t{1});
    if (find_atom(e) &&
        std::find(eqs_to_split_.begin(), eqs_to_split_.end(), e) == eqs_to_split_.end()) {
        eqs_to_split_.push_back(e);
    }
}

std::vector<std::pair<std::string, std::string>> LaSolverInterface::get_stats() const
{
    std::vector<std::pair<std::string, std::string>> result = solver_.get_stats();
    result.insert(result.begin(), {"num equalities split", std::to_string(num_eqs_split_)});
    if (laz_) {
        const auto more = laz_->get_stats();
        result.insert(result.end(), more.begin(), more.end());
    }
    return result;
}

} // namespace tarq
