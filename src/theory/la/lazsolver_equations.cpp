// Equations among the bounds, and the bounds that they tighten.
#include "theory/la/lazsolver.h"

#include <algorithm>

namespace tarq::laz {

using la::DNumber;

/// Lists the sums whose bounds meet, each at the push that made them meet. So the list only
/// changes at its end when the stack does.
void Solver::find_fixed()
{
    fixed_.clear();
    seen_.assign(static_cast<size_t>(mapper_->end_of_variables()), 0);
    simplex_->for_each_pushed([this](int c) {
        const int v = simplex_->get_constraint(c).var;
        const int lower = simplex_->lower_reason(v);
        const int upper = simplex_->upper_reason(v);
        char& seen = seen_[static_cast<size_t>(v)];
        const int now = seen | (c == lower ? 1 : 0) | (c == upper ? 2 : 0);
        if (seen != 3 && now == 3 && simplex_->lower_bound(v) == simplex_->upper_bound(v)) {
            fixed_.push_back({v, lower, upper});
        }
        seen = static_cast<char>(now);
    });
}

/// Makes `equalities_` hold the fixed variables of now. Returns false, with the conflict set, when
/// they can't all be whole.
bool Solver::update_equalities()
{
    find_fixed();
    size_t same = 0;
    while (same < in_system_.size() && same < fixed_.size() && in_system_[same] == fixed_[same]) {
        ++same;
    }
    if (same < in_system_.size() || same < fixed_.size()) {
        lattices_.clear();
    }
    while (in_system_.size() > same) {
        equalities_.pop_equation();
        in_system_.pop_back();
    }
    for (size_t i = same; i < fixed_.size() && equalities_.is_sat(); ++i) {
        la::Equation form = form_of(fixed_[i].var);
        form.add_const(simplex_->lower_bound(fixed_[i].var).real().neg());
        equalities_.add_equation(static_cast<int>(i) + 1, form);
        in_system_.push_back(fixed_[i]);
    }
    if (!equalities_.is_sat()) {
        std::vector<int> reasons;
        add_equation_reasons(equalities_.unsat_equation().sources, reasons);
        set_conflict(std::move(reasons));
        return false;
    }
    return true;
}

/// Appends the constraints behind a combination of equations.
void Solver::add_equation_reasons(const la::Equation& sources, std::vector<int>& out) const
{
    for (const la::VarCoeff& t : sources.terms()) {
        const Fixed& f = in_system_[static_cast<size_t>(t.var) - 1];
        out.push_back(f.lower);
        if (f.upper != f.lower) {
            out.push_back(f.upper);
        }
    }
}

const Solver::Lattice& Solver::lattice(int var)
{
    const auto it = lattices_.find(var);
    if (it != lattices_.end()) {
        return it->second;
    }
    Lattice l;
    Equation eq;
    eq.form = form_of(var);
    if (equalities_.apply_substitution(eq, false) &&
        std::all_of(eq.form.terms().begin(), eq.form.terms().end(),
                    [this](const la::VarCoeff& t) { return is_integer(t.var); })) {
        l.step = coefficient_gcd(eq.form);
        l.offset = eq.form.constant();
        l.trivial = l.step == 1L && l.offset.is_int() && is_int_sum(var);
        if (!l.trivial) {
            Equation again;
            again.form = form_of(var);
            equalities_.apply_substitution(again);
            add_equation_reasons(again.sources, l.sources);
        }
    }
    return lattices_.insert({var, std::move(l)}).first->second;
}

/// Pushes the bounds that the equations allow to tighten. Returns false, with the conflict set,
/// when nothing satisfies all bounds any more.
bool Solver::tighten(bool approx)
{
    if (equalities_.size() == 0) {
        return true;
    }
    std::vector<int> vars;
    bounded_vars(vars);
    for (int v : vars) {
        if (simplex_->lower_bound(v) == simplex_->upper_bound(v)) {
            continue; // one of the equations
        }
        if (!lattice(v).trivial && !(push_tightened(v, false) && push_tightened(v, true))) {
            return false;
        }
    }
    if (own_bounds_.empty() || simplex_->check(approx)) {
        return true;
    }
    set_conflict(simplex_->conflict());
    return false;
}

bool Solver::push_tightened(int var, bool is_upper)
{
    const Lattice& l = lattice(var);
    const DNumber& bound = is_upper ? simplex_->upper_bound(var) : simplex_->lower_bound(var);
    if (bound.is_inf()) {
        return true;
    }
    std::vector<int> sources = l.sources;
    sources.push_back(is_upper ? simplex_->upper_reason(var) : simplex_->lower_reason(var));
    const DNumber offset(l.offset);
    if (l.step.is_zero()) {
        if (is_upper ? offset > bound : offset < bound) {
            set_conflict(std::move(sources));
            return false;
        }
        return true;
    }
    DNumber steps = bound - offset;
    steps /= l.step;
    const DNumber tight(l.offset + l.step * (is_upper ? steps.floor() : steps.ceil()));
    if (tight == bound || push_bound(var, is_upper, tight, sources)) {
        return true;
    }
    set_conflict(simplex_->conflict());
    return false;
}

/// Looks for a whole solution of the equations near the values of now. Returns whether there is one
/// that all pushed constraints hold for; the values are those then.
bool Solver::find_point()
{
    hsh::HashMap<int, DNumber> point;
    const auto value_now = [this](int var) {
        DNumber value;
        simplex_->get_abstract_value(var, &value); // 0 where it has none
        return value;
    };
    equalities_.solve_near(value_now, point);
    const auto value_of = [&](int var) {
        DNumber sum;
        for (const la::VarCoeff& t : form_of(var).terms()) {
            auto it = point.find(t.var);
            if (it == point.end()) {
                DNumber value = value_now(t.var);
                if (is_int_var(t.var)) {
                    value = DNumber((value + DNumber(QNumber(1, 2))).floor());
                }
                it = point.insert({t.var, value}).first;
            }
            sum.add_mult(it->second, t.coeff);
        }
        return sum;
    };
    bool ok = true;
    simplex_->for_each_pushed([&](int c) {
        if (!ok) {
            return;
        }
        poll();
        const la::RangeConstraint& r = simplex_->get_constraint(c);
        const int order = cmp(value_of(r.var), r.bound);
        ok = r.kind == la::BoundKind::LOWER   ? order >= 0
             : r.kind == la::BoundKind::UPPER ? order <= 0
                                              : (order == 0) == (r.kind == la::BoundKind::EQUAL);
    });
    if (!ok) {
        return false;
    }
    simplex_->set_values(value_of);
    return true;
}

} // namespace tarq::laz
