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
    marks_.push_back({substitutions_.size(), next_fresh_});
    Equation eq;
    eq.form = form;
    eq.sources.add_var(id, QNumber(1));
    try {
        apply_substitution(eq);
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
        const auto least = std::min_element(eq.form.terms().begin(), eq.form.terms().end(),
                                            [](const la::VarCoeff& s, const la::VarCoeff& t) {
                                                return abs(s.coeff) < abs(t.coeff);
                                            });
        const int x = least->var;
        const QNumber a = least->coeff;
        if (abs(a) == 1L) {
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
    sat_ = true; // only the last one can be in conflict
}

void DiophantineSystem::reset()
{
    substitutions_.clear();
    index_.clear();
    marks_.clear();
    next_fresh_ = FIRST_FRESH;
    sat_ = true;
}

bool DiophantineSystem::apply_substitution(Equation& in_out) const
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
