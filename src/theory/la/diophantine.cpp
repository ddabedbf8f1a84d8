#include "theory/la/diophantine.h"

#include "base/terminationtest.h"

#include <algorithm>
#include <functional>

namespace tarq::laz {

QNumber coefficient_gcd(const la::Equation& form)
{
    QNumber g;
    QNumber multiple(1);
    for (const la::VarCoeff& t : form.terms()) {
        if (t.coeff.is_int()) {
            g = gcd(g, t.coeff);
        } else {
            g = gcd(g, t.coeff.get_num());
            multiple = lcm(multiple, t.coeff.get_den());
        }
    }
    return g / multiple;
}

void add_multiple(la::Equation& to, const la::Equation& o, const QNumber& factor,
                  la::Equation::Terms& scratch)
{
    const QNumber f = factor; // may be a coefficient of `to`
    to.add_row(
        o, f, scratch, [](int) {}, [](int) {});
    to.add_const(o.constant() * f);
}

namespace {

/// The whole number nearest to a / b.
QNumber nearest(const QNumber& a, const QNumber& b)
{
    return (a / b + QNumber(1, 2)).floor();
}

/// Elimination goes on while no coefficient reaches this.
constexpr long SMALL = 1 << 16;

bool is_below(const QNumber& n, long limit)
{
    return n.is_small() && n.small_num() < limit && n.small_num() > -limit;
}

/// Multiplies by the least number that makes the coefficients whole.
void make_whole(Equation& eq)
{
    QNumber multiple(1);
    for (const la::VarCoeff& t : eq.form.terms()) {
        multiple = lcm(multiple, t.coeff.get_den());
    }
    if (multiple != 1L) {
        eq.form.mult(multiple);
        eq.sources.mult(multiple);
    }
}

} // namespace

bool DiophantineSystem::add_equation(int id, const la::Equation& form)
{
    TARQ_ASSERT(sat_);
    marks_.push_back(
        {substitutions_.size(), next_fresh_, lattice_.num_equations(), lattice_.num_vars()});
    Equation eq;
    eq.form = form;
    eq.sources.add_var(id, QNumber(1));
    try {
        apply_definitions(eq);
        sat_ = define_real(eq) || solve(eq);
    } catch (...) {
        pop_equation();
        throw;
    }
    if (!sat_) {
        unsat_equation_ = std::move(eq);
    }
    return sat_;
}

/// Solves the equation for a real variable. Returns false if it has none.
bool DiophantineSystem::define_real(const Equation& eq)
{
    const auto& terms = eq.form.terms();
    const auto real = std::find_if(terms.begin(), terms.end(), [this](const la::VarCoeff& t) {
        return is_real_ && t.var < FIRST_FRESH && is_real_(t.var);
    });
    if (real == terms.end()) {
        return false;
    }
    const QNumber factor = real->coeff.inv();
    la::Equation row = eq.form;
    la::Equation sources = eq.sources;
    row.mult(factor.neg());
    sources.mult(factor);
    define(real->var, std::move(row), std::move(sources));
    return true;
}

/// Defines variables until the equation, over integer variables that are not defined yet, says
/// nothing any more. Returns false when it has no solution.
bool DiophantineSystem::solve(Equation& eq)
{
    make_whole(eq);
    for (;;) {
        if (termination_test_) {
            (*termination_test_)();
        }
        if (eq.form.empty()) {
            return eq.form.constant().is_zero();
        }
        const QNumber g = coefficient_gcd(eq.form);
        if (!(eq.form.constant() / g).is_int()) {
            return false;
        }
        if (g != 1L) {
            eq.form.mult(g.inv());
            eq.sources.mult(g.inv());
        }
        const la::VarCoeff* least = nullptr;
        bool in_lattice = false;
        bool words = true;
        bool small = true;
        for (const la::VarCoeff& t : eq.form.terms()) {
            if (lattice_.contains(t.var)) {
                in_lattice = true;
            } else if (!least || t.coeff.compare_abs(least->coeff) < 0) {
                least = &t;
            }
            words = words && t.coeff.is_small();
            small = small && is_below(t.coeff, SMALL);
        }
        const bool unit = least && abs(least->coeff) == 1L && words;
        if (!unit && (in_lattice || !small)) {
            return lattice_.add(eq);
        }
        const int x = least->var;
        const QNumber a = least->coeff;
        if (unit) {
            la::Equation row = eq.form;
            la::Equation sources = eq.sources;
            row.mult(a.neg()); // a is its own inverse
            sources.mult(a);
            define(x, std::move(row), std::move(sources));
            return true;
        }
        // With -a_i / a rounded to q_i: x = sum q_i x_i + q + t, for a fresh t.
        la::Equation row;
        for (const la::VarCoeff& t : eq.form.terms()) {
            row.add_var(t.var, t.var == x ? QNumber(-1) : nearest(t.coeff.neg(), a));
        }
        row.add_var(next_fresh_++, QNumber(1));
        row.add_const(nearest(eq.form.constant().neg(), a));
        add_multiple(eq.form, row, a, scratch_);
        define(x, std::move(row), la::Equation());
    }
}

void DiophantineSystem::define(int var, la::Equation row, la::Equation sources)
{
    index_[var] = substitutions_.size();
    substitutions_.push_back({var, std::move(row), std::move(sources)});
}

void DiophantineSystem::pop_equation()
{
    TARQ_ASSERT(!marks_.empty());
    const Mark mark = marks_.back();
    marks_.pop_back();
    while (substitutions_.size() > mark.num_substitutions) {
        index_.erase(substitutions_.back().var);
        substitutions_.pop_back();
    }
    next_fresh_ = mark.next_fresh;
    lattice_.truncate(mark.num_lattice_equations, mark.num_lattice_vars);
    sat_ = true; // only the last one can be in conflict
}

void DiophantineSystem::reset()
{
    substitutions_.clear();
    index_.clear();
    marks_.clear();
    lattice_.reset();
    next_fresh_ = FIRST_FRESH;
    sat_ = true;
}

bool DiophantineSystem::apply_substitution(Equation& in_out, bool with_sources) const
{
    bool changed = apply_definitions(in_out);
    if (!lattice_.empty() && lattice_.substitute(in_out, with_sources)) {
        changed = true;
    }
    return changed;
}

void DiophantineSystem::solve_near(const std::function<la::DNumber(int)>& near,
                                   hsh::HashMap<int, la::DNumber>& out) const
{
    using la::DNumber;
    // What the fresh variables are for these values follows from the rows that brought them.
    hsh::HashMap<int, DNumber> fresh;
    const auto wanted = [&](int var) { return var < FIRST_FRESH ? near(var) : fresh[var]; };
    for (const Substitution& s : substitutions_) {
        const int last = s.row.empty() ? 0 : s.row.terms().back().var;
        if (last < FIRST_FRESH || fresh.contains(last)) {
            continue;
        }
        DNumber value(s.row.constant().neg());
        for (const la::VarCoeff& t : s.row.terms()) {
            if (t.var != last) {
                value.add_mult(wanted(t.var), t.coeff.neg());
            }
        }
        fresh[last] = value;
    }
    if (!lattice_.empty()) {
        std::vector<QNumber> values;
        for (size_t i = 0; i < lattice_.num_vars(); ++i) {
            values.push_back(wanted(lattice_.var(i)).real());
        }
        lattice_.nearest(values);
        for (size_t i = 0; i < lattice_.num_vars(); ++i) {
            out[lattice_.var(i)] = DNumber(values[i]);
        }
    }
    // The last definition first: it mentions no variable that is defined before.
    for (size_t i = substitutions_.size(); i-- > 0;) {
        const Substitution& s = substitutions_[i];
        DNumber value(s.row.constant());
        for (const la::VarCoeff& t : s.row.terms()) {
            if (t.var == s.var) {
                continue;
            }
            const auto it = out.find(t.var);
            if (it != out.end()) {
                value.add_mult(it->second, t.coeff);
                continue;
            }
            DNumber free = wanted(t.var);
            if (!(is_real_ && t.var < FIRST_FRESH && is_real_(t.var))) {
                free += DNumber(QNumber(1, 2));
                free = DNumber(free.floor());
            }
            value.add_mult(free, t.coeff);
            out[t.var] = free;
        }
        out[s.var] = value;
    }
}

bool DiophantineSystem::apply_definitions(Equation& in_out) const
{
    heap_.clear();
    const auto enter = [this](int var) {
        const auto it = index_.find(var);
        if (it != index_.end()) {
            heap_.push_back(it->second);
            std::push_heap(heap_.begin(), heap_.end(), std::greater<size_t>());
        }
    };
    for (const la::VarCoeff& t : in_out.form.terms()) {
        enter(t.var);
    }
    if (heap_.empty()) {
        return false;
    }
    while (!heap_.empty()) {
        std::pop_heap(heap_.begin(), heap_.end(), std::greater<size_t>());
        const Substitution& s = substitutions_[heap_.back()];
        heap_.pop_back();
        const QNumber factor = in_out.form.get_coefficient(s.var);
        if (factor.is_zero()) {
            continue; // entered twice, or cancelled meanwhile
        }
        in_out.form.add_row(s.row, factor, scratch_, enter, [](int) {});
        in_out.form.add_const(s.row.constant() * factor);
        add_multiple(in_out.sources, s.sources, factor.neg(), scratch_);
    }
    return true;
}

} // namespace tarq::laz
