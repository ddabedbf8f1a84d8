// Equation: a sparse linear form, and VarCoeff, one of its terms.
#pragma once

#include "base/assertion.h"
#include "terms/numbers.h"

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace tarq::la {

struct VarCoeff {
    int var; // at least 1
    QNumber coeff;
};

/// A sum of coefficient * variable, with either a constant or a row variable.
///
/// The row of variable b reads -b + sum a_i * x_i = 0: b stands among the terms with coefficient
/// -1, and the row says b = sum a_i * x_i.
///
/// Invariants
///   1. Terms ascend strictly by variable and no coefficient is 0.
///   2. With a row variable the constant is 0 and the row variable has coefficient -1.
class Equation {
public:
    static constexpr int NO_VAR = -1;

    using Terms = std::vector<VarCoeff>;

    const Terms& terms() const { return terms_; }
    size_t size() const { return terms_.size(); }
    bool empty() const { return terms_.empty(); }
    /// The variable that the row defines, or NO_VAR.
    int row_var() const { return row_var_; }
    const QNumber& constant() const { return constant_; }

    /// Adds coeff * var; any order, any coefficient. Linear in the terms at worst.
    void add_var(int var, const QNumber& coeff);
    /// Adds to the constant of a form without row variable.
    void add_const(const QNumber& value) { constant_ += value; }
    /// Multiplies all of a form without row variable by a number other than 0.
    void mult(const QNumber& factor);
    /// 0 for an absent variable. Logarithmic in the terms.
    const QNumber& get_coefficient(int var) const;
    bool contains(int var) const { return find(var) != terms_.end(); }
    /// Whether there is exactly one term, with coefficient 1 or -1.
    bool is_simple() const;

    /// Makes `y` the variable that this row defines, by scaling the form with -1/a_y.
    /// y  a variable of the form (asserted); nothing happens if it is the row's variable already
    void change_basic_var(int y);

    /// Adds factor * o, where o is the row of a variable of which this form has `factor`, so that
    /// the variable goes.
    /// scratch       receives the old terms
    /// on_enter(v)   called for each variable that was not in the form before
    /// on_leave(v)   called for each variable that cancelled, the substituted one included
    template <class Enter, class Leave>
    void add_row(const Equation& o, const QNumber& factor, Terms& scratch, Enter&& on_enter,
                 Leave&& on_leave);
    /// Replaces y by what its row `row` says it is; y is in the form.
    void substitute_var(int y, const Equation& row, Terms& scratch);

    void clear();
    /// As a row, "-b + ..." and " = 0"; for messages.
    std::string to_str() const;

    friend bool operator==(const Equation& a, const Equation& b);

private:
    Terms::const_iterator find(int var) const;

    Terms terms_;
    QNumber constant_;
    int row_var_ = NO_VAR;
};

bool operator==(const Equation& a, const Equation& b);

/// Hash and equality of forms by their terms alone.
struct Equation_hash_eq {
    size_t operator()(const Equation* e) const;
    bool operator()(const Equation* a, const Equation* b) const;
};

template <class Enter, class Leave>
void Equation::add_row(const Equation& o, const QNumber& factor, Terms& scratch, Enter&& on_enter,
                       Leave&& on_leave)
{
    scratch.clear();
    scratch.reserve(terms_.size() + o.terms_.size());
    auto a = terms_.begin();
    auto b = o.terms_.begin();
    const auto a_end = terms_.end();
    const auto b_end = o.terms_.end();
    const bool one = factor == 1L;
    const bool minus_one = !one && factor == -1L;
    while (b != b_end) {
        while (a != a_end && a->var < b->var) {
            scratch.push_back(std::move(*a));
            ++a;
        }
        if (a != a_end && a->var == b->var) {
            if (one) {
                a->coeff += b->coeff;
            } else if (minus_one) {
                a->coeff -= b->coeff;
            } else {
                a->coeff += b->coeff * factor;
            }
            if (a->coeff.is_zero()) {
                on_leave(a->var);
            } else {
                scratch.push_back(std::move(*a));
            }
            ++a;
        } else {
            scratch.push_back({b->var, one         ? b->coeff
                                       : minus_one ? b->coeff.neg()
                                                   : b->coeff * factor});
            on_enter(b->var);
        }
        ++b;
    }
    for (; a != a_end; ++a) {
        scratch.push_back(std::move(*a));
    }
    terms_.swap(scratch);
}

} // namespace tarq::la
