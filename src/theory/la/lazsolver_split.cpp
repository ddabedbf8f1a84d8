// Clauses that split the space where the search within a check gave up.
#include "terms/termmanager.h"
#include "theory/la/lazsolver.h"

#include <algorithm>

namespace tarq::laz {

using la::DNumber;
using la::VarCoeff;

namespace {

constexpr int CUT_PERIOD = 2; // checks from one try for a cut to the next
constexpr int CUTS_OFF = 0;
constexpr int CUTS_FACES = 3;

} // namespace

void Solver::take_split(std::vector<TheoryLit>& out)
{
    out.insert(out.end(), split_.begin(), split_.end());
    split_.clear();
}

void Solver::make_split()
{
    if (config_.laz_cuts_from_proofs_mode != CUTS_OFF && --cut_countdown_ == 0) {
        cut_countdown_ = CUT_PERIOD;
        if (make_split_from_cut()) {
            ++stats_.cut_lemmas;
            return;
        }
    }
    // The values may be those of the last branch; any whole number in between splits.
    if (fractional_.empty()) {
        collect_fractional();
    }
    const auto& [var, floor] = fractional_[draw(fractional_.size())];
    set_split(mapper_->term(var), floor);
    ++stats_.split_lemmas;
}

/// The clause t <= floor or floor + 1 <= t.
void Solver::set_split(const Term_* t, const QNumber& floor)
{
    split_.emplace_back(tm_->make_leq(t, tm_->make_number(floor)), false);
    split_.emplace_back(tm_->make_leq(tm_->make_number(floor + QNumber(1)), t), false);
    if (coin()) {
        std::swap(split_[0], split_[1]);
    }
}

const Term_* Solver::make_sum(const la::Equation& form) const
{
    const Term_* sum = nullptr;
    for (const VarCoeff& t : form.terms()) {
        const Term_* product = tm_->make_times(tm_->make_number(t.coeff), mapper_->term(t.var));
        sum = sum ? tm_->make_plus(sum, product) : product;
    }
    return sum;
}

/// Where the bounds that are tight make a system of equations without whole solution, its proof is
/// a sum that has no whole value there (Dillig, Dillig and Aiken, "Cuts from Proofs", CAV 2009).
/// Returns whether a clause came of it.
bool Solver::make_split_from_cut()
{
    DiophantineSystem system;
    system.set_termination_test(termination_test_);
    std::vector<int> vars;
    bounded_vars(vars);
    std::vector<la::Equation> equations;
    std::vector<int> faces; // constraints
    QNumber max_coeff;
    DNumber value;
    for (size_t i = 0; i < vars.size() && system.is_sat(); ++i) {
        const int v = vars[i];
        if (!simplex_->get_abstract_value(v, &value) || !value.is_int() || !is_int_sum(v)) {
            continue;
        }
        const bool at_lower = value == simplex_->lower_bound(v);
        const bool at_upper = value == simplex_->upper_bound(v);
        if (!at_lower && !at_upper) {
            continue;
        }
        if (at_lower != at_upper) {
            faces.push_back(at_lower ? simplex_->lower_reason(v) : simplex_->upper_reason(v));
        }
        la::Equation form = form_of(v);
        form.add_const(value.real().neg());
        for (const VarCoeff& t : form.terms()) {
            max_coeff = std::max(max_coeff, abs(t.coeff));
        }
        equations.push_back(form);
        system.add_equation(static_cast<int>(equations.size()), form);
    }
    if (system.is_sat()) {
        return false;
    }
    la::Equation cut;
    QNumber multiple(1);
    for (const VarCoeff& t : system.unsat_equation().sources.terms()) {
        add_multiple(cut, equations[static_cast<size_t>(t.var) - 1], t.coeff, terms_);
    }
    for (const VarCoeff& t : cut.terms()) {
        multiple = lcm(multiple, t.coeff.get_den());
    }
    cut.mult(multiple);
    const QNumber g = coefficient_gcd(cut);
    const bool good = !cut.empty() && !(cut.constant() / g).is_int() &&
                      std::all_of(cut.terms().begin(), cut.terms().end(),
                                  [&](const VarCoeff& t) { return abs(t.coeff) <= g * max_coeff; });
    if (!good) {
        return false;
    }
    if (config_.laz_cuts_from_proofs_mode == CUTS_FACES) {
        return make_split_from_face(faces);
    }
    cut.mult(g.inv());
    const QNumber floor = cut.constant().neg().floor();
    set_split(make_sum(cut), floor);
    return true;
}

/// For one of the bounds t <= b that are tight: either t = b, or t <= b - 1, or the bound is off.
bool Solver::make_split_from_face(const std::vector<int>& faces)
{
    std::vector<int> usable;
    for (int c : faces) {
        if (!(mapper_->constraint_to_lit(c) == tlit_Undef)) { // no own bound, nor a shared equality
            usable.push_back(c);
        }
    }
    if (usable.empty()) {
        return false;
    }
    const int c = usable[draw(usable.size())];
    const la::RangeConstraint& r = simplex_->get_constraint(c);
    const bool is_upper = r.kind == la::BoundKind::UPPER;
    const Term_* t = make_sum(form_of(r.var));
    const QNumber b = is_upper ? r.bound.floor() : r.bound.ceil();
    const Term_* face = tm_->make_equal(t, tm_->make_number(b));
    const Term_* inner = is_upper ? tm_->make_leq(t, tm_->make_number(b - QNumber(1)))
                                  : tm_->make_leq(tm_->make_number(b + QNumber(1)), t);
    if (tm_->is_true(face) || tm_->is_false(face) || tm_->is_true(inner) || tm_->is_false(inner)) {
        return false;
    }
    split_.emplace_back(face, false);
    split_.emplace_back(inner, false);
    split_.push_back(~mapper_->constraint_to_lit(c));
    return true;
}

} // namespace tarq::laz
