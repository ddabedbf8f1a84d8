#include "results/modeltermsimplifier.h"

#include "terms/bvnumber.h"
#include "terms/ieeefloat.h"
#include "terms/termsimpl.h"
#include "terms/typesize.h"

namespace tarq {

namespace {

bool is_abstract(TermManager* tm, const Term_* t)
{
    return tm->is_constant(t) && t->get_symbol()->get_name().starts_with('@');
}

bool are_equal_values(const TermManager* tm, const Term_* a, const Term_* b);

/// An array value: its writes, the topmost of each index only, and its element elsewhere.
struct ArrayValue {
    TermVector indices;
    TermMap elements;
    const Term_* otherwise = nullptr;

    ArrayValue(const TermManager* tm, const Term_* t)
    {
        for (; tm->is_array_write(t); t = t->child(0)) {
            if (!find(tm, t->child(1))) {
                indices.push_back(t->child(1));
                elements[t->child(1)] = t->child(2);
            }
        }
        otherwise = t->child(0);
    }
    /// What is written there, or null. Arrays as indices may be one value in different forms.
    const Term_* find(const TermManager* tm, const Term_* index) const
    {
        const auto it = elements.find(index);
        if (it != elements.end() || !tm->is_array_type(TermManager::get_type(index))) {
            return it == elements.end() ? nullptr : it->second;
        }
        for (const Term_* i : indices) {
            if (are_equal_values(tm, i, index)) {
                return elements.find(i)->second;
            }
        }
        return nullptr;
    }
};

/// Whether two values are the same. Those that are not arrays have one form each. Recursive over
/// the nesting of array types.
bool are_equal_values(const TermManager* tm, const Term_* a, const Term_* b)
{
    const DataType* index_type = nullptr;
    if (a == b || !tm->is_array_type(TermManager::get_type(a), &index_type)) {
        return a == b;
    }
    const ArrayValue x(tm, a);
    const ArrayValue y(tm, b);
    size_t num_written = x.indices.size();
    for (const Term_* i : x.indices) {
        const Term_* other = y.find(tm, i);
        if (!are_equal_values(tm, x.elements.find(i)->second, other ? other : y.otherwise)) {
            return false;
        }
    }
    for (const Term_* i : y.indices) {
        if (!x.find(tm, i)) {
            ++num_written;
            if (!are_equal_values(tm, x.otherwise, y.elements.find(i)->second)) {
                return false;
            }
        }
    }
    if (are_equal_values(tm, x.otherwise, y.otherwise)) {
        return true;
    }
    const QNumber size = num_values(tm, index_type); // what is written everywhere has no elsewhere
    return !size.is_zero() && QNumber(num_written) >= size;
}

} // namespace

const Term_* ModelTermSimplifier::operator()(const Symbol* symbol, TermArgs args)
{
    switch (tm_->get_tag(symbol)) {
    case SymbolTag::EQ:
        if (is_abstract(tm_, args[0]) && is_abstract(tm_, args[1])) {
            return tm_->make_bool(args[0] == args[1]);
        }
        if (tm_->is_array_type(TermManager::get_type(args[0])) &&
            termsimpl::is_value(tm_, args[0], true) && termsimpl::is_value(tm_, args[1], true)) {
            return tm_->make_bool(are_equal_values(tm_, args[0], args[1]));
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
