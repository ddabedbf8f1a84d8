#include "theory/la/equation.h"

#include <algorithm>

namespace tarq::la {

namespace {

const QNumber coeff_zero;

bool below(const VarCoeff& t, int var)
{
    return t.var < var;
}

} // namespace

Equation::Terms::const_iterator Equation::find(int var) const
{
    const auto it = std::lower_bound(terms_.begin(), terms_.end(), var, below);
    return it != terms_.end() && it->var == var ? it : terms_.end();
}

void Equation::add_var(int var, const QNumber& coeff)
{
    const auto it = std::lower_bound(terms_.begin(), terms_.end(), var, below);
    if (it != terms_.end() && it->var == var) {
        it->coeff += coeff;
        if (it->coeff.is_zero()) {
            terms_.erase(it);
        }
    } else if (!coeff.is_zero()) {
        terms_.insert(it, {var, coeff});
    }
}

void Equation::mult(const QNumber& factor)
{
    TARQ_ASSERT(!factor.is_zero() && row_var_ == NO_VAR);
    for (VarCoeff& t : terms_) {
        t.coeff *= factor;
    }
    constant_ *= factor;
}

const QNumber& Equation::get_coefficient(int var) const
{
    const auto it = find(var);
    return it == terms_.end() ? coeff_zero : it->coeff;
}

bool Equation::is_simple() const
{
    return terms_.size() == 1 && (terms_[0].coeff == 1L || terms_[0].coeff == -1L);
}

void Equation::change_basic_var(int y)
{
    TARQ_ASSERT(constant_.is_zero());
    if (y == row_var_) {
        return;
    }
    const QNumber& a = get_coefficient(y);
    TARQ_ASSERT(!a.is_zero());
    if (a == 1L) {
        for (VarCoeff& t : terms_) {
            t.coeff.self_neg();
        }
    } else if (a != -1L) {
        const QNumber factor = a.inv().neg();
        for (VarCoeff& t : terms_) {
            t.coeff *= factor;
        }
    }
    row_var_ = y;
}

void Equation::substitute_var(int y, const Equation& row, Terms& scratch)
{
    TARQ_ASSERT(row.row_var_ == y && y != row_var_);
    const QNumber factor = get_coefficient(y);
    TARQ_ASSERT(!factor.is_zero());
    add_row(
        row, factor, scratch, [](int) {}, [](int) {});
}

void Equation::clear()
{
    terms_.clear();
    constant_ = QNumber();
    row_var_ = NO_VAR;
}

std::string Equation::to_str() const
{
    std::string out;
    for (const VarCoeff& t : terms_) {
        out += (out.empty() ? "" : " + ") + t.coeff.to_str() + "*v" + std::to_string(t.var);
    }
    if (!constant_.is_zero() || out.empty()) {
        out += (out.empty() ? "" : " + ") + constant_.to_str();
    }
    return out + " = 0";
}

bool operator==(const Equation& a, const Equation& b)
{
    return Equation_hash_eq()(&a, &b) && a.constant_ == b.constant_ && a.row_var_ == b.row_var_;
}

size_t Equation_hash_eq::operator()(const Equation* e) const
{
    size_t h = 0;
    for (const VarCoeff& t : e->terms()) {
        h ^= t.coeff.hash() + static_cast<size_t>(t.var) + h * 64 + h / 4;
    }
    return h;
}

bool Equation_hash_eq::operator()(const Equation* a, const Equation* b) const
{
    return std::equal(
        a->terms().begin(), a->terms().end(), b->terms().begin(), b->terms().end(),
        [](const VarCoeff& s, const VarCoeff& t) { return s.var == t.var && s.coeff == t.coeff; });
}

} // namespace tarq::la
