#include "results/modeltermsimplifier.h"

#include "terms/bvnumber.h"
#include "terms/ieeefloat.h"

namespace tarq {

namespace {

bool is_abstract(TermManager* tm, const Term_* t)
{
    return tm->is_constant(t) && t->get_symbol()->get_name().starts_with('@');
}

} // namespace

const Term_* ModelTermSimplifier::operator()(const Symbol* symbol, TermArgs args)
{
    switch (tm_->get_tag(symbol)) {
    case SymbolTag::EQ:
        if (is_abstract(tm_, args[0]) && is_abstract(tm_, args[1])) {
            return tm_->make_bool(args[0] == args[1]);
        }
        if (arrays_->contains(args[0]) && arrays_->contains(args[1])) {
            return tm_->make_bool(args[0] == args[1]);
        }
        break;
    case SymbolTag::ARRAY_CONST:
        if (const Term_* result = arrays_->make_const(symbol, args[0])) {
            return result;
        }
        break;
    case SymbolTag::ARRAY_WRITE:
        if (const Term_* result = arrays_->make_write(symbol, args[0], args[1], args[2])) {
            return result;
        }
        break;
    case SymbolTag::DIVIDE:
    case SymbolTag::BV_UDIV:
    case SymbolTag::BV_SDIV:
    case SymbolTag::BV_UREM:
    case SymbolTag::BV_SREM:
        if (const Term_* result = divide_by_zero(symbol, args)) {
            return result;
        }
        break;
    case SymbolTag::FP_MIN:
    case SymbolTag::FP_MAX:
        if (const Term_* result = min_max_of_zeros(symbol, args)) {
            return result;
        }
        break;
    default:
        break;
    }
    return next_ ? (*next_)(symbol, args) : nullptr;
}

/// Null unless the divisor is zero and the options give the quotient a value.
const Term_* ModelTermSimplifier::divide_by_zero(const Symbol* symbol, TermArgs args)
{
    QNumber divisor;
    QNumber dividend;
    size_t width = 0;
    if (!tm_->is_number(args[1], &divisor) || !divisor.is_zero()) {
        return nullptr;
    }
    const SymbolTag::tag tag = tm_->get_tag(symbol);
    if (tag == SymbolTag::DIVIDE) {
        return options_.real_div_by_zero_mode == 0 ? args[1] : nullptr;
    }
    if (options_.bv_div_by_zero_mode != 0) {
        // not even the standard rules may give it a value
        return tm_->do_make_term(symbol, args);
    }
    if (tag == SymbolTag::BV_UREM || tag == SymbolTag::BV_SREM) {
        return args[0];
    }
    if (!tm_->is_bv_number(args[0], &dividend, &width)) {
        return nullptr;
    }
    const bool is_negative = tag == SymbolTag::BV_SDIV && BVNumber::test_bit(dividend, width - 1);
    return tm_->make_bv_number(is_negative ? QNumber(1) : BVNumber::pow2(width) - 1, width);
}

/// Null unless both arguments are zeros of different sign and the options choose one.
const Term_* ModelTermSimplifier::min_max_of_zeros(const Symbol* symbol, TermArgs args)
{
    QNumber bits[2];
    size_t exp = 0;
    size_t mant = 0;
    if (args[0] == args[1] || options_.fp_minmax_zero_mode == 4) {
        return nullptr;
    }
    for (size_t i : {0, 1}) {
        if (!tm_->is_fp_number(args[i], &bits[i], &exp, &mant) ||
            !IEEEFloat::from_bits(bits[i], {exp, mant}).is_zero()) {
            return nullptr;
        }
    }
    const Term_* positive = bits[0].is_zero() ? args[0] : args[1];
    const Term_* negative = bits[0].is_zero() ? args[1] : args[0];
    switch (options_.fp_minmax_zero_mode) {
    case 0:
        return tm_->get_tag(symbol) == SymbolTag::FP_MIN ? negative : positive;
    case 2:
        return args[0];
    case 3:
        return args[1];
    default:
        return positive;
    }
}

} // namespace tarq
