// Values: abstract ones of eliminated variables, the spreading of interface values, and rational
// models.
#include "theory/la/solver.h"

#include <algorithm>
#include <map>

namespace tarq::la {

/// The value that a row gives its variable.
DNumber Solver::eval(const Row& row) const
{
    DNumber sum;
    for (const Row::Term& t : row.terms()) {
        if (t.var != row.row_var()) {
            sum.add_mult(vars_[idx(t.var)].value, t.coeff);
        }
    }
    return sum;
}

/// The same of a stored row; of a form without row variable the value.
DNumber Solver::eval(const Equation& row) const
{
    DNumber sum(row.constant());
    for (const VarCoeff& t : row.terms()) {
        if (t.var != row.row_var()) {
            sum.add_mult(vars_[idx(t.var)].value, t.coeff);
        }
    }
    return sum;
}

/// Computes the values of all eliminated variables, the last one first: a stored row mentions
/// later ones only.
void Solver::fill_abstract_cache()
{
    const std::vector<Equation>& rows = tableau_.eliminated();
    for (size_t i = rows.size(); i > 0; --i) {
        if (!rows[i - 1].empty()) {
            vars_[idx(rows[i - 1].row_var())].value = eval(rows[i - 1]);
        }
    }
    abstract_valid_ = true;
}

bool Solver::get_abstract_value(int var, DNumber* out)
{
    if (idx(var) >= vars_.size() || !vars_[idx(var)].known) {
        return false;
    }
    if (!abstract_valid_ && tableau_.is_eliminated(var)) {
        fill_abstract_cache();
    }
    *out = vars_[idx(var)].value;
    return true;
}

// -- Mutation

bool Solver::violates_disequality(int var) const
{
    if (vars_[idx(var)].num_diseqs == 0) {
        return false;
    }
    const auto& list = var_constraints_[idx(var)];
    return std::any_of(list.begin(), list.end(), [&](int c) {
        const RangeConstraint& r = constraints_[idx(c)];
        return r.kind == BoundKind::DISEQUAL && r.pushed > 0 && vars_[idx(var)].value == r.bound;
    });
}

/// The interval in which non-basic x can move while it and the variables of its column stay within
/// bounds. Returns false if that is only one point.
bool Solver::mutation_range(int x, const std::function<bool(int)>& is_int, DNumber* lo, DNumber* hi)
{
    const VariableBounds& v = vars_[idx(x)];
    *lo = v.lower;
    *hi = v.upper;
    for (const Tableau::Entry& e : tableau_.column(x)) {
        const VariableBounds& b = vars_[idx(tableau_.basic_of_row(e.row))];
        const QNumber& a = tableau_.coeff(e);
        for (const bool upper : {false, true}) {
            const DNumber& bound = upper ? b.upper : b.lower;
            if (bound.is_inf()) {
                continue;
            }
            DNumber limit = bound;
            limit -= b.value;
            limit /= a;
            limit += v.value;
            if (upper == a.is_pos()) {
                *hi = std::min(*hi, limit);
            } else {
                *lo = std::max(*lo, limit);
            }
        }
        if (*lo >= *hi) {
            return false;
        }
    }
    if (is_int(x)) {
        if (!lo->is_inf()) {
            *lo = DNumber(lo->ceil());
        }
        if (!hi->is_inf()) {
            *hi = DNumber(hi->floor());
        }
    }
    return *lo < *hi;
}

/// Moves non-basic x, unless that breaks something; then all values stay.
bool Solver::try_mutation(int x, const DNumber& value, const std::function<bool(int)>& is_int)
{
    const DNumber old = vars_[idx(x)].value;
    update(x, value);
    bool ok = !violates_disequality(x);
    for (const Tableau::Entry& e : tableau_.column(x)) {
        const int b = tableau_.basic_of_row(e.row);
        const VariableBounds& v = vars_[idx(b)];
        ok = ok && v.lower <= v.value && v.value <= v.upper && !violates_disequality(b) &&
             (!is_int(b) || v.value.is_int());
    }
    if (!ok) {
        update(x, old);
    }
    return ok;
}

void Solver::do_model_mutation(const std::function<bool(int)>& is_int)
{
    constexpr int MAX_TRIES = 100;
    constexpr int MAX_TRIES_OUTSIDE = 3;
    const DNumber one(QNumber(1));
    const DNumber minus_one(QNumber(-1));
    settle_restored();
    std::map<DNumber, int> holders; // how many interface variables have the value
    DNumber least, greatest;
    for (int x : interface_vars_) {
        const DNumber& value = vars_[idx(x)].value;
        least = std::min(least, value);
        greatest = std::max(greatest, value);
        ++holders[value];
    }
    std::vector<std::pair<int, DNumber>> moved; // interface variables of a column, old values
    for (int x : interface_vars_) {
        DNumber lo, hi;
        if (tableau_.is_basic(x) || tableau_.is_eliminated(x) || holders[vars_[idx(x)].value] < 2 ||
            !mutation_range(x, is_int, &lo, &hi)) {
            continue;
        }
        moved.clear();
        moved.emplace_back(x, vars_[idx(x)].value);
        for (const Tableau::Entry& e : tableau_.column(x)) {
            const int b = tableau_.basic_of_row(e.row);
            if (vars_[idx(b)].interface) {
                moved.emplace_back(b, vars_[idx(b)].value);
            }
        }
        bool done = false;
        if (lo.is_inf() || hi.is_inf()) {
            const bool up = hi.is_inf();
            DNumber value(up ? greatest.floor() : least.floor());
            for (int i = 0; i < MAX_TRIES_OUTSIDE && !done; ++i) {
                value += up ? one : minus_one;
                done = lo <= value && value <= hi && try_mutation(x, value, is_int);
            }
        } else {
            DNumber step = hi;
            step -= lo;
            step /= QNumber(MAX_TRIES);
            if (is_int(x) || step > one) {
                step = one;
            }
            DNumber value = lo;
            for (int i = 0; i < MAX_TRIES && !done && value <= hi; ++i, value += step) {
                done = holders.find(value) == holders.end() && try_mutation(x, value, is_int);
            }
        }
        if (!done) {
            continue;
        }
        for (const auto& [var, old] : moved) {
            const auto it = holders.find(old);
            if (--it->second == 0) {
                holders.erase(it);
            }
            const DNumber& value = vars_[idx(var)].value;
            ++holders[value];
            least = std::min(least, value);
            greatest = std::max(greatest, value);
        }
    }
    commit();
}

// -- Models

namespace {

QNumber concrete(const DNumber& value, const QNumber& delta)
{
    return value.delta().is_zero() ? value.real() : value.real() + value.delta() * delta;
}

/// Lowers `delta` so that a value that is below a bound stays below it.
void limit_delta(const DNumber& low, const DNumber& high, QNumber* delta)
{
    if (low.is_inf() || high.is_inf() || !(low.real() < high.real()) ||
        !(low.delta() > high.delta())) {
        return;
    }
    QNumber limit = (high.real() - low.real()) / (low.delta() - high.delta());
    if (limit < *delta) {
        *delta = std::move(limit);
    }
}

} // namespace

void Solver::build_model(const std::vector<Equation>& nonzero)
{
    fill_abstract_cache();
    QNumber delta(1);
    std::vector<int> order;
    for (size_t i = 1; i < vars_.size(); ++i) {
        const VariableBounds& v = vars_[i];
        if (v.known) {
            limit_delta(v.lower, v.value, &delta);
            limit_delta(v.value, v.upper, &delta);
            order.push_back(static_cast<int>(i));
        }
    }
    std::sort(order.begin(), order.end(), [&](int a, int b) {
        const int c = cmp(vars_[idx(a)].value, vars_[idx(b)].value);
        return c != 0 ? c < 0 : a < b;
    });
    // Two different values, or a form and 0, meet for one delta at most, so that halving ends.
    const auto is_bad = [&] {
        for (size_t i = 1; i < order.size(); ++i) {
            const DNumber& a = vars_[idx(order[i - 1])].value;
            const DNumber& b = vars_[idx(order[i])].value;
            if (!(a == b) && !(concrete(a, delta) < concrete(b, delta))) {
                return true;
            }
        }
        for (const Equation& e : nonzero) {
            const DNumber value = eval(e);
            if (!(value == DNumber::zero) && concrete(value, delta).is_zero()) {
                return true;
            }
        }
        for (int c : disequalities_) {
            const RangeConstraint& r = constraints_[idx(c)];
            const DNumber& value = vars_[idx(r.var)].value;
            if (!(value == r.bound) && concrete(value, delta) == concrete(r.bound, delta)) {
                return true;
            }
        }
        return false;
    };
    while (is_bad()) {
        delta /= QNumber(2);
    }
    model_.assign(vars_.size(), QNumber());
    has_model_.assign(vars_.size(), 0);
    for (int v : order) {
        model_[idx(v)] = concrete(vars_[idx(v)].value, delta);
        has_model_[idx(v)] = 1;
    }
    TARQ_HEAVY_ASSERT(model_satisfies_all());
}

bool Solver::get_value(int var, QNumber* out) const
{
    if (idx(var) >= has_model_.size() || !has_model_[idx(var)]) {
        return false;
    }
    *out = model_[idx(var)];
    return true;
}

} // namespace tarq::la
