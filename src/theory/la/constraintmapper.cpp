#include "theory/la/constraintmapper.h"

#include "theory/la/solver.h"

namespace tarq::la {

namespace {

size_t idx(int v)
{
    return static_cast<size_t>(v);
}

} // namespace

/// The variable whose value is the sum, or its negative; a new row if there is none yet.
int ConstraintMapper::map_constraint(const Equation& sum, bool* negated)
{
    *negated = sum.terms().front().coeff.is_neg();
    if (sum.is_simple()) {
        return sum.terms().front().var;
    }
    auto form = std::make_unique<Equation>(sum);
    if (*negated) {
        form->mult(QNumber(-1));
    }
    const auto it = slacks_.find(form.get());
    if (it != slacks_.end()) {
        return it->second;
    }
    use_variables(*form);
    const int slack = mapper_->new_slack();
    Equation row(*form);
    row.add_var(slack, QNumber(-1));
    row.change_basic_var(slack);
    if (idx(slack) >= forms_.size()) {
        forms_.resize(idx(slack) + 1);
    }
    slacks_[form.get()] = slack;
    forms_[idx(slack)] = std::move(form);
    count_heavy(row);
    solver_->tell_equation(row);
    return slack;
}

void ConstraintMapper::count_heavy(const Equation& form)
{
    constexpr long LARGE = 1 << 24;
    constexpr int SOME = 3;
    constexpr int MANY = 30;
    int num_large = 0;
    int num_factors = 0;
    for (const VarCoeff& t : form.terms()) {
        long num = 0;
        long den = 0;
        const bool small = t.coeff.get_num().to_int(&num) && t.coeff.get_den().to_int(&den) &&
                           num < LARGE && num > -LARGE && den < LARGE;
        num_large += !small;
        num_factors += !small || den != 1 || num > 1 || num < -1;
    }
    if ((num_large >= SOME || num_factors >= MANY) && ++num_heavy_rows_ == MIN_HEAVY_ROWS) {
        solver_->set_eliminate_unconstrained(false); // pivots, too
    }
}

void ConstraintMapper::tell_constraint(int c, const LinearTerm& lt)
{
    bool negated = false;
    const int var = map_constraint(lt.sum, &negated);
    mapper_->use(var);
    const LinearOp op = negated ? flip_op(lt.op) : lt.op;
    const QNumber b = negated ? lt.constant.neg() : lt.constant;
    // Over integers a strict bound is the next weak one: the sum has integral values there.
    const bool round = lt.all_int;
    switch (op) {
    case LinearOp::LESS:
        solver_->tell_upper_bound(c, var,
                                  round ? DNumber(b.ceil() - QNumber(1)) : DNumber(b, QNumber(-1)));
        break;
    case LinearOp::LEQ:
        solver_->tell_upper_bound(c, var, DNumber(round ? b.floor() : b));
        break;
    case LinearOp::EQUAL:
        solver_->tell_equal_bound(c, var, DNumber(b));
        break;
    case LinearOp::DISTINCT:
        solver_->tell_diseq_bound(c, var, DNumber(b));
        break;
    case LinearOp::GEQ:
        solver_->tell_lower_bound(c, var, DNumber(round ? b.ceil() : b));
        break;
    case LinearOp::GREATER:
        solver_->tell_lower_bound(c, var,
                                  round ? DNumber(b.floor() + QNumber(1)) : DNumber(b, QNumber(1)));
        break;
    case LinearOp::NONE:
        TARQ_UNREACHABLE(static_cast<int>(op));
    }
}

void ConstraintMapper::retract_constraint(int c)
{
    const int var = solver_->get_constraint(c).var;
    solver_->retract_bound(c);
    release_variable(var);
}

void ConstraintMapper::use_variables(const Equation& form)
{
    for (const VarCoeff& t : form.terms()) {
        mapper_->use(t.var);
    }
}

void ConstraintMapper::release_variables(const Equation& form)
{
    for (const VarCoeff& t : form.terms()) {
        release_variable(t.var);
    }
}

void ConstraintMapper::release_variable(int var)
{
    if (!mapper_->release(var)) {
        return;
    }
    solver_->retract_variable(var);
    std::unique_ptr<Equation> form;
    if (idx(var) < forms_.size() && forms_[idx(var)]) {
        form = std::move(forms_[idx(var)]);
        slacks_.erase(form.get());
    }
    mapper_->free_variable(var);
    if (form) {
        release_variables(*form); // variables of terms: this goes one step deep
    }
}

} // namespace tarq::la
