#include "theory/la/lineartermmapper.h"

#include "terms/termmanager.h"
#include "theory/la/dnumber.h"

#include <algorithm>

namespace tarq::la {

void LinearTermMapper::make_linear(const Term_* atom, LinearTerm* out)
{
    if (!tm_->is_leq(atom) && !tm_->is_equal(atom)) {
        throw make_error<error>("unsupported symbol: ", atom->get_symbol()->get_name());
    }
    poly_norm(tm_, atom->child(0), atom->child(1), true, &poly_);
    out->op = tm_->is_leq(atom) ? LinearOp::LEQ : LinearOp::EQUAL;
    fill_sum(out);
    tighten(out);
}

void LinearTermMapper::make_linear_equality(const Term_* a, const Term_* b, LinearTerm* out)
{
    poly_norm(tm_, a, b, true, &poly_);
    out->op = LinearOp::EQUAL;
    fill_sum(out);
    tighten(out);
}

void LinearTermMapper::make_linear_term(const Term_* t, LinearTerm* out)
{
    poly_norm(tm_, t, nullptr, false, &poly_);
    out->op = LinearOp::NONE;
    fill_sum(out);
}

/// Turns the polynomial into a sum over variables and a constant on the right.
void LinearTermMapper::fill_sum(LinearTerm* out)
{
    out->sum.clear();
    sorted_.clear();
    for (size_t i = 0; i < poly_.vars.size(); ++i) {
        sorted_.push_back({variable(poly_.vars[i], false), poly_.coeffs[i]});
        shrink(sorted_.back().coeff); // a common factor may have been divided out
    }
    std::sort(sorted_.begin(), sorted_.end(),
              [](const VarCoeff& a, const VarCoeff& b) { return a.var < b.var; });
    for (const VarCoeff& t : sorted_) {
        out->sum.add_var(t.var, t.coeff);
    }
    out->constant = poly_.constant.neg();
    shrink(out->constant);
    out->all_int = poly_.all_int && !poly_.vars.empty();
}

/// The coefficients are coprime integers, so an integral sum takes integral values only.
void LinearTermMapper::tighten(LinearTerm* out) const
{
    if (!out->all_int) {
        return;
    }
    if (out->op == LinearOp::LEQ) {
        out->constant = out->constant.floor();
    } else if (!out->constant.is_int()) {
        out->sum.clear(); // never equal: as good as 0 = 1
        out->constant = QNumber(1);
    }
}

bool LinearTermMapper::get_linear(const Term_* a, const Term_* b, Equation* out)
{
    poly_norm(tm_, a, b, false, &poly_);
    out->clear();
    out->add_const(poly_.constant);
    for (size_t i = 0; i < poly_.vars.size(); ++i) {
        const int v = variable(poly_.vars[i], true);
        if (v == 0) {
            return false;
        }
        out->add_var(v, poly_.coeffs[i]);
    }
    return true;
}

int LinearTermMapper::new_number()
{
    if (!free_vars_.empty()) {
        const int v = free_vars_.back();
        free_vars_.pop_back();
        return v;
    }
    terms_.push_back(nullptr);
    uses_.push_back(0);
    return static_cast<int>(terms_.size()) - 1;
}

int LinearTermMapper::variable(const Term_* t, bool lookup_only)
{
    const auto it = vars_.find(t);
    if (it != vars_.end()) {
        return it->second;
    }
    if (lookup_only) {
        return 0;
    }
    const int v = new_number();
    ++version_;
    vars_[t] = v;
    terms_[idx(v)] = t;
    num_nonlinear_ += tm_->is_times(t);
    return v;
}

int LinearTermMapper::new_slack()
{
    return new_number();
}

void LinearTermMapper::free_variable(int var)
{
    ++version_;
    TARQ_ASSERT(uses_[idx(var)] == 0);
    if (const Term_* t = terms_[idx(var)]) {
        num_nonlinear_ -= tm_->is_times(t);
        vars_.erase(t);
        terms_[idx(var)] = nullptr;
    }
    free_vars_.push_back(var);
}

int LinearTermMapper::new_constraint(TheoryLit lit)
{
    if (!free_constraints_.empty()) {
        const int c = free_constraints_.back();
        free_constraints_.pop_back();
        lits_[idx(c)] = lit;
        return c;
    }
    lits_.push_back(lit);
    return static_cast<int>(lits_.size()) - 1;
}

void LinearTermMapper::free_constraint(int c)
{
    lits_[idx(c)] = tlit_Undef;
    free_constraints_.push_back(c);
}

} // namespace tarq::la
