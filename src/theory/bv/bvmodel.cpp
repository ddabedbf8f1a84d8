#include "theory/bv/bvmodel.h"

#include "terms/bvnumber.h"

namespace tarq::bv {

bool BvModelEvaluator::is_alien(const TermManager& tm, const Term_* t)
{
    const SymbolTag::tag tag = tm.get_tag(t);
    if (tag == SymbolTag::EQ) {
        return is_alien(tm, t->child(0)) || is_alien(tm, t->child(1));
    }
    if ((tag >= SymbolTag::BV_CONCAT && tag <= SymbolTag::BV_SEXT) || tag == SymbolTag::FP_TO_BV ||
        tag == SymbolTag::FP_AS_IEEEBV || tag == SymbolTag::INT_TO_BV) {
        return false;
    }
    return t->arity() != 0 || !tm.is_bv_type(TermManager::get_type(t));
}

const Term_* BvModelEvaluator::operator()(const Term_* t, bool evaluate)
{
    const DataType* type = TermManager::get_type(t);
    if (!tm_->is_bv_type(type) && type != tm_->get_bool_type()) {
        return nullptr;
    }
    if (tm_->is_bv_number(t)) {
        return t;
    }
    if (const Term_* v = from_bits(t)) {
        return v;
    }
    return evaluate && !words_->is_terminal(t) ? from_arguments(t) : nullptr;
}

const Term_* BvModelEvaluator::from_bits(const Term_* t)
{
    bool known = true; // all variables are older than the assignment
    const auto value = [this, &known](BvLit l) {
        const dpll::Lit s = l.to_sat();
        const auto var = static_cast<size_t>(s.var());
        known = known && var < assignment_.size();
        return known && assignment_[var] != (s.sign() != 0);
    };
    const bool has_bits = words_->evaluate(t, value, fresh_, &bits_);
    fresh_ = !known;
    if (!has_bits || !known) {
        return nullptr;
    }
    if (TermManager::get_type(t) == tm_->get_bool_type()) {
        return tm_->make_bool(bits_[0]);
    }
    QNumber number;
    for (size_t i = 0; i < bits_.size(); ++i) {
        if (bits_[i]) {
            BVNumber::set_bit(number, i, true);
        }
    }
    return tm_->make_bv_number(number, bits_.size());
}

/// Bottom-up without recursion; what has neither bits nor arguments counts as zero.
const Term_* BvModelEvaluator::from_arguments(const Term_* t)
{
    stack_.assign(1, t);
    TermVector args;
    while (!stack_.empty()) {
        const Term_* x = stack_.back();
        if (values_.find(x) != values_.end()) {
            stack_.pop_back();
            continue;
        }
        const Term_* value = tm_->is_bv_number(x) ? x : from_bits(x);
        if (!value && (x->arity() == 0 || (words_->is_terminal(x) && !tm_->is_term_ite(x)))) {
            value = default_value(x);
        }
        if (!value) {
            const size_t before = stack_.size();
            args.clear();
            for (const Term_* c : x->children()) {
                const auto known = values_.find(c);
                if (known == values_.end()) {
                    stack_.push_back(c);
                } else {
                    args.push_back(known->second);
                }
            }
            if (stack_.size() != before) {
                continue;
            }
            value = apply(x, args);
        }
        values_[x] = value;
        stack_.pop_back();
    }
    return values_.find(t)->second;
}

/// The value of a leaf that no word knows; null for a sort without bits.
const Term_* BvModelEvaluator::default_value(const Term_* t)
{
    size_t width = 0;
    if (tm_->is_bv_type(TermManager::get_type(t), &width)) {
        return tm_->make_bv_number(QNumber(), width);
    }
    if (TermManager::get_type(t) == tm_->get_bool_type()) {
        return tm_->is_true(t) ? t : tm_->make_false();
    }
    return nullptr;
}

/// The operator of `t` on values; null when the result is not fixed.
const Term_* BvModelEvaluator::apply(const Term_* t, const TermVector& args)
{
    for (const Term_* a : args) {
        if (!a) {
            return nullptr;
        }
    }
    size_t width = 0;
    QNumber divisor;
    if (args.size() == 2 && tm_->is_bv_number(args[1], &divisor, &width) && divisor.is_zero()) {
        const SymbolTag::tag tag = tm_->get_tag(t);
        if (tag >= SymbolTag::BV_UDIV && tag <= SymbolTag::BV_SREM) {
            return divide_by_zero(t, args, width);
        }
    }
    const auto folding = tm_->simplify_in_scope(true); // of the constants
    const Term_* value = tm_->make_term(t->get_symbol(), args);
    const bool is_value = tm_->is_bv_number(value) || tm_->is_true(value) || tm_->is_false(value);
    return is_value ? value : nullptr;
}

/// What the circuits give; nothing when the result is left open.
const Term_* BvModelEvaluator::divide_by_zero(const Term_* t, const TermVector& args, size_t width)
{
    if (options_.div_by_zero_mode == 1) {
        return nullptr;
    }
    QNumber dividend;
    tm_->is_bv_number(args[0], &dividend);
    const SymbolTag::tag tag = tm_->get_tag(t);
    if (tag == SymbolTag::BV_UREM || tag == SymbolTag::BV_SREM) {
        return args[0];
    }
    const bool negative =
        tag == SymbolTag::BV_SDIV && width > 0 && BVNumber::test_bit(dividend, width - 1);
    const QNumber all_ones = BVNumber::pow2(width) - QNumber(1);
    return tm_->make_bv_number(negative ? QNumber(1) : all_ones, width);
}

} // namespace tarq::bv
