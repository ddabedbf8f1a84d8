// Invariants, and exact certificates of conflicts and implications; for assertions and tests.
#include "theory/la/referencesimplex.h"
#include "theory/la/solver.h"

#include <algorithm>

namespace tarq::la {

bool Solver::check_invariants() const
{
    if (!tableau_.check_invariants()) {
        return false;
    }
    bool ok = true;
    tableau_.for_each_row(
        [&](const Row& row) { ok = ok && eval(row) == vars_[idx(row.row_var())].value; });
    for (size_t i = 1; ok && i < vars_.size(); ++i) {
        const VariableBounds& v = vars_[i];
        const int var = static_cast<int>(i);
        const bool listed =
            std::find(to_restore_.begin(), to_restore_.end(), var) != to_restore_.end() ||
            (tableau_.is_basic(var) && to_check_.contains(var));
        ok = !v.known || tableau_.is_eliminated(var) || listed ||
             (v.lower <= v.value && v.value <= v.upper);
        ok = ok && bounded_[i] == ((v.lower_reason != 0 ? HAS_LOWER : 0) |
                                   (v.upper_reason != 0 ? HAS_UPPER : 0));
        ok = ok &&
             v.num_open == std::count_if(var_constraints_[i].begin(), var_constraints_[i].end(),
                                         [this](int c) { return is_open(c); });
    }
    return ok;
}

bool Solver::values_satisfy_all(bool with_disequalities) const
{
    return std::all_of(constraints_.begin(), constraints_.end(), [&](const RangeConstraint& r) {
        if (r.pushed == 0) {
            return true;
        }
        const DNumber& value = vars_[idx(r.var)].value;
        switch (r.kind) {
        case BoundKind::LOWER:
            return value >= r.bound;
        case BoundKind::UPPER:
            return value <= r.bound;
        case BoundKind::EQUAL:
            return value == r.bound;
        case BoundKind::DISEQUAL:
            return !with_disequalities || !(value == r.bound);
        }
        return false;
    });
}

bool Solver::model_satisfies_all() const
{
    const auto holds = [&](const RangeConstraint& r) {
        if (r.pushed == 0) {
            return true;
        }
        const QNumber& value = model_[idx(r.var)];
        const QNumber& bound = r.bound.real();
        const bool strict = !r.bound.delta().is_zero();
        switch (r.kind) {
        case BoundKind::LOWER:
            return strict ? value > bound : value >= bound;
        case BoundKind::UPPER:
            return strict ? value < bound : value <= bound;
        case BoundKind::EQUAL:
            return value == bound;
        case BoundKind::DISEQUAL:
            return value != bound;
        }
        return false;
    };
    bool ok = std::all_of(constraints_.begin(), constraints_.end(), holds);
    const auto row_holds = [&](const auto& row) {
        QNumber sum;
        for (const auto& t : row.terms()) {
            sum += t.coeff * model_[idx(t.var)];
        }
        ok = ok && sum.is_zero();
    };
    tableau_.for_each_row(row_holds);
    for (const Equation& row : tableau_.eliminated()) {
        row_holds(row);
    }
    return ok;
}

#if TARQ_CHECKS >= 2
/// Whether the bounds, each times its coefficient, add up to 0 <= a negative number, when slacks
/// are written as the forms that were told.
bool Solver::is_refutation(const std::vector<Summand>& sum) const
{
    Equation form;
    DNumber right;
    for (const Summand& s : sum) {
        if (s.coeff.is_neg() || s.bound.is_inf()) {
            return false;
        }
        const QNumber factor = s.is_upper ? s.coeff : s.coeff.neg();
        right.add_mult(s.bound, factor);
        const auto it = definitions_.find(s.var);
        if (it == definitions_.end()) {
            form.add_var(s.var, factor);
            continue;
        }
        for (const VarCoeff& t : it->second.terms()) {
            if (t.var != s.var) {
                form.add_var(t.var, t.coeff * factor);
            }
        }
    }
    return form.empty() && right < DNumber::zero;
}

/// Whether the conflict in the row of x is one; the multipliers are the row's coefficients.
bool Solver::conflict_is_certified(int x, bool below) const
{
    const VariableBounds& v = vars_[idx(x)];
    std::vector<Summand> sum = {{x, !below, below ? v.lower : v.upper, QNumber(1)}};
    for (const Row::Term& t : tableau_.row(x).terms()) {
        if (t.var != x) {
            const VariableBounds& y = vars_[idx(t.var)];
            const bool upper = below == t.coeff.is_pos();
            sum.push_back({t.var, upper, upper ? y.upper : y.lower, abs(t.coeff)});
        }
    }
    return is_refutation(sum);
}

/// Whether the variable of term t can't go beyond `limit`.
bool Solver::implication_is_certified(const Row& row, const Row::Term& t, bool of_min,
                                      const DNumber& limit) const
{
    // against the claim: the variable is beyond the bound by a delta
    const bool is_upper = t.coeff.is_pos() == of_min;
    std::vector<Summand> sum = {
        {t.var, !is_upper, is_upper ? limit + unit_delta() : limit - unit_delta(), abs(t.coeff)}};
    for (const Row::Term& u : row.terms()) {
        if (u.var != t.var) {
            const VariableBounds& v = vars_[idx(u.var)];
            const bool lower = u.coeff.is_pos() == of_min;
            sum.push_back({u.var, !lower, lower ? v.lower : v.upper, abs(u.coeff)});
        }
    }
    return is_refutation(sum);
}

/// One range for each variable of the constraints, slacks written as the forms that were told.
std::vector<ReferenceRange> Solver::ranges_of(const std::vector<int>& constraints) const
{
    hsh::HashMap<int, size_t> range_of;
    std::vector<ReferenceRange> ranges;
    for (int c : constraints) {
        const RangeConstraint& r = constraints_[idx(c)];
        const auto [place, is_new] = range_of.insert({r.var, ranges.size()});
        if (is_new) {
            ranges.emplace_back();
            const auto it = definitions_.find(r.var);
            if (it == definitions_.end()) {
                ranges.back().form.add_var(r.var, QNumber(1));
            } else {
                for (const VarCoeff& t : it->second.terms()) {
                    if (t.var != r.var) {
                        ranges.back().form.add_var(t.var, t.coeff);
                    }
                }
            }
        }
        ReferenceRange& range = ranges[place->second];
        if (r.kind == BoundKind::DISEQUAL) {
            range.holes.push_back(r.bound);
            continue;
        }
        if (r.kind != BoundKind::UPPER) {
            range.lower = std::max(range.lower, r.bound);
        }
        if (r.kind != BoundKind::LOWER) {
            range.upper = std::min(range.upper, r.bound);
        }
    }
    return ranges;
}

bool Solver::is_refuted(const std::vector<int>& constraints) const
{
    return !is_satisfiable(ranges_of(constraints));
}

/// Whether the constraint follows from the reasons: its negation contradicts them.
bool Solver::is_consequence(int c, const std::vector<int>& reasons) const
{
    const RangeConstraint& r = constraints_[idx(c)];
    ReferenceRange n;
    n.form = ranges_of({c}).front().form;
    switch (r.kind) {
    case BoundKind::LOWER:
        n.upper = r.bound - unit_delta();
        break;
    case BoundKind::UPPER:
        n.lower = r.bound + unit_delta();
        break;
    case BoundKind::EQUAL:
        n.holes.push_back(r.bound);
        break;
    case BoundKind::DISEQUAL:
        n.lower = n.upper = r.bound;
        break;
    }
    std::vector<ReferenceRange> ranges = ranges_of(reasons);
    ranges.push_back(std::move(n));
    return !is_satisfiable(std::move(ranges));
}
#endif

} // namespace tarq::la
