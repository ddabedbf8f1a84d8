// Shared terms, values and models of LaSolverInterface.
#include "theory/la/lasolverinterface.h"

namespace tarq {

using la::DNumber;
using la::Equation;
using la::VarCoeff;

bool LaSolverInterface::is_alien(const Term_* t)
{
    if (tm_->is_equal(t)) {
        const DataType* type = TermManager::get_type(t->child(0));
        return !tm_->is_arith_type(type) || is_alien(t->child(0)) || is_alien(t->child(1));
    }
    if (tm_->is_leq(t)) {
        return false;
    }
    if (!is_arith(t)) {
        return !tm_->is_int_modular_congruence(t);
    }
    if (tm_->is_term_ite(t) || tm_->is_constant(t)) {
        return false;
    }
    if (!tm_->is_interpreted(t)) {
        return true;
    }
    switch (tm_->get_tag(t)) {
    case SymbolTag::ARRAY_READ:
    case SymbolTag::EXP:
    case SymbolTag::SIN:
    case SymbolTag::LOG:
        return true;
    default:
        return false;
    }
}

bool LaSolverInterface::is_interesting_interface_equality(const Term_* a, const Term_* b)
{
    const auto is_unary = [this](const Term_* t) {
        return tm_->is_uninterpreted_function(t) && t->arity() == 1;
    };
    return is_arith(a) && is_arith(b) &&
           ((tm_->is_arith_number(a) && is_unary(b)) || (tm_->is_arith_number(b) && is_unary(a)));
}

void LaSolverInterface::notify_interface_term(const Term_* t)
{
    if (!is_arith(t) || inter_terms_.contains(t)) {
        return;
    }
    mapper_.make_linear_term(t, &linear_);
    constraints_.use_variables(linear_.sum);
    inter_terms_[t] = linear_.sum;
    for (const VarCoeff& v : linear_.sum.terms()) {
        solver_.add_interface_var(v.var);
    }
    if (euf_fragment_ && !linear_.sum.empty()) {
        push_euf_fragment();
    }
}

void LaSolverInterface::retract_interface_term(const Term_* t)
{
    const auto it = inter_terms_.find(t);
    if (it == inter_terms_.end()) {
        return;
    }
    if (laz_) {
        laz_->forget_variables();
    }
    constraints_.release_variables(it->second);
    inter_terms_.erase(t);
}

bool LaSolverInterface::is_int_var(int var) const
{
    const Term_* t = mapper_.term(var);
    return t && TermManager::get_type(t) == tm_->get_int_type();
}

void LaSolverInterface::build_abstract_model()
{
    if (!euf_fragment_) {
        model_equations_.clear();
        solver_.do_model_mutation([this](int var) { return is_int_var(var); });
    }
}

lbool LaSolverInterface::equal_in_model(const Term_* a, const Term_* b)
{
    if (euf_fragment_ || !is_arith(a) || !is_arith(b)) {
        return l_Undef;
    }
    Equation form;
    if (!mapper_.get_linear(a, b, &form)) {
        return l_Undef;
    }
    DNumber sum(form.constant());
    DNumber value;
    for (const VarCoeff& t : form.terms()) {
        if (!solver_.get_abstract_value(t.var, &value)) {
            return l_Undef;
        }
        sum.add_mult(value, t.coeff);
    }
    if (sum == DNumber::zero) {
        return l_True;
    }
    model_equations_.push_back(std::move(form));
    return l_False;
}

void LaSolverInterface::build_model()
{
    if (!euf_fragment_) {
        solver_.build_model(model_equations_);
    }
}

const Term_* LaSolverInterface::number_term(const QNumber& value) const
{
    return tm_->make_number(value);
}

const Term_* LaSolverInterface::get_model_value(const Term_* t)
{
    if (!is_arith(t)) {
        return nullptr;
    }
    if (euf_fragment_) {
        // Only equalities of variables and numbers matter, and the equality solver asks for one
        // variable of each class: any number will do that is nobody else's.
        const int v = mapper_.variable(t, true);
        return v == 0 ? nullptr : number_term(fragment_bound_ + QNumber(v));
    }
    Equation form;
    if (!mapper_.get_linear(t, nullptr, &form)) {
        return nullptr;
    }
    QNumber sum = form.constant();
    QNumber value;
    for (const VarCoeff& v : form.terms()) {
        if (!solver_.get_value(v.var, &value)) {
            return nullptr;
        }
        sum += v.coeff * value;
    }
    return number_term(sum);
}

} // namespace tarq
